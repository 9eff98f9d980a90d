#pragma once

#include <unordered_map>
#include <vector>

#include "yfcurve/yfcurveplot.h"
#include "ymotion/scene/scene.h"

/// \file
/// What another scene shows, as a source of plots.

namespace ymotion {

/// A property of another scene, read for the property of this scene that has the same path.
class Counterpart
{
  public:
    Counterpart(const YFCurveNode& other, const YFCurveNode& property);

    /// An `YFCurvePlotSource`; the object is a counterpart.
    static bool Evaluate(YFCurveNode* property, YTime time, double* values, void* object);

    /// Gives the curves of a layer keys, without changing their shape, where the other property has keys: a
    /// plot samples there, and one without a span goes as far.
    void AddKeyTimes(YFCurveNode& layer, const std::optional<TimeSpan>& span) const;

    const YFCurveNode& Other() const { return mOther; }

  private:
    const YFCurveNode& mOther;
    bool mTurnsInAnotherOrder;
    int mHint = 0;
};

/// Pairs the properties of two scenes by their paths, the first with the first where several share one.
class PlotSource
{
  public:
    /// Both scenes have to outlive it.
    PlotSource(const Scene& scene, const Scene& other);

    /// Throws `Failure` unless all of the properties have a counterpart with the same components.
    void CheckHas(const std::vector<YFCurveNode*>& properties) const;

    Counterpart Of(const YFCurveNode& property) const;

  private:
    const Scene& mOther;
    std::unordered_map<const YFCurveNode*, const YFCurveNode*> mCounterparts;
};

}  // namespace ymotion
