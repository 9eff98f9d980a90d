#pragma once

#include <functional>
#include <vector>

#include "ybaselib/yrotation.h"
#include "ymotion/scene/scene.h"

/// \file
/// Keys for motion that can be asked for at any time: what is left where keys cannot be changed one by one.

namespace ymotion {

/// Where baked keys stand.
struct BakePlaces
{
    std::vector<YTime>
        times;  ///< ascending, and not empty for values: at each there is a key, and none outside of them
    FrameRate rate;  ///< keys between these stand on frames as far as they can
};

/// Values at a time, as many as there are curves.
using ValueMotion = std::function<std::vector<double>(YTime)>;
using TurnMotion = std::function<YgeQuaternion(YTime)>;

/// Gives curves the keys of a motion in place of those that they have: cubic ones with its slopes, more of
/// them between the given times where it would be off by more than single precision tells, and constant ones
/// where it holds still and then jumps.
void BakeValues(const std::vector<YFCurve*>& curves, const BakePlaces& places, const ValueMotion& motion);

/// The same for the three angles of a rotation, in the order and form that its node has, to a thousandth of a
/// degree, or what single precision leaves of large angles. Angles start as near as they can to `before` and
/// go on without jumps. Without times, the curves get no keys but the values that the motion has at time 0.
void BakeTurns(YFCurveNode& rotation, const BakePlaces& places, const TurnMotion& motion,
               const YgeRVector& before);

/// The orientation of a rotation by its own curves, layers aside.
YgeQuaternion OwnOrientation(const YFCurveNode& rotation, YTime time);

/// The angles of the same.
YgeRVector OwnAngles(const YFCurveNode& rotation, YTime time);

}  // namespace ymotion
