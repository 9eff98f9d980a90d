#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

#include "tests/curve/random_curve.h"
#include "tests/filters/made_filter.h"
#include "tests/filters/rotation_filters.h"
#include "yfcurve/yfcurvefilterfit.h"

namespace {

using namespace nodetest;
using namespace rotationtest;
using yfc::test::Farthest;

// How far single precision takes values of a curve.
double RoundingOf(const YFCurve& curve)
{
    const auto [low, high] = std::ranges::minmax(yfc::test::KeyValues(curve));
    return 3e-6 * double{std::max(std::abs(low), std::abs(high))};
}

bool HasCorner(const YFCurve& curve, YTime time)
{
    const double left = curve.EvaluateLeftDerivative(time), right = curve.EvaluateRightDerivative(time);
    return std::abs(left - right) > 1e-4 * std::max({1.0, std::abs(left), std::abs(right)});
}

// A recording of smooth motion with some noise, or without.
YFCurve Recording(RandomCurves& random, int count, double interval = 1.0 / 30.0)
{
    const double fast = random.Between(0.1, 1.0);
    const double noise = random.Pick({0.0, 0.1, 0.5});
    YFCurve curve;
    for (int i = 0; i < count; ++i) {
        const double value =
            10.0 * std::sin(i * 0.3 * fast) + 3.0 * std::sin(i * fast) + random.Between(-noise, noise);
        curve.KeyAppendFast(Seconds(i * interval), static_cast<float>(value));
    }
    return curve;
}

}  // namespace

TEST(Fit, StaysWithinTheToleranceEverywhereAndOutsideAsItWas)
{
    RandomCurves random;
    for (int round = 0; round < 250 && !HasFailure(); ++round) {
        YFCurve source;
        random.AddKeys(source, 2 + random.Below(40), round % 3 == 0 ? 0.9 : 0.0);
        random.SetAnyExtrapolation(source);
        const int last = source.KeyGetCount() - 1;
        YFCurveFilterFit filter;
        filter.SetTolerance(random.Pick({0.0, 0.01, 0.3, 5.0, 60.0}));
        filter.SetTangents(random.Below(3));
        filter.SetWeighted(random.Chance(0.4));
        filter.SetOnFrame(random.Chance(0.3));
        filter.SetPeriod(Seconds(random.Between(0.02, 0.7)));
        int firstKey = 0, lastKey = last;
        if (random.Chance(0.5)) {
            firstKey = random.Below(last + 1);
            lastKey = random.Int(firstKey, last);
            filter.SetStartTime(source.KeyGetTime(firstKey));
            filter.SetStopTime(source.KeyGetTime(lastKey));
        }
        YFCurve factor;
        for (int i = 0; i < 6; ++i) {
            const double second = random.Between(-5.0, 20.0);
            factor.KeyAdd(Seconds(second), yfc::test::LinearKey(random.Float(0.0f, 1.0f)));
        }
        if (random.Chance(0.3)) filter.SetToleranceFactor(&factor);
        YFCurve fitted(source);
        const bool changed = filter.Apply(fitted);
        EXPECT_EQ(changed, fitted.KeyGetCount() < source.KeyGetCount());
        const YTime start = source.KeyGetTime(firstKey), stop = source.KeyGetTime(lastKey);
        EXPECT_LE(Farthest(source, fitted, start, stop), filter.GetTolerance() + RoundingOf(source)) << round;
        for (int i = firstKey; i < lastKey && filter.GetToleranceFactor() != nullptr; ++i) {
            const YTime here = source.KeyGetTime(i), next = source.KeyGetTime(i + 1);
            const double share = std::min(factor.Evaluate(here), factor.Evaluate(next));
            EXPECT_LE(Farthest(source, fitted, here, next),
                      filter.GetTolerance() * share + RoundingOf(source))
                << round << " behind key " << i;
        }
        for (const YTime way : {Seconds(-7.0), Seconds(7.0)}) {
            const auto [from, to] =
                std::minmax({way < YTIME_ZERO ? start : stop,
                             way < YTIME_ZERO ? source.KeyGetTime(0) + way : source.KeyGetTime(last) + way});
            const bool repeats = source.KeyGetCountAll() > last + 1;
            const double most = repeats ? filter.GetTolerance() : 0.0;
            EXPECT_LE(Farthest(source, fitted, from, to), most + 2.0 * RoundingOf(source)) << round;
        }
        YFCurve again(fitted);
        EXPECT_FALSE(filter.Apply(again)) << round;
        yfc::test::ExpectSameKeys(fitted, again);
        if (filter.GetWeighted() && round % 3 != 0) {
            YFCurve without(source);
            filter.SetWeighted(false);
            filter.Apply(without);
            EXPECT_LE(fitted.KeyGetCount(), without.KeyGetCount()) << round;
        }
        for (int i = 1; i + 1 < fitted.KeyGetCount() && filter.GetTangents() != 1; ++i) {
            const YTime time = fitted.KeyGetTime(i);
            const bool besideStep = (fitted.KeyGetInterpolation(i - 1) & fitted.KeyGetInterpolation(i) &
                                     YFCURVE_INTERP_CUBIC) == 0;
            EXPECT_TRUE(besideStep || !HasCorner(fitted, time) || HasCorner(source, time))
                << round << " key " << i;
        }
    }
}

