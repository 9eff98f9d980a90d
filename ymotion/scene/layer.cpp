#include "ymotion/scene/layer.h"

#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include "ymotion/scene/node_walk.h"

namespace ymotion {

namespace {

/// Gives a node on a layer another layer type. A scaling that is multiplied changes nothing at 1, and one that is
/// added at 0: components without keys that held the one value get the other.
void Accumulate(YFCurveNode& node, int layerType)
{
    if (node.GetLayerType() == layerType) return;
    const bool multiplied = node.GetLayerType() == YFCURVE_LAYERTYPE_SCALING;
    const bool multiplies = layerType == YFCURVE_LAYERTYPE_SCALING;
    node.SetLayerType(layerType);
    if (multiplied == multiplies) return;
    for (int i = 0; i < node.GetCount(); ++i) {
        YFCurve* curve = node.Get(i)->FCurveGet();
        if (curve == nullptr || curve->KeyGetCount() > 0) continue;
        if (curve->GetValue() == (multiplied ? 1.0f : 0.0f)) curve->SetValue(multiplies ? 1.0f : 0.0f);
    }
}

}  // namespace

Layer::Layer(int id, std::string name) : mId(id), mName(std::move(name))
{
    if (IsBase()) return;
    mWeight.reset(YFCurveNodeCreate("Weight", static_cast<YDataType*>(nullptr)));
    if (mWeight == nullptr) throw std::bad_alloc();
    mWeight->CreateFCurve();
    if (WeightCurve() == nullptr) throw std::bad_alloc();
    WeightCurve()->SetValue(1.0f);
}

bool Layer::SetMode(eLayerMode mode)
{
    if (mode < YFCURVE_LAYER_ADDITIVE || mode > YFCURVE_LAYER_WEIGHTED_OVERRIDE) return false;
    if (IsBase() && mode != YFCURVE_LAYER_ADDITIVE) return false;
    mMode = mode;
    return true;
}

void Layer::SetModeBypass(YDataType* type, bool bypass)
{
    std::erase(mModeBypasses, type);
    if (bypass) mModeBypasses.push_back(type);
}

bool Layer::GetLayerModeBypass(YDataType* type) const
{
    return std::find(mModeBypasses.begin(), mModeBypasses.end(), type) != mModeBypasses.end();
}

double Layer::GetWeight(YTime time) const
{
    if (!mWeight) return 1.0;
    int hint = 0;
    return WeightOf(WeightCurve()->Evaluate(time, &hint));
}

namespace {

void RemoveNodes(YFCurveNode& node, int layerId)
{
    node.RemoveLayer(layerId, true);
    for (int i = 0; i < node.GetCount(); ++i) RemoveNodes(*node.Get(i), layerId);
}

}  // namespace

SceneLayers::SceneLayers()
{
    Insert(std::unique_ptr<Layer>(new Layer(0, "BaseAnimation")));
}

Layer* SceneLayers::Find(std::string_view name) const
{
    const auto found = std::find_if(mLayers.begin(), mLayers.end(), [&](const std::unique_ptr<Layer>& layer) {
        return layer->mName == name;
    });
    return found != mLayers.end() ? found->get() : nullptr;
}

Layer* SceneLayers::Find(int id) const
{
    const auto found =
        std::lower_bound(mLayers.begin(), mLayers.end(), id,
                         [](const std::unique_ptr<Layer>& layer, int wanted) { return layer->mId < wanted; });
    return found != mLayers.end() && (*found)->mId == id ? found->get() : nullptr;
}

Layer* SceneLayers::Add(std::string name)
{
    if (mHighestId == std::numeric_limits<int>::max()) return nullptr;
    return Add(std::move(name), mHighestId + 1);
}

Layer* SceneLayers::Add(std::string name, int id)
{
    if (id < 0 || Find(id) != nullptr || !IsNameFree(name)) return nullptr;
    return Insert(std::unique_ptr<Layer>(new Layer(id, std::move(name))));
}

bool SceneLayers::Rename(Layer& layer, std::string name)
{
    if (layer.mName == name) return true;
    if (!IsNameFree(name)) return false;
    layer.mName = std::move(name);
    return true;
}

std::unique_ptr<Layer> SceneLayers::Remove(int id, YFCurveNode& root)
{
    const Layer* layer = Find(id);
    if (layer == nullptr || layer->IsBase()) return nullptr;
    RemoveNodes(root, id);
    const auto place = std::find_if(mLayers.begin(), mLayers.end(),
                                    [&](const std::unique_ptr<Layer>& each) { return each.get() == layer; });
    std::unique_ptr<Layer> removed = std::move(*place);
    mLayers.erase(place);
    UpdateSilence();
    return removed;
}

Layer* SceneLayers::Put(std::unique_ptr<Layer>& layer)
{
    if (Find(layer->mId) != nullptr || !IsNameFree(layer->mName)) return nullptr;
    return Insert(std::move(layer));
}

void SceneLayers::ReserveIds(int highestId)
{
    mHighestId = std::max(mHighestId, highestId);
}

void SceneLayers::FreeIds(int highestId)
{
    mHighestId = std::max(highestId, mLayers.back()->mId);
}

void SceneLayers::SetSolo(Layer& layer, bool on)
{
    layer.mSolo = on;
    UpdateSilence();
}

void SceneLayers::SetAccumulation(Layer& layer, eWeightRotationAccumulationMode rotations,
                                  eAnimLayerScaleAccumulationMode scalings, YFCurveNode& root) const
{
    layer.mRotationMode = rotations;
    layer.mScalingMode = scalings;
    VisitNodesAndLayers(root, [&](YFCurveNode& node) {
        if (node.GetLayerID() == layer.mId) Accumulate(node, YFCURVE_LayerTypeOn(node, layer.Info()));
    });
}

YFCurveNode* SceneLayers::NodeOn(YFCurveNode& property, Layer& layer) const
{
    if (YFCurveNode* node = property.LayerGet(layer.mId); node != nullptr) return node;
    YFCurveNode* made = property.GetCorrectLayerAndCreateIfMissing(layer.Info());
    if (made == &property && !layer.IsBase()) return nullptr;
    if (made != nullptr) Accumulate(*made, YFCURVE_LayerTypeOn(*made, layer.Info()));
    return made;
}

void SceneLayers::Bind(YFCurveNode& root) const
{
    VisitNodesAndLayers(root, [this](YFCurveNode& node) {
        // Files made by hand name the layer of a property alone, and not that of its components.
        const bool follows = node.GetLayerID() == Base().GetLayerID() && node.GetParent() != nullptr;
        Layer* layer = Find(follows ? node.GetParent()->GetLayerID() : node.GetLayerID());
        if (layer == nullptr) return;
        node.SetLayerInfo(layer->Info());
        const int type = YFCURVE_LayerTypeOn(node, layer->Info());
        if (type == YFCURVE_LAYERTYPE_ANGLE_BY_ANGLE || type == YFCURVE_LAYERTYPE_PLAIN)
            node.SetLayerType(type);
        if (YFCurve* curve = node.FCurveGet()) curve->SetLockedByLayer(layer->mLocked);
    });
}

Layer* SceneLayers::Insert(std::unique_ptr<Layer> layer)
{
    const int id = layer->mId;
    const auto above = std::find_if(mLayers.begin(), mLayers.end(),
                                    [&](const std::unique_ptr<Layer>& each) { return each->mId > id; });
    const auto place = mLayers.insert(above, std::move(layer));
    mHighestId = std::max(mHighestId, id);
    UpdateSilence();
    return place->get();
}

void SceneLayers::UpdateSilence()
{
    const bool anySolo = std::any_of(mLayers.begin(), mLayers.end(),
                                     [](const std::unique_ptr<Layer>& layer) { return layer->mSolo; });
    for (const std::unique_ptr<Layer>& layer : mLayers) layer->mSilenced = anySolo && !layer->mSolo;
}

}  // namespace ymotion
