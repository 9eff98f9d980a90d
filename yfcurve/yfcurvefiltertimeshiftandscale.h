#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Keys moved in time by a fixed rule.

/// Moves all keys of a curve in time: later by "Shift", then their distance from time 0 is multiplied by
/// "Scale". Values and stored slopes stay. The filter's span is not looked at; it starts as 0 to 0.
///
/// `Apply(YFCurve&)` returns false in any case, also when it has moved the keys, which sets no status.
///
/// Statuses: 0 no keys, 1 nothing to change, or times that would leave the range of time or fall on one
/// tick (the curve is then as it was).
class YFCURVE_EXPORT YFCurveFilterTimeShiftAndScale : public YFCurveFilterOf<YFCurveFilterTimeShiftAndScale>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterTimeShiftAndScale();

    bool HasSpan() const override { return false; }

    /// 0 at first.
    YTime& GetShift() { return mShift; }
    void SetShift(const YTime& shift) { mShift = shift; }

    /// 1 at first; 0 and less count as 1.
    double GetScale() const { return mScale; }
    void SetScale(double scale) { mScale = scale; }

    using YFCurveFilterOf<YFCurveFilterTimeShiftAndScale>::Apply;
    bool Apply(YFCurve& curve) override;

    /// Gives the span its default; shift and scale stay.
    void Reset() override;

  protected:
    bool FilterCurve(YFCurve& curve) override;
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    bool TimeAfter(YTime time, YTime& moved) const;

    YTime mShift{};
    double mScale{};
};
