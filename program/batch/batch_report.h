#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "program/batch/batch_records.h"
#include "program/batch/batch_unit.h"

/// \file
/// The report of a batch, made of its records alone: the same to the byte wherever and in whichever order its
/// files were filtered.

namespace program {

/// How far a foot slides while it stands.
struct FootRow
{
    std::string name;
    double before = 0;
    double after = 0;
    double share = 0;  ///< `after` as a part of the figure's height, for comparing files in different units
};

/// What came of one file.
struct BatchRow
{
    BatchTask task;
    BatchState state = BatchState::NotDone;
    std::string message;
    long long keysBefore = 0;
    long long keysAfter = 0;
    double error = 0;  ///< largest of a joint in the world, infinite where a number has become none
    double share =
        0;  ///< that error as a part of the figure's height, for comparing files in different units
    std::string joint;
    double when = 0;              ///< seconds, of that error
    std::optional<FootRow> foot;  ///< the one that slides most
    std::vector<std::string> warnings;
    std::vector<std::string> notes;
    const BatchRecords::Record* record = nullptr;

    bool IsDone() const { return program::IsDone(state); }
};

/// A batch as its records tell it, the worst first: what failed, was refused and was not done, then by error.
class BatchReport
{
  public:
    BatchReport(const std::vector<BatchTask>& tasks, const BatchRecords& records, const BatchWork& work);

    const std::vector<BatchRow>& Rows() const { return mRows; }
    std::size_t Count(BatchState state) const;

    /// An array with an object for each file; `yfcurve batch --help` lists the members.
    void WriteJson(const std::string& path) const;
    /// A page with a table that can be sorted and pictures of the worst.
    /// \param title  of the page: the folder of the batch
    void WritePage(const std::string& path, const std::string& title) const;
    /// A table of how long each file took, and where: comma-separated values.
    void WriteTimes(const std::string& path) const;

  private:
    std::string Pictures() const;

    const BatchRecords& mRecords;
    const BatchWork& mWork;
    std::vector<BatchRow> mRows;
};

}  // namespace program
