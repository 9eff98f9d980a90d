#pragma once

#include <vector>

#include "yfcurve/filters/fit/fitsource.h"

/// \file
/// Curves with fewer keys.

namespace yfc {

/// Gives a curve the fewest keys from one key to another that stay within the tolerance. Nothing outside
/// changes. One event. Throws `std::bad_alloc`, with the curve as it was.
/// \return  whether that saves any; else the curve stays as it is.
bool FitCurve(YFCurve& curve, int firstKey, int lastKey, const FitOptions& options);

/// The same for up to `kMostFitCurves` curves that get keys at the same times, over their keys in a span.
/// They are all fitted or none: curves with steps or jumps cannot be.
/// \param options  for each curve.
/// \param result  receives the fitted curves where this returns true.
bool FitTogether(const std::vector<const YFCurve*>& curves, YTime start, YTime stop,
                 const std::vector<const FitOptions*>& options, std::vector<YFCurve>& result);

/// Whether a curve has weights that a fit may have given it: then it is no recording, however even its keys.
bool HasFittedWeights(const YFCurve& curve, const FitOptions& options);

/// Whether a fit is to be made that saves `saved` of the `keys` which a curve has in the span.
bool IsWorthIt(const YFCurve& curve, int saved, int keys, const FitOptions& options);

/// Whether a fit stays within the tolerance of a curve from key to key, but for rounding.
bool KeepsTo(const YFCurve& curve, const YFCurve& fitted, int firstKey, int lastKey,
             const FitOptions& options);

}  // namespace yfc
