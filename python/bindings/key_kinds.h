#pragma once

#include <bit>

#include "python/bindings/owner.h"
#include "yfcurve/yfcurvekey.h"

/// \file
/// How keys go on and how their tangents are given, as `yfcurve.Interpolation` and `yfcurve.Tangents` have it.
///
/// Keys store "shows the next key" of constant ones and "auto" of all others in the same bit. In Python these
/// are two words, so that a key which is made constant holds its value whatever its tangents were.

namespace yfpy {

/// `yfcurve.Tangents.NEXT`: counts on constant keys alone, where "auto" says nothing.
inline constexpr unsigned kShowsNext = 0x4000;

/// How tangents are given; a key has one of these at most.
inline constexpr unsigned kTangentKinds = YFCURVE_TANGENT_AUTO | YFCURVE_TANGENT_TCB | YFCURVE_TANGENT_USER;

inline bool IsInterpolation(unsigned bits)
{
    return bits == YFCURVE_INTERP_CONSTANT || bits == YFCURVE_INTERP_LINEAR || bits == YFCURVE_INTERP_CUBIC;
}

/// Raises `ValueError` for what there is not.
inline void CheckKinds(unsigned interpolation, unsigned tangents)
{
    if (!IsInterpolation(interpolation))
        throw py::value_error("unknown interpolation; take one of yfcurve.Interpolation");
    if ((tangents & ~(YFCURVE_TANGENT_ALL_WITH_OVERRIDES | kShowsNext)) != 0)
        throw py::value_error("unknown tangents; take those of yfcurve.Tangents");
    if (std::popcount(tangents & kTangentKinds) > 1)
        throw py::value_error("tangents are one of AUTO, TCB and USER; give the one that counts");
}

/// The tangents as keys store them.
inline unsigned StoredTangents(unsigned interpolation, unsigned tangents)
{
    if (interpolation != YFCURVE_INTERP_CONSTANT) return tangents & ~kShowsNext;
    const unsigned mode = (tangents & kShowsNext) != 0 ? YFCURVE_CONSTANT_NEXT : YFCURVE_CONSTANT_STANDARD;
    return (tangents & ~(kShowsNext | YFCURVE_CONSTANT_ALL)) | mode;
}

/// The other way round.
inline unsigned GivenTangents(unsigned interpolation, unsigned stored)
{
    const bool showsNext =
        interpolation == YFCURVE_INTERP_CONSTANT && (stored & YFCURVE_CONSTANT_ALL) == YFCURVE_CONSTANT_NEXT;
    return showsNext ? (stored & ~YFCURVE_CONSTANT_ALL) | kShowsNext : stored;
}

}  // namespace yfpy
