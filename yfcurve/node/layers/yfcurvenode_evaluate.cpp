// What a node evaluates to: its own curves, and its layers together.

#include <algorithm>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/node/layers/layerwalk.h"
#include "yfcurve/node/tree/nodedata.h"
#include "yfcurve/node/tree/treewalk.h"

using yfc::EWalk;
using yfc::Guarded;
using yfc::NodeData;
using yfc::Pass;

namespace yfc {

int ComponentCount(const YFCurveNode& node)
{
    return NodeData::Of(node).curve ? 1 : Children(node).GetCount();
}

bool HasNeutralValue(const YFCurveNode& node)
{
    return NodeData::Of(node).LayerKind() != ELayerKind::ScalingUnlayered;
}

double NeutralValue(const YFCurveNode& node)
{
    return NodeData::Of(node).LayerKind() == ELayerKind::Scaling ? 1.0 : 0.0;
}

namespace {

bool IsCompound(const YFCurveNode& node)
{
    return !NodeData::Of(node).curve && node.GetCount() > 0;
}

// Whether the three children of a rotation are evaluated together, as mostly they are not.
inline bool EvaluatesAsRotation(const YFCurveNode& node)
{
    return IsRotation(NodeData::Of(node).LayerKind()) && node.GetCount() == kRotationComponents &&
           !HasProperties(node);
}

}  // namespace

bool HasProperties(const YFCurveNode& node)
{
    if (NodeData::Of(node).curve) return false;
    const Children children(node);
    for (int i = 0; i < children.GetCount(); ++i) {
        if (IsCompound(children[i])) return true;
    }
    return false;
}

// A child without a curve has a value all the same, so that components stay where they are.
int ValueCount(const YFCurveNode& node)
{
    if (!HasProperties(node)) return ComponentCount(node);
    int values = 0;
    WalkTree(node, [&](const YFCurveNode& below) {
        if (HasProperties(below)) return EWalk::Into;
        values += std::max(ComponentCount(below), 1);
        return EWalk::Past;
    });
    return values;
}

bool StandsAlone(const YFCurveNode& node)
{
    return node.GetLayerID() == 0 && node.LayerGet() == nullptr;
}

float TotalCandidate(const YFCurveNode& node, int component)
{
    if (component < kStoredCandidates) return NodeData::Of(node).totalCandidate[component];
    return NodeData::Of(*node.Get(component)).totalCandidate[0];
}

void KeepTotalCandidate(YFCurveNode& node, int component, double value)
{
    NodeData& data = NodeData::Of(component < kStoredCandidates ? node : *node.Get(component));
    data.totalCandidate[component < kStoredCandidates ? component : 0] = static_cast<float>(value);
}

// --- Time warp -----------------------------------------------------------------------------------------

bool CanWarp(const YFCurveNode& warp)
{
    const int count = ValueCount(warp);
    return count >= 1 && count <= kMaximumComponents;
}

namespace {

YTime WarpedTime(YFCurveNode& warp, YTime localTime, const Pass& pass)
{
    const HintCopy hint(pass);
    double values[kMaximumComponents] = {};
    EvaluateLayers(warp, values, localTime, hint.Get().Nested());
    return YTime::FromSeconds(values[0]);
}

// --- Layers --------------------------------------------------------------------------------------------

// Properties below a node of a chain combine one by one, each by its own mode and weight.
void CombineProperties(YFCurveNode& top, YFCurveNode& topLayer, double* total, YTime time, const Pass& pass)
{
    struct Part
    {
        YFCurveNode* layer;
        YTime time;
    };
    const auto combine = [&](YFCurveNode& property, Part above, int index) -> std::optional<Part> {
        YFCurveNode& child = *property.Get(index);
        YFCurveNode* const part = PartOf(property, *above.layer, index);
        const bool counts = part != nullptr && !part->IsNodeMuted();
        const YTime partTime = counts ? LocalTime(*part, above.time, pass) : YTime();
        if (counts && HasProperties(child)) return Part{part, partTime};
        if (counts) LayerWalk(child, *part, partTime, pass).Combine(total);
        total += std::max(ValueCount(child), 1);
        return std::nullopt;
    };
    WalkWith(top, Part{&topLayer, time}, combine);
}

bool HoldsTotalAt(const YFCurveNode& node, YTime time)
{
    const NodeData& data = NodeData::Of(node);
    if (data.Has(kStateNoTotalCandidate) || node.GetLayerID() != 0) return false;
    return data.totalCandidateTime == time || (data.nodeFlags & ~std::uint32_t{kNodeKnownFlags}) != 0;
}

void RecordTotal(YFCurveNode& node, const double* total, YTime time)
{
    NodeData& data = NodeData::Of(node);
    data.Set(kStateCandidate, false);
    data.totalCandidateTime = time;
    const int count = ComponentCount(node);
    for (int i = 0; i < count; ++i) KeepTotalCandidate(node, i, total[i]);
}

double* FillComponents(const YFCurveNode& node, double* values)
{
    const int count = ComponentCount(node);
    if (HasNeutralValue(node)) std::fill_n(values, count, NeutralValue(node));
    return values + count;
}

}  // namespace

double* FillNeutral(const YFCurveNode& top, double* values)
{
    if (!HasProperties(top)) return FillComponents(top, values);
    const auto fill = [&](const YFCurveNode& node, double neutral, int index) -> std::optional<double> {
        const YFCurveNode& child = *node.Get(index);
        if (HasProperties(child)) return NeutralValue(child);
        if (NodeData::Of(child).curve || IsCompound(child)) {
            values = FillComponents(child, values);
        } else {
            *values++ = neutral;
        }
        return std::nullopt;
    };
    WalkWith(top, NeutralValue(top), fill);
    return values;
}

namespace {

// Whether a child evaluates to its curve's value, with nothing to be combined or kept.
// \param parentLayer  of the node that is asked for its values, so it is not muted or that does not matter.
inline bool HasCurveAlone(const NodeData& child, const YFCurveLayer* parentLayer, bool candidates)
{
    if (!child.curve || child.timeWarp.IsLinked() || child.layer.IsLinked()) return false;
    const YFCurveLayerInfo& info = child.layerInfo;
    if (info.GetLayer() != parentLayer && info.IsMuted()) return false;
    if (info.GetLayerID() == 0) return !candidates;
    return child.parent != nullptr &&
           (child.LayerKind() == ELayerKind::Component || child.LayerKind() == ELayerKind::Plain);
}

bool IsOnChain(const NodeData& data)
{
    return data.layerInfo.GetLayerID() != 0 || data.layer.IsLinked();
}

}  // namespace

bool IsGroup(const YFCurveNode& node)
{
    const NodeData& data = NodeData::Of(node);
    return HasProperties(node) && !IsOnChain(data) && !data.layerInfo.IsMuted();
}

namespace {

// A child whose value is not that of its curve alone. One without curve and children leaves the parent's
// neutral value; where candidates count, that stands there even if the parent's layer type has none.
double* EvaluateProperty(YFCurveNode& child, const YFCurveNode& parent, bool isNeutral, double* values,
                         YTime time, const Pass& pass)
{
    if (NodeData::Of(child).curve || IsCompound(child)) {
        return EvaluateLayers(child, values, LocalTime(child, time, pass), pass);
    }
    if (isNeutral || HasNeutralValue(parent)) *values = NeutralValue(parent);
    return values + 1;
}

double* EvaluateGroup(YFCurveNode& top, double* values, YTime topTime, const Pass& pass)
{
    WalkWith(top, topTime, [&](YFCurveNode& node, YTime time, int index) -> std::optional<YTime> {
        YFCurveNode& child = *node.Get(index);
        const YFCurveLayer* const layer = NodeData::Of(node).layerInfo.GetLayer();
        if (HasCurveAlone(NodeData::Of(child), layer, pass.candidates)) {
            *values++ = EvaluateCurve(*NodeData::Of(child).curve, time, pass);
        } else if (IsGroup(child)) {
            return LocalTime(child, time, pass);
        } else {
            values = EvaluateProperty(child, node, pass.candidates, values, time, pass);
        }
        return std::nullopt;
    });
    return values;
}

// Any child but one whose curve stands alone.
[[gnu::noinline]] double* EvaluateOtherChild(YFCurveNode& child, const YFCurveNode& parent, double* values,
                                             YTime time, const Pass& pass)
{
    if (IsGroup(child)) return EvaluateGroup(child, values, LocalTime(child, time, pass), pass);
    return EvaluateProperty(child, parent, false, values, time, pass);
}

// Combines the layers of a node into neutral values. A base node without others has its values as they are.
void CombineChain(YFCurveNode& node, bool hasProperties, double* values, YTime time, const Pass& pass)
{
    const NodeData& data = NodeData::Of(node);
    if (data.layerInfo.GetLayerID() == 0 && !data.layer.IsLinked()) {
        if (!data.layerInfo.IsMuted()) EvaluateOwn(node, values, time, pass);
        return;
    }
    for (LayerWalk walk(node, time, pass); !walk.IsAtEnd(); walk.Next()) {
        if (!walk.Counts()) continue;
        if (hasProperties) {
            CombineProperties(node, walk.Layer(), values, walk.Time(), walk.OwnPass());
        } else {
            walk.Combine(values);
        }
    }
}

// Apart from the way of a node with no other layers, which is to stay short.
[[gnu::noinline]] double* CombineAll(YFCurveNode& node, double* values, YTime time, const Pass& pass)
{
    const bool hasProperties = HasProperties(node);
    double* const end = hasProperties ? FillNeutral(node, values) : FillComponents(node, values);
    const bool keepsTotal =
        pass.candidates && !hasProperties && node.GetLayerID() == 0 && !node.IsNodeMuted();
    if (keepsTotal && HoldsTotalAt(node, time)) return node.CandidateGet(values);
    CombineChain(node, hasProperties, values, time, pass);
    if (keepsTotal) RecordTotal(node, values, time);
    return end;
}

}  // namespace

bool IsRotation(const YFCurveNode& node)
{
    return EvaluatesAsRotation(node);
}

// Time warps may be warped themselves, the last one first.
YTime LocalTime(YFCurveNode& node, YTime time, const Pass& pass)
{
    YFCurveNode* warp = NodeData::Of(node).timeWarp.Get();
    if (warp == nullptr || pass.nesting == Pass::kMostNesting) return time;
    WalkStack<YFCurveNode*> warps;
    for (; warp != nullptr && CanWarp(*warp); warp = NodeData::Of(*warp).timeWarp.Get()) warps.Push(warp);
    while (!warps.IsEmpty()) time = WarpedTime(*warps.Take(), time, pass);
    return time;
}

bool IsCurveAlone(const YFCurveNode& child, const YFCurveNode& parent)
{
    return HasCurveAlone(NodeData::Of(child), NodeData::Of(parent).layerInfo.GetLayer(), false);
}

double* EvaluateLayers(YFCurveNode& node, double* values, YTime localTime, const Pass& pass)
{
    const NodeData& data = NodeData::Of(node);
    const bool alone = data.layerInfo.GetLayerID() == 0 && !data.layer.IsLinked();
    if (alone && !pass.candidates && !data.layerInfo.IsMuted()) [[likely]] {
        return EvaluateOwn(node, values, localTime, pass);
    }
    return CombineAll(node, values, localTime, pass);
}

double* EvaluateOwn(YFCurveNode& node, double* values, YTime localTime, const Pass& pass)
{
    if (YFCurve* curve = NodeData::Of(node).curve.get()) {
        *values = EvaluateCurve(*curve, localTime, pass);
        return values + 1;
    }
    if (EvaluatesAsRotation(node)) return EvaluateRotation(node, values, localTime, pass);
    const Children children(node);
    const YFCurveLayer* const layer = NodeData::Of(node).layerInfo.GetLayer();
    for (int i = 0; i < children.GetCount(); ++i) {
        YFCurveNode& child = children[i];
        if (HasCurveAlone(NodeData::Of(child), layer, pass.candidates)) [[likely]] {
            *values++ = EvaluateCurve(*NodeData::Of(child).curve, localTime, pass);
        } else {
            values = EvaluateOtherChild(child, node, values, localTime, pass);
        }
    }
    return values;
}

void EvaluateComponents(YFCurveNode& node, int first, int count, double* values, YTime localTime,
                        const Pass& pass)
{
    if (NodeData::Of(node).curve || EvaluatesAsRotation(node)) {
        EvaluateOwn(node, values, localTime, pass);
        return;
    }
    const Children children(node);
    const YFCurveLayer* const layer = NodeData::Of(node).layerInfo.GetLayer();
    for (int i = 0; i < count; ++i) {
        YFCurveNode& child = children[first + i];
        if (HasCurveAlone(NodeData::Of(child), layer, pass.candidates)) [[likely]] {
            values[i] = EvaluateCurve(*NodeData::Of(child).curve, localTime, pass);
        } else {
            EvaluateComponent(child, node, values + i, localTime, pass);
        }
    }
}

void EvaluateComponent(YFCurveNode& child, const YFCurveNode& node, double* value, YTime localTime,
                       const Pass& pass)
{
    *value = NeutralValue(node);
    if (!NodeData::Of(child).curve || pass.nesting == Pass::kMostNesting) return;
    EvaluateLayers(child, value, LocalTime(child, localTime, pass), pass.Nested());
}

}  // namespace yfc

