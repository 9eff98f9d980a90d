#include "ymotion/scene/frame_rate.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <numeric>

#include <fmt/format.h>

#include "ybaselib/core/digits.h"

namespace ymotion {
namespace {

__extension__ using Wide = unsigned __int128;

constexpr int kMostDecimals = 18;

/// A positive decimal number, digits / 10^decimals.
struct Decimal
{
    std::int64_t digits = 0;
    int decimals = 0;
    double value = 0;
    double unit = 0;  ///< what the last digit counts
};

std::int64_t PowerOfTen(int exponent)
{
    std::int64_t power = 1;
    for (int i = 0; i < exponent; ++i) power *= 10;
    return power;
}

/// Splits "12.5e-1" into its digits and the place of the last one. Leading zeros do not count.
struct Notation
{
    std::string digits;
    int decimals = 0;
};

std::optional<Notation> ReadNotation(std::string_view text)
{
    if (!text.empty() && text.front() == '+') text.remove_prefix(1);
    Notation result;
    bool point = false;
    bool any = false;
    std::size_t i = 0;
    for (; i < text.size() && (ybase::IsDigit(text[i]) || (text[i] == '.' && !point)); ++i) {
        if (text[i] == '.') {
            point = true;
            continue;
        }
        any = true;
        if (!result.digits.empty() || text[i] != '0') result.digits += text[i];
        if (point) ++result.decimals;
    }
    if (!any) return std::nullopt;
    if (i == text.size()) return result;
    if (text[i] != 'e' && text[i] != 'E') return std::nullopt;
    ++i;
    if (i < text.size() && text[i] == '+') ++i;
    int exponent = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + i, end, exponent);
    constexpr int kSillyExponent = 1000;
    if (error != std::errc() || stop != end || std::abs(exponent) > kSillyExponent) return std::nullopt;
    result.decimals -= exponent;
    return result;
}

/// Brings a notation to at most 18 decimals and digits, which is all that an integer holds.
std::optional<Decimal> ReadDecimal(std::string_view text)
{
    constexpr std::size_t kLongest = 400;
    if (text.size() > kLongest) return std::nullopt;
    std::optional<Notation> notation = ReadNotation(text);
    if (!notation || notation->digits.empty()) return std::nullopt;
    Decimal result;
    result.unit = std::pow(10.0, -notation->decimals);
    // Dropping the digits behind the 18th place rounds down by less than 1e-18 of a second.
    while (notation->decimals > kMostDecimals && !notation->digits.empty()) {
        notation->digits.pop_back();
        --notation->decimals;
    }
    while (notation->decimals < 0 && notation->digits.size() <= kMostDecimals) {
        notation->digits += '0';
        ++notation->decimals;
    }
    if (notation->decimals < 0 || notation->decimals > kMostDecimals) return std::nullopt;
    while (notation->decimals > 0 && notation->digits.size() > kMostDecimals) {
        notation->digits.pop_back();
        --notation->decimals;
    }
    const std::string& digits = notation->digits;
    const auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), result.digits);
    if (error != std::errc() || stop != digits.data() + digits.size()) return std::nullopt;
    result.decimals = notation->decimals;
    result.value = static_cast<double>(result.digits) / static_cast<double>(PowerOfTen(result.decimals));
    if (result.value <= 0) return std::nullopt;
    return result;
}

FrameRate Reduced(std::int64_t numerator, std::int64_t denominator)
{
    const std::int64_t divisor = std::gcd(numerator, denominator);
    return {numerator / divisor, denominator / divisor};
}

/// An interval of frame durations in seconds, open at its ends up to rounding.
struct Durations
{
    double nearest;
    double shortest;
    double longest;

    bool Contains(FrameRate rate) const
    {
        const double seconds = rate.SecondsPerFrame();
        return seconds >= shortest && seconds <= longest;
    }
};

