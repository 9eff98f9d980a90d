// Values worked out by hand.

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "nodes.h"

using namespace nodetest;

namespace {

using Triple = std::array<double, 3>;

void ExpectNear(const Triple& actual, const Triple& expected, double tolerance = 1e-9)
{
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(actual[i], expected[i], tolerance) << "component " << i;
}

YFCurveNodePtr NodeOf(eDataType type)
{
    return YFCurveNodePtr(FCurveNodeCreateFromDataType(YDataType::Get(type), "n"));
}

// One of each by hand; random stacks are held to the plain model of all of them.
TEST(Blend, ByHandAndModesThatThereAreNot)
{
    struct Case
    {
        int type, mode;
        Triple below, layer, total;  // at the weight 0.5
    };
    const Case cases[] = {{1, 2, {4.0, 0.0, -1.0}, {8.0, 2.0, 3.0}, {6.0, 1.0, 1.0}},
                          {3, 0, {4.0, -4.0, 0.0}, {1.0, -9.0, 2.0}, {4.0, 12.0, 0.0}},
                          // Over the half turn, which is the shorter way.
                          {2, 2, {0.0, 0.0, 170.0}, {0.0, 0.0, -150.0}, {0.0, 0.0, -170.0}},
                          {6, 1, {4.0, 3.0, 2.0}, {1.0, 1.0, 1.0}, {4.0, 3.0, 2.0}},
                          {1, 7, {4.0, 3.0, 2.0}, {1.0, 1.0, 1.0}, {4.0, 3.0, 2.0}},
                          {2, 7, {4.0, 3.0, 2.0}, {1.0, 1.0, 1.0}, {4.0, 3.0, 2.0}},
                          {3, 7, {4.0, 3.0, 2.0}, {1.0, 1.0, 2.0}, {4.0, 3.0, 2.0}}};
    const YFCurveNodePtr node = NodeOf(eDataType::LocalTranslation);
    for (const Case& one : cases) {
        SCOPED_TRACE(testing::Message() << "type " << one.type << " mode " << one.mode);
        TurnedLayer layer(static_cast<eLayerMode>(one.mode), 0.5);
        node->SetLayerType(one.type);
        node->SetLayerInfo({1, &layer});
        Triple total = one.below;
        node->AccumulateValue(total.data(), one.layer.data(), Seconds(0.0));
        ExpectNear(total, one.total);
    }
}

TEST(Blend, ComponentsCountWholeAndSinglePropertiesByWeight)
{
    TurnedLayer layer(YFCURVE_LAYER_OVERRIDE, 0.5);
    const YFCurveNodePtr parent(YFCurveNodeCreate("parent", nullptr));
    YFCurveNode* component = parent->FindOrCreate("component", true);
    const YFCurveNodePtr single(YFCurveNodeCreate("single", nullptr));
    single->CreateFCurve();
    const auto combined = [&](YFCurveNode& node, int type) {
        node.SetLayerType(type);
        node.SetLayerInfo({1, &layer});
        double total = 10.0;
        const double value = 4.0;
        node.AccumulateValue(&total, &value, Seconds(0.0));
        return total;
    };
    for (const int type : {0, 1}) EXPECT_EQ(combined(*component, type), 14.0);
    EXPECT_EQ(combined(*component, 3), 40.0);
    for (const int type : {0, 1, 3}) EXPECT_EQ(combined(*single, type), 2.0);
    for (const int type : {2, 5, 6}) {
        EXPECT_EQ(combined(*component, type), 10.0);
        EXPECT_EQ(combined(*single, type), 10.0);
    }
}

TEST(WeightedValues, OfRotations)
{
    const YFCurveNodePtr node = NodeOf(eDataType::LocalRotation);
    const auto applied = [&](Triple angles, double weight) {
        node->ApplyWeightedValue(angles.data(), weight);
        return angles;
    };
    ExpectNear(applied({180.0, 0.0, 0.0}, 1.0), {180.0, 0.0, 0.0});
    // Shrunk by a thousandth, halved, and stretched again; without that it would be 86.0329, 14.4775,
    // -15.5041.
    ExpectNear(applied({180.0, 30.0, 0.0}, 0.5), {86.0428869988, 14.4801759884, -15.4791478853}, 1e-8);
    // The shorter way round.
    ExpectNear(applied({0.0, 0.0, 270.0}, 0.5), {0.0, 0.0, -45.0});
    // Turns too small to tell their axis count whole.
    ExpectNear(applied({0.5, 0.0, 0.0}, 0.5), {0.5, 0.0, 0.0});
    ExpectNear(applied({0.52, 0.0, 0.0}, 0.5), {0.26, 0.0, 0.0});
}

TEST(WeightedValues, OfOthers)
{
    const YFCurveNodePtr plain = NodeOf(eDataType::LocalTranslation);
    const YFCurveNodePtr scaling = NodeOf(eDataType::LocalScaling);
    using Operation = void (YFCurveNode::*)(double*, double) const;
    const auto result = [](const YFCurveNode& node, Operation operation, double weight) {
        Triple values = {4.0, -9.0, 0.0};
        (node.*operation)(values.data(), weight);
        return values;
    };
    constexpr Operation apply = &YFCurveNode::ApplyWeightedValue;
    constexpr Operation add = &YFCurveNode::AddWeightedValue;
    constexpr Operation resolve = &YFCurveNode::ResolveWeightedValue;
    ExpectNear(result(*plain, apply, 0.5), {2.0, -4.5, 0.0});
    ExpectNear(result(*scaling, apply, 0.5), {2.0, -3.0, 0.0});
    ExpectNear(result(*NodeOf(eDataType::Scaling), apply, 0.5), {2.0, -4.5, 0.0});
    const YFCurveNodePtr single(YFCurveNodeCreate("single", nullptr));
    EXPECT_EQ(result(*single, apply, 0.5)[0], 2.0);
    single->SetLayerType(0);
    EXPECT_EQ(result(*single, apply, 0.5)[0], 4.0);

    EXPECT_EQ(result(*scaling, add, 0.0), (Triple{1.0, 1.0, 1.0}));
    EXPECT_EQ(result(*plain, add, 0.9e-5), (Triple{0.0, 0.0, 0.0}));
    EXPECT_EQ(result(*plain, add, 0.999995), (Triple{4.0, -9.0, 0.0}));
    ExpectNear(result(*scaling, add, 0.5), {2.0, -3.0, 0.0});

    ExpectNear(result(*plain, resolve, 0.5), {8.0, -18.0, 0.0});
    ExpectNear(result(*scaling, resolve, 0.5), {16.0, -81.0, 0.0});
    for (const double weight : {0.0, 2.0})
        EXPECT_EQ(result(*plain, resolve, weight), (Triple{4.0, -9.0, 0.0}));
}

}  // namespace
