#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/frame_rate.h"
#include "host/scene.h"

/// \file
/// The subcommands of the program, one source each. Each of the functions adds its subcommand; when the
/// command line asks for it, `chosen` becomes what has to be done.

namespace host {

using Action = std::function<void()>;

void AddInfoCommand(CLI::App& program, Action& chosen);
void AddEvalCommand(CLI::App& program, Action& chosen);
void AddPlotCommand(CLI::App& program, Action& chosen);
void AddConvertCommand(CLI::App& program, Action& chosen);
void AddKeysCommand(CLI::App& program, Action& chosen);
void AddDiffCommand(CLI::App& program, Action& chosen);
void AddLayersCommand(CLI::App& program, Action& chosen);
void AddLayerCommand(CLI::App& program, Action& chosen);
void AddPlotIntoLayerCommand(CLI::App& program, Action& chosen);
void AddFilterCommand(CLI::App& program, Action& chosen);
void AddBatchCommand(CLI::App& program, Action& chosen);
void AddFiltersCommand(CLI::App& program, Action& chosen);
void AddSettingsCommand(CLI::App& program, Action& chosen);

/// The options `--start` and `--stop`, which several commands have.
struct SpanOptions
{
    std::optional<YTime> start;
    std::optional<YTime> stop;

    bool IsGiven() const { return start || stop; }
    /// The span asked for; what was not given comes from the keys of the curves. Throws `Failure` where
    /// there are none, or where it would end before it starts.
    TimeSpan Resolve(const Scene& scene) const;
};

// Options that mean the same in every command.

void AddFileArgument(CLI::App& command, std::string& file);
void AddInputArgument(CLI::App& command, std::string& input);
CLI::Option* AddOutputArgument(CLI::App& command, std::string& output);
void AddNodeOption(CLI::App& command, std::vector<std::string>& patterns);
void AddSpanOptions(CLI::App& command, SpanOptions& options);
void AddApplyOption(CLI::App& command, std::vector<std::string>& steps);

/// Seconds on the command line: three years either way, well inside what ticks can count. Throws the
/// parser's error for anything else.
YTime ParseTime(const char* option, const std::string& text);

}  // namespace host
