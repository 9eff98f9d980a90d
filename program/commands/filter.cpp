#include <memory>

#include <fmt/format.h>

#include "program/commands/command.h"
#include "program/filtered_output.h"
#include "program/layer_edit.h"
#include "program/scene_work.h"
#include "program/terminal/messages.h"
#include "ymotion/filtering/filter_pipeline.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/text/shell_word.h"

using namespace ymotion;

namespace program {
namespace {

struct FilterOptions
{
    FilteredOutput files;
    std::vector<std::string> steps;
    std::vector<std::string> patterns;
    std::string layer;  ///< the base layer where it is empty
    std::size_t jobs = 1;
    bool unrollFirst = false;
};

std::string CommandLine(const FilterOptions& options)
{
    return CommandStart("filter", options.files) + StepWords(options.steps, options.patterns) +
           (options.layer.empty() ? "" : " --layer " + ShellWord(options.layer)) + CommandEnd(options.files);
}

void RunFilter(const FilterOptions& options)
{
    const FilteredOutput& files = options.files;
    CheckOutputs(files);
    ParseSteps(options.steps);  // says at once what is wrong with them
    SceneToEdit edit(files.input, files.output, files.dryRun, files.repair);
    Scene& scene = edit.scene;
    const Layer* layer = options.layer.empty() ? nullptr : &FindLayer(scene, options.layer);
    std::vector<FilterStep> steps = ParseSteps(options.steps, &scene);
    const FilterOutcome outcome = FilterScene(scene, steps, options.patterns, options.jobs, layer);
    WriteFiltered(scene, outcome, files, CommandLine(options));
}

}  // namespace

void AddFilterCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<FilterOptions>();
    CLI::App* command = program.add_subcommand("filter", "Apply filters to a motion file");
    AddInputArgument(*command, options->files.input);
    AddOutputArgument(*command, options->files.output);
    AddApplyOption(*command, options->steps);
    AddUnrollFirstFlag(*command, options->unrollFirst);
    AddNodeOption(*command, options->patterns);
    RefuseEmpty(*command
                     ->add_option("--layer", options->layer,
                                  "the layer to filter, by name or id (default: the base layer)")
                     ->type_name("LAYER"));
    RefuseEmpty(
        *command->add_option("--report", options->files.page, "write a page with plots of before and after")
             ->type_name("OUT.html"));
    AddJobsOption(*command, options->jobs, kThreadsHelp);
    command->add_flag("--dry-run", options->files.dryRun,
                      "report what filters would do, and write no motion");
    AddJsonFlag(*command, options->files.json);
    AddRepairFlag(*command, options->files.repair);
    command->footer(
        "Filters are applied in the order given; 'yfcurve filters' lists them with their parameters. A\n"
        "filter goes to every chosen curve, property or joint, as it works on, and trs to the topmost of\n"
        "the chosen joints alone, as what hangs on them moves along; what it is not for, such as a\n"
        "translation for a rotation filter, is skipped. Where it refuses, the report says why; one that\n"
        "refuses wherever it has anything to do makes the command fail. Rates and periods are the scene's\n"
        "unless given. Errors are taken against the input at every frame of the motion as it was and as it\n"
        "is, of more than 100,000 at every n-th, and at its ends: for rotations the angle between the two\n"
        "orientations; for joints, the distance of their places in the world. Feet slide by as much as they\n"
        "get along the ground while they stand, which is found in the input by speed and height\n"
        "(docs/world.md). Locked layers stay as they are. On a layer above the base, errors of properties\n"
        "are those of its own curves, and filters of whole joints or of the form of rotations are refused.\n"
        "\n"
        "OUT appears when all is done; an interrupted or failed run leaves all files as they were. IN and\n"
        "OUT may be the same file. Members of the JSON object: file, keysBefore, keysAfter, milliseconds,\n"
        "filters (filter, parameters as given, used, which has all of them, changed, unchanged, refused,\n"
        "locked, skipped, along, keysBefore, keysAfter, milliseconds, refusals, ofFrames, warning), types\n"
        "(type, unit, properties, keysBefore, keysAfter, error: largest, rms, where, time), errorsEvery\n"
        "(how many frames apart they are taken) and, where there is a skeleton, world (largest, joint,\n"
        "time, mean, height of the figure, up (its axis), joints: joint, largest, mean, time; feet: foot,\n"
        "contacts, seconds, slideBefore and slideAfter of all contacts, largestSlide and the time of that\n"
        "contact).\n"
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
