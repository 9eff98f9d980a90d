#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "yfcurve/yfcurvefilter.h"
#include "ymotion/scene/scene.h"

/// \file
/// Where in a scene a filter is applied: to which curves, properties or joints of what was chosen.

namespace ymotion {

/// The curves of one property that are chosen, in order.
struct ChosenProperty
{
    YFCurveNode* node = nullptr;  ///< on the layer that is filtered
    std::string path;             ///< on any layer that of the base layer's node
    std::vector<YFCurve*> curves;
    std::vector<std::string> paths;  ///< of the curves
    bool whole = false;
};

/// The properties of which the patterns mean curves (see `SelectCurves`), in the order of the tree: those of
/// them that the layer has. Throws where another layer than the base has none.
std::vector<ChosenProperty> Choose(const Scene& scene, const std::vector<std::string>& patterns,
                                   const Layer& layer);

/// Why a filter works on the base layer alone, as a sentence without its subject: "works on whole joints, ...".
/// Empty for a filter that works on every layer.
std::string WhyBaseLayerAlone(const YFCurveFilter& filter);

/// Something that a filter is applied to in one go.
struct Place
{
    std::string path;
    YFCurveNode* node = nullptr;   ///< that is filtered; null where it is the curves
    std::vector<YFCurve*> curves;  ///< all that belong to it
    std::vector<YFCurveNode*> properties;
    bool recursive = false;
    bool whole = true;
    std::size_t count = 1;  ///< of curves, properties or joints, as the filter's scope says
    std::size_t along = 0;  ///< chosen joints below this one that move along with it
};

/// Where a filter of some scope is applied. It depends on the forms that rotations have by then.
std::vector<Place> PlacesOf(const std::vector<ChosenProperty>& chosen, eFilterScope scope);

/// How many parts of the scene a step goes through.
std::size_t PartCount(const std::vector<ChosenProperty>& chosen, eFilterScope scope);

}  // namespace ymotion
