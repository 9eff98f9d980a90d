// Which keys are selected, what range they span, and which of them show their tangents.
//
// The look at every key's selected bit for the new range is most of what a call of a drag costs: the rest
// looks at the keys that move and those that they pass alone.

#include <algorithm>

#include "yfcurve/curve/pool/keyattributes.h"
#include "yfcurve/curve/pool/keyblocks.h"
#include "yfcurve/manipulator/manipulation.h"
#include "yfcurve/manipulator/try.h"
#include "yfcurve/yfcurvemanipulator.h"

struct YFCurveManipulator::SelectionRectangle
{
    eSelectionMode mode;
    YTime start;
    YTime stop;
    double minValue;
    double maxValue;

    bool Contains(YTime time, double value) const
    {
        return time >= start && time <= stop && value >= minValue && value <= maxValue;
    }
    // Whether the keys inside become the last selected ones.
    bool Selects() const
    {
        return mode == kSelectionReplace || mode == kSelectionAdd || mode == kSelectionToggle;
    }
};

namespace {

// Calls `visit` with the packed record of every key that has one of the flags, block by block.
template<class Visit>
void VisitFlagged(const YFCurve& curve, std::uint32_t flags, const Visit& visit)
{
    const int count = curve.KeyGetCount();
    for (int begin = 0; begin < count; begin += yfc::kKeysPerBlock) {
        const YPriFCurveKey* keys = curve.InternalPriKeyGetPtr(begin);
        const int inBlock = std::min(count - begin, yfc::kKeysPerBlock);
        for (int i = 0; i < inBlock; ++i) {
            if ((yfc::Attribute(keys[i].GetAttr()).GetFlags() & flags) != 0) visit(keys[i]);
        }
    }
}

}  // namespace

// --- Ranges --------------------------------------------------------------------------------------------

void YFCurveManipulator::Range::Include(YTime time, double value)
{
    start = std::min(start, time);
    stop = std::max(stop, time);
    minValue = std::min(minValue, value);
    maxValue = std::max(maxValue, value);
}

void YFCurveManipulator::Range::ValuesToTimes()
{
    if (start > stop) return;
    minTime.SetSecondDouble(minValue);
    maxTime.SetSecondDouble(maxValue);
}

void YFCurveManipulator::FrameSelection()
{
    mSelection = Range();
    for (const YSpObject<YFCurveNode>& related : mRelatedNodes) {
        const YFCurveNode* node = related.Get();
        const YFCurve* curve = node != nullptr ? node->FCurveGet() : nullptr;
        if (curve == nullptr) continue;
        VisitFlagged(*curve, YFCURVE_SELECTED, [&](const YPriFCurveKey& key) {
            mSelection.Include(node->ETINodeTime2GlobalTime(key.GetTime()), key.GetValue());
        });
    }
    mSelection.ValuesToTimes();
}

void YFCurveManipulator::FrameManipulation()
{
    mSelection = Range();
    if (mManipulation) {
        FrameMovedKeys();
    } else {
        FrameMarkedKeys();
    }
    mSelection.ValuesToTimes();
}

// Marks that were set since the beginning are for the next manipulation.
void YFCurveManipulator::FrameMovedKeys()
{
    for (const yfc::ManipulatedNode& manipulated : mManipulation->GetNodes()) {
        if (!manipulated.IsManipulated()) continue;
        for (const yfc::PlacedKey& key : manipulated.placed) {
            if (key.moved) mSelection.Include(manipulated.node->ETINodeTime2GlobalTime(key.time), key.value);
        }
    }
}

void YFCurveManipulator::FrameMarkedKeys()
{
    for (int i = 0; i < mRelatedNodes.GetCount(); ++i) {
        const YFCurveNode* node = mRelatedNodes[i].Get();
        const YFCurve* curve = node != nullptr ? node->FCurveGet() : nullptr;
        if (curve == nullptr || !mMarkedNodes.GetBit(i) || node->IsNodeLocked()) continue;
        VisitFlagged(*curve, YFCURVE_MARKED_FOR_MANIPULATION, [&](const YPriFCurveKey& key) {
            mSelection.Include(node->ETINodeTime2GlobalTime(key.GetTime()), key.GetValue());
        });
    }
}

