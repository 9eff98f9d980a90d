#include "yfcurve/node/layers/layerkind.h"
#include "yfcurve/yfcurvelayer.h"
#include "yfcurve/yfcurvenode.h"

// Ready before the first static initialiser that makes a node.
constinit const YFCurveLayerInfo YFCurveLayerInfo::Base;

int YFCURVE_LayerTypeOn(YFCurveNode& node, const YFCurveLayerInfo& layerInfo)
{
    constexpr int scaling = static_cast<int>(yfc::ELayerKind::Scaling);
    const YFCurveNode* const property = node.ObjectLayerGet();
    if (property == nullptr || property == &node) return node.GetLayerType();
    if (property->IsRotationLayerType()) {
        const bool byChannel = layerInfo.GetLayerRotationMode() == YFCURVE_LAYER_ROTATION_BY_CHANNEL;
        return byChannel ? static_cast<int>(yfc::ELayerKind::AngleByAngle) : property->GetLayerType();
    }
    if (property->GetLayerType() != scaling) return node.GetLayerType();
    const bool addsUp = layerInfo.GetLayerScalingMode() == YFCURVE_LAYER_SCALING_ADD;
    return addsUp ? static_cast<int>(yfc::ELayerKind::Plain) : scaling;
}
