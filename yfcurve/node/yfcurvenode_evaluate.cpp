// What a node evaluates to: its own curves, and its layers together.

#include <algorithm>

#include "yfcurve/node/layerwalk.h"
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

// Whether the three children of a rotation are evaluated together, as mostly they are not.
inline bool EvaluatesAsRotation(const YFCurveNode& node)
{
    const int type = NodeData::Of(node).LayerType();
    return (type == 2 || type == 5) && node.GetCount() == kRotationComponents && !HasProperties(node);
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

void CombineProperties(YFCurveNode& property, YFCurveNode& layer, double* total, YTime time,
                       const Pass& pass);

// Combines one layer into a total, by the layer's own mode and weight.
void CombineLayer(YFCurveNode& property, YFCurveNode& layer, double* total, YTime time, const Pass& pass)
{
    if (HasProperties(property)) return CombineProperties(property, layer, total, time, pass);
    LayerWalk(property, layer, time, pass).Combine(total);
}

// Properties below a node of a chain combine one by one.
void CombineProperties(YFCurveNode& property, YFCurveNode& layer, double* total, YTime time, const Pass& pass)
{
    const int count = property.GetCount();
    for (int i = 0; i < count; ++i) {
        YFCurveNode& child = *property.Get(i);
        YFCurveNode* const part = PartOf(property, layer, i);
        if (part != nullptr && !part->IsNodeMuted()) {
            CombineLayer(child, *part, total, LocalTime(*part, time, pass), pass);
        }
        total += std::max(ValueCount(child), 1);
    }
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

// Neutral values all the way down.
double* FillNeutral(const YFCurveNode& node, double* values)
{
    if (!HasProperties(node)) return FillComponents(node, values);
    for (int i = 0; i < node.GetCount(); ++i) {
        const YFCurveNode& child = *node.Get(i);
        if (NodeData::Of(child).curve || IsCompound(child)) {
            values = FillNeutral(child, values);
        } else {
            *values++ = NeutralValue(node);
        }
    }
    return values;
}

// Whether a child evaluates to its curve's value, with nothing to be combined or kept.
// \param parentLayer  of the node that is asked for its values, so it is not muted or that does not matter.
inline bool HasCurveAlone(const NodeData& child, const YFCurveLayer* parentLayer, bool candidates)
{
    if (!child.curve || child.timeWarp.IsLinked() || child.layer.IsLinked()) return false;
    const YFCurveLayerInfo& info = child.layerInfo;
    if (info.GetLayer() != parentLayer && info.IsMuted()) return false;
    if (info.GetLayerID() == 0) return !candidates;
    return child.parent != nullptr && child.LayerType() <= 1;
}

// Any other child; one without curve and children leaves the parent's neutral value.
[[gnu::noinline]] double* EvaluateOtherChild(YFCurveNode& child, const YFCurveNode& parent, double* values,
                                             YTime time, const Pass& pass)
{
    if (NodeData::Of(child).curve || IsCompound(child)) {
        return EvaluateLayers(child, values, LocalTime(child, time, pass), pass);
    }
    if (HasNeutralValue(parent)) *values = NeutralValue(parent);
    return values + 1;
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

YTime LocalTime(YFCurveNode& node, YTime time, const Pass& pass)
{
    YFCurveNode* warp = NodeData::Of(node).timeWarp.Get();
    return warp != nullptr ? WarpedTime(*warp, time, pass) : time;
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
    if (NodeData::Of(child).curve) EvaluateLayers(child, value, LocalTime(child, localTime, pass), pass);
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
    yfc::LayerWalk walk(node, yfc::LocalTime(node, time, pass), pass);
    walk.GoTo(*layer);
    return yfc::EvaluateOwn(*layer, values, walk.Time(), pass);
}

}  // namespace

int YFCurveNode::GetCurveCount() const
{
    if (mData->curve) return 1;
    int curves = 0;
    for (int i = 0; i < GetCount(); ++i) curves += Get(i)->GetCurveCount();
    return curves;
}

int YFCurveNode::GetComponentCount() const
{
    return yfc::ValueCount(*this);
}

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
