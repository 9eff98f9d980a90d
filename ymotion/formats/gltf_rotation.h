#pragma once

#include <array>
#include <cstddef>
#include <vector>

#include "ybaselib/yrotation.h"
#include "ybaselib/ytime.h"
#include "ymotion/formats/gltf_document.h"

/// \file
/// Rotations that turn as quaternions, made into Euler angles that turn nearly alike.

namespace ymotion {

/// A key of three angles in degrees, with the slopes a second of the segment behind it.
struct EulerKey
{
    YTime time;
    std::array<double, 3> angles{};
    std::array<double, 3> right{};
    std::array<double, 3> nextLeft{};
};

struct EulerKeys
{
    std::vector<EulerKey> keys;
    int beyond = 0;  ///< stretches that turn too fast for the angles to follow within the tolerance
};

/// The angles of a rotation track without jumps by whole turns. The file's keys are all there; more are set
/// between until the orientation is within the tolerance, measured at nine times between each two keys.
/// \param times     of the keys of the track.
/// \param order     0 to 5, see `RotationOrderOf`.
/// \param mostKeys  may be set in addition.
EulerKeys EulerKeysOf(const GltfTrack& track, const std::vector<YTime>& times, int order, double tolerance,
                      std::size_t mostKeys);

}  // namespace ymotion
