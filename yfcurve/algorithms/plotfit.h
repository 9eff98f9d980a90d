#pragma once

#include <algorithm>
#include <vector>

#include "yfcurve/algorithms/plotsamples.h"
#include "yfcurve/fitting/fitrun.h"
#include "yfcurve/yfcurveptr.h"

/// \file
/// From samples to the keys of a layer's curves.

namespace yfc {

struct PlotFitOptions
{
    bool breakTangents;
    double breakThreshold;  ///< units per second
    YTime delta;            ///< how far from a key the motion's slopes are looked at
    bool keepKeys;          ///< set keys at samples that are keys of the motion
};

/// Chooses which samples become keys: of many ways that keep every sample within its tolerance, one of the
/// fewest keys.
class PlotFit
{
  public:
    /// \param order  of the layer's rotations when they turn evenly from key to key, else null.
    PlotFit(const PlotSamples& samples, const PlotFitOptions& options, const eRotationOrder* order);

    /// The sample gets a key on every curve from the next choice on.
    void Force(int sample)
    {
        for (auto& forced : mForced) forced[PlotSamples::Index(sample)] = 1;
    }
    bool IsForced(int sample) const
    {
        const std::size_t at = PlotSamples::Index(sample);
        return std::all_of(mForced.begin(), mForced.end(),
                           [=](const auto& forced) { return forced[at] != 0; });
    }

    void Choose();

    /// The keys of a component's curve, without other settings.
    void MakeCurve(YFCurve& curve, int component) const;

  private:
    void MakeDense(int component);
    void ChooseTurns();

    const PlotSamples& mSamples;
    const PlotFitOptions mOptions;
    const eRotationOrder* mOrder;
    // By component:
    std::vector<std::vector<std::uint8_t>> mForced;
    std::vector<YFCurvePtr> mDense;          // a key at every sample
    std::vector<std::vector<FitKey>> mKeys;  // their points are samples
};

/// The keys of a component's curve at every sample, auto keys, without those in flat stretches.
/// \param flatness  differences of values that count as none; negative: none are.
void MakeSampledCurve(YFCurve& curve, const PlotSamples& samples, int component, double flatness);

}  // namespace yfc
