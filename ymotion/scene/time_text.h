#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ybaselib/ytime.h"
#include "ymotion/scene/frame_rate.h"

/// \file
/// Times as people write them: in seconds, in frames or as a time code.

namespace ymotion {

/// How many frames a second of time code has: the rate rounded up.
std::int64_t FramesInNamedSecond(FrameRate rate);

/// What `ParseTime` takes, for messages.
inline constexpr const char* kTimeForms =
    "a time in seconds (1.5), in frames (45f) or as a time code (00:00:01:15)";

/// A time as it was written. What it means depends on the frame rate, which is not known before a file is
/// read.
class WrittenTime
{
  public:
    /// The time at a frame rate. Throws `Failure` for a time code that has no such frame at that rate, and
    /// for times more than `kMostSeconds` away.
    /// \param name  of the option or parameter, for messages
    YTime At(FrameRate rate, std::string_view name = {}) const;

    /// -1, 0 or 1: that of the time at any rate.
    int Sign() const;

    /// Whether it is counted in frames, so that it means another time at another rate.
    bool IsCounted() const { return mForm != Form::Seconds; }

  private:
    friend std::optional<WrittenTime> ParseTime(std::string_view text);

    enum class Form
    {
        Seconds,
        Frames,
        TimeCode,
        DropFrame
    };

    struct Context;
    YTime TimeOfFrames(std::int64_t first, const Context& context) const;
    YTime TimeOfCode(const Context& context) const;
    YTime TimeOfDropFrame(const Context& context) const;
    void CheckFrameInSecond(const Context& context) const;
    void CheckNear(double seconds, const Context& context) const;
    [[noreturn]] void Fail(const Context& context, std::string_view why) const;

    std::string mText;
    Form mForm = Form::Seconds;
    bool mNegative = false;
    double mNumber = 0;        ///< seconds or frames, or frames in the second of a time code; from 0 up
    std::int64_t mSecond = 0;  ///< that a time code names
};

/// A time in one of these forms, each with a sign if need be:
/// - "1.5": seconds;
/// - "45f", "45.5f": frames, counted from time 0;
/// - "00:00:01:15", "00:00:01:15.5": hours, minutes (0 to 59), seconds (0 to 59) and frames, of which a
///   second has as many as the rate rounded up. At 29.97 frames a second the names so lag behind the clock;
/// - "00:00:01;15": the same in drop-frame counting, which keeps up with it, for 29.97 and 30 frames a
///   second.
/// A time code with a minus sign is as long before time 0 as without it behind it.
/// \return  nothing for anything else
std::optional<WrittenTime> ParseTime(std::string_view text);

/// Seconds, or "inf" and "-inf" for the ends of time, which stand for an end of a span that is open.
std::string EndText(YTime time);

/// Throws `Failure` for a span that ends before it starts.
/// \param names  of its two ends, for the message: "--start and --stop"
void CheckEndsInOrder(YTime start, YTime stop, std::string_view names);

/// A stretch of time with open ends.
struct TimeRange
{
    std::optional<YTime> start;
    std::optional<YTime> stop;
};

/// A range as it was written.
struct WrittenRange
{
    std::string text;
    std::optional<WrittenTime> start;
    std::optional<WrittenTime> stop;

    /// Throws `Failure` as `WrittenTime::At` does, and for a range that ends before it starts.
    TimeRange At(FrameRate rate, std::string_view name = {}) const;
};

/// What `ParseTimeRange` takes, for messages.
inline constexpr const char* kRangeForms =
    "a range of times (1:3, 30f:90f, 00:00:01:00..00:00:03:00; a bound that is left out is open)";

/// Two times with ".." between them, or with a colon where neither is a time code: "1:3", "1..3", "30f:2.5",
/// "00:00:01:00..90f". Either may be missing: "1:", "..3", ":".
/// \return  nothing for anything else
std::optional<WrittenRange> ParseTimeRange(std::string_view text);

/// A finite time in frames, as `ParseTime` takes it: "45f", "45.25f". To a thousandth of a frame.
std::string FramesText(YTime time, FrameRate rate);

/// A finite time as a time code without drop-frame counting, as `ParseTime` takes it: "00:00:01:15",
/// "-00:00:01:15.25". To a thousandth of a frame.
std::string TimeCodeText(YTime time, FrameRate rate);

}  // namespace ymotion
