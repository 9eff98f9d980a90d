// Where joints are in space, worked out twice: from the numbers of the file alone, and from the node tree.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <numbers>
#include <sstream>

#include "tests/motion_support.h"
#include "tests/test_environment.h"
#include "ybaselib/yrotation.h"

namespace {

using Matrix = std::array<std::array<double, 3>, 3>;
using Vector = std::array<double, 3>;

struct FileJoint
{
    int parent = -1;
    Vector offset{};
    std::vector<std::string> channels;
};

/// A file taken apart word by word, with nothing of the program's own reader.
struct FileMotion
{
    std::vector<FileJoint> joints;  // end sites too
    int frames = 0;
    std::vector<double> numbers;
    std::size_t channelCount = 0;
};

FileMotion TakeApart(const std::string& text)
{
    FileMotion motion;
    std::istringstream words(text);
    words.imbue(std::locale::classic());
    std::vector<int> open;
    std::string word;
    while (words >> word && word != "MOTION") {
        if (word == "{") {
            motion.joints.push_back({open.empty() ? -1 : open.back(), {}, {}});
            open.push_back(static_cast<int>(motion.joints.size()) - 1);
        } else if (word == "}") {
            open.pop_back();
        } else if (word == "OFFSET") {
            for (double& component : motion.joints.back().offset) words >> component;
        } else if (word == "CHANNELS") {
            std::size_t count = 0;
            words >> count;
            motion.channelCount += count;
            motion.joints.back().channels.resize(count);
            for (std::string& channel : motion.joints.back().channels) words >> channel;
        }
    }
    words >> word >> motion.frames >> word >> word >> word;
    for (double number = 0; words >> number;) motion.numbers.push_back(number);
    return motion;
}

/// A turn about one axis, as textbooks have it for column vectors.
Matrix AxisTurn(char axis, double degrees)
{
    const double c = std::cos(degrees * std::numbers::pi / 180.0);
    const double s = std::sin(degrees * std::numbers::pi / 180.0);
    if (axis == 'X') return {{{1, 0, 0}, {0, c, -s}, {0, s, c}}};
    if (axis == 'Y') return {{{c, 0, s}, {0, 1, 0}, {-s, 0, c}}};
    return {{{c, -s, 0}, {s, c, 0}, {0, 0, 1}}};
}

Matrix Times(const Matrix& a, const Matrix& b)
{
    Matrix product{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            for (std::size_t k = 0; k < 3; ++k) product[i][j] += a[i][k] * b[k][j];
        }
    }
    return product;
}

Vector Times(const Matrix& a, const Vector& v)
{
    Vector product{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t k = 0; k < 3; ++k) product[i] += a[i][k] * v[k];
    }
    return product;
}

/// Joint and end site positions of one frame: channels apply in the order in which they stand, each in the
/// frame that the ones before it left.
std::vector<Vector> PositionsFromFile(const FileMotion& motion, int frame)
{
    const double* number = motion.numbers.data() + static_cast<std::size_t>(frame) * motion.channelCount;
    std::vector<Vector> positions;
    std::vector<Matrix> turns;
    for (const FileJoint& joint : motion.joints) {
        Vector local = joint.offset;
        Matrix turn{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};
        for (const std::string& channel : joint.channels) {
            const char axis = channel[0];
            if (channel.substr(1) == "position") {
                local[static_cast<std::size_t>(axis - 'X')] = *number++;
            } else {
                turn = Times(turn, AxisTurn(axis, *number++));
            }
        }
        if (joint.parent >= 0) {
            const auto parent = static_cast<std::size_t>(joint.parent);
            local = Times(turns[parent], local);
            for (std::size_t i = 0; i < 3; ++i) local[i] += positions[parent][i];
            turn = Times(turns[parent], turn);
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
    const FileMotion file = TakeApart(text);
    ASSERT_EQ(file.numbers.size(), static_cast<std::size_t>(file.frames) * file.channelCount);
    const ymotion::Scene scene = SceneOfText(text);
    ASSERT_EQ(file.joints.size(), scene.skeleton.joints.size());
    double worst = 0;
    double size = 1;
    for (int frame = 0; frame < file.frames; ++frame) {
        const std::vector<Vector> expected = PositionsFromFile(file, frame);
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

TEST(Kinematics, ExampleWalk)
{
    ExpectSamePositions(FileContent(ExampleWalk()));
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

TEST(Kinematics, Recordings)
{
    if (test::Recordings().empty()) GTEST_SKIP() << "YFCURVE_RECORDINGS names no folder of recordings";
    for (const std::string& file : test::Recordings()) {
        SCOPED_TRACE(file);
        ExpectSamePositions(FileContent(file));
    }
}
