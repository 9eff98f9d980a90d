#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

#include "tests/curve/random_curve.h"
#include "tests/filters/rotation_filters.h"
#include "tests/node/nodes.h"
#include "ybaselib/rotation/rotationorder.h"
#include "ybaselib/yrotation.h"
#include "yfcurve/yfcurvefiltersmooth.h"
#include "yfcurve/yfcurvefiltersmooth2.h"
#include "yfcurve/yfcurvesettings.h"

namespace {

using namespace nodetest;
using namespace yfc::test;
using rotationtest::Apart;
using rotationtest::Shown;

constexpr double kPi = std::numbers::pi;

template<class Function>
void Record(YFCurve& curve, double seconds, double rate, Function value)
{
    for (int i = 0; i <= static_cast<int>(seconds * rate); ++i)
        curve.KeyAppendFast(Sec(i / rate), static_cast<float>(value(i / rate)));
}

// --- Moving averages -----------------------------------------------------------------------------------

// The mean of what is up to so many steps away, with the weights of a cosine window that ends a step later.
template<class Value>
double Averaged(int reach, Value valueAt)
{
    double sum = 0.0;
    double weights = 0.0;
    for (int i = -reach; i <= reach; ++i) {
        const double weight = 1.0 + std::cos(kPi * i / (reach + 1));
        sum += weight * valueAt(i);
        weights += weight;
    }
    return sum / weights;
}

TEST(SmoothFilter, AveragesAndKeepsTheEndsAndStraightLines)
{
    YFCurve wave, line;
    const auto swing = [](double s) { return std::sin(10.0 * kPi * s + 0.3); };
    Record(wave, 2.0, 240.0, swing);
    Record(line, 2.0, 30.0, [](double s) { return 7.0 - 3.0 * s; });
    const YFCurve source(wave);
    YFCurveFilterSmooth filter;
    ASSERT_TRUE(filter.Apply(line));
    for (int i = 0; i < line.KeyGetCount(); ++i)
        EXPECT_NEAR(line.KeyGetValue(i), 7.0 - 3.0 * line.KeyGetTime(i).GetSecondDouble(), 2e-6);

    // In a span: its ends, and all outside, stay; keys between are on frames.
    filter.SetStartTime(Sec(0.51));
    filter.SetStopTime(Sec(1.49));
    ASSERT_TRUE(filter.Apply(wave));
    for (int frame = 18; frame < 42; ++frame) {
        const double seconds = frame / 30.0;
        EXPECT_EQ(wave.KeyFind(Sec(seconds)), std::floor(wave.KeyFind(Sec(seconds))));
        const double wanted = Averaged(3, [&](int step) { return swing(seconds + step / 60.0); });
        EXPECT_NEAR(wave.Evaluate(Sec(seconds)), wanted, 1e-4);
    }
    for (const double seconds : {0.0, 0.3, 0.505, 0.51, 1.49, 1.4999, 1.8})
        EXPECT_NEAR(wave.Evaluate(Sec(seconds)), source.Evaluate(Sec(seconds)), 1e-6) << seconds;
}

// As wide as the curve allows, and with few keys left.
TEST(SmoothFilter, LeavesAsManyKeysAsAreAskedFor)
{
    YFCurve curve;
    Record(curve, 3.0, 30.0, [](double s) { return s * s; });
    const YFCurve source(curve);
    YFCurveFilterSmooth filter;
    filter.SetWidth(YTIME_INFINITE);
    filter.SetFramePeriod(YTIME_INFINITE);
    EXPECT_TRUE(filter.Apply(curve));
    EXPECT_EQ(curve.KeyGetCount(), 2);
    filter.Reset();
    curve.CopyFrom(source);
    filter.SetApplyKeyReducer(true);
    EXPECT_TRUE(filter.Apply(curve));
    EXPECT_LT(curve.KeyGetCount(), 45);
}

// A swing about one skew axis. Turns about a common axis have an average about it, whose angle is that of the
// averaged points on the circle; in angles about X, Y and Z nothing is that simple. A recording with its angles
// in whatever turns and flips is the same motion.
TEST(SmoothFilter, AveragesRotationsAsAWhole)
{
    RandomCurves random;
    const YgeVector axis{0.48, 0.6, 0.64};
    constexpr double frequency = 3.0;
    const auto angle = [](double s) { return 80.0 * std::sin(2.0 * kPi * frequency * s) * kPi / 180.0; };
    const auto turn = [&](double radians) {
        const double s = std::sin(radians / 2);
        return YgeQuaternion(axis.x * s, axis.y * s, axis.z * s, std::cos(radians / 2));
    };
    for (int round = 0; round < 24; ++round) {
        SCOPED_TRACE(round);
        const int order = round % 6;
        const auto kind = static_cast<eRotationOrder>(order);
        const ybase::AxisOrder axes = ybase::AxesOf(kind);
        const YFCurveNodePtr node = Rotation(order);
        node->SetUseQuaternion(round % 2 == 1);
        for (int i = 0; i <= 480; ++i) {
            YgeRVector angles(turn(angle(i / 480.0)), kind);
            if (round >= 6 && random.Chance(0.3)) {
                angles[axes.first] += 180.0;
                angles[axes.second] = 180.0 - angles[axes.second];
                angles[axes.third] += 180.0;
            }
            for (int k = 0; k < 3; ++k) {
                const double turns = round >= 6 ? 360.0 * random.Below(3) : 0.0;
                CurveOf(*node, k).KeyAppendFast(Sec(i / 480.0), static_cast<float>(angles[k] + turns));
            }
        }
        YFCurveFilterSmooth filter;
        filter.SetFramePeriod(Sec(1.0 / 60.0));
        CurveOf(*node, 1).SetLockedByProperty(true);
        EXPECT_FALSE(filter.Apply(*node, true));
        CurveOf(*node, 1).SetLockedByProperty(false);
        const bool inSpan = round >= 12;
        if (inSpan) filter.SetStartTime(Sec(0.25));
        if (inSpan) filter.SetStopTime(Sec(0.75));
        ASSERT_TRUE(filter.Apply(*node, true));
        for (int i = 0; i <= 60; ++i) {
            const int start = inSpan ? 15 : 0, stop = inSpan ? 45 : 60;
            const bool outside = i <= start || i >= stop;
            if (!outside && (i < start + 5 || i > stop - 5)) continue;  // where windows are narrower
            const int reach = outside ? 0 : 3;
            const double s = Averaged(reach, [&](int k) { return std::sin(angle((i + k) / 60.0)); });
            const double c = Averaged(reach, [&](int k) { return std::cos(angle((i + k) / 60.0)); });
            const YgeRVector expected(turn(std::atan2(s, c)), kind);
            ASSERT_LT(Apart(expected, Shown(*node, i / 60.0), kind), 2e-3) << i;
        }
    }
}

// One orientation all the time, in its other triple from the second key on.
TEST(SmoothFilter, KnowsAFlipWhereKeysAreFarApart)
{
    const YFCurveNodePtr node = Rotation();
    const float angles[] = {20.0f, 30.0f, 40.0f};
    for (const double second : {0.0, 0.002, 1.0, 2.0}) {
        for (int k = 0; k < 3; ++k) {
            const float flipped = k == 1 ? 180.0f - angles[k] : angles[k] + 180.0f;
            CurveOf(*node, k).KeyAppendFast(Sec(second), second > 0.0 ? flipped : angles[k]);
        }
    }
    ASSERT_TRUE(YFCurveFilterSmooth().Apply(*node, true));
    for (double second = 0.0; second <= 2.0; second += 0.01)
        EXPECT_LT(Apart(Shown(*node, second), {20.0, 30.0, 40.0}, eRotationOrder::XYZ), 1e-2) << second;
}

TEST(SmoothFilter, UnrollsAnglesBeforeItAveragesThem)
{
    const YFCurveNodePtr node = Rotation();
    for (int i = 0; i <= 60; ++i) {
        const float angle = 3.0f * static_cast<float>(i);
        CurveOf(*node, 0).KeyAppendFast(Sec(i / 30.0), angle > 90.0f ? angle - 360.0f : angle);
        for (int k = 1; k < 3; ++k) CurveOf(*node, k).KeyAppendFast(Sec(i / 30.0), 0.0f);
    }
    YFCurveFilterSmooth filter;
    filter.SetUseQuaternion(false);
    filter.SetApplyUnroller(true);
    ASSERT_TRUE(filter.Apply(*node, false));
    for (int i = 0; i <= 60; ++i) EXPECT_NEAR(CurveOf(*node, 0).KeyGetValue(i), 3.0 * i, 1e-3);
}

// --- Paths ---------------------------------------------------------------------------------------------

TEST(Smooth2Filter, FollowsThePathAndNotWhatIsOffIt)
{
    const YFCurveNodePtr node = Translation();
    for (int k = 0; k < 3; ++k)
        Record(CurveOf(*node, k), 2.0, 30.0, [k](double s) { return 10.0 * k + (k - 1.5) * s; });
    YFCurveFilterSmooth2 filter;
    ASSERT_TRUE(filter.Apply(*node, true));
    for (int i = 0; i <= 60; ++i)
        for (int k = 0; k < 3; ++k)
            ASSERT_NEAR(CurveOf(*node, k).KeyGetValue(i), 10.0 * k + (k - 1.5) * i / 30.0, 1e-5);

    // A stray point in height: what a plain average would leave a third of, and spread about.
    CurveOf(*node, 1).KeySetValue(30, 60.0f);
    CurveOf(*node, 2).SetLockedByProperty(true);
    const YFCurve locked(CurveOf(*node, 2));
    ASSERT_TRUE(filter.Apply(*node, true));
    for (int i = 0; i <= 60; ++i)
        ASSERT_NEAR(CurveOf(*node, 1).KeyGetValue(i), 10.0 - 0.5 * i / 30.0, 0.5) << i;
    EXPECT_NEAR(CurveOf(*node, 1).KeyGetValue(30), 9.5, 0.1);
    ExpectSameKeys(CurveOf(*node, 2), locked);
    const YFCurveNodePtr joint = Joint();
    joint->Get(0)->SetLockedByProperty(true);
    EXPECT_TRUE(filter.Apply(*joint, true));
    EXPECT_EQ(filter.GetOutcome(), eFilterOutcome::Locked);
}

// With a factor that lets every point count in full, the line is that of plain least squares, which in the
// middle of its window has the weighted mean.
TEST(Smooth2Filter, ParametersSayWhatCounts)
{
    RandomCurves random;
    for (const int reach : {1, 3}) {
        const YFCurveNodePtr node = Translation();
        for (int k = 0; k < 3; ++k)
            Record(CurveOf(*node, k), 1.0, 30.0, [&](double) { return random.Between(-1.0, 1.0); });
        const YFCurve before(CurveOf(*node, 1));
        YFCurveFilterSmooth2 filter;
        filter.SetFactor(1e9);
        filter.SetSampleCount(2 * (reach + 1));
        filter.SetWidth(Sec(2 * (reach + 1) / 30.0));
        filter.SetStartTime(Sec(0.2));
        filter.SetStopTime(Sec(0.8));
        ASSERT_TRUE(filter.Apply(*node, true));
        for (int i = 0; i <= 30; ++i) {
            const bool inside = i > 6 + reach && i < 24 - reach;
            if (!inside && i > 6 && i < 24) continue;
            const double wanted =
                Averaged(inside ? reach : 0, [&](int k) { return double{before.KeyGetValue(i + k)}; });
            ASSERT_NEAR(CurveOf(*node, 1).KeyGetValue(i), wanted, 1e-5) << i;
        }
    }
}

TEST(Smooth2Filter, SlopesOfUserKeysFollowThePath)
{
    const YFCurveNodePtr node = Translation();
    for (int k = 0; k < 3; ++k)
        for (int i = 0; i <= 20; ++i)
            CurveOf(*node, k).KeyAdd(Sec(i / 30.0), yfc::test::UserKey(static_cast<float>(i), 0.0f, 0.0f));
    ASSERT_TRUE(YFCurveFilterSmooth2().Apply(*node, true));
    for (int i = 6; i <= 14; ++i) {
        EXPECT_NEAR(CurveOf(*node, 0).KeyGetRightDerivative(i), 30.0, 1.0);
        EXPECT_EQ(CurveOf(*node, 0).KeyGetLeftDerivative(i), CurveOf(*node, 0).KeyGetRightDerivative(i));
    }
}

}  // namespace
