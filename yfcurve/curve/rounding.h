#pragma once

#include <algorithm>
#include <cmath>

/// \file
/// What single precision makes of values and slopes.

namespace yfc {

/// The relative error that single precision may leave in a value or in a sum of a few.
inline constexpr double kValueRounding = 4e-7;

/// The relative difference of two slopes that still count as one, as a share of the larger.
inline constexpr float kSlopeRounding = 1e-6f;

inline float SlopeAllowance(float a, float b)
{
    return kSlopeRounding * std::max(std::abs(a), std::abs(b));
}

/// Whether two slopes are one but for their rounding. False where a slope is not finite.
inline bool SameSlope(float a, float b)
{
    return std::abs(a - b) <= SlopeAllowance(a, b);
}

/// Whether slopes on the two sides of a key differ by more than their rounding, so that the key is broken.
/// False where one of them is not a number.
inline bool SlopesDiffer(float left, float right)
{
    return std::abs(left - right) > SlopeAllowance(left, right);
}

}  // namespace yfc
