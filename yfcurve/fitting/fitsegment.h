#pragma once

#include <array>

#include "yfcurve/fitting/fitrun.h"
#include "yfcurve/fitting/segmenttime.h"
#include "yfcurve/fitting/slopepolygon.h"

/// \file
/// One cubic segment, with weights or without, in place of all that a run has between two of its points.

namespace yfc {

/// The value and slope of a cubic without weights from a value to another, as weights of the slopes at its ends.
struct SegmentWeights
{
    double base;        ///< the value with slopes of 0, above that of the start
    double start, end;  ///< what the slope pairs add to it
    double baseSlope;   ///< and the same for the slope, times the duration
    double startSlope, endSlope;
};

/// \param share  of the duration, 0 to 1.
SegmentWeights WeightsOfSlopes(double share, double rise);

/// Samples that stand for a segment where a quick look is enough.
inline constexpr int kSegmentSamples = 9;

class SegmentFit
{
  public:
    struct Sampling
    {
        std::array<double, kSegmentSamples> values;  ///< of the source, above that at the start
        double rise;                                 ///< to the end
        double mostMiss;                             ///< the sum of squares that the tolerances allow for
    };

    explicit SegmentFit(const FitRun& run) : mRun(run) {}

    /// The slopes with which a segment from one point to another stays within the tolerance everywhere.
    /// \return  false where there are none.
    bool Find(int from, int to, const TangentWeights& weights, SlopePolygon& slopes) const;

    /// Those of a segment of the source from one point to another; the default where there is none.
    TangentWeights OwnWeights(int from, int to) const
    {
        return mRun[from].weightsUntil == mRun[to].time ? mRun[from].weights : TangentWeights();
    }

    /// Of the duration.
    static double SampleShare(int sample) { return (sample + 1.0) / (kSegmentSamples + 1.0); }
    Sampling Sample(int from, int to) const;

    /// Calls `take` with the strip of each point in between, and of some times besides where these are few.
    template<class Take>
    void ForEachSample(int from, int to, const TangentWeights& weights, const Take& take) const
    {
        constexpr int many = 8;
        const Span span = SpanOf(from, to, weights);
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
        TangentWeights weights;
        SegmentTime time;
        // What the slopes add to the value is as many times that without weights, at the same parameter.
        double startFactor;
        double endFactor;
    };
    struct SourceAt
    {
        double value;
        double tolerance;
    };
    // A part of a piece of the source, between two of the segment's parameters, where it is a cubic of these.
    struct Stretch
    {
        int piece;
        double first;
        double last;
        double length;
        double startValue;
        double endValue;
        double startSlope;  // times the length
        double endSlope;
        double tolerance;  // beside what the cubic is off
    };
    struct Violation;

    Span SpanOf(int from, int to, const TangentWeights& weights) const;
    SourceAt At(const Span& span, double time) const;
    SlopeStrip StripAt(const Span& span, double time, const SourceAt& source) const;
    SlopeStrip StripAtParameter(const Span& span, double parameter, const SourceAt& source) const;
    SlopeStrip StripAtPoint(const Span& span, int point) const;
    SlopeStrip StripInside(const Span& span, double share) const;
    bool ClipCoarsely(const Span& span, SlopePolygon& slopes) const;
    bool ClipPieces(const Span& span, SlopePolygon& slopes) const;
    bool ClipPiece(const Span& span, int piece, SlopePolygon& slopes) const;
    bool ClipWeightedPiece(const Span& span, int piece, double first, double last, int halvings,
                           SlopePolygon& slopes) const;
    bool ClipStretch(const Span& span, const Stretch& stretch, SlopePolygon& slopes) const;
    static SegmentWeights WeightsAt(const Span& span, double parameter);
    SlopeStrip StripOn(const Span& span, const Stretch& stretch, double where) const;
    SlopeStrip StripAtWeighted(const Span& span, int piece, double parameter) const;
    double ValueAt(int piece, double share) const;

    const FitRun& mRun;
};

}  // namespace yfc
