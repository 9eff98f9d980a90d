#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Values moved by a fixed amount.

/// Adds an offset to the values of the keys that the span reaches (`GetStartKey` to `GetStopKey`), and
/// whatever the span to the curve's own value. Slopes stay, so that between those keys the curve keeps its
/// form. With keys at 0, 1, 2 and 3 s, a span from 1.4 to 1.6 s moves those at 1 and 2 s.
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
