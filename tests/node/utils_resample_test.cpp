// Resampling curves, in place and into others.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/curve/random_curve.h"
#include "yfcurve/yfcurveutils.h"

using namespace yfc::test;

namespace {

// Every sample and both ends of the span have the value of before, and outside the span nothing changes.
TEST(Resample, KeepsSamplesAndSurroundings)
{
    RandomCurves random;
    for (int round = 0; round < 500; ++round) {
        YFCurve curve;
        random.AddKeys(curve, 1 + random.Below(8), 0.0);
        random.SetEndlessExtrapolation(curve);
        const YFCurve old(curve);
        const YTime period = Sec(random.Between(0.01, 0.6));
        const bool whole = random.Chance(0.2);
        const YTime someStart = random.Chance(0.3) ? period * random.Int(-2, 9) : Sec(random.Between(-2, 4));
        const YTime start = whole ? curve.KeyGetTime(0) : someStart;
        const YTime stop =
            whole ? curve.KeyGetTime(curve.KeyGetCount() - 1) : start + Sec(random.Between(0.1, 4));
        const bool aligned = random.Chance(0.5);
        YFCurveUtils::Resample(curve, period, whole ? YTIME_MINUS_INFINITE : start,
                               whole ? YTIME_INFINITE : stop, aligned);
        const bool onFrame = aligned && start >= period;
        const YTime first = onFrame ? period * ((start.Get() - 1) / period.Get() + 1) : start;
        if (first >= stop) {
            ExpectSameKeys(curve, old);
            continue;
        }
        std::vector<YTime> times = {start, stop};
        for (YTime time = first; time <= stop; time += period) times.push_back(time);
        for (const YTime time : times)
            ASSERT_NEAR(curve.Evaluate(time), old.Evaluate(time), 1e-4) << "round " << round;
        for (int i = 0; i < curve.KeyGetCount(); ++i) {
            const YTime time = curve.KeyGetTime(i);
            if (time <= start || time >= stop) continue;
            ASSERT_EQ((time - first) % period, YTIME_ZERO) << "round " << round;
            ASSERT_TRUE(time >= first && curve.KeyGetInterpolation(i) == YFCURVE_INTERP_CUBIC);
        }
        for (int i = 0; i < 50; ++i) {
            const YTime time = random.TimeBetween(start - Sec(5), stop + Sec(5));
            if (time >= start && time <= stop) continue;
            const float expected = old.Evaluate(time);
            ASSERT_NEAR(curve.Evaluate(time), expected, 1e-5 * std::max(20.0f, std::abs(expected)))
                << "round " << round << " at " << time.GetSecondDouble();
        }
    }
}

TEST(ResampleInto, PlacesKeysOfOneKind)
{
    const YFCurvePtr line = MakeSamples(9);
    YFCurve target;
    ASSERT_TRUE(
        YFCurveUtils::Resample(*line, target, YFCURVE_INTERP_LINEAR, 0, Sec(0.5), Sec(1.25), Sec(2.875)));
    EXPECT_EQ(KeySeconds(target), (std::vector<double>{1.25, 1.75, 2.25, 2.75, 2.875}));
    ASSERT_TRUE(YFCurveUtils::Resample(*line, target, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_TCB, Sec(0.5),
                                       Sec(-0.75), Sec(0.5), true));
    EXPECT_EQ(KeySeconds(target), (std::vector<double>{-0.75, -0.5, 0, 0.5}));
    EXPECT_EQ(target.KeyGetTangeantMode(1), unsigned{YFCURVE_TANGENT_TCB});
    ASSERT_TRUE(YFCurveUtils::Resample(*line, target, YFCURVE_INTERP_CONSTANT, YFCURVE_CONSTANT_NEXT, Sec(9),
                                       Sec(3), Sec(3)));
    EXPECT_EQ(KeySeconds(target), (std::vector<double>{3}));
    EXPECT_EQ(target.KeyGetConstantMode(0), unsigned{YFCURVE_CONSTANT_NEXT});

    // Refusals leave the target alone and say why.
    const YFCurve empty;
    const auto refusal = [&](const YFCurve& curve, unsigned interpolation, YTime period, YTime start,
                             YTime stop) {
        EXPECT_FALSE(
            YFCurveUtils::Resample(curve, target, interpolation, YFCURVE_TANGENT_USER, period, start, stop));
        EXPECT_EQ(target.KeyGetCount(), 1);
        EXPECT_STRNE(YFCurveUtils::GetLastErrorString(), "");
        return YFCurveUtils::GetLastErrorID();
    };
    constexpr unsigned linear = YFCURVE_INTERP_LINEAR;
    EXPECT_EQ(refusal(*line, linear | YFCURVE_INTERP_CUBIC, Sec(1), Sec(0), Sec(1)),
              YFCurveUtils::eBadInterpolation);
    EXPECT_EQ(refusal(*line, linear, Sec(0), Sec(0), Sec(1)), YFCurveUtils::eBadPeriod);
    EXPECT_EQ(refusal(*line, linear, Sec(1), Sec(2), Sec(1)), YFCurveUtils::eBadSpan);
    EXPECT_EQ(refusal(empty, linear, Sec(1), Sec(0), YTIME_INFINITE), YFCurveUtils::eNoKey);
    EXPECT_TRUE(YFCurveUtils::Resample(empty, target, linear, 0, Sec(1), Sec(0), Sec(1)));
}

}  // namespace
