#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ybaselib/yclassdefinition.h"
#include "yfcurve/yfcurvefilter.h"
#include "ymotion/scene/frame_rate.h"

/// \file
/// The filters that the library has, by name.

namespace ymotion {

/// The classes of which there are filters for people, in the order of their registration.
std::vector<const YClassDefinition*> FilterClasses();

/// A new filter. Throws `std::bad_alloc` where there is no memory for it.
std::unique_ptr<YFCurveFilter> MakeFilter(const YClassDefinition& definition);

/// A filter's name on the command line, made of that of its class: "key-reducer" for
/// "YFCurveFilterKeyReducer".
std::string ShortName(const YClassDefinition& definition);

/// A filter by short name, class name or name for people, whatever the case of letters, the signs between
/// words and the word "filter". Throws `Failure` for an unknown one, and names what comes near.
const YClassDefinition& FindFilter(const std::string& name);

/// The parameters of a filter, in the order of their declaration.
std::vector<const YProperty*> ParametersOf(YFCurveFilter& filter);

/// Those of which one has to be set, as the filter does nothing with its defaults; none for most filters.
std::vector<const YProperty*> NeededParametersOf(YFCurveFilter& filter);

/// "Min or Max".
std::string NamesText(const std::vector<const YProperty*>& parameters);

/// Their names and values.
std::vector<std::pair<std::string, std::string>> ParameterValues(YFCurveFilter& filter);

/// Sets a parameter from "NAME=VALUE". Throws `Failure` that says what the parameter takes.
/// \param rate  that times in frames and time codes go by (see time_text.h); without one these are checked as
///              far as they can be, and not set
void SetFilterParameter(YFCurveFilter& filter, const std::string& assignment,
                        std::optional<FrameRate> rate = std::nullopt);

}  // namespace ymotion
