#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <new>

#include <fmt/format.h>

#include "program/layer_edit.h"
#include "program/scene_work.h"
#include "program/terminal/progress.h"
#include "program/terminal/terminal.h"
#include "ymotion/filtering/layer_plot.h"
#include "ymotion/filtering/plot_source.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

using Json = nlohmann::ordered_json;

struct PlotIntoLayerOptions : LayerEdit
{
    std::string from;
    std::vector<std::string> patterns;
    SpanOptions span;
    PeriodOptions period;
    YSmartPlotOptions plot;
    bool json = false;
};

struct Plotted
{
    std::vector<PlottedProperty> properties;
    std::size_t still = 0;      ///< properties that have no keys, passed over
    std::size_t unchanged = 0;  ///< that need no node on the layer
    double milliseconds = 0;
};

// --- Checks --------------------------------------------------------------------------------------------

void CheckLayer(const Scene& scene, const Layer& layer)
{
    const char* state = nullptr;
    const char* button = nullptr;
    if (layer.IsLocked()) {
        state = "is locked; unlock it";
        button = "lock";
    } else if (layer.IsMuteOn()) {
        state = "is muted, so that nothing on it shows; let it play";
        button = "mute";
    } else if (layer.IsMuted()) {
        throw Failure(
            fmt::format("{}: the layer {} does not play, as another one is solo; let it be solo too "
                        "with 'yfcurve layer solo {} {}', or choose another layer",
                        scene.file, Quoted(layer.Name()), scene.file, layer.GetLayerID()));
    }
    if (state == nullptr) return;
    throw Failure(
        fmt::format("{}: the layer {} {} with 'yfcurve layer {} {} {} off', or choose another layer",
                    scene.file, Quoted(layer.Name()), state, button, scene.file, layer.GetLayerID()));
}

// --- Plotting ------------------------------------------------------------------------------------------

/// Whether a property has nothing but the values that change nothing on a layer, but for rounding.
bool IsNeutral(const YFCurveNode& node)
{
    std::vector<double> neutral(static_cast<std::size_t>(std::max(1, node.GetCount())));
    node.GetZeroValues(neutral.data());
    const auto holds = [](const YFCurve* curve, double value) {
        if (curve == nullptr) return true;
        const ValueRange range = KeyRange(*curve).value_or(ValueRange{curve->GetValue(), curve->GetValue()});
        constexpr double kRounding = 1e-9;
        return std::abs(static_cast<double>(range.least) - value) <= kRounding &&
               std::abs(static_cast<double>(range.greatest) - value) <= kRounding;
    };
    for (int i = 0; i < node.GetCount(); ++i) {
        if (!holds(node.Get(i)->FCurveGet(), neutral[static_cast<std::size_t>(i)])) return false;
    }
    return holds(node.FCurveGet(), neutral.front());
}

class Plotter
{
  public:
    Plotter(Scene& scene, const Scene* other, const PlotIntoLayerOptions& options)
        : mScene(scene), mOptions(options), mLayer(FindLayer(scene, options.layer)), mSmart(options.plot)
    {
        CheckLayer(scene, mLayer);
        mSmart.period = options.period.Resolve(scene);
        if (options.span.IsGiven())
            mSpan = options.span.ResolveToPlot(other != nullptr ? *other : scene, scene.rate);
        if (other != nullptr) mSource.emplace(scene, *other);
    }

    Plotted Run()
    {
        const std::vector<YFCurveNode*> properties = PropertiesOf(mScene, mOptions.patterns);
        if (mSource) mSource->CheckHas(properties);
        Plotted plotted;
        Progress progress("plotting", properties.size());
        for (YFCurveNode* property : properties) {
            PlotProperty(*property, plotted);
            progress.Step();
        }
        if (plotted.properties.empty() && plotted.unchanged == 0) {
            throw Failure(mScene.file +
                          ": the properties have no keys, so that there is nothing to plot; set "
                          "some, or choose other properties with --node");
        }
        mScene.layers.Bind(*mScene.root);
        return plotted;
    }

  private:
    void PlotProperty(YFCurveNode& property, Plotted& plotted)
    {
        if (!mSource && property.KeyGetCount(true) == 0) {
            ++plotted.still;
            return;
        }
        const int layerId = property.GetCorrectLayerID(mLayer.GetLayerID());
        const YFCurveNode* node = property.LayerGet(layerId);
        const bool isNew = node == nullptr;
        const bool adds = mLayer.GetLayerMode() == YFCURVE_LAYER_ADDITIVE;
        if (isNew && mSpan && !adds) FailOutside(property);
        PlottedProperty result;
        result.node = &property;
        result.keysBefore = isNew ? 0 : node->KeyGetCount();
        const YFCurvePlotReport report = Plot(property);
        if (report.status != eYFCurvePlotStatus::Done) FailPlot(mScene, property, report);
        node = property.LayerGet(layerId);
        if (isNew && adds && IsNeutral(*node)) {
            property.RemoveLayer(layerId, true);
            ++plotted.unchanged;
            return;
        }
        result.keysAfter = node->KeyGetCount();
        result.largest = report.largestDifference;
        result.when = report.time;
        plotted.properties.push_back(result);
    }

