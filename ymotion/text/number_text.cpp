#include "ymotion/text/number_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>

#include <fmt/format.h>

#include "ybaselib/core/digits.h"
#include "ybaselib/core/standardlibrary.h"

namespace ymotion {
namespace {

/// Digits that 64 bits hold whichever they are.
constexpr std::ptrdiff_t kMostDigits = 19;
/// Exact: a double holds powers of ten up to the 22nd.
constexpr std::array<double, kMostDigits + 1> kPowersOfTen{1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,
                                                           1e7,  1e8,  1e9,  1e10, 1e11, 1e12, 1e13,
                                                           1e14, 1e15, 1e16, 1e17, 1e18, 1e19};

/// Appends the digits that `text` starts with to a number, which goes wrong beyond `kMostDigits`.
/// \return  the end of the digits.
const char* TakeDigits(const char* text, const char* end, std::uint64_t& number)
{
    static constexpr std::array<std::uint64_t, 8> powers{1,      10,      100,       1'000,
                                                         10'000, 100'000, 1'000'000, 10'000'000};
    while (ybase::digitsGoInWords && end - text >= 8) {
        const std::uint64_t loaded = ybase::LoadDigits(text);
        const int count = ybase::CountDigits(loaded);
        if (count < 8) {
            number = number * powers[static_cast<std::size_t>(count)] +
                     ybase::JoinDigits(loaded << (56 - 8 * count) << 8);
            return text + count;
        }
        number = number * 100'000'000 + ybase::JoinDigits(loaded);
        text += 8;
    }
    for (; text != end && ybase::IsDigit(*text); ++text) {
        number = number * 10 + static_cast<std::uint64_t>(*text - '0');
    }
    return text;
}

/// Reads numbers as people and programs mostly write them: no exponent, and digits that make an integer of
/// at most 53 bits. Both it and the power of ten are then exact as doubles, so that their quotient is the
/// double nearest to what is written (Clinger 1990, How to read floating point numbers accurately).
/// \return  the end of the number; null for any other, and for what is none.
const char* ReadShortFloat(const char* text, const char* end, float& value)
{
    if (text == end) return nullptr;
    const bool negative = *text == '-';
    text += negative;
    std::uint64_t number = 0;
    const char* stop = TakeDigits(text, end, number);
    std::ptrdiff_t digits = stop - text;
    std::ptrdiff_t decimals = 0;
    if (stop != end && *stop == '.') {
        const char* const fraction = stop + 1;
        stop = TakeDigits(fraction, end, number);
        decimals = stop - fraction;
        digits += decimals;
    }
    const bool isShort = digits > 0 && digits <= kMostDigits && number >> 53 == 0;
    if (!isShort || (stop != end && (*stop | 0x20) == 'e')) return nullptr;
    const double nearest = static_cast<double>(static_cast<std::int64_t>(number)) /
                           kPowersOfTen[static_cast<std::size_t>(decimals)];
    // Rounding twice goes wrong only from a double half-way between two floats: what is written may lie to
    // either side of it.
    const auto bits = ybase::bit_cast<std::uint64_t>(nearest);
    if ((bits & 0x1FFF'FFFF) == 0x1000'0000) return nullptr;
    const auto size = ybase::bit_cast<std::uint32_t>(static_cast<float>(nearest));
    value = ybase::bit_cast<float>(size | std::uint32_t{negative} << 31);
    return stop;
}

/// Whether a decimal number that does not fit into a double is too small rather than too large.
bool IsTiny(std::string_view text)
{
    const std::size_t exponent = text.find_first_of("eE");
    if (exponent != std::string_view::npos) return text[exponent + 1] == '-';
    const std::string_view whole = text.substr(0, text.find('.'));
    return whole.find_first_of("123456789") == std::string_view::npos;
}

}  // namespace

std::optional<double> ParseDouble(std::string_view text)
{
    const bool plus = text.size() > 1 && text[0] == '+' && text[1] != '-';
    const char* begin = text.data() + (plus ? 1 : 0);
    const char* end = text.data() + text.size();
    double value = 0;
    const auto [stop, error] = ybase::from_chars(begin, end, value);
    if (stop != end || error == std::errc::invalid_argument) return std::nullopt;
    if (error == std::errc::result_out_of_range) {
        if (!IsTiny(text)) return std::nullopt;
        return text.front() == '-' ? -0.0 : 0.0;
    }
    if (!std::isfinite(value)) return std::nullopt;
    return value;
}

const char* ReadFloat(const char* text, const char* end, float& value)
{
    if (const char* const stop = ReadShortFloat(text, end, value)) return stop;
    const auto [stop, error] = ybase::from_chars(text, end, value);
    return error == std::errc() && std::isfinite(value) ? stop : nullptr;
}

std::optional<float> ParseFloat(std::string_view text)
{
    const bool plus = text.size() > 1 && text[0] == '+' && text[1] != '-';
    const char* begin = text.data() + (plus ? 1 : 0);
    const char* end = text.data() + text.size();
    float value = 0;
    if (ReadFloat(begin, end, value) == end) return value;
    const std::optional<double> wide = ParseDouble(text);
    if (!wide || std::abs(*wide) > 1.0) return std::nullopt;
    return static_cast<float>(*wide);
}

std::optional<YTime> ParseSeconds(std::string_view text)
{
    const std::optional<double> seconds = ParseDouble(text);
    if (!seconds || std::abs(*seconds) > kMostSeconds) return std::nullopt;
    return YTime::FromSeconds(*seconds);
}

void AppendFloat(std::string& text, float value)
{
    const float size = std::abs(value);
    const bool ordinary = size == 0.0f || (size >= 1e-6f && size < 1e9f);
    std::array<char, 48> buffer;
    const auto [end, error] =
        ybase::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
                        ordinary ? std::chars_format::fixed : std::chars_format::general);
    text.append(buffer.data(), end);
}

void AppendSeconds(std::string& text, YTime time)
{
    __extension__ using Wide = unsigned __int128;
    constexpr std::uint64_t kDecimals = 100'000'000'000;
    std::uint64_t ticks = static_cast<std::uint64_t>(time.Get());
    if (time.Get() < 0) {
        text += '-';
        ticks = 0 - ticks;
    }
    std::uint64_t seconds = ticks / YTIME_TICKS_PER_SECOND;
    const Wide rest = ticks % YTIME_TICKS_PER_SECOND;
    auto fraction = static_cast<std::uint64_t>((2 * rest * kDecimals + YTIME_TICKS_PER_SECOND) /
                                               (2 * YTIME_TICKS_PER_SECOND));
    if (fraction == kDecimals) {
        ++seconds;
        fraction = 0;
    }
    fmt::format_to(std::back_inserter(text), "{}", seconds);
    if (fraction == 0) return;
    fmt::format_to(std::back_inserter(text), ".{:011}", fraction);
    text.erase(text.find_last_not_of('0') + 1);
}

std::string SecondsText(YTime time)
{
    std::string text;
    AppendSeconds(text, time);
    return text;
}

std::string ShortSecondsText(YTime time)
{
    std::string text = fmt::format("{:.6f}", time.GetSecondDouble());
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    return text;
}

std::optional<std::uint64_t> ParseBytes(std::string_view text)
{
    constexpr std::string_view kUnits = "KMGT";
    const std::size_t unit = text.empty() ? std::string_view::npos : kUnits.find(text.back());
    if (unit != std::string_view::npos) text.remove_suffix(1);
    const std::optional<double> number = ParseDouble(text);
    if (!number) return std::nullopt;
    const int power = unit == std::string_view::npos ? 0 : 10 * (static_cast<int>(unit) + 1);
    const double bytes = std::ldexp(*number, power);
    if (!(bytes >= 1.0 && bytes < 0x1p62)) return std::nullopt;
    return static_cast<std::uint64_t>(bytes);
}

std::string GroupedText(long long number)
{
    std::string text = std::to_string(number);
    const std::size_t first = text.front() == '-' ? 1 : 0;
    for (std::size_t i = text.size(); i > first + 3;) {
        i -= 3;
        text.insert(i, 1, ',');
    }
    return text;
}

std::string CountedText(long long count, std::string_view one, std::string_view several)
{
    if (count == 1) return fmt::format("1 {}", one);
    if (several.empty()) return fmt::format("{} {}s", GroupedText(count), one);
    return fmt::format("{} {}", GroupedText(count), several);
}

std::string BytesText(long long bytes)
{
    constexpr std::array<const char*, 4> units{"KiB", "MiB", "GiB", "TiB"};
    if (bytes < 1024) return fmt::format("{} bytes", bytes);
    double size = static_cast<double>(bytes) / 1024.0;
    std::size_t unit = 0;
    while (size >= 1024.0 && unit + 1 < units.size()) {
        size /= 1024.0;
        ++unit;
    }
    return fmt::format("{:.1f} {}", size, units[unit]);
}

}  // namespace ymotion
