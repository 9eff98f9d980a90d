// The report of filters as a page: tables, and the curves that changed most before and after.

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <memory>
#include <new>
#include <set>

#include <fmt/format.h>

#include "ymotion/filtering/filter_report.h"
#include "ymotion/filtering/world_report.h"
#include "ymotion/plots/plot_colours.h"
#include "ymotion/plots/svg_plot.h"
#include "ymotion/scene/playback.h"
#include "ymotion/text/html.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

constexpr std::size_t kMostPlotted = 4;  // properties
constexpr std::size_t kMostListed = 200;
constexpr YFCurveColor kGrey{0.6f, 0.6f, 0.6f};  // of what was

constexpr YFCurveColor kDifference{0.75f, 0.2f, 0.35f};
constexpr double kNarrowPlot = 420;

/// \param texts  columns, from the first on, that are text rather than numbers.
void AppendTable(std::string& page, const std::vector<std::vector<std::string>>& rows, std::size_t texts = 1)
{
    page += "<div class=\"scroll\"><table>\n";
    for (const auto& row : rows) {
        const char* cell = &row == &rows.front() ? "th" : "td";
        page += "<tr>";
        for (std::size_t i = 0; i < row.size(); ++i) {
            page +=
                fmt::format("<{0}{1} data-head=\"{2}\">{3}</{0}>", cell, i < texts ? " class=\"text\"" : "",
                            HtmlEscaped(rows.front()[i]), HtmlEscaped(row[i]));
        }
        page += "</tr>\n";
    }
    page += "</table></div>\n";
}

std::string Count(std::size_t count)
{
    return GroupedText(static_cast<long long>(count));
}

void AppendSteps(std::string& page, const FilterOutcome& outcome)
{
    page += "<h2>Filters</h2>\n";
    std::vector<std::vector<std::string>> rows{
        {"filter", "parameters, as used", "changed", "unchanged", "refused", "keys after"}};
    for (const StepOutcome& step : outcome.steps) {
        std::string parameters;
        for (const auto& [name, value] : step.parameters)
            parameters += fmt::format("{}{}={}", parameters.empty() ? "" : ", ", name, value);
        rows.push_back({step.name, parameters, PlacesText(step.changed, step.scope), Count(step.unchanged),
                        Count(step.refused), GroupedText(step.keysAfter)});
    }
    AppendTable(page, rows, 2);
    for (const StepOutcome& step : outcome.steps) {
        if (!step.warning.empty()) {
            page += fmt::format("<p><strong>{}: {}</strong></p>\n", HtmlEscaped(step.name),
                                HtmlEscaped(step.warning));
        }
        for (const std::string& note : StepNotes(step))
            page += fmt::format("<p class=\"note\">{}</p>\n", HtmlEscaped(note));
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
        "<p class=\"note\">Errors are taken at every {}frame{} and at the ends of the motion. That of a "
        "rotation is the angle between the two orientations, that of another property the length of the "
        "difference.</p>\n",
        outcome.errorsEvery > 1 ? fmt::format("{}th ", GroupedText(outcome.errorsEvery)) : "",
        outcome.betweenFrames ? ", half-way between two" : "");
}

void AppendWorld(std::string& page, const WorldErrors& errors)
{
    constexpr std::size_t kMostJoints = 10;
    page += "<h2>Joints and feet in the world</h2>\n";
    const std::vector<std::vector<std::string>> joints = JointRows(errors, kMostJoints);
    if (joints.size() > 1) {
        AppendTable(page, joints);
        page += fmt::format(
            "<p class=\"note\">Distances from where joints were, those of the {} farthest. The mean of "
            "all is {}.</p>\n",
            joints.size() - 1, DistanceText(errors.Mean()));
    } else {
        page += "<p>All joints are where they were.</p>\n";
    }
    const std::vector<std::vector<std::string>> feet = FootRows(errors);
    if (feet.size() == 1) return;
    AppendTable(page, feet);
    page +=
        "<p class=\"note\">How far feet get along the ground while they stand, found in the input by speed "
        "and "
        "height: for all contacts together, and the largest afterwards.</p>\n";
}

/// The properties that changed, the one with the largest difference first. Those of which only the number of keys
/// changed come last.
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

/// The joint; nothing for a property that hangs on none.
std::string TitleOf(const YFCurveNode& property)
{
    const YFCurveNode& joint = *property.GetParent();
    return joint.GetParent() == nullptr ? "" : Printable(joint.GetName());
}

