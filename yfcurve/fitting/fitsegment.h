#pragma once

#include "yfcurve/fitting/fitrun.h"
#include "yfcurve/fitting/slopepolygon.h"

/// \file
/// One cubic segment in place of all that a run has between two of its points.

namespace yfc {

/// The value and slope of a cubic from a value to another, as weights of the slopes at its ends.
struct SegmentWeights
{
    double base;        ///< the value with slopes of 0, above that of the start
    double start, end;  ///< what the slope pairs add to it
    double baseSlope;   ///< and the same for the slope, times the duration
    double startSlope, endSlope;
};

/// \param share  of the duration, 0 to 1.
SegmentWeights WeightsOfSlopes(double share, double rise);

class SegmentFit
{
  public:
    explicit SegmentFit(const FitRun& run) : mRun(run) {}

    /// The slopes with which a segment from one point to another stays within the tolerance everywhere.
    /// \return  false where there are none.
    bool Find(int from, int to, SlopePolygon& slopes) const;

    /// Calls `take` with the strip of each point in between, and of some times besides where these are few.
    template<class Take>
    void ForEachSample(int from, int to, const Take& take) const
    {
        constexpr int many = 8;
        const Span span = SpanOf(from, to);
        for (int point = from + 1; point < to; ++point) take(StripAtPoint(span, point));
        if (to - from >= many) return;
        for (int i = 1; i < many; ++i) take(StripInside(span, static_cast<double>(i) / many));
    }

  private:
    struct Span
    {
        int from;
        int to;
        double start;
        double perDuration;
        double value;
        double rise;
    };
    struct Violation;

    Span SpanOf(int from, int to) const;
    SlopeStrip StripAt(const Span& span, double time, double value, double tolerance) const;
    SlopeStrip StripAtPoint(const Span& span, int point) const;
    SlopeStrip StripInside(const Span& span, double share) const;
    bool ClipCoarsely(const Span& span, SlopePolygon& slopes) const;
    bool ClipPiece(const Span& span, int piece, SlopePolygon& slopes) const;
    double ValueAt(int piece, double share) const;

    const FitRun& mRun;
};

}  // namespace yfc
