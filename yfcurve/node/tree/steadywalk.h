#pragma once

#include <utility>

#include "yfcurve/node/tree/nodedata.h"
#include "yfcurve/node/tree/treewalk.h"

namespace yfc {

/// As `WalkBelow`, but takes no memory, for edits that must not break off half way: the way back is kept in
/// the nodes. What is called may neither call a host nor change the tree. \param enter  called with each node
/// and its parent, which is null for the first node.
template<class ChildOf, class Enter>
void WalkSteadily(YFCurveNode& top, const ChildOf& childOf, const Enter& enter)
{
    if (enter(top, nullptr) != EWalk::Into) return;
    NodeData::Of(top).wayBack = {};
    YFCurveNode* node = &top;
    while (node != nullptr) {
        WayBack& way = NodeData::Of(*node).wayBack;
        YFCurveNode* const child = childOf(*node, way.next++);
        if (child == nullptr) {
            node = std::exchange(way, {}).parent;
        } else if (enter(*child, node) == EWalk::Into) {
            NodeData::Of(*child).wayBack = {node, 0};
            node = child;
        }
    }
}

}  // namespace yfc
