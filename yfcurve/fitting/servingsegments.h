#pragma once

#include <array>

#include "yfcurve/fitting/fitsegment.h"

/// \file
/// The segments that serve between two points: without weights, and with such as are worth trying.

namespace yfc {

class ServingSegments
{
  public:
    /// Looks for segments from one point to another that stay within the tolerance: one without weights, and with
    /// `weighted` some more, with weights of the source's own segment and such as come nearest to some samples of it.
    /// \return  whether there are any.
    bool Find(const SegmentFit& segments, int from, int to, bool weighted);

    int GetCount() const { return mCount; }
    /// The slopes with which one serves; that without weights comes first.
    const SlopePolygon& Slopes(int i) const { return mSlopes[static_cast<std::size_t>(i)]; }
    const TangentWeights& GetWeights(int i) const { return mWeights[static_cast<std::size_t>(i)]; }

  private:
    static constexpr int kGuesses = 2;
    static constexpr int kMostTries = kGuesses + 2;

    void TryGuesses(const SegmentFit& segments, int from, int to);
    void Try(const SegmentFit& segments, int from, int to, const TangentWeights& weights);

    std::array<SlopePolygon, kMostTries> mSlopes;
    std::array<TangentWeights, kMostTries> mWeights;
    int mCount = 0;
};

}  // namespace yfc
