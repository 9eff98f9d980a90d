#pragma once

#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/curve/segment.h"

/// \file
/// The span between two neighbouring keys of a curve.

namespace yfc {

/// A segment with its two ends, for as long as the keys stay where they are.
struct KeySegment
{
    const YPriFCurveKey& start;
    const YPriFCurveKey& end;
    int index;  ///< of the key that it starts at

    /// The record of the segment: that of its first key.
    const YPriFCurveKeyAttr& Attr() const { return Attribute(start.GetAttr()); }
    const YPriFCurveKeyAttr& EndAttr() const { return Attribute(end.GetAttr()); }

    /// How long it lasts, where the keys are in order.
    double GetTicks() const { return Ticks(start.GetTime(), end.GetTime()); }
    /// Which part of `ticks`, how long it lasts, has passed at a time inside.
    double FractionAt(YTime time, double ticks) const { return Ticks(start.GetTime(), time) / ticks; }
    bool HasInside(YTime time) const { return start.GetTime() < time && time < end.GetTime(); }
};

/// The geometry of the cubic segment that starts at a key.
CubicSegment CubicSegmentAt(const YFCurve& curve, int index);

}  // namespace yfc
