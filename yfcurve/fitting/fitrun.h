#pragma once

#include <vector>

#include "yfcurve/yfcurvekey.h"

/// \file
/// A stretch of a curve without jumps, as cubics of time from point to point.

namespace yfc {

/// How far the tangents at a segment's ends reach into it, as parts of its duration: as keys store them.
struct TangentWeights
{
    float start = YFCURVE_DEFAULT_WEIGHT;
    float end = YFCURVE_DEFAULT_WEIGHT;

    bool AreDefault() const { return start == YFCURVE_DEFAULT_WEIGHT && end == YFCURVE_DEFAULT_WEIGHT; }
};

struct FitPoint
{
    double time;  ///< seconds from the run's start
    double value;
    double left;  ///< slope before the point, units per second
    double right;
    double tolerance;             ///< of the values up to the next point; positive
    TangentWeights weights = {};  ///< of a segment of the source that starts here, other than the default
    double weightsUntil = 0.0;    ///< the time at which that segment ends

    /// Whether the source bends sharply, by more than rounding makes of one slope.
    bool IsCorner() const;
};

struct FitRun
{
    std::vector<FitPoint> points;
    std::vector<int> places;  ///< the points that may become keys, the first and the last among them

    int GetCount() const { return static_cast<int>(points.size()); }
    const FitPoint& operator[](int point) const { return points[static_cast<std::size_t>(point)]; }
};

/// What a fit may do with the slopes.
struct FitRules
{
    bool broken = false;      ///< a key may have two slopes anywhere, else only at corners
    bool holdsStart = false;  ///< the slope at the run's start stays what it is
    bool holdsEnd = false;
    bool autoKeys = false;  ///< keys are auto keys where the slope of one serves
    bool weighted = false;  ///< segments may have weights where these save keys
};

struct FitTask
{
    const FitRun* run;
    FitRules rules;
};

/// A key of a fit, cubic with slopes of its own.
struct FitKey
{
    int point;
    double left;
    double right;
    bool isAuto = false;          ///< its slope is that of the line between its neighbours
    TangentWeights weights = {};  ///< of the segment that starts at it
};

}  // namespace yfc
