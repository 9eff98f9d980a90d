#include "yfcurve/filters/quaternionform.h"

#include <algorithm>
#include <cstdint>

#include "yfcurve/yfcurvenode.h"

namespace yfc {

YTime Middle(YTime from, YTime to)
{
    const std::uint64_t ticks = static_cast<std::uint64_t>(to.Get()) - static_cast<std::uint64_t>(from.Get());
    return YTime(from.Get() + static_cast<std::int64_t>(ticks / 2));
}

std::vector<YFCurveNode*> RotationLayers(YFCurveNode& node)
{
    std::vector<YFCurveNode*> layers;
    for (YFCurveNode* layer = &node; layer != nullptr; layer = layer->LayerGet()) {
        if (layer->IsRotationLayerType() && FindRotationCurves(*layer)) layers.push_back(layer);
    }
    return layers;
}

bool IsAnyLocked(const std::vector<YFCurveNode*>& layers)
{
    return std::any_of(layers.begin(), layers.end(),
                       [](const YFCurveNode* layer) { return IsRotationLocked(*layer); });
}

}  // namespace yfc
