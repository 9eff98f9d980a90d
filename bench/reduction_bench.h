#pragma once

#include <memory>
#include <vector>

#include "bench/goals.h"

/// \file
/// What the ways to fewer keys leave of a walk's rotations, and how long they take.

class ReductionBench
{
  public:
    /// Reads the walks, which have to live until the benchmarks have run.
    ReductionBench();
    ~ReductionBench();

    /// Registers the benchmarks.
    void Add() const;

    std::vector<Goal> Goals(const GoalReporter& reporter) const;

  private:
    struct Walks;

    std::unique_ptr<Walks> mWalks;
};
