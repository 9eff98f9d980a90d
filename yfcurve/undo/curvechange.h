#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "yfcurve/yfcurve.h"

/// \file
/// What one step changed on a curve.

namespace yfc {

/// What a curve is besides its keys.
struct CurveSettings
{
    explicit CurveSettings(const YFCurve& curve);

    void ApplyTo(YFCurve& curve) const;
    bool operator==(const CurveSettings& other) const;

    std::array<float, 3> colour;
    float value;
    std::array<std::uint32_t, 4> extrapolation;
    int wasData;
};

/// A curve on one side of a change: the keys that the other side does not have.
struct CurveSide
{
    std::optional<CurveSettings> settings;  ///< none where there is no curve
    std::vector<YFCurveKey> keys;
};

struct CurveChange
{
    int first = 0;  ///< index of the first key that differs
    CurveSide before;
    CurveSide after;

    /// Finds what differs, to the bit. Either curve may be null.
    static CurveChange Between(const YFCurve* before, const YFCurve* after);

    bool IsNone() const;
    /// Whether only selection, marks and visible handles differ.
    bool IsSelectionAlone() const;
    std::size_t GetByteCount() const;

    /// Whether a curve, or none, is as one side says where the sides differ, selection aside.
    bool Fits(const YFCurve* curve, const CurveSide& side) const;
    /// Makes two curves that are as one side says be as the other. Throws `std::bad_alloc` with both as they
    /// were.
    void Apply(YFCurve& one, YFCurve& other, const CurveSide& from, const CurveSide& to) const;
    /// The same for one.
    void Apply(YFCurve& curve, const CurveSide& from, const CurveSide& to) const;

  private:
    void MakeRoom(YFCurve& curve, const CurveSide& from, const CurveSide& to) const;
    void Exchange(YFCurve& curve, const CurveSide& from, const CurveSide& to) const;
};

}  // namespace yfc
