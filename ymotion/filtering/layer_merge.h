#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "yfcurve/yfcurvemergelayers.h"
#include "ymotion/filtering/layer_plot.h"

/// \file
/// Several layers of a scene become one.

namespace ymotion {

/// Which layers are merged, and how.
struct LayerMerge
{
    std::vector<Layer*> layers;  ///< in ascending order, none twice
    Layer* target = nullptr;     ///< holds the result; one of them, or another one
    bool exact = false;          ///< refuses what takes resampling
    /// Span, plot and what becomes of the layers; ids and target are set from those above.
    YMergeLayerOptions options;
    std::size_t jobs = 1;  ///< threads to work on; the outcome is the same
};

/// Throws `Failure` for locked layers, for a target that does not play, and where there is nothing to merge.
void CheckMerge(const Scene& scene, const LayerMerge& merge);

/// Merges the layers of those properties that are on one of them other than the target, and tells what came
/// of it. Throws `Failure` for the first property that cannot be merged; those before it are merged then.
/// \param done  is called after each of the properties
std::vector<PlottedProperty> MergeProperties(const Scene& scene, const LayerMerge& merge,
                                             const std::vector<YFCurveNode*>& properties,
                                             const std::function<void()>& done = {});

/// What became of merged layers other than the target, by name.
struct LayersLeft
{
    std::vector<std::string> gone;               ///< from the scene
    std::vector<std::string> used;               ///< by nodes still
    std::vector<std::unique_ptr<Layer>> layers;  ///< those that are gone
};

/// Takes merged layers that no node is on any more out of the scene.
LayersLeft RemoveUnusedLayers(Scene& scene, const LayerMerge& merge);

}  // namespace ymotion
