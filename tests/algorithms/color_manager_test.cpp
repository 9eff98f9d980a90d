#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tests/node/nodes.h"
#include "yfcurve/yfcurvecolormanager.h"

namespace {

using Manager = YFCurveColorManager;

double Luminance(const YFCurveColor& color)
{
    const auto linear = [](float part) {
        const auto value = static_cast<double>(part);
        return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return 0.2126 * linear(color.red) + 0.7152 * linear(color.green) + 0.0722 * linear(color.blue);
}

}  // namespace

TEST(ColorManager, AxesAreRedGreenAndBlueAndAllComponentsDiffer)
{
    const YDataType* type = YDataType::Get(eDataType::LocalTranslation);
    const YFCurveColor x = Manager::GetColor(type, 0);
    const YFCurveColor y = Manager::GetColor(type, 1);
    const YFCurveColor z = Manager::GetColor(type, 2);
    EXPECT_TRUE(x.red > x.green && x.red > x.blue);
    EXPECT_TRUE(y.green > y.red && y.green > y.blue);
    EXPECT_TRUE(z.blue > z.red && z.blue > z.green);
    // The contrast of graphics against their background (WCAG 2, 1.4.11 asks 3 : 1 of the darker axes).
    for (const YFCurveColor& color : {x, y, z}) {
        EXPECT_GT(1.05 / (Luminance(color) + 0.05), 3.0);
        EXPECT_GT((Luminance(color) + 0.05) / 0.05, 3.0);
    }
    std::vector<YFCurveColor> seen{x,
                                   y,
                                   z,
                                   Manager::GetColor(type, 3),
                                   Manager::GetColor(YDataType::Get(eDataType::Intensity)),
                                   Manager::GetColor(YDataType::Get(eDataType::FieldOfView)),
                                   Manager::GetColor(YDataType::Get(eDataType::Visibility))};
    for (std::size_t i = 0; i < seen.size(); ++i) {
        for (std::size_t k = 0; k < i; ++k) EXPECT_FALSE(seen[i] == seen[k]) << i << " " << k;
    }
    EXPECT_EQ(Manager::GetColor(nullptr, -3), x);
    EXPECT_FALSE(Manager::GetColor(nullptr, 20) == x);
}

TEST(ColorManager, OwnColoursGoBeforeThoseOfAllTypes)
{
    const YDataType* rotation = YDataType::Get(eDataType::LocalRotation);
    const YDataType* scaling = YDataType::Get(eDataType::LocalScaling);
    const YFCurveColor builtIn = Manager::GetColor(rotation, 1);
    const YFCurveColor all{0.1f, 0.2f, 0.3f};
    const YFCurveColor own{0.5f, 0.5f, 0.0f};
    EXPECT_TRUE(Manager::SetColor(nullptr, 1, all));
    EXPECT_TRUE(Manager::SetColor(rotation, 1, own));
    EXPECT_FALSE(Manager::SetColor(rotation, 1, {1.5f, 0.0f, 0.0f}));
    EXPECT_FALSE(Manager::SetColor(rotation, 1, {NAN, 0.0f, 0.0f}));
    EXPECT_FALSE(Manager::SetColor(rotation, Manager::MaximumComponentCount, own));
    EXPECT_EQ(Manager::GetColor(rotation, 1), own);
    EXPECT_EQ(Manager::GetColor(scaling, 1), all);
    Manager::ResetColor(rotation, 1);
    EXPECT_EQ(Manager::GetColor(rotation, 1), all);
    Manager::ResetAllColors();
    EXPECT_EQ(Manager::GetColor(rotation, 1), builtIn);
}

TEST(ColorManager, ColoursTreesWithTheirLayersButNotWhatSomebodyChose)
{
    const YFCurveNodePtr node(FCurveNodeCreateFromDataType(YDataType::Get(eDataType::LocalTranslation), "T"));
    node->CreateFCurve();
    nodetest::TurnedLayer layer;
    YFCurveNode* upper = node->CreateLayerAt({1, &layer});
    const float chosen[] = {0.0f, 1.0f, 1.0f};
    node->Get(1)->SetColor(chosen);
    Manager::ApplyTo(node.get());
    const YFCurveColor z = Manager::GetColor(node->GetDataType(), 2);
    EXPECT_FLOAT_EQ(node->Get(2)->GetColor()[2], z.blue);
    EXPECT_FLOAT_EQ(upper->Get(2)->GetColor()[0], z.red);
    EXPECT_FLOAT_EQ(node->Get(1)->GetColor()[0], 0.0f);
    Manager::ApplyTo(node.get(), false);
    EXPECT_FLOAT_EQ(node->Get(1)->GetColor()[1], Manager::GetColor(node->GetDataType(), 1).green);
    Manager::ApplyTo(nullptr);
}
