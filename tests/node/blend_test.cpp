// Values worked out by hand.

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "nodes.h"

using namespace nodetest;

namespace {

using Triple = std::array<double, 3>;

constexpr int kOtherMode = 7;

void ExpectNear(const Triple& actual, const Triple& expected, double tolerance = 1e-9)
{
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(actual[i], expected[i], tolerance) << "component " << i;
}

YFCurveNodePtr NodeOf(eDataType type)
{
    return YFCurveNodePtr(FCurveNodeCreateFromDataType(YDataType::Get(type), "n"));
}

/// What becomes of a total of three components.
Triple Combined(YFCurveNode& node, int mode, double weight, Triple total, const Triple& values)
{
    TurnedLayer layer(static_cast<eLayerMode>(mode), weight);
    node.SetLayerInfo({1, &layer});
    node.AccumulateValue(total.data(), values.data(), Seconds(0.0));
    node.SetLayerInfo(YFCurveLayerInfo::Base);
    return total;
}

TEST(Blend, PlainValues)
{
    const YFCurveNodePtr node = NodeOf(eDataType::LocalTranslation);
    const Triple below = {4.0, 0.0, -1.0};
    const Triple layer = {8.0, 2.0, 3.0};
    ExpectNear(Combined(*node, 0, 0.25, below, layer), {6.0, 0.5, -0.25});
    ExpectNear(Combined(*node, 1, 0.25, below, layer), {2.0, 0.5, 0.75});
    ExpectNear(Combined(*node, 2, 0.25, below, layer), {5.0, 0.5, 0.0});
    ExpectNear(Combined(*node, kOtherMode, 0.25, below, layer), below);
    node->SetLayerType(5);
    ExpectNear(Combined(*node, 2, 0.25, below, layer), {5.0, 0.5, 0.0});
    node->SetLayerType(6);
    ExpectNear(Combined(*node, 1, 1.0, below, layer), below);
}

TEST(Blend, ScalingsOnAbsoluteValues)
{
    const YFCurveNodePtr node = NodeOf(eDataType::LocalScaling);
    const Triple below = {4.0, -4.0, 0.0};
    const Triple layer = {1.0, -9.0, 2.0};
    ExpectNear(Combined(*node, 0, 0.5, below, layer), {4.0, 12.0, 0.0});
    ExpectNear(Combined(*node, 1, 0.5, below, layer), {1.0, 3.0, std::sqrt(2.0)});
    ExpectNear(Combined(*node, 2, 0.5, below, layer), {2.0, 6.0, 0.0});
    ExpectNear(Combined(*node, kOtherMode, 0.5, below, layer), below);
}

TEST(Blend, RotationsTurnAsWholes)
{
    const YFCurveNodePtr node = NodeOf(eDataType::LocalRotation);
    // First the total, then the layer: a quarter turn about x and then one about y takes x to -z, y to x and
    // z to -y, which are the angles 90, 90 and 0.
    ExpectNear(Combined(*node, 0, 1.0, {90.0, 0.0, 0.0}, {0.0, 90.0, 0.0}), {0.0, 90.0, -90.0}, 1e-6);
    // Turns about one axis add up.
    ExpectNear(Combined(*node, 0, 0.5, {0.0, 0.0, 30.0}, {0.0, 0.0, 80.0}), {0.0, 0.0, 70.0});
    ExpectNear(Combined(*node, 1, 0.25, {10.0, 20.0, 30.0}, {0.0, 80.0, 0.0}), {0.0, 20.0, 0.0});
    ExpectNear(Combined(*node, 2, 0.25, {20.0, 0.0, 0.0}, {100.0, 0.0, 0.0}), {40.0, 0.0, 0.0});
    // Over the half turn, which is the shorter way.
    ExpectNear(Combined(*node, 2, 0.5, {0.0, 0.0, 170.0}, {0.0, 0.0, -150.0}), {0.0, 0.0, -170.0});
    ExpectNear(Combined(*node, kOtherMode, 0.5, {1.0, 2.0, 3.0}, {0.0, 0.0, 80.0}), {1.0, 2.0, 3.0});

    // 90 about x and 90 about y, in the order in which y turns first, is both angles at once.
    node->SetRotationOrder(3);
    ExpectNear(Combined(*node, 0, 1.0, {0.0, 40.0, 0.0}, {30.0, 0.0, 0.0}), {30.0, 40.0, 0.0});
}

TEST(Blend, ComponentsCountWholeAndSinglePropertiesByWeight)
{
    TurnedLayer layer(YFCURVE_LAYER_OVERRIDE, 0.5);
    const YFCurveNodePtr parent(YFCurveNodeCreate("parent", nullptr));
    YFCurveNode* component = parent->FindOrCreate("component", true);
    const auto combined = [&](YFCurveNode& node, int type) {
        node.SetLayerType(type);
        node.SetLayerInfo({1, &layer});
        double total = 10.0;
        const double value = 4.0;
        node.AccumulateValue(&total, &value, Seconds(0.0));
        return total;
    };
    EXPECT_EQ(combined(*component, 0), 14.0);
    EXPECT_EQ(combined(*component, 1), 14.0);
    EXPECT_EQ(combined(*component, 3), 40.0);
    for (const int type : {2, 5, 6}) EXPECT_EQ(combined(*component, type), 10.0);

    const YFCurveNodePtr single(YFCurveNodeCreate("single", nullptr));
    single->CreateFCurve();
    EXPECT_EQ(combined(*single, 0), 2.0);
    EXPECT_EQ(combined(*single, 1), 2.0);
    EXPECT_EQ(combined(*single, 3), 2.0);
    for (const int type : {2, 5, 6}) EXPECT_EQ(combined(*single, type), 10.0);
}

TEST(Blend, NeutralValues)
{
    const YFCurveNodePtr node = NodeOf(eDataType::LocalTranslation);
    const auto zeros = [&](int type) {
        node->SetLayerType(type);
        Triple values = {7.0, 7.0, 7.0};
        node->GetZeroValues(values.data());
        return values;
    };
    for (const int type : {0, 1, 2, 5}) EXPECT_EQ(zeros(type), (Triple{0.0, 0.0, 0.0}));
    EXPECT_EQ(zeros(3), (Triple{1.0, 1.0, 1.0}));
    EXPECT_EQ(zeros(6), (Triple{7.0, 7.0, 7.0}));

    double value = 7.0;
    const YFCurveNodePtr empty(YFCurveNodeCreate("empty", nullptr));
    empty->GetZeroValues(&value);
    EXPECT_EQ(value, 7.0);
    empty->CreateFCurve();
    empty->GetZeroValues(&value);
    EXPECT_EQ(value, 0.0);
}

TEST(WeightedValues, OfRotations)
{
    const YFCurveNodePtr node = NodeOf(eDataType::LocalRotation);
    const auto applied = [&](Triple angles, double weight) {
        node->ApplyWeightedValue(angles.data(), weight);
        return angles;
    };
    ExpectNear(applied({180.0, 0.0, 0.0}, 1.0), {180.0, 0.0, 0.0});
    ExpectNear(applied({180.0, 0.0, 0.0}, 0.5), {90.0, 0.0, 0.0});
    // Shrunk by a thousandth, halved, and stretched again; without that it would be 86.0329, 14.4775,
    // -15.5041.
    ExpectNear(applied({180.0, 30.0, 0.0}, 0.5), {86.0428869988, 14.4801759884, -15.4791478853}, 1e-8);
    ExpectNear(applied({0.0, 60.0, 0.0}, 0.25), {0.0, 15.0, 0.0});
    // The shorter way round.
    ExpectNear(applied({0.0, 0.0, 270.0}, 0.5), {0.0, 0.0, -45.0});
    // Turns too small to tell their axis count whole.
    ExpectNear(applied({0.5, 0.0, 0.0}, 0.5), {0.5, 0.0, 0.0});
    ExpectNear(applied({0.52, 0.0, 0.0}, 0.5), {0.26, 0.0, 0.0});
}

TEST(WeightedValues, OfOthers)
{
    const auto applied = [](YFCurveNode& node, double weight) {
        Triple values = {4.0, -9.0, 0.0};
        node.ApplyWeightedValue(values.data(), weight);
        return values;
    };
    ExpectNear(applied(*NodeOf(eDataType::LocalTranslation), 0.5), {2.0, -4.5, 0.0});
    ExpectNear(applied(*NodeOf(eDataType::LocalScaling), 0.5), {2.0, -3.0, 0.0});
    ExpectNear(applied(*NodeOf(eDataType::Scaling), 0.5), {2.0, -4.5, 0.0});

    const YFCurveNodePtr single(YFCurveNodeCreate("single", nullptr));
    EXPECT_EQ(applied(*single, 0.5)[0], 2.0);
    single->SetLayerType(0);
    EXPECT_EQ(applied(*single, 0.5)[0], 4.0);
}

TEST(WeightedValues, AddingAndResolving)
{
    const YFCurveNodePtr plain = NodeOf(eDataType::LocalTranslation);
    const YFCurveNodePtr scaling = NodeOf(eDataType::LocalScaling);
    const auto added = [](const YFCurveNode& node, double weight) {
        Triple values = {4.0, 9.0, 16.0};
        node.AddWeightedValue(values.data(), weight);
        return values;
    };
    EXPECT_EQ(added(*plain, 0.0), (Triple{0.0, 0.0, 0.0}));
    EXPECT_EQ(added(*scaling, 0.0), (Triple{1.0, 1.0, 1.0}));
    EXPECT_EQ(added(*plain, 0.9e-5), (Triple{0.0, 0.0, 0.0}));
    EXPECT_EQ(added(*plain, 0.999995), (Triple{4.0, 9.0, 16.0}));
    ExpectNear(added(*plain, 0.5), {2.0, 4.5, 8.0});
    ExpectNear(added(*scaling, 0.5), {2.0, 3.0, 4.0});

    const auto resolved = [](const YFCurveNode& node, double weight) {
        Triple values = {4.0, 3.0, 2.0};
        node.ResolveWeightedValue(values.data(), weight);
        return values;
    };
    ExpectNear(resolved(*plain, 0.5), {8.0, 6.0, 4.0});
    ExpectNear(resolved(*scaling, 0.5), {16.0, 9.0, 4.0});
    EXPECT_EQ(resolved(*plain, 0.0), (Triple{4.0, 3.0, 2.0}));
    EXPECT_EQ(resolved(*plain, 2.0), (Triple{4.0, 3.0, 2.0}));
}

}  // namespace
