#include <memory>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "program/terminal/messages.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/tables/scene_table.h"

using namespace ymotion;

namespace program {
namespace {

struct EvalOptions
{
    std::string file;
    SceneTable table;
    SpanOptions span;
    std::string output = "-";
};

void RunEval(EvalOptions& options)
{
    RefuseToReplaceInput(options.file, options.output);
    const TableFormat format = TableFormatOf(EndingToWrite(options.output, TableEndings()));
    const Scene scene = LoadScene(options.file);
    options.table.span = options.span.Resolve(scene, scene.rate);
    OutputFile out(options.output, PrintNote);
    WriteTable(scene, options.table, format, out);
    out.Commit();
}

constexpr const char* kEvalFooter =
    "The first column is the time in seconds, the others are curves, named by their path. Between\n"
    "keys curves are interpolated, outside them extrapolated. 29.97 means 30000/1001, and so for its\n"
    "kin. A name that a spreadsheet would run as a formula (= + - @ in front) gets an apostrophe.\n"
    "\n"
    "Rows start at the first time. With --frames they are at whole frames instead, counted from time 0,\n"
    "and a column with the number of the frame stands first.\n"
    "\n"
    "OUT is a .csv, a .tsv (tabs), or a .json: an object of file, rate, columns (names) and rows (arrays\n"
    "of numbers; null for what is not finite). Standard output is CSV.\n"
    "\n"
    "Where a property has layers, its values are those of all layers together. With --layers there\n"
    "are columns for the weights of the layers (0 for one that is muted) and for what the keys of\n"
    "each layer say, marked by the layer's name in brackets.\n"
    "\n"
    "With --world there are, for each joint, its position in the world and its rotation from the world's\n"
    "axes: a quaternion (X, Y, Z, W) or, with --euler, degrees in the joint's rotation order. Both go on\n"
    "from row to row without a jump. End sites have positions alone. --node chooses joints by their\n"
    "curves.\n"
    "\n"
    "Examples:\n"
    "  yfcurve eval walk.bvh -o walk.csv\n"
    "  yfcurve eval walk.bvh --node Hips --node 'Left*/Lcl Rotation/X' --rate 24\n"
    "  yfcurve eval walk.bvh --world --frames -o joints.json\n"
    "  yfcurve eval scene.ytalo --node Chest --layers\n"
    "  yfcurve eval walk.bvh --node 'Hips/Lcl Translation' --rate 1000 --start 15f --stop 0.6";

}  // namespace

void AddEvalCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<EvalOptions>();
    CLI::App* command =
        program.add_subcommand("eval", "Evaluate curves or joints at regular times, as a table");
    AddFileArgument(*command, options->file);
    AddNodeOption(*command, options->table.patterns);
    AddRateOption(*command, options->table.rate, "rows a second: 30, 12.5, 24000/1001 (default: the file's)");
    AddSpanOptions(*command, options->span);
    command->add_flag("--frames", options->table.frames, "rows at whole frames, with their numbers");
    CLI::Option* layers = command->add_flag("--layers", options->table.layers,
                                            "show each layer of a property before their sum");
    CLI::Option* world = command
                             ->add_flag("--world", options->table.world,
                                        "show where joints are in the world and how they are turned")
                             ->excludes(layers);
    command->add_flag("--euler", options->table.euler, "with --world: rotations as angles, not quaternions")
        ->needs(world);
    command->add_option("-o,--output", options->output, "file to write (default: standard output)")
        ->type_name("OUT");
    command->footer(WithTimes(kEvalFooter));
    command->callback([options, &chosen] { chosen = [options] { RunEval(*options); }; });
}

}  // namespace program
