#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "ymotion/filtering/filter_pipeline.h"
#include "ymotion/text/style.h"

/// \file
/// What filters did to a scene, for people and for programs.

namespace ymotion {

/// A table of the steps, one of the errors by type, and what was refused or changed nothing.
std::string FilterReport(const Scene& scene, const FilterOutcome& outcome, const Style& style);

/// The same as an object; the members are listed in `yfcurve filter --help`. An error that is no number is
/// null.
nlohmann::ordered_json FilterJson(const Scene& scene, const FilterOutcome& outcome);

/// The same as a page that needs no other file, with plots of the properties that changed most: grey is what
/// was, the colours are what is.
/// \param commandLine  how to do it again.
std::string FilterPage(const Scene& scene, const FilterOutcome& outcome, const std::string& commandLine);

/// A picture (SVG) of the property that changed most, as on that page; empty where nothing that moves
/// changed.
std::string FilterPicture(const Scene& scene, const FilterOutcome& outcome);

/// A number for JSON, which has neither infinity nor what is no number.
nlohmann::ordered_json NumberOrNull(double number);

/// "0.0123 degrees", with as many digits as tell something; "not a number" alone for what is not finite.
std::string ErrorText(double error, const std::string& unit);

/// "31 properties": so many of the places that a step goes through.
std::string PlacesText(std::size_t count, eFilterScope scope);

/// What a step has to tell: refusals with their messages, and that nothing was changed.
std::vector<std::string> StepNotes(const StepOutcome& step);

/// Puts columns under their headings: the first one to the left, the others to the right. Where the
/// style's columns do not suffice, the first one loses the beginnings of its words, and after it
/// the columns on the right are cut off.
std::string AlignedTable(const std::vector<std::vector<std::string>>& rows, const Style& style);

/// A line below a table: when and where the largest difference of a type of properties is.
std::string LargestLine(const std::string& type, YTime when, const std::string& path, const Style& style);

}  // namespace ymotion
