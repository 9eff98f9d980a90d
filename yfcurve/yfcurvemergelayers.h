#pragma once

#include "ybaselib/yarraytemplate.h"
#include "yfcurve/yfcurveplot.h"

/// \file
/// Merging: several layers of a property become one.

/// How layers are merged.
struct YFCURVE_EXPORT YMergeLayerOptions
{
    /// The layers to be merged, by id. Those that are muted, or that a property has no node on, are passed
    /// over and stay as they are. Empty, as it is at first, means all layers.
    YArrayTemplate<int> layerIds;

    /// The layer that holds the result: one of those above, or another, which is made where it is missing.
    /// Without one (`useTarget` false, as it is at first) it is the lowest layer that is merged.
    YFCurveLayerInfo target;
    bool useTarget = false;

    /// The span, in scene time; minus infinity and infinity at first. With an open end on both sides the
    /// merged layers are emptied altogether. Over a span they become neutral in it and stay outside; layers
    /// that override cannot, unless they are the target, and give `NotLinear` or `Unreachable`; nor can
    /// layers with time warps of their own, or behind them: `TimeWarp`. Merged curves
    /// that repeat their keys outside of them would repeat the span as well: `Extrapolation`. A target that
    /// is made for a span has to add nothing outside: one that overrides gives `ShowsOutside`, and so does
    /// the first layer above a base layer whose weight is not 1.
    YTime start{YTIME_MINUS_INFINITE};
    YTime stop{YTIME_INFINITE};

    /// Take emptied layers out of the property and destroy them; otherwise they stay, without keys and with
    /// neutral values, if that leaves no trace of them, and are taken out all the same if it would (layers
    /// that override). The base layer always stays, and so does a layer whose time warp is that of layers
    /// behind it; one that overrides is refused then (`TimeWarp`). True at first.
    bool removeMerged = true;

    /// How motion is resampled where it has to be, always smart. Unlike those of a plot, jumps are kept at
    /// their tick at first.
    YSmartPlotOptions plot;

    YMergeLayerOptions() { plot.preciseDiscontinuities = true; }
};

/// Merges layers of a property, or of all properties below a node, such that all its layers together
/// evaluate as before. Layers that are not merged keep their place and what they hold.
///
/// Where blending is linear with constant weights, keys and tangents are combined as they are
/// (`YFCURVE_ConstantCurveMerge`); anything else is plotted smart, within the tolerance of the options. Over
/// an open end the result is held, or continued where every curve continues in one way.
///
/// Weights are taken to be constant that are the same at all keys and at every period in between, or at a
/// million times where there are more. A property without any keys is merged as it is at time 0; where
/// a weight moves without a curve (`YFCurveNode::GetWeightCurve`), give a span.
/// \param report  as for `YFCurve_PlotInLayers`
/// \return  whether the status is `Done`. Of several properties, those that could be merged are.
YFCURVE_EXPORT bool YFCURVE_MergeLayers(YFCurveNode* node,
                                        const YMergeLayerOptions& options = YMergeLayerOptions(),
                                        YFCurvePlotReport* report = nullptr);

/// As `YFCURVE_MergeLayers` where no resampling is needed, and refused (`NotLinear`) where it is.
///
/// That is so for values that add up (layer types 0, 1 and 5, not interpolated as quaternions) under weights
/// that do not change: the result has a key wherever one of the merged curves has one, with the combined
/// value and slopes; curves that do not move are added to the keys of the one that does, whatever their kind.
/// (Auto tangents with parameters beyond 500, which do not follow the values, become user ones under a
/// weight.) Segments with tangent weights are combined as long as all but one of them are straight at the
/// time, or their weights agree. And it is so for any kind of value, rotations and scalings too, where
/// nothing moves at all: the result is one value.
YFCURVE_EXPORT bool YFCURVE_ConstantCurveMerge(YFCurveNode* node,
                                               const YMergeLayerOptions& options = YMergeLayerOptions(),
                                               YFCurvePlotReport* report = nullptr);
