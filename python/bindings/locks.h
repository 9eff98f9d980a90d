#pragma once

#include "python/bindings/owner.h"

/// \file
/// What is locked, by itself or by its layer, is read from Python but not edited. The library's own operations on
/// curves do not look at locks, so that whatever edits asks here first.
///
/// All within a `Use` of the owner. They raise `yfcurve.Refused`, which names what is locked and what unlocks it.

namespace yfpy {

/// Whether a node of the tree or of a layer takes no edits.
bool IsLocked(const Owner& owner, const YFCurveNode& node);

void CheckUnlocked(const Owner& owner, const YFCurve& curve);
/// The node alone, for what comes to be below it.
void CheckNodeUnlocked(const Owner& owner, const YFCurveNode& node);
/// The node and all below it.
void CheckTreeUnlocked(const Owner& owner, YFCurveNode& node);
/// The same with what these have on layers above.
void CheckLayersUnlocked(const Owner& owner, YFCurveNode& node);
/// What the node and all below have on one layer, or could have there.
void CheckLayerUnlocked(const Owner& owner, YFCurveNode& node, const YFCurveLayerInfo& layer);

}  // namespace yfpy
