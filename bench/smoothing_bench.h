#pragma once

#include <memory>
#include <vector>

#include "bench/goals.h"

/// \file
/// Low-pass filtering of recorded motion against the bare evaluation of its samples.

class SmoothingBench
{
  public:
    /// Records the curve, which has to live until the benchmarks have run.
    SmoothingBench();
    ~SmoothingBench();

    /// Registers the benchmarks.
    void Add() const;

    std::vector<Goal> Goals(const GoalReporter& reporter) const;

  private:
    struct Recording;

    std::unique_ptr<Recording> mRecording;
};
