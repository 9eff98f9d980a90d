#pragma once

#include <string>
#include <vector>

#include "ymotion/filtering/filter_pipeline.h"

/// \file
/// What commands that filter a scene write: the motion, a report and a page.

namespace program {

struct FilteredOutput
{
    std::string input;
    std::string output;
    std::string page;  ///< empty for none
    bool dryRun = false;
    bool repair = false;
    bool json = false;
};

/// Refuses what cannot be written, before anything is read. Throws `Failure`.
void CheckOutputs(const FilteredOutput& output);

/// Tells the warnings of the steps, and writes all of it, or nothing. Throws `Failure`, also for steps that were refused
/// wherever they apply.
/// \param commandLine  how to do it again, for the page
void WriteFiltered(const ymotion::Scene& scene, const ymotion::FilterOutcome& outcome,
                   const FilteredOutput& output, const std::string& commandLine);

/// The options for steps and the patterns of what they go to: " --apply unroll --node Hips".
std::string StepWords(const std::vector<std::string>& steps, const std::vector<std::string>& patterns);
/// The option for what is read of a file, where one was given: " --animation Run".
std::string ReadingWords();

/// "yfcurve filter IN OUT".
std::string CommandStart(const std::string& command, const FilteredOutput& output);
/// The options of the files that are given: " --animation Run --dry-run".
std::string CommandEnd(const FilteredOutput& output);

}  // namespace program
