#pragma once

#include <climits>
#include <cstdint>

#include "yfcurve/curve/keykind.h"
#include "yfcurve/yfcurvekey.h"

/// \file
/// What kind of key a resampled or converted curve is asked to have.

namespace yfc {

/// An interpolation and a tangent mode with overrides, the same for all keys.
struct ResampledKey
{
    unsigned interpolation;
    unsigned tangentMode;

    KeyKind Kind() const { return KeyKind(interpolation | tangentMode); }
    bool IsCubic() const { return Kind().IsCubic(); }
    bool IsUser() const { return Kind().IsUser(); }
    bool IsAuto() const { return Kind().IsAuto(); }
    bool IsTCB() const { return Kind().IsTCB(); }

    /// One interpolation, and one of the five modes where keys have tangents.
    bool IsValid() const
    {
        if (interpolation == YFCURVE_INTERP_CONSTANT || interpolation == YFCURVE_INTERP_LINEAR) return true;
        switch (tangentMode & YFCURVE_TANGENT_ALL) {
            case YFCURVE_TANGENT_AUTO:
            case YFCURVE_TANGENT_AUTO_BREAK:
            case YFCURVE_TANGENT_TCB:
            case YFCURVE_TANGENT_USER:
            case YFCURVE_TANGENT_USER_BREAK:
                return IsCubic();
            default:
                return false;
        }
    }
};

/// More keys than these do not go into one curve, with some room for what else it takes.
inline constexpr std::uint64_t kMostSamples = INT_MAX - 64;

/// How many whole positive periods fit between two times, which may be anywhere.
inline std::uint64_t PeriodsBetween(YTime start, YTime stop, YTime period)
{
    const auto span = static_cast<std::uint64_t>(stop.Get()) - static_cast<std::uint64_t>(start.Get());
    return span / static_cast<std::uint64_t>(period.Get());  // NOLINT(clang-analyzer-core.DivideZero)
}

}  // namespace yfc
