#pragma once

#include <vector>

#include "yfcurve/curve/segment.h"
#include "yfcurve/yfcurve.h"

/// \file
/// Edits that keep a curve's shape, as opposed to the parameters that its keys store.

namespace yfc {

/// What to store for a weight so that it is rounded to the nearest step, rather than cut off.
float RoundedWeight(double weight);
/// The weights that are rounded to one that can be stored: from half a step below the smallest of these to half a
/// step above the largest.
inline constexpr double kLeastRoundedWeight = 0.5 / YFCURVE_STEPS_TO_ONE;
inline constexpr double kMostRoundedWeight =
    (static_cast<int>(YFCURVE_LARGEST_WEIGHT * YFCURVE_STEPS_TO_ONE) + 0.5) / YFCURVE_STEPS_TO_ONE;

/// A side that was read, such that its weight and velocity are stored as they were.
YFCurveTangeantInfo StoredAgain(YFCurveTangeantInfo side);

/// A key that continues the interpolation of another, without its editing state.
YFCurveKey ContinuingKey(const YFCurveKey& source, float value);

}  // namespace yfc

/// The slopes on the two sides of a key.
struct YFCurveSlopes
{
    float left = 0.0f;
    float right = 0.0f;
};

/// A time inside a segment, with what the curve shows there and at the segment's two ends.
struct YFCurveInside
{
    int index;  ///< of the key that the segment starts at
    YTime time;
    float value;
    YFCurveSlopes start;
    YFCurveSlopes end;
};

/// A friend of the curve for edits of keys that leave what it shows as it is.
class YFCurveShape
{
  public:
    static YFCurveSlopes SlopesAt(const YFCurve& curve, int index);

    /// Makes a key have the given slopes wherever a cubic segment meets it. A key whose own rule gives
    /// them stays as it is; any other becomes a user key, broken when its sides differ.
    static void Hold(YFCurve& curve, int index, YFCurveSlopes wanted);

    /// Turns a cubic key into a user key with the given slopes; the segment after it keeps its end.
    static void TurnToUser(YFCurve& curve, int index, YFCurveSlopes wanted);

    /// `KeyInsert` at a time without a key; returns the new key's index. Throws `std::bad_alloc` before
    /// anything is changed.
    static int Insert(YFCurve& curve, YTime time);

  private:
    static int InsertInside(YFCurve& curve, int index, YTime time);
    static int InsertOutside(YFCurve& curve, YTime time, bool before);
    static int InsertStraight(YFCurve& curve, const YFCurveInside& at);
    static int InsertCubic(YFCurve& curve, const YFCurveInside& at);
    static void HoldEnds(YFCurve& curve, const YFCurveInside& at, int end);
    static int RecordsToHold(const YFCurve& curve, int index);
    static void InsertCuts(YFCurve& curve, int index, const yfc::CubicSegment& segment,
                           const std::vector<double>& cuts, const std::vector<YTime>& times);
    static void KeepStraight(YFCurve& curve, int index, float slope);
};
