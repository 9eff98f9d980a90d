#pragma once

#include "yfcurve/yfcurveexport.h"

/// \file
/// The time-warp nodes of the process by nick numbers: small integers that name them in scene files and user
/// interfaces.
///
/// Trees that share time warps belong to one thread together. The set, and which one it is, must not change
/// while other threads load or store trees.

class YFCurveNode;
class YSet;

/// Tells the library which set the host keeps: its references are nodes (`YFCurveNode*`), its values their
/// nick numbers. The library only looks things up in it. The set has to stay until another one, or none, is
/// told; before a node in it ends, the host takes it out. There is none at first.
/// \param set  null for none.
YFCURVE_EXPORT void YFCurve_SetTWSet(YSet* set);

/// The first node of the set with that number; null when there is none.
YFCURVE_EXPORT YFCurveNode* YFCurve_FindTWFromNickNumber(int nick);

/// Finds the number of a node.
/// \param nick  takes it; untouched when there is none.
/// \return  false when the node is null or not in the set.
YFCURVE_EXPORT bool YFCurve_FindNickNumberFromTW(int& nick, YFCurveNode* node);
