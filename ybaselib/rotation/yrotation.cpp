#include "ybaselib/yrotation.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "ybaselib/rotation/degrees.h"
#include "ybaselib/rotation/rotationorder.h"

namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

// Closer to the pole than this, what the first and third angle turn cannot be told apart.
constexpr double poleCosine = 1e-12;

struct SinCos
{
    double sine;
    double cosine;
};

// The angle is reduced in degrees, where the reduction is exact. Half a right angle has the very same sine
// and cosine, so that the quaternion of a quarter turn gives its exact matrix.
SinCos SinCosDegrees(double angle)
{
    if (!std::isfinite(angle)) return {notANumber, notANumber};
    if (std::abs(angle) > 1e6) angle = std::fmod(angle, 360.0);
    const double quarters = std::nearbyint(angle / 90.0);
    const double rest = angle - 90.0 * quarters;
    const bool half = std::abs(rest) == 45.0;
    const double cosine = half ? 0.5 * std::numbers::sqrt2 : std::cos(rest / ybase::kDegreesPerRadian);
    const double sine = half ? std::copysign(cosine, rest) : std::sin(rest / ybase::kDegreesPerRadian);
    switch (static_cast<int>(quarters) & 3) {
        case 0:
            return {sine, cosine};
        case 1:
            return {cosine, -sine};
        case 2:
            return {-sine, -cosine};
        default:
            return {-cosine, sine};
    }
}

// Adding zero turns a negative zero into a positive one, so that a half turn never comes out as -180.
double AngleDegrees(double sine, double cosine)
{
    return std::atan2(sine + 0.0, cosine) * ybase::kDegreesPerRadian;
}

YgeQuaternion AxisQuaternion(int axis, double degrees)
{
    const SinCos half = SinCosDegrees(degrees * 0.5);
    return {axis == 0 ? half.sine : 0.0, axis == 1 ? half.sine : 0.0, axis == 2 ? half.sine : 0.0,
            half.cosine};
}