namespace {

// Walks over a tree that stays as it is. The children of the top are gone through in a plain loop, which is
// much faster for a property and its components. Without memory for the way back a deep tree is looked at in
// part.
template<class Enter>
void WalkTree(const YFCurveNode& top, const Enter& enter)
{
    if (enter(top) != EWalk::Into) return;
    const yfc::Children children(top);
    for (int i = 0; i < children.GetCount(); ++i) {
        const YFCurveNode& child = children[i];
        const EWalk further = enter(child);
        if (further == EWalk::Stop) return;
        if (further == EWalk::Past || child.GetCount() == 0) continue;
        const auto below = [&](const YFCurveNode& node) {
            return &node == &child ? EWalk::Into : enter(node);
        };
        if (!Guarded([&] { return yfc::WalkTree(child, below); })) return;
    }
}

// Evaluating without candidates leaves the tree as it is, save for the hints inside the curves.
YFCurveNode& Unchanged(const YFCurveNode& node)
{
    return const_cast<YFCurveNode&>(node);
}

double* EvaluateStack(YFCurveNode& node, double* values, YTime time, const Pass& pass)
{
    double* end = values;
    Guarded([&] {
        end = yfc::EvaluateLayers(node, values, yfc::LocalTime(node, time, pass), pass);
        return true;
    });
    return end;
}

double* EvaluateAlone(YFCurveNode& node, double* values, YTime time, const Pass& pass)
{
    return yfc::GuardedOr(values, [&] { return yfc::EvaluateOwn(node, values, time, pass); });
}

double* EvaluateLayer(YFCurveNode& node, double* values, YTime time, int layerId, const Pass& pass)
{
    YFCurveNode* layer = node.GetCorrectLayer(layerId);
    if (layer == nullptr) return values;
    return yfc::GuardedOr(values, [&] {
        yfc::LayerWalk walk(node, yfc::LocalTime(node, time, pass), pass);
        walk.GoTo(*layer);
        return yfc::EvaluateOwn(*layer, values, walk.Time(), pass);
    });
}

}  // namespace

