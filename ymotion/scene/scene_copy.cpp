#include "ymotion/scene/scene_copy.h"

#include <new>
#include <unordered_map>

#include "ymotion/scene/whole_turns.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

void CopyLayer(const Layer& from, SceneLayers& layers)
{
    if (!from.IsBase()) layers.Add(from.Name(), from.GetLayerID());
    Layer& to = *layers.Find(from.GetLayerID());
    layers.Rename(to, from.Name());
    to.SetMode(from.GetLayerMode());
    to.SetMute(from.IsMuteOn());
    to.SetLocked(from.IsLocked());
    to.SetRotationMode(from.GetLayerRotationMode());
    to.SetScalingMode(from.GetLayerScalingMode());
    for (YDataType* type : from.ModeBypasses()) to.SetModeBypass(type, true);
    if (from.WeightCurve() != nullptr) {
        to.WeightCurve()->CopyFrom(*from.WeightCurve());
        if (to.WeightCurve()->KeyGetCount() != from.WeightCurve()->KeyGetCount()) throw std::bad_alloc();
    }
    layers.SetSolo(to, from.IsSolo());
}

using NodeMap = std::unordered_map<const YFCurveNode*, YFCurveNode*>;

/// Copies what the copy of a tree leaves out, and notes which node is the copy of which.
void Complete(const YFCurveNode& from, YFCurveNode& to, NodeMap& copies)
{
    StopIfAsked();
    copies[&from] = &to;
    if (from.IsLockedByProperty() && !to.IsLockedByProperty()) to.SetLockedByProperty(true);
    if (from.FCurveGet() != nullptr) {
        if (to.FCurveGet() == nullptr || to.FCurveGet()->KeyGetCount() != from.FCurveGet()->KeyGetCount())
            throw std::bad_alloc();
        to.FCurveGet()->SetLockedByProperty(from.FCurveGet()->IsLockedByProperty());
    }
    if (from.GetCount() != to.GetCount()) throw std::bad_alloc();
    for (int i = 0; i < from.GetCount(); ++i) Complete(*from.Get(i), *to.Get(i), copies);
    if (from.LayerGet() == nullptr) return;
    if (to.LayerGet() == nullptr) throw std::bad_alloc();
    Complete(*from.LayerGet(), *to.LayerGet(), copies);
}

}  // namespace

Scene CopyOf(const Scene& scene)
{
    Scene copy;
    copy.file = scene.file;
    copy.format = scene.format;
    copy.isPacked = scene.isPacked;
    copy.leftOut = scene.leftOut;
    copy.skeleton = scene.skeleton;
    copy.rate = scene.rate;
    copy.frameTime = scene.frameTime;
    copy.curveBytes = scene.curveBytes;
    copy.animations = scene.animations;
    copy.animation = scene.animation;
    copy.foreignFields = scene.foreignFields;
    for (const auto& layer : scene.layers.Layers()) CopyLayer(*layer, copy.layers);
    copy.layers.ReserveIds(scene.layers.HighestId());
    StopIfAsked();
    copy.root.reset(scene.root->Clone());
    if (copy.root == nullptr) throw std::bad_alloc();
    NodeMap copies;
    Complete(*scene.root, *copy.root, copies);
    for (const YFCurveNode* node : scene.jointNodes)
        copy.jointNodes.push_back(node == nullptr ? nullptr : copies.at(node));
    copy.layers.Bind(*copy.root);
    return copy;
}

std::optional<Scene> UnrolledCopy(const Scene& scene)
{
    if (JumpingRecordings(scene).empty()) return std::nullopt;
    Scene copy = CopyOf(scene);
    for (const auto& layer : copy.layers.Layers()) layer->SetLocked(false);
    copy.layers.Bind(*copy.root);
    copy.root->SetLockedByProperty(false);
    UnrollRecordings(copy);
    return copy;
}

}  // namespace ymotion