void YFCurveManipulator::GetSelectionRange(YTime& start, YTime& stop, double& minValue,
                                           double& maxValue) const
{
    start = mSelection.start;
    stop = mSelection.stop;
    minValue = mSelection.minValue;
    maxValue = mSelection.maxValue;
}

void YFCurveManipulator::GetSelectionRange(YTime& start, YTime& stop, YTime& minValue, YTime& maxValue) const
{
    start = mSelection.start;
    stop = mSelection.stop;
    minValue = mSelection.minTime;
    maxValue = mSelection.maxTime;
}

void YFCurveManipulator::GetOriginalSelectionRange(YTime& start, YTime& stop, double& minValue,
                                                   double& maxValue) const
{
    start = mOriginalSelection.start;
    stop = mOriginalSelection.stop;
    minValue = mOriginalSelection.minValue;
    maxValue = mOriginalSelection.maxValue;
}

void YFCurveManipulator::GetOriginalSelectionRange(YTime& start, YTime& stop, YTime& minValue,
                                                   YTime& maxValue) const
{
    start = mOriginalSelection.start;
    stop = mOriginalSelection.stop;
    minValue = mOriginalSelection.minTime;
    maxValue = mOriginalSelection.maxTime;
}

void YFCurveManipulator::GetLastSelectedKey(YFCurveNode*& node, YFCurve*& curve, int& index) const
{
    node = mLastSelectedNode.Get();
    curve = node != nullptr ? node->FCurveGet() : nullptr;
    index = node != nullptr ? mLastSelectedIndex : -1;
}

// --- Selecting -----------------------------------------------------------------------------------------

void YFCurveManipulator::SelectKeys(eSelectionMode mode, YTime start, YTime stop, double minValue,
                                    double maxValue)
{
    DropEndedNodes();
    Try([&] {
        const yfc::AttributeReserve reserve(KeyCount());
        Select({mode, start, stop, minValue, maxValue});
    });
}

void YFCurveManipulator::Select(const SelectionRectangle& rectangle)
{
    const YFCurveNode* lastNode = LastNodeInside(rectangle);
    mLastSelectedNode.Reset();
    mLastSelectedIndex = -1;
    bool changed = false;
    for (int i = 0; i < mRelatedNodes.GetCount(); ++i) {  // listeners may take nodes out and end them
        YFCurveNode* node = mRelatedNodes[i].Get();
        YFCurve* curve = node != nullptr ? node->FCurveGet() : nullptr;
        const bool selects = mMarkedNodes.GetBit(i);
        if ((!selects && mShowManyTangents) || curve == nullptr || curve->IsLocked()) continue;
        const YFCurveModify modify(*curve);
        if (selects) changed |= SelectKeysOf(*node, *curve, rectangle);
        if (!mShowManyTangents) ShowOneTangent(*curve, node == lastNode ? mLastSelectedIndex : -1);
    }
    if (mManipulation) mManipulation->Follow(mLastSelectedNode.Get(), mLastSelectedIndex);
    if (changed) FrameSelection();
}

void YFCurveManipulator::SelectKeys(eSelectionMode mode, YTime start, YTime stop, YTime minValue,
                                    YTime maxValue)
{
    SelectKeys(mode, start, stop, minValue.GetSecondDouble(), maxValue.GetSecondDouble());
}

// The node with the key that becomes the last selected one. Known beforehand, so that each curve is gone
// through once.
const YFCurveNode* YFCurveManipulator::LastNodeInside(const SelectionRectangle& rectangle) const
{
    if (!rectangle.Selects()) return nullptr;
    for (int i = mRelatedNodes.GetCount() - 1; i >= 0; --i) {
        const YFCurveNode* node = mRelatedNodes[i].Get();
        const YFCurve* curve = node != nullptr ? node->FCurveGet() : nullptr;
        if (!mMarkedNodes.GetBit(i) || curve == nullptr || curve->IsLocked()) continue;
        for (int k = 0; k < curve->KeyGetCount(); ++k) {
            const YTime time = node->ETINodeTime2GlobalTime(curve->KeyGetTime(k));
            if (node->ETIIsGlobalTimeInSpan(time) && rectangle.Contains(time, curve->KeyGetValue(k)))
                return node;
        }
    }
    return nullptr;
}

