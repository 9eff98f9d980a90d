#pragma once

#include <memory>
#include <vector>

#include "bench/goals.h"

/// \file
/// Trees of curves, with and without layers, against the bare curves; and whether evaluating them allocates.

class NodeBench
{
  public:
    /// Builds the trees, which have to live until the benchmarks have run.
    NodeBench();
    ~NodeBench();

    /// Registers the benchmarks.
    void Add() const;

    std::vector<Goal> Goals(const GoalReporter& reporter) const;

  private:
    struct Trees;

    std::unique_ptr<Trees> mTrees;
};
