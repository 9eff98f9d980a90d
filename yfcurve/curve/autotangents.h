#pragma once

#include "yfcurve/curve/keyside.h"

class YFCurve;

/// \file
/// Auto parameters: a tangent given by its place between the slopes of the segments that meet at a key.

namespace yfc {

/// Slopes of the straight lines from a key to its neighbours, value units per second.
struct NeighbourSlopes
{
    double toLeft = 0.0;   ///< of the segment that ends at the key
    double toRight = 0.0;  ///< of the segment that starts at the key
};

/// The slopes beside a key; an end key has the same one on both sides. Value and time differences are
/// rounded to single precision before they are divided, so equal segments have equal slopes wherever they
/// lie in time. Two keys at one time give an infinity or NaN.
/// \param preset  its right slope is what a lone key has on both sides.
NeighbourSlopes ComputeNeighbourSlopes(const YFCurve& curve, int index, NeighbourSlopes preset = {});

/// The auto parameter of the straight line along the side's own segment.
inline constexpr float kAlongSegment = 100.0f;

/// The tangent's slope that an auto parameter means: `kAlongSegment` is the slope of the segment on the tangent's own
/// side, -100 that of the other, 0 their mean. Beyond -500 and 500 the tangent swings out further with the
/// square of the excess, on both sides of a flat key in opposite directions.
double SlopeFromAuto(ESide side, double autoValue, const NeighbourSlopes& slopes);

/// The inverse: the parameter that gives a slope, 0 where the neighbouring slopes are equal and so say
/// nothing. Slopes are taken as zero where `IsFlat`.
double AutoFromSlope(ESide side, double slope, const NeighbourSlopes& neighbours);

/// Whether a slope is too small to tell from rounding.
bool IsFlat(double slope);

}  // namespace yfc
