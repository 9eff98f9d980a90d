#include <algorithm>
#include <memory>
#include <optional>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "ymotion/clipping/clip_curves.h"
#include "ymotion/clipping/join.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/scene/time_text.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

struct JoinOptions
{
    std::vector<std::string> inputs;
    std::string output;
    std::optional<WrittenTime> blend;
    bool align = false;
    bool dryRun = false;
    bool json = false;
};

/// When a file plays in the result.
struct Playing
{
    std::string file;
    TimeSpan span;
    std::string text;
};

void CheckInputs(const JoinOptions& options)
{
    if (options.inputs.size() < 2)
        throw Failure("one file alone cannot be joined; name two or more", kExitUsage);
    if (std::count(options.inputs.begin(), options.inputs.end(), "-") > 1)
        throw Failure("two of the files are standard input; name others", kExitUsage);
    if (options.dryRun) return;
    if (options.output.empty()) {
        throw Failure(
            "OUT is missing; name the file to write with -o, or give --dry-run to see what would be done",
            kExitUsage);
    }
    for (const std::string& input : options.inputs) RefuseToReplaceInput(input, options.output);
}

/// Puts all behind the first one. They are checked before that is changed, so that what differs is told at once.
std::vector<Playing> JoinAll(std::vector<Scene>& scenes, const Seam& seam)
{
    Scene& scene = scenes.front();
    for (std::size_t i = 1; i < scenes.size(); ++i) CheckCanJoin(scene, scenes[i], seam);
    const TimeSpan first = SpanOf(scene);
    std::vector<Playing> playing{{scene.file, first,
                                  fmt::format("{}: plays from {} s to {} s", scene.file,
                                              ShortSecondsText(first.start), ShortSecondsText(first.stop))}};
    for (std::size_t i = 1; i < scenes.size(); ++i) {
        const std::string file = scenes[i].file;
        const YTime start = SpanOf(scene).stop - seam.blend;
        const std::string text = Join(scene, std::move(scenes[i]), seam);
        playing.push_back({file, {start, SpanOf(scene).stop}, text});
    }
    return playing;
}

std::string ReportText(const std::vector<Playing>& playing)
{
    std::string text;
    for (const Playing& each : playing) text += Printable(each.text) + "\n";
    return text;
}

std::string ReportJson(const std::vector<Playing>& playing)
{
    nlohmann::ordered_json files = nlohmann::ordered_json::array();
    for (const Playing& each : playing) {
        files.push_back({{"file", Printable(each.file)},
                         {"start", each.span.start.GetSecondDouble()},
                         {"stop", each.span.stop.GetSecondDouble()},
                         {"text", Printable(each.text)}});
    }
    return nlohmann::ordered_json{{"files", files}}.dump(2) + "\n";
}

void RunJoin(const JoinOptions& options)
{
    CheckInputs(options);
    std::vector<Scene> scenes;
    for (const std::string& input : options.inputs) scenes.push_back(LoadScene(input));
    Scene& scene = scenes.front();
    const Seam seam{options.blend ? options.blend->At(scene.rate) : YTIME_ZERO, options.align};
    const std::vector<Playing> playing = JoinAll(scenes, seam);
    const std::string report = options.json ? ReportJson(playing) : ReportText(playing);
    WriteReported(report, ReportDescriptor(options.output, options.dryRun), [&] {
        if (!options.dryRun) SaveScene(scene, options.output);
    });
}

}  // namespace

void AddJoinCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<JoinOptions>();
    CLI::App* command =
        program.add_subcommand("join", "Play motion files of one skeleton one behind the other");
    command->add_option("FILE", options->inputs, "the files to read, in their order; - for standard input")
        ->required()
        ->type_name("");
    AddReadingOptions(*command);
    RefuseEmpty(
        *command
             ->add_option("-o,--output", options->output,
                          "the file to write, in the format that its name ends in; - for standard output")
             ->type_name("OUT"));
    const auto takeBlend = [options](const std::string& text) {
        options->blend = ParseTimeOption("--blend", text);
        if (options->blend->Sign() <= 0)
            throw CLI::ValidationError("--blend", Quoted(text) + " is not above 0");
    };
    command
        ->add_option_function<std::string>("--blend", takeBlend,
                                           "fade each file into the next one, which starts so much earlier")
        ->type_name("T");
    command->add_flag("--align", options->align,
                      "let each file go on from where the root is on the ground, and from its heading");
    command->add_flag("--dry-run", options->dryRun, "tell what would be done, and write no motion");
    AddJsonFlag(*command, options->json);
    command->footer(
        "The skeletons have to be alike: what differs is named, and nothing is written then. The result\n"
        "has the frame rate of the first file. Without --blend the first pose of a file takes the place of\n"
        "the last one before it; with it, rotations are blended as orientations. --align moves along X and\n"
        "Z and turns about Y; heights stay. Layers have to be merged before ('yfcurve layer merge').\n"
        "Members of the JSON object: files (file, start and stop in seconds of the result, text).\n"
        "\n"
        "Examples:\n"
        "  yfcurve join walk.bvh turn.bvh walk.bvh -o path.bvh --blend 0.2 --align\n"
        "  yfcurve join a.ytalo b.bvh -o both.ytalo --blend 6f");
    command->callback([options, &chosen] { chosen = [options] { RunJoin(*options); }; });
}

}  // namespace program
