#pragma once

#include <cstdint>
#include <vector>

#include "yfcurve/curve/segment.h"
#include "yfcurve/yfcurve.h"

/// \file
/// A segment with weights as several cubics of time.

namespace yfc {

/// A point of a segment.
struct SegmentCut
{
    std::int64_t ticks;  ///< from the segment's start
    double value;
    double slope;
};

class SegmentCuts
{
  public:
    /// \param index      of the key that the cubic segment starts at.
    /// \param tolerance  how far the cubics may be off.
    SegmentCuts(const YFCurve& curve, int index, double tolerance);
    /// With a tolerance that is a part of the range of the segment's points.
    static SegmentCuts Relative(const YFCurve& curve, int index, double part);

    /// The inner points, in order, between which cubics with their slopes follow the segment.
    std::vector<SegmentCut> Find();

    SegmentCut At(std::int64_t ticks) const;

  private:
    void Split(const SegmentCut& start, const SegmentCut& end, int depth);
    SegmentCut Between(const SegmentCut& start, const SegmentCut& end) const;
    bool IsClose(const SegmentCut& start, const SegmentCut& end, const SegmentCut& wanted) const;

    CubicSegment mSegment;
    std::int64_t mTicks;
    double mTolerance;
    std::vector<SegmentCut> mCuts;
};

}  // namespace yfc