bool YFCurveManipulator::SelectKeysOf(YFCurveNode& node, YFCurve& curve, const SelectionRectangle& rectangle)
{
    bool changed = node.ETIGetDuration() != YTIME_ZERO && DeselectInactive(node, curve);
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const YTime time = node.ETINodeTime2GlobalTime(curve.KeyGetTime(i));
        if (!node.ETIIsGlobalTimeInSpan(time)) continue;
        changed |= SelectKey(node, curve, i, rectangle.mode, rectangle.Contains(time, curve.KeyGetValue(i)));
    }
    return changed;
}

bool YFCurveManipulator::DeselectInactive(YFCurveNode& node, YFCurve& curve) const
{
    bool changed = false;
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        if (!curve.KeyGetSelected(i)) continue;
        if (node.ETIIsGlobalTimeInSpan(node.ETINodeTime2GlobalTime(curve.KeyGetTime(i)))) continue;
        curve.KeySetSelected(i, false);
        curve.KeySetTangeantVisibility(i, YFCURVE_SHOW_NONE);
        changed = true;
    }
    return changed;
}

// Of all keys of a curve; -1 shows none.
void YFCurveManipulator::ShowOneTangent(YFCurve& curve, int index)
{
    for (int i = 0; i < curve.KeyGetCount(); ++i) SetTangentVisibility(i == index, &curve, i);
}

// Returns whether the selected bit has changed.
bool YFCurveManipulator::SelectKey(YFCurveNode& node, YFCurve& curve, int index, eSelectionMode mode,
                                   bool inside)
{
    const bool was = curve.KeyGetSelected(index);
    bool selected = was;
    switch (mode) {
        case kSelectionReplace:
            selected = inside;
            break;
        case kSelectionAdd:
            selected = was || inside;
            break;
        case kSelectionRemove:
            selected = was && !inside;
            break;
        case kSelectionToggle:
            selected = was != inside;
            break;
        default:
            return false;
    }
    const bool hides = (mode == kSelectionReplace && !inside) || (mode == kSelectionRemove && inside) ||
                       (mode == kSelectionToggle && inside && was);
    if (hides && mShowManyTangents) SetTangentVisibility(false, &curve, index);
    curve.KeySetSelected(index, selected);
    if (inside && mode != kSelectionRemove) {
        mLastSelectedNode = &node;
        mLastSelectedIndex = index;
        if (mShowManyTangents) SetTangentVisibility(true, &curve, index);
    }
    return selected != was;
}

// --- Tangents ------------------------------------------------------------------------------------------

void YFCurveManipulator::SetTangentVisibility(bool show)
{
    SetTangentVisibility(show, true);
}

void YFCurveManipulator::SetTangentVisibility(bool show, bool selectedOnly)
{
    DropEndedNodes();
    Try([&] {
        const yfc::AttributeReserve reserve(KeyCount());
        for (int i = 0; i < mRelatedNodes.GetCount(); ++i) {  // listeners may take nodes out and end them
            const YFCurveNode* node = mRelatedNodes[i].Get();
            YFCurve* curve = node != nullptr ? node->FCurveGet() : nullptr;
            if (curve == nullptr || curve->IsLocked()) continue;
            const YFCurveModify modify(*curve);
            for (int k = 0; k < curve->KeyGetCount(); ++k) {
                if (!selectedOnly || curve->KeyGetSelected(k)) SetTangentVisibility(show, curve, k);
            }
        }
    });
}

void YFCurveManipulator::SetTangentVisibility(bool show, YFCurve* curve, int index)
{
    curve->KeySetTangeantVisibility(index, show ? YFCURVE_SHOW_BOTH : YFCURVE_SHOW_NONE);
}
