// The chain of layers behind a node: finding, making and removing layers.

#include "yfcurve/curve/guarded.h"
#include "yfcurve/node/layers/layerblend.h"
#include "yfcurve/node/layers/layertokeep.h"
#include "yfcurve/node/layers/layerwalk.h"
#include "yfcurve/node/tree/treewalk.h"

using yfc::EWalk;
using yfc::Guarded;

namespace {

// Gives the curves of a new layer the values of one that changes nothing, and the colours of the layer that
// it was made of.
void FillNeutral(YFCurveNode& topLayer, const YFCurveNode& topSource)
{
    const auto fill = [](YFCurveNode& node, const YFCurve& curve, const YFCurveNode& property) {
        node.FCurveGet()->SetValue(static_cast<float>(yfc::NeutralValue(property)));
        node.SetColor(curve.GetColor());
    };
    if (const YFCurve* curve = topSource.FCurveGet()) return fill(topLayer, *curve, topSource);
    yfc::WalkPairs(topSource, topLayer, [&](const YFCurveNode& source, YFCurveNode& layer) {
        if (source.FCurveGet() != nullptr) return EWalk::Past;
        for (int i = 0; i < source.GetCount(); ++i) {
            if (const YFCurve* curve = source.Get(i)->FCurveGet()) fill(*layer.Get(i), *curve, source);
        }
        return EWalk::Into;
    });
}

// Whether a layer holds something for each component that is there on the base.
bool HoldsAll(const YFCurveNode& layer, const YFCurveNode& base)
{
    for (int i = 0; i < yfc::ComponentCount(base); ++i) {
        const YFCurveNode* part = yfc::PartOf(base, layer, i);
        if (part == nullptr) return false;
        if (part->FCurveGet() == nullptr && yfc::CurveOf(base, base, i) != nullptr) return false;
    }
    return true;
}

// Puts a new layer of a node's shape between another one of the chain and its next. Throws when memory runs
// out, with the chain as it was.
YFCurveNode* LayerCreate(YFCurveNode& node, const YFCurveNode& shape, const YFCurveLayerInfo& layerInfo)
{
    if (node.IsMultiLayer() == 0) return nullptr;
    YFCurveNodePtr made(shape.CloneTemplate(layerInfo));
    FillNeutral(*made, shape);
    YFCurveNode* const successor = node.LayerGet();
    YFCurveNode& base = *node.ObjectLayerGet();
    yfc::PrepareChain(base, *made);
    if (successor != nullptr) {
        yfc::PrepareChain(base, *successor);
        yfc::LinkPrepared(*made, successor, false);
    }
    yfc::LinkPrepared(node, made.get(), false);
    return made.release();
}

bool AddsNothing(const YFCurveNode& node)
{
    if (!yfc::IsAdditive(node)) return false;
    const auto neutral = static_cast<float>(yfc::NeutralValue(node));
    const auto isNeutral = [neutral](const YFCurveNode& part) {
        const YFCurve* curve = part.FCurveGet();
        return curve == nullptr || (curve->KeyGetCount() == 0 && curve->GetValue() == neutral);
    };
    for (int i = 0; i < node.GetCount(); ++i) {
        if (!isNeutral(*node.Get(i))) return false;
    }
    return isNeutral(node);
}

}  // namespace

const YFCurve* yfc::WeightCurveOf(const YFCurveNode& node)
{
    const auto* const layer = dynamic_cast<const YFCurveWeightedLayer*>(node.GetLayerInfo().GetLayer());
    if (layer == nullptr || node.IsNodeMuted() || StandsAlone(node) || HasProperties(node)) return nullptr;
    const bool isWeighted = LayerBlend::IsWeighted(LayerBlend::RuleOf(node, ComponentCount(node)).kind);
    return isWeighted ? layer->GetWeightCurve() : nullptr;
}

const YFCurve* YFCurveNode::GetWeightCurve() const
{
    const YFCurve* const weight = yfc::WeightCurveOf(*this);
    return weight != nullptr && !AddsNothing(*this) ? weight : nullptr;
}

YFCurveNode* YFCurveNode::GetLayerNode(int layerId)
{
    return LayerGet(GetCorrectLayerID(layerId));
}

