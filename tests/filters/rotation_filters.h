#pragma once

#include <string>
#include <vector>

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
        for (const YgeRVector& key : keys)
            nodetest::AddLinearKey(curve, curve.KeyGetCount(), static_cast<float>(key[axis]));
    }
    return node;
}

inline Triples KeysOf(const YFCurveNode& node)
{
    Triples keys;
    for (int i = 0; i < nodetest::CurveOf(node, 0).KeyGetCount(); ++i)
        keys.emplace_back(nodetest::CurveOf(node, 0).KeyGetValue(i),
                          nodetest::CurveOf(node, 1).KeyGetValue(i),
                          nodetest::CurveOf(node, 2).KeyGetValue(i));
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
/// What plays.
inline YgeRVector Shown(const YFCurveNode& node, YTime time)
{
    double values[3];
    int hint = 0;
    node.RotationNodeEvaluate(values, time, &hint);
    return {values[0], values[1], values[2]};
}

inline YgeRVector Shown(const YFCurveNode& node, double seconds)
{
    return Shown(node, nodetest::Seconds(seconds));
}
}  // namespace rotationtest
