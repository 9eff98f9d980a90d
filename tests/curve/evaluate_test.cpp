#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <climits>
#include <cmath>

#include "plain_curve.h"
#include "tests/test_environment.h"

using namespace yfc::test;

namespace {

// Linear keys (0, 0), (1, 1), (2, 4) with a mode on both sides.
YFCurvePtr Extrapolated(unsigned mode, std::uint32_t count)
{
    YFCurvePtr curve = MakeCurve({LinearKey(0), LinearKey(1), LinearKey(4)});
    curve->SetPreExtrapolation(mode);
    curve->SetPostExtrapolation(mode);
    curve->SetPreExtrapolationCount(count);
    curve->SetPostExtrapolationCount(count);
    return curve;
}

constexpr std::uint32_t kUnlimited = YFCURVE_EXTRAPOLATION_UNLIMITED;

}  // namespace

// --- Inside the keys -----------------------------------------------------------------------------------

TEST(Evaluate, WithoutKeysAndWithOne)
{
    for (unsigned mode = 0; mode <= 5; ++mode) {
        YFCurve curve;
        curve.SetValue(3.0f);
        curve.SetPreExtrapolation(mode);
        curve.SetPreExtrapolationCount(kUnlimited);
        EXPECT_EQ(curve.Evaluate(Sec(-1)), 3.0f);
        EXPECT_EQ(curve.EvaluateIndex(0.5), 3.0f);
        EXPECT_EQ(curve.KeyFindAll(Sec(1)), -1.0);
        EXPECT_EQ(curve.EvaluateLeftDerivative(Sec(1)), 0.0f);

        curve.KeyAdd(Sec(1), UserKey(5, 7, 7));
        for (const double t : {-9.0, 1.0, 2.5}) EXPECT_EQ(curve.Evaluate(Sec(t)), 5.0f);
        EXPECT_EQ(curve.KeyFindAll(Sec(-9)), 0.0);
        EXPECT_EQ(curve.EvaluateRightDerivative(Sec(-3)), 0.0f);
    }
}

TEST(Evaluate, SegmentsOfNoInterpolationAreZero)
{
    YFCurvePtr curve = MakeCurve({MakeKey(3, 0), UserKey(6)});
    EXPECT_EQ(curve->Evaluate(Sec(0.5)), 0.0f);
    EXPECT_EQ(curve->Evaluate(Sec(1)), 6.0f);
}

// Ascending, descending and random times in and around the keys, many of them on keys and in pairs.
TEST(Evaluate, ManyTimesGiveWhatEachGives)
{
    Random random(test::Seed());
    SCOPED_TRACE(test::HowToRepeat());
    const auto bits = [](float value) { return std::bit_cast<std::uint32_t>(value); };
    for (int round = 0; round < 200; ++round) {
        YFCurvePtr curve = RandomCurve(random, random.Pick({0, 1, 2, 5, 150}));
        ExtrapolateRandomly(*curve, random);
        std::vector<YTime> times;
        for (int i = 0; i < 60; ++i) {
            const int key = random.Int(0, std::max(curve->KeyGetCount() - 1, 0));
            const bool onKey = curve->KeyGetCount() > 0 && random.Chance(0.3);
            times.push_back(onKey ? curve->KeyGetTime(key) : Sec(random.Real(-20.0, 180.0)));
            times.push_back(times.back() + YTime(random.Int(0, 3)));
        }
        if (round % 3 == 0) std::sort(times.begin(), times.end());
        if (round % 3 == 1) std::sort(times.rbegin(), times.rend());
        std::vector<float> values(times.size());
        curve->Evaluate(times, values);
        for (std::size_t i = 0; i < times.size(); ++i)
            ASSERT_EQ(bits(values[i]), bits(curve->Evaluate(times[i]))) << i;
        const YTime step(random.Integer(-YTIME_TICKS_PER_SECOND, YTIME_TICKS_PER_SECOND));
        curve->Evaluate(times[0], step, values);
        for (std::size_t i = 0; i < values.size(); ++i)
            ASSERT_EQ(bits(values[i]), bits(curve->Evaluate(times[0] + step * static_cast<std::int64_t>(i))));
        values.assign(3, 7.0f);
        curve->Evaluate(std::span(times).first(2), values);
        EXPECT_EQ(values[2], 7.0f);
    }
}

