#pragma once

#include <memory>
#include <vector>

#include "bench/goals.h"

/// \file
/// Merging and resampling of curves of two lengths: time a key should not grow with the length.

class UtilsBench
{
  public:
    /// Builds the curves, which have to live until the benchmarks have run.
    UtilsBench();
    ~UtilsBench();

    /// Registers the benchmarks.
    void Add() const;

    std::vector<Goal> Goals(const GoalReporter& reporter) const;

  private:
    struct Curves;

    std::unique_ptr<Curves> mShort;
    std::unique_ptr<Curves> mLong;
};
