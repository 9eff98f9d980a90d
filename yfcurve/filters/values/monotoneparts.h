#pragma once

#include "ybaselib/ytime.h"

/// \file
/// Where a curve meets a value: searches in stretches in which it rises or falls throughout.

class YFCurve;

namespace yfc {

/// A segment of a curve in such stretches: from its key over its inner extremes to the next key. A constant
/// segment has one point, the value that it shows.
class MonotoneParts
{
  public:
    MonotoneParts(const YFCurve& curve, int key);

    int GetCount() const { return mCount; }
    YTime GetTime(int point) const { return mTimes[point]; }
    float GetValue(int point) const { return mValues[point]; }

  private:
    void Add(YTime time, float value);

    YTime mTimes[4];
    float mValues[4];
    int mCount = 0;
};

/// The last time from `from` on with the curve on the same side of a value as there, in a stretch at whose
/// end `to` it is on the other side; `from` where it is not. Being at the value counts as below it with
/// `atCountsAsBelow`, else as above.
YTime LastTimeBeforeMeeting(const YFCurve& curve, YTime from, YTime to, double value, bool atCountsAsBelow);

}  // namespace yfc
