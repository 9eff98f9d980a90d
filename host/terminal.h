#pragma once

#include <cstddef>
#include <string_view>

/// \file
/// What the terminal behind an output can show.

namespace host {

/// Escape sequences for an output, all empty where it is no terminal, where the environment says
/// `NO_COLOR` (any value but the empty one), or where `TERM` is "dumb".
class Style
{
  public:
    /// \param descriptor  the file descriptor that is written to.
    explicit Style(int descriptor);
    /// Without colours.
    Style() = default;

    std::string_view Plain() const { return Pick("\x1b[0m"); }
    std::string_view Bold() const { return Pick("\x1b[1m"); }
    std::string_view Faint() const { return Pick("\x1b[2m"); }
    std::string_view Error() const { return Pick("\x1b[1;31m"); }
    /// Red, green and blue for X, Y and Z; plain for other axes.
    std::string_view Axis(std::size_t axis) const;

  private:
    std::string_view Pick(std::string_view sequence) const { return mEnabled ? sequence : ""; }

    bool mEnabled = false;
};

/// Whether box-drawing characters and the like arrive: always in files and pipes, on a terminal as its
/// locale says.
bool ShowsUnicode(int descriptor);

/// The columns of the terminal; 0 where the output is none.
std::size_t TerminalColumns(int descriptor);

}  // namespace host
