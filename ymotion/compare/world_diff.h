#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ymotion/compare/world_errors.h"
#include "ymotion/scene/scene.h"

/// \file
/// How far the joints of two scenes are apart in the world.

namespace ymotion {

struct WorldDifference
{
    std::size_t compared = 0;        ///< joints and end sites that both scenes have
    std::vector<JointError> joints;  ///< those that are apart, by their paths: "Hips/Spine/Head"
    std::vector<std::string> onlyA;  ///< paths of joints that the other scene does not have
    std::vector<std::string> onlyB;

    /// Whether all joints are in the same places at all times.
    bool IsEmpty() const { return joints.empty() && onlyA.empty() && onlyB.empty(); }
    /// The joint that is farthest apart; null where none is.
    const JointError* Largest() const;
};

/// Compares where joints of the same paths are, the first with the first where several share one: at every
/// key of either scene, and from the first to the last of these at every frame of the first scene, counted
/// from its first key, and half-way between; of more than 100,000 frames at every n-th. Throws `Failure`
/// unless both scenes have a skeleton.
/// \param tolerance  distances up to this are none; in the file's own units. Neither are those that the
///                   rounding of angles may make along the bones.
WorldDifference CompareWorlds(const Scene& a, const Scene& b, double tolerance);

}  // namespace ymotion
