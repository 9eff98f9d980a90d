#include "ymotion/scene/curve_selection.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/motion_support.h"
#include "ymotion/text/failure.h"

using namespace ymotion;

namespace {

constexpr const char* kText =
    "HIERARCHY ROOT Hips\n{ OFFSET 0 0 0 CHANNELS 4 Yposition Zrotation Yrotation Xrotation\n"
    "JOINT LeftLeg\n{ OFFSET 0 0 0 CHANNELS 1 Xrotation JOINT Foot\n{ OFFSET 0 0 0 CHANNELS 1 Xrotation } }\n"
    "JOINT RightLeg\n{ OFFSET 0 0 0 CHANNELS 1 Xrotation JOINT Foot\n{ OFFSET 0 0 0 CHANNELS 1 Xrotation } "
    "}\n"
    "JOINT a/b*\n{ OFFSET 0 0 0 CHANNELS 1 Xrotation } }\n"
    "MOTION Frames: 1 Frame Time: 1\n1 2 3 4 5 6 7 8 9\n";

Words Paths(const Scene& scene, const Words& patterns)
{
    Words paths;
    for (const auto& selected : SelectCurves(scene, patterns)) paths.push_back(PathOf(*selected.node));
    return paths;
}

Words Axes(const std::string& property)
{
    return {property + "/X", property + "/Y", property + "/Z"};
}

}  // namespace

TEST(CurveSelection, NamesWithStarsAndQuestionMarks)
{
    for (const char* pattern : {"leftleg", "Left*", "*Leg", "*e*e*", "L??tLeg"})
        EXPECT_TRUE(MatchesName(pattern, "LeftLeg")) << pattern;
    for (const char* pattern : {"Left", "*x*", "LeftLeg?"}) EXPECT_FALSE(MatchesName(pattern, "LeftLeg"));
    for (const char* pattern : {"*", ""}) EXPECT_TRUE(MatchesName(pattern, ""));
    EXPECT_FALSE(MatchesName("?", ""));
    // No time grows with the stars.
    EXPECT_FALSE(MatchesName("*a*a*a*a*a*a*a*a*a*a*b", std::string(5000, 'a')));
}

TEST(CurveSelection, PatternsMatchTheEndOfPaths)
{
    const Scene scene = SceneOfText(kText);
    EXPECT_EQ(Paths(scene, {"leftleg"}), Axes("Hips/LeftLeg/Lcl Rotation"));
    EXPECT_EQ(Paths(scene, {"Lcl Translation"}), Axes("Hips/Lcl Translation"));
    EXPECT_EQ(Paths(scene, {"Foot/*/Z"}),
              (Words{"Hips/LeftLeg/Foot/Lcl Rotation/Z", "Hips/RightLeg/Foot/Lcl Rotation/Z"}));
    // A joint means its own curves, both properties, and not those of its children.
    EXPECT_EQ(Paths(scene, {"/Hips"}).size(), 6u);
    for (const std::string all : {"*", ""})
        EXPECT_EQ(Paths(scene, all.empty() ? Words{} : std::vector{all}).size(), 21u);
    // In the order of the tree, and once, whatever the patterns.
    EXPECT_EQ(Paths(scene, {"Foot/*/Z", "RightLeg/*/X", "*Leg/*/X"}).size(), 4u);
    EXPECT_EQ(Paths(scene, {"RightLeg/*/X", "LeftLeg/*/X"}).front(), "Hips/LeftLeg/Lcl Rotation/X");
    // Names with the characters of patterns.
    EXPECT_EQ(Paths(scene, {"/Hips/a/b*"}), Axes("Hips/a/b*/Lcl Rotation"));
}

TEST(CurveSelection, ANodeHasAPatternOfItsOwnWhateverOthersAreCalled)
{
    std::string text = "HIERARCHY ROOT A\n{ OFFSET 0 0 0 CHANNELS 0\n";
    for (const char* name : {"A", "A", "a", "A*", "*", "A/A", "?"})
        text += fmt::format("JOINT {}\n{{ OFFSET 0 0 0 CHANNELS 1 Xrotation }}\n", name);
    const Scene scene = SceneOfText((text + "}\nMOTION Frames: 1 Frame Time: 1\n1 2 3 4 5 6 7\n").c_str());
    const std::vector<YFCurveNode*> all = SelectNodes(scene, {});
    ASSERT_EQ(all.size(), 1u + 7 * 5);
    for (YFCurveNode* node : all) {
        EXPECT_EQ(SelectNodes(scene, {PatternOf(*node)}), std::vector{node}) << PathOf(*node);
        EXPECT_EQ(PatternWords({PatternOf(*node)}), PathOf(*node));
    }
    EXPECT_EQ(SelectNodes(scene, {PatternOf(*all[0]), PatternOf(*all[6]), "A/A/*/X"}).size(), 2u + 3u);
    EXPECT_EQ(SelectNodes(scene, {PatternOf(*scene.root)}), all) << "of the top, everything";
    const std::string gone = PatternOf(*all.back());
    YFCurveNode* const last = all.back()->GetParent()->GetParent();
    last->GetParent()->Delete(last);
    EXPECT_TRUE(
        Holds(FailureOf([&] { SelectNodes(scene, {gone}); }), "no node matches 'A/?/Lcl Rotation/Z'"));
}

TEST(CurveSelection, WhatMatchesNothingIsToldWhatComesNear)
{
    const Scene scene = SceneOfText(kText);
    const auto messageFor = [&](const std::string& pattern) {
        return FailureOf([&] { SelectCurves(scene, {pattern}); });
    };
    EXPECT_EQ(messageFor("LeftLegs"), "test.bvh: no node matches 'LeftLegs'; did you mean 'LeftLeg'?");
    EXPECT_TRUE(Holds(messageFor("leg"), "'LeftLeg' or 'RightLeg'"));
    EXPECT_TRUE(Holds(messageFor("Hips/Lcl Rotatoin/X/Lcl Rotatoin"), "'Lcl Rotation'"));
    EXPECT_TRUE(Holds(messageFor("Wheel"), "'yfcurve info test.bvh'"));
    for (const char* pattern : {"/LeftLeg", "", "//"}) EXPECT_NE(messageFor(pattern), "");
    EXPECT_LT(messageFor(std::string(100000, 'L')).size(), 300u);
}
