#include "host/number_text.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

#include <fmt/format.h>

namespace host {
namespace {

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
    const auto [stop, error] = std::from_chars(begin, end, value);
    if (stop != end || error == std::errc::invalid_argument) return std::nullopt;
    if (error == std::errc::result_out_of_range) {
        if (!IsTiny(text)) return std::nullopt;
        return text.front() == '-' ? -0.0 : 0.0;
    }
    if (!std::isfinite(value)) return std::nullopt;
    return value;
}

std::optional<float> ParseFloat(std::string_view text)
{
    const bool plus = text.size() > 1 && text[0] == '+' && text[1] != '-';
    const char* begin = text.data() + (plus ? 1 : 0);
    const char* end = text.data() + text.size();
    float value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value);
    if (stop == end && error == std::errc() && std::isfinite(value)) return value;
    if (error != std::errc::result_out_of_range) return std::nullopt;
    const std::optional<double> wide = ParseDouble(text);
    if (!wide || std::abs(*wide) > 1.0) return std::nullopt;
    return static_cast<float>(*wide);
}

void AppendFloat(std::string& text, float value)
{
    const float size = std::abs(value);
    const bool ordinary = size == 0.0f || (size >= 1e-6f && size < 1e9f);
    std::array<char, 48> buffer;
    const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value,
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

}  // namespace host
