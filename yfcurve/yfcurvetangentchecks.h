#pragma once

#include "ybaselib/ytime.h"
#include "yfcurve/yfcurveexport.h"

/// \file
/// Checks of the tangents and interpolations of whole trees of curves.

class YFCurveNode;

/// Breaks the tangents of keys that run across the motion around them.
///
/// The two trees have to be of one shape: where a node without a curve has as many children as its reference,
/// the children are compared in order, and anywhere else nothing happens below. Around every key of a curve
/// the reference curve is sampled at the key's time minus and plus `delta`, which gives a slope towards the
/// key and one away from it. A key whose left or right derivative differs from these by more than `threshold`
/// becomes a broken user key with both of them; the outer side of an end key gets 0.
/// \param delta      positive, else nothing happens
/// \param threshold  value units per second; a difference of exactly that much is not too much
YFCURVE_EXPORT void YFCURVE_BreakTangents(YFCurveNode* node, YFCurveNode* reference, YTime delta,
                                          double threshold);

/// Whether every key of a tree has one of the interpolations of a mask (`YFCURVE_INTERP_...`, ORed). False
/// for a tree without keys, and for null.
/// \param includeLayers  also look at the layers above each node of the tree
YFCURVE_EXPORT bool YFCURVE_IsAllSameInterpolation(YFCurveNode* node, unsigned int interpolationMask,
                                                   bool includeLayers);
