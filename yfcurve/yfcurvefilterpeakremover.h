#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Removal of single keys that stick out.

/// Removes keys that stick out of a recorded curve alone: a marker that was mistaken for one frame, a
/// drop-out.
///
/// What a key could be is told by the two nearest keys on either side: the values of its neighbours, and
/// where the line of either side would lead. A key that is farther than the value tolerance from all that
/// lies between these is a peak, provided that its neighbours are within the time tolerance. So the turning
/// point of a fast motion stays, which its neighbours lead up to, and so do steps. A key whose value is no
/// finite number is a peak too. The first and the last key of the curve are never removed.
///
/// Keys in the span are removed, neighbours may be outside. Status 0 for a curve without keys; nothing to
/// remove is a success.
class YFCURVE_EXPORT YFCurveFilterPeakRemover : public YFCurveFilterOf<YFCurveFilterPeakRemover>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterPeakRemover();

    /// How far the nearest keys on either side may be, in frames of the current time mode; 3 at first.
    double GetTimeTolerance() const { return mTimeTolerance; }
    void SetTimeTolerance(double frames) { mTimeTolerance = frames; }
    /// How far a key may stick out, in units of the value; 3 at first. Negative numbers act as 0.
    double GetValueTolerance() const { return mValueTolerance; }
    void SetValueTolerance(double tolerance) { mValueTolerance = tolerance; }

  protected:
    bool FilterCurve(YFCurve& curve) override;

  private:
    double mTimeTolerance{};
    double mValueTolerance{};
};