int YFCurveNode::GetCurveCount() const
{
    int curves = 0;
    WalkTree(*this, [&](const YFCurveNode& node) {
        if (!node.mData->curve) return EWalk::Into;
        ++curves;
        return EWalk::Past;
    });
    return curves;
}

int YFCurveNode::GetComponentCount() const
{
    return Guarded([&] { return yfc::ValueCount(*this); });
}

double* YFCurveNode::Evaluate(double* values, YTime time, int* last) const
{
    WalkTree(*this, [&](const YFCurveNode& node) {
        if (node.mData->layerInfo.IsMuted()) return EWalk::Past;
        if (!node.mData->curve) return EWalk::Into;
        *values++ = node.mData->curve->Evaluate(time, last);
        return EWalk::Past;
    });
    return values;
}

double* YFCurveNode::GeneralEvaluate(double* values, YTime time, int* last) const
{
    return EvaluateStack(Unchanged(*this), values, time, {last, false});
}

double* YFCurveNode::GeneralEvaluate(double* values, YTime time, int* last, bool withCandidates)
{
    return EvaluateStack(*this, values, time, {last, withCandidates});
}

double* YFCurveNode::CandidateEvaluate(double* values, YTime time, int* last)
{
    return EvaluateStack(*this, values, time, {last, true});
}

