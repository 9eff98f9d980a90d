#pragma once

#include <vector>

#include "yfcurve/algorithms/plotsamples.h"
#include "yfcurve/algorithms/plotspan.h"
#include "yfcurve/yfcurveptr.h"

/// \file
/// Motion into the curves of one layer, tried out on a copy of the property.

namespace yfc {

/// Curves for the components of a property over a span.
struct PlottedCurves : PlotSpan
{
    std::vector<YFCurvePtr> curves;
};

/// Makes curves over the span of `plotted` with which the layer's stack evaluates to the motion. The layer's
/// curves are used for trying. Throws `std::bad_alloc`.
/// \param property  whose keys and type tell where the motion may break and what counts as flat.
eYFCurvePlotStatus PlotCurves(PlottedCurves& plotted, PlotTarget& stack, YFCurveNode& property,
                              const PlotMotion& motion, const YSmartPlotOptions& options,
                              YFCurvePlotReport& report);

/// Puts the curves on a layer of a property, as one change of each of its curves. At an open end they bring
/// their extrapolation with them.
void PutCurves(YFCurveNode& property, YFCurveNode& layer, const PlottedCurves& plotted);

/// Whether options make sense.
bool AreValid(const YSmartPlotOptions& options);

/// Whether a layer, or one of its curves, is locked.
bool IsLocked(const YFCurveNode& layer);

/// Does something with each property of a tree and collects what came of it: the first status that is not
/// `Done`, all keys and the largest difference.
bool ForEachProperty(YFCurveNode* node, YFCurvePlotReport* report,
                     const std::function<void(YFCurveNode&, YFCurvePlotReport&)>& operation);

}  // namespace yfc
