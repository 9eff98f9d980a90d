#pragma once

#include <string>
#include <vector>

#include "ybaselib/yrotation.h"
#include "yfcurve/yfcurvefilter.h"
#include "yfcurve/yfcurvenode.h"

/// \file
/// Angles that jump by whole turns, which filters of single curves take for motion.

namespace ymotion {

/// Whether a filter reads single curves between their keys, where an angle that jumps by a whole turn passes
/// through orientations that the motion never has.
bool ReadsAnglesBetweenKeys(const YFCurveFilter& filter);

/// How often the angles of a rotation jump: by more than half a turn from a key to the next while the
/// orientation stays about what it was. Keys at one time count once; 0 for what is no rotation.
int CountWholeTurns(const YFCurveNode& property);

/// "LeftHip jumps by 360 degrees 9 times: put unroll first", with the joint that jumps most, and how many
/// others do; empty when none does.
/// \param properties  of any layer
std::string WholeTurnsText(const std::vector<YFCurveNode*>& properties);

}  // namespace ymotion
