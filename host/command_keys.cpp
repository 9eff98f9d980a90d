#include <cmath>
#include <limits>
#include <memory>
#include <optional>

#include <fmt/format.h>

#include "host/command.h"
#include "host/curve_selection.h"
#include "host/diagnostic.h"
#include "host/file_io.h"
#include "host/layer_edit.h"
#include "host/number_text.h"
#include "host/printable.h"
#include "host/scene_file.h"
#include "host/signal_hold.h"
#include "yfcurve/yfcurvemanipulator.h"

namespace host {
namespace {

struct KeysOptions
{
    std::string input;
    std::string output;
    std::vector<std::string> patterns;
    std::vector<std::string> layers;
    std::vector<std::string> selections;
    std::optional<std::string> move;
    std::optional<std::string> stretchTime;
    std::optional<std::string> scale;
    std::optional<std::string> set;
    bool allLayers = false;
    bool ripple = false;
    bool copy = false;
    bool dryRun = false;
};

struct Rectangle
{
    YTime start = YTIME_MINUS_INFINITE;
    YTime stop = YTIME_INFINITE;
    double least = std::numeric_limits<double>::lowest();
    double greatest = std::numeric_limits<double>::max();
};

/// What is to be done with the keys, and how.
struct Edit
{
    eFCurveManipulationMode mode = kManipulationNone;
    YTime time = YTIME_ZERO;  ///< by how much to move
    double value = 0.0;       ///< by how much, or to which value
    double factor = 1.0;
    std::optional<YTime> timePivot;
    double valuePivot = 0.0;
};

constexpr double kMostSeconds = 1e8;  // three years

[[noreturn]] void FailUsage(const char* option, const std::string& text, const char* expected)
{
    throw Failure(fmt::format("{}: {} is not {}; see 'yfcurve keys --help'", option, Quoted(text), expected),
                  kExitUsage);
}

double NumberOf(const char* option, std::string_view part, const std::string& text, const char* expected)
{
    const std::optional<double> number = ParseDouble(part);
    if (!number) FailUsage(option, text, expected);
    return *number;
}

/// Of a curve, whose values are of single precision.
float ValueOf(const char* option, std::string_view part, const std::string& text, const char* expected)
{
    const std::optional<float> value = ParseFloat(part);
    if (!value) FailUsage(option, text, expected);
    return *value;
}

YTime TimeOf(const char* option, std::string_view part, const std::string& text, const char* expected)
{
    const double seconds = NumberOf(option, part, text, expected);
    if (std::fabs(seconds) > kMostSeconds) FailUsage(option, text, expected);
    return YTime::FromSeconds(seconds);
}

/// The two sides of a separator; the second is empty where there is none.
std::pair<std::string_view, std::string_view> SplitAt(std::string_view text, char separator)
{
    const std::size_t place = text.find(separator);
    if (place == std::string_view::npos) return {text, {}};
    return {text.substr(0, place), text.substr(place + 1)};
}

Rectangle ParseSelection(const std::string& text)
{
    constexpr const char* option = "--select";
    constexpr const char* expected = "of the form T0:T1 or T0:T1,V0:V1";
    const auto [times, values] = SplitAt(text, ',');
    if (times.find(':') == std::string_view::npos) FailUsage(option, text, expected);
    if (!values.empty() && values.find(':') == std::string_view::npos) FailUsage(option, text, expected);
    const auto [start, stop] = SplitAt(times, ':');
    const auto [least, greatest] = SplitAt(values, ':');
    Rectangle rectangle;
    if (!start.empty()) rectangle.start = TimeOf(option, start, text, expected);
    if (!stop.empty()) rectangle.stop = TimeOf(option, stop, text, expected);
    if (!least.empty()) rectangle.least = ValueOf(option, least, text, expected);
    if (!greatest.empty()) rectangle.greatest = ValueOf(option, greatest, text, expected);
    if (rectangle.stop < rectangle.start || rectangle.greatest < rectangle.least) {
        FailUsage(option, text, "from the lower to the higher");
    }
    constexpr YTime kMicrosecond(YTIME_TICKS_PER_SECOND / 1'000'000);  // reports print times no finer
    if (!start.empty()) rectangle.start = rectangle.start - kMicrosecond;
    if (!stop.empty()) rectangle.stop = rectangle.stop + kMicrosecond;
    return rectangle;
}

/// `F@P`: what stands before the sign goes to the factor; returns what stands behind it.
std::string_view ParseFactor(Edit& edit, const char* option, const std::string& text, const char* expected)
{
    const auto [factor, pivot] = SplitAt(text, '@');
    edit.factor = NumberOf(option, factor, text, expected);
    return pivot;
}

Edit ParseEdit(const KeysOptions& options)
{
    const int edits = options.move.has_value() + options.stretchTime.has_value() + options.scale.has_value() +
                      options.set.has_value();
    if (edits != 1) {
        throw Failure("give one of --move, --stretch-time, --scale and --set; see 'yfcurve keys --help'",
                      kExitUsage);
    }
    if (options.ripple && !options.move && !options.stretchTime) {
        throw Failure("--ripple is about times; give it with --move or --stretch-time, or leave it out",
                      kExitUsage);
    }
    Edit edit;
    if (const auto& text = options.move) {
        constexpr const char* expected = "of the form DX,DY: seconds and an amount";
        const auto [time, value] = SplitAt(*text, ',');
        if (time.empty() && value.empty()) FailUsage("--move", *text, expected);
        edit.mode = kManipulationMove;
        if (!time.empty()) edit.time = TimeOf("--move", time, *text, expected);
        if (!value.empty()) edit.value = NumberOf("--move", value, *text, expected);
    } else if (const auto& text = options.set) {
        edit.mode = kManipulationSetValue;
        edit.value = ValueOf("--set", *text, *text, "a value");
    } else if (const auto& text = options.stretchTime) {
        constexpr const char* expected = "of the form F or F@T: a factor and seconds";
        edit.mode = kManipulationStretchX;
        const std::string_view pivot = ParseFactor(edit, "--stretch-time", *text, expected);
        if (!pivot.empty()) edit.timePivot = TimeOf("--stretch-time", pivot, *text, expected);
    } else if (const auto& text = options.scale) {
        constexpr const char* expected = "of the form F or F@V: a factor and a value";
        edit.mode = kManipulationScale;
        const std::string_view pivot = ParseFactor(edit, "--scale", *text, expected);
        if (!pivot.empty()) edit.valuePivot = NumberOf("--scale", pivot, *text, expected);
    }
    return edit;
}

// --- Curves --------------------------------------------------------------------------------------------

std::vector<const Layer*> ChosenLayers(const Scene& scene, const KeysOptions& options)
{
    std::vector<const Layer*> chosen;
    for (const std::string& name : options.layers) chosen.push_back(&FindLayer(scene, name));
    if (options.allLayers) {
        for (const auto& layer : scene.layers.Layers()) chosen.push_back(layer.get());
    }
    if (chosen.empty()) chosen.push_back(&scene.layers.Base());
    return chosen;
}

/// The node that holds what a layer has for a selected curve; null where it has nothing.
YFCurveNode* NodeOf(const SelectedCurve& selected, const Layer& layer)
{
    YFCurveNode* property = selected.property;
    if (!layer.IsBase()) property = property->LayerGet(layer.GetLayerID());
    if (property == nullptr || selected.node == selected.property) return property;
    for (int i = 0; i < property->GetCount(); ++i) {
        if (property->Get(i)->ObjectLayerGet() == selected.node) return property->Get(i);
    }
    return nullptr;
}

void Register(const Scene& scene, const KeysOptions& options, YFCurveManipulator& manipulator)
{
    const std::vector<const Layer*> layers = ChosenLayers(scene, options);
    manipulator.BeginAddRemoveCurveNode();
    for (const SelectedCurve& selected : SelectCurves(scene, options.patterns)) {
        for (const Layer* layer : layers) manipulator.Add(NodeOf(selected, *layer));
    }
    manipulator.EndAddRemoveCurveNode();
    manipulator.MarkCurveNodeForManip(true, nullptr);
}

struct Selected
{
    int keys = 0;
    int curves = 0;
    int lockedCurves = 0;
};

Selected Select(YFCurveManipulator& manipulator, const std::vector<Rectangle>& rectangles)
{
    eSelectionMode mode = kSelectionReplace;
    for (const Rectangle& rectangle : rectangles) {
        manipulator.SelectKeys(mode, rectangle.start, rectangle.stop, rectangle.least, rectangle.greatest);
        mode = kSelectionAdd;
    }
    manipulator.MarkKeysForManipFromSelection();
    Selected result;
    for (int i = 0; i < manipulator.GetNodeCount(); ++i) {
        const YFCurve* curve = manipulator.GetNode(i)->FCurveGet();
        const int keys = curve->KeyGetSelectionCount();
        result.keys += keys;
        result.curves += keys > 0 ? 1 : 0;
        result.lockedCurves += curve->IsLocked() ? 1 : 0;
    }
    return result;
}

int KeyCount(const YFCurveManipulator& manipulator)
{
    int count = 0;
    for (int i = 0; i < manipulator.GetNodeCount(); ++i)
        count += manipulator.GetNode(i)->FCurveGet()->KeyGetCount();
    return count;
}

// --- Editing -------------------------------------------------------------------------------------------

/// The library stops keys at the ends of what a curve can hold, where they would pile up.
void CheckRange(const Scene& scene, const YFCurveManipulator& manipulator)
{
    constexpr double kMostValue = std::numeric_limits<float>::max();
    YTime start;
    YTime stop;
    double least = 0.0;
    double greatest = 0.0;
    manipulator.GetSelectionRange(start, stop, least, greatest);
    const YTime most = YTime::FromSeconds(kMostSeconds);
    if (start < -most || stop > most) {
        throw Failure(scene.file +
                      ": keys would come to lie more than three years away; choose a smaller amount");
    }
    if (least <= -kMostValue || greatest >= kMostValue) {
        throw Failure(scene.file + ": values would grow out of single precision; choose a smaller amount");
    }
}

/// Returns how many keys were landed on by others.
int Apply(const Scene& scene, const Edit& edit, YFCurveManipulator& manipulator, const KeysOptions& options)
{
    YTime start;
    YTime stop;
    double least = 0.0;
    double greatest = 0.0;
    manipulator.GetSelectionRange(start, stop, least, greatest);
    manipulator.SetRippleMoveX(options.ripple);
    manipulator.SetRippleStretchX(options.ripple);
    const int before = KeyCount(manipulator);
    manipulator.BeginManipulation(edit.mode, options.copy, edit.valuePivot);
    switch (edit.mode) {
        case kManipulationMove:
            manipulator.Offset(edit.time, edit.value);
            break;
        case kManipulationStretchX:
            manipulator.StretchX(edit.factor, edit.timePivot.value_or(start));
            break;
        case kManipulationScale:
            manipulator.ScaleY(edit.factor);
            break;
        default:
            manipulator.SetY(edit.value);
            break;
    }
    manipulator.EndManipulation();
    manipulator.ClearMarkKeysForManip();
    CheckRange(scene, manipulator);
    return before - KeyCount(manipulator);
}

/// "2 keys", "1 key".
std::string Counted(int count, const char* one, const char* several)
{
    return fmt::format("{} {}", GroupedText(count), count == 1 ? one : several);
}

std::string ReportText(const Selected& selected, int lost, const KeysOptions& options)
{
    std::string text =
        fmt::format("{} of {}{} edited", Counted(selected.keys, "key", "keys"),
                    Counted(selected.curves, "curve", "curves"), options.dryRun ? " would be" : "");
    const int replaced = options.copy ? lost + selected.keys : lost;
    if (replaced > 0) text += fmt::format(", {} replaced", Counted(replaced, "key", "keys"));
    if (selected.lockedCurves > 0) {
        text +=
            fmt::format(", {} left alone", Counted(selected.lockedCurves, "locked curve", "locked curves"));
    }
    return text + "\n";
}

void RunKeys(const KeysOptions& options)
{
    const Edit edit = ParseEdit(options);
    std::vector<Rectangle> rectangles;
    for (const std::string& text : options.selections) rectangles.push_back(ParseSelection(text));
    if (options.output.empty() && !options.dryRun) {
        throw Failure(
            "OUT is missing; name the file to write with -o, or give --dry-run to see what would "
            "change",
            kExitUsage);
    }
    const Scene scene = ReadScene(options.input);
    YFCurveManipulator manipulator;
    Register(scene, options, manipulator);
    const Selected selected = Select(manipulator, rectangles);
    if (selected.keys == 0) {
        throw Failure(
            fmt::format("{}: no key is selected; {}choose another --select, --node or --layer", scene.file,
                        selected.lockedCurves > 0 ? "'yfcurve layer lock' unlocks curves, or " : ""));
    }
    const int lost = Apply(scene, edit, manipulator, options);

    const SignalHold hold;
    if (!options.dryRun) WriteScene(scene, options.output);
    OutputFile report(!options.dryRun && options.output == "-" ? "/dev/stderr" : "-");
    report.Write(ReportText(selected, lost, options));
    report.Commit();
}

}  // namespace

void AddKeysCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<KeysOptions>();
    CLI::App* command = program.add_subcommand("keys", "Move, stretch, scale or set selected keys");
    AddFileArgument(*command, options->input);
    AddNodeOption(*command, options->patterns);
    CLI::Option* layers = command
                              ->add_option("--layer", options->layers,
                                           "the layer to edit, by name or id (default: the base layer); may "
                                           "be repeated")
                              ->type_name("LAYER")
                              ->allow_extra_args(false);
    command->add_flag("--all-layers", options->allLayers, "edit every layer")->excludes(layers);
    command
        ->add_option("--select", options->selections,
                     "keys from one time to another, and between two values; may be repeated")
        ->type_name("T0:T1[,V0:V1]")
        ->required()
        ->allow_extra_args(false);
    command->add_option("--move", options->move, "move them by seconds and an amount")->type_name("DX,DY");
    command->add_option("--stretch-time", options->stretchTime, "stretch their distances in time from T")
        ->type_name("F[@T]");
    command->add_option("--scale", options->scale, "scale their values from V (0)")->type_name("F[@V]");
    command->add_option("--set", options->set, "give them all one value")->type_name("V");
    command->add_flag("--ripple", options->ripple, "take the keys after them along in time");
    command->add_flag("--copy", options->copy, "leave copies where they were");
    command
        ->add_option("-o,--output", options->output,
                     "the file to write, in the format that its name ends in; - for standard output")
        ->type_name("OUT");
    command->add_flag("--dry-run", options->dryRun, "report what would change, and write nothing");
    command->footer(
        "Bounds of --select count as inside, times to the microsecond, and one that is left out is open: "
        "':'\n"
        "selects all keys. T is the first selected time unless given; a factor below 0 mirrors. A key that\n"
        "lands on another replaces it; tangents are stretched with the axes. Locked curves stay as they "
        "are,\n"
        "and so do the weights of layers. OUT may be FILE.\n"
        "\n"
        "Examples:\n"
        "  yfcurve keys walk.ytalo --node Hips --select 0.5:1 --move 0.1,0 --ripple -o walk.ytalo\n"
        "  yfcurve keys walk.ytalo --node '*/Lcl Rotation/X' --select :,50: --scale 0.8@50 -o softer.ytalo\n"
        "  yfcurve keys walk.ytalo --select : --stretch-time 2@0 --all-layers -o slow.ytalo\n"
        "  yfcurve keys walk.ytalo --select 1: --set 0 --layer Breathing --dry-run");
    command->callback([options, &chosen] { chosen = [options] { RunKeys(*options); }; });
}

}  // namespace host
