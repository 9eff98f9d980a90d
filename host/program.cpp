#include "host/program.h"

#include <exception>
#include <memory>
#include <new>
#include <string>

#include <fmt/format.h>

#include "host/command.h"
#include "host/diagnostic.h"
#include "host/file_io.h"
#include "host/printable.h"

namespace host {
namespace {

constexpr const char* kProgramFooter =
    "'yfcurve COMMAND --help' shows the options of a command and examples.\n"
    "\n"
    "Examples:\n"
    "  yfcurve info walk.bvh\n"
    "  yfcurve eval walk.bvh --node Hips --rate 30 -o hips.csv\n"
    "  yfcurve plot walk.bvh -o walk.svg\n"
    "  yfcurve convert walk.bvh walk.ytalo\n"
    "  yfcurve diff walk.bvh walk.ytalo\n"
    "  yfcurve layer add walk.ytalo Breathing\n"
    "  yfcurve keys walk.ytalo --node Hips --select 0.5:1 --move 0,2 -o edited.ytalo\n"
    "  yfcurve filter walk.bvh clean.bvh --apply unroll --apply butterworth:CutOffFreq=7\n"
    "\n"
    "Exit status: 0 success; 1 a file could not be read, understood or written, or differs; 2 wrong usage;\n"
    "130 stopped by Ctrl-C, with all files as they were.\n"
    "Colours appear on terminals only, and not where NO_COLOR is set.";

/// Help that says of an option what to write: no notes of the parser about what excludes what, and "..." only
/// where several words may follow.
class HelpFormatter final : public CLI::Formatter
{
  public:
    std::string make_option_opts(const CLI::Option* option) const override
    {
        if (option->get_type_size() == 0) return "";
        std::string text;
        if (!option->get_type_name().empty()) text += " " + option->get_type_name();
        const bool several = option->get_positional() || option->get_allow_extra_args();
        if (several && option->get_items_expected_max() > 1) text += " ...";
        if (option->get_required()) text += " " + get_label("REQUIRED");
        return text;
    }
};

/// The command that the words so far belong to, for the hint at its help.
std::string CommandName(const CLI::App& program)
{
    std::string name = program.get_name();
    for (const CLI::App* command = &program; !command->get_subcommands().empty();) {
        command = command->get_subcommands().back();
        name += " " + command->get_name();
    }
    return name;
}

/// Says of a mistyped command what is wrong, where the parser would only miss one.
void CheckCommand(const CLI::App& program, int argc, const char* const* argv)
{
    if (argc < 2 || argv[1][0] == '-') return;
    const auto named = [&](const CLI::App* command) { return command->check_name(argv[1]); };
    if (!program.get_subcommands(named).empty()) return;
    throw Failure(fmt::format("there is no command {}; see 'yfcurve --help'", Quoted(argv[1])), kExitUsage);
}

/// What to do, or nothing where the command line asked for help only. Throws `Failure` for wrong usage.
Action ParseCommandLine(int argc, const char* const* argv)
{
    Action chosen;
    CLI::App program("Animation function curves from motion files: report, evaluate, plot, edit, filter.",
                     "yfcurve");
    program.formatter(std::make_shared<HelpFormatter>());
    program.set_help_flag("-h,--help", "print this help");
    program.set_version_flag("--version", "yfcurve " YFCURVE_VERSION, "print the version");
    program.require_subcommand(1);
    program.footer(kProgramFooter);
    AddInfoCommand(program, chosen);
    AddEvalCommand(program, chosen);
    AddPlotCommand(program, chosen);
    AddConvertCommand(program, chosen);
    AddDiffCommand(program, chosen);
    AddLayersCommand(program, chosen);
    AddLayerCommand(program, chosen);
    AddPlotIntoLayerCommand(program, chosen);
    AddKeysCommand(program, chosen);
    AddFilterCommand(program, chosen);
    AddBatchCommand(program, chosen);
    AddFiltersCommand(program, chosen);
    AddSettingsCommand(program, chosen);
    CheckCommand(program, argc, argv);
    try {
        program.parse(argc, argv);
    } catch (const CLI::CallForVersion& version) {
        WriteFile("-", std::string(version.what()) + "\n");
    } catch (const CLI::CallForHelp&) {
        WriteFile("-", program.help());
    } catch (const CLI::ParseError& error) {
        throw Failure(fmt::format("{}; see '{} --help'", error.what(), CommandName(program)), kExitUsage);
    }
    return chosen;
}

}  // namespace

int RunProgram(int argc, const char* const* argv)
{
    try {
        if (const Action action = ParseCommandLine(argc, argv)) action();
        return kExitOk;
    } catch (const Verdict& verdict) {
        return verdict.code;
    } catch (const Failure& failure) {
        PrintError(failure.what());
        return failure.Code();
    } catch (const std::bad_alloc&) {
        PrintError("out of memory; the file is too large for this machine");
    } catch (const std::exception& error) {
        PrintError(error.what());
    }
    return kExitFailure;
}

}  // namespace host
