#include "program/key_edit.h"

#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

/// An option with the words behind it, whose parts are to be understood.
struct Given
{
    const char* option;
    const std::string& text;
    const char* expected;

    [[noreturn]] void Fail(const char* missed) const
    {
        throw Failure(
            fmt::format("{}: {} is not {}; see 'yfcurve keys --help'", option, Quoted(text), missed),
            kExitUsage);
    }

    template<class Value>
    Value Checked(const std::optional<Value>& value) const
    {
        if (!value) Fail(expected);
        return *value;
    }

    double Number(std::string_view part) const { return Checked(ParseDouble(part)); }
    /// Of a curve, whose values are of single precision.
    double Value(std::string_view part) const { return static_cast<double>(Checked(ParseFloat(part))); }
    WrittenTime Time(std::string_view part) const { return Checked(ParseTime(part)); }
};

/// The two sides of a separator; the second is empty where there is none.
std::pair<std::string_view, std::string_view> SplitAt(std::string_view text, char separator)
{
    const std::size_t place = text.find(separator);
    if (place == std::string_view::npos) return {text, {}};
    return {text.substr(0, place), text.substr(place + 1)};
}

void CheckWords(const KeyEditWords& words)
{
    const int edits = words.move.has_value() + words.stretchTime.has_value() + words.scale.has_value() +
                      words.set.has_value();
    if (edits != 1) {
        throw Failure("give one of --move, --stretch-time, --scale and --set; see 'yfcurve keys --help'",
                      kExitUsage);
    }
    if (words.ripple && !words.move && !words.stretchTime) {
        throw Failure("--ripple is about times; give it with --move or --stretch-time, or leave it out",
                      kExitUsage);
    }
}

void ParseMove(KeyEdit& edit, const Given& given)
{
    const auto [time, value] = SplitAt(given.text, ',');
    if (time.empty() && value.empty()) given.Fail(given.expected);
    edit.mode = kManipulationMove;
    if (!time.empty()) edit.time = given.Time(time);
    if (!value.empty()) edit.value = given.Number(value);
}

void ParseStretch(KeyEdit& edit, const Given& given)
{
    const auto [factor, pivot] = SplitAt(given.text, '@');
    edit.mode = kManipulationStretchX;
    edit.factor = given.Number(factor);
    if (!pivot.empty()) edit.timePivot = given.Time(pivot);
}

void ParseScale(KeyEdit& edit, const Given& given)
{
    const auto [factor, pivot] = SplitAt(given.text, '@');
    edit.mode = kManipulationScale;
    edit.factor = given.Number(factor);
    if (!pivot.empty()) edit.valuePivot = given.Number(pivot);
}

void ParseSet(KeyEdit& edit, const Given& given)
{
    edit.mode = kManipulationSetValue;
    edit.value = given.Value(given.text);
}

}  // namespace

KeyRectangle WrittenRectangle::At(FrameRate rate) const
{
    constexpr YTime kMicrosecond(YTIME_TICKS_PER_SECOND / 1'000'000);
    const TimeRange range = times.At(rate, "--select");
    KeyRectangle rectangle{YTIME_MINUS_INFINITE, YTIME_INFINITE, least, greatest};
    if (range.start) rectangle.start = *range.start - kMicrosecond;
    if (range.stop) rectangle.stop = *range.stop + kMicrosecond;
    return rectangle;
}

WrittenRectangle ParseKeyRectangle(const std::string& text)
{
    const Given given{"--select", text, "of the form T0:T1 or T0:T1,V0:V1 (T0..T1 with time codes)"};
    const auto [times, values] = SplitAt(text, ',');
    if (!values.empty() && values.find(':') == std::string_view::npos) given.Fail(given.expected);
    const auto [least, greatest] = SplitAt(values, ':');
    WrittenRectangle rectangle;
    rectangle.times = given.Checked(ParseTimeRange(times));
    if (!least.empty()) rectangle.least = given.Value(least);
    if (!greatest.empty()) rectangle.greatest = given.Value(greatest);
    if (rectangle.greatest < rectangle.least) given.Fail("from the lower to the higher");
    return rectangle;
}

KeyEdit ParseKeyEdit(const KeyEditWords& words)
{
    CheckWords(words);
    KeyEdit edit;
    edit.ripple = words.ripple;
    if (words.move)
        ParseMove(edit,
                  {"--move", *words.move, "of the form DX,DY: a time (0.1, 3f, 00:00:00:03) and an amount"});
    if (words.stretchTime) {
        ParseStretch(edit, {"--stretch-time", *words.stretchTime,
                            "of the form F or F@T: a factor and a time (1.5, 45f, 00:00:01:15)"});
    }
    if (words.scale)
        ParseScale(edit, {"--scale", *words.scale, "of the form F or F@V: a factor and a value"});
    if (words.set) ParseSet(edit, {"--set", *words.set, "a value"});
    return edit;
}

}  // namespace program
