#include "host/plot_choice.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/curve_selection.h"
#include "host/diagnostic.h"
#include "host/number_text.h"
#include "host/printable.h"

namespace host {
namespace {

constexpr std::size_t kMostRotations = 4;
constexpr std::size_t kMostPanels = 200;

/// The curves of one property, in order.
struct Group
{
    const YFCurveNode* property = nullptr;
    std::vector<SelectedCurve> curves;
};

std::vector<Group> GroupsOf(const std::vector<SelectedCurve>& curves)
{
    std::vector<Group> groups;
    for (const SelectedCurve& selected : curves) {
        if (selected.curve->KeyGetCount() == 0) continue;
        if (groups.empty() || groups.back().property != selected.property) {
            groups.push_back({selected.property, {}});
        }
        groups.back().curves.push_back(selected);
    }
    return groups;
}

/// How far an angle swings: the range of its keys, with jumps by full turns taken out.
double Swing(const YFCurve& curve)
{
    constexpr double kTurn = 360.0;
    double least = 0;
    double greatest = 0;
    double value = 0;
    for (int i = 1; i < curve.KeyGetCount(); ++i) {
        const auto step =
            static_cast<double>(curve.KeyGetValue(i)) - static_cast<double>(curve.KeyGetValue(i - 1));
        value += step - kTurn * std::round(step / kTurn);
        least = std::min(least, value);
        greatest = std::max(greatest, value);
    }
    return greatest - least;
}

double Motion(const Group& group)
{
    double motion = 0;
    for (const SelectedCurve& selected : group.curves) motion = std::max(motion, Swing(*selected.curve));
    return motion;
}

bool IsTranslation(const Group& group)
{
    return group.property->GetDataType() == YDataType::Get(eDataType::LocalTranslation);
}

std::string JointName(const Group& group)
{
    return Printable(group.property->GetParent()->GetName());
}

/// The groups to show when nobody says which, and the words for them.
struct Choice
{
    std::vector<Group> groups;
    std::string words;
};

Choice ChooseGroups(std::vector<Group> all)
{
    Choice choice;
    const auto root = std::find_if(all.begin(), all.end(), IsTranslation);
    if (root != all.end()) {
        choice.words = fmt::format("translation of {}", JointName(*root));
        choice.groups.push_back(std::move(*root));
        all.erase(root);
    }
    std::erase_if(all, [](const Group& group) { return !group.property->IsRotationLayerType(); });
    const std::size_t rotations = all.size();
    std::stable_sort(all.begin(), all.end(),
                     [](const Group& a, const Group& b) { return Motion(a) > Motion(b); });
    all.resize(std::min(rotations, kMostRotations));
    if (!all.empty()) {
        if (!choice.words.empty()) choice.words += " and ";
        choice.words += rotations > kMostRotations
                            ? fmt::format("the {} joints that turn most", kMostRotations)
                            : "all rotations";
    }
    std::move(all.begin(), all.end(), std::back_inserter(choice.groups));
    return choice;
}

std::string AxisLabel(const YFCurveNode& property)
{
    const std::string unit = UnitOf(property);
    if (property.IsRotationLayerType()) return fmt::format("rotation ({})", unit);
    return unit.empty() ? "value" : fmt::format("position ({})", unit);
}

PlotPanel PanelOf(const Group& group)
{
    const YFCurveNode& property = *group.property;
    PlotPanel panel;
    panel.title = JointName(group);
    panel.note = Printable(property.GetName());
    panel.degrees = property.IsRotationLayerType();
    panel.axis = AxisLabel(property);
    if (panel.degrees)
        panel.note += fmt::format(", order {}", RotationOrderName(property.GetRotationOrder()));
    for (const SelectedCurve& selected : group.curves) {
        const bool component = selected.node != &property;
        panel.curves.push_back({selected.curve, Printable(selected.node->GetName()), PathOf(*selected.node),
                                component ? property.Find(selected.node) : 0});
    }
    return panel;
}

std::string Subtitle(const Scene& scene, const TimeSpan& span)
{
    return fmt::format("{} to {} s, {} frames/s", ShortSecondsText(span.start), ShortSecondsText(span.stop),
                       RateText(scene.rate));
}

}  // namespace

Plot MakePlot(const Scene& scene, const std::vector<std::string>& patterns, const TimeSpan& span)
{
    Choice choice;
    choice.groups = GroupsOf(SelectCurves(scene, patterns));
    if (patterns.empty()) {
        choice = ChooseGroups(std::move(choice.groups));
    } else {
        choice.words = Printable(fmt::format("{}", fmt::join(patterns, ", ")));
    }
    if (choice.groups.empty()) {
        throw Failure(
            fmt::format("{}: the chosen curves have no keys; there is nothing to draw", scene.file));
    }
    if (choice.groups.size() > kMostPanels) {
        throw Failure(
            fmt::format("{}: {} properties do not fit into one picture; choose up to {} with --node",
                        scene.file, choice.groups.size(), kMostPanels));
    }
    const std::string file = std::filesystem::path(scene.file).filename().string();
    Plot plot{fmt::format("{}: {}", file, choice.words), Subtitle(scene, span), span, {}};
    for (const Group& group : choice.groups) plot.panels.push_back(PanelOf(group));
    return plot;
}

}  // namespace host
