#pragma once

#include <vector>

#include "yfcurve/manipulator/placing.h"
#include "yfcurve/yfcurvekey.h"

/// \file
/// What keys that have been placed anew store: a key stores its right tangent and the left one of the key
/// that follows it, so a new neighbour changes what it stores.

class YFCurve;

namespace yfc {

struct ManipulatedNode;

/// Writes the keys that were placed for a run.
/// \param composed  receives one key for each placed one.
void ComposeKeys(const ManipulatedNode& manipulated, const KeyChange& change,
                 const std::vector<PlacedKey>& placed, KeyRun run, std::vector<YFCurveKey>& composed);

/// Gives mirrored keys between segments of different interpolation their slopes, which no rule of theirs
/// makes in mirrored order.
/// \param first  the index in the curve of the first placed key.
/// \return  whether there were any; TCB keys before them, placed or not, may have become user keys for it.
bool HoldMirroredSlopes(YFCurve& curve, int first, const ManipulatedNode& manipulated,
                        const KeyChange& change, const std::vector<PlacedKey>& placed);

/// Gives a key of a curve a left tangent that was read from another one: what the fixed point holds of its
/// weight and velocity arrives to the bit, and a tangent that the key has already is not set again.
void CarryLeftTangent(YFCurve& curve, int index, const YFCurveTangeantInfo& info);

}  // namespace yfc