TEST(Evaluate, KeysAndPositionsExactly)
{
    Random random(test::Seed());
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 100; ++round) {
        YFCurvePtr curve = RandomCurve(random, random.Int(2, 100));
        ExtrapolateRandomly(*curve, random);
        const auto keepsSlope = [](unsigned mode) { return mode == YFCURVE_EXTRAPOLATION_KEEP_SLOPE; };
        if (keepsSlope(curve->GetPreExtrapolation()) || keepsSlope(curve->GetPostExtrapolation())) continue;
        for (int i = 0; i < curve->KeyGetCount(); ++i) {
            int hint = random.Int(-1, 101);
            EXPECT_EQ(curve->Evaluate(curve->KeyGetTime(i), &hint), curve->KeyGetValue(i));
            EXPECT_EQ(curve->EvaluateIndex(i), curve->KeyGetValue(i));
        }
        // A value is that of its position, and leaves the same hint, whatever the hint was.
        for (int i = 0; i < 200; ++i) {
            const int near = random.Int(0, curve->KeyGetCount() - 1);
            const double reach = random.Pick({1.0, 400.0});
            const YTime time = curve->KeyGetTime(near) + Sec(random.Real(-reach, reach));
            int hint = near + random.Int(-3, 3);
            int allHint = hint;
            ASSERT_EQ(curve->Evaluate(time, &hint), curve->EvaluateIndex(curve->KeyFindAll(time, &allHint)));
            ASSERT_EQ(hint, allHint);
        }
    }
    // What a search answers outside the keys stands for the end keys.
    YFCurvePtr curve = MakeSamples(3);
    EXPECT_EQ(curve->EvaluateIndex(curve->KeyFind(Sec(-1))), 0.0f);
    EXPECT_EQ(curve->EvaluateIndex(curve->KeyFind(Sec(9))), 2.0f);
}

TEST(Evaluate, AsThePlainCurveEverywhere)
{
    int compared = 0;
    Random random(test::Seed());
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 1500; ++round) {
        YFCurvePtr curve = RandomCurve(random, random.Int(1, 9));
        for (int i = 0; i < curve->KeyGetCount(); ++i) {  // short handles on a third of the sides
            const auto weight = [&] { return static_cast<float>(std::pow(10.0, random.Real(-4.0, -1.5))); };
            if (random.Chance(0.3)) curve->KeySetRightTangeantWeight(i, weight());
            if (random.Chance(0.3)) curve->KeySetLeftTangeantWeight(i, weight());
        }
        ExtrapolateRandomly(*curve, random);
        if (random.Chance(0.1)) curve->SetPostExtrapolation(random.Pick({0u, 9u}));  // as if constant
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
            const YTime time(static_cast<std::int64_t>(ticks));
            const Real at = static_cast<Real>(time.Get());
            if (!plain.SearchEnds(at)) continue;
            int hint = random.Int(-2, curve->KeyGetCount() + 2);
            const auto expected = static_cast<double>(plain.At(at));
            const auto tolerance = static_cast<double>(plain.Tolerance(at));
            ASSERT_NEAR(curve->Evaluate(time, random.Chance(0.5) ? &hint : &kept), expected, tolerance)
                << "at " << time.Get();
            ASSERT_EQ(curve->Evaluate(time), curve->Evaluate(time, &hint));
            ++compared;
        }
    }
    EXPECT_GT(compared, 50000);
}

// --- Outside the keys ----------------------------------------------------------------------------------

