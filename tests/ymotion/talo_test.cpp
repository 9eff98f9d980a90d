// Scene files as the program writes and reads them. bvh_roundtrip_test.cpp has BVH files go through them.

#include "ymotion/formats/talo.h"

#include <gtest/gtest.h>

#include "tests/curve/curve_fixtures.h"
#include "tests/motion_support.h"
#include "tests/test_environment.h"
#include "ymotion/compare/scene_diff.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/text/failure.h"

using namespace ymotion;

namespace {

std::string RefusalOfTalo(const std::string& text)
{
    return FailureOf([&] { ReadTaloText(text, "test.ytalo"); });
}

std::string RefusalAsBvh(const Scene& scene)
{
    return FailureOf([&] { BvhTextOf(scene); });
}

std::string Paths(const Scene& scene)
{
    std::string text;
    for (const SelectedCurve& selected : SelectCurves(scene, {}))
        text += PathOf(*selected.node) + "|" + selected.property->GetTypeName() + "\n";
    return text;
}

Scene SmallScene()
{
    return SceneOfText(
        OneJoint("4 Xposition Xrotation Zrotation Yrotation", {"1 10 20 30", "2 -40 50 60", "3 70 80 -90"}));
}

/// A layer with everything about it set, which turns the joint.
Layer& AddBusyLayer(Scene& scene)
{
    scene.layers.Add("gone");
    scene.layers.Remove(1, *scene.root);
    Layer& layer = *scene.layers.Add("\"Busy\" layer");
    layer.SetMode(YFCURVE_LAYER_WEIGHTED_OVERRIDE);
    layer.SetRotationMode(YFCURVE_LAYER_ROTATION_BY_CHANNEL);
    layer.SetScalingMode(YFCURVE_LAYER_SCALING_ADD);
    layer.SetModeBypass(YDataType::Get(eDataType::LocalScaling), true);
    layer.SetLocked(true);
    for (const auto& [seconds, weight] : {std::pair{0.0, 0.25f}, {1.0, 0.75f}})
        layer.WeightCurve()->KeyAdd(YTime::FromSeconds(seconds), yfc::test::LinearKey(weight));
    YFCurveNode* upper = scene.layers.NodeOn(*scene.jointNodes[0]->Get(1), layer);
    const double angles[] = {5, -15, 100};
    layer.SetLocked(false);
    upper->KeyAdd(YTime::FromSeconds(0.25), angles);
    layer.SetLocked(true);
    return layer;
}

}  // namespace

TEST(TaloScene, LayersComeBackBoundAndPlayAlike)
{
    Scene scene = SmallScene();
    scene.jointNodes[0]->Get(1)->SetUseQuaternion(true);
    AddBusyLayer(scene);
    scene.layers.Add("last");
    scene.layers.Remove(3, *scene.root);
    scene.layers.Rename(scene.layers.Base(), "Ground");
    scene.layers.SetSolo(scene.layers.Base(), true);
    scene.layers.Base().SetMute(true);
    Scene copy = ThroughTalo(scene);
    EXPECT_EQ(TaloTextOf(copy), TaloTextOf(scene));

    const SceneDifference difference = CompareScenes(scene, copy, 0);
    EXPECT_TRUE(difference.IsEmpty()) << testing::PrintToString(difference.settings.size());
    EXPECT_EQ(copy.layers.HighestId(), 3);
    EXPECT_TRUE(copy.layers.Base().IsMuteOn() && copy.layers.Base().Name() == "Ground");
    Layer& layer = *copy.layers.Find("\"Busy\" layer");
    EXPECT_TRUE(layer.IsLocked() && layer.IsMuted() && !layer.IsMuteOn());
    EXPECT_EQ(layer.GetWeight(YTime::FromSeconds(0.5)), 0.5);

    scene.layers.SetSolo(scene.layers.Base(), false);
    copy.layers.SetSolo(copy.layers.Base(), false);
    const YFCurveNode& rotation = *copy.jointNodes[0]->Get(1);
    EXPECT_TRUE(rotation.GetUseQuaternion() && rotation.LayerGet()->GetUseQuaternion());
    EXPECT_EQ(rotation.LayerGet()->GetLayerInfo(), layer.Info());
    EXPECT_TRUE(rotation.LayerGet()->Get(0)->FCurveGet()->IsLockedByLayer());
    EXPECT_NE(rotation.GetRotationOrder(), 0);
    for (int i = -1; i < 13; ++i) {
        double before[3] = {}, after[3] = {};
        scene.jointNodes[0]->Get(1)->GeneralEvaluate(before, YTime::FromSeconds(0.1 * i));
        rotation.GeneralEvaluate(after, YTime::FromSeconds(0.1 * i));
        for (int axis = 0; axis < 3; ++axis) EXPECT_EQ(before[axis], after[axis]) << i;
    }
}

