#pragma once

#include <cmath>

#include "ybaselib/rotation/rotationorder.h"
#include "ybaselib/yrotation.h"

/// \file
/// Angles in degrees that stand for one orientation: whole turns, flipped triples and poles. Inline, for the
/// sources of all libraries.

namespace ybase {

inline constexpr double kWholeTurn = 360.0;
/// Angles that differ by less are equally near.
inline constexpr double kTieDegrees = 1e-9;
/// Beyond this doubles do not tell whole turns from rounding.
inline constexpr double kLargestAngle = 1e9;

/// Whether angles are finite and small enough for whole turns to be told.
inline bool IsUsable(const YgeRVector& angles)
{
    const auto fine = [](double angle) { return std::abs(angle) <= kLargestAngle; };
    return fine(angles.x) && fine(angles.y) && fine(angles.z);
}

/// The whole turns, in degrees, that bring an angle within half a turn of a reference. One that is exactly half a
/// turn away is brought to the other side.
inline double WholeTurns(double angle, double reference)
{
    return kWholeTurn * std::round((reference - angle) / kWholeTurn);
}

/// The angle, plus an offset, plus as many whole turns as bring it nearest the reference; of two such numbers of
/// turns the smaller. Offset and turns are whole degrees, so that only the last sum rounds. An angle that stays is
/// left as it is, a zero below zero too.
inline double WithTurns(double angle, double offset, double reference, double turn = kWholeTurn)
{
    const double turns = (reference - (angle + offset)) / turn;
    const double whole = std::ceil(std::abs(turns) - 0.5 - kTieDegrees / turn);
    if (offset == 0.0 && !(whole > 0.0)) return angle;
    return angle + (offset + std::copysign(turn * whole, turns));
}

/// Each angle of a triple with its turns.
inline YgeRVector WithTurns(const YgeRVector& angles, const YgeRVector& reference)
{
    return {WithTurns(angles.x, 0.0, reference.x), WithTurns(angles.y, 0.0, reference.y),
            WithTurns(angles.z, 0.0, reference.z)};
}

/// An angle of the flipped triple, which turns to the same orientation, is half a turn plus this times the angle.
inline double FlipSign(int axis, const AxisOrder& axes)
{
    return axis == axes.second ? -1.0 : 1.0;
}
inline constexpr double kHalfTurn = 180.0;

/// The flipped triple, without turns.
inline YgeRVector Flipped(const YgeRVector& angles, const AxisOrder& axes)
{
    YgeRVector flipped;
    for (int axis = 0; axis < 3; ++axis) flipped[axis] = FlipSign(axis, axes) * angles[axis] + kHalfTurn;
    return flipped;
}

/// The flipped triple with the turns that bring each angle nearest a reference, with one rounding.
inline YgeRVector Flipped(const YgeRVector& angles, const AxisOrder& axes, const YgeRVector& reference)
{
    YgeRVector flipped;
    for (int axis = 0; axis < 3; ++axis)
        flipped[axis] = WithTurns(FlipSign(axis, axes) * angles[axis], kHalfTurn, reference[axis]);
    return flipped;
}

/// How many degrees the second angle is away from the nearest pole.
inline double DistanceFromPole(const YgeRVector& angles, const AxisOrder& axes)
{
    return 90.0 - std::abs(std::remainder(angles[axes.second], kHalfTurn));
}

/// The way the first angle turns at the pole that a triple is near, seen along the third: 1 or -1. All that counts
/// there of the two angles is third - direction * first.
inline double PoleDirection(const YgeRVector& angles, const AxisOrder& axes)
{
    return axes.parity * std::copysign(1.0, std::remainder(angles[axes.second], kWholeTurn));
}

}  // namespace ybase
