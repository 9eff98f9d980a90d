#pragma once

#include <cstdint>

#include "yfcurve/yfcurvelayer.h"

/// \file
/// What kinds of layers there are, and the components and neutral values that they give a property.

class YFCurveNode;

namespace yfc {

/// The layer type of a node, to switch over.
enum class ELayerKind : std::int8_t
{
    Component = YFCURVE_LAYERTYPE_COMPONENT,
    Plain = YFCURVE_LAYERTYPE_PLAIN,
    Rotation = YFCURVE_LAYERTYPE_ROTATION,
    Scaling = YFCURVE_LAYERTYPE_SCALING,
    AngleByAngle = YFCURVE_LAYERTYPE_ANGLE_BY_ANGLE,
    ScalingUnlayered = YFCURVE_LAYERTYPE_SCALING_UNLAYERED  ///< and has no neutral value
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
