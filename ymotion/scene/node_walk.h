#pragma once

#include "yfcurve/yfcurvenode.h"

/// \file
/// Walks over trees of curve nodes.

namespace ymotion {

/// Calls `visit` for a node, those below it, and those of the layers behind each; parents first.
template<class Visit>
void VisitNodesAndLayers(YFCurveNode& node, const Visit& visit)
{
    for (YFCurveNode* layer = &node; layer != nullptr; layer = layer->LayerGet()) {
        visit(*layer);
        for (int i = 0; i < layer->GetCount(); ++i) VisitNodesAndLayers(*layer->Get(i), visit);
    }
}

}  // namespace ymotion
