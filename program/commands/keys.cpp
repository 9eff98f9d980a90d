#include <algorithm>
#include <array>
#include <limits>
#include <memory>
#include <new>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "program/commands/command.h"
#include "program/filtered_output.h"
#include "program/key_edit.h"
#include "program/layer_edit.h"
#include "program/scene_work.h"
#include "program/signal_hold.h"
#include "program/terminal/messages.h"
#include "yfcurve/yfcurvemanipulator.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/keys_json.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/shell_word.h"

using namespace ymotion;

namespace program {
namespace {

struct KeysOptions
{
    std::string input;
    std::string output;
    std::vector<std::string> patterns;
    std::vector<std::string> layers;
    std::vector<std::string> selections;
    KeyEditWords edit;
    std::string exportTo;
    std::string importFrom;
    bool allLayers = false;
    bool copy = false;
    bool dryRun = false;
    bool repair = false;
    bool json = false;
};

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

void CheckMemory(const YFCurveManipulator& manipulator)
{
    if (manipulator.HasRunOutOfMemory()) throw std::bad_alloc();
}

void Register(const Scene& scene, const KeysOptions& options, YFCurveManipulator& manipulator)
{
    const std::vector<const Layer*> layers = ChosenLayers(scene, options);
    manipulator.BeginAddRemoveCurveNode();
    for (const SelectedCurve& selected : SelectCurves(scene, options.patterns)) {
        for (const Layer* layer : layers) manipulator.Add(NodeOnLayer(selected, *layer));
    }
    manipulator.EndAddRemoveCurveNode();
    manipulator.MarkCurveNodeForManip(true, nullptr);
}

/// What is edited, and what comes of it.
struct Edited
{
    int keys = 0;
    int curves = 0;
    int lockedCurves = 0;
    int replaced = 0;     ///< keys that others land on
    bool isSame = false;  ///< whether that changes nothing
};

/// How the first chosen layer that is locked is unlocked; empty where none is.
std::string UnlockText(const Scene& scene, const KeysOptions& options)
{
    for (const Layer* layer : ChosenLayers(scene, options)) {
        if (!layer->IsLocked()) continue;
        return fmt::format("'yfcurve layer lock {} {} off' unlocks {}, or ", ShellWord(scene.file),
                           layer->GetLayerID(), Quoted(layer->Name()));
    }
    return {};
}

Edited Select(YFCurveManipulator& manipulator, const std::vector<KeyRectangle>& rectangles)
{
    eSelectionMode mode = kSelectionReplace;
    for (const KeyRectangle& rectangle : rectangles) {
        manipulator.SelectKeys(mode, rectangle.start, rectangle.stop, rectangle.least, rectangle.greatest);
        mode = kSelectionAdd;
    }
    manipulator.MarkKeysForManipFromSelection();
    CheckMemory(manipulator);
    Edited result;
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

/// What edits change of the keys of all curves.
std::vector<std::array<double, 6>> KeysOf(const YFCurveManipulator& manipulator)
{
    std::vector<std::array<double, 6>> keys;
    for (int i = 0; i < manipulator.GetNodeCount(); ++i) {
        const YFCurve& curve = *manipulator.GetNode(i)->FCurveGet();
        for (int k = 0; k < curve.KeyGetCount(); ++k) {
            keys.push_back({curve.KeyGetTime(k).GetSecondDouble(), curve.KeyGetValue(k),
                            curve.KeyGetLeftDerivative(k), curve.KeyGetRightDerivative(k),
                            curve.KeyGetLeftTangeantWeight(k), curve.KeyGetRightTangeantWeight(k)});
        }
    }
    return keys;
}

/// Returns how many keys there are fewer for it: others landed on them.
int Apply(const Scene& scene, const KeyEdit& edit, YFCurveManipulator& manipulator,
          const KeysOptions& options)
{
    YTime start;
    YTime stop;
    double least = 0.0;
    double greatest = 0.0;
    manipulator.GetSelectionRange(start, stop, least, greatest);
    manipulator.SetRippleMoveX(edit.ripple);
    manipulator.SetRippleStretchX(edit.ripple);
    const int before = KeyCount(manipulator);
    manipulator.BeginManipulation(edit.mode, options.copy, edit.valuePivot);
    switch (edit.mode) {
        case kManipulationMove:
            manipulator.Offset(edit.time ? edit.time->At(scene.rate, "--move") : YTIME_ZERO, edit.value);
            break;
        case kManipulationStretchX:
            manipulator.StretchX(edit.factor,
                                 edit.timePivot ? edit.timePivot->At(scene.rate, "--stretch-time") : start);
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
    CheckMemory(manipulator);
    CheckRange(scene, manipulator);
    return before - KeyCount(manipulator);
}

std::string TextOf(const Edited& edited, bool dryRun)
{
    std::string text =
        edited.isSame ? "nothing to do: no key changes"
                      : fmt::format("{} of {}{} edited", Counted(edited.keys, "key", "keys"),
                                    Counted(edited.curves, "curve", "curves"), dryRun ? " would be" : "");
    if (edited.replaced > 0) text += fmt::format(", {} replaced", Counted(edited.replaced, "key", "keys"));
    if (edited.lockedCurves > 0) {
        text += fmt::format(", {} left alone", Counted(edited.lockedCurves, "locked curve", "locked curves"));
    }
    return text + "\n";
}

std::string JsonOf(const Scene& scene, const Edited& edited, bool dryRun)
{
    nlohmann::ordered_json json;
    json["file"] = Printable(scene.file);
    json["dryRun"] = dryRun;
    json["keys"] = edited.keys;
    json["curves"] = edited.curves;
    json["replaced"] = edited.replaced;
    json["lockedCurves"] = edited.lockedCurves;
    return json.dump(2) + "\n";
}

void CheckHasOutput(const KeysOptions& options)
{
    if (!options.output.empty() || options.dryRun) return;
    throw Failure("OUT is missing; name the file to write with -o, or see with --dry-run what would change",
                  kExitUsage);
}

/// Writes the scene, unless it is a rehearsal, and tells what became of it.
void Finish(const Scene& scene, const Edited& edited, const KeysOptions& options)
{
    const SignalHold hold;
    // Takes its memory while nothing has been replaced.
    OutputFile report(!options.dryRun && options.output == "-" ? "/dev/stderr" : "-", PrintNote);
    report.Write(options.json ? JsonOf(scene, edited, options.dryRun) : TextOf(edited, options.dryRun));
    if (!options.dryRun) SaveScene(scene, options.output);
    report.Commit();
}

void RunExport(const KeysOptions& options)
{
    RefuseToReplaceInput(options.input, options.exportTo);
    EndingToWrite(options.exportTo, {".json"});
    const Scene scene = LoadScene(options.input);
    const std::vector<SelectedCurve> curves = SelectCurves(scene, options.patterns);
    OutputFile out(options.exportTo, PrintNote);
    WriteKeysJson(scene, curves, ChosenLayers(scene, options), out);
    out.Commit();
}

void RunImport(const KeysOptions& options)
{
    CheckHasOutput(options);
    RefuseSameStandardInput(options.input, options.importFrom);
    RefuseToReplaceInput(options.importFrom, options.output);
    SceneToEdit edit(options.input, options.output, options.dryRun, options.repair);
    Scene& scene = edit.scene;
    NoteFileInWork(options.importFrom);
    const FileBytes keys = ReadFile(options.importFrom);
    const ImportedKeys imported = ReadKeysJson(keys.View(), InputName(options.importFrom), scene);
    Edited edited;
    edited.keys = imported.keys;
    edited.curves = imported.curves;
    Finish(scene, edited, options);
}

void RunKeys(const KeysOptions& options)
{
    if (!options.exportTo.empty()) return RunExport(options);
    if (!options.importFrom.empty()) return RunImport(options);
    if (options.selections.empty()) {
        throw Failure(
            "--select is missing; give it, as in --select 0.5:1 or --select : for all keys, or see "
            "'yfcurve keys --help'",
            kExitUsage);
    }
    const KeyEdit edit = ParseKeyEdit(options.edit);
    std::vector<WrittenRectangle> written;
    for (const std::string& text : options.selections) written.push_back(ParseKeyRectangle(text));
    CheckHasOutput(options);
    const SceneToEdit toEdit(options.input, options.output, options.dryRun, options.repair);
    const Scene& scene = toEdit.scene;
    std::vector<KeyRectangle> rectangles;
    for (const WrittenRectangle& rectangle : written) rectangles.push_back(rectangle.At(scene.rate));
    YFCurveManipulator manipulator;
    Register(scene, options, manipulator);
    Edited edited = Select(manipulator, rectangles);
    if (edited.keys == 0) {
        throw Failure(fmt::format("{}: no key is selected; {}choose another --select, --node or --layer",
                                  scene.file, edited.lockedCurves > 0 ? UnlockText(scene, options) : ""));
    }
    const std::vector<std::array<double, 6>> before = KeysOf(manipulator);
    edited.replaced = Apply(scene, edit, manipulator, options) + (options.copy ? edited.keys : 0);
    if (KeysOf(manipulator) == before) edited = {0, 0, edited.lockedCurves, 0, true};
    Finish(scene, edited, options);
}

void AddEditOptions(CLI::App& command, KeyEditWords& words)
{
    command.add_option("--move", words.move, "move them by a time and an amount")->type_name("DX,DY");
    command.add_option("--stretch-time", words.stretchTime, "stretch their distances in time from T")
        ->type_name("F[@T]");
    command.add_option("--scale", words.scale, "scale their values from V (0)")->type_name("F[@V]");
    command.add_option("--set", words.set, "give them all one value")->type_name("V");
    command.add_flag("--ripple", words.ripple, "take the keys after them along in time");
}

/// By pointers: where the parser looks up names itself, running out of memory would end the program.
void Exclude(const CLI::App& command, CLI::Option& option, const std::vector<const char*>& names)
{
    for (const CLI::Option* other : command.get_options()) {
        const bool isNamed = std::any_of(names.begin(), names.end(),
                                         [other](const char* name) { return other->check_name(name); });
        if (isNamed) option.excludes(const_cast<CLI::Option*>(other));
    }
}

/// Keys go out as JSON and come back in instead of being edited here.
void AddExchangeOptions(CLI::App& command, KeysOptions& options)
{
    CLI::Option* out = command
                           .add_option("--export", options.exportTo,
                                       "write the keys of the curves with their tangents as JSON instead")
                           ->type_name("KEYS.json");
    CLI::Option* in = command
                          .add_option("--import", options.importFrom,
                                      "give the curves in such a file its keys instead of theirs")
                          ->type_name("KEYS.json");
    RefuseEmpty(*out);
    RefuseEmpty(*in);
    out->excludes(in);
    const std::vector<const char*> edits{"--select", "--move",   "--stretch-time", "--scale",
                                         "--set",    "--ripple", "--copy"};
    Exclude(command, *out, edits);
    Exclude(command, *in, edits);
    Exclude(command, *out, {"--output", "--dry-run", "--json", "--repair"});
    Exclude(command, *in, {"--node", "--layer", "--all-layers"});
}

constexpr const char* kKeysFooter =
    "Bounds of --select count as inside, times to the microsecond, and one that is left out is open:\n"
    "':' selects all keys. Between time codes two dots take the place of the colon: T0..T1. T is\n"
    "the first selected time unless given; a factor below 0 mirrors. A key that lands on another replaces\n"
    "it; tangents are stretched with the axes. Locked curves stay as they are, and so do the weights of\n"
    "layers. OUT may be FILE.\n"
    "\n"
    "--export writes all that curves have of their keys, and --import reads it back, digit for digit: the\n"
    "keys of a curve that the file names take the place of its keys, and other curves stay. A key has its\n"
    "time in ticks or, where these are missing, in seconds. docs/keys.schema.json describes the file.\n"
    "\n"
    "Members of the JSON object: file, dryRun, keys and curves (edited), replaced (keys),\n"
    "lockedCurves.\n"
    "\n"
    "Examples:\n"
    "  yfcurve keys walk.ytalo --node Hips --select 0.5:1 --move 0.1,0 --ripple -o walk.ytalo\n"
    "  yfcurve keys walk.ytalo --node '*/Lcl Rotation/X' --select :,50: --scale 0.8@50 -o softer.ytalo\n"
    "  yfcurve keys walk.ytalo --select 00:00:01:00..00:00:02:00 --move 3f --dry-run\n"
    "  yfcurve keys walk.ytalo --select : --stretch-time 2@0 --all-layers -o slow.ytalo\n"
    "  yfcurve keys walk.ytalo --select 1: --set 0 --layer Breathing --dry-run\n"
    "  yfcurve keys walk.ytalo --node Hips --export keys.json\n"
    "  yfcurve keys walk.ytalo --import keys.json -o walk.ytalo";

}  // namespace

void AddKeysCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<KeysOptions>();
    CLI::App* command =
        program.add_subcommand("keys", "Move, stretch, scale or set selected keys, or take them out and in");
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
        ->allow_extra_args(false);
    AddEditOptions(*command, options->edit);
    command->add_flag("--copy", options->copy, "leave copies where they were");
    command
        ->add_option("-o,--output", options->output,
                     "the file to write, in the format that its name ends in; - for standard output")
        ->type_name("OUT");
    command->add_flag("--dry-run", options->dryRun, "report what would change, and write nothing");
    AddJsonFlag(*command, options->json);
    AddRepairFlag(*command, options->repair);
    AddExchangeOptions(*command, *options);
    command->footer(WithTimes(kKeysFooter));
    command->callback([options, &chosen] { chosen = [options] { RunKeys(*options); }; });
}

}  // namespace program
