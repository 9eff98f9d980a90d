#include "ybaselib/ytime.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <limits>
#include <utility>

#include "ybaselib/ystring.h"

namespace {

// Fields times ticks per second times the denominator of a rate take up to 120 bits.
__extension__ typedef __int128 Wide;

struct TimeMode
{
    YFrameRate rate;
    bool dropFrame = false;

    Wide GetFramesPerNamedSecond() const
    {
        return (Wide{rate.numerator} + rate.denominator - 1) / rate.denominator;
    }
};

constexpr std::array timeModes{
    TimeMode{{24, 1}},       TimeMode{{25, 1}},       TimeMode{{30, 1}},
    TimeMode{{30, 1}, true}, TimeMode{{30000, 1001}}, TimeMode{{30000, 1001}, true},
    TimeMode{{24000, 1001}}, TimeMode{{48, 1}},       TimeMode{{50, 1}},
    TimeMode{{60000, 1001}}, TimeMode{{60, 1}},       TimeMode{{72, 1}},
    TimeMode{{96, 1}},       TimeMode{{100, 1}},      TimeMode{{120000, 1001}},
    TimeMode{{120, 1}},      TimeMode{{1000, 1}},
};
static_assert(timeModes.size() == static_cast<std::size_t>(eTimeMode::Custom) - 1);

constinit eTimeMode currentMode = eTimeMode::Fps30;
constinit YFrameRate customRate;
constinit thread_local const YFrameRate* threadRate = nullptr;

bool IsNamedMode(eTimeMode mode)
{
    return mode > eTimeMode::Current && mode <= eTimeMode::Custom;
}

TimeMode Resolve(eTimeMode mode)
{
    if (!IsNamedMode(mode)) mode = YTime::GetTimeMode();
    if (mode == eTimeMode::Custom) return {threadRate != nullptr ? *threadRate : customRate};
    return timeModes[static_cast<std::size_t>(mode) - 1];
}

YTime Saturated(Wide ticks)
{
    return YTime(static_cast<std::int64_t>(std::clamp<Wide>(ticks, -INT64_MAX, INT64_MAX)));
}

// The start of a field (half a frame), rounded to the nearest tick, halves away from zero.
Wide TicksOfField(Wide field, YFrameRate rate)
{
    const Wide dividend = field * YTIME_TICKS_PER_SECOND * rate.denominator;
    const Wide divisor = Wide{2} * rate.numerator;
    return (dividend + (dividend < 0 ? -divisor : divisor) / 2) / divisor;
}

Wide FloorDivide(Wide dividend, Wide divisor)
{
    return dividend / divisor - (dividend % divisor < 0 ? 1 : 0);
}

// The last field that has started. Rounding may have put the start of the next one back to this tick,
// hence the second look.
Wide FieldAt(std::int64_t ticks, YFrameRate rate)
{
    const Wide field =
        FloorDivide(Wide{2} * ticks * rate.numerator, Wide{YTIME_TICKS_PER_SECOND} * rate.denominator);
    return TicksOfField(field + 1, rate) <= ticks ? field + 1 : field;
}

// The number of the frame that time code names by a second and a frame. Seconds before zero mirror those
// after it.
Wide FrameOfName(Wide second, Wide frame, const TimeMode& mode)
{
    if (second < 0) return -FrameOfName(-second, -frame, mode);
    const Wide first = second * mode.GetFramesPerNamedSecond();
    if (!mode.dropFrame) return first + frame;

    const Wide minute = second / 60;
    const bool leavesOutTwo = second % 60 == 0 && minute % 10 != 0;
    if (leavesOutTwo) frame = frame < 0 ? frame + 2 : std::max<Wide>(frame, 2);
    return first - 2 * (minute - minute / 10) + frame;
}

// Drop-frame counting: the number that a frame has when the left-out ones are counted too. Ten minutes are
// 17982 frames; the first minute has all its 1800 numbers, the nine others 1798 each.
Wide WithLeftOutNumbers(Wide frame)
{
    const Wide inTenMinutes = frame % 17982;
    const Wide shortMinutes = inTenMinutes < 1800 ? 0 : (inTenMinutes - 1800) / 1798 + 1;
    return frame + 18 * (frame / 17982) + 2 * shortMinutes;
}

YTimeCode NameOfField(Wide field, const TimeMode& mode)
{
    const int sign = field < 0 ? -1 : 1;
    const Wide magnitude = field * sign;
    const Wide perSecond = mode.GetFramesPerNamedSecond();
    const Wide number = mode.dropFrame ? WithLeftOutNumbers(magnitude / 2) : magnitude / 2;
    const Wide seconds = number / perSecond;
    const auto part = [sign](Wide value) { return sign * static_cast<int>(value); };
    return {part(seconds / 3600), part(seconds / 60 % 60), part(seconds % 60), part(number % perSecond),
            part(magnitude % 2)};
}

int CountDigits(Wide number)
{
    int digits = 1;
    while (number /= 10) ++digits;
    return digits;
}

}  // namespace

