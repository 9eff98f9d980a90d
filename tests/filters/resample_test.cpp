#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/curve/random_curve.h"
#include "tests/filters/made_filter.h"
#include "tests/node/nodes.h"
#include "yfcurve/yfcurvefilterkeysonframe.h"
#include "yfcurve/yfcurvefilterresample.h"

namespace {

using namespace nodetest;
using namespace yfc::test;

YFCurveFilterResample Resampler(double period, bool intelligent)
{
    YFCurveFilterResample filter;
    filter.SetPeriodTime(Seconds(period));
    filter.SetIntelligentMode(intelligent);
    return filter;
}

}  // namespace

TEST(Resample, SetsKeysOnTheCurve)
{
    YFCurve curve;
    SetKeys(curve, {{0.1, 1.0f}, {2.35, 10.0f}});
    const YFCurve before(curve);
    YFCurveFilterResample filter = Resampler(0.5, false);
    EXPECT_TRUE(filter.Apply(curve));
    EXPECT_EQ(KeySeconds(curve), (std::vector{0.1, 0.6, 1.1, 1.6, 2.1, 2.35}));
    curve = before;
    filter.SetKeysOnFrame(true);
    filter.SetStartTime(Seconds(0.6));
    filter.SetStopTime(Seconds(2.0));
    EXPECT_TRUE(filter.Apply(curve));
    EXPECT_EQ(KeySeconds(curve), (std::vector{0.1, 0.6, 1.0, 1.5, 2.0, 2.35}));
    for (const double time : {0.1, 0.3, 1.0, 1.5, 2.0, 2.2})
        EXPECT_NEAR(curve.Evaluate(Seconds(time)), before.Evaluate(Seconds(time)), 1e-5);
}

TEST(IntelligentResample, LeavesOutSamplesOfStraightStretches)
{
    YFCurve curve;
    // Hold, ramp to between samples, hold.
    SetKeys(curve, {{0.0, 1.0f}, {2.0, 1.0f}, {3.05, 8.0f}, {6.0, 8.0f}});
    const YFCurve before(curve);
    EXPECT_TRUE(Resampler(0.1, true).Apply(curve));
    EXPECT_EQ(KeySeconds(curve), (std::vector{0.0, 2.0, 3.05, 6.0}));
    for (double time = -1.0; time < 7.0; time += 0.017)
        EXPECT_NEAR(curve.Evaluate(Seconds(time)), before.Evaluate(Seconds(time)), 1e-4);
    // What is straight but for a hundred-thousandth of its range counts as straight, downwards too.
    YFCurve noisy;
    for (int i = 0; i <= 200; ++i)
        noisy.KeyAppendFast(Seconds(0.05 * i), -4.5f * static_cast<float>(i) + (i % 4 < 2 ? 1e-3f : -1e-3f));
    EXPECT_TRUE(Resampler(0.1, true).Apply(noisy));
    EXPECT_EQ(noisy.KeyGetCount(), 2);
}

// Smooth curves between keys wider apart than the samples are met by the slopes alone, with fewer keys than
// samples; those that have a key at every sample, at the samples.
TEST(IntelligentResample, FollowsRandomCurves)
{
    RandomCurves random;
    int samples = 0, keys = 0;
    for (int round = 0; round < 30; ++round) {
        YFCurve curve;
        const bool recorded = round % 3 == 0;
        for (int i = 0; i < (recorded ? 100 : 10); ++i) {
            const double second = recorded ? 0.05 * i : 0.5 * i + random.Between(0.0, 0.3);
            curve.KeyAdd(Seconds(second), RandomKey(random, 0.0));
        }
        const YFCurve before(curve);
        const auto [low, high] = std::ranges::minmax(yfc::test::KeyValues(before));
        EXPECT_TRUE(Resampler(0.05, true).Apply(curve));
        EXPECT_FALSE(Resampler(0.0, true).Apply(curve));
        YFCurve plain(before);
        EXPECT_TRUE(Resampler(0.05, false).Apply(plain));
        samples += plain.KeyGetCount();
        keys += curve.KeyGetCount();
        for (int i = 0; i < 400; ++i) {
            const YTime time = recorded ? plain.KeyGetTime(i % plain.KeyGetCount())
                                        : random.TimeBetween(Seconds(-1.0), Seconds(6.0));
            ASSERT_NEAR(curve.Evaluate(time), before.Evaluate(time), 1e-4 * double{high - low} + 1e-3);
        }
    }
    EXPECT_LT(keys, samples);
}

