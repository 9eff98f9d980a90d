#include "ymotion/filtering/layer_merge.h"

#include <algorithm>
#include <optional>
#include <set>

#include <fmt/format.h>

#include "ymotion/filtering/piecework.h"
#include "ymotion/scene/layer_failure.h"
#include "ymotion/scene/node_walk.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

/// Whether a property is on a merged layer other than the one that holds the result.
bool IsConcerned(const YFCurveNode& property, const LayerMerge& merge)
{
    for (const YFCurveNode* node = &property; node != nullptr; node = node->LayerGet()) {
        const auto isNode = [&](const Layer* layer) { return layer->GetLayerID() == node->GetLayerID(); };
        const bool merged = std::any_of(merge.layers.begin(), merge.layers.end(), isNode);
        if (merged && node->GetLayerID() != merge.target->GetLayerID()) return true;
    }
    return false;
}

/// What layers that do not simply add up are refused for, and what can be done.
const char* NotLinearText(const YMergeLayerOptions& options, bool exactOnly)
{
    if (!exactOnly)
        return "a layer that overrides cannot be merged over a span alone; leave out --start and --stop";
    if (options.start == YTIME_MINUS_INFINITE && options.stop == YTIME_INFINITE)
        return "its layers do not simply add up, so that it takes resampling; leave out --exact";
    return "its layers do not simply add up, so that it takes resampling; leave out --exact or, where one "
           "overrides, --start and --stop";
}

PlottedProperty MergeProperty(const Scene& scene, YFCurveNode& property, const YMergeLayerOptions& options,
                              bool exactOnly)
{
    PlottedProperty merged;
    merged.node = &property;
    merged.keysBefore = property.KeyGetCount(true);
    YFCurvePlotReport report;
    YFCURVE_ConstantCurveMerge(&property, options, &report);
    merged.resampled = report.status == eYFCurvePlotStatus::NotLinear && !exactOnly;
    if (merged.resampled) YFCURVE_MergeLayers(&property, options, &report);
    if (report.status == eYFCurvePlotStatus::NotLinear)
        FailPlot(scene, property, report, NotLinearText(options, exactOnly));
    if (report.status != eYFCurvePlotStatus::Done) FailPlot(scene, property, report);
    merged.keysAfter = property.KeyGetCount(true);
    merged.largest = report.largestDifference;
    merged.when = report.time;
    return merged;
}

YMergeLayerOptions OptionsOf(const LayerMerge& merge)
{
    YMergeLayerOptions options = merge.options;
    options.layerIds.Clear();
    for (const Layer* layer : merge.layers) options.layerIds.Add(layer->GetLayerID());
    options.target = merge.target->Info();
    options.useTarget = true;
    return options;
}

}  // namespace

void CheckMerge(const Scene& scene, const LayerMerge& merge)
{
    CheckPlays(scene, *merge.target, "choose another one to hold the result");
    CheckUnlocked(scene, *merge.target, "choose another one to hold the result");
    for (const Layer* layer : merge.layers) CheckUnlocked(scene, *layer, "leave it out");
    if (merge.layers.size() != 1 || merge.layers.front() != merge.target) return;
    throw Failure(
        fmt::format("{}: there is nothing to merge the layer {} with; name another one too, or "
                    "the one that is to hold the result with --into",
                    scene.file, Quoted(merge.target->Name())));
}

std::vector<PlottedProperty> MergeProperties(const Scene& scene, const LayerMerge& merge,
                                             const std::vector<YFCurveNode*>& properties,
                                             const std::function<void()>& done)
{
    const YMergeLayerOptions options = OptionsOf(merge);
    std::vector<std::optional<PlottedProperty>> pieces(properties.size());
    DoPieces(
        properties.size(), merge.jobs,
        [&](std::size_t i, std::size_t) {
            if (IsConcerned(*properties[i], merge))
                pieces[i] = MergeProperty(scene, *properties[i], options, merge.exact);
        },
        [&](std::size_t) {
            if (done) done();
        });
    std::vector<PlottedProperty> merged;
    for (const std::optional<PlottedProperty>& piece : pieces) {
        if (piece) merged.push_back(*piece);
    }
    return merged;
}

LayersLeft RemoveUnusedLayers(Scene& scene, const LayerMerge& merge)
{
    LayersLeft left;
    std::set<int> used{0, merge.target->GetLayerID()};
    VisitNodesAndLayers(*scene.root, [&used](const YFCurveNode& node) { used.insert(node.GetLayerID()); });
    for (const Layer* layer : merge.layers) {
        if (layer == merge.target || layer->IsBase()) continue;
        if (used.contains(layer->GetLayerID())) {
            left.used.push_back(Printable(layer->Name()));
        } else {
            left.gone.push_back(Printable(layer->Name()));
            left.layers.push_back(scene.layers.Remove(layer->GetLayerID(), *scene.root));
        }
    }
    return left;
}

}  // namespace ymotion
