#include "ymotion/scene/scene.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/motion_support.h"

using ymotion::Axis;
using ymotion::ChannelKind;
using ymotion::CurveOf;
using ymotion::Scene;

TEST(Scene, JointsBecomeNodesWithTheirProperties)
{
    const Scene scene = SceneOfText(
        "HIERARCHY\nROOT Hips\n{\nOFFSET 0 0 0\nCHANNELS 6 Zposition Xposition Yposition Yrotation Xrotation "
        "Zrotation\nJOINT Leg\n{\nOFFSET 0 -1 0\nCHANNELS 1 Xrotation\nEnd Site\n{\nOFFSET 0 -1 0\n}\n}\n}\n"
        "ROOT Prop\n{\nOFFSET 0 0 0\nCHANNELS 3 Xposition Yposition Zposition\n}\n"
        "MOTION\nFrames: 2\nFrame Time: 0.1\n3 1 2 5 4 6 7 8 9 10\n30 10 20 50 40 60 70 80 90 100\n");
    ASSERT_EQ(scene.root->GetCount(), 2);
    const YFCurveNode* hips = scene.root->Get(0);
    ASSERT_EQ(hips->GetCount(), 3);
    EXPECT_STREQ(hips->Get(1)->GetName(), "Lcl Rotation");
    EXPECT_EQ(hips->Get(2), scene.jointNodes[1]);
    EXPECT_EQ(scene.jointNodes[2], nullptr);
    EXPECT_STREQ(scene.root->Get(1)->GetName(), "Prop");
    // An axis without a channel is there, without keys.
    const YFCurveNode* bend = scene.jointNodes[1]->Get(0);
    ASSERT_EQ(bend->GetCount(), 3);
    EXPECT_EQ(bend->Get(0)->FCurveGet()->KeyGetCount(), 2);
    EXPECT_EQ(bend->Get(1)->FCurveGet()->KeyGetCount(), 0);
    EXPECT_EQ(CurveOf(*scene.jointNodes[1], {ChannelKind::Translation, Axis::X}), nullptr);
    EXPECT_TRUE(ymotion::IsProperty(*bend));
    EXPECT_FALSE(ymotion::IsProperty(*hips));
}

TEST(Scene, KeysAreAtTheFramesAndPositionsAreNotAddedToTheOffset)
{
    const Scene scene =
        SceneOfText(OneJoint("2 Xposition Xrotation", {"1 5", "2 6", "3 7", "4 8"}, ".0333667"));
    const YFCurve& curve = *CurveOf(*scene.jointNodes[0], {ChannelKind::Translation, Axis::X});
    ASSERT_EQ(curve.KeyGetCount(), 4);
    // 30000/1001 frames a second: 3 * 46186158000 * 1001 / 30000 = 4623234415.8.
    EXPECT_EQ(curve.KeyGetTime(3).Get(), 4623234416);
    EXPECT_TRUE(curve.IsKeyInterpolationPureCubicAuto(1));
    const auto span = KeySpan(scene);
    ASSERT_TRUE(span.has_value());
    EXPECT_EQ(span->stop.Get(), 4623234416);
    EXPECT_GT(scene.curveBytes, 0u);
    EXPECT_FALSE(KeySpan(SceneOfText(OneJoint("1 Xposition", {}))).has_value());
}
