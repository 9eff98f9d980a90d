#include "ymotion/plots/paper.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "ymotion/text/printable.h"

namespace ymotion {

std::string Pixel(double value)
{
    constexpr double kBeyond = 1e5;
    std::string text =
        fmt::format("{:.2f}", std::isnan(value) ? kBeyond : std::clamp(value, -kBeyond, kBeyond));
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    return text == "-0" ? "0" : text;
}

double TextWidth(std::string_view text, double size)
{
    constexpr std::string_view kNarrow = "iIjlft.,:;|'![]() /";
    constexpr std::string_view kBroad = "mwMW@%";
    double width = 0;
    double wide = static_cast<double>(DisplayWidth(text));
    for (const char c : text) {
        const bool ascii = static_cast<unsigned char>(c) < 0x80;
        if (!ascii) continue;
        const bool capital = c >= 'A' && c <= 'Z';
        const double narrowOrUsual = kNarrow.find(c) != std::string_view::npos ? 0.42 : 0.66;
        width += kBroad.find(c) != std::string_view::npos ? 1.0 : capital ? 0.76 : narrowOrUsual;
        wide -= 1;
    }
    return size * (width + 0.75 * wide);
}

std::string Fitted(const std::string& text, double size, double room, bool keepsEnd)
{
    if (TextWidth(text, size) <= room) return text;
    auto columns = std::min(DisplayWidth(text), static_cast<std::size_t>(std::max(0.0, room) / (0.4 * size)));
    std::string fitted;
    do {
        fitted = keepsEnd ? EndOf(text, columns) : ClippedTo(text, columns);
    } while (columns-- > 1 && TextWidth(fitted, size) > room);
    return fitted;
}

std::vector<std::string> TwoLines(const std::string& text, double size, double room)
{
    std::size_t split = 0;
    for (std::size_t blank = text.find(' '); blank != std::string::npos; blank = text.find(' ', blank + 1)) {
        if (TextWidth(text.substr(0, blank), size) <= room) split = blank;
    }
    if (split == 0 || TextWidth(text, size) <= room) return {Fitted(text, size, room, false)};
    return {text.substr(0, split), Fitted(text.substr(split + 1), size, room, false)};
}

}  // namespace ymotion
