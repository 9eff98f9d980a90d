#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Keys moved to frames.

/// Moves every key in the span to the nearest frame, a whole multiple of the period, with its value, slopes
/// and all other attributes. The later of two frames equally near wins.
///
/// Where several keys come to one frame, the one that was nearest to it (the earlier of two) stays, with the
/// tangent of the first of them on its left side and the interpolation and tangent of the last of them on its
/// right. Keys do not leave the span: those next to an end of it that is no frame move to the nearest frame
/// inside, and stay where they are when there is none.
///
/// A new filter has a span from 0 to 0, which stands for all keys; any other span, also one set by `Reset`,
/// is taken as it is. A curve without keys gives status 0, a period that is not positive changes nothing.
class YFCURVE_EXPORT YFCurveFilterKeysOnFrame : public YFCurveFilterOf<YFCurveFilterKeysOnFrame>
{
  public:
    static YClassDefinition& StaticClass();

    YFCurveFilterKeysOnFrame();

    /// From frame to frame; at first one frame of the time mode that is current.
    YTime GetPeriod() const { return mPeriod; }
    void SetPeriod(const YTime& period) { mPeriod = period; }

  protected:
    bool FilterCurve(YFCurve& curve) override;
    bool FilterNode(YFCurveNode& node, bool recursive) override;

  private:
    YTime mPeriod{};
};
