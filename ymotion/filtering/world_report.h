#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "ymotion/compare/world_errors.h"
#include "ymotion/scene/frame_rate.h"
#include "ymotion/text/style.h"

/// \file
/// How far joints came away from where they were, and how far feet slide, for people and for programs.

namespace ymotion {

/// A line about the joints, and a table of the feet that stand.
std::string WorldText(const WorldErrors& errors, FrameRate rate, const Style& style);

/// A line for errors that are not taken at every frame.
/// \param every  how many frames apart they are taken
std::string ErrorsEveryText(std::int64_t every);

/// The members largest, joint, time, mean, height, up ("Y" or "Z"), joints (joint, largest, mean, time) and
/// feet (foot, contacts, seconds, slideBefore, slideAfter, largestSlide, time). A distance that is no number
/// is null.
nlohmann::ordered_json WorldJson(const WorldErrors& errors);

/// Rows of a table with a heading: the joints that moved, those with the largest distance first.
std::vector<std::vector<std::string>> JointRows(const WorldErrors& errors, std::size_t most);

/// The same of the feet; the heading alone where none stands.
std::vector<std::vector<std::string>> FootRows(const WorldErrors& errors);

/// How far a joint came: "0.123 units"; "no place any more" where a number has become none.
std::string DistanceText(double distance);

/// "0.5 s (15f)".
std::string TimeWithFrame(YTime time, FrameRate rate);

}  // namespace ymotion
