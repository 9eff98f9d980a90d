#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "tests/node/nodes.h"
#include "yfcurve/yfcurvecolormanager.h"

namespace {

using Triple = std::array<double, 3>;
using Matrix = std::array<Triple, 3>;

// What eyes make of linear light: normal ones, and those without long, middle and short-wave cones (Machado,
// Oliveira and Fernandes 2009, severity 1).
constexpr std::array<Matrix, 4> kEyes{
    {{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}},
     {{{0.152286, 1.052583, -0.204868}, {0.114503, 0.786281, 0.099216}, {-0.003882, -0.048116, 1.051998}}},
     {{{0.367322, 0.860646, -0.227968}, {0.280085, 0.672501, 0.047413}, {-0.011820, 0.042940, 0.968881}}},
     {{{1.255528, -0.076749, -0.178779}, {-0.078411, 0.930809, 0.147602}, {0.004733, 0.691367, 0.303900}}}}};
constexpr Matrix kXyzOfSrgb{{{0.4124564, 0.3575761, 0.1804375},
                             {0.2126729, 0.7151522, 0.0721750},
                             {0.0193339, 0.1191920, 0.9503041}}};

Triple Times(const Matrix& matrix, const Triple& v)
{
    Triple result{};
    for (std::size_t i = 0; i < 3; ++i)
        for (std::size_t k = 0; k < 3; ++k) result[i] += matrix[i][k] * v[k];
    return result;
}

Triple Light(const YFCurveColor& color)
{
    const auto linear = [](float part) {
        const auto value = static_cast<double>(part);
        return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
    };
    return {linear(color.red), linear(color.green), linear(color.blue)};
}

/// The contrast of WCAG 2 with a background of a luminance.
double Contrast(const YFCurveColor& color, double background)
{
    const double luminance = Times(kXyzOfSrgb, Light(color))[1];
    return (std::max(luminance, background) + 0.05) / (std::min(luminance, background) + 0.05);
}

/// CIELAB as an eye sees the colour, under daylight D65.
Triple Lab(const YFCurveColor& color, const Matrix& eye)
{
    Triple light = Times(eye, Light(color));
    for (double& part : light) part = std::clamp(part, 0.0, 1.0);
    Triple f = Times(kXyzOfSrgb, light);
    const Triple white = Times(kXyzOfSrgb, {1, 1, 1});
    for (std::size_t i = 0; i < 3; ++i) {
        const double t = f[i] / white[i];
        f[i] = t > 216.0 / 24389 ? std::cbrt(t) : (24389.0 / 27 * t + 16) / 116;
    }
    return {116 * f[1] - 16, 500 * (f[0] - f[1]), 200 * (f[1] - f[2])};
}

/// The least difference (CIE 1976) of any two colours in any eyes.
double LeastDifference(const std::vector<YFCurveColor>& colors)
{
    double least = 1000;
    for (const Matrix& eye : kEyes) {
        for (std::size_t i = 0; i < colors.size(); ++i) {
            for (std::size_t k = 0; k < i; ++k) {
                const Triple a = Lab(colors[i], eye), b = Lab(colors[k], eye);
                least = std::min(least, std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]));
            }
        }
    }
    return least;
}

/// The hue in degrees, 0 for red, 120 for green.
double Hue(const YFCurveColor& color)
{
    const double y = std::sqrt(3.0) * static_cast<double>(color.green - color.blue);
    const double hue = std::atan2(y, static_cast<double>(2 * color.red - color.green - color.blue));
    return std::fmod(hue * 180 / std::acos(-1.0) + 360, 360);
}

}  // namespace

