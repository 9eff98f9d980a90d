#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "yfcurve/yfcurvelayer.h"

/// \file
/// How layers combine, worked out plainly and apart from the library: the tests hold it to this.

namespace layermodel {

struct Quaternion
{
    double x = 0.0, y = 0.0, z = 0.0, w = 1.0;
};

/// First `b`, then `a`.
inline Quaternion operator*(const Quaternion& a, const Quaternion& b)
{
    return {a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y, a.w * b.y + a.y * b.w + a.z * b.x - a.x * b.z,
            a.w * b.z + a.z * b.w + a.x * b.y - a.y * b.x, a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z};
}

inline Quaternion Reverse(const Quaternion& q)
{
    return {-q.x, -q.y, -q.z, q.w};
}

using Triple = std::array<double, 3>;

/// The axes in the order in which they turn, for the rotation orders 0 to 5.
inline constexpr std::array<std::array<std::size_t, 3>, 6> kAxes{
    {{0, 1, 2}, {0, 2, 1}, {1, 2, 0}, {1, 0, 2}, {2, 0, 1}, {2, 1, 0}}};

inline Quaternion OfAngles(const Triple& degrees, int order)
{
    Quaternion q;
    for (const std::size_t axis : kAxes[static_cast<std::size_t>(order)]) {
        const double half = degrees[axis] * std::numbers::pi / 360.0;
        std::array<double, 3> part{};
        part[axis] = std::sin(half);
        q = Quaternion{part[0], part[1], part[2], std::cos(half)} * q;
    }
    return q;
}

/// Element of the rotation's matrix.
inline double Element(const Quaternion& q, std::size_t row, std::size_t column)
{
    const std::array<double, 3> v{q.x, q.y, q.z};
    if (row == column) return q.w * q.w + 2.0 * v[row] * v[row] - (v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    const std::size_t third = 3 - row - column;
    const double sign = (row + 1) % 3 == column ? -1.0 : 1.0;
    return 2.0 * (v[row] * v[column] + sign * q.w * v[third]);
}

/// Angles of the rotation; away from the poles to all digits.
inline Triple AnglesOf(const Quaternion& q, int order)
{
    const auto [i, j, k] = kAxes[static_cast<std::size_t>(order)];
    const double sign = (i + 1) % 3 == j ? 1.0 : -1.0;
    Triple radians{};
    radians[i] = std::atan2(sign * Element(q, k, j), Element(q, k, k));
    radians[j] = std::atan2(-sign * Element(q, k, i), std::hypot(Element(q, i, i), Element(q, j, i)));
    radians[k] = std::atan2(sign * Element(q, j, i), Element(q, i, i));
    for (double& angle : radians) angle *= 180.0 / std::numbers::pi;
    return radians;
}

/// How far apart two orientations are, 0 to 180.
inline double DegreesBetween(const Quaternion& a, const Quaternion& b)
{
    const Quaternion d = Reverse(a) * b;
    const double sine = std::sqrt(d.x * d.x + d.y * d.y + d.z * d.z);
    return 360.0 / std::numbers::pi * std::atan2(sine, std::fabs(d.w));
}

/// A part of the shorter turn.
inline Quaternion Part(Quaternion q, double fraction)
{
    if (q.w < 0.0) q = {-q.x, -q.y, -q.z, -q.w};
    const double sine = std::sqrt(q.x * q.x + q.y * q.y + q.z * q.z);
    if (sine < 1e-300) return {};
    const double half = std::atan2(sine, q.w) * fraction;
    const double scale = std::sin(half) / sine;
    return {q.x * scale, q.y * scale, q.z * scale, std::cos(half)};
}

/// The part of a layer's rotation that counts at a weight. Tiny rotations count in full.
inline Quaternion Weighted(const Quaternion& q, double weight)
{
    constexpr double fullFrom = 1.0 - 1e-5;  // of the cosine of half the turn
    return std::fabs(q.w) >= fullFrom ? q : Part(q, weight);
}

inline Quaternion Between(const Quaternion& from, const Quaternion& to, double fraction)
{
    return Part(to * Reverse(from), fraction) * from;
}

/// What a property's values are, and so how those of its layers combine.
enum class Kind
{
    Plain,            ///< three components
    PlainSingle,      ///< a curve of its own
    PlainBelowJoint,  ///< plain, as the child of a node: its base counts in full, whatever its weight
    Scaling,
    ScalingSingle,
    Rotation,
    RotationByAngle
};

constexpr bool IsScaling(Kind kind)
{
    return kind == Kind::Scaling || kind == Kind::ScalingSingle;
}

constexpr int ComponentsOf(Kind kind)
{
    return kind == Kind::PlainSingle || kind == Kind::PlainBelowJoint || kind == Kind::ScalingSingle ? 1 : 3;
}

/// The sum so far of a stack, as layer after layer comes in.
class Total
{
  public:
    Total(Kind kind, int order) : mKind(kind), mOrder(order)
    {
        if (IsScaling(kind)) mValues = {1.0, 1.0, 1.0};
    }

    /// What the only layer of a property has is the total as it stands.
    void Take(const Triple& values)
    {
        mValues = values;
        mTurn = OfAngles(values, mOrder);
    }

    /// What is not a number is not there, and leaves the total as it is.
    void Add(const Triple& values, eLayerMode mode, double weight)
    {
        if (mKind == Kind::Rotation) return AddTurn(OfAngles(values, mOrder), mode, weight);
        for (std::size_t i = 0; i < 3; ++i) {
            if (std::isnan(values[i])) continue;
            mValues[i] = IsScaling(mKind) ? Scaled(mValues[i], values[i], mode, weight)
                                          : Blended(mValues[i], values[i], mode, weight);
        }
    }

    const Triple& Values() const { return mValues; }
    const Quaternion& Turn() const { return mTurn; }
    /// The widest turn of which a part was taken. Parts of turns near 180 degrees hang by a thread: a little
    /// further and the turn goes the other way round.
    double WidestTurn() const { return mWidest; }

    double Distance(const Total& other) const
    {
        return mKind == Kind::Rotation ? DegreesBetween(mTurn, other.mTurn) : Distance(other.mValues);
    }
    /// How far another total is away, in degrees or units.
    double Distance(const Triple& other) const
    {
        if (mKind == Kind::Rotation) return DegreesBetween(mTurn, OfAngles(other, mOrder));
        double worst = 0.0;
        for (int i = 0; i < ComponentsOf(mKind); ++i) {
            const auto at = static_cast<std::size_t>(i);
            const double distance = std::fabs(mValues[at] - other[at]);
            if (!(distance <= worst)) worst = distance;  // not-a-number too
        }
        return worst;
    }

  private:
    static double Blended(double d, double s, eLayerMode mode, double w)
    {
        if (mode == YFCURVE_LAYER_OVERRIDE) return w * s;
        return mode == YFCURVE_LAYER_ADDITIVE ? d + w * s : w * s + (1.0 - w) * d;
    }

    static double Scaled(double d, double s, eLayerMode mode, double w)
    {
        const double share = std::pow(std::fabs(s), w);
        if (mode == YFCURVE_LAYER_OVERRIDE) return share;
        return share * std::pow(std::fabs(d), mode == YFCURVE_LAYER_ADDITIVE ? 1.0 : 1.0 - w);
    }

    void AddTurn(const Quaternion& s, eLayerMode mode, double w)
    {
        const bool interpolated = mode == YFCURVE_LAYER_WEIGHTED_OVERRIDE;
        if (w > 0.0 && w < 1.0)
            mWidest = std::max(mWidest, DegreesBetween(interpolated ? mTurn : Quaternion{}, s));
        if (interpolated) {
            mTurn = Between(mTurn, s, w);
            return;
        }
        mTurn = mode == YFCURVE_LAYER_OVERRIDE ? Weighted(s, w) : Weighted(s, w) * mTurn;
    }

    Kind mKind;
    int mOrder;
    Triple mValues{};
    Quaternion mTurn;
    double mWidest = 0.0;
};

}  // namespace layermodel
