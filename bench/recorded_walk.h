#pragma once

#include <vector>

#include "yfcurve/yfcurveptr.h"

/// \file
/// A recorded walk, which is not part of the repository.

/// The 96 channels of cmu_12_01_walk.bvh in the folder that the environment variable YFCURVE_RECORDINGS
/// names; empty without it.
std::vector<YFCurvePtr> RecordedWalk();
