#pragma once

#include "ymotion/scene/scene.h"

/// \file
/// Joints that change their place in the tree of a scene.

namespace ymotion {

/// Puts nodes into a parent's list in place of one of its children, which then is the caller's. They must not
/// be in another list.
YFCurveNodePtr ReplaceChild(YFCurveNode& child, const std::vector<YFCurveNode*>& nodes);

/// Takes all children out of a node's list.
std::vector<YFCurveNode*> TakeChildren(YFCurveNode& node);

}  // namespace ymotion
