#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ymotion/formats/scene_file.h"

/// \file
/// What a person should know of a motion file before using it.

namespace ymotion {

/// Something that was found, and where it is for the first time.
struct Finding
{
    bool isWrong = false;  ///< something is damaged or missing; otherwise it is just worth knowing
    std::string what;      ///< for other programs, as `yfcurve check --help` lists them
    std::string text;      ///< for people
    long long count = 0;   ///< how often; 0 for what is not counted
    std::string path;      ///< of a curve, a property or a joint, or the name of a layer; may be empty
    std::optional<YTime> time;
    std::int64_t line = 0;  ///< counted from 1; 0 where it is not known
};

/// In a scene that has been read: what the reader left out, values and times out of range, names, rotations,
/// span, frame rate and layers. What is wrong comes first.
std::vector<Finding> CheckScene(const Scene& scene, const FileAge& age);

}  // namespace ymotion
