#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "ybaselib/yrotation.h"

/// \file
/// Bones to look at: what a viewer shows of a skeleton that has no skin of its own.

namespace ymotion {

struct BoneMesh
{
    std::vector<std::array<float, 3>> points;
    std::vector<std::uint16_t> joints;   ///< that each point moves with
    std::vector<std::uint16_t> corners;  ///< points of triangles, seen from outside counter-clockwise
};

/// Adds an octahedron that is thick near its start; nothing for one without length, and where the mesh is
/// full.
void AddBone(BoneMesh& mesh, std::uint16_t joint, const YgeVector& from, const YgeVector& to);

}  // namespace ymotion
