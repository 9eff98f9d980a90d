#pragma once

#include <array>

#include "ybaselib/yrotation.h"

/// \file
/// How a joint lies in the axes of another one, scale included.

namespace ymotion {

/// An affine transformation: an origin and three axes of any lengths and angles.
struct Placement
{
    std::array<YgeVector, 3> axes{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    YgeVector origin;

    /// What scales, then turns, then moves.
    static Placement Of(const YgeVector& translation, const YgeQuaternion& rotation, const YgeVector& scale);

    /// The transformed point.
    YgeVector operator*(const YgeVector& point) const;
    /// This transformation after another one.
    Placement operator*(const Placement& inner) const;
    /// The inverse; the identity when the axes lie in one plane.
    Placement Reversed() const;
};

}  // namespace ymotion
