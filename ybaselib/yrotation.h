#pragma once

#include "ybaselib/yexport.h"

/// \file
/// Rotations as Euler angles, quaternions and matrices, in double precision, and the ways between them.
///
/// Coordinates are right-handed and vectors are columns: a matrix or quaternion on the left rotates the
/// vector on its right, and in a product the right factor rotates first. Positive angles turn
/// counter-clockwise for someone whom the axis points at. Angles are in degrees, and multiples of 90
/// degrees have exact sines and cosines. Infinities and not-a-number come out as not-a-number.

/// The order in which the three angles of an Euler triple turn a vector. The first letter is the axis
/// that turns it first, all about the fixed axes: `XYZ` is the matrix Rz * Ry * Rx. Functions take values
/// outside the enumeration as `XYZ`.
enum class eRotationOrder : int
{
    XYZ = 0,
    XZY = 1,
    YZX = 2,
    YXZ = 3,
    ZXY = 4,
    ZYX = 5
};

class YgeMatrix;
class YgeQuaternion;

/// A vector or a direction.
struct YgeVector
{
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
};

/// A rotation as three Euler angles in degrees, each about the axis that it is named after.
class YBASELIB_EXPORT YgeRVector
{
  public:
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;

    constexpr YgeRVector() = default;
    constexpr YgeRVector(double xDegrees, double yDegrees, double zDegrees)
        : x(xDegrees), y(yDegrees), z(zDegrees)
    {}

    /// The triple of a rotation whose second angle to turn lies in -90..90, the others in -180..180. Within
    /// 1e-12 of the pole, where that second angle is a quarter turn and only a sum of the other two is
    /// determined, the angle that turns first is 0. The matrix has to be a rotation.
    explicit YgeRVector(const YgeMatrix& matrix, eRotationOrder order = eRotationOrder::XYZ);
    explicit YgeRVector(const YgeQuaternion& quaternion, eRotationOrder order = eRotationOrder::XYZ);

    /// Angle 0, 1 or 2: x, y or z.
    constexpr double& operator[](int axis) { return axis == 0 ? x : axis == 1 ? y : z; }
    constexpr double operator[](int axis) const { return axis == 0 ? x : axis == 1 ? y : z; }
};

/// A rotation as a unit quaternion. A quaternion and its negative are the same rotation.
class YBASELIB_EXPORT YgeQuaternion
{
  public:
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    double w = 1.0;  ///< the cosine of half the angle

    /// No rotation.
    constexpr YgeQuaternion() = default;
    constexpr YgeQuaternion(double xPart, double yPart, double zPart, double wPart)
        : x(xPart), y(yPart), z(zPart), w(wPart)
    {}

    /// The quaternion made from half of each angle, so that adding a full turn to an angle negates it.
    explicit YgeQuaternion(const YgeRVector& angles, eRotationOrder order = eRotationOrder::XYZ);

    /// Of the two quaternions of a rotation the one with w >= 0, which turns by half a turn at most; for
    /// half turns the one whose first non-zero part is positive. Divides by the largest part, so it is as
    /// exact for half turns as for small ones (Shepperd 1978). The matrix has to be a rotation.
    explicit YgeQuaternion(const YgeMatrix& matrix);

    /// The reverse rotation of a unit quaternion.
    constexpr YgeQuaternion GetConjugate() const { return {-x, -y, -z, w}; }

    /// The same rotation at length 1; no rotation when all parts are zero.
    YgeQuaternion GetNormalized() const;

    /// The angle of the shorter turn from this rotation to another one, in degrees from 0 to 180, at any length
    /// of both. Keeps all digits of tiny angles.
    double GetAngleTo(const YgeQuaternion& other) const;

    /// The rotation about the same axis whose half angle, acos(w) in 0..180 degrees, is `exponent` times as
    /// large, at length 1. No rotation for exponent 0, this one for 1, the reverse one for -1; exponents
    /// add up in products. Of q and -q, which are the same rotation, the one with w < 0 is taken at its
    /// word, as a turn by more than 180 degrees: negate it first to scale the shorter turn. Keeps all digits
    /// of tiny angles. (0, 0, 0, -1), a full turn without an axis, turns about x; all zeros do not turn.
    YgeQuaternion GetPower(double exponent) const;

    /// First `b`, then `a`.
    friend constexpr YgeQuaternion operator*(const YgeQuaternion& a, const YgeQuaternion& b)
    {
        return {a.w * b.x + a.x * b.w + a.y * b.z - a.z * b.y, a.w * b.y - a.x * b.z + a.y * b.w + a.z * b.x,
                a.w * b.z + a.x * b.y - a.y * b.x + a.z * b.w, a.w * b.w - a.x * b.x - a.y * b.y - a.z * b.z};
    }
};

