#pragma once

#include <vector>

#include "yfcurve/algorithms/plotsamples.h"
#include "yfcurve/yfcurveptr.h"

/// \file
/// Motion into the curves of one layer, tried out on a copy of the property.

namespace yfc {

/// Curves for the components of a property, and the span that they are for.
struct PlottedCurves
{
    std::vector<YFCurvePtr> curves;
    YTime start;
    YTime stop;
    bool openStart = false;  ///< nothing before the span is to be kept
    bool openStop = false;

    bool IsWhole() const { return openStart && openStop; }
};

/// Makes curves over the span of `plotted` with which the layer's stack evaluates to the motion. The layer's
/// curves are used for trying. Throws `std::bad_alloc`.
/// \param property  whose keys and type tell where the motion may break and what counts as flat.
eYFCurvePlotStatus PlotCurves(PlottedCurves& plotted, PlotStack& stack, YFCurveNode& property,
                              const PlotMotion& motion, const YSmartPlotOptions& options,
                              YFCurvePlotReport& report);

/// Puts the curves on a layer, as one change of each of its curves.
void PutCurves(YFCurveNode& layer, const PlottedCurves& plotted);

/// Whether options make sense.
bool AreValid(const YSmartPlotOptions& options);

/// Whether a layer, or one of its curves, is locked.
bool IsLocked(const YFCurveNode& layer);

/// Finds the ends of the span in the property's own time.
eYFCurvePlotStatus ResolveSpan(PlottedCurves& plotted, YFCurveNode& property, YTime start, YTime stop);

/// Whether times on a layer are not those of the property.
bool HasTimeOfItsOwn(const YFCurveNode& property, const YFCurveNode& layer);

/// The property's time warp where it runs forward throughout a span of the scene's time.
class ForwardTime
{
  public:
    /// False when it does not.
    bool Read(YFCurveNode& property, YTime start, YTime stop, YTime step);
    YTime ToScene(YTime local) const;

  private:
    YFCurveNode* mProperty = nullptr;
    std::vector<YTime> mScene;
    std::vector<YTime> mLocal;
};

/// Does something with each property of a tree and collects what came of it: the first status that is not
/// `Done`, all keys and the largest difference.
bool ForEachProperty(YFCurveNode* node, YFCurvePlotReport* report,
                     const std::function<void(YFCurveNode&, YFCurvePlotReport&)>& operation);

}  // namespace yfc
