#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "program/terminal/messages.h"
#include "ymotion/formats/clip_file.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/tables/table_reader.h"
#include "ymotion/text/ascii.h"

using namespace ymotion;

namespace program {
namespace {

struct ConvertOptions
{
    std::string input;
    std::string output;
    std::string format;
    std::string skeleton;
    bool repair = false;
};

/// Whether the input is a table: by its name, as any text may be one.
bool IsTable(const ConvertOptions& options)
{
    if (!options.skeleton.empty()) return true;
    std::string ending = std::filesystem::path(options.input).extension().string();
    std::transform(ending.begin(), ending.end(), ending.begin(), LowerCase);
    return ending == ".csv" || ending == ".tsv";
}

void Save(const Scene& scene, const ConvertOptions& options)
{
    if (IsClipName(options.output, options.format)) return WriteClip(scene, options.output, PrintNote);
    SaveScene(scene, options.output, options.format);
}

void ConvertTable(const ConvertOptions& options)
{
    RefuseToReplaceInput(options.input, options.output);
    RefuseToReplaceInput(options.skeleton, options.output);
    const std::string name = InputName(options.input);
    std::optional<Scene> skeleton;
    if (!options.skeleton.empty()) skeleton = LoadScene(options.skeleton);
    NoteFileInWork(options.input);
    const FileBytes table = ReadFile(options.input);
    if (skeleton) {
        ReadTableInto(*skeleton, table.View(), name);
        return Save(*skeleton, options);
    }
    Save(SceneOfTable(table.View(), name), options);
}

void RunConvert(const ConvertOptions& options)
{
    if (IsTable(options)) return ConvertTable(options);
    const EditLock lock(options.input, options.output, PrintNoteOnTerminal);
    const Scene scene = LoadScene(options.input);
    CheckWhole(scene, options.input, options.output, options.repair);
    Save(scene, options);
}

}  // namespace

void AddConvertCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<ConvertOptions>();
    CLI::App* command = program.add_subcommand("convert", "Read a motion file and write it anew");
    AddInputArgument(*command, options->input);
    AddOutputArgument(*command, options->output)->required();
    command
        ->add_option("--to", options->format,
                     "the format to write, whatever the name of OUT: bvh, ytalo, bvh.gz, "
                     "ytalo.gz or yclip")
        ->type_name("FORMAT");
    RefuseEmpty(*command
                     ->add_option("--skeleton", options->skeleton,
                                  "IN is a table; the motion file whose curves its columns are")
                     ->type_name("FILE"));
    AddRepairFlag(*command, options->repair);
    command->footer(
        "The input's format is recognised by its content. The output replaces an existing file only when\n"
        "it is complete; input and output may be the same file. Standard output gets the format of the\n"
        "input, unpacked. With .gz behind .bvh or .ytalo OUT is packed, and such files are read everywhere.\n"
        "\n"
        "A scene file (.ytalo) keeps everything: curves with their keys, layers, skeleton, frame rate. A\n"
        "BVH file has no keys and layers: it gets what they show at each frame, and needs a skeleton. A\n"
        "clip (.yclip) holds what plays, with all layers, for programs that play it (YFCurveClip::Open),\n"
        "and cannot be edited: keep the scene.\n"
        "\n"
        "A .csv or .tsv, as 'yfcurve eval' writes them, becomes motion again: each row is a key on the\n"
        "curves that its columns are named after, at its time or, without a column of that name, its\n"
        "frame. With --skeleton these are curves of another file, which keeps the others; without, each\n"
        "column is a curve of its own in a scene file.\n"
        "\n"
        "Examples:\n"
        "  yfcurve convert capture.bvh scene.ytalo\n"
        "  yfcurve convert scene.ytalo clean.bvh\n"
        "  yfcurve convert capture.bvh.gz scene.ytalo.gz\n"
        "  yfcurve convert walk.csv walk2.bvh --skeleton walk.bvh\n"
        "  yfcurve convert scene.ytalo walk.yclip\n"
        "  yfcurve convert - - --to ytalo < capture.bvh > scene.ytalo");
    command->callback([options, &chosen] { chosen = [options] { RunConvert(*options); }; });
}

}  // namespace program
