#include "yfcurve/filters/rotation/eulertriples.h"

#include <algorithm>
#include <cmath>

#include "ybaselib/rotation/degrees.h"

namespace yfc {
namespace {

using ybase::kTieDegrees;

// Keys are of single precision: an angle of 150 degrees may be off a limit by a hundredth of that.
constexpr double kLimitSlack = 1e-4;

struct Interval
{
    double low = -AngleLimits::kNone;
    double high = AngleLimits::kNone;

    double Excess(double value) const { return std::max({low - value, value - high, 0.0}); }
};

Interval IntervalOf(const AngleLimits& limits, int axis)
{
    const auto index = static_cast<std::size_t>(axis);
    return {limits.minimum[index] - kLimitSlack, limits.maximum[index] + kLimitSlack};
}

// Of the numbers value + n * 360 the one inside an interval that is nearest `value`, else the one that is
// least outside, of two such the nearer.
double TurnedInto(double value, const Interval& interval)
{
    const double below = interval.low - value;
    const double above = value - interval.high;
    if (below <= 0.0 && above <= 0.0) return value;
    const double excess = std::max(below, above);
    if (excess > 2.0 * ybase::kLargestAngle) return value;
    const double direction = below > 0.0 ? 1.0 : -1.0;
    const double beyond = value + direction * 360.0 * std::ceil(excess / 360.0);
    const double before = beyond - direction * 360.0;
    return interval.Excess(beyond) < interval.Excess(before) - kTieDegrees ? beyond : before;
}

// How good a triple is: limits first, then nearness.
struct Score
{
    double excess = AngleLimits::kNone;
    double distance = AngleLimits::kNone;

    bool IsBetterThan(const Score& other) const
    {
        if (std::abs(excess - other.excess) > kTieDegrees) return excess < other.excess;
        return distance < other.distance - kTieDegrees;
    }
};

Score ScoreOf(const YgeRVector& angles, const YgeRVector& reference, const AngleLimits& limits)
{
    Score score{0.0, std::hypot(angles.x - reference.x, angles.y - reference.y, angles.z - reference.z)};
    for (int axis = 0; axis < 3; ++axis) {
        const double excess = IntervalOf(limits, axis).Excess(angles[axis]);
        score.excess += excess * excess;
    }
    return score;
}

// The triple with each angle's own turns, for the angles do not depend on each other there.
YgeRVector Placed(const YgeRVector& angles, const YgeRVector& reference, const AngleLimits& limits)
{
    YgeRVector placed = WithTurns(angles, reference);
    for (int axis = 0; axis < 3; ++axis) {
        const double turned = TurnedInto(placed[axis], IntervalOf(limits, axis));
        placed[axis] = WithTurns(angles[axis], 0.0, turned);
    }
    return placed;
}

// The limits of first and third angle make a box, the triples of one u a line that crosses it at 45 degrees
// or passes it. The point of that line nearest the reference inside the box; of a line that passes the box,
// the point nearest the corner that it comes nearest to.
double FirstOnLine(double u, double direction, double wish, const Interval& first, const Interval& third)
{
    const double ends[] = {direction * (third.low - u), direction * (third.high - u)};
    const double low = std::max(first.low, std::min(ends[0], ends[1]));
    const double high = std::min(first.high, std::max(ends[0], ends[1]));
    return low <= high ? std::clamp(wish, low, high) : 0.5 * (low + high);
}

// What u can be inside the box.
Interval RangeOfU(double direction, const Interval& first, const Interval& third)
{
    if (direction > 0.0) return {third.low - first.high, third.high - first.low};
    return {third.low + first.low, third.high + first.high};
}

EulerForm NearestAtPole(const YgeRVector& angles, const YgeRVector& reference, const ybase::AxisOrder& axes,
                        const AngleLimits& limits)
{
    const double direction = PoleDirection(angles, axes);
    const Interval first = IntervalOf(limits, axes.first);
    const Interval third = IntervalOf(limits, axes.third);
    const double uReference = reference[axes.third] - direction * reference[axes.first];
    const double uOwn = angles[axes.third] - direction * angles[axes.first];
    const double uNearest = TurnedInto(WithTurns(uOwn, 0.0, uReference), RangeOfU(direction, first, third));

    EulerForm best;
    Score bestScore;
    for (const double turn : {0.0, -360.0, 360.0}) {
        const double u = uNearest + turn;
        const double wish = reference[axes.first] - 0.5 * direction * (u - uReference);
        const double share = FirstOnLine(u, direction, wish, first, third);
        EulerForm form = AtPole(angles, share, u, reference[axes.second], axes);
        form.angles[axes.second] = TurnedInto(form.angles[axes.second], IntervalOf(limits, axes.second));
        const Score score = ScoreOf(form.angles, reference, limits);
        if (!score.IsBetterThan(bestScore)) continue;
        best = form;
        bestScore = score;
    }
    return best;
}

}  // namespace

EulerForm AtPole(const YgeRVector& angles, double first, double u, double secondReference,
                 const ybase::AxisOrder& axes)
{
    const double second = angles[axes.second];
    const double change = std::abs(std::remainder(first - angles[axes.first], 360.0));
    EulerForm form;
    form.atPole = true;
    form.angles[axes.first] = first;
    form.angles[axes.third] = u + PoleDirection(angles, axes) * first;
    const double pole = std::copysign(90.0, std::remainder(second, 360.0));
    const double wanted = change <= kTieDegrees           ? second
                          : change >= 180.0 - kTieDegrees ? 180.0 - second
                                                          : pole;
    form.angles[axes.second] = WithTurns(wanted, 0.0, secondReference);
    return form;
}

EulerForm NearestForm(const YgeRVector& angles, const YgeRVector& reference, const ybase::AxisOrder& axes,
                      double poleTolerance, const AngleLimits& limits)
{
    if (!IsUsable(angles) || !IsUsable(reference)) return {angles};
    if (DistanceFromPole(angles, axes) <= poleTolerance) {
        return NearestAtPole(angles, reference, axes, limits);
    }
    const YgeRVector plain = Placed(angles, reference, limits);
    const YgeRVector flipped = Placed(Flipped(angles, axes), reference, limits);
    const bool flip = ScoreOf(flipped, reference, limits).IsBetterThan(ScoreOf(plain, reference, limits));
    return {flip ? flipped : plain, flip};
}

double InterpolationQuality(const YgeRVector& a, const YgeRVector& b, eRotationOrder order)
{
    const double x = a.x - b.x;
    const double y = a.y - b.y;
    const double z = a.z - b.z;
    const double squaredDistance = x * x + y * y + z * z;
    if (!(squaredDistance > std::numeric_limits<double>::epsilon())) return 100.0;
    const YgeMatrix turn = YgeMatrix(a, order) * YgeMatrix(b, order).GetTransposed();
    // Rounding may leave more than 1 for no turn at all.
    const double w = std::min(YgeQuaternion(turn).w, 1.0);
    const double angle = 2.0 * std::acos(w) * ybase::kDegreesPerRadian;
    return angle * angle / squaredDistance;
}

}  // namespace yfc
