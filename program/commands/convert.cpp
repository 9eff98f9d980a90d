#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "program/terminal/messages.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/tables/table_reader.h"
#include "ymotion/text/failure.h"

using namespace ymotion;

namespace program {
namespace {

struct ConvertOptions
{
    std::string input;
    std::string output;
    std::string format;
    std::string skeleton;
    std::optional<FrameRate> rate;
    GltfWriting writing;
    bool hasOrder = false;  ///< whether these were given, if only as they are unless given
    bool hasTolerance = false;
    bool noMesh = false;
    bool repair = false;
};

CLI::Option* AddOrderOption(CLI::App& command)
{
    const std::vector<std::string> orders(kRotationOrderNames.begin(), kRotationOrderNames.end());
    const auto take = [orders](const std::string& text) {
        const auto found = std::find(orders.begin(), orders.end(), text);
        HowToRead().rotationOrder = static_cast<int>(found - orders.begin());
    };
    return command
        .add_option_function<std::string>(
            "--order", take, "axes of a glTF file's rotations, the first turning first (default: XYZ)")
        ->check(OneOf(orders))
        ->type_name("ORDER");
}

/// Whether the input is a table: by its name, as any text may be one.
bool IsTable(const ConvertOptions& options)
{
    if (!options.skeleton.empty()) return true;
    const std::string ending = EndingOf(options.input);
    return ending == ".csv" || ending == ".tsv";
}

/// Refuses options that change nothing for the formats that are read and written.
void CheckMatters(const Scene& scene, const ConvertOptions& options)
{
    const auto refuse = [](const char* option, const char* which, const char* advice) {
        throw Failure(fmt::format("{} is about glTF files, and {}; {}", option, which, advice), kExitUsage);
    };
    const bool reads = IsGltf(scene.format);
    const std::optional<SceneFormat> format = FormatToWrite(options.output, options.format);
    const bool toClip = options.format == "yclip" || EndingOf(options.output) == ".yclip";
    const bool writes = format ? IsGltf(*format) : options.output == "-" && reads;
    if (!reads && options.hasOrder)
        refuse("--order", "the input is none", "'yfcurve clip --order' turns other files");
    const SceneFormat written = format.value_or(scene.format);
    if (options.rate && (toClip || (written != SceneFormat::Bvh && !IsGltf(written)))) {
        throw Failure(fmt::format("--rate resamples nothing in {}, whose keys have times of their own; {}",
                                  toClip ? "a clip" : "a scene file",
                                  toClip ? "leave it out"
                                         : "'yfcurve clip --rate' gives a scene another rate, with "
                                           "--resample keys at its frames"),
                      kExitUsage);
    }
    if (writes) return;
    if (options.writing.sampled) refuse("--sampled", "the output is none", "leave it out");
    if (options.noMesh) refuse("--no-mesh", "the output is none", "leave it out");
    if (!reads && options.hasTolerance) refuse("--tolerance", "neither file is one", "leave it out");
}

void Save(Scene scene, const ConvertOptions& options)
{
    CheckMatters(scene, options);
    if (options.rate) scene.SetRate(*options.rate);
    WriteSceneOrClip(scene, options.output, options.format, PrintNote, options.writing);
}

void ConvertTable(const ConvertOptions& options)
{
    RefuseSameStandardInput(options.input, options.skeleton);
    RefuseToReplaceInput(options.input, options.output);
    RefuseToReplaceInput(options.skeleton, options.output);
    const std::string name = InputName(options.input);
    std::optional<Scene> skeleton;
    if (!options.skeleton.empty()) skeleton = LoadScene(options.skeleton);
    NoteFileInWork(options.input);
    const FileBytes table = ReadFile(options.input);
    if (!skeleton) return Save(SceneOfTable(table.View(), name), options);
    ReadTableInto(*skeleton, table.View(), name, PrintNote);
    Save(std::move(*skeleton), options);
}

void RunConvert(ConvertOptions options)
{
    HowToRead().tolerance = options.writing.tolerance;
    options.writing.mesh = !options.noMesh;
    if (IsTable(options)) return ConvertTable(options);
    SceneToEdit edit(options.input, options.output, false, options.repair);
    Save(std::move(edit.scene), options);
}

constexpr const char* kFooter =
    "The input's format is recognised by its content. The output replaces an existing file only when\n"
    "it is complete; input and output may be the same file. Standard output gets the format of the\n"
    "input, unpacked. With .gz behind .bvh or .ytalo OUT is packed, and such files are read everywhere.\n"
    "\n"
    "A scene file (.ytalo) keeps everything: curves with their keys, layers, skeleton, frame rate. A\n"
    "BVH file has no keys and layers: it gets what they show at each frame, and needs a skeleton.\n"
    "A glTF file (.glb, .gltf) has rotations as quaternions: they become angles that turn alike within\n"
    "--tolerance, and the other way as few keys as keep within it. docs/gltf.md has the rest. A clip\n"
    "(.yclip) holds what plays, with all layers, for programs that play it (YFCurveClip::Open), and\n"
    "cannot be edited: keep the scene.\n"
    "\n"
    "A .csv or .tsv, as 'yfcurve eval' writes them, becomes motion again: each row is a key on the\n"
    "curves that its columns are named after, at its time or, without a column of that name, its\n"
    "frame. With --skeleton these are curves of another file, which keeps the others and its rate;\n"
    "without, each column is a curve of its own in a scene file. What the curves have before the\n"
    "first row and behind the last one stays; an empty cell is no key.\n"
    "\n"
    "Examples:\n"
    "  yfcurve convert capture.bvh scene.ytalo\n"
    "  yfcurve convert scene.ytalo clean.bvh\n"
    "  yfcurve convert capture.bvh walk.glb\n"
    "  yfcurve convert game.glb run.bvh --animation Run --rate 60\n"
    "  yfcurve convert capture.bvh.gz scene.ytalo.gz\n"
    "  yfcurve convert walk.csv walk2.bvh --skeleton walk.bvh\n"
    "  yfcurve convert scene.ytalo walk.yclip\n"
    "  yfcurve convert - - --to ytalo < capture.bvh > scene.ytalo";

}  // namespace

void AddConvertCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<ConvertOptions>();
    CLI::App* command = program.add_subcommand("convert", "Read a motion file and write it anew");
    AddInputArgument(*command, options->input);
    AddOutputArgument(*command, options->output)->required();
    command
        ->add_option("--to", options->format,
                     "the format to write, whatever the name of OUT: bvh, ytalo, glb, gltf or yclip; "
                     "bvh.gz or ytalo.gz")
        ->type_name("FORMAT");
    RefuseEmpty(*command
                     ->add_option("--skeleton", options->skeleton,
                                  "IN is a table; the motion file whose curves its columns are")
                     ->type_name("FILE"));
    AddRateOption(*command, options->rate,
                  "frames a second of a BVH or glTF file (default: the input's); of glTF, only what is "
                  "--sampled is written at them");
    const CLI::Option* order = AddOrderOption(*command);
    const CLI::Option* tolerance = AddPositiveOption(
        *command, "--tolerance", options->writing.tolerance,
        "degrees that orientations may be off between angles and glTF's rotations (default: 0.01)");
    command->add_flag("--sampled", options->writing.sampled, "write glTF with a linear key for each frame");
    command->add_flag("--no-mesh", options->noMesh, "write glTF without bones to look at");
    AddRepairFlag(*command, options->repair);
    command->footer(kFooter);
    // To look an option up by its name takes memory where the parser cannot say that there is none.
    command->callback([options, order, tolerance, &chosen] {
        options->hasOrder = order->count() > 0;
        options->hasTolerance = tolerance->count() > 0;
        chosen = [options] { RunConvert(*options); };
    });
}

}  // namespace program