    /// A layer that overrides would hide the property outside of the span, where it holds nothing.
    [[noreturn]] void FailOutside(const YFCurveNode& property) const
    {
        throw Failure(fmt::format(
            "{}: {}: it is not on the layer {} yet, which overrides, and would hold still outside of the "
            "span; leave out --start and --stop, or choose another layer",
            mScene.file, Printable(PathOf(property)), Quoted(mLayer.Name())));
    }

    YFCurvePlotReport Plot(YFCurveNode& property)
    {
        const YTime start = mSpan ? mSpan->start : YTIME_MINUS_INFINITE;
        const YTime stop = mSpan ? mSpan->stop : YTIME_INFINITE;
        YFCurvePlotReport report;
        if (!mSource) {
            YFCurve_PlotInLayers(&property, mLayer.Info(), start, stop, mSmart, nullptr, nullptr, &report);
            return report;
        }
        Counterpart counterpart = mSource->Of(property);
        YFCurveNode* node = property.GetCorrectLayerAndCreateIfMissing(mLayer.Info());
        if (node == nullptr) throw std::bad_alloc();
        counterpart.AddKeyTimes(*node, mSpan);
        YFCurve_PlotInLayers(&property, mLayer.Info(), start, stop, mSmart, Counterpart::Evaluate,
                             &counterpart, &report);
        return report;
    }

    Scene& mScene;
    const PlotIntoLayerOptions& mOptions;
    Layer& mLayer;
    YSmartPlotOptions mSmart;
    std::optional<TimeSpan> mSpan;
    std::optional<PlotSource> mSource;
};

// --- What is said --------------------------------------------------------------------------------------

std::string Properties(std::size_t count)
{
    return fmt::format("{} {}", GroupedText(static_cast<long long>(count)),
                       count == 1 ? "property" : "properties");
}

std::string TextOf(const Scene& scene, const std::string& layer, const Plotted& plotted, const Style& style)
{
    std::string text = fmt::format(
        "{}{}{}: {} plotted into {}, {} keys -> {}, {:.0f} ms\n", style.Bold(), Printable(scene.file),
        style.Plain(), Properties(plotted.properties.size()), layer,
        GroupedText(SumOf(plotted.properties, &PlottedProperty::keysBefore)),
        GroupedText(SumOf(plotted.properties, &PlottedProperty::keysAfter)), plotted.milliseconds);
    if (!plotted.properties.empty()) text += PlotTable(plotted.properties, style);
    if (plotted.unchanged > 0) {
        text += fmt::format("  need nothing on the layer: {}\n", Properties(plotted.unchanged));
    }
    if (plotted.still > 0)
        text += fmt::format("  without keys, passed over: {}\n", Properties(plotted.still));
    return text;
}

std::string JsonOf(const Scene& scene, const std::string& layer, const Plotted& plotted)
{
    Json json;
    json["file"] = Printable(scene.file);
    json["layer"] = layer;
    json["keysBefore"] = SumOf(plotted.properties, &PlottedProperty::keysBefore);
    json["keysAfter"] = SumOf(plotted.properties, &PlottedProperty::keysAfter);
    json["milliseconds"] = plotted.milliseconds;
    json["unchanged"] = plotted.unchanged;
    json["passedOver"] = plotted.still;
    json["properties"] = PlotJson(plotted.properties);
    return json.dump(2) + "\n";
}

void RunPlotIntoLayer(const PlotIntoLayerOptions& options)
{
    using Clock = std::chrono::steady_clock;
    RefuseSameStandardInput(options.file, options.from);
    if (!IsSameFile(options.file, options.output)) RefuseToReplaceInput(options.from, options.output);
    SceneEdit edit(options);
    Scene& scene = edit.Edited();
    std::optional<Scene> other;
    if (!options.from.empty()) other = LoadScene(options.from);
    const Clock::time_point start = Clock::now();
    Plotted plotted = Plotter(scene, other ? &*other : nullptr, options).Run();
    plotted.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    const std::string layer = Printable(FindLayer(scene, options.layer).Name());
    edit.Write(options.json ? JsonOf(scene, layer, plotted)
                            : TextOf(scene, layer, plotted, StyleOf(ReportDescriptor(options))));
}

// --- The command line ----------------------------------------------------------------------------------

/// Two flags that exclude each other, and the help of each.
struct SwitchWords
{
    const char* on;
    const char* onHelp;
    const char* off;
    const char* offHelp;
};

