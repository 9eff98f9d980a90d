#pragma once

#include <memory>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "web/engine/document.h"
#include "ymotion/filtering/filter_pipeline.h"

/// \file
/// Filters on the base layer of the document, and their reports as JSON of the page.

namespace editor {

/// The filters that there are, with parameters: name, type, defaultValue, range, unit, help, isNeeded.
nlohmann::ordered_json FiltersJson();

/// Filters the scene. Throws for filters that are refused wherever they apply, with the scene half changed.
nlohmann::ordered_json FilterScene(Scene& scene, const std::vector<std::string>& steps,
                                   const std::vector<std::string>& nodes);

/// The same as one step of undo.
nlohmann::ordered_json ApplyFilters(Document& document, const std::vector<std::string>& steps,
                                    const std::vector<std::string>& nodes);

}  // namespace editor
