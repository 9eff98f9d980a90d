#include "ybaselib/yrotation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <ostream>
#include <random>
#include <string>

namespace {

constexpr eRotationOrder allOrders[] = {eRotationOrder::XYZ, eRotationOrder::XZY, eRotationOrder::YZX,
                                        eRotationOrder::YXZ, eRotationOrder::ZXY, eRotationOrder::ZYX};
const std::string orderNames[] = {"XYZ", "XZY", "YZX", "YXZ", "ZXY", "ZYX"};

// The text-book rotation of a vector about one axis.
YgeVector Turn(YgeVector v, char axis, double degrees)
{
    const double s = std::sin(degrees * std::numbers::pi / 180.0);
    const double c = std::cos(degrees * std::numbers::pi / 180.0);
    if (axis == 'X') return {v.x, c * v.y - s * v.z, s * v.y + c * v.z};
    if (axis == 'Y') return {c * v.x + s * v.z, v.y, -s * v.x + c * v.z};
    return {c * v.x - s * v.y, s * v.x + c * v.y, v.z};
}

YgeVector TurnInOrder(YgeVector v, const YgeRVector& angles, const std::string& order)
{
    for (const char axis : order) v = Turn(v, axis, angles[axis - 'X']);
    return v;
}

double Distance(const YgeVector& a, const YgeVector& b)
{
    return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

double Length(const YgeVector& v)
{
    return std::hypot(v.x, v.y, v.z);
}

double LargestDifference(const YgeMatrix& a, const YgeMatrix& b)
{
    double largest = 0.0;
    for (int i = 0; i < 9; ++i) largest = std::max(largest, std::abs(a(i / 3, i % 3) - b(i / 3, i % 3)));
    return largest;
}

void ExpectAngles(const YgeRVector& actual, const YgeRVector& expected)
{
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_EQ(actual[axis], expected[axis]) << "axis " << axis;
        EXPECT_FALSE(actual[axis] == 0.0 && std::signbit(actual[axis])) << "axis " << axis;
    }
}

class RandomRotation : public testing::Test
{
  protected:
    RandomRotation() { RecordProperty("seed", seed); }

    double Angle() { return std::uniform_real_distribution(-720.0, 720.0)(mRandom); }
    double Part() { return std::uniform_real_distribution(-1.0, 1.0)(mRandom); }
    YgeVector Vector() { return {Part(), Part(), Part()}; }
    double TinyAngle()
    {
        return Part() * std::pow(10.0, std::uniform_real_distribution(-17.0, 0.0)(mRandom));
    }

