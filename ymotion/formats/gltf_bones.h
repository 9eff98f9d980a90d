#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "ybaselib/yrotation.h"

/// \file
/// Bones to look at: what a viewer shows of a skeleton that has no skin of its own.

namespace ymotion {

/// A place with three axes, which may have any length and lean on each other.
struct Placement
{
    std::array<YgeVector, 3> axes{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
    YgeVector origin;

    /// Where a point of this place is.
    YgeVector operator*(const YgeVector& point) const;
    /// A place inside of this one.
    Placement operator*(const Placement& inner) const;
    /// The reverse; the place where everything is where it is for axes that are flat.
    Placement Reversed() const;
};

struct BoneMesh
{
    std::vector<std::array<float, 3>> points;
    std::vector<std::uint16_t> joints;   ///< that each point moves with
    std::vector<std::uint16_t> corners;  ///< points of triangles, seen from outside counter-clockwise
};

/// Adds an octahedron that is thick near its start; nothing for one without length, and where the mesh is full.
void AddBone(BoneMesh& mesh, std::uint16_t joint, const YgeVector& from, const YgeVector& to);

}  // namespace ymotion