// Where nothing moves one segment leads from one corner to the next, however many frames are between them.
TEST(Fit, RestsTakeTheirEndsAlone)
{
    YFCurve curve;
    for (int i = 0; i < 3000; ++i) curve.KeyAppendFast(Seconds(i / 30.0), i / 1000 % 2 == 0 ? 0.0f : 10.0f);
    YFCurveFilterFit filter;
    filter.SetTolerance(0.1);
    filter.SetOnFrame(true);
    filter.SetPeriod(Seconds(0.05));
    ASSERT_TRUE(filter.Apply(curve));
    EXPECT_LE(curve.KeyGetCount(), 12) << "five for each step";
    EXPECT_FALSE(filter.Apply(curve));
}

// Cubics of the length h that start and end on a curve and have the best slopes miss it by its fourth derivative
// times h^4 / 2238: a Chebyshev polynomial of the fourth degree has no less between its outer zeros.
TEST(Fit, BrokenTangentsTakeHardlyMoreKeysThanAnyCubicsBetweenKeys)
{
    for (const double tolerance : {1e-5, 1e-4}) {
        YFCurve curve;
        double fewest = 1.0;
        for (int i = 0; i <= 6000; ++i) {
            curve.KeyAppendFast(Seconds(i / 100.0), static_cast<float>(std::sin(i / 100.0)));
            fewest += 0.01 * std::pow(std::abs(std::sin(i / 100.0)) / 2238.0 / tolerance, 0.25);
        }
        YFCurveFilterFit filter;
        filter.SetTangents(YFCurveFilterFit::eBroken);
        filter.SetTolerance(tolerance);
        EXPECT_TRUE(filter.Apply(curve));
        EXPECT_NEAR(curve.KeyGetCount() / fewest, 1.0, 0.05) << fewest;
        EXPECT_EQ(curve.KeyGetTangeantMode(1), unsigned{YFCURVE_TANGENT_USER_BREAK});
    }
}

TEST(Fit, SetsTheKeysThatAMotionNeeds)
{
    const struct
    {
        const char* what;
        double (*at)(double seconds);
        unsigned interpolation;
        int keys;
    } cases[] = {
        {"constant", [](double) { return 7.0; }, YFCURVE_INTERP_CUBIC, 2},
        {"straight", [](double t) { return 3.0 * t - 5.0; }, YFCURVE_INTERP_CUBIC, 2},
        {"straight pieces", [](double t) { return 4.0 * std::abs(t - 2.0); }, YFCURVE_INTERP_LINEAR, 3},
        {"one cubic", [](double t) { return t * (t - 2.0) * (t - 5.0); }, YFCURVE_INTERP_CUBIC, 2},
        {"steps", [](double t) { return t < 2.0 ? 0.0 : 5.0; }, YFCURVE_INTERP_CONSTANT, 3},
    };
    for (const auto& item : cases) {
        for (const int tangents :
             {YFCurveFilterFit::eSmooth, YFCurveFilterFit::eBroken, YFCurveFilterFit::eAuto}) {
            YFCurve curve;
            for (int i = 0; i <= 120; ++i) {
                const auto value = static_cast<float>(item.at(i / 30.0));
                const unsigned mode = item.interpolation == YFCURVE_INTERP_CUBIC ? YFCURVE_TANGENT_AUTO : 0u;
                curve.KeyAdd(Seconds(i / 30.0), yfc::test::MakeKey(value, item.interpolation, mode));
            }
            const std::string settings = "Tolerance=0.01 Tangents=" + std::to_string(tangents);
            EXPECT_TRUE(MadeFilter("Fit", settings)->Apply(curve)) << item.what;
            EXPECT_EQ(curve.KeyGetCount(), item.keys) << item.what << " " << tangents;
        }
    }
}

