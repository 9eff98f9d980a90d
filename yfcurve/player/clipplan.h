#pragma once

#include <vector>

#include "yfcurve/player/clippacking.h"
#include "yfcurve/yfcurvenode.h"

/// \file
/// A tree of properties written down as operations on the values of its curves.

namespace yfc {

struct ClipPlan
{
    std::vector<PlannedChannel> channels;     ///< without keys yet
    std::vector<const YFCurveLayer*> layers;  ///< what the rules' weights are asked of
    ClipParts parts;                          ///< operations, rules, turns and names, and all counts
};

/// What `YFCurveNode::GeneralEvaluate` does for a node, without doing it.
/// \return  false for a node without a value, and for trees that are too deep. Throws when memory runs out.
bool MakePlan(YFCurveNode& node, ClipPlan& plan);

}  // namespace yfc
