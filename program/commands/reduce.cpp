#include <chrono>
#include <cmath>
#include <memory>
#include <optional>

#include <fmt/format.h>

#include "program/commands/command.h"
#include "program/filtered_output.h"
#include "program/scene_work.h"
#include "program/terminal/messages.h"
#include "program/terminal/progress.h"
#include "ymotion/filtering/piecework.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/reducing/reduction_wish.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/shell_word.h"

using namespace ymotion;

namespace program {
namespace {

/// What a text means, as the value of an option.
template<class Parse>
auto ValueOf(const char* option, const std::string& text, const Parse& parse)
{
    try {
        return parse(text);
    } catch (const Failure& failure) {
        throw CLI::ValidationError(option, failure.what());
    }
}

/// A number of keys, from "500" or "5e2".
std::int64_t ParseKeys(const char* option, const std::string& text)
{
    const std::optional<double> number = ParseDouble(text);
    const bool isWhole = number && *number >= 1 && *number < 1e15 && *number == std::floor(*number);
    if (isWhole) return static_cast<std::int64_t>(*number);
    throw CLI::ValidationError(option, Quoted(text) + " is not a whole number above 0; write 500");
}

struct ReduceOptions
{
    FilteredOutput files;
    ReductionWish wish;
    std::string asked;  ///< the option that says how far, for the page
};

std::string CommandLine(const ReduceOptions& options)
{
    std::string line = CommandStart("reduce", options.files) + options.asked;
    if (options.wish.contacts) line += " --contacts";
    if (options.wish.tangents != "smooth") line += " --tangents " + options.wish.tangents;
    if (options.wish.height > 0) line += fmt::format(" --height {}", options.wish.height);
    return line + CommandEnd(options.files);
}

void RunReduce(const ReduceOptions& options)
{
    const FilteredOutput& files = options.files;
    CheckOutputs(files);
    CheckWish(options.wish);
    SceneToEdit edit(files.input, files.output, files.dryRun, files.repair);
    Scene& scene = edit.scene;
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    std::optional<Progress> progress;
    Reduction reduction =
        FindReduction(scene, GoalOf(options.wish, scene), [&](std::size_t, std::size_t total) {
            if (!progress) progress.emplace("fitting", total);
            progress->Step();
        });
    progress.reset();
    const double fitting = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    std::vector<FilterStep> steps;
    steps.push_back(std::move(reduction.step));
    FilterOutcome outcome = FilterScene(scene, steps, {}, ymotion::ProcessorCount());
    // The step itself does no more than put the curves in place that were found.
    outcome.milliseconds += fitting;
    outcome.steps.front().milliseconds += fitting;
    WriteFiltered(scene, outcome, files, CommandLine(options));
}

constexpr const char* kFooter =
    "The curves that move joints get the fewest cubic keys that keep all joints within the tolerance of\n"
    "their places in the world, at every frame and half-way between two (of more than 100,000 at every\n"
    "n-th). In recorded motion the joints below make up for what those above are off, so that angles\n"
    "may differ where joints stay in place; what moves no joint counts as a bone of a tenth of the\n"
    "figure's height. Other curves, such as visibility, stay as they are and do not count for --keys\n"
    "and --ratio. Files do not say how long their unit is: lengths in metres and the like count on the\n"
    "figure, which is 1.7 m high unless --height says otherwise. The report and its JSON object are\n"
    "those of 'yfcurve filter', whose help describes them. Of layers the base layer is reduced; locked\n"
    "ones stay as they are.\n"
    "\n"
    "Examples:\n"
    "  yfcurve reduce walk.bvh small.ytalo --tolerance 2mm --contacts\n"
    "  yfcurve reduce walk.bvh small.ytalo --ratio 5% --report small.html";

using Options = std::shared_ptr<ReduceOptions>;

/// An option that says how far to reduce: its value goes where `take` puts it, and its text on the page.
template<class Take>
CLI::Option* AddGoalOption(CLI::App& command, const Options& options, const char* name, const Take& take,
                           const std::string& help, const std::string& typeName)
{
    const auto read = [options, name, take](const std::string& text) {
        take(options->wish, text);
        options->asked = fmt::format(" {} {}", name, ShellWord(text));
    };
    return command.add_option_function<std::string>(name, read, help)->type_name(typeName);
}

/// Three ways to say how far, of which one is taken.
void AddGoalOptions(CLI::App& command, const Options& options)
{
    const auto takeTolerance = [](ReductionWish& wish, const std::string& text) {
        wish.tolerance = ValueOf("--tolerance", text, ParseLength);
    };
    const auto takeRatio = [](ReductionWish& wish, const std::string& text) {
        wish.ratio = ValueOf("--ratio", text, ParsePart);
    };
    const auto takeKeys = [](ReductionWish& wish, const std::string& text) {
        wish.keys = ParseKeys("--keys", text);
    };
    CLI::Option* tolerance = AddGoalOption(command, options, "--tolerance", takeTolerance,
                                           "how far a joint may come away from its place: 2mm, 0.5% of the "
                                           "figure's height, 0.1 of the file's units",
                                           "LENGTH");
    CLI::Option* ratio = AddGoalOption(command, options, "--ratio", takeRatio,
                                       "instead: leave at most that part of the keys, 5% or 0.05", "PART");
    CLI::Option* keys =
        AddGoalOption(command, options, "--keys", takeKeys, "instead: leave at most so many keys", "N");
    tolerance->excludes(ratio)->excludes(keys);
    ratio->excludes(keys);
}

}  // namespace

void AddReduceCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<ReduceOptions>();
    CLI::App* command = program.add_subcommand("reduce", "Leave few keys, with an error chosen in the world");
    AddInputArgument(*command, options->files.input);
    AddOutputArgument(*command, options->files.output);
    AddGoalOptions(*command, options);
    command->add_flag("--contacts", options->wish.contacts,
                      "feet that stand stay within a tenth of the tolerance");
    command
        ->add_option("--tangents", options->wish.tangents,
                     "one slope a key, two, or auto keys where they serve")
        ->check(OneOf(TangentNames()))
        ->type_name("smooth|broken|auto");
    AddPositiveOption(*command, "--height", options->wish.height,
                      "how high the figure is in metres, for lengths in mm, cm, m, in");
    RefuseEmpty(
        *command->add_option("--report", options->files.page, "write a page with plots of before and after")
             ->type_name("OUT.html"));
    command->add_flag("--dry-run", options->files.dryRun, "report what would be left, and write no motion");
    AddJsonFlag(*command, options->files.json);
    AddRepairFlag(*command, options->files.repair);
    command->footer(kFooter);
    command->callback([options, &chosen] { chosen = [options] { RunReduce(*options); }; });
}

}  // namespace program
