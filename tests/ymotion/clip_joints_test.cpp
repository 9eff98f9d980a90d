// Clip tools that find joints by their names, and those that take them out.

#include <gtest/gtest.h>

#include <array>
#include <tuple>

#include "tests/ymotion/clipped.h"

using namespace ymotion;

TEST(Clip, NamesOfLeftAndRight)
{
    const auto motion = [](const std::string& left, const std::string& right) {
        return SceneOfText(
            "HIERARCHY\nROOT Spine\n{\nOFFSET 0 0 0\nCHANNELS 3 Xposition Yposition Zposition\nJOINT " +
            left + "\n{\nOFFSET 1 2 3\nCHANNELS 1 Xrotation\n}\nJOINT " + right +
            "\n{\nOFFSET -1 2 3\nCHANNELS 1 Xrotation\n}\n}\nMOTION\nFrames: 1\nFrame Time: 0.1\n"
            "1 2 3 10 20\n");
    };
    const std::pair<const char*, const char*> named[] = {
        {"LeftArm", "RightArm"},      {"rig:LThumb", "rig:RThumb"}, {"arm_l", "arm_r"},
        {"arm.L.001", "arm.R.001"},   {"lShldr", "rShldr"},         {"HandL", "HandR"},
        {"upper_left", "upper_right"}};
    const auto exchanged = [](const Scene& scene) {
        return CurveOf(*scene.jointNodes[1], {})->Evaluate(YTIME_ZERO) == 20.0f;
    };
    for (const auto& [left, right] : named)
        EXPECT_TRUE(exchanged(Clipped(motion(left, right), {"mirror"}))) << left;
    EXPECT_FALSE(exchanged(Clipped(motion("Lumbar", "Rumba"), {"mirror"})));
    EXPECT_FALSE(exchanged(Clipped(motion("Lf_Arm", "Rt_Arm"), {"mirror"})));
    EXPECT_TRUE(exchanged(Clipped(motion("Lf_Arm", "Rt_Arm"), {"pairs=Lf=Rt", "mirror"})));
    EXPECT_TRUE(exchanged(Clipped(motion("One", "Two"), {"mirror", "pairs=One=Two"})));
    EXPECT_THROW(Clipped(motion("LeftFoot", "RightFoot"), {"mirror", "pairs=Foo=Bar"}), Failure);
}

// Two figures in one file, the joints of which have the same names.
TEST(Clip, FindsJointsOfOneNameInTheirOwnFigure)
{
    const auto figure = [](const std::string& root, const std::string& left, const std::string& right) {
        std::string text = "ROOT " + root + "\n{\nOFFSET 0 0 0\nCHANNELS 1 Xrotation\n";
        for (const std::string& side : {left, right})
            text += "JOINT " + side + "\n{\nOFFSET 1 2 3\nCHANNELS 1 Xrotation\nJOINT Hand" + side +
                    "\n{\nOFFSET 0 1 0\n"
                    "CHANNELS 1 Xrotation\n}\n}\n";
        return text + "}\n";
    };
    const auto scene = [&](const std::string& second, const std::string& left, const std::string& right) {
        return SceneOfText("HIERARCHY\n" + figure("Hips", "L", "R") + figure(second, left, right) +
                           "MOTION\nFrames: 1\nFrame Time: 0.1\n0 1 2 3 4 5 6 7 8 9\n");
    };
    const auto turns = [](const Scene& from) {
        std::vector<float> values;
        for (const YFCurveNode* node : from.jointNodes)
            values.push_back(CurveOf(*node, {ChannelKind::Rotation, Axis::X})->Evaluate(YTIME_ZERO));
        return values;
    };
    const std::vector<float> mirrored{0, 3, 4, 1, 2, 5, 8, 9, 6, 7};
    EXPECT_EQ(turns(Clipped(scene("Hips", "L", "R"), {"mirror"})), mirrored);
    EXPECT_EQ(turns(Clipped(scene("Pelvis", "R", "L"), {"mirror"})), mirrored);
    EXPECT_EQ(turns(Clipped(scene("Hips", "L", "R"), {"mirror", "pairs=L=R"})), mirrored);
    EXPECT_EQ(turns(Clipped(scene("Pelvis", "R", "Tail"), {"mirror", "pairs=L=R"})),
              (std::vector<float>{0, 3, 4, 1, 2, 5, 6, 7, 8, 9}));
    EXPECT_EQ(turns(Clipped(scene("Hips", "L", "R"), {"mirror", "pairs=/Hips/L=Hips/R"})), mirrored);

    using Names = std::vector<std::string>;
    const std::tuple<const char*, std::size_t, const char*> named[] = {
        {"rename=Hips #2/L/HandL=New", 7, "New"},
        {"rename=/Hips/R/HandR=New", 4, "New"},
        {"rename=R*=Leg*", 3, "Leg"},
        {"drop=/Hips #2/R/HandR", 9, nullptr},
        {"drop=/Hips/L/HandL", 2, nullptr}};
    for (const auto& [step, place, name] : named) {
        Names expected{"Hips", "L", "HandL", "R", "HandR", "Hips", "L", "HandL", "R", "HandR"};
        if (name != nullptr) expected[place] = name;
        if (std::string_view(step) == "rename=R*=Leg*") expected[8] = name;
        // Where a chain ended in the joint that is gone, its end remains.
        if (name == nullptr) expected[place] = "";
        Names actual;
        for (const Joint& joint : Clipped(scene("Hips", "L", "R"), {step}).skeleton.joints)
            actual.push_back(joint.name);
        EXPECT_EQ(actual, expected) << step;
    }
    for (const char* step : {"drop=HandL", "rename=HandL=Palm"}) {
        Scene two = scene("Hips", "L", "R");
        EXPECT_TRUE(
            Holds(FailureOf([&] { Clip(two, {step}); }),
                  "'HandL' is the name of 2 joints; write which: '/Hips/L/HandL' or '/Hips #2/L/HandL'"))
            << step;
    }
}

