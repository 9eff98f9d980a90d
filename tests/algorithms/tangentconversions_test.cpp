#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <initializer_list>
#include <tuple>
#include <utility>

#include "tests/curve/random_curve.h"
#include "tests/ybaselib/rotation_testing.h"
#include "yfcurve/yfcurvetangeants.h"

namespace {

using Point = std::array<double, 3>;

YFCurvePtr MakeCurve(std::initializer_list<std::pair<double, float>> keys)
{
    YFCurvePtr curve(YFCurveCreate());
    for (const auto& [seconds, value] : keys) curve->KeyAppendFast(YTime::FromSeconds(seconds), value);
    return curve;
}

// One of the four conversions between auto parameters and slopes, which share their arguments.
template<auto Convert>
double Converted(double value, double toLeft, double toRight)
{
    double result = 0.0;
    Convert(result, value, toLeft, toRight);
    return result;
}

constexpr auto LeftSlope = Converted<YFCURVE_ComputeLeftBezierFromAuto>;
constexpr auto RightSlope = Converted<YFCURVE_ComputeRightBezierFromAuto>;
constexpr auto LeftAuto = Converted<YFCURVE_ComputeLeftAutoFromBezier>;
constexpr auto RightAuto = Converted<YFCURVE_ComputeRightAutoFromBezier>;

struct TCB
{
    double tension, continuity, bias;
};

TCB ComputeTCB(double tension, double left, double right, YFCurve& curve, int index)
{
    TCB tcb = {tension, 99.0, 99.0};
    YFCURVE_ComputeTCBFromBezierForKey(tcb.tension, tcb.continuity, tcb.bias, left, right, &curve, index);
    return tcb;
}

void ExpectTCB(const TCB& tcb, double tension, double continuity, double bias)
{
    EXPECT_NEAR(tcb.tension, tension, 1e-12);
    EXPECT_NEAR(tcb.continuity, continuity, 1e-12);
    EXPECT_NEAR(tcb.bias, bias, 1e-12);
}

Point Align(Point origin, Point from, Point to)
{
    Point angles = {7.0, 7.0, 7.0};
    EXPECT_TRUE(AxisAlignmentInEulerAngle(origin.data(), from.data(), to.data(), angles.data()));
    return angles;
}

}  // namespace

// The tests of curves have what auto keys make of the parameters; these are their limits.
TEST(TangentConversions, AutoBlendsTheNeighbouringSlopes)
{
    // The left side hits the neighbours' slopes exactly, with some tolerance in the parameter.
    for (const double off : {-9e-6, 0.0, 9e-6}) {
        EXPECT_EQ(LeftSlope(100.0 + off, 0.1, 1e9), 0.1);
        EXPECT_EQ(LeftSlope(-100.0 + off, 1e9, 0.3), 0.3);
    }
    EXPECT_NE(LeftSlope(100.0 + 2e-5, 0.1, 1e9), 0.1);
    EXPECT_NE(RightSlope(100.0 + 9e-6, 1e9, 0.3), 0.3);
    // Beyond 500 the blends are 5.25 and -2.25 at 750; a quarter of 1000 comes on top.
    EXPECT_EQ(LeftSlope(750.0, 2.0, 1.0), 255.25);
    EXPECT_EQ(RightSlope(-750.0, 2.0, 1.0), 255.25);
    // On a flat key the two sides spread, and only an overshoot says anything of the way back.
    EXPECT_EQ(LeftSlope(1000.0, 1.0, 1.0), -999.0);
    EXPECT_EQ(RightSlope(1000.0, 1.0, 1.0), 1001.0);
    EXPECT_EQ(LeftAuto(1.0, 1.0, 1.0), 0.0);
    EXPECT_EQ(RightAuto(1.0, 1.0, 1.0 + 9e-6), 0.0);
    for (const double sign : {1.0, -1.0}) {
        EXPECT_NEAR(LeftAuto(1.0 - sign * 1000.0, 1.0, 1.0), sign * 1000.0, 1e-9);
        EXPECT_NEAR(RightAuto(1.0 + sign * 1000.0, 1.0, 1.0), sign * 1000.0, 1e-9);
    }
}

TEST(TangentConversions, TinySlopesBecomeZeroInTheCallersVariable)
{
    double toLeft = 2.0, toRight = 1.0, leftAuto = 0.0, rightAuto = 0.0;
    double left = 9e-6, right = -9e-6;
    YFCURVE_ComputeAutoFromBezier(leftAuto, rightAuto, left, right, toLeft, toRight);
    EXPECT_EQ(left, 0.0);
    EXPECT_EQ(right, 0.0);
    EXPECT_EQ(leftAuto, -300.0);
    EXPECT_EQ(rightAuto, 300.0);

    left = 1.1e-5;
    YFCURVE_ComputeLeftAutoFromBezier(leftAuto, left, toLeft, toRight);
    EXPECT_EQ(left, 1.1e-5);

    // An edge of the linear region that is all but zero counts as zero: -500 exactly, not beyond.
    EXPECT_NEAR(LeftAuto(0.0, 3.0, 2.0 - 3e-6), -500.0, 1e-2);
}

