#include "yfcurve/curve/segmentcuts.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

#include "yfcurve/curve/keysegment.h"

namespace yfc {

// Half of the tolerance is kept for what lies between the points that are compared, and for rounding.
SegmentCuts::SegmentCuts(const YFCurve& curve, int index, double tolerance)
    : mSegment(CubicSegmentAt(curve, index)),
      mTicks((curve.KeyGetTime(index + 1) - curve.KeyGetTime(index)).Get()),
      mTolerance(0.5 * tolerance)
{}

SegmentCuts SegmentCuts::Relative(const YFCurve& curve, int index, double part)
{
    SegmentCuts cuts(curve, index, 0.0);
    const auto& values = cuts.mSegment.value;
    const auto [low, high] = std::minmax_element(std::begin(values), std::end(values));
    cuts.mTolerance = 0.5 * part * (*high - *low);
    return cuts;
}

std::vector<SegmentCut> SegmentCuts::Find()
{
    const SegmentCut start{0, mSegment.value[0], mSegment.Slope(0.0)};
    Split(start, {mTicks, mSegment.value[3], mSegment.Slope(1.0)}, 0);
    return std::move(mCuts);
}

SegmentCut SegmentCuts::At(std::int64_t ticks) const
{
    const double parameter = mSegment.ParameterAt(static_cast<double>(ticks) * kSecondsPerTick);
    return {ticks, mSegment.Value(parameter), mSegment.Slope(parameter)};
}

void SegmentCuts::Split(const SegmentCut& start, const SegmentCut& end, int depth)
{
    constexpr int deepest = 24;
    // The difference of two times that are centuries apart overflows and is negative.
    if (end.ticks - start.ticks < 2 || depth == deepest) return;
    const SegmentCut middle = Between(start, end);
    if (IsClose(start, end, middle) && IsClose(start, end, Between(start, middle)) &&
        IsClose(start, end, Between(middle, end))) {
        return;
    }
    Split(start, middle, depth + 1);
    mCuts.push_back(middle);
    Split(middle, end, depth + 1);
}

SegmentCut SegmentCuts::Between(const SegmentCut& start, const SegmentCut& end) const
{
    return At(start.ticks + (end.ticks - start.ticks) / 2);
}

bool SegmentCuts::IsClose(const SegmentCut& start, const SegmentCut& end, const SegmentCut& wanted) const
{
    const auto ticks = static_cast<double>(end.ticks - start.ticks);
    const double fraction = static_cast<double>(wanted.ticks - start.ticks) / ticks;
    const double third = ticks * kSecondsPerTick / 3.0;
    const double value = Bezier(start.value, start.value + third * start.slope, end.value - third * end.slope,
                                end.value, fraction);
    return !(std::abs(value - wanted.value) > mTolerance);
}

}  // namespace yfc
