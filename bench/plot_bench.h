#pragma once

#include <memory>
#include <vector>

#include "bench/goals.h"

/// \file
/// Plotting into layers against the bare evaluation of the same layers at the samples of the plot.

class PlotBench
{
  public:
    /// Records the properties, which have to live until the benchmarks have run.
    PlotBench();
    ~PlotBench();

    /// Registers the benchmarks.
    void Add() const;

    std::vector<Goal> Goals(const GoalReporter& reporter) const;

  private:
    struct Properties;

    std::unique_ptr<Properties> mProperties;
};
