#include "ymotion/scene/placement.h"

#include <cmath>

#include "ymotion/scene/vectors.h"

namespace ymotion {

Placement Placement::Of(const YgeVector& translation, const YgeQuaternion& rotation, const YgeVector& scale)
{
    const YgeMatrix turn(rotation);
    const std::array<double, 3> factors{scale.x, scale.y, scale.z};
    Placement place;
    place.origin = translation;
    for (int i = 0; i < 3; ++i) {
        const double f = factors[static_cast<std::size_t>(i)];
        place.axes[static_cast<std::size_t>(i)] = {turn(0, i) * f, turn(1, i) * f, turn(2, i) * f};
    }
    return place;
}

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
    // Each row of the inverse matrix is perpendicular to the two other axes.
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

}  // namespace ymotion
