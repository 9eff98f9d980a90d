#pragma once

#include <vector>

#include "yfcurve/curve/segment.h"
#include "yfcurve/yfcurve.h"

/// \file
/// Edits that keep a curve's shape, as opposed to the parameters that its keys store.

namespace yfc {

/// A weight that the stored fixed point, which truncates, rounds to the nearest.
float RoundedWeight(double weight);
/// A velocity that was read, such that it is stored as it was.
float RoundedVelocity(float velocity);

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
