// Values worked out by hand.

#include <gtest/gtest.h>

#include <array>
#include <utility>

#include "nodes.h"

using namespace nodetest;

namespace {

using Triple = std::array<double, 3>;

void ExpectNear(const Triple& actual, const Triple& expected, double tolerance = 1e-9)
{
    for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(actual[i], expected[i], tolerance) << "component " << i;
}

// Random stacks are held to the plain model of all modes that there are.
TEST(Blend, ModesThatThereAreNotChangeNothing)
{
    const YFCurveNodePtr node = Translation();
    // Half of a layer that has the scaling 9, 1, 4, in mode 1, and in a mode that there is not.
    for (const auto& [type, mode] : {std::pair{3, 1}, {6, 1}, {1, 7}, {2, 7}, {3, 7}}) {
        TurnedLayer layer(static_cast<eLayerMode>(mode), 0.5);
        node->SetLayerType(type);
        node->SetLayerInfo({1, &layer});
        Triple total = {4.0, 3.0, 2.0};
        node->AccumulateValue(total.data(), Triple{9.0, 1.0, 4.0}.data(), Seconds(0.0));
        const bool isScaling = type == 3 && mode == 1;
        ExpectNear(total, isScaling ? Triple{3.0, 1.0, 2.0} : Triple{4.0, 3.0, 2.0});
    }
}

TEST(WeightedValues, OfRotations)
{
    const YFCurveNodePtr node = Rotation();
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
    const YFCurveNodePtr plain = Translation(), scaling = PropertyOf(eDataType::LocalScaling, "n");
    using Operation = void (YFCurveNode::*)(double*, double) const;
    const auto result = [](const YFCurveNode& node, Operation operation, double weight) {
        Triple values = {4.0, -9.0, 0.0};
        (node.*operation)(values.data(), weight);
        return values;
    };
    constexpr Operation apply = &YFCurveNode::ApplyWeightedValue;
    constexpr Operation add = &YFCurveNode::AddWeightedValue;
    constexpr Operation resolve = &YFCurveNode::ResolveWeightedValue;
    ExpectNear(result(*scaling, apply, 0.5), {2.0, -3.0, 0.0});
    const YFCurveNodePtr single(YFCurveNodeCreate("single", nullptr));
    EXPECT_EQ(result(*single, apply, 0.5)[0], 2.0);
    single->SetLayerType(0);
    EXPECT_EQ(result(*single, apply, 0.5)[0], 4.0);

    EXPECT_EQ(result(*scaling, add, 0.0), (Triple{1.0, 1.0, 1.0}));
    EXPECT_EQ(result(*plain, add, 0.9e-5), (Triple{0.0, 0.0, 0.0}));
    EXPECT_EQ(result(*plain, add, 0.999995), (Triple{4.0, -9.0, 0.0}));
    ExpectNear(result(*scaling, resolve, 0.5), {16.0, -81.0, 0.0});
    for (const double weight : {0.0, 2.0})
        EXPECT_EQ(result(*plain, resolve, weight), (Triple{4.0, -9.0, 0.0}));
}

}  // namespace
