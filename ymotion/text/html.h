#pragma once

#include <string>
#include <string_view>

/// \file
/// What pages have in common.

namespace ymotion {

/// The style sheet of reports: tables, light and dark, for wide and narrow screens.
extern const std::string_view kPageStyle;

/// Text fit for elements and for attributes between double quotes; see `Printable` for what else is replaced.
std::string HtmlEscaped(std::string_view text);

}  // namespace ymotion