TEST(TaloScene, RotationsOfOnePathKeepTheirOwnForms)
{
    Scene scene = SceneOfText(
        "HIERARCHY ROOT a { OFFSET 0 0 0 CHANNELS 3 Xrotation Zrotation Yrotation } ROOT a { OFFSET 0 0 0 "
        "CHANNELS 3 Xrotation Zrotation Yrotation } MOTION\nFrames: 1 Frame Time: 0.5\n1 2 3 4 5 6\n");
    scene.jointNodes[1]->Get(0)->SetUseQuaternion(true);
    const std::string text = TaloTextOf(scene);
    EXPECT_TRUE(Holds(text, "QuaternionRotation: \"a/Lcl Rotation\" 1\n"));
    const Scene copy = ThroughTalo(scene);
    EXPECT_FALSE(copy.jointNodes[0]->Get(0)->GetUseQuaternion());
    EXPECT_TRUE(copy.jointNodes[1]->Get(0)->GetUseQuaternion());
    EXPECT_EQ(
        RefusalOfTalo("ytalo 1\nScene: {\n QuaternionRotation: \"b\"\n}\n"),
        "test.ytalo: QuaternionRotation names the rotation 'b', which there is not; correct it, or remove it "
        "where the rotation is interpolated by angles");
}

TEST(TaloScene, FilesOfTheLibraryAloneAreReadAsFarAsTheyGo)
{
    const std::string x = "Channel: \"X\" { \n Default: 1.0\n }\n";
    const std::string xyz =
        x + "Channel: \"Y\" { \n Default: 2.0\n }\n" + "Channel: \"Z\" { \n Default: 3.0\n }\n";
    const std::string text = "ytalo 1\nTool: \"t\" 3 { \n Colour: 'x' 1.5 2.5f @7 {\n }\n }\n" +
                             ("Channel: \"Lcl Rotation\" {\n" + xyz) +
                             ("LayerChannel: \"Lcl Rotation\" {\n LayerID: 4\n" + xyz + "}\n}\n") +
                             ("Channel: \"turn\" {\n LayerType: 2\n" + xyz + "}\n") +
                             ("Channel: \"Weight\" {\n" + x + "}\n") +
                             "Channel: \"Opacity\" {\n Default: 0.5\n}\n";
    const Scene scene = ReadTaloText(text, "library.ytalo");
    EXPECT_FALSE(scene.HasSkeleton());
    EXPECT_EQ(Paths(scene),
              "Lcl Rotation/X|Lcl Rotation\nLcl Rotation/Y|Lcl Rotation\nLcl Rotation/Z|Lcl Rotation\n"
              "turn/X|\nturn/Y|\nturn/Z|\nWeight/X|\nOpacity|Opacity\n");
    EXPECT_TRUE(IsProperty(*scene.root->Get(1)));
    EXPECT_STREQ(UnitOf(*scene.root->Get(1)), "degrees");
    EXPECT_NE(scene.layers.Find("Layer 4"), nullptr);
    EXPECT_EQ(scene.root->Get(0)->LayerGet()->GetLayerInfo().GetLayer(), scene.layers.Find(4));
    EXPECT_TRUE(Holds(RefusalAsBvh(scene), "has no skeleton"));
    // What the program does not know is written back.
    const std::string copy = TaloTextOf(scene);
    EXPECT_TRUE(Holds(copy, "Tool: \"t\" 3 {\nColour:"));
    EXPECT_EQ(TaloTextOf(ReadTaloText(copy, "copy.ytalo")), copy);
}

