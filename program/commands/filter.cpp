#include <unistd.h>

#include <memory>

#include <fmt/format.h>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "program/signal_hold.h"
#include "program/terminal/messages.h"
#include "program/terminal/terminal.h"
#include "ymotion/filtering/filter_pipeline.h"
#include "ymotion/filtering/filter_report.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/text/failure.h"

using namespace ymotion;

namespace program {
namespace {

struct FilterOptions
{
    std::string input;
    std::string output;
    std::vector<std::string> steps;
    std::vector<std::string> patterns;
    std::string page;
    bool unrollFirst = false;
    bool dryRun = false;
    bool repair = false;
    bool json = false;
};

/// For a shell, so that it can be run again.
std::string ShellWord(const std::string& word)
{
    constexpr std::string_view plain =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-+=./,:@%";
    if (!word.empty() && word.find_first_not_of(plain) == std::string::npos) return word;
    std::string quoted = "'";
    for (const char c : word) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted += "'";
}

std::string CommandLine(const FilterOptions& options)
{
    std::string line = "yfcurve filter " + ShellWord(options.input);
    if (!options.output.empty()) line += " " + ShellWord(options.output);
    for (const std::string& step : options.steps) line += " --apply " + ShellWord(step);
    for (const std::string& pattern : options.patterns) line += " --node " + ShellWord(pattern);
    if (options.dryRun) line += " --dry-run";
    if (options.repair) line += " --repair";
    return line;
}

void RunFilter(const FilterOptions& options)
{
    if (options.output.empty() && !options.dryRun) {
        throw Failure(
            "OUT is missing; name the file to write, or give --dry-run to see what filters would do",
            kExitUsage);
    }
    if (!options.page.empty()) EndingToWrite(options.page, {".html", ".htm"});
    ParseSteps(options.steps);  // says at once what is wrong with them
    RefuseToReplaceInput(options.input, options.page);
    RefuseSameOutput(options.output, options.page);
    const EditLock lock(options.input, options.dryRun ? "-" : options.output, PrintNoteOnTerminal);
    Scene scene = LoadScene(options.input);
    if (!options.dryRun) CheckWhole(scene, options.input, options.output, options.repair);
    std::vector<FilterStep> steps = ParseSteps(options.steps, &scene);
    const FilterOutcome outcome = FilterScene(scene, steps, options.patterns);
    for (const StepOutcome& step : outcome.steps) {
        if (!step.warning.empty()) PrintError(fmt::format("warning: {}: {}", step.name, step.warning));
    }
    const bool motionOnOutput = !options.dryRun && options.output == "-";
    const Style style = StyleOf(motionOnOutput ? STDERR_FILENO : STDOUT_FILENO);
    const std::string report =
        options.json ? FilterJson(scene, outcome).dump(2) + "\n" : FilterReport(scene, outcome, style);

    if (const std::string refusal = outcome.Refusal(); !refusal.empty()) {
        SaveText(motionOnOutput ? "/dev/stderr" : "-", report);
        throw Failure(fmt::format("{}: refused wherever it applies, {}{}", scene.file, refusal,
                                  options.dryRun ? "" : "; nothing is written"));
    }
    const SignalHold hold;
    // Takes its memory while nothing has been replaced.
    OutputFile out(motionOnOutput ? "/dev/stderr" : "-", PrintNote);
    out.Write(report);
    if (!options.page.empty()) SaveText(options.page, FilterPage(scene, outcome, CommandLine(options)));
    if (!options.dryRun) SaveScene(scene, options.output);
    out.Commit();
}

}  // namespace

void AddFilterCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<FilterOptions>();
    CLI::App* command = program.add_subcommand("filter", "Apply filters to a motion file");
    AddInputArgument(*command, options->input);
    AddOutputArgument(*command, options->output);
    AddApplyOption(*command, options->steps);
    AddUnrollFirstFlag(*command, options->unrollFirst);
    AddNodeOption(*command, options->patterns);
    RefuseEmpty(*command->add_option("--report", options->page, "write a page with plots of before and after")
                     ->type_name("OUT.html"));
    command->add_flag("--dry-run", options->dryRun, "report what filters would do, and write no motion");
    AddJsonFlag(*command, options->json);
    AddRepairFlag(*command, options->repair);
    command->footer(
        "Filters are applied in the order given; 'yfcurve filters' lists them with their parameters. A\n"
        "filter goes to every chosen curve, property or joint, as it works on; what it is not for, such as\n"
        "a translation for a rotation filter, is skipped. Where it refuses, the report says why; one that\n"
        "refuses wherever it applies makes the command fail. Rates and periods are the scene's unless\n"
        "given. Errors are taken at every frame against the input, of more than 100,000 at every n-th:\n"
        "for rotations the angle between the two orientations; for joints, the distance of their places in\n"
        "the world. Feet slide by as much as they get along the ground while they stand, which is found in\n"
        "the input by speed and height (docs/world.md). Of layers the base layer is filtered; locked ones\n"
        "stay as they are.\n"
        "\n"
        "OUT appears when all is done; an interrupted or failed run leaves all files as they were. IN and\n"
        "OUT may be the same file. Members of the JSON object: file, keysBefore, keysAfter, milliseconds,\n"
        "filters (filter, parameters as given, used, which has all of them, changed, unchanged, refused,\n"
        "locked, skipped, keysBefore, keysAfter, milliseconds, refusals, ofFrames, warning), types (type,\n"
        "unit, properties, keysBefore, keysAfter, error: largest, rms, where, time), errorsEvery (how many\n"
        "frames apart they are taken) and, where there is a skeleton, world (largest, joint, time, mean,\n"
        "height of the figure, up (its axis), joints: joint, largest, mean, time; feet: foot, contacts,\n"
        "seconds, slideBefore and slideAfter of all contacts, largestSlide and the time of that contact).\n"
        "\n"
        "Examples:\n"
        "  yfcurve filter walk.bvh clean.bvh --apply unroll --apply butterworth:CutOffFreq=7\n"
        "  yfcurve filter walk.bvh clean.bvh --apply key-reducer:Precision=0.1 --report clean.html\n"
        "  yfcurve filter walk.bvh --dry-run --apply unroll --node '*Arm' --json");
    command->callback([options, &chosen] {
        if (options->unrollFirst) options->steps.insert(options->steps.begin(), kUnrollStep);
        chosen = [options] { RunFilter(*options); };
    });
}

void AddUnrollFirstFlag(CLI::App& command, bool& unrollFirst)
{
    command.add_flag("--unroll-first", unrollFirst,
                     "unroll rotations ahead of the other filters, as --apply unroll does");
}

void AddApplyOption(CLI::App& command, std::vector<std::string>& steps)
{
    command
        .add_option("--apply", steps,
                    "a filter and its parameters: unroll, butterworth:CutOffFreq=7; may be repeated")
        ->type_name("FILTER[:NAME=VALUE,...]")
        ->required()
        ->allow_extra_args(false);
}

}  // namespace program
