#include <array>
#include <cmath>
#include <memory>
#include <optional>
#include <string_view>

#include <fmt/format.h>

#include "program/commands/command.h"
#include "program/filtered_output.h"
#include "program/scene_work.h"
#include "program/terminal/messages.h"
#include "program/terminal/progress.h"
#include "yfcurve/yfcurvefilterfit.h"
#include "ymotion/filtering/piecework.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/reducing/world_reduction.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

constexpr double kUsualHeight = 1.7;  // metres

/// A length with what it is measured in.
struct Length
{
    enum class EMeasure
    {
        FileUnits,
        Metres,
        Heights  ///< of the figure
    };
    double size = 0;
    EMeasure measure = EMeasure::FileUnits;

    double InUnitsOf(const Scene& scene, double metresHigh) const
    {
        switch (measure) {
            case EMeasure::FileUnits:
                return size;
            case EMeasure::Metres:
                return size * FigureHeight(scene) / metresHigh;
            case EMeasure::Heights:
                return size * FigureHeight(scene);
        }
        return size;
    }
};

Length ParseLength(const char* option, const std::string& text)
{
    struct Suffix
    {
        std::string_view text;
        double factor;
        Length::EMeasure measure;
    };
    using enum Length::EMeasure;
    constexpr std::array<Suffix, 6> suffixes{{{"mm", 1e-3, Metres},
                                              {"cm", 1e-2, Metres},
                                              {"in", 0.0254, Metres},
                                              {"m", 1.0, Metres},
                                              {"%", 1e-2, Heights},
                                              {"", 1.0, FileUnits}}};
    for (const Suffix& suffix : suffixes) {
        if (!text.ends_with(suffix.text)) continue;
        const std::optional<double> number = ParseDouble(text.substr(0, text.size() - suffix.text.size()));
        if (!number || !(*number > 0) || !std::isfinite(*number)) break;
        return {*number * suffix.factor, suffix.measure};
    }
    throw CLI::ValidationError(option,
                               Quoted(text) +
                                   " is not a length above 0; write it in the file's units (0.1), as mm, cm, "
                                   "m or in (2mm), or as a part of the figure's height (0.5%)");
}

/// A part of what there is, above 0 and up to 1, from "5%" or "0.05".
double ParseRatio(const char* option, const std::string& text)
{
    const bool percent = text.ends_with('%');
    const std::optional<double> number = ParseDouble(percent ? text.substr(0, text.size() - 1) : text);
    const double ratio = number ? *number * (percent ? 0.01 : 1.0) : 0.0;
    if (ratio > 0.0 && ratio <= 1.0) return ratio;
    throw CLI::ValidationError(option,
                               Quoted(text) + " is not a part above 0 and up to 100%; write 5% or 0.05");
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
    std::optional<Length> tolerance;
    std::optional<double> ratio;
    std::optional<std::int64_t> keys;
    std::string asked;  ///< the option that says how far, for the page
    bool contacts = false;
    std::string tangents = "smooth";
    double height = 0.0;  ///< metres; 0 where it is not given
};

constexpr std::array<std::pair<const char*, int>, 3> kTangents{{{"smooth", YFCurveFilterFit::eSmooth},
                                                                {"broken", YFCurveFilterFit::eBroken},
                                                                {"auto", YFCurveFilterFit::eAuto}}};

ReductionGoal GoalOf(const ReduceOptions& options, const Scene& scene)
{
    ReductionGoal goal;
    goal.contacts = options.contacts;
    for (const auto& [name, tangents] : kTangents) {
        if (options.tangents == name) goal.tangents = tangents;
    }
    if (options.tolerance)
        goal.tolerance =
            options.tolerance->InUnitsOf(scene, options.height > 0 ? options.height : kUsualHeight);
    if (options.ratio) {
        goal.keys = static_cast<std::int64_t>(*options.ratio * static_cast<double>(KeysToReduce(scene)));
    }
    if (options.keys) goal.keys = options.keys;
    return goal;
}

std::string CommandLine(const ReduceOptions& options)
{
    std::string line = CommandStart("reduce", options.files) + options.asked;
    if (options.contacts) line += " --contacts";
    if (options.tangents != "smooth") line += " --tangents " + options.tangents;
    if (options.height > 0) line += fmt::format(" --height {}", options.height);
    return line + CommandEnd(options.files);
}

