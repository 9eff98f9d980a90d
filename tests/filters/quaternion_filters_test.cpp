#include <gtest/gtest.h>

#include "tests/filters/rotation_filters.h"
#include "yfcurve/yfcurvefiltereulerquat.h"

namespace {

using namespace rotationtest;
using nodetest::CurveOf;
using nodetest::Seconds;
using nodetest::SetKeys;

YgeRVector Shown(const YFCurveNode& node, double seconds)
{
    double values[3];
    int hint = 0;
    node.RotationNodeEvaluate(values, Seconds(seconds), &hint);
    return {values[0], values[1], values[2]};
}

double LargestChange(const YFCurveNode& a, const YFCurveNode& b, double stop)
{
    const auto order = static_cast<eRotationOrder>(a.GetRotationOrder());
    double largest = 0.0;
    for (double seconds = 0.0; seconds <= stop; seconds += 1.0 / 48.0)
        largest = std::max(largest, Apart(Shown(a, seconds), Shown(b, seconds), order));
    return largest;
}

class QuaternionFilters : public RandomRotation
{};

TEST_F(QuaternionFilters, KeepTheMotionThereAndBack)
{
    YFCurveFilterEulerToQuat toQuaternion;
    YFCurveFilterQuatToEuler toEuler;
    EXPECT_EQ(toQuaternion.GetPrecision(), 0.1);
    for (const eRotationOrder order : allOrders) {
        for (int round = 0; round < 10; ++round) {
            Triples keys;
            for (int i = 0; i < 6; ++i) keys.emplace_back(60 * Part(), 60 * Part(), 60 * Part());
            keys[3].x += 720.0;  // a spin that no quaternion shows
            const YFCurveNodePtr node = Rotation(keys, order);
            if (round % 2 == 1) {
                for (int axis = 0; axis < 3; ++axis)
                    CurveOf(*node, axis).KeyTangeantSetInterpolation(false, YFCURVE_INTERP_CUBIC);
            }
            for (int axis = 0; axis < 3; ++axis)
                CurveOf(*node, axis).KeySetInterpolation(4, YFCURVE_INTERP_CONSTANT);
            const YFCurveNodePtr before(node->Clone());
            ASSERT_TRUE(toQuaternion.Apply(*node, true));
            EXPECT_TRUE(node->GetUseQuaternion());
            EXPECT_LT(LargestChange(*before, *node, 6.0), 0.13);
            const YFCurveNodePtr turned(node->Clone());
            ASSERT_TRUE(toEuler.Apply(*node, true));
            EXPECT_FALSE(node->GetUseQuaternion());
            EXPECT_LT(LargestChange(*turned, *node, 6.0), 0.13);
            for (int i = 0; i < 6; ++i)
                EXPECT_LT(Apart(Shown(*node, i), keys[static_cast<std::size_t>(i)], order), 1e-3);
            EXPECT_LT(CurveOf(*node, 0).KeyGetCount(), 400);
        }
    }
}

TEST(EulerToQuat, AddsKeysOnlyWhereTheyAreNeeded)
{
    // Turns about one axis by less than half a turn are the same in both forms.
    const YFCurveNodePtr node = Rotation({{0, 0, 0}, {90, 0, 0}, {0, 0, 0}});
    SetKeys(CurveOf(*node, 1), {});
    YFCurveFilterEulerToQuat toQuaternion;
    EXPECT_TRUE(toQuaternion.Apply(*node, true));
    for (int axis = 0; axis < 3; ++axis) EXPECT_EQ(CurveOf(*node, axis).KeyGetCount(), 3);
    YFCurveFilterQuatToEuler toEuler;
    EXPECT_TRUE(toEuler.Apply(*node, true));
    EXPECT_EQ(CurveOf(*node, 0).KeyGetCount(), 3);
    EXPECT_NEAR(CurveOf(*node, 0).Evaluate(Seconds(0.25)), 22.5f, 1e-3f);

    // A turn through a pole, which no angles follow: bounded, and the orientations stay.
    const YFCurveNodePtr pole = Rotation({{0, 90, 0}, {90, 40, 30}});
    pole->SetUseQuaternion(true);
    const YFCurveNodePtr before(pole->Clone());
    EXPECT_TRUE(toEuler.Apply(*pole, true));
    EXPECT_LE(CurveOf(*pole, 0).KeyGetCount(), 1025);
    EXPECT_LT(LargestChange(*before, *pole, 1.0), 0.13);

    const YFCurveNodePtr coarse = Rotation({{0, 0, 0}, {100, 80, -100}});
    toQuaternion.SetPrecision(0.0);
    EXPECT_TRUE(toQuaternion.Apply(*coarse, true));
    EXPECT_EQ(CurveOf(*coarse, 0).KeyGetCount(), 2);
}

TEST(EulerToQuat, ConvertsTheLayersBehind)
{
    const YFCurveNodePtr node = Rotation({{0, 0, 0}, {10, 50, 60}});
    YFCurveNode* layer = node->CreateLayerAt(YFCurveLayerInfo(1, nullptr));
    ASSERT_NE(layer, nullptr);
    SetKeys(CurveOf(*layer, 0), {{0, 0.0f}, {1, 720.0f}});
    const YFCurveNodePtr before(node->Clone());
    YFCurveFilterEulerToQuat filter;
    CurveOf(*layer, 2).SetLockedByLayer(true);
    EXPECT_FALSE(filter.Apply(*node, true));
    EXPECT_FALSE(node->GetUseQuaternion());
    CurveOf(*layer, 2).SetLockedByLayer(false);
    EXPECT_TRUE(filter.Apply(*node, true));
    EXPECT_TRUE(layer->GetUseQuaternion());
    EXPECT_LT(LargestChange(*before->LayerGet(), *layer, 1.0), 0.13);
}

TEST(EulerToQuat, TellsWhatItCannotFilter)
{
    YFCurveFilterEulerToQuat toQuaternion;
    YFCurveFilterQuatToEuler toEuler;
    const YFCurveNodePtr node = Rotation({{0, 0, 0}, {10, 50, 60}});
    EXPECT_FALSE(toEuler.Apply(*node, true));
    EXPECT_EQ(toEuler.GetLastErrorID(), 2);
    EXPECT_STREQ(toEuler.GetLastErrorString(), "Quaternion To Euler, Not a quaternion Node.");
    node->SetUseQuaternion(true);
    EXPECT_FALSE(toQuaternion.Apply(*node, true));
    EXPECT_EQ(toQuaternion.GetLastErrorID(), 1);
    EXPECT_STREQ(toQuaternion.GetLastErrorString(), "Euler To Quaternion, Node not in Euler.");
    toQuaternion.GetError().SetLastErrorID(1);
    EXPECT_STREQ(toQuaternion.GetLastErrorString(), "Left unchangedNode not in Euler");
    const YFCurveNodePtr empty = Rotation();
    EXPECT_FALSE(toQuaternion.Apply(*empty, true));
    EXPECT_STREQ(toQuaternion.GetLastErrorString(), "Euler To Quaternion, No key to be filtered.");
    EXPECT_FALSE(empty->GetUseQuaternion());
}

}  // namespace
