#include "ymotion/filtering/filter_report.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "ymotion/filtering/world_report.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

using Json = nlohmann::ordered_json;

std::string StepName(const StepOutcome& step)
{
    return Printable(step.settings.empty() ? step.name : fmt::format("{} {}", step.name, step.settings));
}

std::string CountText(std::size_t count)
{
    return count == 0 ? "-" : GroupedText(static_cast<long long>(count));
}

/// Makes the first column of a table narrower until a row fits into the columns of a line, with two blanks in front of
/// each column. The first one has names, which can be cut: their ends tell them apart. Of numbers every digit counts.
void FitInto(std::vector<std::size_t>& widths, std::size_t columns)
{
    constexpr std::size_t kLeast = 8;
    std::size_t total = 0;
    for (const std::size_t width : widths) total += width + 2;
    const std::size_t excess = total > columns ? total - columns : 0;
    const std::size_t spare = widths[0] > kLeast ? widths[0] - kLeast : 0;
    widths[0] -= std::min(excess, spare);
}

std::string StepTable(const FilterOutcome& outcome, const Style& style)
{
    std::vector<std::vector<std::string>> rows{{"filter", "changed", "unchanged", "refused", "keys", "ms"}};
    for (const StepOutcome& step : outcome.steps) {
        rows.push_back({ClippedTo(StepName(step), 48), CountText(step.changed), CountText(step.unchanged),
                        CountText(step.refused), GroupedText(step.keysAfter),
                        fmt::format("{:.1f}", step.milliseconds)});
    }
    return AlignedTable(rows, style);
}

/// The type with its unit: "rotation (degrees)".
std::string TypeText(const TypeOutcome& type)
{
    return type.unit.empty() ? type.type : fmt::format("{} ({})", type.type, type.unit);
}

std::string TypeTable(const FilterOutcome& outcome, const Style& style)
{
    std::vector<std::vector<std::string>> rows{
        {"property", "count", "keys before", "after", "largest error", "rms error"}};
    for (const TypeOutcome& type : outcome.types) {
        const Deviation& deviation = type.deviation;
        rows.push_back({TypeText(type), CountText(type.properties), GroupedText(type.keysBefore),
                        GroupedText(type.keysAfter), ErrorText(deviation.largest, ""),
                        ErrorText(deviation.RootMeanSquare(), "")});
    }
    std::string text = AlignedTable(rows, style);
    for (const TypeOutcome& type : outcome.types) {
        const Deviation& deviation = type.deviation;
        if (deviation.largest > 0) text += LargestLine(type.type, deviation.when, deviation.where, style);
    }
    return text;
}

Json ErrorJson(const Deviation& deviation)
{
    Json json;
    json["largest"] = NumberOrNull(deviation.largest);
    json["rms"] = NumberOrNull(deviation.RootMeanSquare());
    json["where"] = Printable(deviation.where);
    json["time"] = deviation.when.GetSecondDouble();
    return json;
}

Json StepJson(const StepOutcome& step)
{
    Json json;
    json["filter"] = step.name;
    json["parameters"] = Printable(step.settings);
    json["used"] = Json::object();
    for (const auto& [name, value] : step.parameters) json["used"][name] = Printable(value);
    json["changed"] = step.changed;
    json["unchanged"] = step.unchanged;
    json["refused"] = step.refused;
    json["locked"] = step.locked;
    json["skipped"] = step.skipped;
    json["along"] = step.along;
    json["keysBefore"] = step.keysBefore;
    json["keysAfter"] = step.keysAfter;
    json["milliseconds"] = step.milliseconds;
    json["refusals"] = Json::array();
    for (const FilterNote& note : step.refusals) {
        json["refusals"].push_back(
            {{"message", note.message}, {"count", note.count}, {"first", Printable(note.first)}});
    }
    json["ofFrames"] = step.ofFrames;
    if (!step.warning.empty()) json["warning"] = step.warning;
    return json;
}

}  // namespace

Json NumberOrNull(double number)
{
    return std::isfinite(number) ? Json(number) : Json(nullptr);
}

std::string ErrorText(double error, const std::string& unit)
{
    if (!std::isfinite(error)) return "not a number";
    std::string text;
    if (error == 0) {
        text = "0";
    } else if (error < 1e-6) {
        text = fmt::format("{:.0e}", error);
    } else {
        const int decimals = std::clamp(3 - static_cast<int>(std::floor(std::log10(error))) - 1, 0, 8);
        text = fmt::format("{:.{}f}", error, decimals);
    }
    return unit.empty() ? text : fmt::format("{} {}", text, unit);
}

std::string PlacesText(std::size_t count, eFilterScope scope)
{
    constexpr const char* one[] = {"curve", "property", "joint", "joint"};
    constexpr const char* many[] = {"curves", "properties", "joints", "joints"};
    const auto kind = static_cast<std::size_t>(scope);
    return fmt::format("{} {}", GroupedText(static_cast<long long>(count)),
                       count == 1 ? one[kind] : many[kind]);
}

