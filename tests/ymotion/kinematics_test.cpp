// How joints stand, worked out twice: from the numbers of the file by quaternions, and from the node tree.

#include <gtest/gtest.h>

#include <array>

#include "tests/motion_support.h"
#include "tests/node/layer_model.h"
#include "tests/test_environment.h"

namespace {

using layermodel::Quaternion;
using Vector = layermodel::Triple;

/// Where a joint is in its parent, and how it is turned there.
struct Stance
{
    Vector place;
    Quaternion turn;
};

Stance AtRest(const ymotion::Joint& joint)
{
    return {{double{joint.offset[0]}, double{joint.offset[1]}, double{joint.offset[2]}}, {}};
}

/// Channels apply in the order in which they stand, each in the frame that the ones before it left.
Stance StanceInFile(const ymotion::Joint& joint, const float*& number)
{
    Stance stance = AtRest(joint);
    for (const ymotion::Channel& channel : joint.channels) {
        const auto axis = static_cast<std::size_t>(channel.axis);
        if (channel.kind == ymotion::ChannelKind::Translation) {
            stance.place[axis] = double{*number++};
        } else {
            Vector angles{};
            angles[axis] = double{*number++};
            stance.turn = stance.turn * layermodel::OfAngles(angles, 0);
        }
    }
    return stance;
}

Stance StanceOfNode(const ymotion::Joint& joint, const YFCurveNode* node, YTime time)
{
    Stance stance = AtRest(joint);
    if (node == nullptr) return stance;
    if (const YFCurveNode* translation = node->Find(YDataType::Get(eDataType::LocalTranslation)))
        translation->Evaluate(stance.place.data(), time);
    if (const YFCurveNode* rotation = node->Find(YDataType::Get(eDataType::LocalRotation))) {
        Vector angles{};
        rotation->Evaluate(angles.data(), time);
        stance.turn = layermodel::OfAngles(angles, rotation->GetRotationOrder());
    }
    return stance;
}

void ExpectSameStances(const std::string& text)
{
    const ymotion::BvhMotion file = ymotion::ParseBvh(text, "test.bvh");
    const ymotion::Scene scene = SceneOfText(text);
    const float* number = file.samples.data();
    for (int frame = 0; frame < file.frameCount; ++frame) {
        for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
            const Stance expected = StanceInFile(file.skeleton.joints[i], number);
            const Stance found =
                StanceOfNode(scene.skeleton.joints[i], scene.jointNodes[i], TimeOfFrame(frame, scene.rate));
            ASSERT_EQ(found.place, expected.place) << frame << ' ' << i;
            ASSERT_LT(layermodel::DegreesBetween(found.turn, expected.turn), 1e-9) << frame << ' ' << i;
        }
    }
}

}  // namespace

TEST(Kinematics, ExampleWalkAndRecordings)
{
    ExpectSameStances(FileContent(ExampleWalk()));
    for (const std::string& file : test::Recordings()) {
        SCOPED_TRACE(file);
        ExpectSameStances(FileContent(file));
    }
}

TEST(Kinematics, EveryChannelOrder)
{
    for (const std::string order :
         {"3 Zrotation Yrotation Xrotation", "3 Yrotation Zrotation Xrotation",
          "3 Xrotation Zrotation Yrotation", "3 Zrotation Xrotation Yrotation",
          "3 Yrotation Xrotation Zrotation", "3 Xrotation Yrotation Zrotation", "2 Yrotation Xrotation",
          "2 Xrotation Zrotation", "6 Yposition Yrotation Xrotation Zposition Xposition Zrotation"}) {
        SCOPED_TRACE(order);
        const std::size_t count = std::stoul(order);
        ExpectSameStances(OneJoint(order, {std::string("31 47 -153 5 20 40").substr(0, 3 * count),
                                           std::string("91 12 170 -33 89 250").substr(0, 3 * count)}));
    }
}
