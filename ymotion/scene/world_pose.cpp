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
        YFCurveNode* scale = scene.jointNodes[i]->Find(YDataType::Get(eDataType::LocalScaling));
        for (int axis = 0; axis < 3; ++axis) {
            const auto at = static_cast<std::size_t>(axis);
            if (joint.Has({ChannelKind::Translation, static_cast<Axis>(axis)}))
                take(limb.translation[at], translation, axis);
        }
        for (int axis = 0; axis < 3; ++axis) {
            take(limb.rotation[static_cast<std::size_t>(axis)], rotation, axis);
            take(limb.scale[static_cast<std::size_t>(axis)], scale, axis);
        }
        if (rotation != nullptr) limb.order = static_cast<eRotationOrder>(rotation->GetRotationOrder());
    }
    mPlayed = PlayedCurves(curves);
    mPlaces.resize(mLimbs.size());
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
        const YgeVector angles = ValuesAt(limb.rotation, time);
        const YgeQuaternion turn(YgeRVector(angles.x, angles.y, angles.z), limb.order);
        mPlaces[i] = Placement::Of(ValuesAt(limb.translation, time), turn, ValuesAt(limb.scale, time));
        mPoses[i].rotation = turn;
        if (limb.parent >= 0) {
            const auto parent = static_cast<std::size_t>(limb.parent);
            mPlaces[i] = mPlaces[parent] * mPlaces[i];
            mPoses[i].rotation = (mPoses[parent].rotation * turn).GetNormalized();
        }
        mPoses[i].position = mPlaces[i].origin;
    }
    return mPoses;
}

}  // namespace ymotion
