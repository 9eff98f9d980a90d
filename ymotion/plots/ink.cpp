#include "ymotion/plots/ink.h"

#include <cmath>

#include "ymotion/plots/plot_colours.h"

namespace ymotion {
namespace {

/// Light intensity of a part of an sRGB colour, and back.
double Linear(double part)
{
    return part <= 0.04045 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4);
}

double Encoded(double linear)
{
    return linear <= 0.0031308 ? 12.92 * linear : 1.055 * std::pow(linear, 1 / 2.4) - 0.055;
}

}  // namespace

Ink InkOf(const YFCurveColor& colour)
{
    constexpr double kBackground = 0.956 + 0.05;
    constexpr double kReadable = kBackground / 4.5 - 0.05;
    constexpr double kVisible = kBackground / 1.7 - 0.05;
    const double red = Linear(static_cast<double>(colour.red));
    const double green = Linear(static_cast<double>(colour.green));
    const double blue = Linear(static_cast<double>(colour.blue));
    const double luminance = 0.2126 * red + 0.7152 * green + 0.0722 * blue;
    const double factor = luminance > kReadable ? kReadable / luminance : 1.0;
    const auto shade = [factor](double part) { return static_cast<float>(Encoded(factor * part)); };
    return {ColourText(colour), ColourText({shade(red), shade(green), shade(blue)}), luminance > kVisible};
}

}  // namespace ymotion