/// A rotation as a matrix: its columns are where the three axes go.
class YBASELIB_EXPORT YgeMatrix
{
  public:
    /// No rotation.
    constexpr YgeMatrix() = default;
    explicit YgeMatrix(const YgeRVector& angles, eRotationOrder order = eRotationOrder::XYZ);

    /// The quaternion need not have length 1; one of all zeros means no rotation.
    explicit YgeMatrix(const YgeQuaternion& quaternion);

    /// The element in a row and a column, each 0..2.
    constexpr double& operator()(int row, int column) { return mElement[row][column]; }
    constexpr double operator()(int row, int column) const { return mElement[row][column]; }

    /// The reverse rotation.
    constexpr YgeMatrix GetTransposed() const
    {
        YgeMatrix result;
        for (int row = 0; row < 3; ++row)
            for (int column = 0; column < 3; ++column) result(row, column) = mElement[column][row];
        return result;
    }

    /// First `b`, then `a`.
    friend constexpr YgeMatrix operator*(const YgeMatrix& a, const YgeMatrix& b)
    {
        YgeMatrix result;
        for (int row = 0; row < 3; ++row)
            for (int column = 0; column < 3; ++column)
                result(row, column) =
                    a(row, 0) * b(0, column) + a(row, 1) * b(1, column) + a(row, 2) * b(2, column);
        return result;
    }

    friend constexpr YgeVector operator*(const YgeMatrix& a, const YgeVector& v)
    {
        return {a(0, 0) * v.x + a(0, 1) * v.y + a(0, 2) * v.z, a(1, 0) * v.x + a(1, 1) * v.y + a(1, 2) * v.z,
                a(2, 0) * v.x + a(2, 1) * v.y + a(2, 2) * v.z};
    }

  private:
    double mElement[3][3] = {{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}};
};

/// The shortest rotation that turns one direction into another, accurate for all angles from none to a
/// half turn. The lengths of the directions do not matter.
/// \param q  takes the rotation, w >= 0. For opposite directions, between which every half turn about a
///           perpendicular axis is shortest, that axis is `from` crossed with the coordinate axis that it
///           leans on least. No rotation when a direction has no length or is not finite.
YBASELIB_EXPORT void GetQuaternionFromPositionToPosition(YgeQuaternion& q, const YgeVector& from,
                                                         const YgeVector& to);

/// The rotation on the shortest way between two, at steady speed (spherical linear interpolation, Shoemake,
/// "Animating Rotation with Quaternion Curves", 1985).
/// \param from, to  unit quaternions. Their signs do not matter, except that between rotations half a turn
///                  apart, to within rounding, both ways are shortest and the one towards `to` as it stands,
///                  not towards its negative, is taken. Equal rotations give `from`.
/// \param fraction  0 gives `from`, 1 gives `to` or its negative, whichever is nearer to `from`. Beyond 0..1
///                  the turn goes on about the same axis: when c = Slerp(a, b, t), t in 0..1 but not 0, then
///                  Slerp(a, c, 1 / t) is the rotation b again. The way through more than half a turn, should
///                  it be wanted, is `from * (from.GetConjugate() * to).GetPower(fraction)`.
YBASELIB_EXPORT YgeQuaternion Slerp(const YgeQuaternion& from, const YgeQuaternion& to, double fraction);

/// Of all Euler triples of one orientation, the one nearest a reference: the triple with which a curve goes
/// on without a jump. Equivalent are the shifts of each angle by full turns, those of the flipped triple,
/// whose first and third angle to turn are half a turn further and whose second angle b has become 180 - b,
/// and at a pole, where b is an odd number of quarter turns, everything that keeps the sum or difference of
/// first and third angle which alone counts there. Nearest is meant in the Euclidean distance of the angles.
/// - Within 1e-6 degrees of a pole the orientation is taken to be at the pole; b keeps its distance from it,
///   on the side that changes the orientation least. This change is less than one and a half times that
///   distance, which is less than single precision resolves at 90.
/// - Between triples that are equally near, to within 1e-9 degrees, the one that is not flipped is taken, and
///   of two shifts the smaller one. So a triple away from the poles that is as near as any comes back as is.
/// - Shifts are whole turns, added with one rounding, however many they are.
/// \return  `angles` unchanged when an angle of either triple is not finite or beyond 1e9 degrees, where
///          doubles no longer resolve 1e-7 degrees.
YBASELIB_EXPORT YgeRVector V2VRef(const YgeRVector& angles, const YgeRVector& reference,
                                  eRotationOrder order = eRotationOrder::XYZ);
