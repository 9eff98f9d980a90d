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

// The keys from one time to another, by their times.
std::vector<double> TimesOfKeys(const YFCurve& curve, double start, double stop)
{
    std::vector<double> times;
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const double time = curve.KeyGetTime(i).GetSecondDouble();
        if (time >= start && time <= stop) times.push_back(std::round(time * 1e6) / 1e6);
    }
    return times;
}

TEST(Resample, ExchangesKeysForSamplesOfTheirCurve)
{
    const YFCurvePtr curve = Line();
    YFCurveUtils::Resample(*curve, Sec(0.5), Sec(2), Sec(4), false);
    EXPECT_EQ(TimesOfKeys(*curve, 0, 9), (std::vector<double>{0, 1, 2, 2.5, 3, 3.5, 4, 5, 6, 7, 8}));
    EXPECT_EQ(curve->KeyGetValue(3), 25.0f);
    EXPECT_EQ(curve->KeyGetInterpolation(3), unsigned{YFCURVE_INTERP_CUBIC});
    EXPECT_EQ(curve->KeyGetTangeantMode(3), unsigned{YFCURVE_TANGENT_AUTO});
    EXPECT_EQ(curve->KeyGetInterpolation(1), unsigned{YFCURVE_INTERP_LINEAR});

    // Infinity is all of it.
    YFCurveUtils::Resample(*curve, Sec(4), YTIME_MINUS_INFINITE, YTIME_INFINITE, false);
    EXPECT_EQ(TimesOfKeys(*curve, -9, 99), (std::vector<double>{0, 4, 8}));
}

TEST(Resample, AlignsWithFramesFromTheFirstOneOn)
{
    // The first sample behind the start; the line's own keys are straight.
    const auto firstInside = [](double start) {
        const YFCurvePtr curve = Line();
        YFCurveUtils::Resample(*curve, Sec(1.5), Sec(start), Sec(7.5), true);
        int i = 0;
        while (curve->KeyGetTime(i) <= Sec(start) || curve->KeyGetInterpolation(i) != YFCURVE_INTERP_CUBIC)
            ++i;
        return curve->KeyGetTime(i).GetSecondDouble();
    };
    EXPECT_NEAR(firstInside(2.0), 3.0, 1e-9);
    EXPECT_NEAR(firstInside(3.5), 4.5, 1e-9);
    EXPECT_NEAR(firstInside(3.0), 4.5, 1e-9) << "on a frame itself";
    EXPECT_NEAR(firstInside(0.5), 2.0, 1e-9) << "below one period: not aligned";
    EXPECT_NEAR(firstInside(-0.5), 1.0, 1e-9) << "negative: not aligned";
}

