// Converting curves to keys of one kind, and comparing curves.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "tests/curve/random_curve.h"
#include "yfcurve/yfcurveutils.h"

using namespace yfc::test;

namespace {

// The largest difference at many times, as a share of the largest value that was met.
double SampledDifference(const YFCurve& a, const YFCurve& b, Random& random)
{
    const YTime start = a.KeyGetTime(0), stop = a.KeyGetTime(a.KeyGetCount() - 1);
    double difference = 0.0;
    double magnitude = 1.0;
    for (int i = 0; i < 400; ++i) {
        const YTime time(random.Integer(start.Get(), stop.Get()));
        const double value = a.Evaluate(time);
        difference = std::max(difference, std::abs(value - b.Evaluate(time)));
        magnitude = std::max(magnitude, std::abs(value));
    }
    for (int i = 0; i < a.KeyGetCount(); ++i)
        difference = std::max(difference,
                              std::abs(static_cast<double>(a.KeyGetValue(i)) - b.Evaluate(a.KeyGetTime(i))));
    return difference / magnitude;
}

void ExpectKind(const YFCurve& curve, unsigned interpolation, unsigned mode)
{
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        EXPECT_EQ(curve.KeyGetInterpolation(i), interpolation);
        EXPECT_EQ(curve.KeyGetTangeantMode(i) & ~unsigned{YFCURVE_TANGENT_BREAK}, mode);
    }
}

// Every segment fits into user keys: no samples are needed, only keys beside jumps.
TEST(ConvertCurve, UserKeysHoldEveryShape)
{
    RandomCurves random;
    for (int round = 0; round < 1000; ++round) {
        YFCurve source;
        random.AddKeys(source, 1 + random.Below(8), round % 2 ? 0.9 : 0.0);
        YFCurve target;
        ASSERT_TRUE(
            YFCurveUtils::ConvertCurve(source, target, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, Sec(0.1)));
        ExpectKind(target, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER);
        EXPECT_LE(target.KeyGetCount(), 2 * source.KeyGetCount());
        // Weights are stored in steps of 1e-4, where a TCB key had none of its own.
        ASSERT_LE(SampledDifference(source, target, random), 2e-5) << "round " << round;
    }
}

TEST(ConvertCurve, LinesAndStepsBecomeEachOther)
{
    RandomCurves random;
    for (int round = 0; round < 300; ++round) {
        YFCurve source;
        for (int i = 0; i < 6; ++i) {
            const float value = random.Float(-9, 9);
            const unsigned mode = random.Pick<unsigned>({YFCURVE_CONSTANT_STANDARD, YFCURVE_CONSTANT_NEXT});
            source.KeyAdd(Sec(i), round % 2 && random.Below(2) ? LinearKey(value) : ConstantKey(value, mode));
        }
        YFCurve target;
        ASSERT_TRUE(YFCurveUtils::ConvertCurve(source, target, YFCURVE_INTERP_LINEAR, 0));
        ASSERT_LE(SampledDifference(source, target, random), 1e-6) << "round " << round;
        if (round % 2) continue;
        const unsigned mode = random.Pick<unsigned>({YFCURVE_CONSTANT_STANDARD, YFCURVE_CONSTANT_NEXT});
        ASSERT_TRUE(YFCurveUtils::ConvertCurve(source, source, YFCURVE_INTERP_CONSTANT, mode));
        ExpectKind(source, YFCURVE_INTERP_CONSTANT, mode);
        ASSERT_EQ(SampledDifference(target, source, random), 0.0) << "round " << round;
    }
}

