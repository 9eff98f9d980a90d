#pragma once

#include <vector>

#include "yfcurve/yfcurve.h"

/// \file
/// Weighted sums of curves, keys and tangents taken together without resampling.

namespace yfc {

struct SumTerm
{
    const YFCurve* curve;
    double factor;
};

enum class ESum
{
    Exact,
    NeedsSamples,   ///< segments whose tangent weights do not go together
    Extrapolations  ///< the curves go on outside their keys in different ways
};

/// Makes a curve the sum over a span, whose ends are keys. Throws `std::bad_alloc`.
/// \param whole  sum all keys instead, wherever they are, and take extrapolation over. `start` is the time of
///               the one key of a sum that does not move.
ESum SumCurves(YFCurve& sum, const std::vector<SumTerm>& terms, YTime start, YTime stop, bool whole);

/// Whether a curve has one value at all times.
bool IsConstant(const YFCurve& curve);

}  // namespace yfc