/// The member of `rates` in the interval whose duration is nearest to what was written.
std::optional<FrameRate> NearestOf(const auto& rates, const Durations& durations)
{
    std::optional<FrameRate> best;
    double distance = 0;
    for (const FrameRate rate : rates) {
        if (!durations.Contains(rate)) continue;
        const double d = std::abs(rate.SecondsPerFrame() - durations.nearest);
        if (best && d >= distance) continue;
        best = rate;
        distance = d;
    }
    return best;
}

constexpr std::array<FrameRate, 6> kVideo{
    {{24000, 1001}, {30000, 1001}, {48000, 1001}, {60000, 1001}, {120000, 1001}, {240000, 1001}}};

bool IsVideo(FrameRate rate)
{
    return std::find(kVideo.begin(), kVideo.end(), rate) != kVideo.end();
}

std::optional<FrameRate> UsualRate(const Durations& durations)
{
    static constexpr std::array<FrameRate, 25> kWhole{
        {{24, 1},  {25, 1},  {30, 1},  {48, 1},  {50, 1},  {60, 1},  {72, 1},  {90, 1},  {96, 1},
         {100, 1}, {120, 1}, {125, 1}, {144, 1}, {150, 1}, {180, 1}, {200, 1}, {240, 1}, {250, 1},
         {300, 1}, {360, 1}, {400, 1}, {480, 1}, {500, 1}, {600, 1}, {1000, 1}}};
    if (const auto rate = NearestOf(kWhole, durations)) return rate;
    return NearestOf(kVideo, durations);
}

std::optional<FrameRate> WholeRate(const Durations& durations)
{
    const double perSecond = std::round(1.0 / durations.nearest);
    if (perSecond < 1.0) return std::nullopt;
    const FrameRate rate{static_cast<std::int64_t>(perSecond), 1};
    if (!durations.Contains(rate)) return std::nullopt;
    return rate;
}

}  // namespace

std::optional<FrameRate> RateOfFrameTime(std::string_view seconds)
{
    const std::optional<Decimal> decimal = ReadDecimal(seconds);
    if (!decimal || decimal->value < kShortestFrame || decimal->value > kLongestFrame) return std::nullopt;
    const FrameRate exact = Reduced(PowerOfTen(decimal->decimals), decimal->digits);
    if (exact.denominator == 1) return exact;
    const double value = decimal->value;
    const double slack = std::max(0.5 * decimal->unit, value * 0x1p-24) + value * 0x1p-50;
    const Durations rounded{value, value - slack, value + slack};
    if (const auto rate = UsualRate(rounded)) return rate;
    if (const auto rate = UsualRate({value, value, value + decimal->unit})) return rate;
    if (const auto rate = WholeRate(rounded)) return rate;
    return exact;
}

std::optional<FrameRate> ParseRate(std::string_view text)
{
    const std::size_t slash = text.find('/');
    std::optional<FrameRate> rate;
    if (slash != std::string_view::npos) {
        const std::optional<Decimal> numerator = ReadDecimal(text.substr(0, slash));
        const std::optional<Decimal> denominator = ReadDecimal(text.substr(slash + 1));
        if (!numerator || !denominator || numerator->decimals + denominator->decimals > 0)
            return std::nullopt;
        rate = Reduced(numerator->digits, denominator->digits);
    } else if (const std::optional<Decimal> decimal = ReadDecimal(text)) {
        const auto isMeant = [&decimal](FrameRate video) {
            return decimal->decimals >= 2 &&
                   std::abs(video.PerSecond() - decimal->value) <= 0.5 * decimal->unit;
        };
        const auto meant = std::find_if(kVideo.begin(), kVideo.end(), isMeant);
        rate = meant != kVideo.end() ? *meant : Reduced(decimal->digits, PowerOfTen(decimal->decimals));
    }
    if (!rate) return std::nullopt;
    const double seconds = rate->SecondsPerFrame();
    if (seconds < kShortestFrame || seconds > kLongestFrame) return std::nullopt;
    return rate;
}

