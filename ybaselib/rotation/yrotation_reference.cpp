#include <cmath>

#include "ybaselib/rotation/turns.h"
#include "ybaselib/yrotation.h"

using ybase::WithTurns;

namespace {

constexpr double poleDegrees = 1e-6;

double Distance(const YgeRVector& a, const YgeRVector& b)
{
    return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

// At the pole first and third axis fall together: both angles turn about the same line, and all that counts
// is third - direction * first. The reference is moved at right angles onto the nearest of the lines on which
// that has the wanted value, half of the way by each angle.
YgeRVector NearestAtPole(const YgeRVector& angles, const YgeRVector& reference, const ybase::AxisOrder& axes)
{
    const auto [first, second, third, parity] = axes;
    const double direction = ybase::PoleDirection(angles, axes);
    const double apart = (angles[third] - reference[third]) - direction * (angles[first] - reference[first]);
    const double half = 0.5 * WithTurns(apart, 0.0, 0.0);
    YgeRVector result;
    result[first] = reference[first] - direction * half;
    result[third] = reference[third] + half;
    // Close to the pole, moving along the line tilts the orientation: least from that of the two forms, the
    // given and the flipped one, which is within a quarter turn.
    const bool flip = std::abs(std::remainder(result[first] - angles[first], ybase::kWholeTurn)) >
                      90.0 + ybase::kTieDegrees;
    result[second] = flip ? WithTurns(-angles[second], ybase::kHalfTurn, reference[second])
                          : WithTurns(angles[second], 0.0, reference[second]);
    return result;
}

}  // namespace

YgeRVector V2VRef(const YgeRVector& angles, const YgeRVector& reference, eRotationOrder order)
{
    if (!ybase::IsUsable(angles) || !ybase::IsUsable(reference)) return angles;
    const ybase::AxisOrder axes = ybase::AxesOf(order);
    if (ybase::DistanceFromPole(angles, axes) <= poleDegrees) return NearestAtPole(angles, reference, axes);

    const YgeRVector plain = WithTurns(angles, reference);
    const YgeRVector flipped = ybase::Flipped(angles, axes, reference);
    const bool flip = Distance(flipped, reference) < Distance(plain, reference) - ybase::kTieDegrees;
    return flip ? flipped : plain;
}
