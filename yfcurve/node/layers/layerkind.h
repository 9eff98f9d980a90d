#pragma once

#include <cstdint>

/// \file
/// What kinds of layers there are, and the components and neutral values that they give a property.

class YFCurveNode;

namespace yfc {

/// What the numbers of `YFCurveNode::SetLayerType` stand for.
enum class ELayerKind : std::int8_t
{
    Component = 0,  ///< of a compound node
    Plain = 1,
    Rotation = 2,  ///< turns as a whole
    Scaling = 3,
    AngleByAngle = 5,     ///< a rotation whose layers combine each angle on its own
    ScalingUnlayered = 6  ///< a scaling that layers neither combine nor give a neutral value
};

inline bool IsRotation(ELayerKind kind)
{
    return kind == ELayerKind::Rotation || kind == ELayerKind::AngleByAngle;
}

/// How many values a node has in an evaluation across layers: one for a curve, else one for each child.
int ComponentCount(const YFCurveNode& node);
/// What a value is where no layer says anything: 1 for layer type 3, else 0. Layer type 6 has no such value.
bool HasNeutralValue(const YFCurveNode& node);
double NeutralValue(const YFCurveNode& node);

}  // namespace yfc
