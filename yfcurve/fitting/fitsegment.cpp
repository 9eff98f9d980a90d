// A cubic between two given values is linear in the slopes at its ends, so every time at which it has to be
// near the source allows for a strip of the plane of the two slopes. The strips of the source's points come
// first. Between two points the difference of the two curves is a cubic too: where one of the polygon's
// corners leaves the tolerance there, the strip of the farthest time is cut off. What remains serves with all
// its corners, and so, as errors are linear in the slopes, with all that is between these.

#include "yfcurve/fitting/fitsegment.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

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

SegmentFit::Span SegmentFit::SpanOf(int from, int to) const
{
    const FitPoint& start = mRun[from];
    const FitPoint& end = mRun[to];
    return {from, to, start.time, 1.0 / (end.time - start.time), start.value, end.value - start.value};
}

// The cubic by which a segment misses the source from one point to the next.
struct SegmentFit::Violation
{
    double start;
    double rise;
    double startSlope;  // times the duration
    double endSlope;

    // By the Bezier points of the derivative, which do not change sign, or of the cubic. Both ends are near.
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

SlopeStrip SegmentFit::StripAt(const Span& span, double time, double value, double tolerance) const
{
    const double share = (time - span.start) * span.perDuration;
    const double rest = 1.0 - share;
    const double wanted = value - span.value - share * share * (3.0 - 2.0 * share) * span.rise;
    const double width = tolerance * StripWidth(span.to - span.from);
    return {share * rest * rest, -share * share * rest, wanted - width, wanted + width};
}

SlopeStrip SegmentFit::StripAtPoint(const Span& span, int point) const
{
    const FitPoint& at = mRun[point];
    return StripAt(span, at.time, at.value, std::min(mRun[point - 1].tolerance, at.tolerance));
}

// At a time that need not be that of a point.
SlopeStrip SegmentFit::StripInside(const Span& span, double share) const
{
    const double time = span.start + share / span.perDuration;
    const auto first = mRun.points.begin();
    const auto next = std::upper_bound(first + span.from + 1, first + span.to, time,
                                       [](double t, const FitPoint& point) { return t < point.time; });
    const int piece = static_cast<int>(next - first) - 1;
    const FitPoint& from = mRun[piece];
    return StripAt(span, time, ValueAt(piece, (time - from.time) / (next->time - from.time)), from.tolerance);
}

double SegmentFit::ValueAt(int piece, double share) const
{
    const FitPoint& from = mRun[piece];
    const FitPoint& to = mRun[piece + 1];
    const double duration = to.time - from.time;
    const SegmentWeights weights = WeightsOfSlopes(share, to.value - from.value);
    return from.value + weights.base + duration * (weights.start * from.right + weights.end * to.left);
}

bool SegmentFit::Find(int from, int to, SlopePolygon& slopes) const
{
    const Span span = SpanOf(from, to);
    slopes = SlopePolygon(StripInside(span, 1.0 / 3.0), StripInside(span, 2.0 / 3.0));
    bool serves = ClipCoarsely(span, slopes);
    for (int point = from + 1; serves && point < to; ++point) {
        serves = slopes.Clip(StripAtPoint(span, point));
    }
    for (int piece = from; serves && piece < to; ++piece) serves = ClipPiece(span, piece, slopes);
    if (serves || to - from > 1) return serves;
    // The source's own segment, where tolerances are a matter of rounding.
    const double duration = mRun[to].time - mRun[from].time;
    slopes = SlopePolygon(SlopePair{mRun[from].right * duration, mRun[to].left * duration});
    return true;
}

// Most segments that are too long miss what is inside them by far.
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

// What the polygon has lost before, a later cut does not bring back: corners of a cut are between others.
bool SegmentFit::ClipPiece(const Span& span, int piece, SlopePolygon& slopes) const
{
    constexpr int mostCuts = 64;
    const FitPoint& from = mRun[piece];
    const FitPoint& to = mRun[piece + 1];
    const double duration = to.time - from.time;
    const SegmentWeights first = WeightsOfSlopes((from.time - span.start) * span.perDuration, span.rise);
    const SegmentWeights last = WeightsOfSlopes((to.time - span.start) * span.perDuration, span.rise);
    const double scale = duration * span.perDuration;
    const double startBase = span.value + first.base - from.value;
    const double riseBase = last.base - first.base - (to.value - from.value);
    const double startSlopeBase = first.baseSlope * scale - from.right * duration;
    const double endSlopeBase = last.baseSlope * scale - to.left * duration;
    for (int cut = 0; cut < mostCuts; ++cut) {
        double largest = from.tolerance;
        double where = -1.0;
        for (int i = 0; i < slopes.GetCount(); ++i) {
            const SlopePair pair = slopes[i];
            const double startOf = first.start * pair.start + first.end * pair.end;
            const Violation miss{
                startBase + startOf, riseBase + last.start * pair.start + last.end * pair.end - startOf,
                startSlopeBase + scale * (first.startSlope * pair.start + first.endSlope * pair.end),
                endSlopeBase + scale * (last.startSlope * pair.start + last.endSlope * pair.end)};
            if (!miss.IsSurelyWithin(from.tolerance)) miss.FindFarthest(largest, where);
        }
        if (where < 0.0) return true;
        const SlopeStrip strip =
            StripAt(span, from.time + where * duration, ValueAt(piece, where), from.tolerance);
        if (!slopes.Clip(strip)) return false;
    }
    return false;
}

}  // namespace yfc
