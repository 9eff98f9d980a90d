#pragma once

#include <cstddef>
#include <string_view>

/// \file
/// What the terminal behind an output can show.

namespace ymotion {

/// Of a line where nothing is known of the window.
inline constexpr std::size_t kUsualColumns = 80;

/// What is left of a line for a name beside other words; a little even where these take all.
constexpr std::size_t RoomBeside(std::size_t used, std::size_t columns)
{
    constexpr std::size_t kLeast = 6;
    return columns > used + kLeast ? columns - used : kLeast;
}

/// How text looks on an output: how wide its lines are, and escape sequences, all empty where it is no
/// terminal, where the environment says `NO_COLOR` (any value but the empty one), or where `TERM` is "dumb".
class Style
{
  public:
    /// \param descriptor  the file descriptor that is written to.
    explicit Style(int descriptor);
    /// Without colours, 80 columns wide.
    Style() = default;

    std::size_t Columns() const { return mColumns; }

    std::string_view Plain() const { return Pick("\x1b[0m"); }
    std::string_view Bold() const { return Pick("\x1b[1m"); }
    std::string_view Faint() const { return Pick("\x1b[2m"); }
    std::string_view Error() const { return Pick("\x1b[1;31m"); }
    /// Red, green and blue for X, Y and Z; plain for other axes.
    std::string_view Axis(std::size_t axis) const;

  private:
    std::string_view Pick(std::string_view sequence) const { return mEnabled ? sequence : ""; }

    bool mEnabled = false;
    std::size_t mColumns = kUsualColumns;
};

/// Whether box-drawing characters and the like arrive: always in files and pipes, on a terminal as its
/// locale says.
bool ShowsUnicode(int descriptor);

/// The columns that a line has: those of the terminal or, where the output is none, of the environment's
/// `COLUMNS`; 80 where neither is known.
std::size_t LineColumns(int descriptor);

}  // namespace ymotion
