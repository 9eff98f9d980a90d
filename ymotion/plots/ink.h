#pragma once

#include <string>

#include "yfcurve/yfcurvecolormanager.h"

/// \file
/// Colours of curves as they are seen on the paper of a picture.

namespace ymotion {

/// A colour as the paper takes it. The contrasts are those of WCAG 2, against the background, #fafafa.
struct Ink
{
    std::string line;   ///< the colour itself
    std::string text;   ///< a shade of it with a contrast of 4.5 : 1, in which letters are read
    bool pale = false;  ///< whether a line in it would hardly be seen

    /// For thin things of less than a line's weight.
    const std::string& Thin() const { return pale ? text : line; }
};

Ink InkOf(const YFCurveColor& colour);

}  // namespace ymotion
