#pragma once

#include "yfcurve/yfcurvefilter.h"

/// \file
/// Keys at the same times on several curves.

/// Gives the curves of a set keys at the same times: wherever one of them has a key inside the span, the
/// others get one on their curve, as `YFCurve::KeyInsert` sets it. Shapes stay, but where a curve repeats:
/// a key outside its range changes the period. So the channels of a vector can be edited, or exported, as one.
///
/// A curve that is locked gets no keys, but the others get keys at the times of its keys. Of two key times
/// one tick apart the later one is passed over, unless a third curve leads the search on to it from
/// elsewhere.
///
/// Statuses: 1 nothing to do, 2 different key counts, 3 different key times, 4 too many curves, 5 a child
/// without a curve. A single curve is always in step with itself: both operations on it return false with
/// status 1.
class YFCURVE_EXPORT YFCurveFilterKeySync : public YFCurveFilterOf<YFCurveFilterKeySync>
{
  public:
    /// As many curves as are synchronised together.
    static constexpr int MaximumCurveCount = 20;

    static YClassDefinition& StaticClass();

    YFCurveFilterKeySync();

    bool NeedApply(YFCurve& curve) override;
    /// Whether key counts (status 2) or key times (status 3) differ, over the whole curves.
    bool NeedApply(YFCurve** curves, int count) override;
    /// The same of the curves of the children; a node with `MaximumCurveCount` children or more is refused.
    bool NeedApply(YFCurveNode& node, bool recursive) override;

    using YFCurveFilterOf<YFCurveFilterKeySync>::Apply;
    bool Apply(YFCurve& curve) override;

  protected:
    /// Synchronises curves.
    /// \return  false, with nothing changed, for fewer than 2 and for more than `MaximumCurveCount`.
    bool FilterCurves(YFCurve** curves, int count) override;
    /// Synchronises the curves of the children, whether or not `recursive`; what is below them and the node's
    /// own curve are left alone.
    /// \return  false, with nothing changed, also where a child has no curve.
    bool FilterNode(YFCurveNode& node, bool recursive) override;
};
