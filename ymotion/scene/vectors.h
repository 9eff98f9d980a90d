#pragma once

#include <cmath>

#include "ybaselib/yrotation.h"

/// \file
/// Sums, products and lengths of vectors.

namespace ymotion {

/// `a` and `factor` times `b`.
inline YgeVector Sum(const YgeVector& a, double factor, const YgeVector& b)
{
    return {a.x + factor * b.x, a.y + factor * b.y, a.z + factor * b.z};
}

inline YgeVector Cross(const YgeVector& a, const YgeVector& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

inline double Dot(const YgeVector& a, const YgeVector& b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

inline YgeVector Difference(const YgeVector& a, const YgeVector& b)
{
    return {a.x - b.x, a.y - b.y, a.z - b.z};
}

inline double Length(const YgeVector& a)
{
    return std::sqrt(Dot(a, a));
}

inline double Distance(const YgeVector& a, const YgeVector& b)
{
    return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

inline YgeVector Scaled(const YgeVector& a, double factor)
{
    return {a.x * factor, a.y * factor, a.z * factor};
}

}  // namespace ymotion