TEST(Clip, NamesChangeByPattern)
{
    const Scene walk = Walk();
    const Scene renamed = ThroughTalo(Clipped(walk, {"rename=Hips=Pelvis", "rename=Left*=*.L"}));
    for (std::size_t i = 0; i < walk.skeleton.joints.size(); ++i) {
        std::string name = walk.skeleton.joints[i].name;
        if (i == 0) name = "Pelvis";
        if (name.starts_with("Left")) name = name.substr(4) + ".L";
        EXPECT_EQ(renamed.skeleton.joints[i].name, name);
    }
    // The sign may be in a name, and then the joints say which one is meant.
    const Scene signs = Clipped(SceneOfText(test::kSmallMotion), {"rename=Hips=a=b", "rename=Leg=a"});
    EXPECT_EQ(Clipped(signs, {"rename=a=c", "rename=a=b=d"}).skeleton.joints[0].name, "d");
    EXPECT_TRUE(Holds(FailureOf([&] { Clipped(signs, {"rename=a=b=d"}); }), "both 'a' and 'a=b'"));
}

TEST(Clip, AJointWithoutItsOnlyChildEndsThere)
{
    const Scene walk = Walk();
    const Scene handless = Clipped(walk, {"drop=LeftHand"});
    EXPECT_EQ(handless.skeleton.joints.size() + 1, walk.skeleton.joints.size());
    EXPECT_EQ(handless.skeleton.EndSiteCount(), walk.skeleton.EndSiteCount());
    // How it turns on layers moves nothing below it.
    Scene layered = SceneOfText(test::kSmallMotion);
    PropertyOf(*layered.jointNodes[1], ChannelKind::Rotation)
        ->CreateLayerAt(layered.layers.Add("Up")->Info());
    EXPECT_EQ(Clip(layered, {"drop=Leg"}).at(0).change.text, "taken out; the chain ends where it was");
    EXPECT_EQ(layered.skeleton.JointCount(), 1u);
}

TEST(Clip, ChainEndsWhereADroppedJointWithPositionsWas)
{
    for (const auto& [second, text] : {std::pair("7", "ends where it was"), {"8", "no longer moves"}}) {
        Scene scene = SceneOfText(
            std::string("HIERARCHY\nROOT a\n{\nOFFSET 0 0 0\nCHANNELS 1 Xrotation\nJOINT b\n{\nOFFSET 1 2 3\n"
                        "CHANNELS 2 Xposition Zposition\n}\n}\nMOTION\nFrames: 2\nFrame Time: 0.1\n"
                        "0 5 7\n0 5 ") +
            second + "\n");
        EXPECT_TRUE(Holds(Clip(scene, {"drop=b"}).at(0).change.text, text));
        EXPECT_EQ(scene.skeleton.joints[1].offset, (std::array<float, 3>{5, 2, 7}));
    }
    // What follows is, from the first frame on, where the chain had it.
    const std::string chain =
        "HIERARCHY\nROOT a\n{\nOFFSET 0 0 0\nCHANNELS 1 Xrotation\nJOINT b\n{\nOFFSET 1 2 3\nCHANNELS 1 "
        "Xposition\n"
        "JOINT c\n{\nOFFSET 0 1 0\nCHANNELS 0\n}\n}\n}\nMOTION\nFrames: 2\nFrame Time: 0.1\n0 5\n0 8\n";
    const Scene shorter = Clipped(SceneOfText(chain), {"drop=b"});
    EXPECT_EQ(shorter.skeleton.joints[1].offset, (std::array<float, 3>{5, 3, 3}));
}

TEST(Clip, AJointKeepsItsRoundWhereTheOneAboveIsDropped)
{
    const Scene scene = Clipped(
        SceneOfText("HIERARCHY\nROOT a\n{\nOFFSET 0 0 0\nCHANNELS 1 Xrotation\nJOINT b\n{\nOFFSET 0 1 0\n"
                    "CHANNELS 1 Xrotation\nJOINT c\n{\nOFFSET 0 1 0\nCHANNELS 3 Zrotation Xrotation "
                    "Yrotation\n}\n}\n}\n"
                    "MOTION\nFrames: 2\nFrame Time: 0.1\n0 0 370 0 0\n0 5 10 0 0\n"),
        {"drop=b"});
    EXPECT_NEAR(CurveOf(*scene.jointNodes[1], {ChannelKind::Rotation, Axis::Z})->KeyGetValue(0), 370, 1e-4);
}