// Cutting a recording sets a key at its ends, nearer to the next one than the others stand.
TEST(Fit, RecordingsMayEndBetweenTwoSamples)
{
    const struct
    {
        double first, inside, last;
        bool isRecording;
    } cases[] = {{0.0, 0.5, 0.0, true},   {0.0, 0.5, 0.3, true},  {0.7, 0.5, 0.0, true},
                 {0.05, 0.5, 0.95, true}, {0.0, 0.7, 0.0, false}, {0.3, 0.7, 0.3, false},
                 {0.0, 0.5, 1.4, false},  {1.4, 0.5, 0.0, false}};
    for (const auto& [first, inside, last, isRecording] : cases) {
        SCOPED_TRACE(testing::Message() << first << ' ' << inside << ' ' << last);
        YFCurve curve;
        // A period of 0.1 s; the eighth key is where a recording has it, or not.
        std::vector<double> times;
        if (first > 0.0) times.push_back(-0.1 * first);
        for (int i = 0; i < 14; ++i) times.push_back(0.1 * (i == 8 ? 7.5 + inside : i));
        if (last > 0.0) times.push_back(1.3 + 0.1 * last);
        for (const double time : times)
            curve.KeyAppendFast(Seconds(time), static_cast<float>(std::sin(time)));
        const auto keys = static_cast<int>(times.size());
        EXPECT_EQ(YFCurveFilterFit::IsRecording(curve), isRecording);
        const FilterPtr filter = MadeFilter("Fit", "Tolerance=0.01");
        EXPECT_EQ(filter->Apply(curve) && curve.KeyGetCount() < keys / 2, isRecording);
        EXPECT_FALSE(filter->Apply(curve));
    }
}

// Where a curve is repeated, its last slope is its first.
TEST(Fit, LoopsStayClosed)
{
    YFCurve source;
    const auto slope = [](double turn) {
        return static_cast<float>(5.0 * std::cos(turn) + 3.0 * std::cos(3.0 * turn));
    };
    constexpr double step = std::numbers::pi / 48.0;
    for (double turn = 0.0; turn < 96.5 * step; turn += step) {
        const auto value = static_cast<float>(5.0 * std::sin(turn) + std::sin(3.0 * turn));
        source.KeyAdd(Seconds(turn), yfc::test::UserKey(value, slope(turn), slope(turn + step)));
    }
    for (const int tangents : {YFCurveFilterFit::eSmooth, YFCurveFilterFit::eBroken}) {
        YFCurve fitted(source);
        EXPECT_TRUE(MadeFilter("Fit", "Tangents=" + std::to_string(tangents))->Apply(fitted));
        EXPECT_LT(fitted.KeyGetCount(), 20);
        EXPECT_FLOAT_EQ(fitted.KeyGetRightDerivative(0), 8.0f);
        EXPECT_FLOAT_EQ(fitted.KeyGetLeftDerivative(fitted.KeyGetCount() - 1), 8.0f);
    }
}

