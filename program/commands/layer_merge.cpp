#include <algorithm>
#include <chrono>
#include <memory>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "program/layer_edit.h"
#include "program/terminal/progress.h"
#include "program/terminal/terminal.h"
#include "ymotion/filtering/layer_merge.h"
#include "ymotion/scene/layer_failure.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

using Json = nlohmann::ordered_json;

struct MergeOptions : LayerEdit
{
    std::vector<std::string> layers;
    std::vector<std::string> patterns;
    std::string into;
    std::string intoNew;
    SpanOptions span;
    PeriodOptions period;
    double tolerance = YMergeLayerOptions().plot.tolerance;
    std::size_t jobs = 1;
    bool exact = false;
    bool keepLayers = false;
    bool json = false;
};

/// Which layers are merged, and what becomes of them. Names, as layers may be gone in the end.
struct Merge : LayerMerge
{
    std::vector<std::string> names;
    std::vector<std::string> muted;  ///< not asked for by name, so passed over
    LayersLeft left;
    std::vector<PlottedProperty> properties;
    double milliseconds = 0;
};

// --- Which layers --------------------------------------------------------------------------------------

void FindNamedLayers(const Scene& scene, const std::vector<std::string>& names, Merge& merge)
{
    for (const std::string& name : names) {
        Layer& layer = FindLayer(scene, name);
        CheckPlays(scene, layer, "leave it out");
        merge.layers.push_back(&layer);
    }
    std::sort(merge.layers.begin(), merge.layers.end(),
              [](const Layer* a, const Layer* b) { return a->GetLayerID() < b->GetLayerID(); });
    merge.layers.erase(std::unique(merge.layers.begin(), merge.layers.end()), merge.layers.end());
}

void FindPlayingLayers(const Scene& scene, Merge& merge)
{
    for (const auto& layer : scene.layers.Layers()) {
        if (layer->IsMuted()) {
            merge.muted.push_back(Printable(layer->Name()));
        } else {
            merge.layers.push_back(layer.get());
        }
    }
    if (!merge.layers.empty()) return;
    throw Failure(scene.file + ": all layers are muted; let those play that are to be merged");
}

/// A layer that is made plays alone with those that are solo, as what it takes over did.
Layer& MakeTarget(Scene& scene, const std::string& name, const Merge& merge)
{
    Layer& target = AddLayer(scene, name);
    const bool solo = std::any_of(merge.layers.begin(), merge.layers.end(),
                                  [](const Layer* layer) { return layer->IsSolo(); });
    if (solo) scene.layers.SetSolo(target, true);
    return target;
}

Merge PlanMerge(Scene& scene, const MergeOptions& options)
{
    Merge merge;
    if (options.layers.empty()) {
        FindPlayingLayers(scene, merge);
    } else {
        FindNamedLayers(scene, options.layers, merge);
    }
    if (!options.intoNew.empty()) {
        merge.target = &MakeTarget(scene, options.intoNew, merge);
    } else {
        merge.target = options.into.empty() ? merge.layers.front() : &FindLayer(scene, options.into);
    }
    CheckMerge(scene, merge);
    for (const Layer* layer : merge.layers) merge.names.push_back(Printable(layer->Name()));
    return merge;
}

// --- Merging -------------------------------------------------------------------------------------------

void TakeOptions(const Scene& scene, const MergeOptions& options, Merge& merge)
{
    YMergeLayerOptions& result = merge.options;
    if (options.span.IsGiven()) {
        const TimeSpan span = options.span.ResolveToPlot(scene, scene.rate);
        result.start = span.start;
        result.stop = span.stop;
    }
    result.removeMerged = !options.keepLayers;
    result.plot.period = options.period.Resolve(scene);
    result.plot.tolerance = options.tolerance;
    merge.exact = options.exact;
}

Merge MergeLayers(Scene& scene, const MergeOptions& options)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    Merge merge = PlanMerge(scene, options);
    TakeOptions(scene, options, merge);
    merge.jobs = options.jobs;
    const std::vector<YFCurveNode*> properties = PropertiesOf(scene, options.patterns);
    Progress progress("merging", properties.size());
    merge.properties = MergeProperties(scene, merge, properties, [&progress] { progress.Step(); });
    if (!options.span.IsGiven() && !options.keepLayers) merge.left = RemoveUnusedLayers(scene, merge);
    merge.layers.clear();
    if (merge.properties.empty() && merge.left.gone.empty()) {
        throw Failure(
            fmt::format("{}: {} have nothing in common to merge; choose other layers, or others with --node",
                        scene.file, fmt::join(merge.names, ", ")));
    }
    scene.layers.Bind(*scene.root);
    merge.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    return merge;
}

// --- What is said --------------------------------------------------------------------------------------

void AppendNote(std::string& text, const char* what, const std::vector<std::string>& layers)
{
    if (!layers.empty()) text += fmt::format("  {}: {}\n", what, fmt::join(layers, ", "));
}