namespace {

/// The nearest tick, which may be beyond what time can count.
Wide TicksOfFrame(std::uint64_t frame, FrameRate rate)
{
    // Whole seconds and the rest apart keep the products inside 128 bits for every rate.
    const Wide seconds = Wide{frame} * static_cast<Wide>(rate.denominator);
    const auto divisor = static_cast<Wide>(rate.numerator);
    constexpr Wide beyondTime = INT64_MAX / YTIME_TICKS_PER_SECOND + 1;
    const Wide whole = std::min(seconds / divisor, beyondTime);
    const Wide rest = (2 * (seconds % divisor) * YTIME_TICKS_PER_SECOND + divisor) / (2 * divisor);
    return whole * YTIME_TICKS_PER_SECOND + rest;
}

}  // namespace

YFrameRate LibraryRate(FrameRate rate)
{
    constexpr std::int64_t most = std::numeric_limits<std::int32_t>::max();
    if (rate.numerator > most || rate.denominator > YFrameRate::MaximumDenominator)
        return YFrameRate::FromDouble(rate.PerSecond());
    return {static_cast<std::int32_t>(rate.numerator), static_cast<std::int32_t>(rate.denominator)};
}

YTime TimeOfFrame(std::int64_t frame, FrameRate rate)
{
    const auto bits = static_cast<std::uint64_t>(frame);
    const Wide ticks = TicksOfFrame(frame < 0 ? 0 - bits : bits, rate);
    const YTime time(static_cast<std::int64_t>(std::min<Wide>(ticks, INT64_MAX)));
    return frame < 0 ? -time : time;
}

std::int64_t NearestFrame(YTime time, FrameRate rate)
{
    constexpr YTime kEarliest(-INT64_MAX);  // the first of which there is the negative
    if (time < YTIME_ZERO) return -NearestFrame(-std::max(time, kEarliest), rate);
    const std::int64_t frame = LastFrame(time, rate);
    const YTime before = TimeOfFrame(frame, rate);
    const YTime after = TimeOfFrame(frame + 1, rate);
    return after - time < time - before ? frame + 1 : frame;
}

YTime TimeOfFrame(YTime first, std::int64_t frame, FrameRate rate)
{
    // Where frames are whole numbers of ticks long, they lie evenly wherever they are counted from.
    const Wide ticks = static_cast<Wide>(rate.denominator) * YTIME_TICKS_PER_SECOND;
    const bool isEven = ticks % static_cast<Wide>(rate.numerator) == 0;
    if (first == YTIME_ZERO || isEven) return first + TimeOfFrame(frame, rate);
    const std::int64_t number = NearestFrame(first, rate);
    return TimeOfFrame(number, rate) == first ? TimeOfFrame(number + frame, rate)
                                              : first + TimeOfFrame(frame, rate);
}

std::int64_t LastFrame(YTime duration, FrameRate rate)
{
    // A first guess from below in whole numbers, then the rounding of ticks decides about the neighbour.
    const Wide ticksPerFrames = static_cast<Wide>(rate.denominator) * YTIME_TICKS_PER_SECOND;
    const auto ticks = static_cast<std::uint64_t>(duration.Get()) + std::uint64_t{kFrameRounding.Get()};
    const Wide guess = static_cast<Wide>(ticks) * static_cast<Wide>(rate.numerator) / ticksPerFrames;
    const auto frame = static_cast<std::int64_t>(guess);
    return TicksOfFrame(static_cast<std::uint64_t>(guess) + 1, rate) <= ticks ? frame + 1 : frame;
}

bool IsUsualRate(FrameRate rate)
{
    return rate.denominator == 1 ? rate.numerator >= 10 && rate.numerator <= 1000 : IsVideo(rate);
}

std::string RateText(FrameRate rate)
{
    if (rate.denominator == 1) return fmt::format("{}", rate.numerator);
    return fmt::format("{:.{}g}", rate.PerSecond(), IsVideo(rate) ? 5 : 6);
}

}  // namespace ymotion
