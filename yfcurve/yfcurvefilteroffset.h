#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Values moved by a fixed amount.

/// Adds an offset to the values of the keys in the span and to the curve's own value. Slopes stay, so that
/// between the keys of the span the curve keeps its form.
///
/// An offset of 0 gives status 1. A curve without keys is left alone without a message, its value too.
class YFCURVE_EXPORT YFCurveFilterOffset : public YFCurveFilterOf<YFCurveFilterOffset>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterOffset();

    /// In units of the value; 0 at first, which `Apply` refuses.
    double GetOffset() const { return mOffset; }
    void SetOffset(double offset) { mOffset = offset; }

  protected:
    bool FilterCurve(YFCurve& curve) override;

  private:
    double mOffset{};
};
