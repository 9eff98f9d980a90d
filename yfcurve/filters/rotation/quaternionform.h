#pragma once

#include <array>
#include <functional>
#include <vector>

#include "yfcurve/filters/rotation/rotationkeys.h"

/// \file
/// The two forms of a rotation, for the filters that turn one into the other and for those that meet either.
///
/// Of a rotation in quaternion form (`YFCurveNode::SetUseQuaternion`) only the orientations count that its
/// curves have where one of them has a key. Between those times the node plays the even turn, wherever the
/// curves go; `YFCurveNode::RotationNodeEvaluate` tells what plays. So a filter keeps the form where it
/// leaves all three curves with keys at the same times, and turns it into angles where it works on each by
/// itself.

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
    .unit = "degrees",
    .help = "how far the motion between keys may change; 0 adds no keys for it"};

/// The middle of two times.
YTime Middle(YTime from, YTime to);

/// The node and the layers behind it, as far as they are rotations of three curves.
std::vector<YFCurveNode*> RotationLayers(YFCurveNode& node);

/// Whether one of them is locked.
bool IsAnyLocked(const std::vector<YFCurveNode*>& layers);

/// Whether a node is a rotation of three curves in quaternion form.
bool IsQuaternionRotation(const YFCurveNode& node);

/// The angles that a rotation in either form plays by its own curves.
YgeRVector PlayedAngles(const YFCurveNode& rotation, YTime time, int& hint);

/// The curves of a rotation in quaternion form with keys at the same times: wherever one of them has any, and
/// at further times between these. They play what the rotation plays. May throw `std::bad_alloc`.
std::array<YFCurve, 3> SynchronizedTurns(const YFCurveNode& rotation,
                                         const std::vector<YTime>& furtherTimes = {});

/// Gives curves the keys of others, with those in a span, its ends included, exchanged for keys of its own.
void ExchangeSpan(const RotationCurves& curves, const std::array<YFCurve, 3>& outside,
                  const std::array<YFCurve, 3>& inside, YTime start, YTime stop);

/// Work that edits the curves of a rotation one by one.
using CurveWork = std::function<bool(YFCurveNode& rotation)>;

/// Has work done to a rotation in quaternion form as one of angles, which it and the layers behind it become;
/// none of these may be locked. Where the work changes nothing, nothing is converted.
/// \return  what the work returns; false when memory runs out.
bool WorkOnAngles(YFCurveNode& rotation, const CurveWork& work);

/// Has work done that removes keys or moves them in time: each stays what it is, and the form as well. The
/// rotation may not be locked.
bool WorkOnKeyTimes(YFCurveNode& rotation, const CurveWork& work);

}  // namespace yfc
