#include <chrono>
#include <memory>

#include <fmt/format.h>

#include "program/layer_edit.h"
#include "program/scene_work.h"
#include "program/terminal/progress.h"
#include "program/terminal/terminal.h"
#include "ymotion/filtering/plot_into_layer.h"
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
    std::size_t jobs = 1;
    bool json = false;
};

struct Plotted : PlottedIntoLayer
{
    double milliseconds = 0;
};

Plotted Plot(Scene& scene, const Scene* other, const PlotIntoLayerOptions& options)
{
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    LayerPlotting plotting;
    plotting.layer = &FindLayer(scene, options.layer);
    plotting.plot = options.plot;
    plotting.plot.period = options.period.Resolve(scene);
    if (options.span.IsGiven()) {
        plotting.span = options.span.ResolveToPlot(other != nullptr ? *other : scene, scene.rate);
    }
    plotting.jobs = options.jobs;
    const std::vector<YFCurveNode*> properties = PropertiesOf(scene, options.patterns);
    Progress progress("plotting", properties.size());
    Plotted plotted{PlotIntoLayer(scene, plotting, other, properties, [&progress] { progress.Step(); }), 0.0};
    plotted.milliseconds = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    return plotted;
}

// --- What is said --------------------------------------------------------------------------------------

std::string Properties(std::size_t count)
{
    return Counted(count, "property", "properties");
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
    RefuseSameStandardInput(options.file, options.from);
    if (!IsSameFile(options.file, options.output)) RefuseToReplaceInput(options.from, options.output);
    SceneEdit edit(options);
    Scene& scene = edit.Edited();
    std::optional<Scene> other;
    if (!options.from.empty()) other = LoadScene(options.from);
    const Plotted plotted = Plot(scene, other ? &*other : nullptr, options);
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

/// \return  the option that turns it off
CLI::Option* AddSwitch(CLI::App& command, bool& value, const SwitchWords& words)
{
    const auto help = [&value](const char* text, bool state) {
        return fmt::format("{}{}", text, value == state ? " (default)" : "");
    };
    CLI::Option* on = command.add_flag_callback(
        words.on, [&value] { value = true; }, help(words.onHelp, true));
    return command
        .add_flag_callback(
            words.off, [&value] { value = false; }, help(words.offHelp, false))
        ->excludes(on);
}

/// \return  the option that keeps keys in stretches that do not move
CLI::Option* AddKeyOptions(CLI::App& command, YSmartPlotOptions& plot)
{
    command.add_flag_callback(
        "--fixed", [&plot] { plot.smart = false; }, "a key at every period, whatever the tolerance");
    AddPositiveOption(
        command, "--tolerance", plot.tolerance,
        fmt::format("how far the result may be off, in units or degrees (default: {})", plot.tolerance));
    command.add_flag("--keep-source-keys", plot.keepSourceKeys,
                     "set a key wherever a layer or the other file has one");
    CLI::Option* noBreak = command.add_flag_callback(
        "--no-break", [&plot] { plot.breakTangents = false; },
        "smooth tangents only; corners take more keys");
    AddPositiveOption(command, "--break-threshold", plot.breakThreshold,
                      "the least change of slope that is a corner, a second (default: tolerance / period)")
        ->excludes(noBreak);
    AddSwitch(command, plot.onFrame,
              {"--on-frame", "keys on whole multiples of the period", "--off-frame",
               "periods counted from the start"});
    AddSwitch(command, plot.preciseDiscontinuities,
              {"--keep-jumps", "jumps at their very time", "--spread-jumps", "jumps between two samples"});
    return AddSwitch(command, plot.reduceConstant,
                     {"--reduce-constant", "no keys in stretches that do not move", "--keep-constant",
                      "keys in such stretches too"});
}

/// One option for what the library knows by the kind of property: --node can choose the kind.
/// \param keepsConstant  the option with which it does nothing
void AddConstantThreshold(CLI::App& command, YSmartPlotOptions& plot, CLI::Option* keepsConstant)
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
        ->type_name("X")
        ->excludes(keepsConstant);
}

constexpr const char* kPlotIntoLayerFooter =
    "The layer gets keys with which all layers together show what was asked for: what they show\n"
    "already (a bake), or with --from what another file shows for the properties of the same paths.\n"
    "The other layers stay as they are; 'yfcurve layer add' makes a new one. Without --start and\n"
    "--stop all keys of the layer are replaced, from the first to the last key of any layer, of their\n"
    "weights or of the other file; properties that repeat their keys or run on beyond them are plotted\n"
    "as long as the scene plays. With them, what is outside of the span stays.\n"
    "\n"
    "The motion is sampled at ten times the rate and wherever there are keys; smart plots set as few\n"
    "keys as keep all samples within the tolerance. With --fixed it is sampled at the rate alone, and\n"
    "the largest difference is that at these keys. A period is 1 / rate. Defaults are those of\n"
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
    AddJobsOption(*command, options->jobs, kThreadsHelp);
    CLI::Option* keepsConstant = AddKeyOptions(*command, options->plot);
    AddConstantThreshold(*command, options->plot, keepsConstant);
    AddJsonFlag(*command, options->json);
    command->footer(WithTimes(kPlotIntoLayerFooter));
    command->callback([options, &chosen] { chosen = [options] { RunPlotIntoLayer(*options); }; });
}

}  // namespace program
