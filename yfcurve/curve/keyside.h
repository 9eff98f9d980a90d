#pragma once

#include "yfcurve/yfcurvekey.h"

/// \file
/// The two sides of a key.

namespace yfc {

enum class ESide
{
    Left,
    Right
};

/// One side of a key. The segment that a side belongs to stores it: the right side of a key is stored by the
/// key itself, the left side by the key before.
struct KeySide
{
    int key;
    ESide side;

    constexpr bool IsRight() const { return side == ESide::Right; }

    /// The key that stores it; -1 for the left side of the first key.
    constexpr int StoredBy() const { return IsRight() ? key : key - 1; }
    /// Where that key has the slope, or the auto parameter.
    constexpr EYFCurveDataIndex SlopeData() const
    {
        return IsRight() ? YFCURVEKEY_RIGHT_DERIVATIVE : YFCURVEKEY_NEXT_LEFT_DERIVATIVE;
    }
    constexpr EYFCurveDataIndex WeightData() const
    {
        return IsRight() ? YFCURVEKEY_RIGHT_WEIGHT : YFCURVEKEY_NEXT_LEFT_WEIGHT;
    }
    constexpr EYFCurveDataIndex VelocityData() const
    {
        return IsRight() ? YFCURVEKEY_RIGHT_VELOCITY : YFCURVEKEY_NEXT_LEFT_VELOCITY;
    }
    constexpr unsigned WeightBit() const
    {
        return IsRight() ? YFCURVE_WEIGHT_RIGHT : YFCURVE_WEIGHT_NEXT_LEFT;
    }
    constexpr unsigned VelocityBit() const
    {
        return IsRight() ? YFCURVE_VELOCITY_RIGHT : YFCURVE_VELOCITY_NEXT_LEFT;
    }
};

constexpr KeySide LeftOf(int key)
{
    return {key, ESide::Left};
}

constexpr KeySide RightOf(int key)
{
    return {key, ESide::Right};
}

}  // namespace yfc