/// Adds how far a property is from what it was, over time, to a plot. Among the sampled times is the one that the
/// report names for the largest distance.
void AppendDifference(Plot& plot, const Scene& scene, const PropertyOutcome& outcome)
{
    constexpr std::int64_t kSamples = 1500;
    const std::int64_t last = LastFrame(plot.span.Length(), scene.rate);
    std::set<YTime> times{outcome.deviation.when};
    for (std::int64_t frame = 0; frame <= last; frame += last / kSamples + 1)
        times.insert(TimeOfFrame(plot.span.start, frame, scene.rate));
    const auto distance = DistanceOf(*outcome.before, *outcome.property);
    const std::shared_ptr<YFCurve> curve = YFCurvePtr(YFCurveCreate());
    if (curve == nullptr) throw std::bad_alloc();
    for (const YTime time : times) {
        YFCurveKey key;
        key.Set(time, static_cast<float>(distance(time)), YFCURVE_INTERP_LINEAR);
        if (curve->KeyAdd(time, key) < 0) throw std::bad_alloc();
    }
    PlotPanel panel;
    panel.title = TitleOf(*outcome.property);
    panel.note = fmt::format("{}: difference, up to {}", Printable(outcome.property->GetName()),
                             ErrorText(outcome.deviation.largest, UnitOf(*outcome.property)));
    panel.axis = "difference";
    panel.fromZero = true;
    PlotCurve plotted;
    plotted.curve = curve.get();
    plotted.path = outcome.path;
    plotted.colour = kDifference;
    plotted.sampled = true;
    panel.curves.push_back(std::move(plotted));
    plot.panels.push_back(std::move(panel));
    plot.sampled.push_back(curve);
}

/// A component of a property as it was or as it is.
struct Side
{
    SelectedCurve selected;
    PlayedCurve played;

    explicit Side(const SelectedCurve& curve)
        : selected(curve), played(PlayedCurves({curve}, PlayedLayers::Base).front())
    {}
    int Keys() const { return selected.curve->KeyGetCount(); }
    bool Turns() const { return !played.IsCurveAlone(); }
};

/// "16 keys, then 257, as quaternions"
std::string KeysText(const Side& before, const Side& after)
{
    constexpr std::string_view kForm = " as quaternions";
    const bool both = before.Turns() && after.Turns();
    return fmt::format("{} keys{}, then {}{}{}", GroupedText(before.Keys()),
                       before.Turns() && !both ? kForm : "", GroupedText(after.Keys()), both ? "," : "",
                       after.Turns() ? kForm : "");
}

/// Draws what plays. Of a rotation that turns as quaternions that is sampled; its keys are drawn at the angles of its
/// curves.
void AddSide(Plot& plot, PlotPanel& panel, const Side& side, const char* name, const PropertyOutcome& outcome)
{
    PlotCurve plotted;
    plotted.curve = side.selected.curve;
    plotted.name = name;
    plotted.path = outcome.path;
    if (side.Turns()) {
        plot.sampled.push_back(SampledCurve(side.played, plot.span));
        plotted.curve = plot.sampled.back().get();
        plotted.sampled = true;
        plotted.keys = side.selected.curve;
    }
    panel.curves.push_back(std::move(plotted));
}

/// What a component was, in grey, and what it is; nothing where it does not move.
void AppendComponent(Plot& plot, const PropertyOutcome& outcome, const Side& before, const Side& after)
{
    const YFCurveNode& property = *outcome.property;
    PlotPanel panel;
    panel.title = TitleOf(property);
    const bool single = after.selected.node == &property;
    panel.note =
        fmt::format("{}{}: {}", Printable(property.GetName()),
                    single ? "" : " " + Printable(after.selected.node->GetName()), KeysText(before, after));
    panel.degrees = property.IsRotationLayerType();
    panel.axis = *UnitOf(property) == '\0' ? "value" : UnitOf(property);
    AddSide(plot, panel, before, "was", outcome);
    panel.curves.back().colour = kGrey;
    AddSide(plot, panel, after, "is", outcome);
    panel.curves.back().colour = PlotColours().Of(after.selected);
    if (!StandsStill(panel, plot.span)) plot.panels.push_back(std::move(panel));
}

