#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>

#include "plain_curve.h"
#include "random_curve.h"

using namespace yfc::test;

// --- Inside the keys -----------------------------------------------------------------------------------

// Ascending, descending and random times in and around the keys, many of them on keys and in pairs.
TEST(Evaluate, ManyTimesGiveWhatEachGives)
{
    RandomCurves random;
    const auto bits = [](float value) { return std::bit_cast<std::uint32_t>(value); };
    for (int round = 0; round < 200; ++round) {
        YFCurvePtr curve = random.Curve(random.Pick({0, 1, 2, 5, 150}));
        random.SetAnyExtrapolation(*curve);
        const YTime step(random.Integer(-YTIME_TICKS_PER_SECOND, YTIME_TICKS_PER_SECOND));
        std::vector<YTime> times;
        for (int i = 0; i < 120; ++i) {
            const int key = random.Int(0, std::max(curve->KeyGetCount() - 1, 0));
            const bool onKey = curve->KeyGetCount() > 0 && random.Chance(0.3);
            times.push_back(onKey ? curve->KeyGetTime(key) : Sec(random.Real(-20.0, 180.0)));
            if (round % 4 == 3) times.back() = times.front() + step * i;
        }
        if (round % 4 == 0) std::sort(times.begin(), times.end());
        if (round % 4 == 1) std::sort(times.rbegin(), times.rend());
        std::vector<float> values(times.size() + 1, 7.0f);
        curve->Evaluate(times, values);
        if (round % 4 == 3) curve->Evaluate(times[0], step, std::span(values).first(times.size()));
        for (std::size_t i = 0; i < times.size(); ++i)
            ASSERT_EQ(bits(values[i]), bits(curve->Evaluate(times[i]))) << i;
        EXPECT_EQ(values.back(), 7.0f);
    }
}

TEST(Evaluate, AsThePlainCurveEverywhere)
{
    int compared = 0;
    RandomCurves random;
    for (int round = 0; round < 1500; ++round) {
        YFCurvePtr curve = random.Curve(random.Int(1, 9));
        for (int i = 0; i < curve->KeyGetCount(); ++i) {  // short handles on a third of the sides
            const auto weight = [&] { return static_cast<float>(std::pow(10.0, random.Real(-4.0, -1.5))); };
            if (random.Chance(0.3)) curve->KeySetRightTangeantWeight(i, weight());
            if (random.Chance(0.3)) curve->KeySetLeftTangeantWeight(i, weight());
        }
        random.SetAnyExtrapolation(*curve);
        if (random.Chance(0.1)) curve->SetPostExtrapolation(random.Pick({0u, 9u}));  // as if constant
        if (random.Chance(0.1)) curve->KeySetInterpolation(0, 0);                    // shows zero
        const PlainCurve plain(*curve);
        int kept = 0;
        for (int i = 0; i < 40; ++i) {
            const auto periods = static_cast<double>(plain.Period());
            double inside = static_cast<double>(plain.First()) + periods * random.Real(0, 1);
            if (random.Chance(0.3) && curve->KeyGetCount() > 1) {  // close to one end of a segment
                const int key = random.Int(0, curve->KeyGetCount() - 2);
                const auto start = static_cast<double>(curve->KeyGetTime(key).Get());
                const auto stop = static_cast<double>(curve->KeyGetTime(key + 1).Get());
                const double near = 0.1 * std::pow(10.0, random.Real(-5.0, 0.0)) * (stop - start);
                inside = random.Chance(0.5) ? start + near : stop - near;
            }
            const double ticks = random.Chance(0.5) ? inside : inside + periods * random.Int(-5, 5);
            YTime time(static_cast<std::int64_t>(ticks));
            if (random.Chance(0.2)) {  // keys, and borders of periods
                const YTime period(static_cast<std::int64_t>(plain.Period()));
                const int key = random.Int(0, curve->KeyGetCount() - 1);
                time = curve->KeyGetTime(key) + period * random.Int(-4, 4) + YTime(random.Int(-1, 1));
            }
            const Real at = static_cast<Real>(time.Get());
            if (!plain.SearchEnds(at)) continue;
            int hint = random.Int(-2, curve->KeyGetCount() + 2);
            const auto expected = static_cast<double>(plain.At(at));
            const auto tolerance = static_cast<double>(plain.Tolerance(at));
            ASSERT_NEAR(curve->Evaluate(time, random.Chance(0.5) ? &hint : &kept), expected, tolerance)
                << "at " << time.Get();
            // A value is that of its position, and leaves the same hint; a slope that goes on shows no position.
            int allHint = hint;
            const float value = curve->Evaluate(time, &hint);
            const float shown = curve->EvaluateIndex(curve->KeyFindAll(time, &allHint));
            ASSERT_EQ(curve->Evaluate(time), value);
            if (curve->KeyGetCount() > 1 && plain.First() <= at && at <= plain.Last()) {
                ASSERT_EQ(shown, value);
                ASSERT_EQ(allHint, hint);
            }
            ++compared;
        }
    }
    EXPECT_GT(compared, 50000);
}

