#pragma once

#include <memory>
#include <vector>

#include "bench/goals.h"

/// \file
/// Filters on recorded motion, where it is at hand, and how their time grows with the length of a curve.

class FilterBench
{
  public:
    /// Builds the curves, which have to live until the benchmarks have run.
    FilterBench();
    ~FilterBench();

    /// Registers the benchmarks.
    void Add() const;

    std::vector<Goal> Goals(const GoalReporter& reporter) const;

  private:
    struct Curves;

    std::unique_ptr<Curves> mCurves;
};
