#include "ymotion/plots/plot_choice.h"

#include <algorithm>
#include <filesystem>
#include <memory>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "ybaselib/rotation/turns.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/playback.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

constexpr std::size_t kMostRotations = 4;
constexpr std::size_t kMostOthers = 6;
constexpr std::size_t kMostPanels = 200;
constexpr std::size_t kWidestLayer = 24;
constexpr YFCurveColor kTotalColour{0.27f, 0.27f, 0.27f};

using SharedCurve = std::shared_ptr<const YFCurve>;

/// A curve that is drawn.
struct DrawnCurve
{
    SelectedCurve selected;
    SharedCurve played;  ///< what all layers make of it; null where the curve alone plays

    const YFCurve& Drawn() const { return played != nullptr ? *played : *selected.curve; }
};

/// The curves of one property, in order.
struct Group
{
    const YFCurveNode* property = nullptr;
    std::vector<DrawnCurve> curves;
};

/// The curve of a component on one of its property's layers; null where it has none.
const YFCurve* CurveOnLayer(const YFCurveNode& layer, const SelectedCurve& selected)
{
    if (selected.node == selected.property) return layer.FCurveGet();
    const YFCurveNode* component = layer.Get(static_cast<int>(ComponentOf(selected)));
    return component == nullptr ? nullptr : component->FCurveGet();
}

/// Whether a curve or one on the layers above it has keys.
bool HasKeys(const SelectedCurve& selected)
{
    for (const YFCurveNode* layer = selected.property; layer != nullptr; layer = layer->LayerGet()) {
        const YFCurve* curve = CurveOnLayer(*layer, selected);
        if (curve != nullptr && curve->KeyGetCount() > 0) return true;
    }
    return false;
}

std::vector<Group> GroupsOf(const std::vector<SelectedCurve>& curves, const TimeSpan& span)
{
    std::vector<Group> groups;
    for (const SelectedCurve& selected : curves) {
        if (!HasKeys(selected)) continue;
        if (groups.empty() || groups.back().property != selected.property) {
            groups.push_back({selected.property, {}});
        }
        PlayedCurve played = PlayedCurves({selected}).front();
        groups.back().curves.push_back(
            {selected, played.IsCurveAlone() ? nullptr : SampledCurve(played, span)});
    }
    return groups;
}

/// How far an angle swings: the range of its keys, with jumps by full turns taken out.
double Swing(const YFCurve& curve)
{
    double least = 0;
    double greatest = 0;
    double value = 0;
    for (int i = 1; i < curve.KeyGetCount(); ++i) {
        const auto step =
            static_cast<double>(curve.KeyGetValue(i)) - static_cast<double>(curve.KeyGetValue(i - 1));
        value += step + ybase::WholeTurns(step, 0.0);
        least = std::min(least, value);
        greatest = std::max(greatest, value);
    }
    return greatest - least;
}

double Motion(const Group& group)
{
    double motion = 0;
    for (const DrawnCurve& curve : group.curves) motion = std::max(motion, Swing(curve.Drawn()));
    return motion;
}

bool IsTranslation(const Group& group)
{
    return group.property->GetDataType() == YDataType::Get(eDataType::LocalTranslation);
}

/// Whether a property hangs on no joint, but stands by itself.
bool IsOnTop(const YFCurveNode& property)
{
    return property.GetParent()->GetParent() == nullptr;
}

std::string JointName(const Group& group)
{
    const YFCurveNode& property = *group.property;
    return Printable(IsOnTop(property) ? property.GetName() : property.GetParent()->GetName());
}

/// The groups to show when none are asked for, and the words for them.
struct Choice
{
    std::vector<Group> groups;
    std::string words;
};

