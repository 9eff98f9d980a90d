#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "yfcurve/yfcurveplot.h"
#include "ymotion/scene/scene.h"
#include "ymotion/text/style.h"

/// \file
/// Properties of a scene whose motion is plotted into a layer, or whose layers are merged.

namespace ymotion {

/// A property that was plotted or merged.
struct PlottedProperty
{
    const YFCurveNode* node = nullptr;
    bool resampled = true;  ///< false where keys were combined as they are
    std::int64_t keysBefore = 0;
    std::int64_t keysAfter = 0;
    double largest = 0;  ///< difference from what played before, or was to play
    YTime when;
};

/// The properties that the patterns mean (see `SelectCurves`), each whole, in the order of the tree.
std::vector<YFCurveNode*> PropertiesOf(const Scene& scene, const std::vector<std::string>& patterns);

/// Throws `Failure` for a property that could not be plotted or merged: why, and what can be done.
[[noreturn]] void FailPlot(const Scene& scene, const YFCurveNode& property, const YFCurvePlotReport& report,
                           const char* reason = nullptr);

std::int64_t SumOf(const std::vector<PlottedProperty>& properties, std::int64_t PlottedProperty::*keys);

/// A row for each data type: how many properties, how many of them resampled, keys, and the largest
/// difference.
std::string PlotTable(const std::vector<PlottedProperty>& properties, const Style& style);

/// The members path, how ("exact" or "plotted"), keysBefore, keysAfter, largestDifference, unit and time of
/// each property.
nlohmann::ordered_json PlotJson(const std::vector<PlottedProperty>& properties);

}  // namespace ymotion
