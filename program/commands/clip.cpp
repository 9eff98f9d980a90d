#include <unistd.h>

#include <memory>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "program/signal_hold.h"
#include "program/terminal/messages.h"
#include "program/terminal/terminal.h"
#include "ymotion/clipping/clip_steps.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/text/failure.h"
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
        const auto take = [&words, name](const std::string& value) { words.push_back(name + "=" + value); };
        command.add_option_function<std::string>("--" + name, take, word.help)
            ->type_name(word.value)
            ->allow_extra_args(false)
            ->trigger_on_parse();
    }
}

std::string ReportText(const std::vector<ClipOutcome>& outcomes)
{
    std::string text;
    for (const ClipOutcome& outcome : outcomes)
        text += fmt::format("{}: {}\n", Printable(outcome.step), Printable(outcome.change.text));
    return text;
}

std::string ReportJson(const Scene& scene, const std::vector<ClipOutcome>& outcomes)
{
    nlohmann::ordered_json json{{"file", Printable(scene.file)}, {"steps", nlohmann::ordered_json::array()}};
    for (const ClipOutcome& outcome : outcomes) {
        json["steps"].push_back({{"step", Printable(outcome.step)},
                                 {"changed", outcome.change.changed},
                                 {"text", Printable(outcome.change.text)}});
    }
    return json.dump(2) + "\n";
}

void RunClip(const ClipOptions& options)
{
    if (options.output.empty() && !options.dryRun) {
        throw Failure("OUT is missing; name the file to write, or give --dry-run to see what would be done",
                      kExitUsage);
    }
    const std::vector<ClipStep> steps = ParseClip(options.words);
    const EditLock lock(options.input, options.dryRun ? "-" : options.output, PrintNoteOnTerminal);
    Scene scene = LoadScene(options.input);
    if (!options.dryRun) CheckWhole(scene, options.input, options.output, options.repair);
    const std::vector<ClipOutcome> outcomes = ApplyClip(scene, steps);
    const SignalHold hold;
    const bool motionOnOutput = !options.dryRun && options.output == "-";
    OutputFile out(motionOnOutput ? "/dev/stderr" : "-", PrintNote);
    out.Write(options.json ? ReportJson(scene, outcomes) : ReportText(outcomes));
    if (!options.dryRun) SaveScene(scene, options.output);
    out.Commit();
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
        "their names. --drop gives the child joints channels where they need some to move as before; of a\n"
        "chain that ends in the joint, the end is where the joint was.\n"
        "\n"
        "OUT appears when all is done, and IN and OUT may be the same file. Members of the JSON object:\n"
        "file, steps (step, changed, text).\n"
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
