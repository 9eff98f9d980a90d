#pragma once

#include "ybaselib/ytime.h"
#include "yfcurve/yfcurveexport.h"

/// \file
/// The filter that the process's settings choose for rotations.

class YFCurveNode;

/// Cleans a rotation up with the filter that `YFCURVE_GetRotationFilterToApply` says: 1
/// `YFCurveFilterGimbleKiller`, 2 `YFCurveFilterUnrollDof` when there are limits and `YFCurveFilterUnroll`
/// without, any other number none. The result of the filter is not passed on.
/// \param node         a rotation node; any other, and null, stays as it is.
/// \param start, stop  the span, both included; minus infinity and infinity for all keys.
/// \param minEnable    whether the angles about X, Y and Z have a lower limit.
/// \param minFreedom   these limits in degrees.
/// \param maxEnable, maxFreedom  the upper limits. When any of the four is null there are no limits.
YFCURVE_EXPORT void YFCURVE_ApplyRotationFilter(YFCurveNode* node, YTime start, YTime stop, bool* minEnable,
                                                double* minFreedom, bool* maxEnable, double* maxFreedom);
