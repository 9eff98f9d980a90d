#include "program/filtered_output.h"

#include <algorithm>

#include <fmt/format.h>

#include "program/scene_work.h"
#include "program/terminal/terminal.h"
#include "ymotion/filtering/filter_report.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/shell_word.h"

using namespace ymotion;

namespace program {

void CheckOutputs(const FilteredOutput& output)
{
    CheckHasOutput(output.output, output.dryRun);
    if (!output.page.empty()) EndingToWrite(output.page, {".html", ".htm"});
    RefuseToReplaceInput(output.input, output.page);
    RefuseSameOutput(output.output, output.page);
}

void WriteFiltered(const Scene& scene, const FilterOutcome& outcome, const FilteredOutput& output,
                   const std::string& commandLine)
{
    for (const StepOutcome& step : outcome.steps) {
        if (!step.warning.empty()) PrintError(fmt::format("warning: {}: {}", step.name, step.warning));
    }
    const int descriptor = ReportDescriptor(output.output, output.dryRun);
    const Style style = StyleOf(descriptor);
    const std::string report =
        output.json ? FilterJson(scene, outcome).dump(2) + "\n" : FilterReport(scene, outcome, style);

    if (const std::string refusal = outcome.Refusal(); !refusal.empty()) {
        WriteReported(report, descriptor, [] {});
        throw Failure(fmt::format("{}: refused wherever it applies, {}{}", scene.file, refusal,
                                  output.dryRun ? "" : "; nothing is written"));
    }
    WriteReported(report, descriptor, [&] {
        if (!output.page.empty()) SaveText(output.page, FilterPage(scene, outcome, commandLine));
        const bool changed = std::any_of(outcome.steps.begin(), outcome.steps.end(),
                                         [](const StepOutcome& step) { return step.changed > 0; });
        if (!output.dryRun) SaveEdited(scene, output.input, output.output, changed);
    });
}

std::string StepWords(const std::vector<std::string>& steps, const std::vector<std::string>& patterns)
{
    std::string words;
    for (const std::string& step : steps) words += " --apply " + ShellWord(step);
    for (const std::string& pattern : patterns) words += " --node " + ShellWord(pattern);
    return words;
}

std::string ReadingWords()
{
    const std::string& animation = HowToRead().animation;
    return animation.empty() ? std::string() : " --animation " + ShellWord(animation);
}

std::string CommandStart(const std::string& command, const FilteredOutput& output)
{
    std::string line = "yfcurve " + command + " " + ShellWord(output.input);
    if (!output.output.empty()) line += " " + ShellWord(output.output);
    return line;
}

std::string CommandEnd(const FilteredOutput& output)
{
    std::string line = ReadingWords();
    if (output.dryRun) line += " --dry-run";
    if (output.repair) line += " --repair";
    return line;
}

}  // namespace program
