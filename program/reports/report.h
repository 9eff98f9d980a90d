#pragma once

#include <string>

#include "ymotion/scene/scene.h"
#include "ymotion/text/style.h"

/// \file
/// What is in a scene, for people and for programs.

namespace program {

/// How a report may look.
struct ReportLook
{
    ymotion::Style style;
    bool unicode = true;
};

/// Totals, then the tree: a line for each property of each joint with its rotation order, number of keys,
/// the range of its key values on each axis, or of the axis that moves most where there is no room for all,
/// and, where there is room, the course of the latter. Of rotations as quaternions these are the angles that
/// play. Names that are cut keep their ends.
std::string TextReport(const ymotion::Scene& scene, const ReportLook& look);

/// The same as one JSON object. Times are in seconds, ranges of key values; the members are listed in
/// `yfcurve info --help`.
std::string JsonReport(const ymotion::Scene& scene);

}  // namespace program
