#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// \file
/// What a misspelt name may have been meant to be.

namespace ymotion {

/// How many characters have to be changed, added or removed to make one name of another (Levenshtein).
std::size_t EditDistance(std::string_view a, std::string_view b);

/// Up to three of the names that come near a missing one: those of which it is a part, or else those that
/// differ in a third of its letters at most (in two of a short one), the nearest first. The case of ASCII
/// letters does not count.
std::vector<std::string> NearestNames(std::string_view missing, const std::vector<std::string>& names);

/// "; did you mean clamp or time-clamp?", or `otherwise` where nothing comes near.
std::string DidYouMean(std::string_view missing, const std::vector<std::string>& names,
                       std::string_view otherwise);

/// "'addtive' is none of additive, override; did you mean additive?": for a word that is not in a list.
std::string NoneOf(std::string_view missing, const std::vector<std::string>& words);

}  // namespace ymotion