// Loops of few keys whose tangents have weights, in many samples.
TEST(Fit, WeightsBringBackTheKeysThatHadSome)
{
    RandomCurves random;
    constexpr int kKeys = 9, kRounds = 10;
    constexpr double kTolerance = 0.1;
    const auto fit = [](YFCurve& curve, bool weighted) {
        YFCurveFilterFit filter;
        filter.SetTolerance(kTolerance);
        filter.SetWeighted(weighted);
        return filter.Apply(curve);
    };
    int with = 0, without = 0;
    for (int round = 0; round < kRounds; ++round) {
        SCOPED_TRACE(round);
        std::vector<float> slopes;
        for (int i = 0; i < kKeys - 1; ++i) slopes.push_back(random.Float(-15.0f, 15.0f));
        slopes.push_back(slopes[0]);
        YFCurve made;
        for (std::size_t i = 0; i < kKeys; ++i) {
            YFCurveKey key;
            key.Set(YTime(), random.Float(-10.0f, 10.0f), YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER,
                    slopes[i], slopes[std::min<std::size_t>(i + 1, kKeys - 1)], YFCURVE_WEIGHT_ALL,
                    random.Float(0.1f, 0.85f), random.Float(0.1f, 0.85f));
            made.KeyAdd(Seconds(static_cast<double>(i)), key);
        }
        YFCurve source;
        for (int i = 0; i <= 100 * (kKeys - 1); ++i) {
            const auto slope = [&](int sample) {
                return made.EvaluateLeftDerivative(Seconds(0.01 * sample));
            };
            const float here = i > 0 ? slope(i) : slopes[0];
            source.KeyAdd(Seconds(0.01 * i),
                          yfc::test::UserKey(made.Evaluate(Seconds(0.01 * i)), here, slope(i + 1)));
        }
        YFCurve weighted(source);
        EXPECT_TRUE(fit(weighted, true));
        EXPECT_LE(Farthest(source, weighted), kTolerance + RoundingOf(source));
        EXPECT_EQ(weighted.KeyGetRightDerivative(0), slopes[0]);
        EXPECT_EQ(weighted.KeyGetLeftDerivative(weighted.KeyGetCount() - 1), slopes[0]);
        with += weighted.KeyGetCount();
        YFCurve again(weighted);
        EXPECT_FALSE(fit(again, true));
        yfc::test::ExpectSameKeys(weighted, again);
        EXPECT_TRUE(fit(source, false));
        without += source.KeyGetCount();
    }
    EXPECT_LE(with, 1.3 * kKeys * kRounds);
    EXPECT_GE(without, 1.5 * kKeys * kRounds);
}

// Angles, turns in quaternion form, places, and pairs of curves; by way of a node or not.
TEST(Fit, CurvesStayWithinTheToleranceTogether)
{
    RandomCurves random;
    constexpr int kKeys = 24;
    double reached = 0.0;
    int fitted[2] = {}, changed = 0;
    for (int round = 0; round < 160 && !HasFailure(); ++round) {
        SCOPED_TRACE(round);
        const bool turns = round % 4 < 2;
        const bool isQuaternion = round % 4 == 1;
        const YFCurveNodePtr node = turns ? nodetest::Rotation(random.Below(6)) : nodetest::Translation();
        node->SetUseQuaternion(isQuaternion);
        if (round % 4 == 3) node->Delete(2);
        const double interval = random.Pick({1.0 / 30.0, 0.4});
        std::vector<YFCurve*> curves;
        for (int axis = 0; axis < node->GetCount(); ++axis) {
            curves.push_back(&CurveOf(*node, axis));
            curves.back()->CopyFrom(Recording(random, kKeys, interval));
            curves.back()->KeyScaleValueAndTangeant(false, random.Pick({4.0f, 10.0f}));
        }
        const YFCurveNodePtr source(node->Clone());
        YFCurveFilterFit filter;
        filter.SetTolerance(random.Pick({0.5, 3.0}));
        filter.SetTogether(true);
        filter.SetWeighted(random.Chance(0.1));
        filter.SetOnFrame(random.Chance(0.5));
        filter.SetPeriod(Seconds(interval / 2.0));
        const auto apply = [&] {
            const int count = static_cast<int>(curves.size());
            return turns || round % 8 < 4 ? filter.Apply(*node, true) : filter.Apply(curves.data(), count);
        };
        EXPECT_TRUE(apply());
        const std::vector<double> times = yfc::test::KeySeconds(*curves[0]);
        for (const YFCurve* curve : curves) EXPECT_EQ(yfc::test::KeySeconds(*curve), times);
        EXPECT_LE(times.size(), kKeys);
        if (times.size() < kKeys) ++fitted[isQuaternion];
        for (std::size_t i = 0; !isQuaternion && i < times.size(); ++i) {
            const double period = times[i] / interval * (filter.GetOnFrame() ? 2.0 : 1.0);
            EXPECT_NEAR(period, std::round(period), 1e-6);
        }
        double largest = 0.0;
        const auto order = static_cast<eRotationOrder>(node->GetRotationOrder());
        for (double time = 0.0; turns && time < (kKeys - 1) * interval; time += interval / 20.0)
            largest = std::max(largest, Apart(Shown(*source, time), Shown(*node, time), order));
        for (std::size_t i = 0; !turns && i < curves.size(); ++i)
            largest = std::max(largest, Farthest(CurveOf(*source, static_cast<int>(i)), *curves[i]));
        EXPECT_LE(largest, 1.001 * filter.GetTolerance() + (isQuaternion ? 0.01 : 0.0));
        if (turns) reached = std::max(reached, largest / filter.GetTolerance());
        // A second fit is within the tolerance of the first: it sets the same keys, or now and then one fewer.
        const YFCurveNodePtr once(node->Clone());
        apply();
        const int fewer = CurveOf(*once, 0).KeyGetCount() - curves[0]->KeyGetCount();
        EXPECT_GE(fewer, 0);
        changed += fewer != 0;
        for (int axis = 0; fewer == 0 && axis < node->GetCount(); ++axis)
            yfc::test::ExpectSameKeys(CurveOf(*once, axis), *curves[static_cast<std::size_t>(axis)]);
    }
    EXPECT_GE(reached, 0.9);
    EXPECT_LE(changed, 8);
    EXPECT_GE(fitted[0], 100);
    EXPECT_GE(fitted[1], 10);
}

