#include "ymotion/formats/gltf_bones.h"

#include <cmath>

namespace ymotion {
namespace {

YgeVector Sum(const YgeVector& a, double factor, const YgeVector& b)
{
    return {a.x + factor * b.x, a.y + factor * b.y, a.z + factor * b.z};
}

YgeVector Cross(const YgeVector& a, const YgeVector& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

double Dot(const YgeVector& a, const YgeVector& b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

YgeVector Scaled(const YgeVector& a, double factor)
{
    return {a.x * factor, a.y * factor, a.z * factor};
}

}  // namespace

YgeVector Placement::operator*(const YgeVector& point) const
{
    return Sum(Sum(Sum(origin, point.x, axes[0]), point.y, axes[1]), point.z, axes[2]);
}

Placement Placement::operator*(const Placement& inner) const
{
    Placement result;
    result.origin = *this * inner.origin;
    for (std::size_t i = 0; i < 3; ++i) result.axes[i] = Sum(*this * inner.axes[i], -1, origin);
    return result;
}

Placement Placement::Reversed() const
{
    const double volume = Dot(axes[0], Cross(axes[1], axes[2]));
    if (!(std::abs(volume) > 1e-30)) return {};
    // The rows of the reverse are perpendicular to two axes each.
    const std::array<YgeVector, 3> rows{Scaled(Cross(axes[1], axes[2]), 1 / volume),
                                        Scaled(Cross(axes[2], axes[0]), 1 / volume),
                                        Scaled(Cross(axes[0], axes[1]), 1 / volume)};
    Placement result;
    result.axes = {{{rows[0].x, rows[1].x, rows[2].x},
                    {rows[0].y, rows[1].y, rows[2].y},
                    {rows[0].z, rows[1].z, rows[2].z}}};
    result.origin = {-Dot(rows[0], origin), -Dot(rows[1], origin), -Dot(rows[2], origin)};
    return result;
}

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
