#pragma once

#include <cstdint>
#include <vector>

#include "yfcurve/player/clipformat.h"

/// \file
/// Plays channels whose keys differ in time.

namespace yfc {

/// Holds the current segment of each channel, in arrays that a loop goes through. As time goes on, or back,
/// only those whose key it passes are exchanged, as the stream's order has them.
class StreamCursor
{
  public:
    /// Throws when memory runs out.
    StreamCursor(const ClipView& clip, const ClipUnit& unit);

    /// \param values  one for each channel of the unit.
    void Evaluate(YTime time, float* values);

    /// How many of a channel's keys have passed.
    std::uint32_t Passed(std::uint32_t channel) const { return mPassed[channel]; }

  private:
    void MoveTo(std::int64_t time);
    void Seek(std::int64_t time);
    void Load(std::uint32_t channel);
    void Hold(std::uint32_t channel, float value);
    std::int64_t TimeOf(std::uint32_t channel, std::uint32_t key) const
    {
        return mTimes[mFirstKeys[channel] + key];
    }

    std::uint32_t mChannels;
    std::uint32_t mSnapshotCount;
    std::uint64_t mWindow;  // events from snapshot to snapshot
    std::uint64_t mEventCount;
    std::uint64_t mEvent = 0;  // how many keys of all channels have passed
    std::size_t mStride;
    std::int64_t mBase;
    const std::int64_t* mTimes;
    const float* mKeys;
    const std::uint32_t* mFirstKeys;
    const std::uint16_t* mOrder;
    const std::uint32_t* mSnapshots;
    const std::int64_t* mSnapshotTimes;
    std::vector<std::uint32_t> mPassed;
    std::vector<float> mFloats;
    std::vector<double> mDoubles;
    SegmentArrays mSegments;
};

}  // namespace yfc
