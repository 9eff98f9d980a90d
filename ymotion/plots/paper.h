#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ybaselib/ytime.h"

/// \file
/// Numbers and texts as they lie on the paper of a picture.

namespace ymotion {

/// A coordinate: a hundredth of a pixel is finer than any screen. Far outside the paper it ends somewhere
/// beyond the edge, since renderers compute in single precision; slopes too steep for numbers end there too.
std::string Pixel(double value);

/// A time as axes count it.
inline double Seconds(YTime time)
{
    return time.GetSecondDouble();
}

/// About as wide as a text becomes, rather too wide than too narrow: fonts differ.
double TextWidth(std::string_view text, double size);

/// The text, without its beginning or its end where it would be wider.
std::string Fitted(const std::string& text, double size, double room, bool keepsEnd);

/// Two lines at most, of which the second is cut where it would be wider.
std::vector<std::string> TwoLines(const std::string& text, double size, double room);

}  // namespace ymotion
