#include <cmath>
#include <limits>
#include <memory>

#include <fmt/format.h>

#include "host/command.h"
#include "host/curve_selection.h"
#include "host/diagnostic.h"
#include "host/file_io.h"
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
    std::vector<std::string> selections;
    std::string move;
    std::string stretchTime;
    std::string scale;
    std::string set;
    bool ripple = false;
    bool copy = false;
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
    std::optional<double> pivot;  ///< seconds or a value
};

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

YTime TimeOf(const char* option, std::string_view part, const std::string& text, const char* expected)
{
    constexpr double kLimit = 1e8;  // three years
    const double seconds = NumberOf(option, part, text, expected);
    if (std::fabs(seconds) > kLimit) FailUsage(option, text, expected);
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
    if (!least.empty()) rectangle.least = NumberOf(option, least, text, expected);
    if (!greatest.empty()) rectangle.greatest = NumberOf(option, greatest, text, expected);
    return rectangle;
}

Edit ParseEdit(const KeysOptions& options)
{
    Edit edit;
    if (!options.move.empty()) {
        constexpr const char* expected = "of the form DX,DY: seconds and an amount";
        const auto [time, value] = SplitAt(options.move, ',');
        edit.mode = kManipulationMove;
        if (!time.empty()) edit.time = TimeOf("--move", time, options.move, expected);
        if (!value.empty()) edit.value = NumberOf("--move", value, options.move, expected);
    } else if (!options.set.empty()) {
        edit.mode = kManipulationSetValue;
        edit.value = NumberOf("--set", options.set, options.set, "a value");
    } else {
        const bool stretches = !options.stretchTime.empty();
        const char* option = stretches ? "--stretch-time" : "--scale";
        const std::string& text = stretches ? options.stretchTime : options.scale;
        const char* expected = stretches ? "of the form F or F@T: a factor and seconds"
                                         : "of the form F or F@V: a factor and a value";
        const auto [factor, pivot] = SplitAt(text, '@');
        edit.mode = stretches ? kManipulationStretchX : kManipulationScale;
        edit.factor = NumberOf(option, factor, text, expected);
        if (!pivot.empty() && stretches) edit.pivot = TimeOf(option, pivot, text, expected).GetSecondDouble();
        if (!pivot.empty() && !stretches) edit.pivot = NumberOf(option, pivot, text, expected);
    }
    return edit;
}

/// The node that holds a selected curve.
YFCurveNode* NodeOf(const SelectedCurve& selected)
{
    for (int i = 0; i < selected.property->GetCount(); ++i) {
        if (selected.property->Get(i) == selected.node) return selected.property->Get(i);
    }
    return selected.property;
}

void Register(const Scene& scene, const std::vector<std::string>& patterns, YFCurveManipulator& manipulator)
{
    manipulator.BeginAddRemoveCurveNode();
    for (const SelectedCurve& selected : SelectCurves(scene, patterns)) manipulator.Add(NodeOf(selected));
    manipulator.EndAddRemoveCurveNode();
    manipulator.MarkCurveNodeForManip(true, nullptr);
}

struct Selected
{
    int keys = 0;
    int curves = 0;
    int lockedCurves = 0;
};

Selected Select(YFCurveManipulator& manipulator, const std::vector<std::string>& selections)
{
    eSelectionMode mode = kSelectionReplace;
    for (const std::string& text : selections) {
        const Rectangle rectangle = ParseSelection(text);
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

void Apply(const Edit& edit, YFCurveManipulator& manipulator, const KeysOptions& options)
{
    YTime start;
    YTime stop;
    double least = 0.0;
    double greatest = 0.0;
    manipulator.GetSelectionRange(start, stop, least, greatest);
    manipulator.SetRippleMoveX(options.ripple);
    manipulator.SetRippleStretchX(options.ripple);
    manipulator.BeginManipulation(edit.mode, options.copy, edit.pivot.value_or(0.0));
    switch (edit.mode) {
        case kManipulationMove:
            manipulator.Offset(edit.time, edit.value);
            break;
        case kManipulationStretchX:
            manipulator.StretchX(edit.factor, edit.pivot ? YTime::FromSeconds(*edit.pivot) : start);
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
}

void RunKeys(const KeysOptions& options)
{
    const int edits =
        !options.move.empty() + !options.stretchTime.empty() + !options.scale.empty() + !options.set.empty();
    if (edits != 1) {
        throw Failure("give one of --move, --stretch-time, --scale and --set; see 'yfcurve keys --help'",
                      kExitUsage);
    }
    const Edit edit = ParseEdit(options);
    const Scene scene = ReadScene(options.input);
    YFCurveManipulator manipulator;
    Register(scene, options.patterns, manipulator);
    const Selected selected = Select(manipulator, options.selections);
    if (selected.keys == 0) {
        throw Failure(fmt::format("{}: no key is selected{}; choose another --select or --node", scene.file,
                                  selected.lockedCurves > 0 ? " (locked curves have no part in it)" : ""));
    }
    Apply(edit, manipulator, options);

    const SignalHold hold;
    WriteScene(scene, options.output);
    OutputFile report(options.output == "-" ? "/dev/stderr" : "-");
    report.Write(fmt::format("{} {} of {} {} edited\n", GroupedText(selected.keys),
                             selected.keys == 1 ? "key" : "keys", GroupedText(selected.curves),
                             selected.curves == 1 ? "curve" : "curves"));
    report.Commit();
}

}  // namespace

void AddKeysCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<KeysOptions>();
    CLI::App* command = program.add_subcommand("keys", "Move, stretch, scale or set selected keys");
    AddFileArgument(*command, options->input);
    AddNodeOption(*command, options->patterns);
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
        ->type_name("OUT")
        ->required();
    command->footer(
        "Bounds of --select count as inside, and one that is left out is open: ':' selects all keys. T is "
        "the\n"
        "first selected time unless given. A key that lands on another replaces it; tangents are stretched\n"
        "with the axes. Of layers the base layer is edited; locked curves stay as they are. OUT may be "
        "FILE.\n"
        "\n"
        "Examples:\n"
        "  yfcurve keys walk.ytalo --node Hips --select 0.5:1 --move 0.1,0 --ripple -o walk.ytalo\n"
        "  yfcurve keys walk.ytalo --node '*/Lcl Rotation/X' --select :,50: --scale 0.8@50 -o softer.ytalo\n"
        "  yfcurve keys walk.ytalo --select : --stretch-time 2@0 -o slow.ytalo");
    command->callback([options, &chosen] { chosen = [options] { RunKeys(*options); }; });
}

}  // namespace host
