#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Keys of a stretch of time removed.

/// Removes the keys from "Min" to "Max", both times included; a bound that is switched off, and an infinite
/// one, reaches to the end of the curve. The filter's own span is not looked at.
///
/// Statuses: 0 no keys, 1 no key in that time, 2 no bound at all (which would be all keys).
class YFCURVE_EXPORT YFCurveFilterTimeClamp : public YFCurveFilterOf<YFCurveFilterTimeClamp>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterTimeClamp();

    bool HasSpan() const override { return false; }

    /// Whether "Min" counts; true at first.
    bool GetApplyMinClamp() const { return mApplyMinClamp; }
    void SetApplyMinClamp(bool apply) { mApplyMinClamp = apply; }
    /// Minus infinity at first.
    YTime& GetMin() { return mMin; }
    void SetMin(const YTime& time) { mMin = time; }

    /// Whether "Max" counts; true at first.
    bool GetApplyMaxClamp() const { return mApplyMaxClamp; }
    void SetApplyMaxClamp(bool apply) { mApplyMaxClamp = apply; }
    /// Infinity at first.
    YTime& GetMax() { return mMax; }
    void SetMax(const YTime& time) { mMax = time; }

  protected:
    bool FilterCurve(YFCurve& curve) override;
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    bool mApplyMinClamp{};
    YTime mMin{};
    bool mApplyMaxClamp{};
    YTime mMax{};
};
