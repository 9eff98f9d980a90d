#pragma once

#include <optional>

#include "ybaselib/ytime.h"

/// \file
/// One key's tangents against a reference animation.

class YFCurve;

namespace yfc {

/// The slopes that a key's neighbourhood has in a reference, value units per second.
struct ReferenceSlopes
{
    double left = 0.0;   ///< from the reference `delta` earlier to the key; 0 at the first key
    double right = 0.0;  ///< from the key to the reference `delta` later; 0 at the last key
};

/// The slopes of the reference around a key where one of them differs from the key's derivative on that side
/// by more than `threshold`; nothing where both agree, for null curves, a delta that is not positive, and an
/// index without a key.
std::optional<ReferenceSlopes> FindDisagreement(const YFCurve* curve, const YFCurve* reference, int index,
                                                YTime delta, double threshold);

/// Makes a key a broken user key with these slopes; one event.
void BreakKeyTangents(YFCurve& curve, int index, ReferenceSlopes slopes);

}  // namespace yfc