std::string TextOf(const Scene& scene, const Merge& merge, const Style& style)
{
    std::string text = fmt::format(
        "{}{}{}: {} merged into {}, {} keys -> {}, {:.0f} ms\n", style.Bold(), Printable(scene.file),
        style.Plain(), fmt::join(merge.names, ", "), Printable(merge.target->Name()),
        GroupedText(SumOf(merge.properties, &PlottedProperty::keysBefore)),
        GroupedText(SumOf(merge.properties, &PlottedProperty::keysAfter)), merge.milliseconds);
    if (!merge.properties.empty()) text += PlotTable(merge.properties, style);
    AppendNote(text, "gone from the scene", merge.left.gone);
    AppendNote(text, "still used by other properties", merge.left.used);
    AppendNote(text, "do not play, and stay as they are", merge.muted);
    return text;
}

std::string JsonOf(const Scene& scene, const Merge& merge)
{
    Json json;
    json["file"] = Printable(scene.file);
    json["merged"] = merge.names;
    json["into"] = Printable(merge.target->Name());
    json["gone"] = merge.left.gone;
    json["stillUsed"] = merge.left.used;
    json["passedOver"] = merge.muted;
    json["keysBefore"] = SumOf(merge.properties, &PlottedProperty::keysBefore);
    json["keysAfter"] = SumOf(merge.properties, &PlottedProperty::keysAfter);
    json["milliseconds"] = merge.milliseconds;
    json["properties"] = PlotJson(merge.properties);
    return json.dump(2) + "\n";
}

void RunMerge(const MergeOptions& options)
{
    SceneEdit edit(options);
    Scene& scene = edit.Edited();
    const Merge merge = MergeLayers(scene, options);
    edit.Write(options.json ? JsonOf(scene, merge)
                            : TextOf(scene, merge, StyleOf(ReportDescriptor(options))));
}

constexpr const char* kLayerMergeFooter =
    "The layers together play as before. Where they simply add up under constant weights, keys and\n"
    "tangents are combined as they are; elsewhere (rotations that turn as a whole, weights that move)\n"
    "the motion is sampled at ten times the rate, and as few keys are set as keep it within the\n"
    "tolerance. Layers that are not merged keep their place and their keys; so do muted ones, which\n"
    "cannot be named.\n"
    "\n"
    "The result is on the lowest of the merged layers unless another is given. A layer that no\n"
    "property is on any more leaves the scene, the base layer aside. Between --start and --stop all\n"
    "layers stay, and merged ones are neutral there; one that overrides can only be merged as a\n"
    "whole. --node means whole properties.\n"
    "\n"
    "The file is written when all that was asked for could be done; otherwise a message says which\n"
    "property is in the way, and why. Members of the JSON object: file, merged, into, gone (from the\n"
    "scene), stillUsed (by properties that were not chosen), passedOver (muted), keysBefore,\n"
    "keysAfter, milliseconds and properties (path, how: exact or plotted, keysBefore, keysAfter,\n"
    "largestDifference, unit, time).\n"
    "\n"
    "Examples:\n"
    "  yfcurve layer merge walk.ytalo\n"
    "  yfcurve layer merge walk.ytalo Breathing Lean --into-new Upper -o merged.ytalo\n"
    "  yfcurve layer merge walk.ytalo Breathing --into 0 --start 0.5 --stop 1\n"
    "  yfcurve layer merge walk.ytalo --exact --node 'Lcl Translation'";

}  // namespace

void AddLayerMerge(CLI::App& parent, Action& chosen)
{
    auto options = std::make_shared<MergeOptions>();
    CLI::App* command = AddLayerEdit(parent, "merge", "Make one layer of several", *options, false);
    command->add_option("LAYER", options->layers, "names or ids (default: all layers that play)")
        ->type_name("");
    CLI::Option* into = command->add_option("--into", options->into, "the layer that holds the result");
    CLI::Option* intoNew =
        command->add_option("--into-new", options->intoNew, "a new layer for the result, on top");
    intoNew->type_name("NAME")->excludes(into->type_name("LAYER"));
    for (CLI::Option* option : {into, intoNew}) RefuseEmpty(*option);
    AddNodeOption(*command, options->patterns);
    AddSpanOptions(*command, options->span);
    AddPositiveOption(
        *command, "--tolerance", options->tolerance,
        fmt::format("how far motion that is sampled may be off, in units or degrees (default: {})",
                    options->tolerance));
    AddPeriodOptions(*command, options->period);
    command->add_flag("--exact", options->exact, "refuse what takes sampling");
    AddJobsOption(*command, options->jobs, kThreadsHelp);
    command->add_flag("--keep-layers", options->keepLayers, "keep merged layers in the scene, emptied");
    AddJsonFlag(*command, options->json);
    command->footer(WithTimes(kLayerMergeFooter));
    command->callback([options, &chosen] { chosen = [options] { RunMerge(*options); }; });
}

}  // namespace program
