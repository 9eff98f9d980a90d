#include "rotation_testing.h"

#include <Imath/ImathQuat.h>

#include <algorithm>
#include <cmath>

namespace {

double Length(const YgeVector& v)
{
    return std::hypot(v.x, v.y, v.z);
}

double Difference(const YgeQuaternion& a, const YgeQuaternion& b)
{
    return std::max(std::hypot(a.x - b.x, a.y - b.y, a.z - b.z), std::abs(a.w - b.w));
}

YgeQuaternion Negative(const YgeQuaternion& q)
{
    return {-q.x, -q.y, -q.z, -q.w};
}

void ExpectAngles(const YgeRVector& actual, const YgeRVector& expected)
{
    for (int axis = 0; axis < 3; ++axis) {
        EXPECT_EQ(actual[axis], expected[axis]) << "axis " << axis;
        EXPECT_FALSE(actual[axis] == 0.0 && std::signbit(actual[axis])) << "axis " << axis;
    }
}

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
    for (int trial = 0; trial < 12000; ++trial) {
        const eRotationOrder order = allOrders[trial % 6];
        const int second = orderNames[trial % 6][1] - 'X';
        YgeRVector angles(Angle(), Angle(), Angle());
        if (trial % 2 == 0) angles[second] = poles[trial % 5] + (trial % 3 == 0 ? 0.0 : TinyAngle());
        const YgeMatrix matrix(angles, order);
        ASSERT_LT(LargestDifference(matrix * matrix.GetTransposed(), YgeMatrix()), 1e-15);

        const YgeRVector back(matrix, order);
        ASSERT_LT(LargestDifference(YgeMatrix(back, order), matrix), 4e-12);
        ASSERT_LE(std::abs(back[second]), 90.0);
        for (int axis = 0; axis < 3; ++axis) ASSERT_LE(std::abs(back[axis]), 180.0);
        const YgeRVector fromQuaternion(YgeQuaternion(angles, order), order);
        ASSERT_LT(LargestDifference(YgeMatrix(fromQuaternion, order), matrix), 4e-12);

        const YgeQuaternion q(matrix);
        ASSERT_GE(q.w, 0.0);
        ASSERT_NEAR(q.x * q.x + q.y * q.y + q.z * q.z + q.w * q.w, 1.0, 1e-14);
        ASSERT_LT(LargestDifference(YgeMatrix(q), matrix), 2e-15);
    }
}

TEST(Rotation, HalfTurnsAndPolesHaveOneForm)
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

TEST(Rotation, LengthsThatAreNone)
{
    const YgeQuaternion huge(3e200, 0.0, 0.0, 4e200), none(0.0, 0.0, 0.0, 0.0);
    EXPECT_NEAR(huge.GetNormalized().w, 0.8, 1e-15);
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
        for (const YgeVector& to : {YgeVector{0.0, bad, 0.0}, YgeVector{}}) {
            YgeQuaternion q(1.0, 0.0, 0.0, 0.0);
            GetQuaternionFromPositionToPosition(q, {1.0, 0.0, 0.0}, to);
            EXPECT_EQ(q.w, 1.0);
        }
        EXPECT_TRUE(std::isnan(YgeQuaternion(YgeRVector(0.0, 90.0, 0.0)).GetPower(bad).w));
        EXPECT_TRUE(std::isnan(Slerp({}, YgeQuaternion(bad, 0.0, 0.0, 1.0), 0.5).w));
    }
    YgeQuaternion back;
    GetQuaternionFromPositionToPosition(back, {0.0, 3.0, 0.0}, {0.0, -1.0, 0.0});
    EXPECT_TRUE(back.x == 0.0 && back.y == 0.0 && std::abs(back.z) == 1.0 && back.w == 0.0);
}