YFrameRate YFrameRate::FromDouble(double framesPerSecond)
{
    constexpr auto maximum = std::numeric_limits<std::int32_t>::max();
    YFrameRate best{0, 1};
    if (!(framesPerSecond > 0.0 && framesPerSecond <= maximum)) return best;

    std::int64_t numerator = 1, denominator = 0, previousNumerator = 0, previousDenominator = 1;
    for (double rest = framesPerSecond; rest <= maximum;) {
        const double whole = std::floor(rest);
        const auto term = static_cast<std::int64_t>(whole);
        previousNumerator = std::exchange(numerator, term * numerator + previousNumerator);
        previousDenominator = std::exchange(denominator, term * denominator + previousDenominator);
        if (numerator > maximum || denominator > MaximumDenominator) break;

        best = {static_cast<std::int32_t>(numerator), static_cast<std::int32_t>(denominator)};
        if (std::abs(best.GetDouble() - framesPerSecond) <= 1e-12 * framesPerSecond) break;
        rest = 1.0 / (rest - whole);
    }
    return best;
}

YTime YTime::FromFrame(std::int64_t frame, eTimeMode mode)
{
    return Saturated(TicksOfField(Wide{2} * frame, Resolve(mode).rate));
}

std::int64_t YTime::GetFrame(eTimeMode mode) const
{
    return static_cast<std::int64_t>(FloorDivide(FieldAt(mTicks, Resolve(mode).rate), 2));
}

void YTime::SetTime(int hour, int minute, int second, int frame, int field, eTimeMode mode)
{
    const TimeMode resolved = Resolve(mode);
    const Wide seconds = Wide{3600} * hour + Wide{60} * minute + second;
    *this = Saturated(TicksOfField(2 * FrameOfName(seconds, frame, resolved) + field, resolved.rate));
}

YTimeCode YTime::GetTimeCode(eTimeMode mode) const
{
    const TimeMode resolved = Resolve(mode);
    return NameOfField(FieldAt(mTicks, resolved.rate), resolved);
}

YString YTime::GetTimeString(eTimeMode mode) const
{
    if (IsInfinite()) return mTicks > 0 ? "inf" : "-inf";
    const TimeMode resolved = Resolve(mode);
    const Wide frame = GetFrame(mode);
    const YTimeCode name = NameOfField(frame < 0 ? -2 * frame : 2 * frame, resolved);
    const int frameDigits = std::max(2, CountDigits(resolved.GetFramesPerNamedSecond() - 1));
    char text[64];
    std::snprintf(text, sizeof text, "%s%02d:%02d:%02d%c%0*d", frame < 0 ? "-" : "", name.hour, name.minute,
                  name.second, resolved.dropFrame ? ';' : ':', frameDigits, name.frame);
    return text;
}

eTimeMode YTime::GetTimeMode()
{
    return threadRate != nullptr ? eTimeMode::Custom : currentMode;
}

void YTime::SetTimeMode(eTimeMode mode)
{
    if (IsNamedMode(mode)) currentMode = mode;
}

bool YTime::SetCustomFrameRate(YFrameRate rate)
{
    if (!rate.IsValid()) return false;
    customRate = rate;
    return true;
}

YFrameRate YTime::GetExactFrameRate(eTimeMode mode)
{
    return Resolve(mode).rate;
}

double YTime::GetFrameRate(eTimeMode mode)
{
    return GetExactFrameRate(mode).GetDouble();
}

bool YTime::IsDropFrame(eTimeMode mode)
{
    return Resolve(mode).dropFrame;
}

YThreadFrameRate::YThreadFrameRate(YFrameRate rate) : mRate(rate), mOuter(threadRate)
{
    if (rate.IsValid()) threadRate = &mRate;
}

YThreadFrameRate::~YThreadFrameRate()
{
    threadRate = mOuter;
}
