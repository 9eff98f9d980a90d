// Where joints are in space and how they are turned, worked out from the numbers of the file alone.

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "tests/motion_support.h"
#include "tests/test_environment.h"
#include "tests/ymotion/plain_kinematics.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/scene/world_pose.h"

using namespace ymotion;

namespace {

using plainkinematics::Pose;
using plainkinematics::PosesFromFile;
using plainkinematics::Vector;

void ExpectSamePoses(const std::string& text)
{
    const BvhMotion file = ParseBvh(text, "test.bvh");
    const Scene scene = SceneOfText(text);
    WorldPoses poses(scene);
    double worst = 0;
    double worstTurn = 0;
    double size = 1;
    for (int frame = 0; frame < file.frameCount; ++frame) {
        const std::vector<Pose> expected = PosesFromFile(file, static_cast<std::size_t>(frame));
        const std::vector<JointPose>& actual = poses.At(TimeOfFrame(frame, scene.rate));
        ASSERT_EQ(actual.size(), expected.size());
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const auto& [x, y, z] = expected[i].position;
            const auto& [place, turn] = actual[i];
            worst = std::max(worst, std::hypot(x - place.x, y - place.y, z - place.z));
            worstTurn = std::max(
                worstTurn, layermodel::DegreesBetween(expected[i].turn, {turn.x, turn.y, turn.z, turn.w}));
            size = std::max({size, std::abs(x), std::abs(y), std::abs(z)});
        }
    }
    // Curves hold single precision, half a unit in the 24th place; angles of up to 180 degrees in a chain of
    // a dozen joints add up to some units.
    EXPECT_LT(worst, 1e-6 * size) << "largest coordinate " << size;
    EXPECT_LT(worstTurn, 1e-4);
}

}  // namespace

TEST(Kinematics, ExampleWalkAndRecordings)
{
    for (const std::string& file : RecordedMotions()) {
        SCOPED_TRACE(file);
        ExpectSamePoses(FileContent(file));
    }
}

TEST(Kinematics, EveryChannelOrder)
{
    const std::array<const char*, 8> orders{
        "3 Zrotation Yrotation Xrotation", "3 Yrotation Zrotation Xrotation",
        "3 Xrotation Zrotation Yrotation", "3 Zrotation Xrotation Yrotation",
        "3 Yrotation Xrotation Zrotation", "3 Xrotation Yrotation Zrotation",
        "2 Yrotation Xrotation",           "2 Xrotation Zrotation"};
    for (const char* order : orders) {
        SCOPED_TRACE(order);
        ExpectSamePoses(
            std::string("HIERARCHY\nROOT a\n{\nOFFSET 0 0 0\nCHANNELS ") + order +
            "\nJOINT b\n{\nOFFSET 3 5 7\nCHANNELS 6 Yposition Yrotation Xrotation Zposition Xposition "
            "Zrotation\nEnd Site\n{\nOFFSET 1 2 4\n}\n}\n}\nMOTION\nFrames: 2\nFrame Time: 0.1\n" +
            (order[0] == '3' ? "31 47 -153 " : "31 47 ") + "5 20 40 6 7 -80\n" +
            (order[0] == '3' ? "-91 12 170 " : "-91 12 ") + "1 -33 89 2 3 250\n");
    }
    // Along an axis without a channel a joint stays at its offset.
    ExpectSamePoses(OneJoint("3 Zposition Yrotation Xposition", {"1 20 3", "4 50 6"}));
}