    static constexpr int seed = 314159;
    const testing::ScopedTrace mTrace{__FILE__, __LINE__, "seed " + std::to_string(seed)};
    std::mt19937_64 mRandom{seed};
};

TEST_F(RandomRotation, MatrixAndQuaternionTurnAxisByAxisInOrder)
{
    for (int trial = 0; trial < 3000; ++trial) {
        const auto index = static_cast<std::size_t>(trial % 6);
        const YgeRVector angles(Angle(), Angle(), Angle());
        const YgeVector v = Vector();
        const YgeVector expected = TurnInOrder(v, angles, orderNames[index]);
        const YgeQuaternion quaternion(angles, allOrders[index]);
        const YgeQuaternion turned =
            quaternion * YgeQuaternion(v.x, v.y, v.z, 0.0) * quaternion.GetConjugate();
        ASSERT_LT(Distance(YgeMatrix(angles, allOrders[index]) * v, expected), 1e-14);
        ASSERT_LT(Distance({turned.x, turned.y, turned.z}, expected), 1e-14);
        ASSERT_LT(Distance(YgeMatrix(quaternion) * v, expected), 1e-14);
    }
}

TEST_F(RandomRotation, RoundTripsKeepTheRotationPolesIncluded)
{
    const double poles[] = {-90.0, 90.0, 270.0, 0.0, 180.0};
    for (int trial = 0; trial < 30'000; ++trial) {
        const eRotationOrder order = allOrders[trial % 6];
        const int second = orderNames[trial % 6][1] - 'X';
        YgeRVector angles(Angle(), Angle(), Angle());
        if (trial % 2 == 0) angles[second] = poles[trial % 5] + (trial % 3 == 0 ? 0.0 : TinyAngle());
        const YgeMatrix matrix(angles, order);

        const YgeRVector back(matrix, order);
        ASSERT_LT(LargestDifference(YgeMatrix(back, order), matrix), 4e-12);
        ASSERT_LE(std::abs(back[second]), 90.0);
        const YgeRVector fromQuaternion(YgeQuaternion(angles, order), order);
        ASSERT_LT(LargestDifference(YgeMatrix(fromQuaternion, order), matrix), 4e-12);

        const YgeQuaternion q(matrix);
        ASSERT_GE(q.w, 0.0);
        ASSERT_NEAR(q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w, 1.0, 1e-14);
        ASSERT_LT(LargestDifference(YgeMatrix(q), matrix), 2e-15);
    }
}

TEST_F(RandomRotation, AnglesInRangeComeBackThemselves)
{
    for (int trial = 0; trial < 3000; ++trial) {
        const eRotationOrder order = allOrders[trial % 6];
        YgeRVector angles(179.9 * Part(), 179.9 * Part(), 179.9 * Part());
        angles[orderNames[trial % 6][1] - 'X'] = 89.9 * Part();
        const YgeRVector back(YgeMatrix(angles, order), order);
        for (int axis = 0; axis < 3; ++axis) ASSERT_NEAR(back[axis], angles[axis], 1e-10);
    }
}

TEST(Rotation, QuarterTurnsAreExact)
{
    const YgeVector axes[] = {{1.0, 0.0, 0.0}, {0.0, 1.0, 0.0}, {0.0, 0.0, 1.0}};
    for (int combination = 0; combination < 9 * 9 * 9; ++combination) {
        const YgeRVector angles(90.0 * (combination % 9 - 4), 90.0 * (combination / 9 % 9 - 4),
                                90.0 * (combination / 81 - 4));
        const YgeMatrix matrix(angles, allOrders[combination % 6]);
        for (int i = 0; i < 3; ++i) {
            const YgeVector expected = TurnInOrder(axes[i], angles, orderNames[combination % 6]);
            ASSERT_EQ(matrix(0, i), std::round(expected.x));
            ASSERT_EQ(matrix(1, i), std::round(expected.y));
            ASSERT_EQ(matrix(2, i), std::round(expected.z));
        }
    }
    const YgeMatrix far(YgeRVector(0.0, 0.0, 90.0 * 1099511627777.0));
    EXPECT_EQ(LargestDifference(far, YgeMatrix(YgeRVector(0.0, 0.0, 90.0))), 0.0);
    const YgeMatrix throughQuaternion(YgeQuaternion(YgeRVector(0.0, 0.0, 90.0)));
    EXPECT_EQ(LargestDifference(throughQuaternion, far), 0.0);
}

TEST(Rotation, HalfTurnsAndPolesHaveOneAnswer)
{
    ExpectAngles(YgeRVector(YgeMatrix(YgeRVector(-180.0, 0.0, 0.0))), {180.0, 0.0, 0.0});
    ExpectAngles(YgeRVector(YgeMatrix(YgeRVector(0.0, 180.0, 0.0))), {180.0, 0.0, 180.0});
    ExpectAngles(YgeRVector(YgeMatrix()), {0.0, 0.0, 0.0});
    // At +90 degrees only x - z counts, at -90 only x + z.
    const YgeRVector up(YgeMatrix(YgeRVector(30.0, 90.0, 10.0)));
    EXPECT_EQ(up.x, 0.0);
    EXPECT_EQ(up.y, 90.0);
    EXPECT_NEAR(up.z, -20.0, 1e-13);
    const YgeRVector down(YgeMatrix(YgeRVector(30.0, -90.0, 10.0)));
    EXPECT_EQ(down.x, 0.0);
    EXPECT_NEAR(down.z, 40.0, 1e-13);

    for (const double degrees : {180.0, -180.0, 540.0}) {
        const YgeQuaternion q{YgeMatrix(YgeRVector(0.0, degrees, 0.0))};
        EXPECT_TRUE(q.x == 0.0 && q.y == 1.0 && q.z == 0.0 && q.w == 0.0) << degrees;
    }
}

TEST(Rotation, ComposingTurnsTheRightFactorFirst)
{
    const YgeRVector a(20.0, -50.0, 110.0), b(-75.0, 10.0, 40.0);
    const YgeVector v{0.3, -0.7, 0.2};
    const YgeVector expected = TurnInOrder(TurnInOrder(v, b, "XYZ"), a, "XYZ");
    EXPECT_LT(Distance(YgeMatrix(a) * YgeMatrix(b) * v, expected), 1e-15);
    EXPECT_LT(Distance(YgeMatrix(YgeQuaternion(a) * YgeQuaternion(b)) * v, expected), 1e-15);
    EXPECT_LT(LargestDifference(YgeMatrix(a) * YgeMatrix(a).GetTransposed(), YgeMatrix()), 1e-15);
    const YgeQuaternion long_(3e200, 0.0, 0.0, 4e200), none(0.0, 0.0, 0.0, 0.0);
    EXPECT_NEAR(long_.GetNormalized().w, 0.8, 1e-15);
    EXPECT_EQ(none.GetNormalized().w, 1.0);
    EXPECT_EQ(LargestDifference(YgeMatrix(none), YgeMatrix()), 0.0);
}

TEST(Rotation, BadInputIsContained)
{
    const auto unknown = static_cast<eRotationOrder>(6);
    const YgeRVector angles(10.0, 20.0, 30.0);
    EXPECT_EQ(LargestDifference(YgeMatrix(angles, unknown), YgeMatrix(angles)), 0.0);
    for (const double bad : {HUGE_VAL, std::nan("")}) {
        EXPECT_TRUE(std::isnan(YgeMatrix(YgeRVector(bad, 0.0, 0.0))(1, 1)));
        EXPECT_TRUE(std::isnan(YgeQuaternion(YgeRVector(bad, 0.0, 0.0)).w));
        YgeQuaternion q(1.0, 0.0, 0.0, 0.0);
        GetQuaternionFromPositionToPosition(q, {1.0, 0.0, 0.0}, {0.0, bad, 0.0});
        EXPECT_EQ(q.w, 1.0);
    }
}

TEST_F(RandomRotation, ShortestRotationReachesItsTargetAtEveryAngle)
{
    for (int trial = 0; trial < 20'000; ++trial) {
        const YgeVector u = Vector();
        const double sign = trial % 3 == 0 ? -1.0 : 1.0;
        YgeVector v = Vector();
        if (trial % 3 != 2)
            v = {sign * u.x + TinyAngle(), sign * u.y + TinyAngle(), sign * u.z + TinyAngle()};
        const double scale = trial % 2 == 0 ? 1e-300 : 1e300;
        YgeQuaternion q;
        GetQuaternionFromPositionToPosition(q, u, {v.x * scale, v.y * scale, v.z * scale});

        const double lengthU = Length(u), lengthV = Length(v);
        const YgeVector reached = YgeMatrix(q) * YgeVector{u.x / lengthU, u.y / lengthU, u.z / lengthU};
        ASSERT_LT(Distance(reached, {v.x / lengthV, v.y / lengthV, v.z / lengthV}), 3e-15);
        // Shortest: about an axis perpendicular to the direction.
        ASSERT_GE(q.w, 0.0);
        ASSERT_NEAR(q.x * u.x + q.y * u.y + q.z * u.z, 0.0, 1e-15);
        ASSERT_NEAR(q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w, 1.0, 1e-14);
    }
}

TEST(Rotation, ShortestRotationOfSpecialDirections)
{
    YgeQuaternion q(1.0, 0.0, 0.0, 0.0);
    const auto angles = [&q](const YgeVector& from, const YgeVector& to) {
        GetQuaternionFromPositionToPosition(q, from, to);
        return YgeRVector(q);
    };
    ExpectAngles(angles({}, {1.0, 0.0, 0.0}), {0.0, 0.0, 0.0});
    ExpectAngles(angles({1.0, 0.0, 0.0}, {}), {0.0, 0.0, 0.0});
    ExpectAngles(angles({1.0, 2.0, 3.0}, {2.0, 4.0, 6.0}), {0.0, 0.0, 0.0});
    EXPECT_NEAR(angles({1.0, 0.0, 0.0}, {0.0, 5.0, 0.0}).z, 90.0, 1e-13);
    EXPECT_NEAR(angles({0.0, 0.0, 1e-310}, {2.0, 0.0, 0.0}).y, 90.0, 1e-13);
    angles({0.0, 3.0, 0.0}, {0.0, -1.0, 0.0});
    EXPECT_TRUE(q.x == 0.0 && q.y == 0.0 && std::abs(q.z) == 1.0 && q.w == 0.0);
}

}  // namespace
