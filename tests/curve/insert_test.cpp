// KeyInsert: a key more, the same curve.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

#include "plain_curve.h"
#include "random_curve.h"
#include "same_edit.h"

using namespace yfc::test;

namespace {

const YTime kSecond = YTIME_ONE_SECOND;

// Near weights of 1 the bounded secant search of Evaluate does not always arrive.
double Geometry(const YFCurve& curve, YTime time)
{
    return static_cast<double>(PlainCurve(curve).At(static_cast<long double>(time.Get())));
}

using Sample = std::pair<YTime, double>;  // a time and the value there

// Samples over the keys and, where asked, a second beyond.
std::vector<Sample> Samples(RandomCurves& random, const YFCurve& curve, bool outside)
{
    const YTime margin = outside ? kSecond : YTIME_ZERO;
    const YTime start = curve.KeyGetTime(0) - margin;
    const YTime stop = curve.KeyGetTime(curve.KeyGetCount() - 1) + margin;
    std::vector<Sample> samples;
    for (int i = 0; i < 200; ++i) {
        const YTime time = random.TimeBetween(start, stop);
        samples.emplace_back(time, outside ? curve.Evaluate(time) : Geometry(curve, time));
    }
    return samples;
}

double Range(const std::vector<Sample>& samples)
{
    const auto [low, high] = std::ranges::minmax(samples, {}, &Sample::second);
    return std::max(high.second - low.second, 1.0);
}

// A stored weight is up to half of 1/9999 off, which shifts a Bezier point in time by as much of the
// segment, and in value along the tangent: together at most twice that times the steepest slope nearby, for
// the segment that was there and for the one that is.
double WeightAllowance(const YFCurve& curve, YTime time)
{
    int hint = 0;
    const double position = curve.KeyFind(time, &hint);
    if (position < 0.0 || position > curve.KeyGetCount() - 1) return 0.0;
    const int i = std::min(static_cast<int>(position), curve.KeyGetCount() - 2);
    if (i < 0 || curve.KeyGetTangeantWeightMode(i) == YFCURVE_WEIGHT_NONE) return 0.0;
    const YTime duration = curve.KeyGetTime(i + 1) - curve.KeyGetTime(i);
    const YTime shift = duration / 9999;
    const double slope = std::max(
        {std::abs(curve.KeyGetRightDerivative(i)), std::abs(curve.KeyGetLeftDerivative(i + 1)),
         std::abs(curve.EvaluateLeftDerivative(time)), std::abs(curve.EvaluateLeftDerivative(time - shift)),
         std::abs(curve.EvaluateLeftDerivative(time + shift))});
    return 2.0 * 0.5 / 9999.0 * duration.GetSecondDouble() * slope;
}

// Two keys a second apart with weights up to 0.99, where one key is not always enough to keep the shape.
void AddHardSegment(YFCurve& curve, RandomCurves& random)
{
    for (int i = 0; i < 2; ++i) {
        const auto weight = [&] { return random.Float(0.9, 1.0); };
        const auto slope = [&] { return random.Float(-20.0, 20.0); };
        YFCurveKey key;
        key.Set(YTIME_ZERO, slope(), YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, slope(), slope(),
                YFCURVE_WEIGHT_ALL, weight(), weight());
        curve.KeyAdd(kSecond * i, key);
    }
}

TEST(KeyInsert, KeepsTheShapeOfRandomCurves)
{
    RandomCurves random;
    int helpers = 0;
    for (int round = 0; round < 1200; ++round) {
        SCOPED_TRACE(round);
        YFCurve curve;
        const bool hard = round % 2 == 0;
        if (hard) {
            AddHardSegment(curve, random);
        } else {
            random.AddKeys(curve, 1 + random.Below(7), round % 3 == 0 ? 0.0 : 0.9);
            random.SetEndlessExtrapolation(curve);
        }
        const YFCurve original(curve);
        const std::vector<Sample> samples = Samples(random, original, !hard);
        const YTime margin = hard ? YTime(-1) : kSecond;
        const YTime last = curve.KeyGetTime(curve.KeyGetCount() - 1);
        const YTime time = random.TimeBetween(curve.KeyGetTime(0) - margin, last + margin);
        EventLog log(curve);
        curve.CandidateSet(time, 7.0);
        const int index = curve.KeyInsert(time);
        ASSERT_EQ(curve.KeyGetTime(index), time);
        ASSERT_EQ(log.Take().size(), curve.KeyGetCount() > original.KeyGetCount() ? 1u : 0u);
        ASSERT_EQ(curve.IsCandidate(), curve.KeyGetCount() == original.KeyGetCount());
        for (int i = 1; i < curve.KeyGetCount(); ++i) ASSERT_LT(curve.KeyGetTime(i - 1), curve.KeyGetTime(i));
        if (hard) helpers += curve.KeyGetCount() - 3;
        for (const auto& [at, before] : samples) {
            const double allowed =
                1e-5 * Range(samples) + WeightAllowance(original, at) + WeightAllowance(curve, at);
            ASSERT_NEAR(hard ? Geometry(curve, at) : curve.Evaluate(at), before, allowed)
                << "at " << at.GetSecondDouble() << " s, key at " << time.GetSecondDouble() << " s";
        }
    }
    EXPECT_GT(helpers, 0) << "the hard case did not come up";
}

TEST(KeyInsert, LeavesNeighboursAutoWhereTheirRuleStillHolds)
{
    const auto inserted = [](float lastValue) {
        YFCurvePtr curve = MakeCurve({AutoKey(0), AutoKey(2), AutoKey(4), AutoKey(lastValue)});
        curve->KeyInsert(Sec(1.25));
        return curve;
    };
    const YFCurvePtr straight = inserted(6.0f), bent = inserted(-3.0f);
    YFCurvePtr swift = MakeCurve({AutoKey(0), AutoKey(2)});
    swift->KeySetLeftTangeantVelocity(1, 0.5f);
    const float velocity = swift->KeyGetLeftTangeantVelocity(1);
    swift->KeyInsert(Sec(0.5));
    EXPECT_EQ(swift->KeyGetLeftTangeantVelocity(2), velocity);
    EXPECT_FALSE(swift->KeyIsLeftTangeantVelocity(1));
    for (const int neighbour : {1, 3})
        EXPECT_EQ(straight->KeyGetTangeantMode(neighbour), unsigned{YFCURVE_TANGENT_AUTO}) << neighbour;
    EXPECT_EQ(straight->KeyGetTangeantMode(2), unsigned{YFCURVE_TANGENT_USER}) << "the new one";
    EXPECT_EQ(bent->KeyGetTangeantMode(3), unsigned{YFCURVE_TANGENT_USER}) << "its chord has changed";
    EXPECT_EQ(bent->KeyGetTangeantMode(0), unsigned{YFCURVE_TANGENT_AUTO}) << "not concerned";
}

// Before, between and behind the keys, on keys and beside them, some twice; mostly in order.
std::vector<YTime> TimesFor(RandomCurves& random, const YFCurve& curve)
{
    const int keyCount = curve.KeyGetCount();
    std::vector<YTime> times;
    for (int i = random.Below(30); i > 0; --i) {
        const YTime key = keyCount > 0 ? curve.KeyGetTime(random.Below(keyCount)) : YTIME_ZERO;
        const YTime near = key + YTime(random.Int(-1, 1));
        times.push_back(random.Chance(0.3) ? near : key + random.TimeBetween(-kSecond, kSecond));
    }
    if (!random.Chance(0.1)) std::sort(times.begin(), times.end());
    return times;
}

TEST(KeyInsert, ManyTimesAreOneAfterTheOther)
{
    RandomCurves random;
    for (int round = 0; round < 4000; ++round) {
        YFCurve source;
        random.AddKeys(source, random.Below(40), random.Pick({0.0, 0.9, 1.0}));
        random.SetAnyExtrapolation(source);
        const std::vector<YTime> times = TimesFor(random, source);
        YFCurve one(source), all(source);
        EventLog oneLog(one), allLog(all);
        one.KeyModifyBegin();
        for (const YTime time : times) one.KeyInsert(time);
        one.KeyModifyEnd();

        const int added = all.KeyInsert(times.data(), static_cast<int>(times.size()));
        ASSERT_EQ(added, one.KeyGetCount() - source.KeyGetCount()) << "round " << round;
        ASSERT_NO_FATAL_FAILURE(ExpectSameEdit(all, allLog, one, oneLog)) << "round " << round;
    }
}

}  // namespace
