#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// \file
/// A batch as jobs of Slurm: an array that filters, and a job behind it that merges the results.

namespace program {

struct SlurmBatch
{
    std::string partition;             ///< empty for the cluster's own choice
    std::vector<std::string> options;  ///< further options of sbatch, for both jobs
    std::size_t tasks = 0;             ///< of the array; 0 for as many as there is work for
    std::size_t jobs = 1;              ///< how many processors each task has, and files at a time
    std::size_t retries = 2;  ///< how often a task whose program was killed, and what it left, is tried again
    std::string folder;       ///< for the lists and logs, see `BatchRecords::FolderOf`
    std::string unit;         ///< the command of a task, to which --shard I/N is added
    std::string left;         ///< the command that lists what is not done, to which the list's path is added
    std::string merge;        ///< the command of the merging job
};

/// The list of files for the tasks of the array, in the folder.
inline constexpr const char* kToDo = "todo.jsonl";

/// The scripts of the array and of the merging job. Where something is not done then, as after a task was killed
/// together with its script, the merging job submits the array for it once more, with another merging job behind it.
/// The batch ends when both jobs are cancelled.
std::string ArrayScript(const SlurmBatch& batch);
std::string MergeScript(const SlurmBatch& batch);

struct SlurmJobs
{
    std::string array;
    std::string merge;
};

/// Gives both to sbatch. Throws `Failure` where Slurm is not there or refuses; then none is left in the
/// queue.
SlurmJobs SubmitJobs(const SlurmBatch& batch);

/// Puts the jobs in place of `jobs` that their merging job has submitted for what was left.
/// \return  false where there are none; `jobs` stay as they are.
bool TakeNextJobs(const std::string& folder, SlurmJobs& jobs);

/// Whether a job still waits or runs.
bool IsInQueue(const std::string& job);

void CancelJobs(const SlurmJobs& jobs);

}  // namespace program
