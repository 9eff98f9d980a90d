#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "web/engine/document.h"
#include "ymotion/filtering/layer_plot.h"

/// \file
/// Layers of the document. Each edit is a step.

namespace editor {

struct LayerSettings
{
    std::string name;
    bool muted = false;
    bool solo = false;
    bool locked = false;
    eLayerMode mode = YFCURVE_LAYER_ADDITIVE;
    eWeightRotationAccumulationMode rotationMode = YFCURVE_LAYER_ROTATION_BY_LAYER;
    eAnimLayerScaleAccumulationMode scalingMode = YFCURVE_LAYER_SCALING_MULTIPLY;

    bool operator==(const LayerSettings&) const = default;
};

/// How layers are merged, or motion is written into one. Empty lists mean all.
struct PlotRequest
{
    std::vector<int> layers = {};  ///< for merging
    int target = -1;               ///< that gets the result; -1 for the lowest of those that are merged
    std::vector<std::string> nodes = {};
    double tolerance = 0.001;
    bool everyFrame = false;  ///< not for merging
};

/// \return  its id
int AddLayer(Document& document, const std::string& name, const std::vector<std::string>& nodes);
void AddToLayer(Document& document, int layer, const std::vector<std::string>& nodes);
void RemoveLayer(Document& document, int layer);
/// \param change  gets the settings of the layer, and changes what is to be changed
void SetLayer(Document& document, int layer, const std::function<void(LayerSettings&)>& change);
/// \param time  nothing for the default value
void SetLayerWeight(Document& document, int layer, double weight, std::optional<YTime> time);
std::vector<ymotion::PlottedProperty> MergeLayers(Document& document, const PlotRequest& request);
std::vector<ymotion::PlottedProperty> BakeIntoLayer(Document& document, const PlotRequest& request);
void SetFrameRate(Document& document, const std::string& text);

/// Throws where there is none of that id.
ymotion::Layer& LayerOf(Scene& scene, int id);
/// The same for one that is to be edited: throws for a locked one too.
ymotion::Layer& UnlockedLayer(Scene& scene, int id);

}  // namespace editor
