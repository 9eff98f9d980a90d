#include "ymotion/scene/time_text.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include <fmt/format.h>

#include "ybaselib/core/digits.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

constexpr std::string_view kCodeSigns = ":;";
constexpr std::string_view kRangeSign = "..";

/// A whole number of digits alone, few enough for any time.
std::optional<std::int64_t> ReadDigits(std::string_view text)
{
    constexpr std::size_t kMostDigits = 9;
    if (text.empty() || text.size() > kMostDigits || !std::all_of(text.begin(), text.end(), ybase::IsDigit))
        return std::nullopt;
    std::int64_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

/// Seconds that the hours, minutes and seconds of a time code name: "00:01:30".
std::optional<std::int64_t> ReadNamedSecond(std::string_view text)
{
    std::int64_t second = 0;
    for (int part = 0; part < 3; ++part) {
        const std::size_t end = part < 2 ? text.find(':') : text.size();
        if (end == std::string_view::npos) return std::nullopt;
        const std::optional<std::int64_t> number = ReadDigits(text.substr(0, end));
        if (!number || (part > 0 && *number >= 60)) return std::nullopt;
        second = second * 60 + *number;
        text.remove_prefix(part < 2 ? end + 1 : end);
    }
    return second;
}

/// The frames of a time code: "15", "15.5".
std::optional<double> ReadFrames(std::string_view text)
{
    // No sign and no exponent, which numbers elsewhere may have.
    if (text.find_first_not_of("0123456789.") != std::string_view::npos) return std::nullopt;
    return ParseDouble(text);
}

/// "--start: "; empty without a name.
std::string Prefix(std::string_view name)
{
    return name.empty() ? std::string() : fmt::format("{}: ", name);
}

/// A finite time as frames before or behind time 0, to a thousandth.
struct CountedFrames
{
    bool negative;
    std::int64_t whole;
    int thousandths;

    CountedFrames(YTime time, FrameRate rate) : negative(time < YTIME_ZERO)
    {
        const YTime length = negative ? -time : time;
        whole = LastFrame(length, rate);
        const double rest = (length - TimeOfFrame(whole, rate)).GetSecondDouble() * rate.PerSecond();
        thousandths = std::max(0, static_cast<int>(std::lround(rest * 1000)));
        if (thousandths >= 1000) {
            ++whole;
            thousandths = 0;
        }
        negative = negative && (whole > 0 || thousandths > 0);
    }

    const char* Sign() const { return negative ? "-" : ""; }

    /// ".25"; empty for whole frames.
    std::string Decimals() const
    {
        if (thousandths == 0) return {};
        std::string text = fmt::format(".{:03}", thousandths);
        text.erase(text.find_last_not_of('0') + 1);
        return text;
    }
};

}  // namespace

std::int64_t FramesInNamedSecond(FrameRate rate)
{
    return (rate.numerator + rate.denominator - 1) / rate.denominator;
}

std::optional<WrittenTime> ParseTime(std::string_view text)
{
    WrittenTime time;
    time.mText = text;
    std::string_view rest = text;
    time.mNegative = rest.starts_with('-');
    if (rest.starts_with('-') || rest.starts_with('+')) rest.remove_prefix(1);
    if (rest.starts_with('-') || rest.starts_with('+')) return std::nullopt;
    const std::size_t sign = rest.find_last_of(kCodeSigns);
    std::optional<double> number;
    if (sign != std::string_view::npos) {
        time.mForm = rest[sign] == ';' ? WrittenTime::Form::DropFrame : WrittenTime::Form::TimeCode;
        const std::optional<std::int64_t> second = ReadNamedSecond(rest.substr(0, sign));
        if (!second) return std::nullopt;
        time.mSecond = *second;
        number = ReadFrames(rest.substr(sign + 1));
    } else if (rest.ends_with('f')) {
        time.mForm = WrittenTime::Form::Frames;
        number = ParseDouble(rest.substr(0, rest.size() - 1));
    } else {
        number = ParseDouble(rest);
    }
    if (!number) return std::nullopt;
    time.mNumber = *number;
    return time;
}

/// What a time is read for.
struct WrittenTime::Context
{
    FrameRate rate;
    std::string_view name;
};

void WrittenTime::Fail(const Context& context, std::string_view why) const
{
    const std::string rate =
        IsCounted() ? fmt::format(", at {} frames a second,", RateText(context.rate)) : std::string();
    throw Failure(fmt::format("{}{}{} {}", Prefix(context.name), Quoted(mText), rate, why), kExitUsage);
}

void WrittenTime::CheckNear(double seconds, const Context& context) const
{
    if (seconds > kMostSeconds) Fail(context, "is more than three years away; give a time nearer to 0");
}

YTime WrittenTime::TimeOfFrames(std::int64_t first, const Context& context) const
{
    const FrameRate rate = context.rate;
    CheckNear((static_cast<double>(first) + mNumber) * rate.SecondsPerFrame(), context);
    const double whole = std::floor(mNumber);
    return TimeOfFrame(first + static_cast<std::int64_t>(whole), rate) +
           YTime::FromSeconds((mNumber - whole) * rate.SecondsPerFrame());
}