TEST(Fit, ThePropertiesOfAJointGetKeysAtTheSameTimes)
{
    RandomCurves random;
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE(round);
        const YFCurveNodePtr joint(YFCurveNodeCreate("Joint", nullptr));
        YFCurveNode& move = *joint->Get(joint->Add(nodetest::Translation().release()));
        YFCurveNode& turn = *joint->Get(joint->Add(nodetest::Rotation(random.Below(6)).release()));
        for (YFCurveNode* property : {&move, &turn})
            for (int axis = 0; axis < 3; ++axis) CurveOf(*property, axis).CopyFrom(Recording(random, 40));
        if (round % 4 == 3) turn.Delete(1);
        const YFCurveNodePtr source(joint->Clone());
        EXPECT_TRUE(MadeFilter("Fit", "Tolerance=0.8 Together=true")->Apply(*joint, true));
        const std::vector<double> times = yfc::test::KeySeconds(CurveOf(move, 0));
        EXPECT_LT(times.size(), 40u);
        for (int axis = 0; axis < 3; ++axis) {
            EXPECT_EQ(yfc::test::KeySeconds(CurveOf(move, axis)), times);
            EXPECT_LE(Farthest(CurveOf(*source->Get(0), axis), CurveOf(move, axis)), 0.801);
            EXPECT_EQ(yfc::test::KeySeconds(CurveOf(turn, axis % turn.GetCount())), times);
        }
        const auto order = static_cast<eRotationOrder>(turn.GetRotationOrder());
        for (double time = 0.0; turn.GetCount() == 3 && time < 1.3; time += 1.0 / 300.0)
            EXPECT_LE(Apart(Shown(*source->Get(1), time), Shown(turn, time), order), 0.801);
    }
}

// Angles that play what quaternions play may take more keys than these.
TEST(Fit, LeavesQuaternionsThatTakeFewerKeysThanAnglesWould)
{
    for (const bool together : {true, false}) {
        for (const bool lockedLayer : {true, false}) {
            const YFCurveNodePtr node =
                rotationtest::Rotation({{0, 0, 0}, {80, 60, -40}, {-100, 30, 170}, {20, -80, 60}, {0, 0, 0}});
            CurveOf(*node, 0).KeySetInterpolation(2, YFCURVE_INTERP_CONSTANT);
            node->SetUseQuaternion(true);
            YFCurve& onLayer = CurveOf(*node->CreateLayerAt(YFCurveLayerInfo(1, nullptr)), 0);
            onLayer.SetLockedByLayer(lockedLayer);
            const YFCurveNodePtr source(node->Clone());
            const FilterPtr filter =
                MadeFilter("Fit", together ? "Tolerance=0.01 Together=true" : "Tolerance=0.01");
            filter->Apply(*node, true);
            EXPECT_EQ(filter->GetOutcome(),
                      lockedLayer ? eFilterOutcome::Locked : eFilterOutcome::NothingToDo);
            EXPECT_TRUE(node->GetUseQuaternion());
            for (int axis = 0; axis < 3; ++axis)
                yfc::test::ExpectSameKeys(CurveOf(*source, axis), CurveOf(*node, axis));
        }
    }
}
