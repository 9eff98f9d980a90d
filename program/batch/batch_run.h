#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "program/batch/batch_records.h"
#include "program/batch/batch_unit.h"
#include "program/terminal/progress.h"

/// \file
/// A batch on the processors of this machine: what is not done yet goes through the unit of work and into the
/// records.

namespace program {

class BatchRun
{
  public:
    /// \param tasks  all of the batch, or of its shard
    /// \param again  also those that are done
    BatchRun(const std::vector<BatchTask>& tasks, const BatchWork& work, BatchRecords& records, bool again);

    /// How many files need no work, and below those that are to be filtered.
    std::size_t UpToDate() const { return mUpToDate; }
    const std::vector<BatchTask>& Tasks() const { return mTasks; }

    /// \param waits  for outputs that other processes are making; without it these are failures
    /// \return  the number of the signal that stopped it, 0 for none.
    int Run(std::size_t jobs, std::size_t retries, bool waits);

    /// Why outputs could not be made at this time, while other processes made them.
    const std::vector<std::string>& Busy() const { return mBusy; }

  private:
    std::vector<BatchTask> RunOnce(const std::vector<BatchTask>& tasks, std::size_t jobs, std::size_t retries,
                                   Progress& progress);

    const BatchWork& mWork;
    BatchRecords& mRecords;
    std::vector<BatchTask> mTasks;
    std::vector<std::string> mBusy;
    std::size_t mUpToDate = 0;
};

/// The bytes of the inputs, one at least for each.
std::size_t BytesOf(const std::vector<BatchTask>& tasks);

/// What a bar says of them: "filtering 1.5 GiB".
std::string ProgressLabel(const std::vector<BatchTask>& tasks);

}  // namespace program
