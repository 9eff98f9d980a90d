// A cubic between two given values is linear in the slopes at its ends, so every time at which it has to be
// near the source allows for a strip of the plane of the two slopes. The strips of the source's points come
// first. Between two points the difference of the two curves is a cubic too: where one of the polygon's
// corners leaves the tolerance there, the strip of the farthest time is cut off. What remains serves with all
// its corners, and so, as errors are linear in the slopes, with all that is between these.
//
// With weights all this holds for each pair of them: they determine at which parameter a segment is at a time. Only
// the source's pieces are no cubics of the parameter. They are cut into stretches that nearly are
// (stretchcubic.h), and how far these may be off is taken from the tolerance.

#include "yfcurve/fitting/fitsegment.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "yfcurve/fitting/stretchcubic.h"

namespace yfc {

namespace {

// Strips are narrower than what is asked for, so that a cut leaves the corners well inside and need not be
// made again a little further on.
double StripWidth(int pieces)
{
    return pieces < 4 ? 0.97 : 0.985;
}

}  // namespace

bool FitPoint::IsCorner() const
{
    constexpr double rounding = 2e-6;
    return std::abs(left - right) > rounding * std::max(std::abs(left), std::abs(right));
}

SegmentWeights WeightsOfSlopes(double share, double rise)
{
    const double rest = 1.0 - share;
    return {share * share * (3.0 - 2.0 * share) * rise,
            share * rest * rest,
            -share * share * rest,
            6.0 * share * rest * rise,
            rest * (1.0 - 3.0 * share),
            -share * (2.0 - 3.0 * share)};
}

SegmentFit::Span SegmentFit::SpanOf(int from, int to, const TangentWeights& weights) const
{
    const FitPoint& start = mRun[from];
    const FitPoint& end = mRun[to];
    const SegmentTime time(weights);
    return {from,
            to,
            start.time,
            1.0 / (end.time - start.time),
            start.value,
            end.value - start.value,
            weights,
            time,
            time.IsEven() ? 1.0 : 3.0 * weights.start,
            time.IsEven() ? 1.0 : 3.0 * weights.end};
}

// The cubic by which a segment misses the source from one point to the next.
struct SegmentFit::Violation
{
    double start;
    double rise;
    double startSlope;  // times the duration
    double endSlope;

    // Both ends are within the tolerance. Between them the cubic surely is as well where its derivative has Bezier
    // points of one sign, so that it only rises or only falls, or where its own Bezier points are within the tolerance.
    bool IsSurelyWithin(double tolerance) const
    {
        const double middle = 3.0 * rise - startSlope - endSlope;
        if (startSlope * middle >= 0.0 && endSlope * middle >= 0.0 && startSlope * endSlope >= 0.0)
            return true;
        return std::abs(start + startSlope * (1.0 / 3.0)) <= tolerance &&
               std::abs(start + rise - endSlope * (1.0 / 3.0)) <= tolerance;
    }

    double ValueAt(double share) const
    {
        const double c3 = startSlope + endSlope - 2.0 * rise;
        const double c2 = rise - startSlope - c3;
        return start + share * (startSlope + share * (c2 + share * c3));
    }

