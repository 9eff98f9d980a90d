#pragma once

#include <compare>
#include <cstdint>

#include "ybaselib/yexport.h"

/// \file
/// Time in ticks, seconds and frames.

class YString;

/// Ticks per second: a number that the common frame rates divide. A frame of 24, 25, 30, 48, 50, 60, 100,
/// 120 or 1000 frames a second is a whole number of ticks.
inline constexpr std::int64_t YTIME_TICKS_PER_SECOND = 46186158000;

/// How time is cut into frames and how the frames are numbered.
enum class eTimeMode : int
{
    Current,       ///< what `YTime::GetTimeMode` says
    Fps24,         ///< film
    Fps25,         ///< PAL video
    Fps30,         ///< the default
    Fps30Drop,     ///< 30 frames a second, numbered with drop-frame counting
    Fps29_97,      ///< 30000/1001, NTSC video, every number used: slower than the clock
    Fps29_97Drop,  ///< 30000/1001, NTSC video with drop-frame counting: keeps up with the clock
    Fps23_976,     ///< 24000/1001, film on NTSC video
    Fps48,
    Fps50,
    Fps59_94,  ///< 60000/1001
    Fps60,
    Fps72,
    Fps96,
    Fps100,
    Fps119_88,  ///< 120000/1001
    Fps120,
    Fps1000,  ///< milliseconds
    Custom    ///< the rate given to `YTime::SetCustomFrameRate`
};

/// Frames per second as a fraction, so that times of frames can be computed without rounding the rate.
struct YBASELIB_EXPORT YFrameRate
{
    std::int32_t numerator = 30;
    std::int32_t denominator = 1;

    static constexpr std::int32_t MaximumDenominator = 1'000'000;

    /// Numerator positive, denominator in 1..`MaximumDenominator`.
    constexpr bool IsValid() const
    {
        return numerator > 0 && denominator > 0 && denominator <= MaximumDenominator;
    }

    /// Frames per second; the rate has to be valid.
    constexpr double GetDouble() const
    {
        return static_cast<double>(numerator) / static_cast<double>(denominator);
    }

    friend constexpr bool operator==(YFrameRate, YFrameRate) = default;

    /// The fraction of a rate: the first continued-fraction approximation within one part in 10^12, or the
    /// last one within the limits of a valid rate. 29.97002997002997 gives 30000/1001, 12.5 gives 25/2. A
    /// rate that is not a positive number or out of range gives the invalid fraction 0/1.
    static YFrameRate FromDouble(double framesPerSecond);
};

/// Hours, minutes, seconds and frames of a time. All members of a negative time are negative or zero.
struct YTimeCode
{
    int hour = 0;
    int minute = 0;  ///< magnitude 0..59
    int second = 0;  ///< magnitude 0..59
    int frame = 0;   ///< magnitude 0..59 at 60 frames a second
    int field = 0;   ///< magnitude 0..1: the second half of a frame of interlaced video

    friend constexpr bool operator==(const YTimeCode&, const YTimeCode&) = default;
};

/// A point in time or a duration: a signed number of ticks.
///
/// The range is about plus and minus six years. The largest value means infinity, or that there is no
/// time; its negative means minus infinity. Arithmetic is plain 64-bit arithmetic that wraps around and
/// gives the infinities no special treatment; only conversions into ticks saturate at them.
class YBASELIB_EXPORT YTime
{
  public:
    /// Time 0.
    constexpr YTime() = default;
    constexpr explicit YTime(std::int64_t ticks) : mTicks(ticks) {}

    constexpr std::int64_t Get() const { return mTicks; }
    constexpr void Set(std::int64_t ticks) { mTicks = ticks; }

    /// Seconds: the tick count divided by `YTIME_TICKS_PER_SECOND` in double precision, whose rounding
    /// is the only error.
    constexpr double GetSecondDouble() const
    {
        return static_cast<double>(mTicks) / static_cast<double>(YTIME_TICKS_PER_SECOND);
    }

    /// Takes a time in seconds, rounded to the nearest tick (halves away from zero). Beyond the range it
    /// becomes infinity or minus infinity, and not-a-number becomes 0. Times within 13 hours of zero come
    /// back to the very tick from `GetSecondDouble`.
    constexpr void SetSecondDouble(double seconds) { *this = FromSeconds(seconds); }

    /// The time that `SetSecondDouble` sets.
    static constexpr YTime FromSeconds(double seconds);

    /// True for infinity and for minus infinity.
    constexpr bool IsInfinite() const { return mTicks == INT64_MAX || mTicks == -INT64_MAX; }

    friend constexpr bool operator==(YTime, YTime) = default;
    friend constexpr std::strong_ordering operator<=>(YTime, YTime) = default;

    constexpr YTime operator-() const { return Wrapped(0 - Bits(mTicks)); }
    friend constexpr YTime operator+(YTime a, YTime b) { return Wrapped(Bits(a.mTicks) + Bits(b.mTicks)); }
    friend constexpr YTime operator-(YTime a, YTime b) { return Wrapped(Bits(a.mTicks) - Bits(b.mTicks)); }
    friend constexpr YTime operator*(YTime a, std::int64_t b) { return Wrapped(Bits(a.mTicks) * Bits(b)); }
    friend constexpr YTime operator*(std::int64_t a, YTime b) { return b * a; }

    /// Division and remainder truncate towards zero; the divisor must not be 0.
    friend constexpr YTime operator/(YTime a, std::int64_t b) { return b == -1 ? -a : YTime(a.mTicks / b); }

    /// How often `b` fits into `a`, whole.
    friend constexpr std::int64_t operator/(YTime a, YTime b) { return (a / b.mTicks).mTicks; }
    friend constexpr YTime operator%(YTime a, YTime b)
    {
        return b.mTicks == -1 ? YTime() : YTime(a.mTicks % b.mTicks);
    }

