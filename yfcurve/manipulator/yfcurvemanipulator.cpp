#include "yfcurve/yfcurvemanipulator.h"

#include <new>

#include "yfcurve/manipulator/manipulation.h"

namespace {

// A node and everything below it, each node before its children.
template<class Visit>
void VisitTree(YFCurveNode* node, const Visit& visit)
{
    if (node == nullptr) return;
    visit(node);
    for (int i = 0; i < node->GetCount(); ++i) VisitTree(node->Get(i), visit);
}

}  // namespace

YFCurveManipulator::YFCurveManipulator() = default;
YFCurveManipulator::YFCurveManipulator(const YFCurveManipulator& source) = default;
YFCurveManipulator& YFCurveManipulator::operator=(const YFCurveManipulator& source) = default;

YFCurveManipulator::~YFCurveManipulator()
{
    EndManipulation();
}

// --- Nodes ---------------------------------------------------------------------------------------------

void YFCurveManipulator::Add(YFCurveNode* node)
{
    VisitTree(node, [&](YFCurveNode* visited) {
        if (visited->FCurveGet() != nullptr && mNodes.Find(visited) < 0) mNodes.Add(visited);
    });
    if (mAddRemoveDepth == 0) GetRelatedNodes();
}

void YFCurveManipulator::Remove(YFCurveNode* node)
{
    // Also those whose curve has gone since: nobody else would ever take them out.
    VisitTree(node, [&](YFCurveNode* visited) { mNodes.Remove(visited); });
    if (mAddRemoveDepth == 0) GetRelatedNodes();
}

void YFCurveManipulator::ClearFCurveNodes()
{
    mNodes.Clear();
    if (mAddRemoveDepth == 0) GetRelatedNodes();
}

void YFCurveManipulator::BeginAddRemoveCurveNode()
{
    ++mAddRemoveDepth;
}

void YFCurveManipulator::EndAddRemoveCurveNode()
{
    if (mAddRemoveDepth == 0) return;  // nothing was begun
    if (--mAddRemoveDepth == 0) GetRelatedNodes();
}

void YFCurveManipulator::GetRelatedNodes()
{
    mMarkedNodes.ClearAll();
    mRelatedNodes = mNodes;  // where each is once
    if (mManipulation) mManipulation->KeepOnly(mRelatedNodes);
    if (mRelatedNodes.Find(mLastSelectedNode) < 0) {
        mLastSelectedNode = nullptr;
        mLastSelectedIndex = -1;
    }
}

void YFCurveManipulator::GetRelatedNodes(YFCurveNode* node, YArrayTemplate<YFCurveNode*>& related) const
{
    related.Clear();
    related.Add(node);
}

// --- Marks ---------------------------------------------------------------------------------------------

void YFCurveManipulator::MarkCurveNodeForManip(bool mark, YFCurveNode* node)
{
    const auto set = [&](int index) { mark ? mMarkedNodes.SetBit(index) : mMarkedNodes.ClearBit(index); };
    if (node == nullptr) {
        if (!mark) mMarkedNodes.ClearAll();
        for (int i = 0; mark && i < mRelatedNodes.GetCount(); ++i) set(i);
        return;
    }
    YArrayTemplate<YFCurveNode*> group;
    GetRelatedNodes(node, group);
    for (YFCurveNode* member : group) set(mRelatedNodes.Find(member));
}

bool YFCurveManipulator::IsCurveNodeMarkedForManip(const YFCurveNode* node) const
{
    for (int i = 0; i < mRelatedNodes.GetCount(); ++i) {
        if (mRelatedNodes[i] == node) return mMarkedNodes.GetBit(i);
    }
    return false;
}

void YFCurveManipulator::MarkKeysForManip(bool mark, YFCurveNode* node, int first, int last)
{
    for (YFCurveNode* related : mRelatedNodes) {
        YFCurve* curve = related->FCurveGet();
        if (curve == nullptr || (node != nullptr && node != related)) continue;
        for (int i = first; i <= last; ++i) curve->KeySetMarkedForManipulation(i, mark);
    }
}

void YFCurveManipulator::MarkKeysForManipFromSelection()
{
    for (YFCurveNode* node : mRelatedNodes) {
        YFCurve* curve = node->FCurveGet();
        const int count = curve != nullptr ? curve->KeyGetCount() : 0;
        for (int i = 0; i < count; ++i) curve->KeySetMarkedForManipulation(i, curve->KeyGetSelected(i));
    }
}

void YFCurveManipulator::ClearMarkKeysForManip()
{
    for (YFCurveNode* node : mRelatedNodes) {
        YFCurve* curve = node->FCurveGet();
        const int count = curve != nullptr ? curve->KeyGetCount() : 0;
        for (int i = 0; i < count; ++i) curve->KeySetMarkedForManipulation(i, false);
    }
}

// --- Lifecycle -----------------------------------------------------------------------------------------

void YFCurveManipulator::BeginManipulation(eFCurveManipulationMode mode, bool keepMarkedInside,
                                           double parameter)
{
    EndManipulation();
    mParameter = parameter;
    mMode = mode;
    const bool known = mode >= kManipulationMove && mode <= kManipulationSetValue;
    try {
        if (known) TakeUp(keepMarkedInside);
    } catch (const std::bad_alloc&) {
        mManipulation.reset();  // too large for this machine: the operations find nothing to move
    }
    mOriginalSelection = mSelection;
}

void YFCurveManipulator::TakeUp(bool keepMarkedInside)
{
    // One that is a copy's too would tie the two together.
    if (!mPool || mPool.use_count() > 1) mPool = std::make_shared<yfc::KeySnapshotPool>();
    mManipulation = std::make_shared<yfc::Manipulation>(mPool, keepMarkedInside);
    for (int i = 0; i < mRelatedNodes.GetCount(); ++i) {
        YFCurveNode* node = mRelatedNodes[i];
        if (mMarkedNodes.GetBit(i) && !node->IsNodeLocked() && node->FCurveGet() != nullptr) {
            mManipulation->Add(*node);
        } else {
            mManipulation->AddPlaceholder();
        }
    }
    mManipulation->Follow(mLastSelectedNode, mLastSelectedIndex);
    mManipulation->Reserve();
}

void YFCurveManipulator::EndManipulation()
{
    if (mManipulation) mManipulation->Interrupt();
    mManipulation.reset();
    mMode = kManipulationNone;
}

// --- What is under way ---------------------------------------------------------------------------------

const YFCurve* YFCurveManipulator::GetWorkCurve(const YFCurveNode* node, eWorkCurve part) const
{
    const yfc::ManipulatedNode* manipulated = mManipulation ? mManipulation->Find(node) : nullptr;
    if (manipulated == nullptr) return nullptr;
    switch (part) {
        case kWorkMarked:
            return manipulated->markedCurve.get();
        case kWorkInside:
            return manipulated->insideCurve.get();
        case kWorkBefore:
            return manipulated->beforeCurve.get();
        case kWorkAfter:
            return manipulated->afterCurve.get();
        case kWorkWhole:
            return manipulated->wholeCurve.get();
    }
    return nullptr;
}

bool YFCurveManipulator::GetWorkTangents(const YFCurveNode* node, WorkTangents& tangents) const
{
    const yfc::ManipulatedNode* manipulated = mManipulation ? mManipulation->Find(node) : nullptr;
    if (manipulated == nullptr) return false;
    tangents = {manipulated->spanStart, manipulated->spanEnd, manipulated->afterLeft};
    return true;
}