    // Where it is farthest off, if that is more than `largest`, which it then becomes.
    void FindFarthest(double& largest, double& where) const
    {
        const double a = startSlope + endSlope - 2.0 * rise;
        const double b = 3.0 * rise - 2.0 * startSlope - endSlope;
        const double discriminant = b * b - 3.0 * a * startSlope;
        if (!(discriminant > 0.0)) return;
        const double q = -(b + std::copysign(std::sqrt(discriminant), b));
        for (const double share : {q / (3.0 * a), startSlope / q}) {
            if (!(share > 0.0 && share < 1.0)) continue;
            const double distance = std::abs(ValueAt(share));
            if (distance <= largest) continue;
            largest = distance;
            where = share;
        }
    }
};

SlopeStrip SegmentFit::StripAtParameter(const Span& span, double parameter, const SourceAt& source) const
{
    const double rest = 1.0 - parameter;
    const double wanted =
        source.value - span.value - parameter * parameter * (3.0 - 2.0 * parameter) * span.rise;
    const double width = source.tolerance * StripWidth(span.to - span.from);
    return {parameter * rest * rest * span.startFactor, -parameter * parameter * rest * span.endFactor,
            wanted - width, wanted + width};
}

SlopeStrip SegmentFit::StripAt(const Span& span, double time, const SourceAt& source) const
{
    const double share = (time - span.start) * span.perDuration;
    return StripAtParameter(span, span.time.ParameterAt(share), source);
}

SlopeStrip SegmentFit::StripAtPoint(const Span& span, int point) const
{
    const FitPoint& at = mRun[point];
    return StripAt(span, at.time, {at.value, std::min(mRun[point - 1].tolerance, at.tolerance)});
}

// At a time that need not be that of a point.
SlopeStrip SegmentFit::StripInside(const Span& span, double share) const
{
    const double time = span.start + share / span.perDuration;
    return StripAt(span, time, At(span, time));
}

SegmentFit::SourceAt SegmentFit::At(const Span& span, double time) const
{
    const auto first = mRun.points.begin();
    const auto next = std::upper_bound(first + span.from + 1, first + span.to, time,
                                       [](double t, const FitPoint& point) { return t < point.time; });
    const int piece = static_cast<int>(next - first) - 1;
    const FitPoint& from = mRun[piece];
    return {ValueAt(piece, (time - from.time) / (next->time - from.time)), from.tolerance};
}

SegmentFit::Sampling SegmentFit::Sample(int from, int to) const
{
    const Span span = SpanOf(from, to, {});
    Sampling sampling{{}, span.rise, 0.0};
    for (int i = 0; i < kSegmentSamples; ++i) {
        const SourceAt source = At(span, span.start + SampleShare(i) / span.perDuration);
        sampling.values[static_cast<std::size_t>(i)] = source.value - span.value;
        sampling.mostMiss += source.tolerance * source.tolerance;
    }
    return sampling;
}

double SegmentFit::ValueAt(int piece, double share) const
{
    const FitPoint& from = mRun[piece];
    const FitPoint& to = mRun[piece + 1];
    const double duration = to.time - from.time;
    const SegmentWeights weights = WeightsOfSlopes(share, to.value - from.value);
    return from.value + weights.base + duration * (weights.start * from.right + weights.end * to.left);
}

bool SegmentFit::Find(int from, int to, const TangentWeights& weights, SlopePolygon& slopes) const
{
    const Span span = SpanOf(from, to, weights);
    slopes = SlopePolygon(StripInside(span, 1.0 / 3.0), StripInside(span, 2.0 / 3.0));
    bool serves = ClipCoarsely(span, slopes);
    for (int point = from + 1; serves && point < to; ++point) {
        serves = slopes.Clip(StripAtPoint(span, point));
    }
    serves = serves && ClipPieces(span, slopes);
    if (serves || to - from > 1 || !span.time.IsEven()) return serves;
    // Nothing has served, as the tolerance is as small as rounding. From one point to the next that is left which the
    // source has there itself.
    const double duration = mRun[to].time - mRun[from].time;
    slopes = SlopePolygon(SlopePair{mRun[from].right * duration, mRun[to].left * duration});
    return true;
}

// Looks at a few points first: most segments that are too long miss these by far.
bool SegmentFit::ClipCoarsely(const Span& span, SlopePolygon& slopes) const
{
    const int count = span.to - span.from;
    if (count < 4) {
        for (const double share : {0.5, 0.18, 0.82}) {
            if (!slopes.Clip(StripInside(span, share))) return false;
        }
    }
    for (int parts = 2; parts <= 8 && parts < count; parts *= 2) {
        for (int part = 1; part < parts; part += 2) {
            const int point = span.from + static_cast<int>(std::int64_t{count} * part / parts);
            if (!slopes.Clip(StripAtPoint(span, point))) return false;
        }
    }
    return true;
}

bool SegmentFit::ClipPieces(const Span& span, SlopePolygon& slopes) const
{
    constexpr int mostHalvings = 8;
    double first = 0.0;
    for (int piece = span.from; piece < span.to; ++piece) {
        if (span.time.IsEven()) {
            if (!ClipPiece(span, piece, slopes)) return false;
            continue;
        }
        const double share = (mRun[piece + 1].time - span.start) * span.perDuration;
        const double last = piece + 1 < span.to ? span.time.ParameterAt(share, first) : 1.0;
        if (!ClipWeightedPiece(span, piece, first, last, mostHalvings, slopes)) return false;
        first = last;
    }
    return true;
}

bool SegmentFit::ClipPiece(const Span& span, int piece, SlopePolygon& slopes) const
{
    const FitPoint& from = mRun[piece];
    const FitPoint& to = mRun[piece + 1];
    const double duration = to.time - from.time;
    const Stretch whole{piece,
                        (from.time - span.start) * span.perDuration,
                        (to.time - span.start) * span.perDuration,
                        duration * span.perDuration,
                        from.value,
                        to.value,
                        from.right * duration,
                        to.left * duration,
                        from.tolerance};
    return ClipStretch(span, whole, slopes);
}

bool SegmentFit::ClipWeightedPiece(const Span& span, int piece, double first, double last, int halvings,
                                   SlopePolygon& slopes) const
{
    constexpr double mostOff = 0.005;
    const FitPoint& from = mRun[piece];
    const FitPoint& to = mRun[piece + 1];
    const double third = (to.time - from.time) / 3.0;
    const StretchCubic cubic(
        span.weights, first, last, (from.time - span.start) * span.perDuration,
        (to.time - span.start) * span.perDuration,
        {from.value, from.value + third * from.right, to.value - third * to.left, to.value});
    if (cubic.mostOff > mostOff * from.tolerance) {
        const double middle = 0.5 * (first + last);
        return halvings > 0 && slopes.Clip(StripAtWeighted(span, piece, middle)) &&
               ClipWeightedPiece(span, piece, first, middle, halvings - 1, slopes) &&
               ClipWeightedPiece(span, piece, middle, last, halvings - 1, slopes);
    }
    const Stretch stretch{piece,
                          first,
                          last,
                          last - first,
                          cubic.points[0],
                          cubic.points[3],
                          3.0 * (cubic.points[1] - cubic.points[0]),
                          3.0 * (cubic.points[3] - cubic.points[2]),
                          from.tolerance - cubic.mostOff};
    return ClipStretch(span, stretch, slopes);
}

// The strip of the time that a segment with weights has at a parameter.
SlopeStrip SegmentFit::StripAtWeighted(const Span& span, int piece, double parameter) const
{
    const FitPoint& from = mRun[piece];
    const double time = span.start + span.time.ShareAt(parameter) / span.perDuration;
    const double share = (time - from.time) / (mRun[piece + 1].time - from.time);
    return StripAtParameter(span, parameter, {ValueAt(piece, share), from.tolerance});
}

/// \param where  a share of the stretch
SlopeStrip SegmentFit::StripOn(const Span& span, const Stretch& stretch, double where) const
{
    if (!span.time.IsEven())
        return StripAtWeighted(span, stretch.piece, stretch.first + where * stretch.length);
    const FitPoint& from = mRun[stretch.piece];
    const double time = from.time + where * (mRun[stretch.piece + 1].time - from.time);
    return StripAt(span, time, {ValueAt(stretch.piece, where), from.tolerance});
}

SegmentWeights SegmentFit::WeightsAt(const Span& span, double parameter)
{
    SegmentWeights weights = WeightsOfSlopes(parameter, span.rise);
    weights.start *= span.startFactor;
    weights.startSlope *= span.startFactor;
    weights.end *= span.endFactor;
    weights.endSlope *= span.endFactor;
    return weights;
}

// What the polygon has lost before, a later cut does not bring back: corners of a cut are between others. Both ends of
// the stretch are near.
bool SegmentFit::ClipStretch(const Span& span, const Stretch& stretch, SlopePolygon& slopes) const
{
    constexpr int mostCuts = 64;
    const SegmentWeights first = WeightsAt(span, stretch.first);
    const SegmentWeights last = WeightsAt(span, stretch.last);
    const double scale = stretch.length;
    const double startBase = span.value + first.base - stretch.startValue;
    const double riseBase = last.base - first.base - (stretch.endValue - stretch.startValue);
    const double startSlopeBase = first.baseSlope * scale - stretch.startSlope;
    const double endSlopeBase = last.baseSlope * scale - stretch.endSlope;
    for (int cut = 0; cut < mostCuts; ++cut) {
        double largest = stretch.tolerance;
        double where = -1.0;
        for (int i = 0; i < slopes.GetCount(); ++i) {
            const SlopePair pair = slopes[i];
            const double startOf = first.start * pair.start + first.end * pair.end;
            const Violation miss{
                startBase + startOf, riseBase + last.start * pair.start + last.end * pair.end - startOf,
                startSlopeBase + scale * (first.startSlope * pair.start + first.endSlope * pair.end),
                endSlopeBase + scale * (last.startSlope * pair.start + last.endSlope * pair.end)};
            if (!miss.IsSurelyWithin(stretch.tolerance)) miss.FindFarthest(largest, where);
        }
        if (where < 0.0) return true;
        if (!slopes.Clip(StripOn(span, stretch, where))) return false;
    }
    return false;
}

}  // namespace yfc
