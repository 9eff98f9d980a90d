#include "yfcurve/player/streamcursor.h"

#include <algorithm>

namespace yfc {

StreamCursor::StreamCursor(const ClipView& clip, const ClipUnit& unit)
    : mChannels(unit.channelCount),
      mSnapshotCount(unit.snapshotCount),
      mWindow(kSnapshotKeys * unit.channelCount),
      mEventCount(unit.keyCount),
      mStride(unit.stride),
      mBase(unit.base),
      mTimes(clip.times.data() + unit.times),
      mKeys(clip.floats.data() + unit.floats),
      mFirstKeys(clip.words.data() + unit.firstKeys),
      mOrder(clip.order.data() + unit.order),
      mSnapshots(clip.words.data() + unit.snapshots),
      mSnapshotTimes(clip.times.data() + unit.snapshotTimes),
      mPassed(unit.channelCount),
      mFloats(std::size_t{4} * unit.channelCount),
      mDoubles(std::size_t{3} * unit.channelCount)
{
    float* const floats = mFloats.data();
    double* const doubles = mDoubles.data();
    const std::size_t count = mChannels;
    mSegments = {floats,  floats + count,  floats + 2 * count, floats + 3 * count,
                 doubles, doubles + count, doubles + 2 * count};
    for (std::uint32_t i = 0; i < mChannels; ++i) Load(i);
}

void StreamCursor::Evaluate(YTime time, float* values)
{
    MoveTo(time.Get());
    // Far outside every segment holds, whatever the time is.
    const std::int64_t last = mBase > INT64_MAX - kLongestSampled ? INT64_MAX : mBase + kLongestSampled;
    const double elapsed = TicksBetween(YTime(mBase), YTime(std::clamp(time.Get(), mBase, last)));
    BlendSegments(mSegments, mChannels, elapsed, values);
}

void StreamCursor::MoveTo(std::int64_t time)
{
    const std::uint64_t window = mEvent / mWindow;
    const bool isFarAhead = window + 2 < mSnapshotCount && time >= mSnapshotTimes[window + 2];
    const bool isFarBack = window > 0 && time < mSnapshotTimes[window - 1];
    if (isFarAhead || isFarBack) return Seek(time);
    for (; mEvent < mEventCount; ++mEvent) {
        const std::uint32_t channel = mOrder[mEvent];
        if (TimeOf(channel, mPassed[channel]) > time) break;
        ++mPassed[channel];
        Load(channel);
    }
    for (; mEvent > 0; --mEvent) {
        const std::uint32_t channel = mOrder[mEvent - 1];
        if (TimeOf(channel, mPassed[channel] - 1) <= time) break;
        --mPassed[channel];
        Load(channel);
    }
}

void StreamCursor::Seek(std::int64_t time)
{
    const std::int64_t* const end = mSnapshotTimes + mSnapshotCount;
    const auto snapshot =
        static_cast<std::uint64_t>(std::upper_bound(mSnapshotTimes + 1, end, time) - 1 - mSnapshotTimes);
    const std::uint32_t* const passed = mSnapshots + snapshot * mChannels;
    std::copy(passed, passed + mChannels, mPassed.begin());
    for (mEvent = snapshot * mWindow; mEvent < mEventCount; ++mEvent) {
        const std::uint32_t channel = mOrder[mEvent];
        if (TimeOf(channel, mPassed[channel]) > time) break;
        ++mPassed[channel];
    }
    for (std::uint32_t i = 0; i < mChannels; ++i) Load(i);
}

void StreamCursor::Load(std::uint32_t channel)
{
    const std::uint32_t first = mFirstKeys[channel];
    const std::uint32_t count = mFirstKeys[channel + 1] - first;
    const std::uint32_t passed = mPassed[channel];
    const std::uint32_t key = first + (passed > 0 ? passed - 1 : 0);
    const float* const start = mKeys + key * mStride;
    const float out = start[mStride - 1];
    if (passed == 0 || passed == count || out == kHolds) return Hold(channel, *start);
    const float* const end = start + mStride;
    const double ticks = TicksBetween(YTime(mTimes[key]), YTime(mTimes[key + 1]));
    mSegments.startValues[channel] = *start;
    mSegments.endValues[channel] = *end;
    mSegments.startSlopes[channel] = out;
    mSegments.endSlopes[channel] = end[1];
    mSegments.starts[channel] = TicksBetween(YTime(mBase), YTime(mTimes[key]));
    mSegments.perTick[channel] = 1.0 / ticks;
    mSegments.seconds[channel] = ticks / static_cast<double>(YTIME_TICKS_PER_SECOND);
}

void StreamCursor::Hold(std::uint32_t channel, float value)
{
    mSegments.startValues[channel] = value;
    mSegments.endValues[channel] = value;
    mSegments.startSlopes[channel] = 0.0f;
    mSegments.endSlopes[channel] = 0.0f;
    mSegments.starts[channel] = 0.0;
    mSegments.perTick[channel] = 0.0;
    mSegments.seconds[channel] = 0.0;
}

}  // namespace yfc