TEST(Kinematics, LayersAndRotationsThatTurnAsAWholeCount)
{
    Scene scene = SceneOfText(OneJoint("6 Xposition Yposition Zposition Zrotation Xrotation Yrotation",
                                       {"1 2 3 10 20 30", "4 5 6 -70 80 90", "7 8 9 150 -160 20"}));
    scene.skeleton.joints.push_back({"", 0, true, {1, 2, 4}, {}});
    scene.jointNodes.push_back(nullptr);
    YFCurveNode* const translation = scene.jointNodes[0]->Get(0);
    YFCurveNode* const rotation = scene.jointNodes[0]->Get(1);
    Layer& layer = *scene.layers.Add("up");
    layer.WeightCurve()->KeyAppendFast(YTIME_ZERO, 0.25f);
    layer.WeightCurve()->KeyAppendFast(YTIME_ONE_SECOND, 0.75f);
    for (YFCurveNode* property : {translation, rotation}) {
        YFCurveNode* const upper = property->CreateLayerAt(layer.Info());
        for (int i = 0; i < 3; ++i) upper->Get(i)->FCurveGet()->SetValue(10.0f * static_cast<float>(i + 1));
    }
    scene.layers.Bind(*scene.root);
    for (const bool asQuaternions : {false, true}) {
        rotation->SetUseQuaternion(asQuaternions);
        WorldPoses poses(scene);
        for (int i = 0; i <= 10; ++i) {
            const YTime time = YTIME_ONE_SECOND * i / 10;
            Vector place{};
            Vector angles{};
            translation->GeneralEvaluate(place.data(), time);
            rotation->GeneralEvaluate(angles.data(), time);
            const Vector end = plainkinematics::Turned(
                layermodel::OfAngles(angles, rotation->GetRotationOrder()), {1, 2, 4});
            const YgeVector& found = poses.At(time)[1].position;
            const Vector expected{place[0] + end[0], place[1] + end[1], place[2] + end[2]};
            EXPECT_LT(plainkinematics::Distance({found.x, found.y, found.z}, expected), 1e-4) << i;
        }
    }
}

TEST(Kinematics, ScalesOfJointsAboveCount)
{
    const Scene scene = SceneOfText(
        "HIERARCHY\nROOT a\n{\nOFFSET 0 0 0\nCHANNELS 3 Xposition Yposition Zposition\nJOINT b\n{\nOFFSET 3 "
        "5 7\n"
        "CHANNELS 1 Zrotation\nEnd Site\n{\nOFFSET 1 2 4\n}\n}\n}\nMOTION\nFrames: 1\nFrame Time: 0.1\n"
        "10 20 30 90\n");
    YDataType& type = *YDataType::Get(eDataType::LocalScaling);
    YFCurveNode* const scale = AddTo(*scene.jointNodes[0], MakePropertyNode(type, type.GetName()));
    for (int i = 0; i < 3; ++i) scale->Get(i)->FCurveGet()->SetValue(static_cast<float>(i + 2));
    WorldPoses poses(scene);
    const std::vector<JointPose>& found = poses.At(YTIME_ZERO);
    // b at a + (2, 3, 4) * (3, 5, 7); its end, turned by 90 degrees, at (-2, 1, 4) in the axes of a.
    const Vector expected[] = {{10, 20, 30}, {16, 35, 58}, {12, 38, 74}};
    for (std::size_t i = 0; i < 3; ++i) {
        const auto& [x, y, z] = found[i].position;
        EXPECT_LT(plainkinematics::Distance({x, y, z}, expected[i]), 1e-5) << i;
    }
}

TEST(Kinematics, TranslationsCountInEveryFormatWithKeysOrWithoutAny)
{
    Scene scene = SceneOfText(
        "HIERARCHY\nROOT a\n{\nOFFSET 1 2 3\nCHANNELS 3 Zposition Yposition Xposition\nJOINT b\n{\n"
        "OFFSET 0 5 1\nCHANNELS 1 Zrotation\n}\n}\nMOTION\nFrames: 0\nFrame Time: 0.5\n");
    const auto expect = [&scene](const Vector& ofB) {
        for (const char* format : {"ytalo", "bvh", "glb"}) {
            Scene back = ReadSceneText(SceneText(scene, format), "copy");
            WorldPoses poses(back);
            const auto& places = poses.PlacesAt(YTIME_ONE_SECOND / 2);
            const auto& [root, joint] = std::pair{places[0].origin, places[1].origin};
            EXPECT_LT(plainkinematics::Distance({root.x, root.y, root.z}, {1, 2, 3}), 1e-5) << format;
            EXPECT_LT(plainkinematics::Distance({joint.x, joint.y, joint.z}, ofB), 1e-5) << format;
        }
    };
    expect({1, 7, 4});
    // It has no channel: along axes without keys the joint stays at its offset.
    YDataType& type = *YDataType::Get(eDataType::LocalTranslation);
    YFCurve& x = *AddTo(*scene.jointNodes[1], MakePropertyNode(type, type.GetName()))->Get(0)->FCurveGet();
    x.KeyAppendFast(YTIME_ZERO, 1);
    x.KeyAppendFast(YTIME_ONE_SECOND / 2, 30);
    expect({31, 7, 4});
}
