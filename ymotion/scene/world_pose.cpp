#include "ymotion/scene/world_pose.h"

#include "ymotion/text/failure.h"

namespace ymotion {

WorldPoses::WorldPoses(const Scene& scene)
{
    if (!scene.HasSkeleton()) {
        throw Failure(scene.file +
                      ": has no skeleton, without which joints have no place in the world; "
                      "convert it from a BVH file");
    }
    std::vector<SelectedCurve> curves;
    const auto take = [&curves](Component& component, YFCurveNode* property, int axis) {
        const YFCurveNode* node = property == nullptr ? nullptr : property->Get(axis);
        if (node == nullptr || node->FCurveGet() == nullptr) return;
        component.played = curves.size();
        curves.push_back({node->FCurveGet(), node, property});
    };
    for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
        const Joint& joint = scene.skeleton.joints[i];
        Limb& limb = mLimbs.emplace_back();
        limb.parent = joint.parent;
        for (std::size_t axis = 0; axis < 3; ++axis) limb.translation[axis].rest = double{joint.offset[axis]};
        const YFCurveNode* node = scene.jointNodes[i];
        if (node == nullptr) continue;
        YFCurveNode* translation = PropertyOf(*node, ChannelKind::Translation);
        YFCurveNode* rotation = PropertyOf(*node, ChannelKind::Rotation);
        for (int axis = 0; axis < 3; ++axis) {
            const auto at = static_cast<std::size_t>(axis);
            if (joint.Has({ChannelKind::Translation, static_cast<Axis>(axis)}))
                take(limb.translation[at], translation, axis);
        }
        for (int axis = 0; axis < 3; ++axis)
            take(limb.rotation[static_cast<std::size_t>(axis)], rotation, axis);
        if (rotation != nullptr) limb.order = static_cast<eRotationOrder>(rotation->GetRotationOrder());
    }
    mPlayed = PlayedCurves(curves);
    mPoses.resize(mLimbs.size());
}

YgeVector WorldPoses::ValuesAt(const std::array<Component, 3>& components, YTime time)
{
    std::array<double, 3> values{};
    for (std::size_t i = 0; i < 3; ++i) {
        const Component& component = components[i];
        values[i] = component.played == kNone ? component.rest : double{mPlayed[component.played].At(time)};
    }
    return {values[0], values[1], values[2]};
}

const std::vector<JointPose>& WorldPoses::At(YTime time)
{
    for (std::size_t i = 0; i < mLimbs.size(); ++i) {
        const Limb& limb = mLimbs[i];
        const YgeVector place = ValuesAt(limb.translation, time);
        const YgeVector angles = ValuesAt(limb.rotation, time);
        const YgeQuaternion turn(YgeRVector(angles.x, angles.y, angles.z), limb.order);
        if (limb.parent < 0) {
            mPoses[i] = {place, turn};
            continue;
        }
        const JointPose& parent = mPoses[static_cast<std::size_t>(limb.parent)];
        const YgeVector away = YgeMatrix(parent.rotation) * place;
        mPoses[i].position = {parent.position.x + away.x, parent.position.y + away.y,
                              parent.position.z + away.z};
        mPoses[i].rotation = (parent.rotation * turn).GetNormalized();
    }
    return mPoses;
}

}  // namespace ymotion
