#pragma once

#include <functional>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "program/batch/batch_inputs.h"

/// \file
/// The unit of work of a batch: a file in, a file and a line of results out.

namespace program {

/// What is done to every file.
struct BatchWork
{
    std::vector<std::string> steps;
    std::vector<std::string> patterns;
    std::string pages;  ///< folder for a page of each file; empty for none
    std::string mark;   ///< `SettingsMark` of all of it

    /// The path of the page of an output.
    std::string PageOf(const std::string& name) const;
};

/// Work with its mark.
BatchWork MakeBatchWork(std::vector<std::string> steps, std::vector<std::string> patterns, std::string pages);

/// Filters files, each in a process of its own that claims its output: while another process on any machine
/// makes the same output, the file is refused with the state `Busy`. A process that dies is tried again.
/// \param jobs     files at a time
/// \param retries  of a file whose process died
/// \param finished is told the index and the line (see `RecordLine`) of every file that came to an end.
/// \param waiting  is called several times a second.
/// Stops at signals as `RunInProcesses` does.
void FilterFiles(const std::vector<BatchTask>& tasks, const BatchWork& work, std::size_t jobs,
                 std::size_t retries,
                 const std::function<void(std::size_t, const nlohmann::ordered_json&)>& finished,
                 const std::function<void()>& waiting = {});

/// The command that does to a file what the batch does.
std::string CommandFor(const BatchTask& task, const BatchWork& work);

}  // namespace program
