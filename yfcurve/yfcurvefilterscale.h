#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Values multiplied by a fixed factor.

/// Multiplies the values of the keys in the span, and the curve's own value, by a factor.
///
/// Slopes stored on user keys stay unless "ApplyTangent" is on; then the whole form is scaled. Auto and TCB
/// keys follow their neighbours' values by themselves, and with "ApplyTangent" an auto key at an end of the
/// span, one of whose neighbours is not scaled, is given the scaled slope too.
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
