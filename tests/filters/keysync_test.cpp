#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/curve/random_curve.h"
#include "tests/node/nodes.h"
#include "yfcurve/yfcurvefilterkeysync.h"

namespace {

using nodetest::CurveOf;
using nodetest::Seconds;
using nodetest::SetKeys;
using yfc::test::EventLog;

std::vector<double> KeySeconds(const YFCurve& curve)
{
    std::vector<double> seconds;
    for (int i = 0; i < curve.KeyGetCount(); ++i) seconds.push_back(curve.KeyGetTime(i).GetSecondDouble());
    return seconds;
}

struct Pair
{
    YFCurve first;
    YFCurve second;
    YFCurve* curves[2] = {&first, &second};
};

}  // namespace

TEST(KeySync, KeepsTheShapesOfAllCurves)
{
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 60; ++round) {
        std::vector<YFCurve> curves(static_cast<std::size_t>(2 + random.Below(4)));
        std::vector<YFCurve*> pointers;
        for (YFCurve& curve : curves) {
            random.AddKeys(curve, 1 + random.Below(12), 0.0);
            random.SetEndlessExtrapolation(curve);
            pointers.push_back(&curve);
        }
        if (random.Chance(0.2)) pointers.push_back(pointers[0]);
        const std::vector<YFCurve> before(curves);
        YFCurveFilterKeySync filter;
        const int count = static_cast<int>(pointers.size());
        ASSERT_TRUE(filter.Apply(pointers.data(), count));
        for (std::size_t c = 0; c < curves.size(); ++c) {
            for (int i = 0; i < 300; ++i) {
                const YTime time = random.TimeBetween(Seconds(-3.0), Seconds(15.0));
                const float was = before[c].Evaluate(time);
                ASSERT_NEAR(curves[c].Evaluate(time), was, 2e-3 + 1e-5 * std::abs(was));
            }
            for (int i = 0; i < before[c].KeyGetCount(); ++i) {
                const YTime time = before[c].KeyGetTime(i);
                ASSERT_EQ(curves[c].Evaluate(time), before[c].Evaluate(time));
            }
        }
        ASSERT_FALSE(filter.NeedApply(pointers.data(), count));
    }
}

TEST(KeySync, WorksInTheSpanAndRoundLockedCurves)
{
    Pair pair;
    SetKeys(pair.first, {{0.0, 0.0f}, {5.0, 5.0f}, {10.0, 10.0f}});
    SetKeys(pair.second, {{3.0, 1.0f}, {7.0, 1.0f}});
    YFCurveFilterKeySync filter;
    filter.SetStartTime(Seconds(5.0));  // the key exactly there counts
    filter.SetStopTime(Seconds(7.0));
    EXPECT_TRUE(filter.NeedApply(pair.curves, 2));
    EXPECT_EQ(filter.GetLastErrorID(), 2);
    EXPECT_TRUE(filter.Apply(pair.curves, 2));
    EXPECT_EQ(KeySeconds(pair.first), (std::vector{0.0, 5.0, 7.0, 10.0}));
    EXPECT_EQ(KeySeconds(pair.second), (std::vector{3.0, 5.0, 7.0}));

    // A locked curve leads, and has a bracket closed that the host has open on it.
    filter.Reset();
    pair.second.SetLockedByLayer(true);
    EventLog log(pair.second);
    pair.second.KeyModifyBegin();
    pair.second.KeySetValue(0, 2.0f);
    EXPECT_TRUE(filter.Apply(pair.curves, 2));
    EXPECT_EQ(KeySeconds(pair.first), (std::vector{0.0, 3.0, 5.0, 7.0, 10.0}));
    EXPECT_EQ(KeySeconds(pair.second), (std::vector{3.0, 5.0, 7.0}));
    EXPECT_EQ(log.TakeTypes(), (std::vector<unsigned>{0x2010}));
}

TEST(KeySync, PassesOverAKeyOneTickLater)
{
    Pair pair;
    const YTime tick(1);
    pair.first.KeyAppendFast(Seconds(1.0), 1.0f);
    pair.first.KeyAppendFast(Seconds(3.0), 1.0f);
    pair.second.KeyAppendFast(Seconds(1.0) + tick, 2.0f);
    YFCurveFilterKeySync filter;
    EXPECT_TRUE(filter.Apply(pair.curves, 2));
    EXPECT_EQ(pair.first.KeyGetCount(), 2);
    ASSERT_EQ(pair.second.KeyGetCount(), 3);
    EXPECT_EQ(pair.second.KeyGetTime(1), Seconds(1.0) + tick);
    EXPECT_TRUE(filter.NeedApply(pair.curves, 2));
}

TEST(KeySync, SaysWhatIsInTheWay)
{
    YFCurveFilterKeySync filter;
    Pair pair;
    EXPECT_FALSE(filter.NeedApply(pair.curves, 2));
    SetKeys(pair.first, {{0.0, 0.0f}, {1.0, 1.0f}});
    SetKeys(pair.second, {{0.0, 0.0f}, {1.0, 2.0f}});
    EXPECT_FALSE(filter.NeedApply(pair.curves, 2));
    EXPECT_EQ(filter.GetLastErrorID(), YError::NoError);
    SetKeys(pair.second, {{0.0, 0.0f}, {2.0, 2.0f}});
    EXPECT_TRUE(filter.NeedApply(pair.curves, 2));
    EXPECT_STREQ(filter.GetLastErrorString(), "KeySyncFilter, keys are not synchronized.");

    for (const bool answer :
         {filter.Apply(pair.first), filter.NeedApply(pair.first), filter.Apply(pair.curves, 1)}) {
        EXPECT_FALSE(answer);
        EXPECT_EQ(filter.GetLastErrorID(), 1);
        EXPECT_STREQ(filter.GetLastErrorString(), "KeySyncFilter, No key were changed by filter.");
    }
}

TEST(KeySync, TakesTwentyCurvesAtMost)
{
    std::vector<YFCurve> curves(21);
    std::vector<YFCurve*> pointers;
    for (std::size_t i = 0; i < curves.size(); ++i) {
        curves[i].KeyAppendFast(Seconds(static_cast<double>(i)), 1.0f);
        pointers.push_back(&curves[i]);
    }
    YFCurveFilterKeySync filter;
    EXPECT_FALSE(filter.Apply(pointers.data(), 21));
    EXPECT_EQ(filter.GetLastErrorID(), 4);
    EXPECT_STREQ(filter.GetLastErrorString(),
                 "KeySyncFilter, Curve count is too mush. No support above 20 curves..");
    EXPECT_EQ(curves[0].KeyGetCount(), 1);
    EXPECT_TRUE(filter.Apply(pointers.data(), 20));
    EXPECT_EQ(curves[0].KeyGetCount(), 20);

    nodetest::CountedNode node;
    for (int i = 0; i < 20; ++i) {
        auto* child = new nodetest::CountedNode;
        child->CreateFCurve();
        node.Add(child);
        CurveOf(node, i).KeyAppendFast(Seconds(i), 1.0f);
    }
    YFCurveFilterKeySync fresh;
    EXPECT_FALSE(fresh.NeedApply(node, false));
    EXPECT_EQ(fresh.GetLastErrorID(), 4);
    EXPECT_TRUE(fresh.Apply(node, false));
    EXPECT_EQ(CurveOf(node, 7).KeyGetCount(), 20);

    node.Add(new nodetest::CountedNode);
    EXPECT_FALSE(fresh.Apply(node, false));
    EXPECT_EQ(fresh.GetLastErrorID(), 5);
    EXPECT_STREQ(fresh.GetLastErrorString(), "Node doesn't contain FCurve.");
}
