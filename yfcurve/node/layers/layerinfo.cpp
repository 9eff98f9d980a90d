#include "yfcurve/yfcurvelayer.h"
#include "yfcurve/yfcurvenode.h"

// Ready before the first static initialiser that makes a node.
constinit const YFCurveLayerInfo YFCurveLayerInfo::Base;

int YFCURVE_LayerTypeOn(YFCurveNode& node, const YFCurveLayerInfo& layerInfo)
{
    const YFCurveNode* const property = node.ObjectLayerGet();
    if (property == nullptr || property == &node) return node.GetLayerType();
    if (property->IsRotationLayerType()) {
        if (layerInfo.GetLayerRotationMode() == YFCURVE_LAYER_ROTATION_BY_CHANNEL)
            return YFCURVE_LAYERTYPE_ANGLE_BY_ANGLE;
        return property->GetLayerType();
    }
    if (property->GetLayerType() != YFCURVE_LAYERTYPE_SCALING) return node.GetLayerType();
    const bool addsUp = layerInfo.GetLayerScalingMode() == YFCURVE_LAYER_SCALING_ADD;
    return addsUp ? YFCURVE_LAYERTYPE_PLAIN : YFCURVE_LAYERTYPE_SCALING;
}