TEST(Resample, RefusesEmptySpansAndPeriods)
{
    const YFCurvePtr curve = Line();
    EventLog log(*curve);
    YFCurveUtils::Resample(*curve, Sec(0), Sec(2), Sec(4), false);
    YFCurveUtils::Resample(*curve, Sec(-1), Sec(2), Sec(4), false);
    YFCurveUtils::Resample(*curve, Sec(1), Sec(4), Sec(4), false);
    YFCurveUtils::Resample(*curve, Sec(1), Sec(2.2), Sec(3), true);  // the first frame is the stop
    YFCurveUtils::Resample(*curve, YTime(1), YTime(0), YTime(1LL << 40), false);  // too many
    YFCurveUtils::Resample(*curve, Sec(1), Sec(9), YTIME_INFINITE, false);
    EXPECT_TRUE(log.Take().empty());
    YFCurve empty;
    YFCurveUtils::Resample(empty, Sec(1), YTIME_MINUS_INFINITE, YTIME_INFINITE, true);
    EXPECT_EQ(empty.KeyGetCount(), 0);
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
        YFCurveUtils::Resample(*line, target, YFCURVE_INTERP_LINEAR, 0, Sec(0.5), Sec(1.2), Sec(2.9)));
    EXPECT_EQ(TimesOfKeys(target, -9, 99), (std::vector<double>{1.2, 1.7, 2.2, 2.7, 2.9}));
    EXPECT_NEAR(target.KeyGetValue(4), 29.0, 1e-5);
    ASSERT_TRUE(YFCurveUtils::Resample(*line, target, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_TCB, Sec(0.5),
                                       Sec(-0.7), Sec(0.5), true));
    EXPECT_EQ(TimesOfKeys(target, -9, 99), (std::vector<double>{-0.7, -0.5, 0, 0.5}));
    EXPECT_EQ(target.KeyGetTangeantMode(1), unsigned{YFCURVE_TANGENT_TCB});
    EXPECT_EQ(target.KeyGetDataFloat(1, YFCURVEKEY_TCB_BIAS), 0.0f);
    ASSERT_TRUE(YFCurveUtils::Resample(*line, target, YFCURVE_INTERP_CONSTANT, YFCURVE_CONSTANT_NEXT, Sec(9),
                                       Sec(3), Sec(3)));
    EXPECT_EQ(TimesOfKeys(target, -9, 99), (std::vector<double>{3}));
    EXPECT_EQ(target.KeyGetConstantMode(0), unsigned{YFCURVE_CONSTANT_NEXT});

    // Refusals leave the target alone and say why.
    const unsigned mixed = YFCURVE_INTERP_LINEAR | YFCURVE_INTERP_CUBIC;
    EXPECT_FALSE(YFCurveUtils::Resample(*line, target, mixed, YFCURVE_TANGENT_USER, Sec(1)));
    EXPECT_EQ(YFCurveUtils::GetLastErrorID(), YFCurveUtils::eBadInterpolation);
    EXPECT_FALSE(YFCurveUtils::Resample(*line, target, YFCURVE_INTERP_LINEAR, 0, Sec(0)));
    EXPECT_EQ(YFCurveUtils::GetLastErrorID(), YFCurveUtils::eBadPeriod);
    EXPECT_FALSE(YFCurveUtils::Resample(*line, target, YFCURVE_INTERP_LINEAR, 0, Sec(1), Sec(2), Sec(1)));
    EXPECT_EQ(YFCurveUtils::GetLastErrorID(), YFCurveUtils::eBadSpan);
    EXPECT_FALSE(
        YFCurveUtils::Resample(YFCurve(), target, YFCURVE_INTERP_LINEAR, 0, Sec(1), Sec(0), YTIME_INFINITE));
    EXPECT_EQ(YFCurveUtils::GetLastErrorID(), YFCurveUtils::eNoKey);
    EXPECT_STRNE(YFCurveUtils::GetLastErrorString(), "");
    EXPECT_EQ(target.KeyGetCount(), 1);
}

// Unweighted cubic and straight segments cut at samples are the same segments; steps jump on a frame.
TEST(ResampleInto, UserKeysKeepTheShape)
{
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    const YTime frame = Sec(1.0 / 30.0);
    for (int round = 0; round < 300; ++round) {
        YFCurve curve;
        YTime time;
        for (int i = 0; i < 6; ++i) {
            YFCurveKey key = RandomKey(random, 0.0);
            if (key.GetInterpolation() == YFCURVE_INTERP_CONSTANT) key = LinearKey(key.GetValue());
            curve.KeyAdd(time, key);
            time += frame * (1 + random.Below(40));
        }
        YFCurve target;
        ASSERT_TRUE(YFCurveUtils::Resample(curve, target, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, frame));
        for (int i = 0; i < 100; ++i) {
            const YTime probe = random.TimeBetween(curve.KeyGetTime(0), curve.KeyGetTime(5));
            const float expected = curve.Evaluate(probe);
            ASSERT_NEAR(target.Evaluate(probe), expected, 2e-5 * std::max(50.0f, std::abs(expected)))
                << "round " << round << " at " << probe.GetSecondDouble();
        }
    }
}

}  // namespace
