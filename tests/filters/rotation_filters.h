#pragma once

#include <string>
#include <vector>

#include "tests/filters/motion.h"
#include "tests/node/nodes.h"
#include "tests/ybaselib/rotation_testing.h"

// What the tests of rotation filters share: rotations to filter, and what became of them.

namespace rotationtest {

using Triples = std::vector<YgeRVector>;

inline YFCurveNodePtr Rotation(eRotationOrder order = eRotationOrder::XYZ)
{
    return nodetest::Rotation(static_cast<int>(order));
}

/// Linear keys at whole seconds.
inline YFCurveNodePtr Rotation(const Triples& keys, eRotationOrder order = eRotationOrder::XYZ)
{
    YFCurveNodePtr node = Rotation(order);
    for (int axis = 0; axis < 3; ++axis) {
        YFCurve& curve = nodetest::CurveOf(*node, axis);
        const YFCurveModify modify(curve);
        for (std::size_t i = 0; i < keys.size(); ++i) {
            const YTime time = nodetest::Seconds(static_cast<double>(i));
            YFCurveKey key;
            key.Set(time, static_cast<float>(keys[i][axis]), YFCURVE_INTERP_LINEAR);
            curve.KeyAdd(time, key);
        }
    }
    return node;
}

inline Triples KeysOf(const YFCurveNode& node)
{
    Triples keys;
    for (int i = 0; i < nodetest::CurveOf(node, 0).KeyGetCount(); ++i) {
        keys.emplace_back(nodetest::CurveOf(node, 0).KeyGetValue(i),
                          nodetest::CurveOf(node, 1).KeyGetValue(i),
                          nodetest::CurveOf(node, 2).KeyGetValue(i));
    }
    return keys;
}

/// The angle between two orientations in degrees, from where they take the axes.
inline double Apart(const YgeRVector& a, const YgeRVector& b, eRotationOrder order)
{
    const std::string& name = orderNames[static_cast<int>(order)];
    double squares = 0.0;
    for (const YgeVector axis : {YgeVector{1, 0, 0}, YgeVector{0, 1, 0}, YgeVector{0, 0, 1}}) {
        const double distance = Distance(TurnInOrder(axis, a, name), TurnInOrder(axis, b, name));
        squares += distance * distance;
    }
    // The three squares come to 8 sin(angle / 2)^2.
    return 2.0 * Degrees(std::asin(std::min(1.0, std::sqrt(squares / 8.0))));
}

/// The rotations of the joints of a BVH file, by frame.
struct Clip
{
    std::vector<Triples> joints;
    std::vector<eRotationOrder> orders;
};

/// Empty when there is no such file.
inline Clip ReadClip(const std::string& path)
{
    const motion::Recording recording = motion::ReadRecording(path);
    Clip clip;
    std::vector<std::string> orders;
    for (const auto& [joint, rotation, axis] : recording.channels) {
        orders.resize(static_cast<std::size_t>(joint) + 1);
        // The last channel turns first.
        if (rotation) orders.back().insert(orders.back().begin(), static_cast<char>('X' + axis));
    }
    for (const std::string& order : orders) {
        const auto* found = std::find(std::begin(orderNames), std::end(orderNames), order);
        clip.orders.push_back(static_cast<eRotationOrder>(found - std::begin(orderNames)));
    }
    clip.joints.resize(orders.size());
    for (std::size_t i = 0; i < recording.numbers.size(); ++i) {
        const std::size_t column = i % recording.channels.size();
        if (column == 0)
            for (Triples& triples : clip.joints) triples.emplace_back();
        const auto& [joint, rotation, axis] = recording.channels[column];
        if (rotation)
            clip.joints[static_cast<std::size_t>(joint)].back()[axis] = double{recording.numbers[i]};
    }
    return clip;
}

}  // namespace rotationtest
