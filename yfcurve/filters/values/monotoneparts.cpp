#include "yfcurve/filters/values/monotoneparts.h"

#include "yfcurve/curve/keykind.h"
#include "yfcurve/yfcurve.h"

namespace yfc {

MonotoneParts::MonotoneParts(const YFCurve& curve, int key)
{
    if (yfc::KeyKind(curve, key).IsConstant()) {
        const bool showsNext = curve.KeyGetConstantMode(key) == YFCURVE_CONSTANT_NEXT;
        Add(curve.KeyGetTime(key), curve.KeyGetValue(showsNext ? key + 1 : key));
        return;
    }
    const YTime end = curve.KeyGetTime(key + 1);
    Add(curve.KeyGetTime(key), curve.KeyGetValue(key));
    YTime times[2];
    float values[2];
    const int peaks = curve.FindPeaks(key, times[0], values[0], times[1], values[1]);
    for (int i = 0; i < peaks; ++i) {
        if (times[i] < end) Add(times[i], values[i]);
    }
    Add(end, curve.KeyGetValue(key + 1));
}

// Extremes that rounding has put on a tick with the point before them are left out.
void MonotoneParts::Add(YTime time, float value)
{
    if (mCount > 0 && time <= mTimes[mCount - 1]) return;
    mTimes[mCount] = time;
    mValues[mCount++] = value;
}

YTime LastTimeBeforeMeeting(const YFCurve& curve, YTime from, YTime to, double value, bool atCountsAsBelow)
{
    int hint = 0;
    const auto isAbove = [&](YTime time) {
        const double shown = curve.Evaluate(time, &hint);
        return atCountsAsBelow ? shown > value : shown >= value;
    };
    const bool startsAbove = isAbove(from);
    if (isAbove(to) == startsAbove) return from;
    while (to - from > YTIME_ONE_TICK) {
        const YTime middle = from + (to - from) / 2;
        YTime& bound = isAbove(middle) == startsAbove ? from : to;
        bound = middle;
    }
    return from;
}

}  // namespace yfc
