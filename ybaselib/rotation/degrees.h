#pragma once

#include <numbers>

/// \file
/// Angles are in degrees everywhere but in the functions of the standard library.

namespace ybase {

inline constexpr double kDegreesPerRadian = 180.0 / std::numbers::pi;
inline constexpr double kRadiansPerDegree = std::numbers::pi / 180.0;

}  // namespace ybase
