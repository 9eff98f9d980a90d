#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "ybaselib/yproperty.h"
#include "ymotion/text/style.h"

/// \file
/// Described properties, for people and for programs.

namespace ymotion {

/// What values a property may have: "0 .. 1", "> 0", "round|square"; empty where there is no bound.
std::string RangeText(const YPropertyDescription& description);

/// A line each, in columns: name, type, value, range, and meaning with the unit.
std::string PropertyTable(const std::vector<const YProperty*>& properties, const Style& style);

/// The members name, type, default, value, needed (whether it, or another one marked so, has to be set),
/// minimum, maximum, aboveMinimum (whether the minimum itself is out of range), names (of an enumeration),
/// unit and help. Values are texts as `YProperty::SetString` takes them, but for the defaults that go by the
/// frames of a scene, which are words; bounds are numbers; what does not apply is left out.
nlohmann::ordered_json PropertyJson(const YProperty& property);

}  // namespace ymotion