TEST(ConvertCurve, BendsAreSampledOnFrames)
{
    // u - u^2 over one second: 0.25 at its top; straight pieces of 1/10 s stay within (1/10)^2 / 4 of it.
    const YFCurvePtr arc = MakeCurve({UserKey(0.0f, 1.0f, -1.0f), LinearKey(0.0f), LinearKey(5.0f)});
    arc->KeyMoveOf(false, Sec(0.05), 0.0f);
    YFCurve target;
    ASSERT_TRUE(YFCurveUtils::ConvertCurve(*arc, target, YFCURVE_INTERP_LINEAR, 0, Sec(0.1)));
    ASSERT_EQ(target.KeyGetCount(), 13) << "three keys, samples at 0.1 to 1.0 s, none on the line";
    EXPECT_NEAR(target.KeyGetValue(1), 0.05 * 0.95, 1e-6);
    YFCurveDifference difference;
    EXPECT_TRUE(YFCurveUtils::CompareCurve(*arc, target, 0.0025 + 1e-6, &difference));
    EXPECT_NEAR(difference.value, 0.0025, 1e-6);
    ASSERT_TRUE(YFCurveUtils::ConvertCurve(*arc, target, YFCURVE_INTERP_LINEAR, 0));
    EXPECT_EQ(target.KeyGetCount(), 3);

    EXPECT_FALSE(YFCurveUtils::ConvertCurve(*arc, target, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_BREAK));
    EXPECT_EQ(YFCurveUtils::GetLastErrorID(), YFCurveUtils::eBadInterpolation);
    EXPECT_FALSE(YFCurveUtils::ConvertCurve(*arc, target, YFCURVE_INTERP_CONSTANT, 0, YTime(1)));
    EXPECT_EQ(YFCurveUtils::GetLastErrorID(), YFCurveUtils::eBadSpan);
    EXPECT_EQ(target.KeyGetCount(), 3);
    ASSERT_TRUE(
        YFCurveUtils::ConvertCurve(YFCurve(), target, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_TCB, Sec(1)));
    EXPECT_EQ(target.KeyGetCount(), 0);
}

// Auto and TCB keys get the parameters that make the slopes, and samples where there are none.
TEST(ConvertCurve, ParametersFollowTheSlopes)
{
    RandomCurves random;
    for (int round = 0; round < 200; ++round) {
        YFCurve source;
        for (int i = 0; i < 8; ++i) source.KeyAdd(Sec(i), RandomKey(random, 0.5));
        for (const unsigned mode : {YFCURVE_TANGENT_AUTO, YFCURVE_TANGENT_TCB}) {
            YFCurve target;
            ASSERT_TRUE(
                YFCurveUtils::ConvertCurve(source, target, YFCURVE_INTERP_CUBIC, mode, Sec(1.0 / 120.0)));
            ExpectKind(target, YFCURVE_INTERP_CUBIC, mode);
            ASSERT_LE(SampledDifference(source, target, random), 0.02)
                << "round " << round << " mode " << mode;
        }
    }
}

TEST(CompareCurve, CountsValuesWithoutKeysAndNothingInAnEmptySpan)
{
    const YFCurve zero;
    YFCurve seven;
    seven.SetValue(7.0f);
    EXPECT_FALSE(YFCurveUtils::CompareCurve(seven, zero, 6.9));
    EXPECT_TRUE(YFCurveUtils::CompareCurve(seven, zero, 7.0));
    EXPECT_TRUE(YFCurveUtils::CompareCurve(seven, zero, 0.0, nullptr, Sec(2), Sec(1)));
}

// No sample of two random curves, extrapolation and weights included, is farther apart than what was found.
TEST(CompareCurve, MissesNothing)
{
    RandomCurves random;
    for (int round = 0; round < 300; ++round) {
        YFCurve a, b;
        random.AddKeys(a, random.Below(6), round % 2 ? 0.9 : 0.0);
        random.AddKeys(b, random.Below(6), round % 3 ? 0.9 : 0.0);
        random.SetAnyExtrapolation(a);
        random.SetAnyExtrapolation(b);
        const YTime start = Sec(random.Between(-8, 4)), stop = start + Sec(random.Between(0.1, 12));
        YFCurveDifference difference;
        YFCurveUtils::CompareCurve(a, b, 0.0, &difference, start, stop);
        const auto distanceAt = [&](YTime time) {
            return std::abs(static_cast<double>(a.Evaluate(time)) - b.Evaluate(time));
        };
        EXPECT_EQ(difference.value, distanceAt(difference.time));
        EXPECT_TRUE(difference.time >= start && difference.time <= stop);
        for (int i = 0; i < 2000; ++i) {
            const YTime time = random.TimeBetween(start, stop);
            ASSERT_LE(distanceAt(time), difference.value * (1 + 1e-4) + 1e-5)
                << "round " << round << " at " << time.GetSecondDouble();
        }
    }
}

}  // namespace
