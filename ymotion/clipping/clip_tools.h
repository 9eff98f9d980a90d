#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ymotion/scene/placement.h"
#include "ymotion/scene/scene.h"
#include "ymotion/scene/time_text.h"

/// \file
/// The tools of a clip, one source each. Each function understands what is written behind the tool's name,
/// throws `Failure` where it makes no sense for any scene, and returns the work to be done on one.

namespace ymotion {

/// Where a tool is to bring the joints in the world, by where they were before it.
struct WorldIntent
{
    /// Gives, for a time after the tool, the time before it that showed the same; nothing where the tool made
    /// new motion (a blend). Null where times do not change.
    std::function<std::optional<YTime>(YTime)> timeBefore;
    /// Brings the origins of all joints and end sites to where they are to be at a time now, and takes out
    /// those that are no longer there. Null where all of them stay.
    std::function<void(std::vector<Placement>&, YTime)> move{};
    /// How many roundings to a tick lie between the two times, so how far beside a frame one may be.
    std::int64_t roundings = 1;
};

/// What a tool did.
struct ClipChange
{
    bool changed = true;  ///< false: the text says why not
    std::string text;     ///< for people: "keeps 1 to 3 s of 4.37 s"
    WorldIntent intent{};
};

/// Throws `Failure` for a scene that does not take it, which then may be half changed.
using ClipWork = std::function<ClipChange(Scene&)>;

/// What is said once for all tools that it concerns.
struct ClipSettings
{
    std::optional<WrittenTime> blend;  ///< of the seams of a loop
    bool resample = false;             ///< a new rate becomes that of the keys
    bool keepTimes = false;            ///< what is left of a trim stays at its times
    /// Left and right for a mirror: two joints, or what tells their names apart.
    std::vector<std::pair<std::string, std::string>> pairs;
};

ClipWork ParseTrim(const std::string& value, const ClipSettings& settings);
ClipWork ParseRate(const std::string& value, const ClipSettings& settings);
ClipWork ParseSpeed(const std::string& value, const ClipSettings& settings);
ClipWork ParseReverse(const std::string& value, const ClipSettings& settings);
ClipWork ParseShift(const std::string& value, const ClipSettings& settings);
ClipWork ParseLoop(const std::string& value, const ClipSettings& settings);
ClipWork ParseMirror(const std::string& value, const ClipSettings& settings);
ClipWork ParseScale(const std::string& value, const ClipSettings& settings);
ClipWork ParseRootOrigin(const std::string& value, const ClipSettings& settings);
ClipWork ParseInPlace(const std::string& value, const ClipSettings& settings);
ClipWork ParseOrder(const std::string& value, const ClipSettings& settings);
ClipWork ParseRename(const std::string& value, const ClipSettings& settings);
ClipWork ParseDrop(const std::string& value, const ClipSettings& settings);

}  // namespace ymotion
