// Resampling curves, in place and into others.

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/curve/random_curve.h"
#include "yfcurve/yfcurveutils.h"

using namespace yfc::test;

namespace {

// A line of slope 10 with a key a second, 0 to 8 s.
YFCurvePtr Line()
{
    YFCurvePtr curve(YFCurveCreate());
    for (int i = 0; i <= 8; ++i) curve->KeyAdd(Sec(i), LinearKey(10.0f * static_cast<float>(i)));
    return curve;
}

TEST(Resample, ExchangesKeysForSamplesOfTheirCurve)
{
    const YFCurvePtr curve = Line();
    YFCurveUtils::Resample(*curve, Sec(0.5), Sec(2), Sec(4), false);
    EXPECT_EQ(KeySeconds(*curve), (std::vector<double>{0, 1, 2, 2.5, 3, 3.5, 4, 5, 6, 7, 8}));
    EXPECT_TRUE(curve->IsKeyInterpolationPureCubicAuto(3));
    EXPECT_EQ(curve->KeyGetInterpolation(1), unsigned{YFCURVE_INTERP_LINEAR});
    // Infinity is all of it.
    YFCurveUtils::Resample(*curve, Sec(4), YTIME_MINUS_INFINITE, YTIME_INFINITE, false);
    EXPECT_EQ(KeySeconds(*curve), (std::vector<double>{0, 4, 8}));
}

TEST(Resample, AlignsWithFramesFromTheFirstOneOn)
{
    const YFCurvePtr refused = Line();
    EventLog log(*refused);
    YFCurveUtils::Resample(*refused, Sec(0), Sec(2), Sec(4), false);
    YFCurveUtils::Resample(*refused, Sec(1), Sec(4), Sec(4), false);
    YFCurveUtils::Resample(*refused, Sec(1), Sec(2.2), Sec(3), true);  // the first frame is the stop
    EXPECT_TRUE(log.Take().empty());
    // On a frame itself the next one is the first; below one period there is no frame to begin on.
    const std::pair<double, double> firsts[] = {{3.0, 4.5}, {0.5, 2.0}, {-0.5, 1.0}};
    for (const auto& [start, first] : firsts) {
        const YFCurvePtr curve = Line();
        YFCurveUtils::Resample(*curve, Sec(1.5), Sec(start), Sec(7.5), true);
        int i = 0;
        while (curve->KeyGetTime(i) <= Sec(start) || curve->KeyGetInterpolation(i) != YFCURVE_INTERP_CUBIC)
            ++i;
        EXPECT_NEAR(curve->KeyGetTime(i).GetSecondDouble(), first, 1e-9) << start;
    }
}

// Every sample and both ends of the span have the value of before, and outside the span nothing changes.
TEST(Resample, KeepsSamplesAndSurroundings)
{
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 500; ++round) {
        YFCurve curve;
        random.AddKeys(curve, 1 + random.Below(8), 0.0);
        random.SetEndlessExtrapolation(curve);
        const YFCurve old(curve);
        const YTime start = Sec(random.Between(-2, 4));
        const YTime stop = start + Sec(random.Between(0.5, 4));
        const YTime period = Sec(random.Between(0.01, 0.3));
        const bool aligned = random.Chance(0.5) && start >= period;
        YFCurveUtils::Resample(curve, period, start, stop, aligned);
        std::vector<YTime> times = {start, stop};
        const YTime first = aligned ? period * ((start.Get() - 1) / period.Get() + 1) : start;
        for (YTime time = first; time <= stop; time += period) times.push_back(time);
        for (const YTime time : times) {
            ASSERT_NEAR(curve.Evaluate(time), old.Evaluate(time), 1e-4) << "round " << round;
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
    const YFCurvePtr line = Line();
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
}

}  // namespace
