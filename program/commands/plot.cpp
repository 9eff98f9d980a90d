#include <memory>
#include <optional>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/plots/plot_choice.h"
#include "ymotion/plots/plot_colours.h"
#include "ymotion/plots/png_picture.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

struct PlotOptions
{
    std::string file;
    std::vector<std::string> patterns;
    SpanOptions span;
    bool layers = false;
    std::vector<ColourChoice> colours;
    std::string output;
};

/// One value of `--color`. Throws the parser's error for what is none.
ColourChoice ParseColourChoice(const std::string& text)
{
    // A name may have the sign in it, a colour does not.
    const std::size_t sign = text.rfind('=');
    if (sign == std::string::npos || sign == 0) {
        throw CLI::ValidationError(
            "--color", fmt::format("{} is not PATH=COLOR, like 'Lcl Rotation/X=#D55E00'", Quoted(text)));
    }
    const std::string word = text.substr(sign + 1);
    const std::optional<YFCurveColor> colour = ParseColour(word);
    if (!colour) {
        const std::string names = fmt::format("{}", fmt::join(ColourNames(), ", "));
        throw CLI::ValidationError(
            "--color",
            fmt::format("{} is not a colour; write #RRGGBB, #RGB or one of {}", Quoted(word), names));
    }
    return {text.substr(0, sign), *colour};
}

void RunPlot(const PlotOptions& options)
{
    RefuseToReplaceInput(options.file, options.output);
    const std::string ending = EndingToWrite(options.output, {".svg", ".png"});
    const Scene scene = LoadScene(options.file);
    CheckCanBeDrawn(scene);
    const TimeSpan span = SpanToPlot(options.span.Resolve(scene, scene.rate), scene.rate);
    const PlotColours colours(scene, options.colours);
    const std::string svg = SvgOf(MakePlot(scene, options.patterns, span, options.layers, colours));
    SaveText(options.output, ending == ".png" ? PngOf(svg) : svg);
}

}  // namespace

void AddPlotCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<PlotOptions>();
    CLI::App* command = program.add_subcommand("plot", "Draw curves as a picture, SVG or PNG");
    AddFileArgument(*command, options->file);
    AddNodeOption(*command, options->patterns);
    AddSpanOptions(*command, options->span);
    CLI::Option* layers = command->add_flag("--layers", options->layers,
                                            "show what each layer adds to a property, and their sum");
    command
        ->add_option_function<std::vector<std::string>>(
            "--color,--colour",
            [options](const std::vector<std::string>& texts) {
                for (const std::string& text : texts) options->colours.push_back(ParseColourChoice(text));
            },
            "colour of the curves that --node PATH would mean: #RRGGBB, #RGB or a name; may be repeated")
        ->type_name("PATH=COLOR")
        ->allow_extra_args(false)
        ->excludes(layers);
    command
        ->add_option("-o,--output", options->output,
                     "file to write, .svg or .png; - for SVG on standard output")
        ->type_name("OUT")
        ->required();
    command->footer(WithTimes(
        "Every property gets a panel. Without --node, these are the root's translation and the rotations\n"
        "that move most. A shorter span leaves room for the keys and the handles of their tangents. Where\n"
        "layers play together, drawn is their sum. With\n"
        "--layers, every component of a property with layers gets a panel, and every layer a colour.\n"
        "Otherwise a curve has the colour of the last --color that means it, or else its own in the scene\n"
        "file unless that is white, or else that of its component: X red, Y green, Z blue.\n"
        "\n"
        "Examples:\n"
        "  yfcurve plot walk.bvh -o walk.svg\n"
        "  yfcurve plot scene.ytalo --node Chest --layers -o layers.svg\n"
        "  yfcurve plot walk.bvh --node LeftUpLeg --node LeftLeg --node LeftFoot -o leg.svg\n"
        "  yfcurve plot walk.bvh --node 'LeftLeg/Lcl Rotation/X' --start 0.5 --stop 0.7 -o knee.svg\n"
        "  yfcurve plot walk.bvh --node Hips --color X=orange --color 'Lcl Rotation/X=#804000' -o hips.svg"));
    command->callback([options, &chosen] { chosen = [options] { RunPlot(*options); }; });
}

}  // namespace program
