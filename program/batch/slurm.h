#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

/// \file
/// A batch as jobs of Slurm: an array that filters, and a job behind it that merges the results.

namespace program {

struct SlurmBatch
{
    std::string partition;             ///< empty for the cluster's own choice
    std::vector<std::string> options;  ///< more of them for sbatch, for the array
    std::size_t tasks = 1;             ///< of the array
    std::size_t jobs = 1;              ///< processors, and files at a time, of each
    std::size_t retries = 2;           ///< of a task whose program was killed
    std::string folder;                ///< for the lists and logs, see `BatchRecords::FolderOf`
    std::string unit;                  ///< command of a task, to which --shard I/N is added
    std::string merge;                 ///< command of the merging job
};

/// The script of the array, and of the merging job.
std::string ArrayScript(const SlurmBatch& batch);
std::string MergeScript(const SlurmBatch& batch);

struct SlurmJobs
{
    std::string array;
    std::string merge;
};

/// Gives both to sbatch. Throws `Failure` where Slurm is not there or refuses; then none is left in the queue.
SlurmJobs SubmitJobs(const SlurmBatch& batch);

/// Whether a job still waits or runs.
bool IsInQueue(const std::string& job);

void CancelJobs(const SlurmJobs& jobs);

}  // namespace program
