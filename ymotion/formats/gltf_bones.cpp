#include "ymotion/formats/gltf_bones.h"

#include <cmath>

#include "ymotion/scene/vectors.h"

namespace ymotion {

void AddBone(BoneMesh& mesh, std::uint16_t joint, const YgeVector& from, const YgeVector& to)
{
    constexpr double kThickestAt = 0.15;
    constexpr double kThickness = 0.08;
    constexpr std::size_t kMostPoints = 65000;
    // Two tips, 0 and 5, and a ring between them.
    constexpr std::array<std::uint16_t, 24> kCorners{0, 2, 1, 0, 3, 2, 0, 4, 3, 0, 1, 4,
                                                     5, 1, 2, 5, 2, 3, 5, 3, 4, 5, 4, 1};
    const YgeVector along = Sum(to, -1, from);
    const double length = std::sqrt(Dot(along, along));
    if (!(length > 0) || mesh.points.size() + 6 > kMostPoints) return;
    const bool upright = std::abs(along.y) > 0.9 * length;
    YgeVector side = Cross(along, upright ? YgeVector{1, 0, 0} : YgeVector{0, 1, 0});
    side = Scaled(side, kThickness * length / std::sqrt(Dot(side, side)));
    const YgeVector other = Scaled(Cross(along, side), 1 / length);
    const YgeVector middle = Sum(from, kThickestAt, along);
    const std::array<YgeVector, 6> points{
        from, Sum(middle, 1, side), Sum(middle, 1, other), Sum(middle, -1, side), Sum(middle, -1, other), to};
    const auto first = static_cast<std::uint16_t>(mesh.points.size());
    for (const YgeVector& point : points) {
        mesh.points.push_back(
            {static_cast<float>(point.x), static_cast<float>(point.y), static_cast<float>(point.z)});
        mesh.joints.push_back(joint);
    }
    for (const std::uint16_t corner : kCorners)
        mesh.corners.push_back(static_cast<std::uint16_t>(first + corner));
}

}  // namespace ymotion
