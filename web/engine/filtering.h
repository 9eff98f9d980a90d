#pragma once

#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "web/engine/document.h"
#include "ymotion/filtering/filter_pipeline.h"

/// \file
/// Filters on a layer of the document, and their reports as JSON of the page.

namespace editor {

/// The filters that there are, with whyBaseAlone, which says why a filter works on no other layer and is empty
/// for most, and with parameters as `ymotion::PropertyJson` gives them.
nlohmann::ordered_json FiltersJson();

struct FilterRequest
{
    std::vector<std::string> steps;
    std::vector<std::string> nodes = {};  ///< patterns; none mean everything
    int layer = 0;
};

/// Filters the scene. Throws for a locked layer, and for filters that are refused wherever they apply, with
/// the scene half changed.
nlohmann::ordered_json FilterScene(Scene& scene, const FilterRequest& request);

/// The same as one step of undo.
nlohmann::ordered_json ApplyFilters(Document& document, const FilterRequest& request);

}  // namespace editor