TEST(TangentConversions, AreInverseAndReadTheSlopesBesideAKey)
{
    RandomCurves random;
    for (int i = 0; i < 20000; ++i) {
        const double in = random.Real(-10.0, 10.0), out = random.Real(-10.0, 10.0);
        const double autoIn = random.Real(-450.0, 450.0), autoOut = random.Real(-450.0, 450.0);
        if (std::fabs(in - out) < 0.01) continue;
        const double expectedLeft = ((100.0 + autoIn) * in + (100.0 - autoIn) * out) / 200.0;
        const double expectedRight = ((100.0 - autoOut) * in + (100.0 + autoOut) * out) / 200.0;
        if (std::fabs(expectedLeft) < 1e-3 || std::fabs(expectedRight) < 1e-3) continue;
        ASSERT_NEAR(LeftSlope(autoIn, in, out), expectedLeft, 1e-9);
        ASSERT_NEAR(RightSlope(autoOut, in, out), expectedRight, 1e-9);
        for (const double factor : {1.0, 3.0}) {  // beyond 500 they overshoot
            const double left = LeftSlope(factor * autoIn, in, out);
            const double right = RightSlope(factor * autoOut, in, out);
            if (std::fabs(left) < 1e-3 || std::fabs(right) < 1e-3) continue;
            ASSERT_NEAR(LeftAuto(left, in, out), factor * autoIn, 1e-4) << in << " " << out;
            ASSERT_NEAR(RightAuto(right, in, out), factor * autoOut, 1e-4) << in << " " << out;
        }
        if (i % 20 != 0) continue;
        // The same for a key between two others, one and two seconds away.
        const YFCurvePtr curve =
            MakeCurve({{0.0, static_cast<float>(-in)}, {1.0, 0.0f}, {3.0, static_cast<float>(2.0 * out)}});
        double left = 0.0, right = 0.0, one = 0.0, leftAuto = autoIn, rightAuto = autoOut;
        for (const auto& [key, toLeft, toRight] : {std::tuple(0, in, in), {1, in, out}, {2, out, out}}) {
            YFCURVE_ComputeToLeftAndToRight(left, right, curve.get(), key);
            ASSERT_NEAR(left, toLeft, 1e-5);
            ASSERT_NEAR(right, toRight, 1e-5);
        }
        YFCURVE_ComputeBezierFromAutoForKey(left, right, leftAuto, rightAuto, curve.get(), 1);
        ASSERT_NEAR(left, expectedLeft, 1e-4);
        ASSERT_NEAR(right, expectedRight, 1e-4);
        YFCURVE_ComputeLeftBezierFromAutoForKey(one, leftAuto, curve.get(), 1);
        ASSERT_EQ(one, left);
        YFCURVE_ComputeRightBezierFromAutoForKey(one, rightAuto, curve.get(), 1);
        ASSERT_EQ(one, right);
        YFCURVE_ComputeAutoFromBezierForKey(leftAuto, rightAuto, left, right, curve.get(), 1);
        ASSERT_NEAR(leftAuto, autoIn, 1e-4);
        ASSERT_NEAR(rightAuto, autoOut, 1e-4);
        YFCURVE_ComputeLeftAutoFromBezierForKey(one, left, curve.get(), 1);
        ASSERT_EQ(one, leftAuto);
        YFCURVE_ComputeRightAutoFromBezierForKey(one, right, curve.get(), 1);
        ASSERT_EQ(one, rightAuto);
    }
}

TEST(TangentConversions, ForKeysOfCurvesWithoutSlopes)
{
    const YFCurvePtr empty = MakeCurve({});
    double left = 1.0, right = 2.0, leftAuto = 30.0, rightAuto = 40.0;
    YFCURVE_ComputeBezierFromAutoForKey(left, right, leftAuto, rightAuto, empty.get(), 0);
    EXPECT_EQ(std::pair(left, right), std::pair(0.0, 0.0));
    left = right = 2.0;
    YFCURVE_ComputeAutoFromBezierForKey(leftAuto, rightAuto, left, right, empty.get(), 0);
    EXPECT_EQ(std::pair(left, right), std::pair(0.0, 0.0));
    EXPECT_EQ(std::pair(leftAuto, rightAuto), std::pair(30.0, 40.0));
    // A lone key stands between segments of slope 0.
    left = right = 2.0;
    YFCURVE_ComputeBezierFromAutoForKey(left, right, leftAuto, rightAuto, MakeCurve({{1.0, 4.0f}}).get(), 0);
    EXPECT_EQ(std::pair(left, right), std::pair(0.0, 0.0));
}

