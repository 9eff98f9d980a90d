#pragma once

#include <string>
#include <vector>

#include "ymotion/plots/plot_colours.h"
#include "ymotion/plots/svg_plot.h"
#include "ymotion/scene/scene.h"

/// \file
/// What of a scene goes into a picture.

namespace ymotion {

/// Throws `Failure` for a scene without any motion, whatever the span.
void CheckCanBeDrawn(const Scene& scene);

/// The span to show for one that may have no length, as that of a single frame: it gets a frame's length on
/// both sides then.
TimeSpan SpanToPlot(const TimeSpan& span, FrameRate rate);

/// A plot with a panel for each property that the patterns (see `SelectCurves`) mean. Without a pattern:
/// the translation of the first root and the rotations with the largest motion, which the title says.
/// Where there is neither, the first properties. What has no keys on any layer is left out. Drawn is what
/// plays: the curve alone, or samples of all layers together.
/// \param span     what the time axis shows; stop after start.
/// \param layers   a panel for each component of the properties with layers instead, which shows the keys of
///                 every layer and what becomes of them together.
/// \param colours  of the curves; layers have their own.
/// Throws `Failure` where nothing is left to draw.
Plot MakePlot(const Scene& scene, const std::vector<std::string>& patterns, const TimeSpan& span,
              bool layers = false, const PlotColours& colours = {});

}  // namespace ymotion
