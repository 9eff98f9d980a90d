// Plotting: a property's motion becomes keys on one of its layers.
//
// Everything is tried on copies of the property and its layers, and curves are exchanged only once these
// evaluate as they should, so that a refusal has touched nothing. `plotsamples.cpp` samples the motion,
// closes in on jumps to the tick, and solves the layer's values for each total; `plotfit.cpp` picks the fewest
// keys that serve; `plotcurves.cpp` evaluates the copy with the new curves, and goes back for more keys where
// it is off; `plotspan.cpp` sees to it that nothing changes outside the span.

#include "yfcurve/algorithms/plotcurves.h"
#include "yfcurve/curve/guarded.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveplot.h"
#include "yfcurve/yfcurvesettings.h"

using yfc::PlotTarget;
using yfc::PlottedCurves;
using yfc::PropertyCopy;

YSmartPlotOptions::YSmartPlotOptions()
    : period(YFCURVE_GetPlotPeriod()),
      onFrame(YFCURVE_GetPlotOnFrame()),
      preciseDiscontinuities(YFCURVE_GetPreciseTimeDiscontinuities()),
      reduceConstant(YFCURVE_GetUseConstantKeyReducer()),
      translationThreshold(YFCURVE_GetUseConstantKeyReducerTranslationThreshold()),
      rotationThreshold(YFCURVE_GetUseConstantKeyReducerRotationThreshold()),
      scalingThreshold(YFCURVE_GetUseConstantKeyReducerScalingThreshold()),
      defaultThreshold(YFCURVE_GetUseConstantKeyReducerDefaultThreshold())
{}

namespace {

struct Request
{
    YFCurveLayerInfo layerInfo;
    YTime start;
    YTime stop;
    const YSmartPlotOptions& options;
    YFCurvePlotSource source;
    void* object;
};

// Open ends of what a host is asked for are those of the time warp.
bool ReadTime(yfc::ForwardTime& forward, YFCurveNode& property, const Request& request)
{
    const YFCurveNode* warp = property.TimeWarpGet();
    if (warp == nullptr) return true;
    const YTime start = request.start == YTIME_MINUS_INFINITE ? warp->GetFirstKeyTime() : request.start;
    const YTime stop = request.stop == YTIME_INFINITE ? warp->GetLastKeyTime() : request.stop;
    return start < stop && !start.IsInfinite() && !stop.IsInfinite() &&
           forward.Read(property, start, stop, request.options.period);
}

eYFCurvePlotStatus PlotProperty(YFCurveNode& property, const Request& request, YFCurvePlotReport& report)
{
    if (!yfc::AreValid(request.options)) return eYFCurvePlotStatus::BadOptions;
    if (property.GetLayerID() != 0) return eYFCurvePlotStatus::BadNode;
    const YFCurveLayerInfo info = property.GetCorrectLayerInfo(request.layerInfo);
    if (info.IsLocked() || property.IsLockedByProperty()) return eYFCurvePlotStatus::Locked;
    YFCurveNode* const existing = property.LayerGet(info.GetLayerID());
    if (existing != nullptr && yfc::IsLocked(*existing)) return eYFCurvePlotStatus::Locked;

    const PropertyCopy copy(property);
    YFCurveNode* const layer = yfc::LayerForCurves(copy.Get(), info);
    if (layer == nullptr) return eYFCurvePlotStatus::NoLayer;
    if (yfc::HasTimeOfItsOwn(copy.Get(), *layer)) return eYFCurvePlotStatus::TimeWarp;
    PlottedCurves plotted;
    const eYFCurvePlotStatus span = yfc::ResolveSpan(plotted, property, *layer, request.start, request.stop);
    if (span != eYFCurvePlotStatus::Done) return span;
    if (!request.options.keepOutside) plotted.openStart = plotted.openStop = true;
    const eYFCurvePlotStatus outside = yfc::CheckOutside(property, info, plotted, report);
    if (outside != eYFCurvePlotStatus::Done) return outside;
    yfc::ForwardTime forward;
    if (request.source != nullptr && !ReadTime(forward, property, request)) {
        return eYFCurvePlotStatus::TimeWarp;
    }

    int hint = 0;
    const auto motion = [&](double* total, YTime time) {
        yfc::EvaluateLayers(property, total, time, {&hint, false});
        if (request.source == nullptr) return true;
        const yfc::HostCall hostCall;
        return request.source(&property, forward.ToOutside(time), total, request.object);
    };
    PlotTarget stack(copy.Get(), *layer, request.source != nullptr);
    const eYFCurvePlotStatus status =
        yfc::PlotCurves(plotted, stack, property, motion, request.options, report);
    if (status != eYFCurvePlotStatus::Done) return status;
    YFCurveNode* const target = yfc::LayerForCurves(property, info);
    if (target == nullptr) return eYFCurvePlotStatus::Memory;
    yfc::PutCurves(property, *target, plotted);
    return eYFCurvePlotStatus::Done;
}

}  // namespace

bool YFCurve_PlotInLayers(YFCurveNode* node, const YFCurveLayerInfo& layerInfo, YTime start, YTime stop,
                          const YSmartPlotOptions& options, YFCurvePlotSource source, void* object,
                          YFCurvePlotReport* report)
{
    const Request request{layerInfo, start, stop, options, source, object};
    return yfc::ForEachProperty(node, report, [&](YFCurveNode& property, YFCurvePlotReport& one) {
        one.status = PlotProperty(property, request, one);
    });
}
