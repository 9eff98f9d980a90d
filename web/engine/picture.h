#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "web/engine/columns.h"

/// \file
/// A picture of curves that are too dense for lines: painted column by column, which takes no longer for more keys.

namespace editor {

/// A curve in a picture of a window, later ones over earlier ones.
struct PaintedCurve
{
    std::span<const Extremes> columns;
    std::uint32_t color;  ///< red, green and blue from the lowest byte on
};

/// Pixels from left to right and from the top down: red, green, blue and opacity from the lowest byte on.
struct Picture
{
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint32_t> pixels;
};

/// Where values are in a picture.
struct ValueScale
{
    double high;           ///< at the upper border
    double pixelsPerUnit;  ///< downwards

    float Y(double value) const;
};

/// Lines one pixel wide. `columnOfPixel` has the column that each pixel from left to right shows. What was in the
/// picture goes; its memory is used again.
void PaintCurves(std::span<const PaintedCurve> curves, std::span<const std::uint32_t> columnOfPixel,
                 std::uint32_t height, const ValueScale& scale, Picture& picture);

}  // namespace editor