void WrittenTime::CheckFrameInSecond(const Context& context) const
{
    const std::int64_t frames = FramesInNamedSecond(context.rate);
    if (mNumber < static_cast<double>(frames)) return;
    Fail(context, fmt::format("names frame {} of a second that has {}; count them from 0 to {}",
                              std::floor(mNumber), frames, frames - 1));
}

YTime WrittenTime::TimeOfCode(const Context& context) const
{
    CheckFrameInSecond(context);
    return TimeOfFrames(mSecond * FramesInNamedSecond(context.rate), context);
}

YTime WrittenTime::TimeOfDropFrame(const Context& context) const
{
    const FrameRate rate = context.rate;
    eTimeMode mode = eTimeMode::Current;
    if (rate == FrameRate{30000, 1001}) mode = eTimeMode::Fps29_97Drop;
    if (rate == FrameRate{30, 1}) mode = eTimeMode::Fps30Drop;
    if (mode == eTimeMode::Current) {
        Fail(context,
             "has the semicolon of drop-frame counting, which is for 29.97 and 30; write it with colons");
    }
    CheckFrameInSecond(context);
    const auto frame = static_cast<int>(mNumber);
    YTime time;
    time.SetTime(0, 0, static_cast<int>(mSecond), frame, 0, mode);
    if (time.GetTimeCode(mode).frame != frame) {
        Fail(
            context,
            "names a frame that drop-frame counting leaves out: at the beginning of this minute there are no "
            "frames 0 and 1; take ;02");
    }
    return time + YTime::FromSeconds((mNumber - frame) * rate.SecondsPerFrame());
}

YTime WrittenTime::At(FrameRate rate, std::string_view name) const
{
    const Context context{rate, name};
    CheckNear(static_cast<double>(mSecond), context);
    YTime time;
    switch (mForm) {
        case Form::Seconds:
            CheckNear(mNumber, context);
            time = YTime::FromSeconds(mNumber);
            break;
        case Form::Frames:
            time = TimeOfFrames(0, context);
            break;
        case Form::TimeCode:
            time = TimeOfCode(context);
            break;
        case Form::DropFrame:
            time = TimeOfDropFrame(context);
            break;
    }
    return mNegative ? -time : time;
}

int WrittenTime::Sign() const
{
    if (mNumber == 0 && mSecond == 0) return 0;
    return mNegative ? -1 : 1;
}

std::string EndText(YTime time)
{
    if (time == YTIME_INFINITE) return "inf";
    return time == YTIME_MINUS_INFINITE ? "-inf" : SecondsText(time);
}

void CheckEndsInOrder(YTime start, YTime stop, std::string_view names)
{
    if (start <= stop) return;
    throw Failure(fmt::format("the span from {} s to {} s ends before it starts; choose other {}",
                              EndText(start), EndText(stop), names),
                  kExitUsage);
}

TimeRange WrittenRange::At(FrameRate rate, std::string_view name) const
{
    TimeRange range;
    if (start) range.start = start->At(rate, name);
    if (stop) range.stop = stop->At(rate, name);
    if (range.start && range.stop && *range.stop < *range.start) {
        throw Failure(
            fmt::format("{}{} ends before it starts at {} frames a second; write the earlier time first",
                        Prefix(name), Quoted(text), RateText(rate)),
            kExitUsage);
    }
    return range;
}

std::optional<WrittenRange> ParseTimeRange(std::string_view text)
{
    std::size_t place = text.find(kRangeSign);
    std::size_t length = kRangeSign.size();
    if (place == std::string_view::npos) {
        length = 1;
        place = text.find(':');
        // With more signs it would be open which of them stands between the times.
        if (place == std::string_view::npos ||
            text.find_first_of(kCodeSigns, place + 1) != std::string_view::npos)
            return std::nullopt;
    }
    const std::string_view start = text.substr(0, place);
    const std::string_view stop = text.substr(place + length);
    // "1...3" could be 1. to 3 or 1 to .3.
    if (stop.starts_with('.')) return std::nullopt;
    WrittenRange range{std::string(text), ParseTime(start), ParseTime(stop)};
    if (!range.start && !start.empty()) return std::nullopt;
    if (!range.stop && !stop.empty()) return std::nullopt;
    return range;
}

std::string FramesText(YTime time, FrameRate rate)
{
    const CountedFrames frames(time, rate);
    return fmt::format("{}{}{}f", frames.Sign(), frames.whole, frames.Decimals());
}

std::string TimeCodeText(YTime time, FrameRate rate)
{
    const CountedFrames frames(time, rate);
    const std::int64_t perSecond = FramesInNamedSecond(rate);
    const std::int64_t second = frames.whole / perSecond;
    return fmt::format("{}{:02}:{:02}:{:02}:{:02}{}", frames.Sign(), second / 3600, second / 60 % 60,
                       second % 60, frames.whole % perSecond, frames.Decimals());
}

}  // namespace ymotion
