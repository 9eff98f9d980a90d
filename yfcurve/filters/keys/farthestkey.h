#pragma once

#include <vector>

#include "yfcurve/curve/segment.h"
#include "yfcurve/yfcurve.h"

/// \file
/// The key that a cubic segment misses most, without a look at all of them.

namespace yfc {

/// The least and the greatest value of every run of keys: of 64, of eight such runs, of eight of these, and
/// so on. The curve must not change while it is in use. May throw `std::bad_alloc`.
class ValueBounds
{
  public:
    static constexpr int kRunKeys = 64;
    static constexpr int kFanOut = 8;

    /// Infinite around values that are not finite.
    struct Bounds
    {
        float least;
        float greatest;
    };

    explicit ValueBounds(const YFCurve& curve);

    const YFCurve& GetCurve() const { return mCurve; }
    int GetLevelCount() const { return static_cast<int>(mLevels.size()); }
    int GetRunCount(int level) const
    {
        return static_cast<int>(mLevels[static_cast<std::size_t>(level)].size());
    }
    Bounds Get(int level, int run) const
    {
        return mLevels[static_cast<std::size_t>(level)][static_cast<std::size_t>(run)];
    }

  private:
    const YFCurve& mCurve;
    std::vector<std::vector<Bounds>> mLevels;
};

/// The squared distance in value between a segment and the key between `first` and `last`, both not included,
/// that it misses most, and that key's index; ties are for the earlier key, and what is not a number does not
/// count. 0, with `farthest` as it was, where no key is missed.
/// \param ticks  how long the segment is, which starts with key `first`.
double FindFarthestKey(const ValueBounds& bounds, const CubicEnds& segment, double ticks, int first, int last,
                       int& farthest);

}  // namespace yfc
