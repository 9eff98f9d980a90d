#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ybaselib/ytime.h"

/// \file
/// Frame rates as files and people write them, and the times of frames.

namespace ymotion {

/// Frames per second as a reduced fraction of positive numbers.
struct FrameRate
{
    std::int64_t numerator = 30;
    std::int64_t denominator = 1;

    double PerSecond() const { return static_cast<double>(numerator) / static_cast<double>(denominator); }
    double SecondsPerFrame() const
    {
        return static_cast<double>(denominator) / static_cast<double>(numerator);
    }

    friend bool operator==(const FrameRate&, const FrameRate&) = default;
};

/// Frames are between a microsecond and about 11 days long.
inline constexpr double kShortestFrame = 1e-6;
inline constexpr double kLongestFrame = 1e6;

/// The rate that is meant by the duration of a frame in decimal notation, which is rarely exact: .0083333
/// stands for 1/120.
///
/// The duration may be off by half a unit of its last digit, or by the rounding to single precision that
/// many exporters do. Of the rates in between, in this order:
/// 1. a whole number of frames a second whose duration the decimals give exactly (0.04, 0.008);
/// 2. the usual rate nearest to it, whole ones before the broken ones of video (24000/1001, ...);
/// 3. the usual rate whose digits were cut off instead of rounded (0.016666);
/// 4. the nearest whole number of frames a second;
/// 5. the decimal as it is, to 18 decimal places.
/// \return  nothing for what is not a number from `kShortestFrame` to `kLongestFrame`.
std::optional<FrameRate> RateOfFrameTime(std::string_view seconds);

/// A rate given in frames a second: "30", "12.5", "24000/1001". What a rate of video rounds to with two decimals or more
/// means it: 23.98, 23.976, 29.97, 47.952, 59.94, 119.88, 239.76.
/// \return  nothing for what is not a rate with frames from `kShortestFrame` to `kLongestFrame`.
std::optional<FrameRate> ParseRate(std::string_view text);

/// The rate as the library has it, rounded where its numbers are too small for it.
YFrameRate LibraryRate(FrameRate rate);

/// How far rounding to ticks may put a time and the frame that it means apart: both are rounded.
inline constexpr YTime kFrameRounding{2};

/// The exact time of a frame counted from time 0, rounded to the nearest tick; frames below 0 mirror those
/// above. Infinity beyond where time ends (`LastFrame`) on either side.
YTime TimeOfFrame(std::int64_t frame, FrameRate rate);

/// The time of a frame counted from a first one. Where that one is a frame counted from time 0, so are all, to the
/// tick: those of 23.976 a second are not evenly apart in ticks.
YTime TimeOfFrame(YTime first, std::int64_t frame, FrameRate rate);

/// The last frame that is not later than a duration from 0 up, where a frame that is late by `kFrameRounding` at
/// most counts as in time.
std::int64_t LastFrame(YTime duration, FrameRate rate);

/// The frame counted from time 0 that is nearest to a time; half-way between two the one nearer to time 0.
std::int64_t NearestFrame(YTime time, FrameRate rate);

/// Whether it is one that motion is recorded and shown at: a whole number of frames a second from 10 to 1000,
/// or one of the rates of video.
bool IsUsualRate(FrameRate rate);

/// "30", "29.97", "120", "12.3457": short, for people. Of usual rates `ParseRate` makes the same rate again.
std::string RateText(FrameRate rate);

}  // namespace ymotion
