// The report of filters as a page: tables, and the curves that changed most before and after.

#include <algorithm>
#include <filesystem>

#include <fmt/format.h>

#include "host/filter_report.h"
#include "host/number_text.h"
#include "host/plot_colours.h"
#include "host/printable.h"
#include "host/svg_plot.h"

namespace host {
namespace {

constexpr std::size_t kMostPlotted = 4;  // properties
constexpr std::size_t kMostListed = 200;
constexpr YFCurveColor kGrey{0.6f, 0.6f, 0.6f};  // of what was

constexpr std::string_view kPageStyle =
    "body{font:15px/1.45 system-ui,-apple-system,'Segoe UI',Roboto,'DejaVu Sans',Arial,sans-serif;"
    "color:#222;background:#fafafa;margin:2em auto;max-width:1120px;padding:0 1em}"
    "h1{font-size:22px}h2{font-size:17px;margin-top:2em}"
    "table{border-collapse:collapse;background:#fff}"
    "td,th{padding:.3em .9em;border-bottom:1px solid #e2e2e2;text-align:right}"
    "th{color:#666;font-weight:600}td:first-child,th:first-child{text-align:left}"
    "code{background:#eee;padding:.15em .4em;border-radius:3px;word-break:break-word}"
    "svg{max-width:100%;height:auto}.note{color:#666}";

std::string Escaped(std::string_view text)
{
    std::string result;
    for (const char c : Printable(text)) {
        if (c == '&') {
            result += "&amp;";
        } else if (c == '<') {
            result += "&lt;";
        } else if (c == '>') {
            result += "&gt;";
        } else {
            result += c;
        }
    }
    return result;
}

void AppendTable(std::string& page, const std::vector<std::vector<std::string>>& rows)
{
    page += "<table>\n";
    for (const auto& row : rows) {
        const char* cell = &row == &rows.front() ? "th" : "td";
        page += "<tr>";
        for (const std::string& text : row) page += fmt::format("<{0}>{1}</{0}>", cell, Escaped(text));
        page += "</tr>\n";
    }
    page += "</table>\n";
}

std::string Count(std::size_t count)
{
    return GroupedText(static_cast<long long>(count));
}

void AppendSteps(std::string& page, const FilterOutcome& outcome)
{
    page += "<h2>Filters</h2>\n";
    std::vector<std::vector<std::string>> rows{
        {"filter", "parameters", "changed", "unchanged", "refused", "keys after", "ms"}};
    for (const StepOutcome& step : outcome.steps) {
        rows.push_back({step.name, step.settings, PlacesText(step.changed, step.scope),
                        Count(step.unchanged + step.locked + step.skipped), Count(step.refused),
                        GroupedText(step.keysAfter), fmt::format("{:.1f}", step.milliseconds)});
    }
    AppendTable(page, rows);
    for (const StepOutcome& step : outcome.steps) {
        if (!step.warning.empty()) {
            page +=
                fmt::format("<p><strong>{}: {}</strong></p>\n", Escaped(step.name), Escaped(step.warning));
        }
        for (const std::string& note : StepNotes(step))
            page += fmt::format("<p class=\"note\">{}</p>\n", Escaped(note));
    }
}

void AppendTypes(std::string& page, const FilterOutcome& outcome)
{
    page += "<h2>Keys and errors</h2>\n";
    std::vector<std::vector<std::string>> rows{
        {"property", "count", "keys before", "keys after", "largest error", "rms error"}};
    for (const TypeOutcome& type : outcome.types) {
        rows.push_back({type.type, Count(type.properties), GroupedText(type.keysBefore),
                        GroupedText(type.keysAfter), ErrorText(type.deviation.largest, type.unit),
                        ErrorText(type.deviation.RootMeanSquare(), type.unit)});
    }
    AppendTable(page, rows);
    page += fmt::format(
        "<p class=\"note\">Errors are taken at every {}frame. That of a rotation is the angle between the "
        "two "
        "orientations, that of another property the length of the difference.</p>\n",
        outcome.errorsEvery > 1 ? fmt::format("{}th ", GroupedText(outcome.errorsEvery)) : "");
}

/// Those that changed, most of all first; keys alone count after values.
std::vector<const PropertyOutcome*> ByChange(const FilterOutcome& outcome)
{
    std::vector<const PropertyOutcome*> properties;
    for (const PropertyOutcome& property : outcome.properties) {
        if (property.deviation.largest > 0 || property.keysBefore != property.keysAfter)
            properties.push_back(&property);
    }
    std::stable_sort(properties.begin(), properties.end(),
                     [](const PropertyOutcome* a, const PropertyOutcome* b) {
                         return a->deviation.largest > b->deviation.largest;
                     });
    return properties;
}

/// A panel for each component: what it was, thin and grey, and what it is.
void AppendPanels(Plot& plot, const PropertyOutcome& outcome)
{
    const YFCurveNode& property = *outcome.property;
    const bool single = property.GetCount() == 0;
    for (int i = 0; i < (single ? 1 : property.GetCount()); ++i) {
        const YFCurveNode* before = single ? outcome.before.get() : outcome.before->Get(i);
        const YFCurveNode* after = single ? outcome.property : property.Get(i);
        if (before->FCurveGet() == nullptr || after->FCurveGet() == nullptr) continue;
        if (before->FCurveGet()->KeyGetCount() == 0 && after->FCurveGet()->KeyGetCount() == 0) continue;
        PlotPanel panel;
        panel.title = Printable(property.GetParent()->GetName());
        panel.note = fmt::format("{} {}: {} keys, then {}", Printable(property.GetName()),
                                 single ? "" : Printable(after->GetName()),
                                 GroupedText(before->FCurveGet()->KeyGetCount()),
                                 GroupedText(after->FCurveGet()->KeyGetCount()));
        panel.degrees = property.IsRotationLayerType();
        panel.axis = *UnitOf(property) == '\0' ? "value" : UnitOf(property);
        const auto add = [&panel, &outcome](const YFCurve* curve, const char* name,
                                            const YFCurveColor& colour) {
            PlotCurve plotted;
            plotted.curve = curve;
            plotted.name = name;
            plotted.path = outcome.path;
            plotted.colour = colour;
            panel.curves.push_back(plotted);
        };
        add(before->FCurveGet(), "was", kGrey);
        add(after->FCurveGet(), "is", PlotColours().Of({after->FCurveGet(), after, outcome.property}));
        plot.panels.push_back(std::move(panel));
    }
}

void AppendPlots(std::string& page, const Scene& scene, const FilterOutcome& outcome)
{
    const std::vector<const PropertyOutcome*> changed = ByChange(outcome);
    if (changed.empty() || outcome.span.stop <= outcome.span.start) return;
    const std::size_t count = std::min(kMostPlotted, changed.size());
    Plot plot;
    plot.title = count < changed.size() ? fmt::format("The {} properties that changed most", count)
                                        : std::string("Before and after");
    plot.subtitle = fmt::format("{}, {} to {} s, {} frames/s", Printable(scene.file),
                                ShortSecondsText(outcome.span.start), ShortSecondsText(outcome.span.stop),
                                RateText(scene.rate));
    plot.span = outcome.span;
    for (std::size_t i = 0; i < count; ++i) AppendPanels(plot, *changed[i]);
    if (plot.panels.empty()) return;
    page += "<h2>Before and after</h2>\n" + SvgOf(plot);
}

void AppendProperties(std::string& page, const FilterOutcome& outcome)
{
    const std::vector<const PropertyOutcome*> changed = ByChange(outcome);
    if (changed.empty()) return;
    page += "<h2>Properties, by error</h2>\n";
    std::vector<std::vector<std::string>> rows{
        {"property", "keys before", "keys after", "largest error", "at", "rms error"}};
    for (std::size_t i = 0; i < std::min(kMostListed, changed.size()); ++i) {
        const PropertyOutcome& property = *changed[i];
        const std::string unit = UnitOf(*property.property);
        rows.push_back({property.path, GroupedText(property.keysBefore), GroupedText(property.keysAfter),
                        ErrorText(property.deviation.largest, unit),
                        ShortSecondsText(property.deviation.when) + " s",
                        ErrorText(property.deviation.RootMeanSquare(), unit)});
    }
    AppendTable(page, rows);
    if (changed.size() > kMostListed)
        page += fmt::format("<p class=\"note\">and {} more</p>\n", changed.size() - kMostListed);
}

}  // namespace

std::string FilterPage(const Scene& scene, const FilterOutcome& outcome, const std::string& commandLine)
{
    const std::string title = Escaped(std::filesystem::path(scene.file).filename().string());
    std::string page = fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<title>{0}</title>\n"
        "<style>{1}</style>\n</head>\n<body>\n<h1>{0}: {2} keys, then {3}</h1>\n<p><code>{4}</code></p>\n",
        title, kPageStyle, GroupedText(outcome.KeysBefore()), GroupedText(outcome.KeysAfter()),
        Escaped(commandLine));
    AppendSteps(page, outcome);
    AppendTypes(page, outcome);
    AppendPlots(page, scene, outcome);
    AppendProperties(page, outcome);
    return page += "</body>\n</html>\n";
}

}  // namespace host
