#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "ymotion/scene/frame_rate.h"
#include "ymotion/scene/scene.h"
#include "ymotion/scene/time_text.h"

/// \file
/// The subcommands of the program, one source each. Each of the functions adds its subcommand; when the
/// command line asks for it, `chosen` becomes what has to be done.

namespace program {

using Action = std::function<void()>;

void AddInfoCommand(CLI::App& program, Action& chosen);
void AddEvalCommand(CLI::App& program, Action& chosen);
void AddPlotCommand(CLI::App& program, Action& chosen);
void AddCheckCommand(CLI::App& program, Action& chosen);
void AddConvertCommand(CLI::App& program, Action& chosen);
void AddEditCommand(CLI::App& program, Action& chosen);
void AddClipCommand(CLI::App& program, Action& chosen);
void AddJoinCommand(CLI::App& program, Action& chosen);
void AddDiffCommand(CLI::App& program, Action& chosen);
void AddLayersCommand(CLI::App& program, Action& chosen);
void AddLayerCommand(CLI::App& program, Action& chosen);
void AddPlotIntoLayerCommand(CLI::App& program, Action& chosen);
void AddKeysCommand(CLI::App& program, Action& chosen);
void AddFilterCommand(CLI::App& program, Action& chosen);
void AddReduceCommand(CLI::App& program, Action& chosen);
void AddBatchCommand(CLI::App& program, Action& chosen);
void AddFiltersCommand(CLI::App& program, Action& chosen);
void AddSettingsCommand(CLI::App& program, Action& chosen);

/// The options `--start` and `--stop`, which several commands have.
struct SpanOptions
{
    std::optional<ymotion::WrittenTime> start;
    std::optional<ymotion::WrittenTime> stop;

    bool IsGiven() const { return start || stop; }
    /// The span asked for; what was not given comes from the keys of the curves. Throws `Failure` where
    /// there are none, or where it would end before it starts.
    /// \param rate  what frames and time codes are counted by
    ymotion::TimeSpan Resolve(const ymotion::Scene& scene, ymotion::FrameRate rate) const;
    /// The same, and throws where the span has no length.
    ymotion::TimeSpan ResolveToPlot(const ymotion::Scene& scene, ymotion::FrameRate rate) const;
};

/// The distance of plotted keys: the options `--rate` and `--period`, which exclude each other.
struct PeriodOptions
{
    std::optional<ymotion::FrameRate> rate;
    std::optional<ymotion::WrittenTime> period;

    /// A frame of the scene unless given.
    YTime Resolve(const ymotion::Scene& scene) const;
};

// Options that mean the same in every command.

void AddFileArgument(CLI::App& command, std::string& file);
void AddInputArgument(CLI::App& command, std::string& input);
CLI::Option* AddOutputArgument(CLI::App& command, std::string& output);
void AddNodeOption(CLI::App& command, std::vector<std::string>& patterns);
void AddSpanOptions(CLI::App& command, SpanOptions& options);
CLI::Option* AddRateOption(CLI::App& command, std::optional<ymotion::FrameRate>& rate, const char* help);
void AddPeriodOptions(CLI::App& command, PeriodOptions& options);
/// `--tolerance` and its like, numbers above 0; what `value` is stays unless given.
CLI::Option* AddPositiveOption(CLI::App& command, const char* name, double& value, const std::string& help);
void AddApplyOption(CLI::App& command, std::vector<std::string>& steps);
/// `--unroll-first`: whoever has it applies `kUnrollStep` ahead of the other steps.
void AddUnrollFirstFlag(CLI::App& command, bool& unrollFirst);
inline constexpr const char* kUnrollStep = "unroll";
void AddJsonFlag(CLI::App& command, bool& json);
/// `--max-size`, see `SetMostBytes`.
void AddSizeOption(CLI::App& command);
/// That, and `--animation`, see `HowToRead`; for every command that reads files.
void AddReadingOptions(CLI::App& command);
/// `--jobs`, from 1 to 1024: how much is done at a time, `what` ("files at a time"); one for each processor
/// unless given.
CLI::Option* AddJobsOption(CLI::App& command, std::size_t& jobs, const char* what);
inline constexpr const char* kThreadsHelp = "threads; the outcome does not depend on them";
/// `--repair`, see `CheckWhole`.
void AddRepairFlag(CLI::App& command, bool& repair);

/// Has an option refuse the empty word, which would count as not given: a script's unset variable must not
/// change what a command writes to.
void RefuseEmpty(CLI::Option& option);

/// Refuses what is none of the words, and names the one that comes near.
CLI::Validator OneOf(const std::vector<std::string>& words);

/// A number from 0 up. Throws the parser's error for anything else.
double ParseNonNegative(const char* option, const std::string& text);

/// `ymotion::ParseTime` for the command line. Throws the parser's error for what is no time.
ymotion::WrittenTime ParseTimeOption(const char* option, const std::string& text);

/// The text at the end of a command's help, with a paragraph about times ahead of its examples.
std::string WithTimes(std::string footer);

}  // namespace program
