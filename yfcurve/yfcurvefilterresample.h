#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Keys at a regular period.

/// Replaces the keys in the span by samples of the curve at a regular period, and one at either end of the
/// span. Outside the span nothing changes (see `YFCurve::Replace`), but what an extrapolation makes of the keys:
/// one that repeats them repeats the new ones, and one that keeps the slope for a number of periods keeps it
/// longer where keys go on at the other end. Samples are auto keys, so that between them the curve runs smoothly
/// from one to the next.
///
/// Statuses: 0 a period that is not positive; 1 a curve without keys, a span that is empty, or one of 2^24
/// periods and more. The curve then is as it was.
class YFCURVE_EXPORT YFCurveFilterResample : public YFCurveFilterOf<YFCurveFilterResample>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterResample();

    bool TakesJumpsForMotion() const override { return true; }

    /// Whether samples between the ends of the span are taken at whole multiples of the period rather than
    /// counted from its start; false at first.
    bool GetKeysOnFrame() const { return mKeysOnFrame; }
    void SetKeysOnFrame(bool keysOnFrame) { mKeysOnFrame = keysOnFrame; }

    /// The time from sample to sample; at first one frame of the time mode that is current at `Reset`.
    YTime GetPeriodTime() const { return mPeriod; }
    void SetPeriodTime(const YTime& period) { mPeriod = period; }

    /// Whether to set keys only where the curve needs them; false at first.
    ///
    /// Samples then keep the curve's interpolation, and cubic ones its slopes, and
    /// - keys that stand a period or more from those around them stay, wherever they are between the samples:
    ///   a curve that was set by hand keeps its shape, jumps and corners included;
    /// - samples on a straight or flat stretch are left out: to within a hundred-thousandth of the range of
    ///   values in the span, a linear key at its start leads to its end.
    bool GetIntelligentMode() const { return mIntelligentMode; }
    void SetIntelligentMode(bool intelligentMode) { mIntelligentMode = intelligentMode; }

  protected:
    bool FilterCurve(YFCurve& curve) override;

  private:
    YTime mPeriod{};
    bool mKeysOnFrame{};
    bool mIntelligentMode{};
};
