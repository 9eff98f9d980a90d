#pragma once

#include "yfcurve/yfcurvenode.h"

/// \file
/// Walks over trees of curve nodes.

namespace ymotion {

/// Calls `visit` for a node, those below it, and those of the layers behind each; parents first.
template<class Node, class Visit>
void VisitNodesAndLayers(Node& node, const Visit& visit)
{
    for (Node* layer = &node; layer != nullptr; layer = layer->LayerGet()) {
        visit(*layer);
        for (int i = 0; i < layer->GetCount(); ++i) VisitNodesAndLayers(*layer->Get(i), visit);
    }
}

/// Calls `visit` for each curve that moves a node or one below it: their own on all layers, and the weights of the
/// layers, as often as these count. All keys of what is seen are on these curves.
template<class Visit>
void VisitCurves(const YFCurveNode& node, const Visit& visit)
{
    VisitNodesAndLayers(node, [&visit](const YFCurveNode& each) {
        if (const YFCurve* curve = each.FCurveGet()) visit(*curve);
        if (const YFCurve* weight = each.GetWeightCurve()) visit(*weight);
    });
}

}  // namespace ymotion
