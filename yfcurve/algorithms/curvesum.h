#pragma once

#include <vector>

#include "yfcurve/algorithms/plotspan.h"
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

/// Makes a curve the sum over a span. The ends are keys, but those of a sum that is open on both sides are
/// where its curves' are, and extrapolation is taken over at open ends. One that does not move over an open
/// span has a single key, at the start. Throws `std::bad_alloc`.
ESum SumCurves(YFCurve& sum, const std::vector<SumTerm>& terms, PlotSpan span);

/// Whether a curve has one value at all times.
bool IsConstant(const YFCurve& curve);

}  // namespace yfc