// --- Keys on frames ------------------------------------------------------------------------------------

// Halves go up; -0.5 and 0.25 both come to 0, as 2.75, 3 and 3.25 come to 3; 1.5 and 2.25 to 2. In a span,
// frames outside of it are none.
TEST(KeysOnFrame, MovesKeysToTheNearestFrame)
{
    YFCurve curve;
    for (const double second : {-1.75, -0.5, 0.25, 1.5, 2.25, 2.75, 3.0, 3.25}) {
        const double slope = 10.0 * second;
        curve.KeyAdd(Seconds(second), UserKey(static_cast<float>(second), static_cast<float>(slope), 7.0f));
    }
    YFCurve inSpan(curve);
    YFCurveFilterKeysOnFrame filter;
    filter.SetPeriod(Seconds(1.0));
    EXPECT_EQ(filter.GetStartTime(), YTIME_ZERO);
    EXPECT_EQ(filter.GetStopTime(), YTIME_ZERO);
    EXPECT_TRUE(filter.Apply(curve));
    EXPECT_EQ(KeySeconds(curve), (std::vector{-2.0, 0.0, 2.0, 3.0}));
    EXPECT_EQ(yfc::test::KeyValues(curve), (std::vector{-1.75f, 0.25f, 2.25f, 3.0f}));
    EXPECT_EQ(curve.KeyGetLeftDerivative(1), 7.0f);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(curve.KeyGetRightDerivative(i), 10.0f * curve.KeyGetValue(i));
    yfc::test::EventLog log(curve);
    EXPECT_TRUE(filter.Apply(curve));  // all are there
    EXPECT_TRUE(log.events.empty());

    filter.SetStartTime(Seconds(0.25));
    filter.SetStopTime(Seconds(2.8));
    EXPECT_TRUE(filter.Apply(inSpan));
    EXPECT_EQ(KeySeconds(inSpan), (std::vector{-1.75, -0.5, 1.0, 2.0, 3.0, 3.25}));
    filter.SetPeriod(YTIME_ZERO);
    EXPECT_FALSE(filter.Apply(inSpan));
    EXPECT_STREQ(filter.GetLastErrorString(), "KeysOnFrame, The period is not positive.");

    // Periods and times as long as there are any.
    YFCurve ends;
    ends.KeyAppendFast(YTime(INT64_MIN), 1.0f);
    ends.KeyAppendFast(YTime(INT64_MAX - 1), 2.0f);
    filter.Reset();
    for (const YTime period : {YTIME_INFINITE, Seconds(1.0)}) {
        filter.SetPeriod(period);
        EXPECT_TRUE(filter.Apply(ends));
        EXPECT_LT(ends.KeyGetTime(0), ends.KeyGetTime(1));
    }
}

// At rates whose frames are no whole number of ticks; there is a key at every third frame.
TEST(KeysOnFrame, AreOnTheFramesOfTheTimeMode)
{
    const struct
    {
        const char *name, *settings;
        int left;
    } cases[] = {{"KeysOnFrame", "", 1000}, {"Resample", "", 2998}, {"Resample", "KeysOnFrame=true", 2998},
                 {"PeakRemover", "", 999},  {"Smooth", "", 2998},   {"Butterworth", "", 2998},
                 {"Fit", "OnFrame=true", 7}};
    for (const int thousands : {24, 30, 60, 120}) {
        const YThreadFrameRate rate({1000 * thousands, 1001});
        for (const auto& [name, settings, left] : cases) {
            SCOPED_TRACE(testing::Message() << thousands << name << settings);
            YFCurve curve;
            for (int i = 0; i < 1000; ++i)
                curve.KeyAppendFast(YTime::FromFrame(3 * i), i == 500 ? 50.0f : 0.0f);
            EXPECT_TRUE(MadeFilter(name, settings)->Apply(curve));
            EXPECT_EQ(curve.KeyGetCount(), left);
            for (int i = 0; i < curve.KeyGetCount(); ++i)
                ASSERT_EQ(curve.KeyGetTime(i), YTime::FromFrame(curve.KeyGetTime(i).GetFrame())) << i;
        }
    }
}
