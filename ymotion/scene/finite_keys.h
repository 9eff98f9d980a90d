#pragma once

#include <cfloat>
#include <cmath>

#include "yfcurve/yfcurve.h"

/// \file
/// What keys hold: finite numbers of single precision.

namespace ymotion {

/// Whether it is finite in single precision. What is no number is not.
inline bool IsSingle(double number)
{
    return std::abs(number) <= double{FLT_MAX};
}

/// Whether the values of a curve and the slopes that its keys were given are finite.
inline bool HasFiniteKeys(const YFCurve& curve)
{
    if (!std::isfinite(curve.GetValue())) return false;
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        if (!std::isfinite(curve.KeyGetValue(i))) return false;
        const bool hasSlopes = curve.KeyGetInterpolation(i) == YFCURVE_INTERP_CUBIC &&
                               (curve.KeyGetTangeantMode(i) & YFCURVE_TANGENT_USER) != 0;
        if (hasSlopes &&
            !(std::isfinite(curve.KeyGetLeftDerivative(i)) && std::isfinite(curve.KeyGetRightDerivative(i))))
            return false;
    }
    return true;
}

}  // namespace ymotion
