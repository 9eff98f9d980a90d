#include "ymotion/plots/plot_colours.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>

#include <fmt/format.h>

#include "ymotion/scene/playback.h"
#include "ymotion/text/ascii.h"

namespace ymotion {
namespace {

constexpr float kFull = 255.0f;

constexpr YFCurveColor Rgb(std::uint32_t code)
{
    return {static_cast<float>(code >> 16 & 0xFF) / kFull, static_cast<float>(code >> 8 & 0xFF) / kFull,
            static_cast<float>(code & 0xFF) / kFull};
}

struct NamedColour
{
    std::string_view name;
    std::uint32_t code;
};

constexpr NamedColour kNamed[] = {
    {"black", 0x000000}, {"gray", 0x808080},   {"grey", 0x808080},    {"silver", 0xC0C0C0},
    {"white", 0xFFFFFF}, {"maroon", 0x800000}, {"red", 0xFF0000},     {"orange", 0xFFA500},
    {"brown", 0xA52A2A}, {"yellow", 0xFFFF00}, {"olive", 0x808000},   {"lime", 0x00FF00},
    {"green", 0x008000}, {"teal", 0x008080},   {"cyan", 0x00FFFF},    {"blue", 0x0000FF},
    {"navy", 0x000080},  {"purple", 0x800080}, {"magenta", 0xFF00FF}, {"pink", 0xFFC0CB},
};

// On white paper the darkest colours serve too. Searched for like those of components (see
// yfcurve/algorithms/colormanager.cpp), in the order in which they differ most from those before and from the
// grey of the sum: by 14 at least.
constexpr std::uint32_t kLayers[] = {0x7373E6, 0xB29C59, 0x1A6600, 0x600080,
                                     0x00B2B2, 0x4C0000, 0xCC6680, 0x0000FF};

/// Three or six hexadecimal digits.
std::optional<YFCurveColor> ParseDigits(std::string_view digits)
{
    const std::size_t width = digits.size() / 3;
    if (width * 3 != digits.size() || width < 1 || width > 2) return std::nullopt;
    std::uint32_t code = 0;
    for (const char c : digits) {
        const std::size_t digit = std::string_view("0123456789abcdef").find(LowerCase(c));
        if (digit == std::string_view::npos) return std::nullopt;
        // "#F80" is short for "#FF8800".
        for (std::size_t i = width; i <= 2; ++i) code = code << 4 | static_cast<std::uint32_t>(digit);
    }
    return Rgb(code);
}

/// The colour that a curve was given; nothing for white, and for what is none.
std::optional<YFCurveColor> OwnColour(const YFCurve& curve)
{
    const float* parts = curve.GetColor();
    if (!std::all_of(parts, parts + 3, [](float part) { return std::isfinite(part); })) return std::nullopt;
    const auto part = [parts](int i) { return std::clamp(parts[i], 0.0f, 1.0f); };
    const YFCurveColor colour{part(0), part(1), part(2)};
    if (colour == YFCurveColor{1.0f, 1.0f, 1.0f}) return std::nullopt;
    return colour;
}

}  // namespace

std::optional<YFCurveColor> ParseColour(std::string_view text)
{
    if (text.starts_with('#')) return ParseDigits(text.substr(1));
    for (const NamedColour& named : kNamed) {
        if (EqualsNoCase(named.name, text)) return Rgb(named.code);
    }
    return std::nullopt;
}

std::vector<std::string> ColourNames()
{
    std::vector<std::string> names;
    for (const NamedColour& named : kNamed) names.emplace_back(named.name);
    return names;
}

std::string ColourText(const YFCurveColor& colour)
{
    const auto part = [](float value) { return static_cast<int>(std::lround(value * kFull)); };
    return fmt::format("#{:02X}{:02X}{:02X}", part(colour.red), part(colour.green), part(colour.blue));
}

PlotColours::PlotColours(const Scene& scene, const std::vector<ColourChoice>& choices)
{
    for (const ColourChoice& choice : choices) {
        for (const SelectedCurve& selected : SelectCurves(scene, {choice.pattern})) {
            mChosen.insert_or_assign(selected.curve, choice.colour);
        }
    }
}

YFCurveColor PlotColours::Of(const SelectedCurve& selected) const
{
    const auto chosen = mChosen.find(selected.curve);
    if (chosen != mChosen.end()) return chosen->second;
    if (const std::optional<YFCurveColor> own = OwnColour(*selected.curve)) return *own;
    const YDataType* type = selected.property->GetDataType();
    // A property of one number is no X, whether a file says its type or not.
    if (type == nullptr && selected.node == selected.property) type = YDataType::Get(eDataType::Number);
    return YFCurveColorManager().GetColor(type, static_cast<int>(ComponentOf(selected)));
}

YFCurveColor LayerColour(std::size_t place)
{
    return Rgb(kLayers[place % std::size(kLayers)]);
}

}  // namespace ymotion
