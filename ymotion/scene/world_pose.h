#pragma once

#include <array>
#include <vector>

#include "ybaselib/yrotation.h"
#include "ymotion/scene/placement.h"
#include "ymotion/scene/playback.h"

/// \file
/// Where the joints of a character are in the world, and how they are turned.

namespace ymotion {

/// A joint in the axes of the world.
struct JointPose
{
    YgeVector position;      ///< in the file's measure of length
    YgeQuaternion rotation;  ///< from the axes of the world to those of the joint
};

/// The poses of a scene over time, made from what plays: all layers, and rotations in the form that they have.
class WorldPoses
{
  public:
    /// Throws `Failure` for a scene without a skeleton. The scene has to outlive this.
    explicit WorldPoses(const Scene& scene);

    /// One pose for each joint and end site of the skeleton, in its order; valid until the next call. Times
    /// outside the keys are extrapolated. A joint stands at its offset from its parent along every axis that
    /// has no channel; an end site is turned as its joint. Scales of joints above count for where it is.
    const std::vector<JointPose>& At(YTime time);

  private:
    /// A component of a joint's translation, rotation or scale.
    struct Component
    {
        double rest = 0.0;  ///< where there is no curve
        std::size_t played = kNone;
    };

    struct Limb
    {
        int parent = -1;
        eRotationOrder order = eRotationOrder::XYZ;
        std::array<Component, 3> translation;
        std::array<Component, 3> rotation;
        std::array<Component, 3> scale{{{1.0}, {1.0}, {1.0}}};
    };

    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    YgeVector ValuesAt(const std::array<Component, 3>& components, YTime time);

    std::vector<Limb> mLimbs;
    std::vector<PlayedCurve> mPlayed;
    std::vector<Placement> mPlaces;
    std::vector<JointPose> mPoses;
};

}  // namespace ymotion
