#pragma once

#include <algorithm>
#include <cstdint>

#include "ybaselib/ytime.h"
#include "yfcurve/node/curves/resampledkey.h"

/// \file
/// Times at a regular period.

namespace yfc {

/// The whole multiples of a positive period. A frame of the current time mode that is no whole number of ticks,
/// as at 30000/1001 frames a second, is a rounded period, whose multiples drift away from the frames: with such
/// a period the times are those of the frames, each where `YTime::FromFrame` puts it.
class FrameGrid
{
  public:
    explicit FrameGrid(YTime period) : mPeriod(period)
    {
        const YFrameRate rate = YTime::GetExactFrameRate();
        mIsRounded = period == YTime::FromFrame(1) &&
                     YTIME_TICKS_PER_SECOND * std::int64_t{rate.denominator} % rate.numerator != 0;
    }

    /// From one time to the next: frames may be a tick shorter and longer than the period.
    YTime Shortest() const { return mIsRounded ? mPeriod - YTIME_ONE_TICK : mPeriod; }
    YTime Longest() const { return mIsRounded ? mPeriod + YTIME_ONE_TICK : mPeriod; }

    /// How long ago the last of the times was; 0 for one of them.
    YTime Since(YTime time) const
    {
        if (mIsRounded) return std::max(time - YTime::FromFrame(time.GetFrame()), YTIME_ZERO);
        const YTime rest = time % mPeriod;
        return rest < YTIME_ZERO ? rest + mPeriod : rest;
    }

    /// The last of them at or before a time, or the time itself where that would be before all time.
    YTime LastUntil(YTime time) const
    {
        std::int64_t last;
        return __builtin_sub_overflow(time.Get(), Since(time).Get(), &last) ? time : YTime(last);
    }

    YTime FirstAfter(YTime time) const { return On(time - Since(time), 1); }

    /// So many periods after a time, which need not be on the grid. Beyond all time the sum wraps around; that of
    /// frames ends at infinity.
    YTime On(YTime time, std::int64_t count) const
    {
        if (!mIsRounded) return time + mPeriod * count;
        const std::int64_t frame = time.GetFrame();
        return time + (YTime::FromFrame(frame + count) - YTime::FromFrame(frame));
    }

    /// For how many periods `On` leads from one time to none after another.
    std::uint64_t CountBetween(YTime start, YTime stop) const
    {
        if (!mIsRounded) return PeriodsBetween(start, stop, mPeriod);
        return static_cast<std::uint64_t>((stop - Since(start)).GetFrame() - start.GetFrame());
    }

  private:
    YTime mPeriod;
    bool mIsRounded;
};

}  // namespace yfc
