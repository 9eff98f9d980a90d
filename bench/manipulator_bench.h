#pragma once

#include <memory>
#include <vector>

#include "bench/goals.h"

/// \file
/// A drag in a curve editor: 1,000 marked keys among 100 curves of 1,000 keys, each curve with a listener.

class ManipulatorBench
{
  public:
    /// Builds the curves, which have to live until the benchmarks have run.
    ManipulatorBench();
    ~ManipulatorBench();

    /// Registers the benchmarks.
    void Add() const;

    std::vector<Goal> Goals(const GoalReporter& reporter) const;

  private:
    struct Drag;

    std::unique_ptr<Drag> mDrag;
    std::unique_ptr<Drag> mRipple;
};