YFCurveNode* YFCurveNode::GetPreviousLayer(int layerId)
{
    if (layerId == 0) return nullptr;
    YFCurveNode* node = this;
    for (YFCurveNode* next = LayerGet(); next != nullptr && next->GetLayerID() < layerId;
         next = next->LayerGet()) {
        node = next;
    }
    return node;
}

YFCurveNode* YFCurveNode::GetCorrectLayer(int layerId)
{
    return GetLayerNode(layerId);
}

int YFCurveNode::GetCorrectLayerID(int layerId) const
{
    return IsMultiLayer() != 0 ? layerId : 0;
}

YFCurveLayerInfo YFCurveNode::GetCorrectLayerInfo(const YFCurveLayerInfo& layerInfo) const
{
    const YFCurveNode* first = GetCount() > 0 ? Get(0) : this;
    const bool ownTimes = first->GetETI() == nullptr;
    return IsMultiLayer() != 0 && ownTimes ? layerInfo : YFCurveLayerInfo::Base;
}

YFCurveNode* YFCurveNode::GetCorrectLayerAndCreateIfMissing(const YFCurveLayerInfo& layerInfo)
{
    const YFCurveLayerInfo info = GetCorrectLayerInfo(layerInfo);
    YFCurveNode* layer = LayerGet(info.GetLayerID());
    return layer != nullptr ? layer : CreateLayerAt(info);
}

YFCurveNode* YFCurveNode::CreateLayerAt(const YFCurveLayerInfo& layerInfo)
{
    const int layerId = layerInfo.GetLayerID();
    if (IsMultiLayer() == 0 || layerId == 0 || layerId <= GetLayerID()) return nullptr;
    YFCurveNode* const previous = GetPreviousLayer(layerId);
    YFCurveNode* const successor = previous->LayerGet();
    if (successor != nullptr && successor->GetLayerID() == layerId) return successor;
    const YFCurveNode& shape = HoldsAll(*previous, *this) ? *previous : *this;
    YFCurveNode* const layer = Guarded([&] { return LayerCreate(*previous, shape, layerInfo); });
    if (layer != nullptr) yfc::SendEvent(*ObjectLayerGet(), YFCURVENODEEVENT_LAYER);
    return layer;
}

YFCurveNode* YFCurveNode::InsertOrCopyLayer(const YFCurveLayerInfo& layerInfo, const YFCurveNode* source)
{
    if (source == nullptr) return nullptr;
    return Guarded([&]() -> YFCurveNode* {
        yfc::LayerToKeep made(*this, layerInfo);
        if (made.Get() == nullptr) return nullptr;
        made.Get()->SingleLayerCopyFrom(source);
        made.Keep();
        return made.Get();
    });
}

YFCurveNode* YFCurveNode::RemoveLayer(int layerId, bool destroy)
{
    YFCurveNode* const previous = GetPreviousLayer(layerId);
    YFCurveNode* const layer = previous != nullptr ? previous->LayerGet() : nullptr;
    if (layer == nullptr || layer->GetLayerID() != layerId) return nullptr;
    YFCurveNode* removed = yfc::LinkPrepared(*previous, layer->LayerGet(), false);
    yfc::LinkPrepared(*removed, nullptr, false);
    removed->ObjectLayerSet(this);
    if (destroy) {
        if (removed->GetReferenceCount() < 1) removed->Destroy();
        removed = nullptr;
    }
    yfc::SendEvent(*ObjectLayerGet(), YFCURVENODEEVENT_LAYER);
    return removed;
}

YFCurveNode::LayerModeCase YFCurveNode::CheckLayerMode(YTime time, int referenceLayerId) const
{
    const YFCurveLayerInfo& info = GetLayerInfo();
    const eLayerMode mode = info.GetLayerMode();
    if (info.IsMuted() || !yfc::Overrides(mode)) return YFCURVE_LAYERCASE_ADDS;
    if (mode == YFCURVE_LAYER_WEIGHTED_OVERRIDE) {
        const double distance = info.GetWeight(time) - 1.0;
        if (distance > yfc::kWeightTolerance || distance < -yfc::kWeightTolerance) {
            return YFCURVE_LAYERCASE_BLENDS;
        }
    }
    return GetLayerID() > referenceLayerId ? YFCURVE_LAYERCASE_HIDES_REFERENCE
                                           : YFCURVE_LAYERCASE_HIDES_BELOW;
}