double Dot(const YgeVector& a, const YgeVector& b)
{
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

YgeVector Cross(const YgeVector& a, const YgeVector& b)
{
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

double Length(const YgeVector& v)
{
    return std::hypot(v.x, v.y, v.z);
}

double Length(const YgeQuaternion& q)
{
    return std::sqrt(q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w);
}

// Scaling by the largest part first keeps the length from overflowing or vanishing.
// Returns false, with v unchanged, for a vector without a direction.
bool Normalize(YgeVector& v)
{
    const double largest = std::max({std::abs(v.x), std::abs(v.y), std::abs(v.z)});
    if (!std::isfinite(v.x + v.y + v.z) || largest == 0.0) return false;
    v = {v.x / largest, v.y / largest, v.z / largest};
    const double length = Length(v);
    v = {v.x / length, v.y / length, v.z / length};
    return true;
}

// A direction perpendicular to a unit vector.
YgeVector Perpendicular(const YgeVector& v)
{
    const double x = std::abs(v.x), y = std::abs(v.y), z = std::abs(v.z);
    const bool leastIsX = x <= y && x <= z;
    const bool leastIsY = !leastIsX && y <= z;
    YgeVector result =
        Cross(v, {leastIsX ? 1.0 : 0.0, leastIsY ? 1.0 : 0.0, leastIsX || leastIsY ? 0.0 : 1.0});
    Normalize(result);
    return result;
}

// The axis about which u turns into v, two unit vectors. When they are nearly opposite, what rounding has
// left along u is taken out, as a half turn would double it.
YgeVector TurningAxis(const YgeVector& u, const YgeVector& v)
{
    YgeVector axis = Cross(u, v);
    if (Length(axis) < 1e-15) return Perpendicular(u);
    Normalize(axis);
    const double along = Dot(axis, u);
    axis = {axis.x - along * u.x, axis.y - along * u.y, axis.z - along * u.z};
    Normalize(axis);
    return axis;
}

}  // namespace

YgeRVector::YgeRVector(const YgeMatrix& matrix, eRotationOrder order)
{
    // The first angle is read off where the second leaves it visible; the third is then what is left when
    // the first is turned back, which holds at the pole as well as far from it (Day, "Extracting Euler
    // angles from a rotation matrix", 2012).
    const auto [i, j, k, parity] = ybase::AxesOf(order);
    const double secondCosine = std::hypot(matrix(k, j), matrix(k, k));
    const bool atPole = secondCosine < poleCosine;
    const double sine = atPole ? 0.0 : parity * matrix(k, j) / secondCosine;
    const double cosine = atPole ? 1.0 : matrix(k, k) / secondCosine;
    (*this)[i] = AngleDegrees(sine, cosine);
    (*this)[j] = AngleDegrees(-parity * matrix(k, i), secondCosine);
    (*this)[k] = AngleDegrees(sine * matrix(i, k) - parity * cosine * matrix(i, j),
                              cosine * matrix(j, j) - parity * sine * matrix(j, k));
}

YgeRVector::YgeRVector(const YgeQuaternion& quaternion, eRotationOrder order)
    : YgeRVector(YgeMatrix(quaternion), order)
{}

YgeQuaternion::YgeQuaternion(const YgeRVector& angles, eRotationOrder order)
{
    const ybase::AxisOrder axes = ybase::AxesOf(order);
    *this =
        AxisQuaternion(axes.third, angles[axes.third]) *
        (AxisQuaternion(axes.second, angles[axes.second]) * AxisQuaternion(axes.first, angles[axes.first]));
}

YgeQuaternion::YgeQuaternion(const YgeMatrix& matrix)
{
    const double m0 = matrix(0, 0), m1 = matrix(1, 1), m2 = matrix(2, 2);
    // Four times the square of each part.
    const double fourX = 1.0 + m0 - m1 - m2;
    const double fourY = 1.0 - m0 + m1 - m2;
    const double fourZ = 1.0 - m0 - m1 + m2;
    const double fourW = 1.0 + m0 + m1 + m2;
    const double wx = matrix(2, 1) - matrix(1, 2), yz = matrix(2, 1) + matrix(1, 2);
    const double wy = matrix(0, 2) - matrix(2, 0), xz = matrix(0, 2) + matrix(2, 0);
    const double wz = matrix(1, 0) - matrix(0, 1), xy = matrix(1, 0) + matrix(0, 1);
    const double largest = std::max({fourX, fourY, fourZ, fourW});
    if (largest == fourW)
        *this = {wx, wy, wz, fourW};
    else if (largest == fourX)
        *this = {fourX, xy, xz, wx};
    else if (largest == fourY)
        *this = {xy, fourY, yz, wy};
    else
        *this = {xz, yz, fourZ, wz};

    // Negative when the first of w, x, y, z that is not zero is.
    const double leading = w != 0.0 ? w : x != 0.0 ? x : y != 0.0 ? y : z;
    const double factor = std::copysign(0.5 / std::sqrt(largest), leading);
    *this = {x * factor, y * factor, z * factor, w * factor};
}

YgeQuaternion YgeQuaternion::GetNormalized() const
{
    if (x == 0.0 && y == 0.0 && z == 0.0 && w == 0.0) return {};
    const double largest = std::max({std::abs(x), std::abs(y), std::abs(z), std::abs(w)});
    const YgeQuaternion q{x / largest, y / largest, z / largest, w / largest};
    const double length = Length(q);
    return {q.x / length, q.y / length, q.z / length, q.w / length};
}

double YgeQuaternion::GetAngleTo(const YgeQuaternion& other) const
{
    const YgeQuaternion turn = GetConjugate() * other;
    return 2.0 * std::atan2(std::hypot(turn.x, turn.y, turn.z), std::abs(turn.w)) * ybase::kDegreesPerRadian;
}

YgeQuaternion YgeQuaternion::GetPower(double exponent) const
{
    const YgeQuaternion q = GetNormalized();
    const double length = std::hypot(q.x, q.y, q.z);
    const SinCos half = SinCosDegrees(AngleDegrees(length, q.w) * exponent);
    if (length == 0.0) return {half.sine, 0.0, 0.0, half.cosine};
    const double scale = half.sine / length;
    return {q.x * scale, q.y * scale, q.z * scale, half.cosine};
}

YgeMatrix::YgeMatrix(const YgeRVector& angles, eRotationOrder order)
{
    const auto [i, j, k, parity] = ybase::AxesOf(order);
    const auto [sineI, cosI] = SinCosDegrees(angles[i]);
    const auto [sineJ, cosJ] = SinCosDegrees(angles[j]);
    const auto [sineK, cosK] = SinCosDegrees(angles[k]);
    const double sinI = parity * sineI, sinJ = parity * sineJ, sinK = parity * sineK;
    YgeMatrix& m = *this;
    m(i, i) = cosJ * cosK;
    m(j, i) = cosJ * sinK;
    m(k, i) = -sinJ;
    m(i, j) = sinI * sinJ * cosK - cosI * sinK;
    m(j, j) = sinI * sinJ * sinK + cosI * cosK;
    m(k, j) = sinI * cosJ;
    m(i, k) = cosI * sinJ * cosK + sinI * sinK;
    m(j, k) = cosI * sinJ * sinK - sinI * cosK;
    m(k, k) = cosI * cosJ;
}

YgeMatrix::YgeMatrix(const YgeQuaternion& quaternion)
{
    const auto [x, y, z, w] = quaternion;
    const double squaredLength = x * x + y * y + z * z + w * w;
    if (squaredLength == 0.0) return;
    const double two = 2.0 / squaredLength;
    YgeMatrix& m = *this;
    m(0, 0) = 1.0 - two * (y * y + z * z);
    m(1, 1) = 1.0 - two * (x * x + z * z);
    m(2, 2) = 1.0 - two * (x * x + y * y);
    m(1, 0) = two * (x * y + z * w);
    m(0, 1) = two * (x * y - z * w);
    m(0, 2) = two * (x * z + y * w);
    m(2, 0) = two * (x * z - y * w);
    m(2, 1) = two * (y * z + x * w);
    m(1, 2) = two * (y * z - x * w);
}

void GetQuaternionFromPositionToPosition(YgeQuaternion& q, const YgeVector& from, const YgeVector& to)
{
    q = {};
    YgeVector u = from, v = to;
    if (!Normalize(u) || !Normalize(v)) return;

    // The ends of u and v are as far apart as twice the sine of half the angle; the cosine is half the
    // length of their sum. Unlike the dot product this loses nothing near 0 and near 180 degrees.
    const double sine = 0.5 * Length({u.x - v.x, u.y - v.y, u.z - v.z});
    const double cosine = 0.5 * Length({u.x + v.x, u.y + v.y, u.z + v.z});
    const YgeVector axis = TurningAxis(u, v);
    q = {axis.x * sine, axis.y * sine, axis.z * sine, cosine};
}

YgeQuaternion Slerp(const YgeQuaternion& from, const YgeQuaternion& to, double fraction)
{
    // Exact half turns, whose dot product is zero but for rounding, keep the sign of `to`.
    constexpr double rounding = 1e-14;
    const double cosine = from.x * to.x + from.y * to.y + from.z * to.z + from.w * to.w;
    if (!std::isfinite(cosine)) return {notANumber, notANumber, notANumber, notANumber};
    const YgeQuaternion end = cosine < -rounding ? YgeQuaternion(-to.x, -to.y, -to.z, -to.w) : to;

    // Difference and sum give the angle without the digits that the dot product loses for small ones.
    const YgeQuaternion difference(end.x - from.x, end.y - from.y, end.z - from.z, end.w - from.w);
    const YgeQuaternion sum(end.x + from.x, end.y + from.y, end.z + from.z, end.w + from.w);
    const double angle = 2.0 * AngleDegrees(Length(difference), Length(sum));
    const double sine = SinCosDegrees(angle).sine;
    if (sine == 0.0) return from;
    const double a = SinCosDegrees((1.0 - fraction) * angle).sine / sine;
    const double b = SinCosDegrees(fraction * angle).sine / sine;
    const YgeQuaternion result(a * from.x + b * end.x, a * from.y + b * end.y, a * from.z + b * end.z,
                               a * from.w + b * end.w);
    // Far beyond the ends, small angles leave two large parts that cancel each other.
    return fraction < 0.0 || fraction > 1.0 ? result.GetNormalized() : result;
}