// --- Outside the keys ----------------------------------------------------------------------------------

TEST(Extrapolation, KeysOfAllCopies)
{
    YFCurvePtr curve = MakeSamples(3);
    curve->SetPreExtrapolation(YFCURVE_EXTRAPOLATION_MIRROR_REPETITION);
    curve->SetPreExtrapolationCount(1);
    curve->SetPostExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION);
    curve->SetPostExtrapolationCount(2);
    EXPECT_EQ(curve->KeyGetCountAll(), 3 + 3 * 2) << "two keys more for each copy";
    const int cases[][3] = {{-2, 2, -1}, {-1, 1, -1}, {0, 0, 0}, {2, 2, 0}, {3, 1, 1}, {4, 2, 1}, {5, 1, 2}};
    for (const auto& [all, key, copy] : cases) {
        int foundCopy = 9;
        EXPECT_EQ(curve->MapIndexAll(all, foundCopy), key) << all;
        EXPECT_EQ(foundCopy, copy) << all;
        EXPECT_EQ(curve->KeyGetTimeAll(all), Sec(all)) << "even spacing goes on";
    }
    curve->KeySetTime(1, Sec(0.5));
    EXPECT_EQ(curve->KeyGetTimeAll(-1), Sec(-0.5));
    EXPECT_EQ(curve->KeyGetTimeAll(3), Sec(2.5));
    curve->SetPostExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED);
    EXPECT_EQ(curve->KeyGetCountAll(), INT_MAX);
}

TEST(Extrapolation, MovesOutsideWhereOtherValuesShow)
{
    YFCurvePtr curve = MakeSamples(3);
    for (const unsigned mode : {0u, 1u, 2u, 3u, 4u, 5u}) {
        for (const unsigned count : {0u, 1u, YFCURVE_EXTRAPOLATION_UNLIMITED}) {
            curve->SetPreExtrapolation(mode);
            curve->SetPreExtrapolationCount(count);
            EXPECT_EQ(curve->MovesOutside(true), curve->Evaluate(Sec(-0.3)) != 0.0f) << mode << ' ' << count;
            EXPECT_FALSE(curve->MovesOutside(false));
        }
    }
}

// --- Slopes --------------------------------------------------------------------------------------------

