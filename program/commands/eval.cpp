#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "program/terminal/messages.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/tables/table_writer.h"
#include "ymotion/tables/value_table.h"

using namespace ymotion;

namespace program {
namespace {

struct EvalOptions
{
    std::string file;
    std::vector<std::string> patterns;
    std::optional<FrameRate> rate;
    SpanOptions span;
    bool frames = false;
    bool layers = false;
    bool world = false;
    bool euler = false;
    std::string output = "-";
};

std::unique_ptr<ValueTable> MakeTable(const Scene& scene, const EvalOptions& options)
{
    if (options.world) {
        return MakeWorldTable(scene, options.patterns,
                              options.euler ? WorldRotation::Euler : WorldRotation::Quaternions);
    }
    const std::vector<SelectedCurve> curves = SelectCurves(scene, options.patterns);
    return options.layers ? MakeLayerTable(scene, curves) : MakeCurveTable(curves);
}

/// The first frame that is not before a time from 0 up.
std::int64_t FrameFrom(YTime time, FrameRate rate)
{
    const std::int64_t frame = LastFrame(time, rate);
    return TimeOfFrame(frame, rate) < time ? frame + 1 : frame;
}

/// The time with the other sign; the last time for the first one, whose negative does not exist.
YTime Mirrored(YTime time)
{
    return time == YTime(std::numeric_limits<std::int64_t>::min()) ? YTIME_INFINITE : -time;
}

/// The frames of a span, both included; none where the second is less than the first.
std::pair<std::int64_t, std::int64_t> FramesIn(const TimeSpan& span, FrameRate rate)
{
    const auto& [start, stop] = span;
    return {start < YTIME_ZERO ? -LastFrame(Mirrored(start), rate) : FrameFrom(start, rate),
            stop < YTIME_ZERO ? -FrameFrom(Mirrored(stop), rate) : LastFrame(stop, rate)};
}

void RunEval(const EvalOptions& options)
{
    RefuseToReplaceInput(options.file, options.output);
    const TableFormat format = TableFormatOf(EndingToWrite(options.output, TableEndings()));
    const Scene scene = LoadScene(options.file);
    const std::unique_ptr<ValueTable> table = MakeTable(scene, options);
    const TimeSpan span = options.span.Resolve(scene, scene.rate);
    const FrameRate rate = options.rate.value_or(scene.rate);
    OutputFile out(options.output, PrintNote);
    TableWriter writer(out, format);
    writer.Begin(scene, rate, options.frames, table->Heads());
    std::vector<float> row;
    const auto write = [&](std::optional<std::int64_t> frame, YTime time) {
        row.clear();
        table->AppendRow(row, time);
        writer.Row(frame, time, row);
    };
    if (options.frames) {
        const auto [first, last] = FramesIn(span, rate);
        for (std::int64_t frame = first; frame <= last; ++frame) write(frame, TimeOfFrame(frame, rate));
    } else {
        const std::int64_t last = LastFrame(span.Length(), rate);
        for (std::int64_t i = 0; i <= last; ++i) write(std::nullopt, span.start + TimeOfFrame(i, rate));
    }
    writer.End();
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
    AddNodeOption(*command, options->patterns);
    AddRateOption(*command, options->rate, "rows a second: 30, 12.5, 24000/1001 (default: the file's)");
    AddSpanOptions(*command, options->span);
    command->add_flag("--frames", options->frames, "rows at whole frames, with their numbers");
    CLI::Option* layers =
        command->add_flag("--layers", options->layers, "show each layer of a property before their sum");
    CLI::Option* world = command
                             ->add_flag("--world", options->world,
                                        "show where joints are in the world and how they are turned")
                             ->excludes(layers);
    command->add_flag("--euler", options->euler, "with --world: rotations as angles, not quaternions")
        ->needs(world);
    command->add_option("-o,--output", options->output, "file to write (default: standard output)")
        ->type_name("OUT");
    command->footer(WithTimes(kEvalFooter));
    command->callback([options, &chosen] { chosen = [options] { RunEval(*options); }; });
}

}  // namespace program
