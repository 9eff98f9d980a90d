#pragma once

#include "ybaselib/yrotation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>
#include <string>

#include "tests/test_environment.h"

/// \file
/// What the tests of rotations share: rotations by the text book, and random ones.

inline constexpr eRotationOrder allOrders[] = {eRotationOrder::XYZ, eRotationOrder::XZY, eRotationOrder::YZX,
                                               eRotationOrder::YXZ, eRotationOrder::ZXY, eRotationOrder::ZYX};
inline const std::string orderNames[] = {"XYZ", "XZY", "YZX", "YXZ", "ZXY", "ZYX"};

inline double Radians(double degrees)
{
    return degrees * std::numbers::pi / 180.0;
}

inline double Degrees(double radians)
{
    return radians * 180.0 / std::numbers::pi;
}

/// The rotation of a vector about one axis.
inline YgeVector Turn(YgeVector v, char axis, double degrees)
{
    const double s = std::sin(Radians(degrees)), c = std::cos(Radians(degrees));
    if (axis == 'X') return {v.x, c * v.y - s * v.z, s * v.y + c * v.z};
    if (axis == 'Y') return {c * v.x + s * v.z, v.y, -s * v.x + c * v.z};
    return {c * v.x - s * v.y, s * v.x + c * v.y, v.z};
}

inline YgeVector TurnInOrder(YgeVector v, const YgeRVector& angles, const std::string& order)
{
    for (const char axis : order) v = Turn(v, axis, angles[axis - 'X']);
    return v;
}

inline double Distance(const YgeVector& a, const YgeVector& b)
{
    return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

inline double LargestDifference(const YgeMatrix& a, const YgeMatrix& b)
{
    double largest = 0.0;
    for (int i = 0; i < 9; ++i) largest = std::max(largest, std::abs(a(i / 3, i % 3) - b(i / 3, i % 3)));
    return largest;
}

class RandomRotation : public testing::Test
{
  protected:
    double Angle() { return std::uniform_real_distribution(-720.0, 720.0)(mRandom); }
    double Part() { return std::uniform_real_distribution(-1.0, 1.0)(mRandom); }
    YgeVector Vector() { return {Part(), Part(), Part()}; }
    YgeQuaternion UnitQuaternion() { return YgeQuaternion(Part(), Part(), Part(), Part()).GetNormalized(); }
    double TinyAngle()
    {
        return Part() * std::pow(10.0, std::uniform_real_distribution(-17.0, 0.0)(mRandom));
    }

    test::RandomEngine mRandom;
};