TEST(EvaluateSlope, IsWhatThePlainCurveDoesOnEachSide)
{
    int compared = 0;
    RandomCurves random;
    for (int round = 0; round < 800; ++round) {
        YFCurvePtr curve = random.Curve(random.Int(2, 7));
        random.SetAnyExtrapolation(*curve);
        const PlainCurve plain(*curve);
        for (int i = 0; i < 30; ++i) {
            // Anywhere, on keys, and on the borders of periods.
            const int key = random.Int(0, curve->KeyGetCount() - 1);
            const YTime period(static_cast<std::int64_t>(plain.Period()));
            YTime time = curve->KeyGetTime(key) + period * random.Int(-4, 4);
            if (random.Chance(0.5)) time += YTime(random.Integer(-period.Get(), period.Get()));
            const Real at = static_cast<Real>(time.Get());
            int hint = random.Int(-1, 9);
            for (const int side : {-1, 1}) {
                // Three points on the side give the slope to second order, and do not see the value at the
                // time itself, where a jump may belong to either side.
                const Real h = side * 2000.0L;
                const Real a = plain.At(at + h), b = plain.At(at + 2 * h), c = plain.At(at + 3 * h);
                const auto expected =
                    static_cast<double>((-5 * a + 8 * b - 3 * c) / (2 * h) * kTicksPerSecond);
                // Where the slope itself changes fast, at the tip of long handles, this is no measure.
                const Real bend = std::abs(a - 2 * b + c) / (h * h) * kTicksPerSecond * std::abs(h);
                if (bend > 1e-3L) continue;
                const float slope = side < 0 ? curve->EvaluateLeftDerivative(time, &hint)
                                             : curve->EvaluateRightDerivative(time, &hint);
                ASSERT_NEAR(slope, expected, 2e-3 + 1e-4 * std::abs(expected)) << time.Get() << " " << side;
                ++compared;
            }
        }
    }
    EXPECT_GT(compared, 30000);
}

// --- The limits of time --------------------------------------------------------------------------------

// Keys over all of time, or over a part; a limit outside of time is the last whole period.
TEST(FarTimes, AsThePlainCurve)
{
    RandomCurves random;
    const auto anyTime = [&](int shift) {
        return YTime(2 * random.Integer(-INT64_MAX / 2, INT64_MAX / 2) >> shift);
    };
    for (int round = 0; round < 3000; ++round) {
        YFCurve curve;
        const int shift = random.Pick({0, 0, 1, 3, 28});
        for (int i = random.Int(1, 4); i > 0; --i)
            curve.KeyAdd(anyTime(shift), LinearKey(random.Float(0.0, 9.0)));
        random.SetAnyExtrapolation(curve);
        if (random.Chance(0.2)) curve.SetPreExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED - 1);
        if (random.Chance(0.2)) curve.SetPostExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED - 1);
        const PlainCurve plain(curve);
        for (int i = 0; i < 20; ++i) {
            const YTime time = random.Pick({YTime(INT64_MIN), YTIME_MINUS_INFINITE, YTIME_INFINITE,
                                            anyTime(0), anyTime(0), anyTime(shift)});
            const auto expected = static_cast<double>(plain.At(static_cast<Real>(time.Get())));
            ASSERT_NEAR(curve.Evaluate(time), expected, 1e-5 * std::max(9.0, std::abs(expected)))
                << "round " << round << " at " << time.Get();
            curve.EvaluateLeftDerivative(time);
            curve.EvaluateRightDerivative(time);
        }
    }
}

// One tick is less than a double position can tell here.
TEST(FarTimes, ATimeWithinRoundingOfAKeyBelongsToItsSegment)
{
    const YTime far(std::int64_t{1} << 60);
    YFCurve curve;
    curve.KeyAdd(YTime(0), LinearKey(0));
    curve.KeyAdd(far, LinearKey(1));
    curve.KeyAdd(far + far, LinearKey(5));
    for (const auto& [time, slope] : {std::pair(far - YTime(1), 1.0), {far + YTime(1), 4.0}}) {
        EXPECT_NEAR(curve.EvaluateLeftDerivative(time) * far.GetSecondDouble(), slope, 1e-6);
        EXPECT_NEAR(curve.EvaluateRightDerivative(time) * far.GetSecondDouble(), slope, 1e-6);
    }
    EXPECT_EQ(curve.KeyAdd(far - YTime(1), LinearKey(9)), 1);
    EXPECT_EQ(curve.KeyGetCount(), 4) << "no key was there";
}