TEST(Extrapolation, EndsAtItsLimit)
{
    // Repetitions fall back to the end key from the limit on, which is the second period's end here.
    const YTime tick(1);
    for (const unsigned mode : {YFCURVE_EXTRAPOLATION_REPETITION, YFCURVE_EXTRAPOLATION_MIRROR_REPETITION}) {
        YFCurvePtr curve = Extrapolated(mode, 2);
        for (const YTime time : {Sec(-4), Sec(-4) - tick, Sec(-5), Sec(-400)}) {
            int hint = 2;
            EXPECT_EQ(curve->KeyFindAll(time, &hint), 0.0);
            EXPECT_EQ(hint, 0);
        }
        for (const YTime time : {Sec(6), Sec(6) + tick, Sec(7), Sec(400)}) {
            int hint = 0;
            EXPECT_EQ(curve->KeyFindAll(time, &hint), 2.0);
            EXPECT_EQ(hint, 2);
        }
    }
    YFCurvePtr slope = Extrapolated(YFCURVE_EXTRAPOLATION_KEEP_SLOPE, 2);
    EXPECT_EQ(slope->KeyFindAll(Sec(-1)), 0.0) << "no position shows such a value";
    EXPECT_EQ(slope->KeyFindAll(Sec(3)), 2.0);
}

TEST(Extrapolation, KeysOfAllCopies)
{
    YFCurvePtr curve = MakeSamples(3);
    EXPECT_EQ(curve->KeyGetCountAll(), 3);
    curve->SetPreExtrapolation(YFCURVE_EXTRAPOLATION_MIRROR_REPETITION);
    curve->SetPreExtrapolationCount(1);
    curve->SetPostExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION);
    curve->SetPostExtrapolationCount(2);
    // Three copies add two keys each.
    EXPECT_EQ(curve->KeyGetCountAll(), 3 + 3 * 2);
    struct Case
    {
        int all, key, copy;
    };
    const Case cases[] = {{-2, 2, -1}, {-1, 1, -1}, {0, 0, 0}, {2, 2, 0},
                          {3, 1, 1},   {4, 2, 1},   {5, 1, 2}, {6, 2, 2}};
    for (const auto& [all, key, copy] : cases) {
        int foundCopy = 9;
        EXPECT_EQ(curve->MapIndexAll(all, foundCopy), key) << all;
        EXPECT_EQ(foundCopy, copy) << all;
        EXPECT_EQ(curve->KeyGetTimeAll(all), Sec(all)) << "even spacing goes on";
    }
    curve->KeySetTime(1, Sec(0.5));
    EXPECT_EQ(curve->KeyGetTimeAll(-1), Sec(-0.5));
    EXPECT_EQ(curve->KeyGetTimeAll(3), Sec(2.5));
    curve->SetPostExtrapolationCount(kUnlimited);
    EXPECT_EQ(curve->KeyGetCountAll(), INT_MAX);
}

// --- Slopes --------------------------------------------------------------------------------------------

