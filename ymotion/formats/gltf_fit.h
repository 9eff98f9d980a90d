#pragma once

#include <array>
#include <functional>
#include <vector>

#include "ybaselib/ytime.h"
#include "ymotion/formats/gltf_document.h"

/// \file
/// The keys of a glTF sampler for motion that can be asked for its value at any time.

namespace ymotion {

/// The value of a property: three numbers, or the four of a unit quaternion.
using GltfValue = std::array<double, 4>;

struct GltfMotion
{
    GltfPath path = GltfPath::Translation;
    std::function<GltfValue(YTime)> at;
    std::vector<YTime> frames;  ///< ascending, at least one: where keys may be
    std::vector<YTime> jumps;   ///< ascending: those of the frames where the value may jump
    double tolerance = 0;       ///< degrees of a rotation, else the distance
};

struct GltfKey
{
    YTime time;
    bool before = false;  ///< holds just before its time: the next key, at the same time, is after a jump
    GltfValue value{};
    GltfValue in{};  ///< slopes a second, of cubic splines
    GltfValue out{};
};

struct GltfKeys
{
    GltfInterpolation interpolation = GltfInterpolation::Linear;
    std::vector<GltfKey> keys;
};

/// A linear key for each frame, or two stepped ones where the value stays.
GltfKeys SampledKeys(const GltfMotion& motion);

/// Cubic keys, each as far from the one before as the tolerance allows; stepped ones where the value stays or
/// only jumps. Measured at three times between frames. Where the cubic from a frame to the next is too far
/// off, the frame is divided, into 64 parts at most.
GltfKeys FittedKeys(const GltfMotion& motion);

}  // namespace ymotion