/// A panel for each component that moves, then the difference.
void AppendPanels(Plot& plot, const Scene& scene, const PropertyOutcome& outcome)
{
    YFCurveNode& property = *outcome.property;
    const bool single = property.GetCount() == 0;
    for (int i = 0; i < (single ? 1 : property.GetCount()); ++i) {
        const YFCurveNode* before = single ? outcome.before.get() : outcome.before->Get(i);
        const YFCurveNode* after = single ? &property : property.Get(i);
        if (before->FCurveGet() == nullptr || after->FCurveGet() == nullptr) continue;
        const Side was({before->FCurveGet(), before, outcome.before.get()});
        const Side is({after->FCurveGet(), after, &property});
        // Of a rotation as quaternions components without keys turn too.
        if (was.Keys() == 0 && is.Keys() == 0 && !was.Turns() && !is.Turns()) continue;
        AppendComponent(plot, outcome, was, is);
    }
    if (outcome.deviation.largest > 0 && std::isfinite(outcome.deviation.largest))
        AppendDifference(plot, scene, outcome);
}

struct ChangesPlot
{
    Plot plot;
    std::size_t properties = 0;
};

/// The first of some properties that have anything to draw, as panels of one picture.
/// \param most  properties
ChangesPlot PlotOfChanges(const Scene& scene, const FilterOutcome& outcome,
                          const std::vector<const PropertyOutcome*>& changed, std::size_t most)
{
    ChangesPlot changes;
    Plot& plot = changes.plot;
    plot.title = "Before and after";
    plot.span = outcome.span;
    plot.headless = true;
    if (outcome.span.stop <= outcome.span.start) return changes;
    for (const PropertyOutcome* property : changed) {
        if (changes.properties == most) break;
        const std::size_t panels = plot.panels.size();
        AppendPanels(plot, scene, *property);
        if (plot.panels.size() > panels) ++changes.properties;
    }
    return changes;
}

void AppendPlots(std::string& page, const Scene& scene, const FilterOutcome& outcome,
                 const std::vector<const PropertyOutcome*>& changed)
{
    auto [plot, count] = PlotOfChanges(scene, outcome, changed, kMostPlotted);
    if (plot.panels.empty()) return;
    page += fmt::format("<h2>{}</h2>\n<p class=\"note\">Grey is what was. {} to {} s, {} frames/s</p>\n",
                        count < changed.size() ? fmt::format("The {} properties that changed most", count)
                                               : "Before and after",
                        ShortSecondsText(outcome.span.start), ShortSecondsText(outcome.span.stop),
                        RateText(scene.rate));
    page += "<div class=\"wide\">" + SvgOf(plot) + "</div>\n";
    plot.width = kNarrowPlot;
    page += "<div class=\"narrow\">" + SvgOf(plot) + "</div>\n";
}

void AppendProperties(std::string& page, const std::vector<const PropertyOutcome*>& changed)
{
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

/// Now, or when the environment's SOURCE_DATE_EPOCH says, so that equal inputs give equal pages.
std::string DateText()
{
    std::time_t now = std::time(nullptr);
    if (const char* epoch = std::getenv("SOURCE_DATE_EPOCH")) {
        long long seconds = 0;
        const std::string_view text = epoch;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
        if (error == std::errc() && end == text.data() + text.size()) now = static_cast<std::time_t>(seconds);
    }
    std::tm parts = {};
    gmtime_r(&now, &parts);
    char text[32];
    return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M UTC", &parts)};
}

}  // namespace

std::string FilterPicture(const Scene& scene, const FilterOutcome& outcome)
{
    const Plot plot = PlotOfChanges(scene, outcome, ByChange(outcome), 1).plot;
    return plot.panels.empty() ? std::string() : SvgOf(plot);
}

std::string FilterPage(const Scene& scene, const FilterOutcome& outcome, const std::string& commandLine)
{
    const std::string title = HtmlEscaped(std::filesystem::path(scene.file).filename().string());
    std::string page = fmt::format(
        "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
        "<meta name=\"viewport\" content=\"width=device-width,initial-scale=1\">\n<title>{0}</title>\n"
        "<style>{1}</style>\n</head>\n<body>\n<h1>{0}: {2} keys, then {3}</h1>\n<p><code>{4}</code></p>\n",
        title, kPageStyle, GroupedText(outcome.KeysBefore()), GroupedText(outcome.KeysAfter()),
        HtmlEscaped(commandLine));
    AppendSteps(page, outcome);
    AppendTypes(page, outcome);
    if (outcome.world) AppendWorld(page, *outcome.world);
    const std::vector<const PropertyOutcome*> changed = ByChange(outcome);
    AppendPlots(page, scene, outcome, changed);
    AppendProperties(page, changed);
    page += fmt::format("<p class=\"note\">yfcurve {}, {}</p>\n", YFCURVE_VERSION, DateText());
    return page += "</body>\n</html>\n";
}

}  // namespace ymotion
