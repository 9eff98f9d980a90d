#pragma once

#include <cstdint>
#include <vector>

#include "yfcurve/player/clipformat.h"

/// \file
/// Plays channels whose keys differ in time.

namespace yfc {

/// Holds the current segment of each channel, in arrays that a loop goes through. As time goes on, or back,
/// only those whose key it passes are exchanged, as the stream's order has them. In another block, or far
/// away, each channel searches for itself among the few keys that it has there.
class StreamCursor
{
  public:
    /// Throws when memory runs out.
    StreamCursor(const ClipView& clip, const ClipUnit& unit);

    /// \param values  one for each channel of the unit.
    void Evaluate(YTime time, float* values);

  private:
    // Where most keys are those that have passed, or have not, the way from there is the shortest.
    enum class ESearch : std::uint8_t
    {
        FromStart,
        FromEnd,
        Counting
    };

    void Enter(std::size_t number, std::int64_t time, ESearch search);
    void MoveTo(std::int64_t time);

    const ClipView& mClip;
    const ClipUnit& mUnit;
    std::span<const ClipBlock> mBlocks;
    std::vector<std::uint32_t> mNext;  // of each channel, the key in the block that has not passed
    std::vector<float> mFloats;
    std::vector<double> mDoubles;
    SegmentArrays mSegments;
    std::size_t mBlock = 0;
    std::uint64_t mEvent = 0;        // how many keys of the block's order have passed
    std::int64_t mTime = INT64_MIN;  // of the state above
    double mFar = 0.0;               // that many ticks away, searching is quicker
};

}  // namespace yfc
