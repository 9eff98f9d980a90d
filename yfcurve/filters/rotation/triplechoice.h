#pragma once

#include <vector>

#include "ybaselib/ytime.h"
#include "yfcurve/filters/rotation/eulertriples.h"

/// \file
/// The choice among the triples of all keys of a rotation at once.

namespace yfc {

struct TimedAngles
{
    YTime time;
    YgeRVector angles;
};

/// Chooses a triple for each key such that angles which move straight from key to key have the smallest mean
/// square speed. Keys that are not usable (`IsUsable`) stay and are passed over.
/// \param keys    times ascend strictly.
/// \param anchor  a key before the others, which stays; null for none.
std::vector<EulerForm> ChooseTriples(const std::vector<TimedAngles>& keys, const TimedAngles* anchor,
                                     const ybase::AxisOrder& axes, double poleTolerance);

}  // namespace yfc
