#pragma once

#include <cstdint>

#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvekey.h"

/// \file
/// What kind of key a key is: the one place that tells it from the flags.

namespace yfc {

/// How the segment that starts at a key leads to the next one.
enum class EInterpolation
{
    None,  ///< no flag of the three, or several: the segment has the value 0
    Constant,
    Linear,
    Cubic
};

/// The rule that gives the tangents of a cubic key, broken or not.
enum class ETangents
{
    None,  ///< not cubic, or with other flags than a rule has: both slopes are 0
    Auto,  ///< from the slopes towards the neighbours and a parameter
    User,  ///< stored slopes
    TCB    ///< from tension, continuity and bias
};

class KeyKind
{
  public:
    /// Of a flags word, in which only interpolation and tangent mode count.
    explicit constexpr KeyKind(std::uint32_t flags) : mFlags(flags) {}
    /// Of a key on its own, or of the record that keys of curves share.
    template<class Record>
    explicit KeyKind(const YFCurveKeyAttributes<Record>& key) : mFlags(key.GetFlags())
    {}
    /// Of a key of a curve.
    KeyKind(const YFCurve& curve, int index)
        : mFlags(curve.KeyGetInterpolation(index) | curve.KeyGetTangeantMode(index))
    {}

    constexpr EInterpolation GetInterpolation() const
    {
        if (IsConstant()) return EInterpolation::Constant;
        if (IsLinear()) return EInterpolation::Linear;
        if (IsCubic()) return EInterpolation::Cubic;
        return EInterpolation::None;
    }

    constexpr ETangents GetTangents() const
    {
        if (!IsCubic()) return ETangents::None;
        switch (mFlags & YFCURVE_TANGENT_ALL) {
            case YFCURVE_TANGENT_AUTO:
            case YFCURVE_TANGENT_AUTO_BREAK:
                return ETangents::Auto;
            case YFCURVE_TANGENT_USER:
            case YFCURVE_TANGENT_USER_BREAK:
                return ETangents::User;
            case YFCURVE_TANGENT_TCB:
                return ETangents::TCB;
        }
        return ETangents::None;
    }

    constexpr bool IsConstant() const { return Interpolates(YFCURVE_INTERP_CONSTANT); }
    constexpr bool IsLinear() const { return Interpolates(YFCURVE_INTERP_LINEAR); }
    constexpr bool IsCubic() const { return Interpolates(YFCURVE_INTERP_CUBIC); }
    constexpr bool IsAuto() const { return GetTangents() == ETangents::Auto; }
    constexpr bool IsUser() const { return GetTangents() == ETangents::User; }
    constexpr bool IsTCB() const { return GetTangents() == ETangents::TCB; }

  private:
    constexpr bool Interpolates(std::uint32_t flag) const { return (mFlags & YFCURVE_INTERP_ALL) == flag; }

    std::uint32_t mFlags;
};

}  // namespace yfc