    constexpr YTime& operator+=(YTime other) { return *this = *this + other; }
    constexpr YTime& operator-=(YTime other) { return *this = *this - other; }
    constexpr YTime& operator*=(std::int64_t factor) { return *this = *this * factor; }
    constexpr YTime& operator/=(std::int64_t divisor) { return *this = *this / divisor; }

    /// The time at which a frame starts: the exact frame/rate rounded to the nearest tick, halves away
    /// from zero. Saturates at the infinities. Frame numbers here are a plain count from time 0, whatever
    /// the mode's way of naming them.
    static YTime FromFrame(std::int64_t frame, eTimeMode mode = eTimeMode::Current);

    /// The frame that is on at this time: the last one whose `FromFrame` time is not later. So
    /// `FromFrame(n).GetFrame()` is n in every mode, and the tick before it belongs to frame n - 1, for
    /// negative times too. Infinite times are taken as the plain tick counts that they are.
    std::int64_t GetFrame(eTimeMode mode = eTimeMode::Current) const;

    /// Sets the time named by hours, minutes, seconds and frames, as a time code names it.
    ///
    /// A second is as many frames as the rate rounded up, so at 29.97 frames a second without drop-frame
    /// counting an hour of time code lasts 3603.6 seconds. Drop-frame counting (SMPTE 12M) leaves out the
    /// numbers 0 and 1 in the first second of every minute that is no multiple of ten; a number that is
    /// left out means the first one that is not.
    ///
    /// Parts may exceed their usual range (90 seconds, frame 1800) and carry over. Negative parts count
    /// backwards: -1 hour, or 1 second and -1 frame. The frames count on from the second that the other
    /// parts name. A field is half a frame. Saturates at the infinities.
    void SetTime(int hour, int minute = 0, int second = 0, int frame = 0, int field = 0,
                 eTimeMode mode = eTimeMode::Current);

    /// The name of the field that is on at this time: the parts that give `SetTime` its start.
    YTimeCode GetTimeCode(eTimeMode mode = eTimeMode::Current) const;

    /// The name of the frame that is on at this time, as text: "01:02:03:04", in modes with drop-frame
    /// counting "01:02:03;04", negative times with a minus sign in front, infinities as "inf" and "-inf".
    YString GetTimeString(eTimeMode mode = eTimeMode::Current) const;

    /// The mode of the process, which `eTimeMode::Current` stands for; 30 frames a second at the start. A
    /// thread may have a rate of its own (`YThreadFrameRate`). Mode and rate of the process must not be set
    /// while other threads work with frames.
    static eTimeMode GetTimeMode();

    /// `eTimeMode::Current` and values outside the enumeration leave the mode as it is. For a thread with a
    /// rate of its own that rate stays in force.
    static void SetTimeMode(eTimeMode mode);

    /// Sets what `eTimeMode::Custom` stands for; 30 frames a second at the start. In a thread with a rate of
    /// its own it stands for that one.
    /// \return  false, with nothing changed, for an invalid rate.
    static bool SetCustomFrameRate(YFrameRate rate);

    /// Frames per second, exactly; values outside the enumeration count as the current mode. In a thread
    /// with a rate of its own that rate is the one of the current and of the custom mode.
    static YFrameRate GetExactFrameRate(eTimeMode mode = eTimeMode::Current);
    static double GetFrameRate(eTimeMode mode = eTimeMode::Current);

    /// Whether a mode leaves out frame numbers to keep up with the clock.
    static bool IsDropFrame(eTimeMode mode = eTimeMode::Current);

  private:
    static constexpr std::uint64_t Bits(std::int64_t ticks) { return static_cast<std::uint64_t>(ticks); }
    static constexpr YTime Wrapped(std::uint64_t bits) { return YTime(static_cast<std::int64_t>(bits)); }

    std::int64_t mTicks = 0;
};

/// Gives one thread a frame rate of its own: while this lives, the current mode of the thread that made it
/// is `eTimeMode::Custom`, of the given rate, whatever the process is set to. These may stand inside each
/// other, the innermost counts. Made and ended on one thread. An invalid rate leaves everything as it is.
class YBASELIB_EXPORT YThreadFrameRate
{
  public:
    explicit YThreadFrameRate(YFrameRate rate);
    ~YThreadFrameRate();
    YThreadFrameRate(const YThreadFrameRate&) = delete;
    YThreadFrameRate& operator=(const YThreadFrameRate&) = delete;

  private:
    YFrameRate mRate;
    const YFrameRate* mOuter;
};

inline constexpr YTime YTIME_ZERO{0};
inline constexpr YTime YTIME_ONE_TICK{1};  ///< the smallest step of time
inline constexpr YTime YTIME_ONE_SECOND{YTIME_TICKS_PER_SECOND};
inline constexpr YTime YTIME_INFINITE{INT64_MAX};         ///< 0x7FFFFFFFFFFFFFFF
inline constexpr YTime YTIME_MINUS_INFINITE{-INT64_MAX};  ///< 0x8000000000000001

constexpr YTime YTime::FromSeconds(double seconds)
{
    constexpr double limit = 9223372036854775808.0;  // 2 to the 63rd
    const double ticks = seconds * static_cast<double>(YTIME_TICKS_PER_SECOND);
    if (ticks >= limit) return YTIME_INFINITE;
    if (ticks <= -limit) return YTIME_MINUS_INFINITE;
    if (ticks != ticks) return YTIME_ZERO;
    const auto whole = static_cast<std::int64_t>(ticks);
    const double rest = ticks - static_cast<double>(whole);
    if (rest >= 0.5) return YTime(whole + 1);
    if (rest <= -0.5) return YTime(whole - 1);
    return YTime(whole);
}
