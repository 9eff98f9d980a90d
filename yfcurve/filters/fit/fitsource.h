#pragma once

#include <vector>

#include "ybaselib/ytime.h"
#include "yfcurve/fitting/fitrun.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvefilterfit.h"

/// \file
/// A span of a curve as stretches that can be fitted and others that stay.

namespace yfc {

struct FitOptions
{
    double tolerance;  ///< from 0 up; with 0 segments with weights stay as well
    YFCurveFilterFit::ETangents tangents;
    bool weighted;                    ///< segments may get weights
    YTime period;                     ///< of the frames that keys stand on; 0 for the source's own key times
    const YFCurve* factor = nullptr;  ///< of the tolerance over time; null for 1

    /// What counts from one key of the source to the next.
    double ToleranceBetween(YTime time, YTime next) const;
    double ToleranceBehind(const YFCurve& curve, int key) const;
};

/// A part of a curve, between two of its keys.
struct FitPart
{
    int firstKey;
    int lastKey;
    bool stays;  ///< jumps, steps and the like
    // Of a part that is fitted:
    FitRun run;
    std::vector<YTime> times;  ///< of the points
    std::vector<int> keys;     ///< the curve's keys at the points, -1 where there is none
    FitRules rules;
};

/// Cuts the keys from one to another into parts that follow each other; two keys at least. Throws
/// `std::bad_alloc`.
std::vector<FitPart> PartsOf(const YFCurve& curve, int firstKey, int lastKey, const FitOptions& options);

/// Gives parts that start and end at the same times points and places at all times that any of them has points at.
/// Throws `std::bad_alloc`.
void MakeTimesCommon(std::vector<FitPart>& parts, const FitOptions& options);

/// Whether the segment behind a key has weights, and whether any has from one key to another.
bool IsWeighted(const YFCurve& curve, int key);
bool IsAnyWeighted(const YFCurve& curve, int firstKey, int lastKey);

/// Of the values of keys, without their signs.
double LargestMagnitude(const YFCurve& curve, int firstKey, int lastKey);

/// Whether every value and slope of keys is a number that can be calculated with.
bool AreUsual(const YFCurve& curve, int firstKey, int lastKey);

/// Whether frames are so short that looking at each takes more memory and time than a motion is worth.
bool HasTooManyFrames(const YFCurve& curve, int firstKey, int lastKey, YTime period);

/// Whether a curve's last slope is its first one, as it is where the keys repeat without a seam.
bool ClosesLoop(const YFCurve& curve);

}  // namespace yfc