double* YFCurveNode::RotationNodeEvaluate(double* values, YTime time, int* last) const
{
    return EvaluateAlone(Unchanged(*this), values, time, {last, false});
}

double* YFCurveNode::RotationNodeEvaluate(double* values, YTime time, int* last, bool withCandidates)
{
    return EvaluateAlone(*this, values, time, {last, withCandidates});
}

double* YFCurveNode::EvaluateSpecificLayer(double* values, YTime time, int layerId, int* last)
{
    return EvaluateLayer(*this, values, time, layerId, {last, false});
}

double* YFCurveNode::CandidateEvaluateSpecificLayer(double* values, YTime time, int layerId, int* last)
{
    return EvaluateLayer(*this, values, time, layerId, {last, true});
}

std::uint32_t YFCurveNode::GetUpdateId() const
{
    std::uint32_t sum = 0;
    WalkTree(*this, [&](const YFCurveNode& node) {
        if (!node.mData->curve) return EWalk::Into;
        sum += node.mData->curve->GetUpdateId();
        return EWalk::Past;
    });
    return sum;
}

std::uint32_t YFCurveNode::GetValuesUpdateId() const
{
    // A node with a curve counts its curve and the layers behind it, not its children.
    const auto next = [](const YFCurveNode& node, int index) {
        if (!node.mData->curve) return yfc::ChildOrLayerOf(node, index);
        return index == 0 ? node.LayerGet() : nullptr;
    };
    std::uint32_t sum = 0;
    Guarded([&] {
        return yfc::WalkBelow(
            *this, next,
            [&](const YFCurveNode& node) {
                const yfc::NodeData& data = *node.mData;
                if (data.curve) sum += data.curve->GetValuesUpdateId();
                return data.curve && !data.layer.IsLinked() ? EWalk::Past : EWalk::Into;
            },
            [](const YFCurveNode&) {});
    });
    return sum;
}
