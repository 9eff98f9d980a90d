#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// \file
/// Text out of files made fit for terminals, plots and other programs.

namespace host {

/// The text as valid UTF-8 without control characters, each offending byte or character replaced by
/// U+FFFD: what a file says must neither break an XML document nor steer a terminal.
std::string Printable(std::string_view text);

/// Likewise, between single quotes and cut short, for use inside a message.
std::string Quoted(std::string_view text);

/// How many columns valid UTF-8 takes on a terminal: East Asian wide characters count two, combining
/// marks none.
std::size_t DisplayWidth(std::string_view text);

/// Cut down to at most `columns`, the last one a mark of what is missing.
/// \param mark  takes one column.
std::string ClippedTo(std::string_view text, std::size_t columns, std::string_view mark = "…");

}  // namespace host
