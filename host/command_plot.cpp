#include <memory>

#include <fmt/format.h>

#include "host/command.h"
#include "host/diagnostic.h"
#include "host/file_io.h"
#include "host/plot_choice.h"
#include "host/scene_file.h"

namespace host {
namespace {

struct PlotOptions
{
    std::string file;
    std::vector<std::string> patterns;
    SpanOptions span;
    bool layers = false;
    std::string output;
};

void RunPlot(const PlotOptions& options)
{
    const Scene scene = ReadScene(options.file);
    TimeSpan span = options.span.Resolve(scene);
    // One frame has no duration; it is shown with a frame's length on both sides.
    if (span.start == span.stop) {
        const YTime frame = TimeOfFrame(1, scene.rate);
        span = {span.start - frame, span.stop + frame};
    }
    const std::string picture = SvgOf(MakePlot(scene, options.patterns, span, options.layers));
    OutputFile out(options.output);
    out.Write(picture);
    out.Commit();
}

}  // namespace

void AddPlotCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<PlotOptions>();
    CLI::App* command = program.add_subcommand("plot", "Draw curves as an SVG picture");
    AddFileArgument(*command, options->file);
    AddNodeOption(*command, options->patterns);
    AddSpanOptions(*command, options->span);
    command->add_flag("--layers", options->layers, "show what each layer adds to a property, and their sum");
    command->add_option("-o,--output", options->output, "file to write; - for standard output")
        ->type_name("OUT.svg")
        ->required();
    command->footer(
        "Every property gets a panel. Without --node, these are the root's translation and the rotations\n"
        "that move most. A shorter span leaves room for the keys and the handles of their tangents.\n"
        "With --layers, every component of a property with layers gets a panel.\n"
        "\n"
        "Examples:\n"
        "  yfcurve plot walk.bvh -o walk.svg\n"
        "  yfcurve plot scene.ytalo --node Chest --layers -o layers.svg\n"
        "  yfcurve plot walk.bvh --node LeftUpLeg --node LeftLeg --node LeftFoot -o leg.svg\n"
        "  yfcurve plot walk.bvh --node 'LeftLeg/Lcl Rotation/X' --start 0.5 --stop 0.7 -o knee.svg");
    command->callback([options, &chosen] { chosen = [options] { RunPlot(*options); }; });
}

}  // namespace host
