#pragma once

#include <cstddef>
#include <string_view>

/// \file
/// How tables and reports look: how wide their lines are, and whether they have colours.

namespace ymotion {

/// How many columns a line has where the width of the window is not known.
inline constexpr std::size_t kUsualColumns = 80;

/// How many columns of a line are left for a name beside other words; a few even where these take all.
constexpr std::size_t RoomBeside(std::size_t used, std::size_t columns)
{
    constexpr std::size_t kLeast = 6;
    return columns > used + kLeast ? columns - used : kLeast;
}

/// The width of lines, and the escape sequences by which terminals change colours, all of them empty for text
/// without.
class Style
{
  public:
    /// Without colours, 80 columns wide.
    Style() = default;
    Style(bool hasColours, std::size_t columns) : mHasColours(hasColours), mColumns(columns) {}

    std::size_t Columns() const { return mColumns; }

    std::string_view Plain() const { return Pick("\x1b[0m"); }
    std::string_view Bold() const { return Pick("\x1b[1m"); }
    std::string_view Faint() const { return Pick("\x1b[2m"); }
    std::string_view Error() const { return Pick("\x1b[1;31m"); }
    /// Red, green and blue for X, Y and Z; plain for other axes.
    std::string_view Axis(std::size_t axis) const
    {
        constexpr std::string_view colours[] = {"\x1b[31m", "\x1b[32m", "\x1b[94m"};
        return axis < 3 ? Pick(colours[axis]) : std::string_view();
    }

  private:
    std::string_view Pick(std::string_view sequence) const { return mHasColours ? sequence : ""; }

    bool mHasColours = false;
    std::size_t mColumns = kUsualColumns;
};

}  // namespace ymotion
