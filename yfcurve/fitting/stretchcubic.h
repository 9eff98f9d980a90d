#pragma once

#include <array>

#include "yfcurve/fitting/fitrun.h"

/// \file
/// Cubics of time as seen from a segment with weights.

namespace yfc {

/// The Bezier points of a cubic.
using CubicPoints = std::array<double, 4>;

/// Over the parameter of a segment with weights a cubic of time is a polynomial of the ninth degree. Over a
/// short stretch that is nearly a cubic.
struct StretchCubic
{
    /// \param from, to            parameters of the segment
    /// \param shareFrom, shareTo  shares of the segment's duration that the cubic of time lasts for
    StretchCubic(const TangentWeights& weights, double from, double to, double shareFrom, double shareTo,
                 const CubicPoints& ofTime);

    CubicPoints points;  ///< of the cubic with the same values and slopes at both ends
    double mostOff;      ///< how far from it the polynomial can be, at most
};

}  // namespace yfc
