#include "ymotion/text/property_report.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

#include <fmt/format.h>

#include "ybaselib/ypropertydescription.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

std::string ValueText(const YProperty& property)
{
    char text[YPropertyTextSize];
    property.GetString(text, sizeof text);
    return text;
}

std::string DefaultText(const YPropertyDescription& description)
{
    char text[YPropertyTextSize];
    YPropertyValueToText(description.GetDefault(), description.GetOptions().names, text, sizeof text);
    return text;
}

bool HasMinimum(const YPropertyOptions& options)
{
    return options.minimum != std::numeric_limits<double>::lowest();
}
bool HasMaximum(const YPropertyOptions& options)
{
    return options.maximum != std::numeric_limits<double>::max();
}

std::string MeaningText(const YPropertyOptions& options)
{
    const std::string_view unit = options.unit;
    return unit.empty() ? options.help : fmt::format("{} [{}]", options.help, unit);
}

/// The default of a rate or a time that goes by the frames of a scene, which is not known yet.
std::string OfFramesText(const YPropertyDescription& description)
{
    const YPropertyValue value = description.GetDefault();
    const auto* time = std::get_if<YTime>(&value);
    if (time == nullptr) return "the scene's rate";
    const double frames = time->GetSecondDouble() / YTime::FromFrame(1).GetSecondDouble();
    const double whole = std::round(frames);
    return whole == 1.0 ? "the scene's frame" : fmt::format("{} of the scene's frames", whole);
}

using Row = std::array<std::string, 5>;

Row RowOf(const YProperty& property)
{
    const YPropertyOptions& options = property.GetDescription()->GetOptions();
    return {property.GetName(), property.GetDataType()->GetName(),
            options.ofFrames ? OfFramesText(*property.GetDescription()) : ValueText(property),
            RangeText(*property.GetDescription()), MeaningText(options)};
}

}  // namespace

std::string RangeText(const YPropertyDescription& description)
{
    const YPropertyOptions& options = description.GetOptions();
    std::string text;
    for (const YEnumName& entry : options.names) text.append(text.empty() ? "" : "|").append(entry.name);
    if (!text.empty()) return text;
    const bool hasMinimum = HasMinimum(options);
    if (hasMinimum && HasMaximum(options) && !options.aboveMinimum)
        return fmt::format("{} .. {}", options.minimum, options.maximum);
    if (hasMinimum) text = fmt::format("{} {}", options.aboveMinimum ? ">" : ">=", options.minimum);
    if (HasMaximum(options)) text += fmt::format("{}<= {}", hasMinimum ? ", " : "", options.maximum);
    return text;
}

std::string PropertyTable(const std::vector<const YProperty*>& properties, const Style& style)
{
    std::vector<Row> rows;
    std::array<std::size_t, 4> widths{};
    for (const YProperty* property : properties) {
        rows.push_back(RowOf(*property));
        for (std::size_t i = 0; i < widths.size(); ++i)
            widths[i] = std::max(widths[i], rows.back()[i].size());
    }
    // The meaning stands beside the rest where there is room for it, below it elsewhere.
    constexpr std::size_t kRoomForMeaning = 30;
    const std::size_t head = widths[0] + widths[1] + widths[2] + widths[3] + 10;
    const bool beside = head + kRoomForMeaning <= style.Columns();
    std::string text;
    for (const Row& row : rows) {
        const std::string rest =
            fmt::format("{:{}}  {:{}}", row[2], widths[2], row[3], beside ? widths[3] : 0);
        const std::size_t used = widths[0] + widths[1] + 6;
        if (used > style.Columns()) {
            const std::string line = fmt::format("{}  {}  {}  {}", row[0], row[1], row[2], row[3]);
            text += "  " + Wrapped(line, style.Columns(), 6, 2) + "\n      " +
                    Wrapped(row[4], style.Columns(), 6, 6) + "\n";
            continue;
        }
        text += fmt::format("  {}{:{}}{}  {}{:{}}{}  ", style.Bold(), row[0], widths[0], style.Plain(),
                            style.Faint(), row[1], widths[1], style.Plain());
        if (beside) {
            text += rest + "  " + Wrapped(row[4], style.Columns(), head, head);
        } else {
            text +=
                DisplayWidth(rest) + used <= style.Columns() ? rest : Wrapped(rest, style.Columns(), 6, used);
            text.erase(text.find_last_not_of(' ') + 1);
            text += "\n      " + Wrapped(row[4], style.Columns(), 6, 6);
        }
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

nlohmann::ordered_json PropertyJson(const YProperty& property)
{
    const YPropertyDescription& description = *property.GetDescription();
    const YPropertyOptions& options = description.GetOptions();
    nlohmann::ordered_json json;
    json["name"] = property.GetName();
    json["type"] = property.GetDataType()->GetName();
    json["default"] = options.ofFrames ? OfFramesText(description) : DefaultText(description);
    if (!options.ofFrames) json["value"] = ValueText(property);
    if (options.needed) json["needed"] = true;
    if (HasMinimum(options)) json["minimum"] = options.minimum;
    if (HasMaximum(options)) json["maximum"] = options.maximum;
    if (options.aboveMinimum) json["aboveMinimum"] = true;
    for (const YEnumName& entry : options.names) json["names"].push_back(entry.name);
    json["unit"] = options.unit;
    json["help"] = options.help;
    return json;
}

}  // namespace ymotion
