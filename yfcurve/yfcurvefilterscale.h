#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Values multiplied by a fixed factor.

/// Multiplies the values of the keys that the span reaches (`GetStartKey` to `GetStopKey`), and whatever the
/// span the curve's own value, by a factor.
///
/// Slopes stored on user keys stay unless "ApplyTangent" is on; then both slopes of each user key among them
/// are scaled as well. Auto and TCB keys follow their neighbours' values by themselves, and with
/// "ApplyTangent" an auto key that is the first or the last of them, with a neighbour that is not scaled, is
/// given the scaled slope too. The slope with which the segment of a user key comes to a linear or a constant
/// key stays all the same, so that this segment does not keep its form;
/// `YFCurve::KeyScaleValueAndTangeant` scales that slope as well.
///
/// A factor of 0 or 1 gives status 1. A curve without keys is left alone without a message, its value too.
class YFCURVE_EXPORT YFCurveFilterScale : public YFCurveFilterOf<YFCurveFilterScale>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterScale();

    /// The factor, which may be negative; 0 at first, so that it has to be set before use.
    double GetScale() const { return mScale; }
    void SetScale(double scale) { mScale = scale; }

    /// False at first.
    bool GetApplyTangent() const { return mApplyTangent; }
    void SetApplyTangent(bool apply) { mApplyTangent = apply; }

  protected:
    bool FilterCurve(YFCurve& curve) override;

  private:
    double mScale{};
    bool mApplyTangent{};
};
