#pragma once

#include <string>
#include <vector>

#include "ymotion/scene/scene.h"
#include "ymotion/scene/world_pose.h"

/// \file
/// Where the roots of a character go over the ground, which is the plane of X and Z: Y points up.

namespace ymotion {

/// The numbers of the root joints in the skeleton.
std::vector<std::size_t> RootsOf(const Scene& scene);

/// The pose of a root.
JointPose RootPoseAt(const Scene& scene, std::size_t root, YTime time);

/// The pose of the first root.
JointPose RootPoseAt(const Scene& scene, YTime time);

/// A turn about the vertical axis through the origin, and then a move over the ground.
struct GroundMove
{
    double degrees = 0;
    double x = 0;
    double z = 0;

    YgeQuaternion Turn() const;
    YgeVector operator()(const YgeVector& position) const;
    bool IsNone() const { return degrees == 0 && x == 0 && z == 0; }
};

/// What brings a pose onto another: above the same place, and turned as far about the vertical axis. Heights
/// and how far the poses lean stay.
GroundMove MoveOnto(const JointPose& pose, const JointPose& other);

/// Parts of the largest offset of a skeleton up to which places count as the same.
inline constexpr double kSamePlace = 1e-4;

/// The largest component of all offsets.
double LargestOffset(const Skeleton& skeleton);

/// Moves all roots with their motion. What the move is short by along an axis without a channel is let be
/// where it is no more than rounding (`kSamePlace`). Throws `Failure` where that takes a position channel
/// that a root lacks, or where layers or locks are in the way.
void MoveRoots(Scene& scene, const GroundMove& move);

/// The curve of a root's position along an axis, for tools that change it; null where it has no channel for
/// that. Throws `Failure` where it has layers or locks.
YFCurve* GroundCurveOf(const Scene& scene, std::size_t root, Axis axis);

/// What to add to the words of a tool that moves roots over the ground of X and Z, where the figure stands along Z
/// (foot_contacts.h says how that is found). Empty otherwise.
std::string GroundNote(const Scene& scene);

/// Throws `Failure` for a scene without a skeleton.
/// \param tool  what needs one, for people.
void CheckHasSkeleton(const Scene& scene, const char* tool);

/// Throws `Failure` for a property with layers above its base layer.
void CheckHasNoLayers(const Scene& scene, const YFCurveNode& property);

}  // namespace ymotion
