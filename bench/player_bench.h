#pragma once

#include <memory>
#include <vector>

#include "bench/goals.h"

/// \file
/// Players against loops written by hand for the very channels: a cubic one where they share key times, a
/// linear one where they do not.

class PlayerBench
{
  public:
    /// Builds the clips, which have to live until the benchmarks have run.
    PlayerBench();
    ~PlayerBench();

    /// Registers the benchmarks.
    void Add() const;

    std::vector<Goal> Goals(const GoalReporter& reporter) const;

  private:
    struct Clips;

    std::unique_ptr<Clips> mClips;
};
