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
    std::vector<std::string> options;  ///< more of them for sbatch, for both jobs
    std::size_t tasks = 0;             ///< of the array; 0 for as many as there is work for
    std::size_t jobs = 1;              ///< processors, and files at a time, of each
    std::size_t retries = 2;  ///< of a task whose program was killed, and of files that are left then
    std::string folder;       ///< for the lists and logs, see `BatchRecords::FolderOf`
    std::string unit;         ///< command of a task, to which --shard I/N is added
    std::string left;         ///< command that writes the list that follows it of what is not done
    std::string merge;        ///< command of the merging job
};

/// The list of files for the tasks of the array, in the folder.
inline constexpr const char* kToDo = "todo.jsonl";

/// The script of the array, and of the merging job. This one gives out once more what is not done, as when a
/// task was killed with its script, to another array with another merging job behind it. Cancelling both jobs
/// ends it.
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

/// Finds the jobs that a merging job has given files to.
/// \return  false where there are none; `jobs` stay as they are.
bool TakeNextJobs(const std::string& folder, SlurmJobs& jobs);

/// Whether a job still waits or runs.
bool IsInQueue(const std::string& job);

void CancelJobs(const SlurmJobs& jobs);

}  // namespace program
