#pragma once

#include <vector>

#include "yfcurve/filters/rotationkeys.h"

/// \file
/// What the filters share that turn a rotation from one form of interpolation into the other.

namespace yfc {

/// How often a segment is halved at most.
inline constexpr int kLargestDepth = 10;
/// How many keys are added to a rotation at most.
inline constexpr std::size_t kLargestKeyCount = 100000;
/// How many pieces of a stretch are looked at to tell whether a motion fits.
inline constexpr int kProbes = 8;

inline constexpr double kDefaultPrecision = 0.1;
inline constexpr YPropertyOptions kPrecisionOptions = {
    .minimum = 0.0,
    .maximum = 180.0,
    .unit = "deg",
    .help = "how far the motion between keys may change; 0 adds no keys for it"};

/// The middle of two times.
YTime Middle(YTime from, YTime to);

/// The node and the layers behind it, as far as they are rotations of three curves.
std::vector<YFCurveNode*> RotationLayers(YFCurveNode& node);

/// Whether one of them is locked.
bool IsAnyLocked(const std::vector<YFCurveNode*>& layers);

}  // namespace yfc
