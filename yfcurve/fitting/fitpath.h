#pragma once

#include <vector>

#include "yfcurve/fitting/fitrun.h"

/// \file
/// The fewest keys that follow a run.

namespace yfc {

/// The curves that can be fitted with keys at common times: as many as a joint moves, turns and scales by.
inline constexpr int kMostFitCurves = 9;

/// Chooses keys among the places of runs such that the cubics between them stay within the tolerance of each
/// run everywhere: the fewest there are for these places, the runs' own values there, the rules, and some weights
/// where these are allowed. Where tolerances are too small for the places to do, further points become keys.
/// \param tasks  1 to `kMostFitCurves` of them, with points and places at the same times.
/// \return  for each task its keys, at the same points for all, the first and the last among them.
///          Throws `std::bad_alloc`.
std::vector<std::vector<FitKey>> FewestKeys(const std::vector<FitTask>& tasks);

}  // namespace yfc
