#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/curve/random_curve.h"
#include "tests/node/nodes.h"
#include "yfcurve/yfcurvefilterkeysync.h"

using namespace nodetest;
using namespace yfc::test;

TEST(KeySync, KeepsTheShapesOfAllCurves)
{
    RandomCurves random;
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
    YFCurve first, second;
    YFCurve* curves[] = {&first, &second};
    SetKeys(first, {{0.0, 0.0f}, {5.0, 5.0f}, {10.0, 10.0f}});
    SetKeys(second, {{3.0, 1.0f}, {7.0, 1.0f}});
    YFCurveFilterKeySync filter;
    filter.SetStartTime(Seconds(5.0));  // the key exactly there counts
    filter.SetStopTime(Seconds(7.0));
    EXPECT_TRUE(filter.NeedApply(curves, 2));
    EXPECT_EQ(filter.GetLastErrorID(), 2);
    EXPECT_TRUE(filter.Apply(curves, 2));
    EXPECT_EQ(KeySeconds(first), (std::vector{0.0, 5.0, 7.0, 10.0}));
    EXPECT_EQ(KeySeconds(second), (std::vector{3.0, 5.0, 7.0}));

    // A locked curve leads, and has a bracket closed that the host has open on it.
    filter.Reset();
    second.SetLockedByLayer(true);
    EventLog log(second);
    second.KeyModifyBegin();
    second.KeySetValue(0, 2.0f);
    EXPECT_TRUE(filter.Apply(curves, 2));
    EXPECT_EQ(KeySeconds(first), (std::vector{0.0, 3.0, 5.0, 7.0, 10.0}));
    EXPECT_EQ(KeySeconds(second), (std::vector{3.0, 5.0, 7.0}));
    EXPECT_EQ(log.TakeTypes(), (std::vector<unsigned>{0x2010}));
}

TEST(KeySync, TakesTwentyCurvesAtMost)
{
    nodetest::CountedNode node;
    std::vector<YFCurve*> curves;
    for (int i = 0; i < 21; ++i) {
        node.Add(new nodetest::CountedNode);
        node.Get(i)->CreateFCurve();
        curves.push_back(node.Get(i)->FCurveGet());
        curves.back()->KeyAppendFast(Seconds(i), 1.0f);
    }
    YFCurveFilterKeySync filter;
    EXPECT_FALSE(filter.Apply(curves.data(), 21));
    EXPECT_EQ(filter.GetLastErrorID(), 4);
    node.Delete(20);
    EXPECT_TRUE(filter.Apply(node, false));
    EXPECT_EQ(curves[7]->KeyGetCount(), 20);
    node.Add(new nodetest::CountedNode);
    EXPECT_FALSE(filter.Apply(node, false));
    EXPECT_STREQ(filter.GetLastErrorString(), "Node doesn't contain FCurve.");
}