TEST(ColorManager, AnyEyesTellComponentsAndKindsOfNumbersApart)
{
    const YFCurveColorManager manager;
    const YDataType* vector = YDataType::Get(eDataType::Vector4);
    const YFCurveColor x = manager.GetColor(vector, 0), y = manager.GetColor(vector, 1),
                       z = manager.GetColor(vector, 2);
    EXPECT_LT(Hue(x), 15);
    EXPECT_NEAR(Hue(y), 140, 30);
    EXPECT_NEAR(Hue(z), 235, 15);
    EXPECT_GT(LeastDifference({x, y, z}), 30);
    std::vector<YFCurveColor> all{x, y, z, manager.GetColor(vector, 3)};
    for (const eDataType number : {eDataType::Intensity, eDataType::FieldOfView, eDataType::Visibility})
        all.push_back(manager.GetColor(YDataType::Get(number)));
    EXPECT_GT(LeastDifference(all), 13);
    for (const YFCurveColor& color : all) {
        EXPECT_GT(Contrast(color, 1), 3);
        EXPECT_GT(Contrast(color, 0), 3);
    }
    // Opacity looks the same alone and with a colour; no component of a matrix looks like an axis.
    EXPECT_EQ(manager.GetColor(YDataType::Get(eDataType::Opacity)),
              manager.GetColor(YDataType::Get(eDataType::ColorAndAlpha), 3));
    for (int i = 3; i < 16; ++i)
        EXPECT_EQ(manager.GetColor(YDataType::Get(eDataType::Matrix), i),
                  all[static_cast<std::size_t>(3 + (i - 3) % 4)]);
    EXPECT_EQ(manager.GetColor(nullptr, -3), x);
}

TEST(ColorManager, OwnColoursGoBeforeThoseOfAllTypes)
{
    const YDataType* rotation = YDataType::Get(eDataType::LocalRotation);
    const YDataType* visibility = YDataType::Get(eDataType::Visibility);
    const YFCurveColor all{0.1f, 0.2f, 0.3f}, own{0.5f, 0.5f, 0.0f};
    YFCurveColorManager manager;
    const YFCurveColor x = manager.GetColor(rotation, 0);
    const YFCurveColor hidden = manager.GetColor(visibility);
    for (const YFCurveColor& color : {own, all}) EXPECT_TRUE(manager.SetColor(nullptr, 0, color));
    EXPECT_TRUE(manager.SetColor(rotation, 0, own));
    for (const YFCurveColor& none : {YFCurveColor{1.5f, 0.0f, 0.0f}, YFCurveColor{NAN, 0.0f, 0.0f}})
        EXPECT_FALSE(manager.SetColor(rotation, 0, none));
    EXPECT_FALSE(manager.SetColor(rotation, 3, own));
    EXPECT_EQ(manager.GetColor(rotation, 0), own);
    EXPECT_EQ(manager.GetColor(YDataType::Get(eDataType::LocalScaling), 0), all);
    // The one number of a type is no X.
    EXPECT_EQ(manager.GetColor(visibility), hidden);
    for (const int component : {0, 2}) manager.ResetColor(rotation, component);
    EXPECT_EQ(manager.GetColor(rotation, 0), all);
    manager.ResetAllColors();
    EXPECT_EQ(manager.GetColor(rotation, 0), x);
}

TEST(ColorManager, ColoursTreesWithTheirLayersButNotWhatWasChosen)
{
    const YFCurveColorManager manager;
    const YFCurveNodePtr node = nodetest::Translation();
    YFCurveNode* upper = node->CreateLayerAt({1, nullptr});
    const float chosen[] = {0.0f, 1.0f, 1.0f};
    node->Get(1)->SetColor(chosen);
    manager.ApplyTo(node.get());
    const YFCurveColor z = manager.GetColor(node->GetDataType(), 2);
    EXPECT_FLOAT_EQ(node->Get(2)->GetColor()[2], z.blue);
    EXPECT_FLOAT_EQ(upper->Get(2)->GetColor()[0], z.red);
    EXPECT_FLOAT_EQ(node->Get(1)->GetColor()[0], 0.0f);
    // A part of a tree is what it is in the tree.
    node->Get(2)->SetColor(chosen);
    manager.ApplyTo(node->Get(2), false);
    EXPECT_FLOAT_EQ(node->Get(2)->GetColor()[2], z.blue);
    manager.ApplyTo(nullptr);
}
