#pragma once

#include <span>

#include "ymotion/scene/scene.h"

/// \file
/// Samples in place of a part of a curve.

namespace ymotion {

/// Values of one curve at ascending times.
struct CurveSamples
{
    TimeSpan span;  ///< that they are for, with all of their times inside
    std::span<const YTime> times;
    const float* values = nullptr;
    std::size_t step = 1;  ///< from value to value
};

/// Whether the curve has a key outside of the span.
bool HasKeysOutside(const YFCurve& curve, const TimeSpan& span);

/// Gives a curve a cubic auto key for each sample in place of the keys that it has in the span. Between its first and
/// last key, what the curve shows outside of the span stays, up to a jump kept within one tick; where the span is
/// beyond these keys, a segment leads to it. Nothing happens without samples.
/// \param turns  the curve is one of three angles that turn as an orientation, which keys alone show: what is between
///               the span and the nearest keys leads from these to the samples. So it does around a span of one time.
void SetSamples(YFCurve& curve, const CurveSamples& samples, bool turns);

}  // namespace ymotion
