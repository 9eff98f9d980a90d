#pragma once

#include <cstddef>
#include <functional>
#include <string>

/// \file
/// Work in several processes, each of which may fail, crash or be killed without the others.

namespace program {

/// What came of a piece of work.
struct WorkResult
{
    bool done = false;
    bool died = false;  ///< its process ended without a result, so that another one may do better
    std::string text;   ///< what the work returned, or why it failed
};

/// Does pieces of work, numbered from 0, each in a process of its own with at most `jobs` at a time.
///
/// \param work      runs in the process of the piece; what it throws is the reason for a failure.
/// \param finished  runs here, in the order in which pieces end.
///
/// Throws `Failure` when no process can be started at all. When one of the signals of `StopSignals` (which
/// the caller holds) comes, the processes are asked to end, and results that they still come to are passed
/// on; pieces that had not started stay undone.
void RunInProcesses(std::size_t count, std::size_t jobs, const std::function<std::string(std::size_t)>& work,
                    const std::function<void(std::size_t, const WorkResult&)>& finished,
                    const std::function<void()>& waiting = {});

/// For a piece of work whose result is about to be permanent: from here on a stop lets it end by itself, so
/// that what it has done is reported.
void FinishDespiteSignals();

}  // namespace program
