// What a node evaluates to: its own curves, and its layers together.

#include <algorithm>

#include "yfcurve/node/layerstack.h"
#include "yfcurve/node/nodedata.h"

using yfc::NodeData;
using yfc::Pass;

namespace yfc {

int ComponentCount(const YFCurveNode& node)
{
    return NodeData::Of(node).curve ? 1 : Children(node).GetCount();
}

bool HasNeutralValue(const YFCurveNode& node)
{
    return NodeData::Of(node).LayerType() != 6;
}

double NeutralValue(const YFCurveNode& node)
{
    return NodeData::Of(node).LayerType() == 3 ? 1.0 : 0.0;
}

namespace {

bool IsCompound(const YFCurveNode& node)
{
    return !NodeData::Of(node).curve && node.GetCount() > 0;
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
    const int count = ComponentCount(node);
    if (node.FCurveGet() != nullptr || !HasProperties(node)) return count;
    int values = 0;
    for (int i = 0; i < count; ++i) values += std::max(ValueCount(*node.Get(i)), 1);
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

namespace {

// --- Time warp -----------------------------------------------------------------------------------------

YTime WarpedTime(YFCurveNode& warp, YTime time, const Pass& pass)
{
    const HintCopy hint(pass);
    double values[kMaximumComponents] = {};
    const int count = ValueCount(warp);
    if (count < 1 || count > kMaximumComponents) return time;
    EvaluateLayers(warp, values, LocalTime(warp, time, hint.Get()), hint.Get());
    return YTime::FromSeconds(values[0]);
}

// --- Layers --------------------------------------------------------------------------------------------

bool IsRotation(const YFCurveNode& node)
{
    const int type = NodeData::Of(node).LayerType();
    return (type == 2 || type == 5) && node.GetCount() == kRotationComponents && !HasProperties(node);
}

// The layout of a property's values, which its layers have in common. Mostly a node has no properties below
// it, and that shows when the first layer is evaluated: looking first would cost as much as evaluating.
struct Shape
{
    int count;
    bool hasProperties;
};

Shape ShapeOf(const YFCurveNode& node)
{
    return {ComponentCount(node), HasProperties(node)};
}

double* CombineOwn(YFCurveNode& node, const Shape& shape, double* total, YTime time, const Pass& pass);

// Properties below a node of a chain combine one by one.
double* CombineProperties(YFCurveNode& node, double* total, YTime time, const Pass& pass)
{
    const int count = node.GetCount();
    for (int i = 0; i < count; ++i) {
        YFCurveNode& child = *node.Get(i);
        if (!child.IsNodeMuted())
            CombineOwn(child, ShapeOf(child), total, LocalTime(child, time, pass), pass);
        total += std::max(ValueCount(child), 1);
    }
    return total;
}

// Combines a layer's own values into the total. Answers null, with the total unchanged, for a node whose
// shape is not what it seemed.
double* CombineOwn(YFCurveNode& node, const Shape& shape, double* total, YTime time, const Pass& pass)
{
    if (shape.hasProperties) return CombineProperties(node, total, time, pass);
    const LayerBlend blend(node, time);
    double values[kMaximumComponents];
    for (int first = 0; first < shape.count; first += kMaximumComponents) {
        const int piece = std::min(shape.count - first, kMaximumComponents);
        const bool flat = EvaluateComponents(node, first, piece, values, time, pass);
        if (!flat && first == 0) return nullptr;
        blend.Accumulate(total + first, values, piece);
    }
    return total + shape.count;
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

// The node's layers combined into a total; of a base node without others, the values as they are. Answers
// null as `CombineOwn` does for the first layer.
double* Combine(YFCurveNode& node, const Shape& shape, double* total, YTime time, const Pass& pass)
{
    const NodeData& data = NodeData::Of(node);
    const bool muted = data.layerInfo.IsMuted();
    const bool isBase = data.layerInfo.GetLayerID() == 0;
    YFCurveNode* const next = data.layer.Get();
    const bool keepsTotal = pass.candidates && isBase && !muted && !shape.hasProperties;
    if (keepsTotal && HoldsTotalAt(node, time)) {
        for (int i = 0; i < shape.count; ++i) total[i] = static_cast<double>(TotalCandidate(node, i));
        return total + shape.count;
    }

    const HintCopy hint(pass);
    double* end = nullptr;
    if (muted) {
        end = total + ValueCount(node);
    } else if (isBase && next == nullptr) {
        end = EvaluateOwn(node, total, time, pass);
    } else {
        end = CombineOwn(node, shape, total, time, pass);
        if (end == nullptr) return nullptr;
    }
    if (next != nullptr && ComponentCount(*next) == shape.count) {
        const bool warped = NodeData::Of(*next).timeWarp.IsLinked();
        const YTime nextTime = warped ? LocalTime(*next, time, hint.Get()) : time;
        if (Combine(*next, shape, total, nextTime, hint.Get()) == nullptr && muted) return nullptr;
    }
    if (keepsTotal) RecordTotal(node, total, time);
    return end;
}

// Neutral values all the way down.
double* FillNeutral(const YFCurveNode& node, const Shape& shape, double* values)
{
    if (!shape.hasProperties) {
        if (HasNeutralValue(node)) std::fill_n(values, shape.count, NeutralValue(node));
        return values + shape.count;
    }
    for (int i = 0; i < shape.count; ++i) {
        const YFCurveNode& child = *node.Get(i);
        if (NodeData::Of(child).curve || IsCompound(child)) {
            values = FillNeutral(child, ShapeOf(child), values);
        } else {
            *values++ = NeutralValue(child);
        }
    }
    return values;
}

// Whether a child evaluates to its curve's value, with nothing to be combined or kept.
// \param parent  is asked for its values, so its layer is not muted or that does not matter.
bool HasCurveAlone(const YFCurveNode& child, const YFCurveNode& parent, const Pass& pass)
{
    const NodeData& data = NodeData::Of(child);
    if (!data.curve || data.timeWarp.IsLinked() || data.layer.IsLinked()) return false;
    const YFCurveLayerInfo& info = data.layerInfo;
    if (info.GetLayer() != NodeData::Of(parent).layerInfo.GetLayer() && info.IsMuted()) return false;
    if (info.GetLayerID() == 0) return !pass.candidates;
    return data.parent != nullptr && data.LayerType() <= 1;
}

// A child as its parent sees it.
inline double* EvaluateBelow(YFCurveNode& child, const YFCurveNode& parent, double* values, YTime time,
                             const Pass& pass)
{
    if (HasCurveAlone(child, parent, pass)) [[likely]] {
        *values = EvaluateCurve(*NodeData::Of(child).curve, time, pass);
        return values + 1;
    }
    if (NodeData::Of(child).curve || IsCompound(child)) {
        return EvaluateLayers(child, values, LocalTime(child, time, pass), pass);
    }
    *values = NeutralValue(child);
    return values + 1;
}

}  // namespace

YTime LocalTime(YFCurveNode& node, YTime time, const Pass& pass)
{
    YFCurveNode* warp = NodeData::Of(node).timeWarp.Get();
    return warp != nullptr ? WarpedTime(*warp, time, pass) : time;
}

YTime LayerTime(YFCurveNode& node, const YFCurveNode& layer, YTime localTime, const Pass& pass)
{
    for (YFCurveNode* step = &node; step != nullptr && step != &layer;) {
        step = step->LayerGet();
        if (step != nullptr) localTime = LocalTime(*step, localTime, pass);
    }
    return localTime;
}

double* EvaluateLayers(YFCurveNode& node, double* values, YTime localTime, const Pass& pass)
{
    const NodeData& data = NodeData::Of(node);
    const bool alone = data.layerInfo.GetLayerID() == 0 && !data.layer.IsLinked();
    if (alone && !pass.candidates && !data.layerInfo.IsMuted()) [[likely]] {
        return EvaluateOwn(node, values, localTime, pass);
    }
    Shape shape{ComponentCount(node), pass.candidates && HasProperties(node)};
    FillNeutral(node, shape, values);
    if (double* end = Combine(node, shape, values, localTime, pass)) return end;
    shape.hasProperties = true;
    FillNeutral(node, shape, values);
    return Combine(node, shape, values, localTime, pass);
}

double* EvaluateOwn(YFCurveNode& node, double* values, YTime localTime, const Pass& pass)
{
    if (YFCurve* curve = NodeData::Of(node).curve.get()) {
        *values = EvaluateCurve(*curve, localTime, pass);
        return values + 1;
    }
    if (IsRotation(node)) return EvaluateRotation(node, values, localTime, pass);
    const Children children(node);
    for (int i = 0; i < children.GetCount(); ++i) {
        values = EvaluateBelow(children[i], node, values, localTime, pass);
    }
    return values;
}

bool EvaluateComponents(YFCurveNode& node, int first, int count, double* values, YTime localTime,
                        const Pass& pass)
{
    if (NodeData::Of(node).curve || IsRotation(node)) {
        EvaluateOwn(node, values, localTime, pass);
        return true;
    }
    bool flat = true;
    const Children children(node);
    for (int i = 0; i < count; ++i) {
        YFCurveNode& child = children[first + i];
        if (NodeData::Of(child).curve) [[likely]] {
            EvaluateBelow(child, node, values + i, localTime, pass);
        } else {
            values[i] = NeutralValue(child);
            flat = flat && !IsCompound(child);
        }
    }
    return flat;
}

}  // namespace yfc

namespace {

// Evaluating without candidates leaves the tree as it is, save for the hints inside the curves.
YFCurveNode& Unchanged(const YFCurveNode& node)
{
    return const_cast<YFCurveNode&>(node);
}

double* EvaluateStack(YFCurveNode& node, double* values, YTime time, const Pass& pass)
{
    return yfc::EvaluateLayers(node, values, yfc::LocalTime(node, time, pass), pass);
}

double* EvaluateLayer(YFCurveNode& node, double* values, YTime time, int layerId, const Pass& pass)
{
    YFCurveNode* layer = node.GetCorrectLayer(layerId);
    if (layer == nullptr) return values;
    const YTime localTime = yfc::LocalTime(node, time, pass);
    return yfc::EvaluateOwn(*layer, values, yfc::LayerTime(node, *layer, localTime, pass), pass);
}

}  // namespace

double* YFCurveNode::Evaluate(double* values, YTime time, int* last) const
{
    if (mData->layerInfo.IsMuted()) return values;
    if (mData->curve) {
        *values = mData->curve->Evaluate(time, last);
        return values + 1;
    }
    const yfc::Children children(*this);
    for (int i = 0; i < children.GetCount(); ++i) values = children[i].Evaluate(values, time, last);
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
    return yfc::EvaluateOwn(Unchanged(*this), values, time, {last, false});
}

double* YFCurveNode::RotationNodeEvaluate(double* values, YTime time, int* last, bool withCandidates)
{
    return yfc::EvaluateOwn(*this, values, time, {last, withCandidates});
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
    if (mData->curve) return mData->curve->GetUpdateId();
    std::uint32_t sum = 0;
    const int count = GetCount();
    for (int i = 0; i < count; ++i) sum += Get(i)->GetUpdateId();
    return sum;
}

std::uint32_t YFCurveNode::GetValuesUpdateId() const
{
    std::uint32_t sum = 0;
    if (mData->curve) {
        sum = mData->curve->GetValuesUpdateId();
    } else {
        const int count = GetCount();
        for (int i = 0; i < count; ++i) sum += Get(i)->GetValuesUpdateId();
    }
    const YFCurveNode* layer = LayerGet();
    return layer != nullptr ? sum + layer->GetValuesUpdateId() : sum;
}
