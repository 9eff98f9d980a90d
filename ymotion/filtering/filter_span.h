#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "yfcurve/yfcurvefilter.h"
#include "ymotion/filtering/filter_places.h"

/// \file
/// The times between which a filter works: its parameters Start and Stop.

namespace ymotion {

/// Whether a parameter is one of the two.
bool IsOfSpan(std::string_view parameter);

/// Throws `Failure` for a filter whose span ends before it starts.
void CheckSpan(YFCurveFilter& filter);

/// What is wrong with a span that was set and misses the keys: "the span from 5 s to 6 s lies behind the motion, which
/// ends at 2.133 s". Empty for others.
std::string MissedMotionText(YFCurveFilter& filter, const std::vector<ChosenProperty>& chosen);

}  // namespace ymotion
