// Layers, and plotting into them: what `YMotion` has of `scene/` and `filtering/` for these.

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "ymotion/filtering/layer_merge.h"
#include "ymotion/filtering/plot_into_layer.h"
#include "ymotion/motiondata.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/layer_failure.h"
#include "ymotion/scene/time_text.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/property_report.h"
#include "ymotion/text/stopping.h"

using namespace ymotion;

namespace {

YMotionLayer ReportOf(const Layer& layer)
{
    YMotionLayer report;
    report.id = layer.GetLayerID();
    report.name = layer.Name();
    report.muted = layer.IsMuteOn();
    report.solo = layer.IsSolo();
    report.locked = layer.IsLocked();
    report.mode = layer.GetLayerMode();
    report.rotationMode = layer.GetLayerRotationMode();
    report.scalingMode = layer.GetLayerScalingMode();
    report.weight = layer.WeightCurve();
    return report;
}

/// \param name  of the layer afterwards.
[[noreturn]] void FailName(const std::string& name)
{
    throw Failure(
        fmt::format("{} can be no layer's name, as it is empty or taken; choose another one", Quoted(name)));
}

YMotionPlottedProperty ReportOf(const PlottedProperty& property)
{
    YMotionPlottedProperty report;
    report.path = PathOf(*property.node);
    report.unit = UnitOf(*property.node);
    report.isResampled = property.resampled;
    report.keysBefore = property.keysBefore;
    report.keysAfter = property.keysAfter;
    report.largest = property.largest;
    report.time = property.when;
    return report;
}

std::vector<YMotionPlottedProperty> ReportOf(const std::vector<PlottedProperty>& properties)
{
    std::vector<YMotionPlottedProperty> report;
    for (const PlottedProperty& property : properties) report.push_back(ReportOf(property));
    return report;
}

/// The span to plot; nothing where it is open at both ends.
std::optional<TimeSpan> SpanOf(const Scene& scene, const YMotionPlotting& options)
{
    if (options.start == YTIME_MINUS_INFINITE && options.stop == YTIME_INFINITE) return std::nullopt;
    TimeSpan span = KeySpan(scene).value_or(TimeSpan{options.start, options.stop});
    if (options.start != YTIME_MINUS_INFINITE) span.start = options.start;
    if (options.stop != YTIME_INFINITE) span.stop = options.stop;
    if (span.start < span.stop) return span;
    throw Failure("the span has no length; choose a stop after its start", kExitUsage);
}

void TakeOptions(const Scene& scene, const YMotionPlotting& options, YSmartPlotOptions& plot)
{
    if (!(options.tolerance > 0.0) || options.period < YTIME_ZERO)
        throw Failure("the tolerance or the period is not above 0; choose another one", kExitUsage);
    plot.tolerance = options.tolerance;
    plot.period = options.period == YTIME_ZERO ? TimeOfFrame(1, scene.rate) : options.period;
}

LayerMerge MergeOf(const Scene& scene, const std::vector<int>& ids, int target)
{
    LayerMerge merge;
    for (const auto& layer : scene.layers.Layers()) {
        const bool isNamed = std::find(ids.begin(), ids.end(), layer->GetLayerID()) != ids.end();
        if (isNamed) CheckPlays(scene, *layer, "leave it out");
        if (isNamed || (ids.empty() && !layer->IsMuted())) merge.layers.push_back(layer.get());
    }
    for (const int id : ids) LayerOf(scene, id);
    if (merge.layers.empty())
        throw Failure(scene.file + ": all layers are muted; let those play that are to be merged");
    merge.target = target < 0 ? merge.layers.front() : &LayerOf(scene, target);
    CheckMerge(scene, merge);
    return merge;
}

}  // namespace

std::vector<YMotionLayer> YMotion::GetLayers() const
{
    std::vector<YMotionLayer> layers;
    const bool isWhole = Try([&] {
        for (const auto& layer : Get().scene.layers.Layers()) layers.push_back(ReportOf(*layer));
    });
    if (!isWhole) layers.clear();
    return layers;
}

int YMotion::AddLayer(const char* name)
{
    int id = -1;
    Try([&] {
        const Layer* layer = Get().scene.layers.Add(TextOf(name));
        if (layer == nullptr) FailName(TextOf(name));
        id = layer->GetLayerID();
    });
    return id;
}

