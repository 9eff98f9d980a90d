#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Values kept within limits.

/// Cuts off what a curve has above a ceiling and below a floor, from the first to the last key that the span
/// reaches.
///
/// The curve gets keys where it crosses a limit by more than a tolerance, and is flat on the limit between
/// them; the keys there stay, with the limit as their value. The rest keeps its shape: keys whose slopes
/// would follow the clamped values become user keys. Only where the first or the last key that the span
/// reaches is clamped itself, the segment beside it that is outside leads to the limit, and bends. Afterwards
/// no time between those two keys shows a value that is beyond a limit by more than the tolerance. Segments
/// across a limit that are a tick long, and the extrapolation outside the keys, are as the keys make them.
///
/// The tolerance is the parameter "Tolerance", in units of the value and 0.00001 at first; it has no accessor
/// and is set by name (`SetParameter`).
///
/// Statuses: 1 nothing to clamp; 2 a floor above the ceiling, in which case the two are swapped, in the
/// filter too, and filtering goes on.
class YFCURVE_EXPORT YFCurveFilterClamp : public YFCurveFilterOf<YFCurveFilterClamp>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterClamp();

    /// Whether the ceiling counts; false at first.
    bool GetApplyCeilClamping() const { return mApplyCeilClamping; }
    void SetApplyCeilClamping(bool apply) { mApplyCeilClamping = apply; }
    /// 1 at first. Keys get it rounded to single precision.
    double GetCeil() const { return mCeil; }
    void SetCeil(double ceil) { mCeil = ceil; }

    /// Whether the floor counts; false at first.
    bool GetApplyFloorClamping() const { return mApplyFloorClamping; }
    void SetApplyFloorClamping(bool apply) { mApplyFloorClamping = apply; }
    /// 0 at first. Keys get it rounded to single precision.
    double GetFloor() const { return mFloor; }
    void SetFloor(double floor) { mFloor = floor; }

  protected:
    bool FilterCurve(YFCurve& curve) override;

  private:
    struct Reach;
    struct Limit;

    Limit Ceiling() const;
    Limit Floor() const;
    bool ApplyCeilClamping(YFCurve& curve, Reach& reach);
    bool ApplyFloorClamping(YFCurve& curve, Reach& reach);
    static bool ApplyClamping(YFCurve& curve, Reach& reach, const Limit& limit);
    static void Cut(YFCurve& curve, int firstKey, int& lastKey, const Limit& limit);
    static bool FindIntersectionTime(YFCurve& curve, YTime& result, YTime from, YTime to, double limit);
    static bool AddIntersectionKey(YFCurve& curve, int& key, int& lastKey, YTime from, YTime to,
                                   double limit);
    static bool IsAnythingBeyond(const YFCurve& curve, const Reach& reach, const Limit& limit);
    static bool IsBeyond(const YFCurve& curve, int index, const Limit& limit);
    static bool Flatten(YFCurve& curve, int firstKey, int lastKey, const Limit& limit);

    bool mApplyCeilClamping{};
    double mCeil{};
    bool mApplyFloorClamping{};
    double mFloor{};
    double mTolerance{};
};