TEST_F(RandomRotation, ShortestRotationReachesItsTargetAtEveryAngle)
{
    for (int trial = 0; trial < 6000; ++trial) {
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

Imath::Quatd ToImath(const YgeQuaternion& q)
{
    return {q.w, q.x, q.y, q.z};
}

TEST_F(RandomRotation, SlerpAgreesWithImathAndReachesItsEnds)
{
    for (int trial = 0; trial < 6000; ++trial) {
        const YgeQuaternion a = UnitQuaternion();
        YgeQuaternion b = UnitQuaternion();
        if (trial % 3 == 0)
            b = (a * YgeQuaternion(TinyAngle(), TinyAngle(), TinyAngle(), 1.0)).GetNormalized();
        if (trial % 2 == 0) b = Negative(b);
        const double fraction = trial % 5 == 0 ? 2.0 * Part() : std::abs(Part());
        const Imath::Quatd expected = Imath::slerpShortestArc(ToImath(a), ToImath(b), fraction);
        const YgeQuaternion found = Slerp(a, b, fraction);
        ASSERT_LT(Difference(found, {expected.v.x, expected.v.y, expected.v.z, expected.r}), 1e-14);
        const YgeQuaternion end = Slerp(a, b, 1.0);
        ASSERT_EQ(Difference(Slerp(a, b, 0.0), a), 0.0);
        ASSERT_EQ(std::min(Difference(end, b), Difference(end, Negative(b))), 0.0);

        // A tiny turn, carried on a hundred million times, is still a rotation.
        const YgeQuaternion step = (a * YgeQuaternion(1e-8, 0.0, 0.0, 1.0)).GetNormalized();
        const YgeQuaternion far = Slerp(a, step, 1e8);
        ASSERT_NEAR(far.x * far.x + far.y * far.y + far.z * far.z + far.w * far.w, 1.0, 1e-15);
    }
}

TEST(Rotation, SlerpOfSpecialPairs)
{
    const YgeQuaternion none, quarter(YgeRVector(0.0, 90.0, 0.0));

    // The same rotation, whatever its sign.
    for (const YgeQuaternion& same : {quarter, Negative(quarter)})
        EXPECT_EQ(Difference(Slerp(quarter, same, 0.7), quarter), 0.0);

    // Half turns: towards the end as it stands, rounding or not.
    for (const double sign : {1.0, -1.0}) {
        const YgeQuaternion half(sign, 0.0, 0.0, 0.0);
        EXPECT_NEAR(YgeRVector(Slerp(none, half, 0.5)).x, sign * 90.0, 1e-13);
        const YgeQuaternion rounded(sign, 0.0, 0.0, -1e-15);
        EXPECT_NEAR(YgeRVector(Slerp(none, rounded, 0.5)).x, sign * 90.0, 1e-12);
    }
}

TEST_F(RandomRotation, PowerScalesTheAngleAboutTheSameAxis)
{
    for (int trial = 0; trial < 6000; ++trial) {
        const YgeVector v = Vector();
        const double length = Length(v);
        const double halfAngle = Radians(trial % 3 == 0 ? TinyAngle() : 180.0 * std::abs(Part()));
        const auto turn = [&](double half) {
            const double scale = std::sin(half) / length;
            return YgeQuaternion(v.x * scale, v.y * scale, v.z * scale, std::cos(half));
        };
        const YgeQuaternion q = turn(halfAngle);
        const double a = 5.0 * Part();
        const YgeQuaternion power = q.GetPower(a);
        ASSERT_LT(Difference(power, turn(a * halfAngle)), 1e-14);
        ASSERT_NEAR(power.x, v.x / length * std::sin(a * halfAngle), 1e-13 * std::abs(halfAngle));

        ASSERT_LT(Difference(q.GetPower(1.0), q), 1e-15);
        ASSERT_EQ(Difference(q.GetPower(0.0), {}), 0.0);
    }
}

TEST(Rotation, PowerOfSpecialTurns)
{
    // Quarter turns stay exact.
    const YgeQuaternion quarter(YgeRVector(0.0, 0.0, 90.0));
    EXPECT_EQ(Difference(quarter.GetPower(2.0), {0.0, 0.0, 1.0, 0.0}), 0.0);
    EXPECT_EQ(Difference(quarter.GetPower(4.0), {0.0, 0.0, 0.0, -1.0}), 0.0);

    // A full turn without an axis, none at all, and any length.
    EXPECT_EQ(Difference(YgeQuaternion(0.0, 0.0, 0.0, -1.0).GetPower(0.5), {1.0, 0.0, 0.0, 0.0}), 0.0);
    EXPECT_EQ(Difference(YgeQuaternion(0.0, 0.0, 0.0, -0.0).GetPower(0.5), {}), 0.0);
    EXPECT_LT(Difference(YgeQuaternion(0.0, 3e300, 0.0, 3e300).GetPower(2.0), {0.0, 1.0, 0.0, 0.0}), 1e-15);
}

TEST(Rotation, AngleOfTheShorterTurnAtEveryLength)
{
    const YgeQuaternion turn(YgeRVector(0.0, 0.0, 250.0));
    EXPECT_NEAR(turn.GetAngleTo({}), 110.0, 1e-13);
    EXPECT_NEAR(YgeQuaternion(0.0, 0.0, 0.0, -7.0).GetAngleTo(Negative(turn)), 110.0, 1e-13);
    EXPECT_NEAR(turn.GetAngleTo(turn * YgeQuaternion(YgeRVector(0.0, 1e-9, 0.0))), 1e-9, 1e-13);
}

}  // namespace
