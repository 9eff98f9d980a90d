#include <fmt/format.h>

#include "host/command.h"
#include "host/diagnostic.h"
#include "host/number_text.h"
#include "host/printable.h"

namespace host {
namespace {

void AddTimeOption(CLI::App& command, const char* option, std::optional<YTime>& time, const char* help)
{
    command
        .add_option_function<std::string>(
            option, [&time, option](const std::string& text) { time = ParseTime(option, text); }, help)
        ->type_name("S");
}

}  // namespace

YTime ParseTime(const char* option, const std::string& text)
{
    constexpr double kLimit = 1e8;
    const std::optional<double> seconds = ParseDouble(text);
    if (!seconds || *seconds < -kLimit || *seconds > kLimit) {
        throw CLI::ValidationError(option, fmt::format("{} is not a time in seconds", Quoted(text)));
    }
    return YTime::FromSeconds(*seconds);
}

TimeSpan SpanOptions::Resolve(const Scene& scene) const
{
    TimeSpan span{};
    if (!start || !stop) {
        const std::optional<TimeSpan> keys = KeySpan(scene);
        if (!keys) {
            throw Failure(
                fmt::format("{}: the curves have no keys; give both --start and --stop", scene.file));
        }
        span = *keys;
    }
    span = {start.value_or(span.start), stop.value_or(span.stop)};
    if (span.stop < span.start) {
        throw Failure(
            fmt::format("the span from {} s to {} s ends before it starts; choose other --start and "
                        "--stop",
                        SecondsText(span.start), SecondsText(span.stop)),
            kExitUsage);
    }
    return span;
}

void AddFileArgument(CLI::App& command, std::string& file)
{
    command.add_option("FILE", file, "the motion or scene file to read; - for standard input")
        ->required()
        ->type_name("");
}

void AddInputArgument(CLI::App& command, std::string& input)
{
    command.add_option("IN", input, "the file to read; - for standard input")->required()->type_name("");
}

CLI::Option* AddOutputArgument(CLI::App& command, std::string& output)
{
    return command
        .add_option("OUT", output,
                    "the file to write, in the format that its name ends in; - for standard output")
        ->type_name("");
}

void AddNodeOption(CLI::App& command, std::vector<std::string>& patterns)
{
    // One value at a time, so that the file may follow.
    command
        .add_option(
            "--node", patterns,
            "curves of the nodes whose path ends so: Hips, 'Lcl Rotation/X', 'Left*'; may be repeated")
        ->type_name("PATH")
        ->allow_extra_args(false);
}

void AddSpanOptions(CLI::App& command, SpanOptions& options)
{
    AddTimeOption(command, "--start", options.start, "first time in seconds (default: the first key's)");
    AddTimeOption(command, "--stop", options.stop, "last time in seconds (default: the last key's)");
}

}  // namespace host
