#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "nodes.h"
#include "tests/curve/curve_fixtures.h"

using namespace nodetest;
using yfc::test::KeySeconds;

namespace {

constexpr std::array kValues = {1.0, 2.0, 3.0, 4.0};

TEST(NodeKeys, AreAddedToEveryCurve)
{
    const YFCurveNodePtr node = Translation();
    EXPECT_EQ(node->KeyAdd(Seconds(1.0), kValues.data()), kValues.data() + 3);
    for (int i = 0; i < 3; ++i) {
        const YFCurve& curve = CurveOf(*node, i);
        ASSERT_EQ(curve.KeyGetCount(), 1);
        EXPECT_EQ(curve.KeyGetValue(0), static_cast<float>(i + 1));
        EXPECT_EQ(curve.KeyGetInterpolation(0), YFCURVE_INTERP_CUBIC);
        EXPECT_EQ(curve.KeyGetTangeantMode(0), YFCURVE_TANGENT_AUTO);
        EXPECT_TRUE(curve.IsKeyInterpolationPureCubicAuto(0));
    }
    node->KeyAdd(Seconds(1.0), kValues.data() + 1);
    EXPECT_EQ(node->KeyGetCount(), 3);
    EXPECT_EQ(CurveOf(*node, 0).KeyGetValue(0), 2.0f);

    // Appending takes later times alone.
    EXPECT_EQ(node->KeyAppend(Seconds(2.0), kValues.data()), kValues.data() + 3);
    EXPECT_EQ(node->KeyAppend(Seconds(2.0), kValues.data()), kValues.data() + 3);
    EXPECT_EQ(node->KeyGetCount(), 6);
}

TEST(NodeKeys, LocksTakeNoValues)
{
    const YFCurveNodePtr node = Translation();
    TurnedLayer layer;
    layer.locked = true;
    node->SetLayerInfo({0, &layer});
    EXPECT_EQ(node->KeyAdd(Seconds(1.0), kValues.data()), kValues.data());
    EXPECT_EQ(node->KeyRecord(Seconds(1.0), kValues.data()), kValues.data());
    node->SetLayerInfo(YFCurveLayerInfo::Base);
    node->SetLockedByProperty(true);
    EXPECT_EQ(node->KeyAppend(Seconds(1.0), kValues.data()), kValues.data());
    EXPECT_EQ(node->KeyGetCount(), 0);
    node->SetLockedByProperty(false);

    // A locked child passes its value on.
    node->Get(0)->SetLockedByProperty(true);
    EXPECT_EQ(node->KeyAdd(Seconds(1.0), kValues.data()), kValues.data() + 2);
    EXPECT_EQ(CurveOf(*node, 1).KeyGetValue(0), 1.0f);

    node->SetLockedByProperty(true);
    EXPECT_FALSE(node->DeleteKey(Seconds(1.0)));
    node->SetLockedByProperty(false);
    CurveOf(*node, 1).SetLockedByLayer(true);
    EXPECT_TRUE(node->DeleteKey(Seconds(1.0)));
    EXPECT_FALSE(node->DeleteKey(Seconds(1.0)));
    EXPECT_EQ(node->KeyGetCount(), 1);
}

int curveEvents = 0;

void CountCurveEvents(YFCurve*, YFCurveEvent*, void*)
{
    ++curveEvents;
}

TEST(NodeKeys, RecordingKeepsFlatStretchesShort)
{
    const YFCurveNodePtr node(YFCurveNodeCreate("n", nullptr));
    node->CreateFCurve();
    YFCurve& curve = *node->FCurveGet();
    const double flat = 5.0;
    const double other = 6.0;
    for (const double second : {0.0, 1.0, 2.0}) node->KeyRecord(Seconds(second), &flat);
    EXPECT_EQ(KeySeconds(curve), (std::vector{0.0, 1.0, 2.0}));
    curve.CallbackRegister(CountCurveEvents, nullptr);
    curveEvents = 0;
    EXPECT_EQ(node->KeyRecord(Seconds(3.0), &flat), &flat + 1);
    EXPECT_EQ(curveEvents, 1);
    EXPECT_EQ(KeySeconds(curve), (std::vector{0.0, 2.0, 3.0}));
    node->KeyRecord(Seconds(3.0), &flat);
    node->KeyRecord(Seconds(2.5), &flat);
    EXPECT_EQ(KeySeconds(curve), (std::vector{0.0, 2.0, 3.0}));
    node->KeyRecord(Seconds(4.0), &other);
    node->KeyRecord(Seconds(5.0), &flat);
    EXPECT_EQ(KeySeconds(curve), (std::vector{0.0, 2.0, 3.0, 4.0, 5.0}));
    curve.KeyClear();
    for (const double value : {6.0, 5.0, 5.0, 5.0}) {
        node->KeyRecord(Seconds(curve.KeyGetCount()), &value);
    }
    EXPECT_EQ(curve.KeyGetCount(), 4) << "three keys that are not flat throughout";
}

TEST(NodeKeys, TimesAreFoundAcrossCurves)
{
    const YFCurveNodePtr node = Translation();
    EXPECT_FALSE(node->IsKey(Seconds(0.0)));
    EXPECT_EQ(node->GetFirstKeyTime(), YTIME_INFINITE);
    EXPECT_EQ(node->GetLastKeyTime(), YTIME_MINUS_INFINITE);
    EXPECT_EQ(node->GetNextKeyTime(YTIME_MINUS_INFINITE), YTIME_INFINITE);
    EXPECT_EQ(node->GetPrevKeyTime(YTIME_INFINITE), YTIME_MINUS_INFINITE);

    SetKeys(CurveOf(*node, 0), {{1.0, 0.0f}, {4.0, 0.0f}});
    SetKeys(CurveOf(*node, 2), {{2.0, 0.0f}, {3.0, 0.0f}});
    YFCurveNode* layer = node->CreateLayerAt({1, nullptr});
    SetKeys(CurveOf(*layer, 1), {{0.0, 0.0f}, {2.5, 0.0f}, {9.0, 0.0f}});

    EXPECT_TRUE(node->IsKey(Seconds(3.0)));
    EXPECT_FALSE(node->IsKey(Seconds(3.0) + YTime(1)));
    EXPECT_FALSE(node->IsKey(Seconds(2.5)));
    EXPECT_TRUE(node->IsKey(Seconds(2.5), true));
    EXPECT_EQ(node->GetNextKeyTime(Seconds(2.0)), Seconds(3.0));
    EXPECT_EQ(node->GetNextKeyTime(Seconds(2.0) - YTime(1)), Seconds(2.0));
    EXPECT_EQ(node->GetNextKeyTime(Seconds(2.0), true), Seconds(2.5));
    EXPECT_EQ(node->GetNextKeyTime(Seconds(4.0)), YTIME_INFINITE);
    EXPECT_EQ(node->GetNextKeyTime(YTIME_INFINITE), YTIME_INFINITE);
    EXPECT_EQ(node->GetPrevKeyTime(Seconds(2.0)), Seconds(1.0));
    EXPECT_EQ(node->GetPrevKeyTime(Seconds(1.0)), YTIME_MINUS_INFINITE);
    EXPECT_EQ(node->GetPrevKeyTime(YTIME_INFINITE, true), Seconds(9.0));
    EXPECT_EQ(node->GetFirstKeyTime(), Seconds(1.0));
    EXPECT_EQ(node->GetFirstKeyTime(true), Seconds(0.0));
    EXPECT_EQ(node->GetLastKeyTime(), Seconds(4.0));
    EXPECT_EQ(node->GetLastKeyTime(true), Seconds(9.0));

    EXPECT_EQ(node->KeyGetCountOnChild(0), 2);
    EXPECT_EQ(node->KeyGetCountOnChild(1), 3);
    EXPECT_EQ(node->KeyGetCountOnChild(3), 0);
}

}  // namespace