void AddSwitch(CLI::App& command, bool& value, const SwitchWords& words)
{
    const auto help = [&value](const char* text, bool state) {
        return fmt::format("{}{}", text, value == state ? " (default)" : "");
    };
    CLI::Option* on = command.add_flag_callback(
        words.on, [&value] { value = true; }, help(words.onHelp, true));
    command
        .add_flag_callback(
            words.off, [&value] { value = false; }, help(words.offHelp, false))
        ->excludes(on);
}

void AddKeyOptions(CLI::App& command, YSmartPlotOptions& plot)
{
    command.add_flag_callback(
        "--fixed", [&plot] { plot.smart = false; }, "a key at every period, whatever the tolerance");
    AddPositiveOption(
        command, "--tolerance", plot.tolerance,
        fmt::format("how far the result may be off, in units or degrees (default: {})", plot.tolerance));
    command.add_flag("--keep-source-keys", plot.keepSourceKeys,
                     "set a key wherever a layer or the other file has one");
    command.add_flag_callback(
        "--no-break", [&plot] { plot.breakTangents = false; },
        "smooth tangents only; corners take more keys");
    AddPositiveOption(command, "--break-threshold", plot.breakThreshold,
                      "the least change of slope that is a corner, a second (default: tolerance / period)");
    AddSwitch(command, plot.onFrame,
              {"--on-frame", "keys on whole multiples of the period", "--off-frame",
               "periods counted from the start"});
    AddSwitch(command, plot.preciseDiscontinuities,
              {"--keep-jumps", "jumps at their very time", "--spread-jumps", "jumps between two samples"});
    AddSwitch(command, plot.reduceConstant,
              {"--reduce-constant", "no keys in stretches that do not move", "--keep-constant",
               "keys in such stretches too"});
}

/// One option for what the library knows by the kind of property: --node can choose the kind.
void AddConstantThreshold(CLI::App& command, YSmartPlotOptions& plot)
{
    command
        .add_option_function<std::string>(
            "--constant-threshold",
            [&plot](const std::string& text) {
                const double threshold = ParseNonNegative("--constant-threshold", text);
                plot.translationThreshold = threshold;
                plot.rotationThreshold = threshold;
                plot.scalingThreshold = threshold;
                plot.defaultThreshold = threshold;
            },
            fmt::format("what counts as not moving (default: {} degrees for rotations, {} for others)",
                        plot.rotationThreshold, plot.defaultThreshold))
        ->type_name("X");
}

constexpr const char* kPlotIntoLayerFooter =
    "The layer gets keys with which all layers together show what was asked for: what they show\n"
    "already (a bake), or with --from what another file shows for the properties of the same paths.\n"
    "The other layers stay as they are; 'yfcurve layer add' makes a new one. Without --start and\n"
    "--stop all keys of the layer are replaced, from the first to the last key of any layer or of the\n"
    "other file; with them, what is outside of the span stays.\n"
    "\n"
    "The motion is sampled at ten times the rate and wherever there are keys; smart plots set as few\n"
    "keys as keep all samples within the tolerance. A period is 1 / rate. Defaults are those of\n"
    "'yfcurve settings', but the rate is the scene's, not that of the other file. Rotations may come\n"
    "from another rotation order. --node means whole properties.\n"
    "\n"
    "The file is written when all that was asked for could be done; otherwise a message says which\n"
    "property is in the way, and why. Members of the JSON object: file, layer, keysBefore and\n"
    "keysAfter (on the layer), milliseconds, unchanged (properties that need nothing there),\n"
    "passedOver (without keys) and properties (path, how, keysBefore, keysAfter, largestDifference,\n"
    "unit, time).\n"
    "\n"
    "Examples:\n"
    "  yfcurve layer add walk.ytalo Baked --mode override\n"
    "  yfcurve plot-into-layer walk.ytalo Baked --tolerance 0.01\n"
    "  yfcurve plot-into-layer walk.ytalo Baked --fixed --rate 30 --start 0 --stop 1\n"
    "  yfcurve plot-into-layer walk.ytalo Corrections --from edited.bvh --node '*Arm' -o out.ytalo";

}  // namespace

void AddPlotIntoLayerCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<PlotIntoLayerOptions>();
    CLI::App* command = AddLayerEdit(program, "plot-into-layer",
                                     "Write what a scene, or another one, shows into a layer", *options);
    RefuseEmpty(*command
                     ->add_option("--from", options->from,
                                  "another file, whose motion is to be shown; - for standard input")
                     ->type_name("OTHER"));
    AddNodeOption(*command, options->patterns);
    AddSpanOptions(*command, options->span);
    AddPeriodOptions(*command, options->period);
    AddKeyOptions(*command, options->plot);
    AddConstantThreshold(*command, options->plot);
    AddJsonFlag(*command, options->json);
    command->footer(WithTimes(kPlotIntoLayerFooter));
    command->callback([options, &chosen] { chosen = [options] { RunPlotIntoLayer(*options); }; });
}

}  // namespace program
