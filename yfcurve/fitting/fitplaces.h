#pragma once

#include <vector>

#include "yfcurve/fitting/fitrun.h"

/// \file
/// Where keys are tried.

namespace yfc {

/// Where segments reach over more places than this, so many in between are enough to choose from.
inline constexpr int kPlacesInReach = 12;

/// The places of runs, thinned out where they are dense beside the segments that serve. The first and the
/// last are among them. Takes time in proportion to the points, but for a logarithm.
std::vector<int> PlacesToTry(const std::vector<FitTask>& tasks);

}  // namespace yfc