void RunReduce(const ReduceOptions& options)
{
    const FilteredOutput& files = options.files;
    CheckOutputs(files);
    if (!options.tolerance && !options.ratio && !options.keys) {
        throw Failure(
            "say how far joints may come away (--tolerance 2mm), or how many keys to leave (--ratio 5%, "
            "--keys 1500)",
            kExitUsage);
    }
    if (options.height > 0 &&
        (!options.tolerance || options.tolerance->measure != Length::EMeasure::Metres)) {
        throw Failure("--height has no effect; give --tolerance in mm, cm, m or in, or leave --height out",
                      kExitUsage);
    }
    SceneToEdit edit(files.input, files.output, files.dryRun, files.repair);
    Scene& scene = edit.scene;
    std::optional<Progress> progress;
    Reduction reduction = FindReduction(scene, GoalOf(options, scene), [&](std::size_t, std::size_t total) {
        if (!progress) progress.emplace("fitting", total);
        progress->Step();
    });
    progress.reset();
    std::vector<FilterStep> steps;
    steps.push_back(std::move(reduction.step));
    const FilterOutcome outcome = FilterScene(scene, steps, {}, ymotion::ProcessorCount());
    WriteFiltered(scene, outcome, files, CommandLine(options));
}

}  // namespace

void AddReduceCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<ReduceOptions>();
    CLI::App* command = program.add_subcommand("reduce", "Leave few keys, with an error chosen in the world");
    AddInputArgument(*command, options->files.input);
    AddOutputArgument(*command, options->files.output);
    const auto asks = [options](const char* option, const std::string& text) {
        options->asked = fmt::format(" {} {}", option, ShellWord(text));
    };
    CLI::Option* tolerance = command
                                 ->add_option_function<std::string>(
                                     "--tolerance",
                                     [options, asks](const std::string& text) {
                                         options->tolerance = ParseLength("--tolerance", text);
                                         asks("--tolerance", text);
                                     },
                                     "how far a joint may come away from its place: 2mm, 0.5% of the "
                                     "figure's height, 0.1 of the file's units")
                                 ->type_name("LENGTH");
    CLI::Option* ratio = command
                             ->add_option_function<std::string>(
                                 "--ratio",
                                 [options, asks](const std::string& text) {
                                     options->ratio = ParseRatio("--ratio", text);
                                     asks("--ratio", text);
                                 },
                                 "instead: leave at most that part of the keys, 5% or 0.05")
                             ->type_name("PART");
    CLI::Option* keys = command
                            ->add_option_function<std::string>(
                                "--keys",
                                [options, asks](const std::string& text) {
                                    options->keys = ParseKeys("--keys", text);
                                    asks("--keys", text);
                                },
                                "instead: leave at most so many keys")
                            ->type_name("N");
    tolerance->excludes(ratio)->excludes(keys);
    ratio->excludes(keys);
    command->add_flag("--contacts", options->contacts,
                      "feet that stand stay within a tenth of the tolerance");
    command
        ->add_option("--tangents", options->tangents, "one slope a key, two, or auto keys where they serve")
        ->check(OneOf({"smooth", "broken", "auto"}))
        ->type_name("smooth|broken|auto");
    AddPositiveOption(*command, "--height", options->height,
                      "how high the figure is in metres, for lengths in mm, cm, m, in");
    RefuseEmpty(
        *command->add_option("--report", options->files.page, "write a page with plots of before and after")
             ->type_name("OUT.html"));
    command->add_flag("--dry-run", options->files.dryRun, "report what would be left, and write no motion");
    AddJsonFlag(*command, options->files.json);
    AddRepairFlag(*command, options->files.repair);
    command->footer(
        "The curves that move joints get the fewest cubic keys that keep all joints within the tolerance of\n"
        "their places in the world, at every frame and half-way between two (of more than 100,000 at every\n"
        "n-th). How far each rotation may be off follows from where the joints below it come to be; one "
        "without\n"
        "joints below counts as a bone of a tenth of the figure's height. Other curves, such as visibility, "
        "stay\n"
        "as they are and do not count for --keys and --ratio. Files do not say how long their unit is: "
        "lengths\n"
        "in metres and the like count on the figure, which is 1.7 m high unless --height says otherwise. "
        "The\n"
        "report and its JSON object are those of 'yfcurve filter', whose help describes them. Of layers the\n"
        "base layer is reduced; locked ones stay as they are.\n"
        "\n"
        "Examples:\n"
        "  yfcurve reduce walk.bvh small.ytalo --tolerance 2mm --contacts\n"
        "  yfcurve reduce walk.bvh small.ytalo --ratio 5% --report small.html");
    command->callback([options, &chosen] { chosen = [options] { RunReduce(*options); }; });
}

}  // namespace program
