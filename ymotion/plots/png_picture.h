#pragma once

#include <string>
#include <string_view>

/// \file
/// SVG pictures as PNG.

namespace ymotion {

/// Draws an SVG document at twice its size, as sharp screens show it; smaller where the picture would grow
/// beyond 64 million pixels or 32,000 pixels in a row.
/// \return  the content of a PNG file.
/// Throws `Failure` where it cannot be drawn.
std::string PngOf(std::string_view svg);

}  // namespace ymotion
