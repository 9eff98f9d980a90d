#pragma once

#include <string>
#include <vector>

#include "ybaselib/yrotation.h"
#include "yfcurve/yfcurvenode.h"
#include "ymotion/scene/scene.h"

/// \file
/// Angles that jump by whole turns, which filters of single curves take for motion.

namespace ymotion {

/// The rotations of the base layer that are sampled from frame to frame and whose angles jump there by whole turns. What
/// they are between two such frames is no motion: whoever reads them there unrolls them first. Rotations with layers or
/// a time warp, or that turn as quaternions do, are not among them.
std::vector<YFCurveNode*> JumpingRecordings(const Scene& scene);

/// Unrolls these rotations, which leaves the orientations of all keys. Locked ones stay.
/// \return  "unrolled, as Hips jumps by 360 degrees 2 times"; empty where there is nothing to do
std::string UnrollRecordings(Scene& scene);

/// Whether unrolling would leave the value of a rotation at every key of its curves.
bool IsUnrolled(const YFCurveNode& rotation);

/// "LeftHip jumps by 360 degrees 9 times: put unroll first", with the joint that jumps most, and how many
/// others do; empty when none does.
/// \param properties  of any layer
std::string WholeTurnsText(const std::vector<YFCurveNode*>& properties);

}  // namespace ymotion
