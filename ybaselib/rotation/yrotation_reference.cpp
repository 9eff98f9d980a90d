#include <cmath>

#include "ybaselib/rotation/rotationorder.h"
#include "ybaselib/yrotation.h"

namespace {

constexpr double poleDegrees = 1e-6;
constexpr double tieDegrees = 1e-9;
constexpr double largestAngle = 1e9;

bool IsUsable(const YgeRVector& angles)
{
    for (int axis = 0; axis < 3; ++axis)
        if (!(std::abs(angles[axis]) <= largestAngle)) return false;
    return true;
}

double Distance(const YgeRVector& a, const YgeRVector& b)
{
    return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

// The angle, plus an offset, plus as many whole turns as bring it nearest the reference; of two such numbers
// of turns the smaller. Offset and turns are whole degrees, so that only the last sum rounds.
double Approach(double angle, double offset, double reference)
{
    const double turns = (reference - (angle + offset)) / 360.0;
    const double whole = std::ceil(std::abs(turns) - 0.5 - tieDegrees / 360.0);
    if (offset == 0.0 && !(whole > 0.0)) return angle;  // also where that is a zero below zero
    return angle + (offset + std::copysign(360.0 * whole, turns));
}

// At the pole first and third axis fall together: both angles turn about the same line, and all that counts
// is third - direction * first. The reference is moved at right angles onto the nearest of the lines on which
// that has the wanted value, half of the way by each angle.
YgeRVector NearestAtPole(const YgeRVector& angles, const YgeRVector& reference, const ybase::AxisOrder& axes)
{
    const auto [first, second, third, parity] = axes;
    const double direction = parity * std::copysign(1.0, std::remainder(angles[second], 360.0));
    const double apart = (angles[third] - reference[third]) - direction * (angles[first] - reference[first]);
    const double half = 0.5 * Approach(apart, 0.0, 0.0);
    YgeRVector result;
    result[first] = reference[first] - direction * half;
    result[third] = reference[third] + half;
    // Close to the pole, moving along the line tilts the orientation: least from that of the two forms, the
    // given and the flipped one, which is within a quarter turn.
    const bool flip = std::abs(std::remainder(result[first] - angles[first], 360.0)) > 90.0 + tieDegrees;
    result[second] = flip ? Approach(-angles[second], 180.0, reference[second])
                          : Approach(angles[second], 0.0, reference[second]);
    return result;
}

}  // namespace

YgeRVector V2VRef(const YgeRVector& angles, const YgeRVector& reference, eRotationOrder order)
{
    if (!IsUsable(angles) || !IsUsable(reference)) return angles;
    const ybase::AxisOrder axes = ybase::AxesOf(order);
    const double fromEquator = std::abs(std::remainder(angles[axes.second], 180.0));
    if (90.0 - fromEquator <= poleDegrees) return NearestAtPole(angles, reference, axes);

    YgeRVector plain, flipped;
    for (int axis = 0; axis < 3; ++axis) {
        const double sign = axis == axes.second ? -1.0 : 1.0;
        plain[axis] = Approach(angles[axis], 0.0, reference[axis]);
        flipped[axis] = Approach(sign * angles[axis], 180.0, reference[axis]);
    }
    const bool flip = Distance(flipped, reference) < Distance(plain, reference) - tieDegrees;
    return flip ? flipped : plain;
}
