#include <algorithm>

#include <fmt/format.h>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "ymotion/filtering/piecework.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/scene/time_text.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/suggestion.h"

using namespace ymotion;

namespace program {
namespace {

void AddTimeOption(CLI::App& command, const char* option, std::optional<WrittenTime>& time, const char* help)
{
    command
        .add_option_function<std::string>(
            option, [&time, option](const std::string& text) { time = ParseTimeOption(option, text); }, help)
        ->type_name("TIME");
}

}  // namespace

WrittenTime ParseTimeOption(const char* option, const std::string& text)
{
    if (std::optional<WrittenTime> time = ParseTime(text)) return *std::move(time);
    throw CLI::ValidationError(option, fmt::format("{} is not {}", Quoted(text), kTimeForms));
}

std::string WithTimes(std::string footer)
{
    constexpr const char* kTimes =
        "Times are seconds (1.5), frames (45f) or time codes (00:00:01:15, in drop-frame counting\n"
        "00:00:01;15), counted from time 0 at the frame rate of the scene.\n"
        "\n";
    return footer.insert(std::min(footer.find("Examples:"), footer.size()), kTimes);
}

void RefuseEmpty(CLI::Option& option)
{
    option.check([](const std::string& text) { return std::string(text.empty() ? "it is empty" : ""); }, "");
}

CLI::Validator OneOf(const std::vector<std::string>& words)
{
    const auto check = [words](const std::string& text) {
        const bool known = std::find(words.begin(), words.end(), text) != words.end();
        return known ? std::string() : NoneOf(text, words);
    };
    return CLI::Validator(check, "");
}

double ParseNonNegative(const char* option, const std::string& text)
{
    const std::optional<double> number = ParseDouble(text);
    if (number && *number >= 0) return *number;
    throw CLI::ValidationError(option, Quoted(text) + " is not a number from 0 up");
}

TimeSpan SpanOptions::Resolve(const Scene& scene, FrameRate rate) const
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
    if (start) span.start = start->At(rate, "--start");
    if (stop) span.stop = stop->At(rate, "--stop");
    CheckEndsInOrder(span.start, span.stop, "--start and --stop");
    return span;
}

TimeSpan SpanOptions::ResolveToPlot(const Scene& scene, FrameRate rate) const
{
    const TimeSpan span = Resolve(scene, rate);
    if (span.start < span.stop) return span;
    throw Failure(fmt::format("the span at {} s has no length; choose other --start and --stop",
                              SecondsText(span.start)),
                  kExitUsage);
}

YTime PeriodOptions::Resolve(const Scene& scene) const
{
    if (!period) return TimeOfFrame(1, rate.value_or(scene.rate));
    const YTime time = period->At(scene.rate, "--period");
    if (time > YTIME_ZERO) return time;
    throw Failure("--period: the time is too short to be told from 0; give a longer one", kExitUsage);
}

void AddFileArgument(CLI::App& command, std::string& file)
{
    command.add_option("FILE", file, "the motion or scene file to read; - for standard input")
        ->required()
        ->type_name("");
    AddReadingOptions(command);
}

void AddInputArgument(CLI::App& command, std::string& input)
{
    command.add_option("IN", input, "the file to read; - for standard input")->required()->type_name("");
    AddReadingOptions(command);
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
    AddTimeOption(command, "--start", options.start, "first time (default: the first key's)");
    AddTimeOption(command, "--stop", options.stop, "last time (default: the last key's)");
}

CLI::Option* AddRateOption(CLI::App& command, std::optional<FrameRate>& rate, const char* help)
{
    const auto parse = [&rate](const std::string& text) {
        rate = ParseRate(text);
        if (!rate) throw CLI::ValidationError("--rate", Quoted(text) + " is not a frame rate");
    };
    return command.add_option_function<std::string>("--rate", parse, help)->type_name("FPS");
}

void AddPeriodOptions(CLI::App& command, PeriodOptions& options)
{
    CLI::Option* rate =
        AddRateOption(command, options.rate,
                      "plot periods a second: 30, 12.5, 24000/1001 (default: the scene's frame rate)");
    const auto parse = [&options](const std::string& text) {
        options.period = ParseTimeOption("--period", text);
        if (options.period->Sign() > 0) return;
        throw CLI::ValidationError("--period", Quoted(text) + " is not a time above 0");
    };
    command.add_option_function<std::string>("--period", parse, "the same as the time from one to the next")
        ->type_name("TIME")
        ->excludes(rate);
}

CLI::Option* AddPositiveOption(CLI::App& command, const char* name, double& value, const std::string& help)
{
    const auto parse = [&value, name](const std::string& text) {
        const std::optional<double> number = ParseDouble(text);
        if (!number || *number <= 0) {
            throw CLI::ValidationError(name, Quoted(text) + " is not a number above 0");
        }
        value = *number;
    };
    return command.add_option_function<std::string>(name, parse, help)->type_name("X");
}

void AddJsonFlag(CLI::App& command, bool& json)
{
    command.add_flag("--json", json, "report as JSON, for other programs");
}

void AddSizeOption(CLI::App& command)
{
    const auto parse = [](const std::string& text) {
        const std::optional<std::uint64_t> bytes = ParseBytes(text);
        if (!bytes) throw CLI::ValidationError("--max-size", Quoted(text) + " is not a size like 500M or 8G");
        SetMostBytes(*bytes);
    };
    command
        .add_option_function<std::string>("--max-size", parse,
                                          "read no file that is larger, in bytes, K, M or G (default: 4G)")
        ->type_name("SIZE");
}

void AddReadingOptions(CLI::App& command)
{
    AddSizeOption(command);
    RefuseEmpty(*command
                     .add_option("--animation", HowToRead().animation,
                                 "of a glTF file, by name or by number from 1 (default: the first)")
                     ->type_name("NAME|N"));
}

CLI::Option* AddJobsOption(CLI::App& command, std::size_t& jobs, const char* what)
{
    jobs = ymotion::ProcessorCount();
    return command.add_option("--jobs", jobs, fmt::format("{} (default: one for each processor)", what))
        ->check(CLI::Range(1, 1024).description(""))
        ->type_name("N");
}

void AddRepairFlag(CLI::App& command, bool& repair)
{
    command.add_flag("--repair", repair, "write over a damaged scene file, without what cannot be read");
}

}  // namespace program