TEST(TaloScene, FilesOfTheFirstFormatAreRead)
{
    const Scene scene =
        ReadTaloText(FileContent(test::SourceFile("tests/data/scene-format-1.ytalo")), "old.ytalo");
    EXPECT_TRUE(scene.leftOut.empty());
    EXPECT_EQ(scene.layers.Find("Up")->GetWeight(YTIME_ZERO), double{0.3f});
    EXPECT_EQ(BvhTextOf(scene), FileContent(test::SourceFile("tests/data/scene-format-1.bvh")));
}

TEST(TaloScene, RefusalsSayWhereAndWhat)
{
    const std::string scene = "ytalo 1\nScene: {\n  ";
    const std::string joint = "ytalo 1\nChannel: \"a\" {\n Joint: {\n  ";
    const std::pair<std::string, std::string> cases[] = {
        {"ytalo 3\n", "test.ytalo:1:"},
        {"ytalo 1\n  Channel: \"a\n", "test.ytalo:2:"},
        {scene + "Version: 2\n}\n", "newer program"},
        {scene + "Layer: \"a\" {\n}\n}\n", "layer 'a' with the id -1"},
        {scene + "Layer: \"a\" {\n LayerID: 1\n }\n Layer: \"a\" {\n LayerID: 2\n }\n}\n",
         "'a' with the id 2"},
        {scene + "Layer: \"a\" {\n LayerID: 1\n Mode: \"some\"\n }\n}\n", "the Mode 'some'"},
        {scene + "Layer: \"a\" {\n LayerID: 1\n ModeBypass: \"some\"\n }\n}\n", "the type 'some'"},
        {scene + "Layer: \"a\" {\n LayerID: 0\n Mode: \"override\"\n }\n}\n", "base layer"},
        {joint + "Offset: 0.0 inf 0.0\n }\n}\n", "the Offset of 'a'"},
        {joint + "Channels: \"Wrotation\"\n }\n}\n", "unknown channel 'Wrotation'"},
        {joint + "Channels: \"Xrotation\" \"xrotation\"\n }\n}\n", "twice"},
    };
    for (const auto& [text, part] : cases) {
        const std::string refusal = RefusalOfTalo(text);
        EXPECT_EQ(refusal.rfind("test.ytalo:", 0), 0u) << refusal;
        EXPECT_TRUE(Holds(refusal, part)) << refusal << " for " << text;
    }
    // Fine in a scene file, but not in BVH.
    for (const char* name : {"", "a\\nb", " a", "{"}) {
        const Scene odd = ReadTaloText(
            "ytalo 1\nChannel: \"" + std::string(name) + "\" {\n Joint: {\n }\n}\n", "odd.ytalo");
        EXPECT_TRUE(Holds(RefusalAsBvh(odd), "cannot hold the joint name")) << name;
    }
    const Scene infinite =
        ReadTaloText(joint +
                         "Channels: \"Xrotation\"\n }\n Channel: \"Lcl Rotation\" {\n"
                         "Channel: \"X\" {\n Default: 0.0\n KeyVer: 4006\n KeyCount: 1\n Key:\n"
                         "@0 inf 'L'\n }\n Channel: \"Y\" {\n}\n Channel: \"Z\" {\n}\n}\n}\n",
                     "i.ytalo");
    EXPECT_TRUE(Holds(RefusalAsBvh(infinite), "at 0 s is not finite"));
}
