// Where joints are in space, worked out twice: from the numbers of the file by quaternions, and
// from the node tree.

#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "tests/motion_support.h"
#include "tests/node/layer_model.h"
#include "tests/test_environment.h"
#include "ybaselib/yrotation.h"

namespace {

using layermodel::Quaternion;
using Vector = layermodel::Triple;

Quaternion AxisTurn(ymotion::Axis axis, float degrees)
{
    Vector angles{};
    angles[static_cast<std::size_t>(axis)] = double{degrees};
    return layermodel::OfAngles(angles, 0);
}

Vector Turned(const Quaternion& turn, const Vector& v)
{
    const Quaternion turned = turn * Quaternion{v[0], v[1], v[2], 0.0} * layermodel::Reverse(turn);
    return {turned.x, turned.y, turned.z};
}

/// Joint and end site positions of one frame: channels apply in the order in which they stand, each in the
/// frame that the ones before it left.
std::vector<Vector> PositionsFromFile(const ymotion::BvhMotion& motion, std::size_t frame)
{
    const float* number = motion.samples.data() + frame * motion.skeleton.ChannelCount();
    std::vector<Vector> positions;
    std::vector<Quaternion> turns;
    for (const ymotion::Joint& joint : motion.skeleton.joints) {
        Vector local{double{joint.offset[0]}, double{joint.offset[1]}, double{joint.offset[2]}};
        Quaternion turn;
        for (const ymotion::Channel& channel : joint.channels) {
            if (channel.kind == ymotion::ChannelKind::Translation) {
                local[static_cast<std::size_t>(channel.axis)] = double{*number++};
            } else {
                turn = turn * AxisTurn(channel.axis, *number++);
            }
        }
        if (joint.parent >= 0) {
            const auto parent = static_cast<std::size_t>(joint.parent);
            local = Turned(turns[parent], local);
            for (std::size_t i = 0; i < 3; ++i) local[i] += positions[parent][i];
            turn = turns[parent] * turn;
        }
        positions.push_back(local);
        turns.push_back(turn);
    }
    return positions;
}

/// The values of a property at a time; `rest` without one.
YgeVector ValuesOf(const YFCurveNode* joint, eDataType type, YTime time, const YgeVector& rest)
{
    const YFCurveNode* property = joint == nullptr ? nullptr : joint->Find(YDataType::Get(type));
    if (property == nullptr) return rest;
    double values[3] = {};
    property->Evaluate(values, time);
    return {values[0], values[1], values[2]};
}

std::vector<YgeVector> PositionsFromNodes(const ymotion::Scene& scene, YTime time)
{
    std::vector<YgeVector> positions;
    std::vector<YgeMatrix> turns;
    for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
        const ymotion::Joint& joint = scene.skeleton.joints[i];
        const YFCurveNode* node = scene.jointNodes[i];
        const YgeVector rest{joint.offset[0], joint.offset[1], joint.offset[2]};
        YgeVector local = ValuesOf(node, eDataType::LocalTranslation, time, rest);
        const YgeVector angles = ValuesOf(node, eDataType::LocalRotation, time, {});
        int order = 0;
        if (node != nullptr) {
            const YFCurveNode* rotation = node->Find(YDataType::Get(eDataType::LocalRotation));
            if (rotation != nullptr) order = rotation->GetRotationOrder();
        }
        YgeMatrix turn(YgeRVector(angles.x, angles.y, angles.z), static_cast<eRotationOrder>(order));
        if (joint.parent >= 0) {
            const auto parent = static_cast<std::size_t>(joint.parent);
            local = turns[parent] * local;
            local = {local.x + positions[parent].x, local.y + positions[parent].y,
                     local.z + positions[parent].z};
            turn = turns[parent] * turn;
        }
        positions.push_back(local);
        turns.push_back(turn);
    }
    return positions;
}

void ExpectSamePositions(const std::string& text)
{
    const ymotion::BvhMotion file = ymotion::ParseBvh(text, "test.bvh");
    const ymotion::Scene scene = SceneOfText(text);
    double worst = 0;
    double size = 1;
    for (int frame = 0; frame < file.frameCount; ++frame) {
        const std::vector<Vector> expected = PositionsFromFile(file, static_cast<std::size_t>(frame));
        const std::vector<YgeVector> actual = PositionsFromNodes(scene, TimeOfFrame(frame, scene.rate));
        for (std::size_t i = 0; i < expected.size(); ++i) {
            const double distance = std::hypot(expected[i][0] - actual[i].x, expected[i][1] - actual[i].y,
                                               expected[i][2] - actual[i].z);
            worst = std::max(worst, distance);
            size = std::max(
                {size, std::abs(expected[i][0]), std::abs(expected[i][1]), std::abs(expected[i][2])});
        }
    }
    // Curves hold single precision, half a unit in the 24th place; angles of up to 180 degrees in a chain of
    // a dozen joints add up to some units.
    EXPECT_LT(worst, 1e-6 * size) << "largest coordinate " << size;
}

}  // namespace

TEST(Kinematics, ExampleWalkAndRecordings)
{
    ExpectSamePositions(FileContent(ExampleWalk()));
    for (const std::string& file : test::Recordings()) {
        SCOPED_TRACE(file);
        ExpectSamePositions(FileContent(file));
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
        ExpectSamePositions(
            std::string("HIERARCHY\nROOT a\n{\nOFFSET 0 0 0\nCHANNELS ") + order +
            "\nJOINT b\n{\nOFFSET 3 5 7\nCHANNELS 6 Yposition Yrotation Xrotation Zposition Xposition "
            "Zrotation\nEnd Site\n{\nOFFSET 1 2 4\n}\n}\n}\nMOTION\nFrames: 2\nFrame Time: 0.1\n" +
            (order[0] == '3' ? "31 47 -153 " : "31 47 ") + "5 20 40 6 7 -80\n" +
            (order[0] == '3' ? "-91 12 170 " : "-91 12 ") + "1 -33 89 2 3 250\n");
    }
}
