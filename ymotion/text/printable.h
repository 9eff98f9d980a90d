#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// \file
/// Text out of files made fit for terminals, plots and other programs.

namespace ymotion {

/// The text as valid UTF-8 without control characters, each offending byte or character replaced by
/// U+FFFD: what a file says must neither break an XML document nor steer a terminal. Invisible characters
/// that end lines or turn the direction of writing count as such.
std::string Printable(std::string_view text);

/// The same for one character, without memory of its own: takes it from the front of the text, which must not
/// be empty, and returns what stands for it.
std::string_view TakePrintable(std::string_view& text);

/// The same between single quotes and cut short, for use inside a message.
std::string Quoted(std::string_view text);

/// The same for names, paths and files, of which the end is kept, as it tells more.
std::string QuotedName(std::string_view text, std::size_t columns = 60);

/// How many columns valid UTF-8 takes on a terminal: East Asian wide characters count two, combining
/// marks none.
std::size_t DisplayWidth(std::string_view text);

/// Cut down to at most `columns`, the last one a mark of what is missing.
/// \param mark  takes one column.
std::string ClippedTo(std::string_view text, std::size_t columns, std::string_view mark = "…");

/// Shortens with the mark in front, for names and paths, whose ends tell more.
std::string EndOf(std::string_view text, std::size_t columns, std::string_view mark = "…");

/// The text in lines of at most `columns`, broken at blanks, and inside words that are wider.
/// \param indent  blanks in front of every line but the first, which the caller has begun.
/// \param used    columns of the first line that the caller has filled.
/// \param join    stands at the end of every line but the last: " \\" for a shell. Blanks between quotation
///                marks are left whole then.
std::string Wrapped(std::string_view text, std::size_t columns, std::size_t indent = 0, std::size_t used = 0,
                    std::string_view join = "");

}  // namespace ymotion
