#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <string>
#include <vector>

/// \file
/// Measurements held against goals.

/// Collects the repetitions of every benchmark, and prints the fastest and the median of each. Benchmarks
/// say in the counter "items" how many operations one iteration makes; all times are of one operation.
///
/// Ratios are taken between the fastest repetitions: others that run on the machine only ever add time.
class GoalReporter : public benchmark::BenchmarkReporter
{
  public:
    bool ReportContext(const Context& context) override;
    void ReportRuns(const std::vector<Run>& runs) override;
    void Finalize() override;

    /// Nanoseconds of one operation in the fastest repetition; NaN when the benchmark did not run.
    double Fastest(const std::string& benchmark) const;

  private:
    std::map<std::string, std::vector<double>> mNanoseconds;
};

/// One line of the closing table.
struct Goal
{
    std::string what;
    double measured;  ///< NaN or infinity where a benchmark did not run; the line is left out then
    double limit;     ///< infinity for what is only told
    std::string unit;
};

/// Prints measured values beside their limits.
void PrintGoals(const std::vector<Goal>& goals);