bool YMotion::SetLayer(const YMotionLayer& layer)
{
    return Try([&] {
        SceneLayers& layers = Get().scene.layers;
        Layer& target = LayerOf(Get().scene, layer.id);
        const bool addsUpOtherwise = layer.rotationMode != target.GetLayerRotationMode() ||
                                     layer.scalingMode != target.GetLayerScalingMode();
        if (target.IsBase() && addsUpOtherwise) throw Failure(kBaseAddsToNothing, kExitUsage);
        const eLayerMode modeBefore = target.GetLayerMode();
        std::string name = layer.name;
        if (!target.SetMode(layer.mode))
            throw Failure("the layer cannot have that mode; the base layer is additive", kExitUsage);
        if (!layers.Rename(target, std::move(name))) {
            target.SetMode(modeBefore);
            FailName(layer.name);
        }
        target.SetMute(layer.muted);
        layers.SetSolo(target, layer.solo);
        target.SetLocked(layer.locked);
        layers.SetAccumulation(target, layer.rotationMode, layer.scalingMode, *Get().scene.root);
        layers.Bind(*Get().scene.root);
    });
}

bool YMotion::RemoveLayer(int id)
{
    return Try([&] {
        Scene& scene = Get().scene;
        const Layer& layer = LayerOf(scene, id);
        if (!layer.IsBase()) CheckUnlocked(scene, layer, "remove another one");
        if (!scene.layers.Remove(id, *scene.root))
            throw Failure("the base layer cannot be removed; choose another one");
    });
}

YFCurveLayerInfo YMotion::GetLayerInfo(int id) const
{
    Layer* layer = mData == nullptr ? nullptr : mData->scene.layers.Find(id);
    return layer == nullptr ? YFCurveLayerInfo::Base : layer->Info();
}

YFCurveNode* YMotion::PutOnLayer(YFCurveNode& property, int id)
{
    YFCurveNode* made = nullptr;
    const bool done = Try([&] {
        Scene& scene = Get().scene;
        Layer& layer = LayerOf(scene, id);
        YFCurveNode& base = *property.ObjectLayerGet();
        if (!layer.IsBase() && base.LayerGet(id) == nullptr && !TakesLayers(base))
            throw Failure("components and joints are on no layers of their own; choose a property");
        made = scene.layers.NodeOn(property, layer);
        if (made == nullptr) throw Failure("the property takes no layers; choose another one");
    });
    return done ? made : nullptr;
}

bool YMotion::TakesLayers(const YFCurveNode& node)
{
    return ymotion::TakesLayers(node);
}

bool YMotion::MergeLayers(const std::vector<int>& ids, int target, const YMotionPlotting& options,
                          std::vector<YMotionPlottedProperty>* report)
{
    return Try([&] {
        Scene& scene = Get().scene;
        LayerMerge merge = MergeOf(scene, ids, target);
        TakeOptions(scene, options, merge.options.plot);
        const std::optional<TimeSpan> span = SpanOf(scene, options);
        if (span) {
            merge.options.start = span->start;
            merge.options.stop = span->stop;
        }
        merge.options.removeMerged = !options.keepLayers;
        merge.exact = options.exact;
        const std::vector<YFCurveNode*> properties = PropertiesOf(scene, options.nodes);
        PropertiesKept kept(properties);
        const std::vector<YMotionPlottedProperty> merged =
            ReportOf(MergeProperties(scene, merge, properties));
        StopIfAskedNow();
        kept.Done();
        if (!span && !options.keepLayers) RemoveUnusedLayers(scene, merge);
        scene.layers.Bind(*scene.root);
        if (report != nullptr) *report = merged;
    });
}

bool YMotion::PlotIntoLayer(int layer, const YMotion* from, const YMotionPlotting& options,
                            std::vector<YMotionPlottedProperty>* report)
{
    return Try([&] {
        Scene& scene = Get().scene;
        const Scene* const other = from == nullptr || from == this ? nullptr : &from->Get().scene;
        LayerPlotting plotting;
        plotting.layer = &LayerOf(scene, layer);
        TakeOptions(scene, options, plotting.plot);
        plotting.plot.smart = options.smart;
        plotting.span = SpanOf(other != nullptr ? *other : scene, options);
        const std::vector<YFCurveNode*> properties = PropertiesOf(scene, options.nodes);
        PropertiesKept kept(properties);
        const PlottedIntoLayer plotted = ymotion::PlotIntoLayer(scene, plotting, other, properties);
        const std::vector<YMotionPlottedProperty> done = ReportOf(plotted.properties);
        StopIfAskedNow();
        kept.Done();
        if (report != nullptr) *report = done;
    });
}
