#include "program/program.h"

#include <sys/stat.h>
#include <unistd.h>

#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "program/commands/command.h"
#include "program/help_formatter.h"
#include "program/layer_edit.h"
#include "program/scene_work.h"
#include "program/terminal/messages.h"
#include "program/terminal/terminal.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/suggestion.h"

using namespace ymotion;

namespace program {
namespace {

constexpr const char* kProgramFooter =
    "'yfcurve COMMAND --help' shows the options of a command and examples.\n"
    "\n"
    "Examples:\n"
    "  yfcurve info walk.bvh\n"
    "  yfcurve check walk.ytalo\n"
    "  yfcurve eval walk.bvh --node Hips --rate 30 -o hips.csv\n"
    "  yfcurve plot walk.bvh -o walk.svg\n"
    "  yfcurve edit walk.bvh\n"
    "  yfcurve convert walk.bvh walk.ytalo\n"
    "  yfcurve clip walk.bvh step.bvh --trim 1:3 --in-place\n"
    "  yfcurve join walk.bvh turn.bvh -o both.bvh --blend 0.2 --align\n"
    "  yfcurve diff walk.bvh walk.ytalo\n"
    "  yfcurve layer add walk.ytalo Breathing\n"
    "  yfcurve keys walk.ytalo --node Hips --select 0.5:1 --move 0,2 -o edited.ytalo\n"
    "  yfcurve filter walk.bvh clean.bvh --apply unroll --apply butterworth:CutOffFreq=7\n"
    "\n"
    "Exit status: 0 success; 1 a file could not be read, understood or written, or differs; 2 wrong usage;\n"
    "130 stopped by Ctrl-C, with all files as they were.\n"
    "Colours appear on terminals only, and not where NO_COLOR is set.";

/// The command that the words so far belong to.
const CLI::App& ChosenCommand(const CLI::App& program)
{
    const CLI::App* command = &program;
    while (!command->get_subcommands().empty()) command = command->get_subcommands().back();
    return *command;
}

/// "yfcurve layer add".
std::string NameOf(const CLI::App& command)
{
    const CLI::App* parent = command.get_parent();
    return parent == nullptr ? command.get_name() : NameOf(*parent) + " " + command.get_name();
}

std::vector<std::string> CommandNames(const CLI::App& command)
{
    std::vector<std::string> names;
    for (const CLI::App* each : command.get_subcommands({})) names.push_back(each->get_name());
    return names;
}

std::vector<std::string> OptionNames(const CLI::App& command)
{
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) {
        for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
    return names;
}

/// What is wrong with a command line that the parser refuses, and what can be done.
std::string Advice(const CLI::App& program, const CLI::ParseError& error)
{
    const CLI::App& command = ChosenCommand(program);
    const std::string see = fmt::format("see '{} --help'", NameOf(command));
    // The parser misses an option rather than say that it has met one that is like it.
    for (const std::string& word : program.remaining(true)) {
        const std::string name = word.substr(0, word.find('='));
        if (name.starts_with("--") && name.size() > 2) {
            return fmt::format("there is no option {}{}", Quoted(name),
                               DidYouMean(name, OptionNames(command), see));
        }
        const std::vector<std::string> commands = CommandNames(command);
        if (!commands.empty() && !name.starts_with("-")) {
            return fmt::format("{} has no command {}{}", NameOf(command), Quoted(name),
                               DidYouMean(name, commands, see));
        }
    }
    return fmt::format("{}; {}", error.what(), see);
}

/// Whether a command line ends before it says what to do: "yfcurve", "yfcurve layer".
bool IsBare(const CLI::App& program)
{
    return !CommandNames(ChosenCommand(program)).empty() && program.remaining(true).empty();
}

/// Says of a mistyped command what is wrong, where the parser would only miss one.
void CheckCommand(const CLI::App& program, int argc, const char* const* argv)
{
    if (argc < 2 || argv[1][0] == '-') return;
    const auto named = [&](const CLI::App* command) { return command->check_name(argv[1]); };
    if (!program.get_subcommands(named).empty()) return;
    throw Failure(fmt::format("there is no command {}{}", Quoted(argv[1]),
                              DidYouMean(argv[1], CommandNames(program), "see 'yfcurve --help'")),
                  kExitUsage);
}

/// The first word of a command line that names a file; empty without one.
std::string_view FirstFile(int argc, const char* const* argv)
{
    for (int i = 1; i < argc; ++i) {
        struct stat status;
        if (stat(argv[i], &status) == 0 && !S_ISDIR(status.st_mode)) return argv[i];
    }
    return {};
}

/// What to do, or nothing where the command line asked for help only. Throws `Failure` for wrong usage.
Action ParseCommandLine(int argc, const char* const* argv)
{
    Action chosen;
    CLI::App program("Animation function curves from motion files: report, evaluate, plot, edit, filter.",
                     "yfcurve");
    program.formatter(std::make_shared<HelpFormatter>(LineColumns(STDOUT_FILENO)));
    program.set_help_flag("-h,--help", "print this help");
    program.set_version_flag("--version", "yfcurve " YFCURVE_VERSION, "print the version");
    program.require_subcommand(1);
    program.footer(kProgramFooter);
    AddInfoCommand(program, chosen);
    AddCheckCommand(program, chosen);
    AddEvalCommand(program, chosen);
    AddPlotCommand(program, chosen);
    AddConvertCommand(program, chosen);
    AddEditCommand(program, chosen);
    AddClipCommand(program, chosen);
    AddJoinCommand(program, chosen);
    AddDiffCommand(program, chosen);
    AddLayersCommand(program, chosen);
    AddLayerCommand(program, chosen);
    AddPlotIntoLayerCommand(program, chosen);
    AddKeysCommand(program, chosen);
    AddFilterCommand(program, chosen);
    AddReduceCommand(program, chosen);
    AddBatchCommand(program, chosen);
    AddFiltersCommand(program, chosen);
    AddSettingsCommand(program, chosen);
    CheckCommand(program, argc, argv);
    try {
        program.parse(argc, argv);
    } catch (const CLI::CallForVersion& version) {
        SaveText("-", std::string(version.what()) + "\n");
    } catch (const CLI::CallForHelp&) {
        SaveText("-", program.help());
    } catch (const CLI::ParseError& error) {
        if (!IsBare(program)) throw Failure(Advice(program, error), kExitUsage);
        SaveText("/dev/stderr", ChosenCommand(program).help());
        throw Verdict{kExitUsage};
    }
    return chosen;
}

/// Reports every failure but that of memory.
int RunCommandLine(int argc, const char* const* argv)
{
    try {
        if (const Action action = ParseCommandLine(argc, argv)) action();
        return kExitOk;
    } catch (const Verdict& verdict) {
        return verdict.code;
    } catch (const LayerFailure& failure) {
        PrintError(AdviceOn(failure));
        return failure.Code();
    } catch (const Failure& failure) {
        PrintError(failure.what());
        return failure.Code();
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const std::exception& error) {
        PrintError(error.what());
    }
    return kExitFailure;
}

}  // namespace

int RunProgram(int argc, const char* const* argv)
{
    try {
        return RunCommandLine(argc, argv);
    } catch (const std::bad_alloc&) {
        // A message of another failure may have needed memory too.
        PrintOutOfMemory(FirstFile(argc, argv));
        return kExitFailure;
    }
}

}  // namespace program
