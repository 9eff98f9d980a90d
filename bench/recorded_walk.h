#pragma once

#include <string>
#include <vector>

#include "yfcurve/yfcurveptr.h"

/// \file
/// Motion to measure with.

/// The channels of a BVH file, each sample a key. None where it cannot be read.
std::vector<YFCurvePtr> ChannelsOf(const std::string& path);

/// The channels of the walk in the folder that the environment variable YFCURVE_RECORDINGS names: 96 curves of
/// 524 keys. None where it cannot be read.
std::vector<YFCurvePtr> RecordedWalk();