Choice ChooseGroups(std::vector<Group> all)
{
    const auto turns = [](const Group& group) { return group.property->IsRotationLayerType(); };
    Choice choice;
    if (std::none_of(all.begin(), all.end(), IsTranslation) && std::none_of(all.begin(), all.end(), turns)) {
        choice.words =
            all.size() > kMostOthers ? fmt::format("the first {} properties", kMostOthers) : "all properties";
        all.resize(std::min(all.size(), kMostOthers));
        choice.groups = std::move(all);
        return choice;
    }
    const auto root = std::find_if(all.begin(), all.end(), IsTranslation);
    if (root != all.end()) {
        choice.words = fmt::format("translation of {}", JointName(*root));
        choice.groups.push_back(std::move(*root));
        all.erase(root);
    }
    std::erase_if(all, [&](const Group& group) { return !turns(group); });
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

PlotPanel PanelOf(const Group& group, const PlotColours& colours)
{
    const YFCurveNode& property = *group.property;
    PlotPanel panel;
    panel.title = JointName(group);
    if (!IsOnTop(property)) panel.note = Printable(property.GetName()) + ", ";
    panel.degrees = property.IsRotationLayerType();
    panel.axis = AxisLabel(property);
    if (panel.degrees)
        panel.note += fmt::format("order {}, ", RotationOrderName(property.GetRotationOrder()));
    if (property.LayerGet() != nullptr) panel.note += "all layers together, ";
    if (panel.note.ends_with(", ")) panel.note.erase(panel.note.size() - 2);
    for (const DrawnCurve& drawn : group.curves) {
        const YFCurveNode& node = *drawn.selected.node;
        PlotCurve curve;
        curve.curve = &drawn.Drawn();
        // A curve that is the whole property is called as the panel is.
        if (&node != &property) curve.name = Printable(node.GetName());
        curve.path = PathOf(node);
        curve.colour = colours.Of(drawn.selected);
        curve.sampled = drawn.played != nullptr;
        panel.curves.push_back(std::move(curve));
    }
    return panel;
}

// --- Layers --------------------------------------------------------------------------------------------

std::size_t PlaceOf(const SceneLayers& stack, const Layer& layer)
{
    const auto& layers = stack.Layers();
    const auto found = std::find_if(layers.begin(), layers.end(),
                                    [&layer](const auto& other) { return other.get() == &layer; });
    return static_cast<std::size_t>(found - layers.begin());
}

/// The layers of one component, and above all what plays.
PlotPanel LayerPanelOf(const Scene& scene, const SelectedCurve& selected, const YFCurve& total)
{
    const YFCurveNode& property = *selected.property;
    PlotPanel panel;
    panel.title = JointName({&property, {}});
    if (!IsOnTop(property)) panel.note = Printable(property.GetName()) + " ";
    if (selected.node != &property) panel.note += Printable(selected.node->GetName());
    panel.degrees = property.IsRotationLayerType();
    panel.axis = AxisLabel(property);
    for (const YFCurveNode* node = &property; node != nullptr; node = node->LayerGet()) {
        const YFCurve* curve = CurveOnLayer(*node, selected);
        const Layer* layer = scene.layers.Find(node->GetLayerID());
        if (curve == nullptr || layer == nullptr) continue;
        std::string name = EndOf(Printable(layer->Name()), kWidestLayer);
        if (layer->IsMuted()) name += " (muted)";
        const std::string path = fmt::format("{} [{}]", PathOf(*selected.node), layer->Name());
        panel.curves.push_back({curve, name, path, LayerColour(PlaceOf(scene.layers, *layer))});
    }
    panel.curves.push_back({&total, "together", PathOf(*selected.node), kTotalColour, true, true});
    return panel;
}

void AddLayerPanels(Plot& plot, const Scene& scene, const std::vector<SelectedCurve>& curves)
{
    for (const SelectedCurve& selected : curves) {
        plot.sampled.push_back(SampledCurve(PlayedCurves({selected}).front(), plot.span));
        plot.panels.push_back(LayerPanelOf(scene, selected, *plot.sampled.back()));
    }
}

void CheckPanels(const Scene& scene, std::size_t panels, const char* missing)
{
    if (panels == 0) throw Failure(fmt::format("{}: {}; there is nothing to draw", scene.file, missing));
    if (panels <= kMostPanels) return;
    throw Failure(fmt::format("{}: {} panels do not fit into one picture; choose up to {} with --node",
                              scene.file, panels, kMostPanels));
}

std::string Words(const std::vector<std::string>& patterns)
{
    return Printable(PatternWords(patterns));
}

std::string Title(const Scene& scene, const std::string& words)
{
    return fmt::format("{}: {}", std::filesystem::path(scene.file).filename().string(), words);
}

std::string Subtitle(const Scene& scene, const TimeSpan& span)
{
    return fmt::format("{} to {} s, {} frames/s", ShortSecondsText(span.start), ShortSecondsText(span.stop),
                       RateText(scene.rate));
}

}  // namespace

void CheckCanBeDrawn(const Scene& scene)
{
    if (KeySpan(scene)) return;
    throw Failure(fmt::format("{}: has no {}; there is nothing to draw", scene.file,
                              scene.format == SceneFormat::Bvh ? "frames" : "keys"));
}

TimeSpan SpanToPlot(const TimeSpan& span, FrameRate rate)
{
    if (span.start < span.stop) return span;
    const YTime frame = TimeOfFrame(1, rate);
    return {span.start - frame, span.stop + frame};
}

Plot MakePlot(const Scene& scene, const std::vector<std::string>& patterns, const TimeSpan& span, bool layers,
              const PlotColours& colours)
{
    std::vector<SelectedCurve> curves = SelectCurves(scene, patterns);
    if (layers) {
        std::erase_if(curves, [](const SelectedCurve& selected) {
            return selected.property->LayerGet() == nullptr || !HasKeys(selected);
        });
        CheckPanels(scene, curves.size(), "the chosen curves have no layers with keys");
        const std::string words = patterns.empty() ? "layers" : "layers of " + Words(patterns);
        Plot plot{Title(scene, words), Subtitle(scene, span), span, {}, {}};
        AddLayerPanels(plot, scene, curves);
        return plot;
    }
    Choice choice;
    choice.groups = GroupsOf(curves, span);
    if (patterns.empty()) {
        choice = ChooseGroups(std::move(choice.groups));
    } else {
        choice.words = Words(patterns);
    }
    CheckPanels(scene, choice.groups.size(), "the chosen curves have no keys");
    Plot plot{Title(scene, choice.words), Subtitle(scene, span), span, {}, {}};
    for (const Group& group : choice.groups) {
        plot.panels.push_back(PanelOf(group, colours));
        for (const DrawnCurve& curve : group.curves) plot.sampled.push_back(curve.played);
    }
    return plot;
}

}  // namespace ymotion
