#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "ymotion/filtering/layer_plot.h"

/// \file
/// Motion of a scene, or of another one, written into a layer.

namespace ymotion {

/// What is plotted, and how.
struct LayerPlotting
{
    Layer* layer = nullptr;
    /// None: from the first key of each property to the last; of those that repeat their keys or run on beyond them,
    /// from the first key of the scenes.
    std::optional<TimeSpan> span;
    YSmartPlotOptions plot;
    std::size_t jobs = 1;  ///< threads to work on; the outcome is the same
};

struct PlottedIntoLayer
{
    std::vector<PlottedProperty> properties;
    std::size_t still = 0;      ///< properties that have no keys, passed over
    std::size_t unchanged = 0;  ///< that need no node on the layer
};

/// Gives a layer keys with which all layers together show what they show already, or what another scene shows
/// for the properties of the same paths. Throws `Failure` for a layer that is locked or does not play, where
/// there is nothing to plot, and for the first property that cannot be plotted; those before it are plotted
/// then.
/// \param other  null for the scene itself
/// \param done   is called after each of the properties
PlottedIntoLayer PlotIntoLayer(Scene& scene, const LayerPlotting& plotting, const Scene* other,
                               const std::vector<YFCurveNode*>& properties,
                               const std::function<void()>& done = {});

}  // namespace ymotion
