#pragma once

#include <algorithm>
#include <cmath>
#include <vector>

#include "ybaselib/ytime.h"

/// \file
/// The window that moving averages and fits look through.

namespace yfc {

/// The part of a curve that is smoothed.
struct SmoothedSpan
{
    YTime start;
    YTime stop;
};

/// A window around a time, cut into equal parts and seen where these meet, with the weights of a raised
/// cosine: the Hann window of Blackman and Tukey, "The Measurement of Power Spectra", 1958. Its ends weigh
/// nothing, so that nothing jumps when a point enters or leaves.
class SmoothingWindow
{
  public:
    /// \param width  not negative; the window reaches half of it to both sides.
    /// \param parts  1 or more; up to 2 leave the middle alone to be seen.
    SmoothingWindow(YTime width, int parts) : mReach(width / 2)
    {
        constexpr double pi = 3.14159265358979323846;
        parts = std::max(parts, 2);
        for (int i = 1; i < parts; ++i) {
            const double place = 2.0 * i / parts - 1.0;
            mPlaces.push_back(place);
            mWeights.push_back(0.5 + 0.5 * std::cos(pi * place));
        }
    }

    int GetCount() const { return static_cast<int>(mPlaces.size()); }
    /// From -1 to 1, the ends of the window.
    double Place(int index) const { return mPlaces[static_cast<std::size_t>(index)]; }
    double Weight(int index) const { return mWeights[static_cast<std::size_t>(index)]; }

    /// Half of the window's width at a time of the span, to whose ends it shrinks, evenly on both sides.
    YTime ReachAt(YTime time, const SmoothedSpan& span) const
    {
        return std::min({mReach, time - span.start, span.stop - time});
    }
    YTime TimeAt(int index, YTime time, YTime reach) const
    {
        return time + YTime(std::llround(Place(index) * static_cast<double>(reach.Get())));
    }

  private:
    YTime mReach;
    std::vector<double> mPlaces;
    std::vector<double> mWeights;
};

}  // namespace yfc
