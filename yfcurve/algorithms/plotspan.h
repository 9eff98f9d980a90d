#pragma once

#include <vector>

#include "yfcurve/algorithms/plottarget.h"
#include "yfcurve/curve/rounding.h"
#include "yfcurve/yfcurveplot.h"

/// \file
/// The span that curves are made for, and that all stays what it is outside of it.

namespace yfc {

/// In the property's own time.
struct PlotSpan
{
    YTime start;
    YTime stop;
    bool openStart = false;  ///< nothing before the span is to be kept
    bool openStop = false;

    bool IsWhole() const { return openStart && openStop; }
};

/// Finds the ends of the span from those in the scene's time. Open ends are those of all keys, and of the weight
/// that the layer has for what it gets.
/// \param layer  the one that is to get curves, of the property or of a copy
eYFCurvePlotStatus ResolveSpan(PlotSpan& span, YFCurveNode& property, const YFCurveNode& layer, YTime start,
                               YTime stop);

// --- Outside -------------------------------------------------------------------------------------------

/// The layer that is to get curves; a missing one is made so that it does not go on outside its keys. Null
/// when the node can have none of that id, or memory has run out.
YFCurveNode* LayerForCurves(YFCurveNode& property, const YFCurveLayerInfo& info);

/// Whether curves of a layer repeat their keys outside the span, which would repeat those in it.
bool RepeatsIntoOutside(const YFCurveNode& layer, const PlotSpan& span);

/// Whether curves can be put on a layer over the span while the property stays what it is outside: the
/// layer's curves do not repeat; and a layer that has to be made leaves no trace there. One that overrides
/// does, and so does one with which the weight of a base layer counts that was alone before.
/// \param report  gets the difference when the status is `ShowsOutside`.
eYFCurvePlotStatus CheckOutside(YFCurveNode& property, const YFCurveLayerInfo& info, const PlotSpan& span,
                                YFCurvePlotReport& report);

/// How far two stacks are apart.
struct TargetDifference
{
    double largest = 0.0;
    YTime time{YTIME_ZERO};
    double magnitude = 0.0;  ///< of the values

    /// Beside what single precision makes of the values.
    bool IsWithin(double tolerance) const { return largest <= tolerance + kValueRounding * magnitude; }
};

/// Compares at the ends of the span, and at the ends of all segments in it and within them.
TargetDifference CompareTargets(PlotTarget& former, PlotTarget& stack, YTime start, YTime stop);

// --- Times ---------------------------------------------------------------------------------------------

/// The times of all keys of a property, on any layer, and of the weights that it moves with
/// (`YFCurveNode::GetWeightCurve`), that lie in a span; in order, each once. Without those of layers with a
/// time warp that does not run forward, and of layers behind them.
std::vector<YTime> KeyTimesOf(YFCurveNode& node, YTime start, YTime stop);

/// Whether times on a layer are not those of the property.
bool HasTimeOfItsOwn(const YFCurveNode& property, const YFCurveNode& layer);

/// A node's time warp where it runs forward throughout a span of the time outside of it: for a property the
/// scene's, for a layer further on that of the layer before.
class ForwardTime
{
  public:
    /// False when it does not.
    bool Read(YFCurveNode& node, YTime start, YTime stop, YTime step);
    /// The last time outside at which the node's is not later; within the span.
    YTime ToOutside(YTime local) const;

  private:
    YFCurveNode* mNode = nullptr;
    std::vector<YTime> mOutside;  // both empty without a time warp
    std::vector<YTime> mLocal;
};

}  // namespace yfc