TEST(EvaluateSlope, IsWhatThePlainCurveDoesOnEachSide)
{
    int compared = 0;
    Random random(test::Seed());
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 800; ++round) {
        YFCurvePtr curve = RandomCurve(random, random.Int(2, 7));
        ExtrapolateRandomly(*curve, random);
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
                const Real a = plain.At(at + h);
                const Real b = plain.At(at + 2 * h);
                const Real c = plain.At(at + 3 * h);
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

TEST(FarTimes, ExtrapolateWithoutOverflow)
{
    for (const YTime time : {YTime(INT64_MIN), YTIME_MINUS_INFINITE, YTIME_INFINITE}) {
        const double distance = static_cast<double>(time.Get()) / static_cast<double>(YTIME_TICKS_PER_SECOND);
        for (const std::uint32_t count : {0u, 7u, kUnlimited - 1, kUnlimited}) {
            for (const unsigned mode : {1u, 2u, 3u}) {
                const float value = Extrapolated(mode, count)->Evaluate(time);
                EXPECT_TRUE(value >= 0.0f && value <= 4.0f);
            }
            YFCurvePtr curve = Extrapolated(YFCURVE_EXTRAPOLATION_KEEP_SLOPE, count);
            const double reach = count == kUnlimited ? 1e99 : 2.0 * count;
            const double slope = distance < 0 ? 1.0 : 3.0;
            const double start = distance < 0 ? 0.0 : 4.0 - 3.0 * 2.0;
            const double far = std::clamp(distance, -reach, reach + 2.0);
            EXPECT_FLOAT_EQ(curve->Evaluate(time), static_cast<float>(start + slope * far));
            curve->EvaluateLeftDerivative(time);
            curve->EvaluateRightDerivative(time);
        }
    }
}

TEST(FarTimes, ALimitOutsideOfTimeIsTheLastWholePeriod)
{
    // Three periods of 3e18 ticks fit in front of 0, the five that are asked for do not.
    YFCurve curve;
    curve.KeyAdd(YTime(0), LinearKey(0));
    curve.KeyAdd(YTime(3'000'000'000'000'000'000), LinearKey(3));
    curve.SetPreExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION);
    curve.SetPreExtrapolationCount(5);
    EXPECT_FLOAT_EQ(curve.Evaluate(YTime(-8'000'000'000'000'000'000)), 1.0f);
    EXPECT_EQ(curve.Evaluate(YTime(-9'000'000'000'000'000'000)), 0.0f);
    EXPECT_EQ(curve.Evaluate(YTime(-9'200'000'000'000'000'000)), 0.0f);
}

TEST(FarTimes, KeysOverMoreThanHalfOfTime)
{
    YFCurve curve;
    curve.KeyAdd(YTime(-6'000'000'000'000'000'000), LinearKey(0));
    curve.KeyAdd(YTime(6'000'000'000'000'000'000), LinearKey(12));
    EXPECT_FLOAT_EQ(curve.Evaluate(YTime(3'000'000'000'000'000'000)), 9.0f);
    for (const unsigned mode : {1u, 2u, 3u, 4u}) {
        curve.SetPostExtrapolation(mode);
        curve.SetPreExtrapolation(mode);
        for (const std::uint32_t count : {0u, 1u, kUnlimited}) {
            curve.SetPostExtrapolationCount(count);
            curve.SetPreExtrapolationCount(count);
            EXPECT_TRUE(std::isfinite(curve.Evaluate(YTime(8'000'000'000'000'000'000))));
            EXPECT_TRUE(std::isfinite(curve.Evaluate(YTIME_MINUS_INFINITE)));
            EXPECT_TRUE(std::isfinite(curve.EvaluateLeftDerivative(YTIME_INFINITE)));
        }
    }
    // A line goes on as it came, 1 in 10^18 ticks.
    EXPECT_FLOAT_EQ(curve.Evaluate(YTime(8'000'000'000'000'000'000)), 14.0f);
}

TEST(FarTimes, ATimeWithinRoundingOfAKeyBelongsToItsSegment)
{
    // One tick is less than a double position can tell here.
    const YTime far(std::int64_t{1} << 60);
    YFCurve curve;
    curve.KeyAdd(YTime(0), LinearKey(0));
    curve.KeyAdd(far, LinearKey(1));
    curve.KeyAdd(far + far, LinearKey(5));
    const double unit = far.GetSecondDouble();
    for (const int side : {-1, 1}) {
        const auto slope = [&](YTime time) {
            return (side < 0 ? curve.EvaluateLeftDerivative(time) : curve.EvaluateRightDerivative(time)) *
                   unit;
        };
        EXPECT_NEAR(slope(far - YTime(1)), 1.0, 1e-6);
        EXPECT_NEAR(slope(far + YTime(1)), 4.0, 1e-6);
        EXPECT_NEAR(slope(far + far - YTime(1)), 4.0, 1e-6);
    }
    EXPECT_FLOAT_EQ(curve.Evaluate(far + far - YTime(1)), 5.0f);
    EXPECT_EQ(curve.KeyAdd(far - YTime(1), LinearKey(9)), 1);
    EXPECT_EQ(curve.KeyGetCount(), 4) << "no key was there";
}
