#include "rotation_testing.h"

#include <cmath>
#include <limits>
#include <string>

namespace {

double Distance(const YgeRVector& a, const YgeRVector& b)
{
    return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
}

double OrientationError(const YgeRVector& a, const YgeRVector& b, eRotationOrder order)
{
    return LargestDifference(YgeMatrix(a, order), YgeMatrix(b, order));
}

void ExpectEqual(const YgeRVector& actual, const YgeRVector& expected)
{
    for (int axis = 0; axis < 3; ++axis) EXPECT_EQ(actual[axis], expected[axis]) << axis;
}

// The distance from the reference of the nearest among all shifts by up to five turns, flipped or not.
double SearchShiftsAndFlips(const YgeRVector& angles, const YgeRVector& reference, int second)
{
    double nearest = HUGE_VAL;
    for (int index = 0; index < 2 * 11 * 11 * 11; ++index) {
        YgeRVector candidate = angles;
        if (index % 2 == 1) {
            for (int axis = 0; axis < 3; ++axis) candidate[axis] += 180.0;
            candidate[second] = 180.0 - angles[second];
        }
        candidate.x += 360.0 * (index / 2 % 11 - 5);
        candidate.y += 360.0 * (index / 22 % 11 - 5);
        candidate.z += 360.0 * (index / 242 - 5);
        nearest = std::min(nearest, Distance(candidate, reference));
    }
    return nearest;
}

TEST_F(RandomRotation, NearestTripleIsTheBestOfAllShiftsAndFlips)
{
    for (int trial = 0; trial < 900; ++trial) {
        const std::string& name = orderNames[trial % 6];
        const YgeRVector angles(Angle(), Angle(), Angle()), reference(Angle(), Angle(), Angle());
        const YgeRVector result = V2VRef(angles, reference, allOrders[trial % 6]);
        ASSERT_LT(OrientationError(result, angles, allOrders[trial % 6]), 1e-13);
        ASSERT_NEAR(Distance(result, reference), SearchShiftsAndFlips(angles, reference, name[1] - 'X'),
                    1e-9);
        ExpectEqual(V2VRef(result, reference, allOrders[trial % 6]), result);
    }
}

TEST_F(RandomRotation, NearAPoleTheOrientationIsKept)
{
    for (int trial = 0; trial < 20'000; ++trial) {
        const std::string& name = orderNames[trial % 6];
        YgeRVector angles(Angle(), Angle(), Angle());
        const double off = std::pow(10.0, -3.0 - trial % 11) * Part();
        angles[name[1] - 'X'] = 180.0 * (trial / 6 % 7) - 450.0 + off;
        const YgeRVector reference(Angle(), Angle(), Angle());
        const YgeRVector result = V2VRef(angles, reference, allOrders[trial % 6]);
        const double allowed = std::abs(off) <= 1e-6 ? Radians(1.5 * std::abs(off)) : 0.0;
        ASSERT_LE(OrientationError(result, angles, allOrders[trial % 6]), allowed + 1e-13)
            << "off by " << off;
    }
}

TEST(NearestTriple, ManyTurnsAreExact)
{
    const YgeRVector angles(10.25, -20.5, 30.125);
    const YgeRVector far(10.25 + 360.0 * 12345.0, -20.5 - 360.0 * 54321.0, 30.125 + 360.0 * 99999.0);
    const YgeRVector flipped(190.25 - 360.0 * 2e6, 200.5 + 360.0 * 7000.0, -149.875 + 360.0 * 3.0);
    for (const YgeRVector& other : {far, flipped}) {
        ExpectEqual(V2VRef(other, angles), angles);
        ExpectEqual(V2VRef(angles, other), other);
    }
    // The poles: only z - x counts at 90, only z + x at -90.
    const YgeRVector up(720.0 * 1000.0, 90.0 + 360.0 * 5000.0, -720.0 * 3000.0);
    ExpectEqual(V2VRef(up, {40.0, 90.0, 40.0}), {40.0, 90.0, 40.0});
    ExpectEqual(V2VRef({30.0, 90.0, 10.0}, {360000.0, 90.0, 0.0}), {360010.0, 90.0, -10.0});
    ExpectEqual(V2VRef({30.0, -90.0, 10.0}, {360000.0, 270.0, 0.0}), {360020.0, 270.0, 20.0});
}

TEST(NearestTriple, TiesKeepTheAnglesOrMoveThemLeast)
{
    for (const double sign : {1.0, -1.0}) {
        ExpectEqual(V2VRef({sign * 180.0, 10.0, 0.0}, {0.0, 10.0, 0.0}), {sign * 180.0, 10.0, 0.0});
        ExpectEqual(V2VRef({sign * 540.0, 10.0, 0.0}, {0.0, 10.0, 0.0}), {sign * 180.0, 10.0, 0.0});
        const double rounded = sign * (180.0 + 1e-13);
        ExpectEqual(V2VRef({rounded, 10.0, 0.0}, {0.0, 10.0, 0.0}), {rounded, 10.0, 0.0});
        // Flipped, the triple is (-90, 180, -90) and just as near.
        ExpectEqual(V2VRef({90.0, 0.0, 90.0}, {0.0, sign * 90.0, 0.0}), {90.0, 0.0, 90.0});
        // Half a turn from the line of the reference.
        ExpectEqual(V2VRef({0.0, 90.0, sign * 180.0}, {0.0, 90.0, 0.0}), {-sign * 90.0, 90.0, sign * 90.0});
    }
}

TEST(NearestTriple, BadInputComesBackUnchanged)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const YgeRVector good(370.0, 20.0, 30.0);
    for (const double bad : {infinity, -infinity, 1.1e9, -1e300}) {
        ExpectEqual(V2VRef({370.0, bad, 30.0}, {}), {370.0, bad, 30.0});
        ExpectEqual(V2VRef(good, {0.0, 0.0, bad}), good);
    }
    ExpectEqual(V2VRef(good, {0.0, std::nan(""), 0.0}), good);
    const YgeRVector result = V2VRef({370.0, std::nan(""), 30.0}, {});
    EXPECT_TRUE(result.x == 370.0 && std::isnan(result.y) && result.z == 30.0);
    ExpectEqual(V2VRef(good, {}, static_cast<eRotationOrder>(-1)), {10.0, 20.0, 30.0});
}

}  // namespace
