#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "ymotion/scene/frame_rate.h"
#include "ymotion/scene/scene.h"
#include "ymotion/scene/skeleton.h"

/// \file
/// BVH, the motion files of optical capture: a skeleton (HIERARCHY) and a table of channel values with a
/// row for each frame (MOTION).
///
/// Accepted: keywords in any case, any order of channels, any number of roots, LF, CR LF and CR line ends,
/// blanks and tabs, braces on the line of their joint, joint names with blanks, exponents, frames broken
/// over several lines as long as each starts on a line of its own, text in UTF-8 or another superset of
/// ASCII. Numbers are kept in single precision.

namespace ymotion {

class Output;

/// A BVH file as it stands.
struct BvhMotion
{
    Skeleton skeleton;
    std::string frameTime;  ///< as written
    FrameRate rate;         ///< what the frame time means
    std::int64_t frameCount = 0;
    std::vector<float> samples;  ///< frame by frame, the channels in the order of the skeleton
};

/// Joints inside each other; beyond, a file is refused.
inline constexpr int kDeepestJoint = 1000;

/// Whether a file begins like BVH.
bool IsBvh(std::string_view text);

/// Reads the text of a BVH file. Takes one pass, and memory in proportion to the text: a count in the file
/// is believed only as far as the bytes that follow can hold it. Throws `Failure` with the line of what is
/// wrong.
/// \param file  its name in messages.
BvhMotion ParseBvh(std::string_view text, std::string_view file);

/// Turns channels into curves with a cubic auto key for each frame. Frame i is at the exact time i / rate,
/// rounded to a tick. Position channels are the local translation itself, the offset not added.
Scene SceneOfBvh(const BvhMotion& motion);

/// Writes a scene's skeleton, and what plays sampled at the scene's rate from the first to the last key. A
/// curve that was read from a frame table at that rate gives every number back, as long as no layer changes
/// it. Throws `Failure` for a scene without a skeleton.
/// \return  the skeleton as written: joints have channels, too, for axes that they move along or turn about without
Skeleton WriteBvh(const Scene& scene, Output& out);

}  // namespace ymotion
