#pragma once

#include <cstdint>
#include <vector>

#include "yfcurve/curve/extrapolation.h"

/// \file
/// The keys of one curve as players need them: all slopes worked out, one cubic of time from each to the
/// next.

namespace yfc {

struct PlayKey
{
    std::int64_t time;
    float value;
    float in;   ///< slope before the key, units per second
    float out;  ///< slope behind it; `kHolds` where the value stays until the next key
};

struct PlaySide
{
    std::uint32_t mode = YFCURVE_EXTRAPOLATION_CONST;
    std::uint32_t count = 0;

    friend auto operator<=>(const PlaySide&, const PlaySide&) = default;
};

struct PlayKeys
{
    std::vector<PlayKey> keys;  ///< none where the curve is constant, else two or more
    float constant = 0.0f;
    PlaySide before;
    PlaySide after;
    std::vector<std::int64_t> corners;  ///< the curve's own key times, where segments with weights are cut

    /// Whether no key has two different slopes.
    bool IsSmooth() const;
    bool Holds() const;
    bool IsFinite() const;
};

/// \param tolerance  how far cut segments may be off, as a part of the range of their points.
/// \param cuts       where to cut segments with weights instead, ascending.
/// \return  false for keys that are out of order. Throws when memory runs out.
bool MakePlayKeys(const YFCurve& curve, double tolerance, const std::vector<std::int64_t>* cuts,
                  PlayKeys& result);

}  // namespace yfc
