#include <algorithm>
#include <memory>
#include <optional>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "program/terminal/terminal.h"
#include "ymotion/clipping/clip_errors.h"
#include "ymotion/filtering/world_report.h"
#include "ymotion/scene/scene_copy.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

struct ClipOptions
{
    std::string input;
    std::string output;
    std::vector<std::string> words;  ///< the tools as they were given
    bool dryRun = false;
    bool repair = false;
    bool json = false;
};

/// An option for each word that clips are described with; the words are kept in the order of the command line.
void AddClipWords(CLI::App& command, std::vector<std::string>& words)
{
    for (const ClipWord& word : ClipWords()) {
        const std::string name = word.name;
        if (word.value == nullptr) {
            command
                .add_flag_callback(
                    "--" + name, [&words, name] { words.push_back(name); }, word.help)
                ->trigger_on_parse();
            continue;
        }
        const auto take = [&words, name](const std::string& value) {
            words.push_back(name);
            words.back().append("=").append(value);
        };
        command.add_option_function<std::string>("--" + name, take, word.help)
            ->type_name(word.value)
            ->allow_extra_args(false)
            ->trigger_on_parse();
    }
}

std::string ReportText(const Scene& scene, const std::vector<ClipOutcome>& outcomes,
                       const std::optional<ClipErrors>& errors, const Style& style)
{
    std::string text;
    for (const ClipOutcome& outcome : outcomes)
        text += fmt::format("{}: {}\n", Printable(outcome.step), Printable(outcome.change.text));
    if (!errors) return text;
    text += "\n" + WorldText(errors->world, scene.rate, style);
    return errors->every > 1 ? text + ErrorsEveryText(errors->every) : text;
}

std::string ReportJson(const Scene& scene, const std::vector<ClipOutcome>& outcomes,
                       const std::optional<ClipErrors>& errors)
{
    nlohmann::ordered_json json{{"file", Printable(scene.file)}, {"steps", nlohmann::ordered_json::array()}};
    for (const ClipOutcome& outcome : outcomes) {
        json["steps"].push_back({{"step", Printable(outcome.step)},
                                 {"changed", outcome.change.changed},
                                 {"text", Printable(outcome.change.text)}});
    }
    if (errors) {
        json["errorsEvery"] = errors->every;
        json["world"] = WorldJson(errors->world);
    }
    return json.dump(2) + "\n";
}

void RunClip(const ClipOptions& options)
{
    CheckHasOutput(options.output, options.dryRun);
    const std::vector<ClipStep> steps = ParseClip(options.words);
    SceneToEdit edit(options.input, options.output, options.dryRun, options.repair);
    Scene& scene = edit.scene;
    const Scene before = CopyOf(scene);
    const std::vector<ClipOutcome> outcomes = ApplyClip(scene, steps);
    const std::optional<ClipErrors> errors = MeasureClip(before, scene, outcomes);
    const int descriptor = ReportDescriptor(options.output, options.dryRun);
    const std::string report = options.json ? ReportJson(scene, outcomes, errors)
                                            : ReportText(scene, outcomes, errors, StyleOf(descriptor));
    WriteReported(report, descriptor, [&] {
        const bool changed = std::any_of(outcomes.begin(), outcomes.end(),
                                         [](const ClipOutcome& outcome) { return outcome.change.changed; });
        if (!options.dryRun) SaveEdited(scene, options.input, options.output, changed);
    });
}

}  // namespace

void AddClipCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<ClipOptions>();
    CLI::App* command = program.add_subcommand("clip", "Cut, retime, mirror and tidy a motion file");
    AddInputArgument(*command, options->input);
    AddOutputArgument(*command, options->output);
    AddClipWords(*command, options->words);
    command->add_flag("--dry-run", options->dryRun, "tell what would be done, and write no motion");
    AddJsonFlag(*command, options->json);
    AddRepairFlag(*command, options->repair);
    command->footer(
        "Tools are applied in the order given, to all joints and all layers; each tells in a line what it\n"
        "did, or that there was nothing to do. Options of other tools hold wherever they stand. Locked\n"
        "layers are refused. Times are seconds (1.5), frames (45f) or time codes (00:00:01:15) of the frame\n"
        "rate at that step.\n"
        "\n"
        "--trim sets keys at the cut, so that nothing bends, and cuts no further than there are keys.\n"
        "--loop starts each round where the root has come to, on the ground (X and Z) and in heading\n"
        "(about Y), and keeps its heights; the first pose of a round takes the place of the last one before\n"
        "it. With --blend that happens without a jump. --mirror pairs joints by Left and Right, L and R in\n"
        "their names, each figure of a file for itself. Where several joints have one name, --drop and\n"
        "--rename need a path, such as Neck/Head, and --pairs takes one. --drop gives the child joints\n"
        "channels where they need some to move as before; of a chain that ends in the joint, the end is\n"
        "where the joint was.\n"
        "\n"
        "Errors are how far joints are in the world from where the tools are to bring them: where they were\n"
        "in IN, at other times, mirrored, scaled, or moved along as the tools say. They are taken at every\n"
        "frame and half-way between two (of more than 100,000 at every n-th), but not while --loop blends.\n"
        "Feet slide by as much as they get along the ground while they are to stand (docs/world.md), which\n"
        "those of a motion --in-place do not.\n"
        "\n"
        "OUT appears when all is done, and IN and OUT may be the same file. Members of the JSON object:\n"
        "file, steps (step, changed, text) and, where there is a skeleton, errorsEvery and world, which the\n"
        "help of 'yfcurve filter' describes.\n"
        "\n"
        "Examples:\n"
        "  yfcurve clip walk.bvh step.bvh --trim 1:3\n"
        "  yfcurve clip walk.bvh game.bvh --trim 30f:90f --rate 30 --scale 0.01 --root-origin\n"
        "  yfcurve clip walk.bvh long.bvh --loop 4 --blend 0.2\n"
        "  yfcurve clip walk.bvh other.bvh --mirror --order XZY\n"
        "  yfcurve clip rig.glb walk.bvh --rename 'rig:*=*' --drop Root");
    command->callback([options, &chosen] { chosen = [options] { RunClip(*options); }; });
}

}  // namespace program