TEST(TangentConversions, TCBFromSlopes)
{
    const YFCurvePtr curve = MakeCurve({{0.0, 0.0f}, {1.0, 2.0f}, {3.0, 1.0f}});
    // A tension that would leave no slope is given up.
    ExpectTCB(ComputeTCB(0.995, 0.75, 0.75, *curve, 1), 0.0, 0.0, 0.0);
    ExpectTCB(ComputeTCB(1.005, 0.75, 0.75, *curve, 1), 0.0, 0.0, 0.0);

    // Ends: the outer slope does not matter, the inner one counts by half.
    ExpectTCB(ComputeTCB(0.0, 55.0, 4.0, *curve, 0), 0.0, -1.0, 0.0);
    ExpectTCB(ComputeTCB(0.0, 4.0, 55.0, *curve, 2), 0.0, -1.0, -5.0);

    const YFCurvePtr straight = MakeCurve({{0.0, 0.0f}, {1.0, 2.0f}, {2.0, 4.0f}});
    ExpectTCB(ComputeTCB(0.7, 1.0, 3.0, *straight, 1), 1.25, 2.0, 1.0);
    ExpectTCB(ComputeTCB(0.7, 1.0, 1.0, *straight, 1), 0.0, 0.0, 0.0);
    ExpectTCB(ComputeTCB(0.7, 1.0, 3.0, *MakeCurve({{1.0, 4.0f}}), 0), 0.0, 0.0, 0.0);
}

TEST(TangentConversions, TCBInvertsKochanekAndBartels)
{
    RandomCurves random;
    const auto parameter = [&] { return random.Real(-0.9, 0.9); };
    for (int i = 0; i < 2000; ++i) {
        const float first = random.Float(-10.0, 10.0), last = random.Float(-10.0, 10.0);
        const YFCurvePtr curve = MakeCurve({{0.0, first}, {1.0, 0.0f}, {2.0, last}});
        const double in = -first, out = last;
        const double t = parameter(), c = parameter(), b = parameter();
        // The equation for the continuity has no solution where this vanishes.
        if (std::fabs(in - out) < 0.1 || std::fabs(b * (in + out) + in - out) < 0.1) continue;
        const double left = (1 - t) / 2 * ((1 - c) * (1 + b) * in + (1 + c) * (1 - b) * out);
        const double right = (1 - t) / 2 * ((1 + c) * (1 + b) * in + (1 - c) * (1 - b) * out);
        const TCB tcb = ComputeTCB(t, left, right, *curve, 1);
        ASSERT_EQ(tcb.tension, t);
        ASSERT_NEAR(tcb.continuity, c, 1e-9);
        ASSERT_NEAR(tcb.bias, b, 1e-9);
    }
}

TEST(AxisAlignment, TurnsOneDirectionIntoAnother)
{
    RandomCurves random;
    const auto part = [&] { return random.Real(-1.0, 1.0); };
    for (int i = 0; i < 1000; ++i) {
        Point u = {part(), part(), part()}, v = {part(), part(), part()};
        const double uLength = std::hypot(u[0], u[1], u[2]), vLength = std::hypot(v[0], v[1], v[2]);
        for (std::size_t k = 0; k < 3; ++k) u[k] /= uLength, v[k] /= vLength;
        const Point angles = Align({1.0, -2.0, 3.0}, {1.0 + u[0], -2.0 + u[1], 3.0 + u[2]},
                                   {1.0 + 2.0 * v[0], -2.0 + 2.0 * v[1], 3.0 + 2.0 * v[2]});
        if (angles == Point{} || angles == Point{180.0, 0.0, 0.0}) continue;
        const YgeVector turned = TurnInOrder({u[0], u[1], u[2]}, {angles[0], angles[1], angles[2]}, "XYZ");
        EXPECT_LT(Distance(turned, {v[0], v[1], v[2]}), 1e-7);
    }
}

TEST(AxisAlignment, AbsorbsDegenerateDirections)
{
    const Point none = {}, halfTurn = {180.0, 0.0, 0.0};
    EXPECT_EQ(Align({}, {1.0, 2.0, 3.0}, {2.0, 4.0, 6.0}), none);
    EXPECT_EQ(Align({}, {1.0, 0.0, 0.0}, {1.0, 0.0009, 0.0}), none);
    EXPECT_NE(Align({}, {1.0, 0.0, 0.0}, {1.0, 0.0011, 0.0}), none);
    EXPECT_EQ(Align({1.0, 1.0, 1.0}, {1.0, 1.0, 1.0}, {1.0, 1.0, 1.0}), none);
    EXPECT_EQ(Align({}, {0.0, 0.0, 0.0}, {0.0, 1.0, 0.0}), none);
    for (const Point& v : {Point{3.0, 0.0, 0.0}, Point{0.0, 3.0, 0.0}, Point{1.0, 2.0, 3.0}})
        EXPECT_EQ(Align({}, v, {-v[0], -v[1], -v[2]}), halfTurn);
}