std::vector<std::string> StepNotes(const StepOutcome& step)
{
    std::vector<std::string> notes;
    for (const FilterNote& note : step.refusals) {
        const std::size_t all = step.changed + step.unchanged + step.refused;
        notes.push_back(fmt::format(
            "{}: {} of {} refused ({}{}): {}", step.name, GroupedText(static_cast<long long>(note.count)),
            PlacesText(all, step.scope), Printable(note.first), note.count > 1 ? ", ..." : "", note.message));
    }
    if (step.along > 0) {
        notes.push_back(fmt::format("{}: {} changed; {} below move along", step.name,
                                    PlacesText(step.changed, step.scope),
                                    PlacesText(step.along, step.scope)));
    }
    if (step.skipped > 0) {
        const std::string why =
            step.worksOn.empty() ? ", which it is not for" : "; it is for " + step.worksOn;
        notes.push_back(
            fmt::format("{}: {} skipped{}", step.name, PlacesText(step.skipped, step.scope), why));
    }
    if (step.locked > 0)
        notes.push_back(fmt::format("{}: {} locked", step.name, PlacesText(step.locked, step.scope)));
    if (step.changed == 0 && step.refused == 0) notes.push_back(fmt::format("{}: nothing to do", step.name));
    for (const std::string& value : step.ofFrames)
        notes.push_back(fmt::format("{}: {}, the scene's", step.name, value));
    return notes;
}

std::string AlignedTable(const std::vector<std::vector<std::string>>& rows, const Style& style)
{
    std::vector<std::size_t> widths(rows.front().size());
    for (const auto& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], DisplayWidth(row[i]));
    }
    FitInto(widths, style.Columns());
    std::string text;
    for (const auto& row : rows) {
        std::string line = "  ";
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string cell = EndOf(row[i], widths[i]);
            const std::string gap(widths[i] - DisplayWidth(cell), ' ');
            // The last column is read as text where it has words.
            const bool left = i == 0 || row[i].find(' ') != std::string::npos;
            line.append(i == 0 ? "" : "  ").append(left ? cell + gap : gap + cell);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        line = ClippedTo(line, style.Columns());
        const bool heading = &row == &rows.front();
        text.append(heading ? style.Faint() : "").append(line).append(heading ? style.Plain() : "");
        text += '\n';
    }
    return text;
}

std::string LargestLine(const std::string& type, YTime when, const std::string& path, const Style& style)
{
    const std::string head = fmt::format("  largest of {}: {} s, ", type, ShortSecondsText(when));
    const std::size_t room = RoomBeside(DisplayWidth(head), style.Columns());
    return ClippedTo(head + EndOf(Printable(path), room), style.Columns()) + "\n";
}

std::string FilterReport(const Scene& scene, const FilterOutcome& outcome, const Style& style)
{
    const std::string keys = fmt::format(": {} keys -> {}, {:.0f} ms", GroupedText(outcome.KeysBefore()),
                                         GroupedText(outcome.KeysAfter()), outcome.milliseconds);
    const std::size_t room = RoomBeside(keys.size(), style.Columns());
    std::string text =
        fmt::format("{}{}{}{}\n", style.Bold(), EndOf(Printable(scene.file), room), style.Plain(), keys);
    text += StepTable(outcome, style);
    text += '\n';
    text += TypeTable(outcome, style);
    if (outcome.world) text += "\n" + WorldText(*outcome.world, scene.rate, style);
    if (outcome.errorsEvery > 1) text += ErrorsEveryText(outcome.errorsEvery);
    bool first = true;
    for (const StepOutcome& step : outcome.steps) {
        for (const std::string& note : StepNotes(step)) {
            text += fmt::format("{}  {}\n", first ? "\n" : "", Wrapped(note, style.Columns(), 4, 2));
            first = false;
        }
    }
    return text;
}

Json FilterJson(const Scene& scene, const FilterOutcome& outcome)
{
    Json json;
    json["file"] = Printable(scene.file);
    json["keysBefore"] = outcome.KeysBefore();
    json["keysAfter"] = outcome.KeysAfter();
    json["milliseconds"] = outcome.milliseconds;
    json["filters"] = Json::array();
    for (const StepOutcome& step : outcome.steps) json["filters"].push_back(StepJson(step));
    json["errorsEvery"] = outcome.errorsEvery;
    json["types"] = Json::array();
    for (const TypeOutcome& type : outcome.types) {
        json["types"].push_back({{"type", type.type},
                                 {"unit", type.unit},
                                 {"properties", type.properties},
                                 {"keysBefore", type.keysBefore},
                                 {"keysAfter", type.keysAfter},
                                 {"error", ErrorJson(type.deviation)}});
    }
    if (outcome.world) json["world"] = WorldJson(*outcome.world);
    return json;
}

}  // namespace ymotion
