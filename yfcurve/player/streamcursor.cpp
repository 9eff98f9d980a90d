// Each key that is passed costs several times what a channel does: an entry in the order, five numbers of two
// keys, a division, and seven arrays written. With thousands of channels these arrays leave the first cache.

#include "yfcurve/player/streamcursor.h"
#include "yfcurve/curve/segment.h"

#include <algorithm>

namespace yfc {
namespace {

// What exchanges the current segments, apart from the cursor: the compiler then sees that writing them
// changes none of these.
struct SegmentLoader
{
    const std::int64_t* times;
    const float* keys;
    const std::uint32_t* firstKeys;
    std::size_t stride;
    std::int64_t base;
    SegmentArrays to;

    SegmentLoader(const ClipView& clip, const ClipUnit& unit, const ClipBlock& block,
                  const SegmentArrays& target)
        : times(clip.times.data() + block.times),
          keys(clip.floats.data() + block.floats),
          firstKeys(clip.words.data() + block.firstKeys),
          stride(unit.stride),
          base(unit.base),
          to(target)
    {}

    // Makes the segment before a key current. Times of a stream are near to each other, and their differences
    // exact.
    // \param ahead  where the keys stand that playing comes to soon, in keys.
    [[gnu::always_inline]] void Load(std::uint32_t channel, std::uint32_t next, std::ptrdiff_t ahead) const
    {
        if (next == firstKeys[channel]) [[unlikely]]
            return Hold(channel, keys[next * stride]);
        const float* const start = keys + (next - 1) * stride;
        const float out = start[stride - 1];
        if (next == firstKeys[channel + 1] || out == kHolds) [[unlikely]]
            return Hold(channel, *start);
        const float* const end = start + stride;
        // The next channel's keys lie elsewhere in memory, where the processor does not look ahead by itself.
        __builtin_prefetch(times + next + ahead);
        __builtin_prefetch(end + ahead * static_cast<std::ptrdiff_t>(stride));
        const std::int64_t time = times[next - 1];
        const auto ticks = static_cast<double>(times[next] - time);
        to.startValues[channel] = *start;
        to.endValues[channel] = *end;
        to.startSlopes[channel] = out;
        to.endSlopes[channel] = end[1];
        to.starts[channel] = static_cast<double>(time - base);
        to.perTick[channel] = 1.0 / ticks;
        to.seconds[channel] = ticks * kSecondsPerTick;
    }

    void Hold(std::uint32_t channel, float value) const
    {
        to.startValues[channel] = value;
        to.endValues[channel] = value;
        to.startSlopes[channel] = 0.0f;
        to.endSlopes[channel] = 0.0f;
        to.starts[channel] = 0.0;
        to.perTick[channel] = 0.0;
        to.seconds[channel] = 0.0;
    }
};

}  // namespace

StreamCursor::StreamCursor(const ClipView& clip, const ClipUnit& unit)
    : mClip(clip),
      mUnit(unit),
      mBlocks(clip.BlocksOf(unit)),
      mNext(unit.channelCount),
      mFloats(std::size_t{4} * unit.channelCount),
      mDoubles(std::size_t{3} * unit.channelCount)
{
    float* const floats = mFloats.data();
    double* const doubles = mDoubles.data();
    const std::size_t count = unit.channelCount;
    mSegments = {floats,  floats + count,  floats + 2 * count, floats + 3 * count,
                 doubles, doubles + count, doubles + 2 * count};
    Enter(0, INT64_MIN, ESearch::FromStart);
}

void StreamCursor::Evaluate(YTime time, float* values)
{
    const std::int64_t ticks = time.Get();
    const bool isBefore = ticks < mBlocks[mBlock].start;
    const bool isBehind = mBlock + 1 < mBlocks.size() && ticks >= mBlocks[mBlock + 1].start;
    const bool isFar = TicksBetween(YTime(std::min(ticks, mTime)), YTime(std::max(ticks, mTime))) > mFar;
    if (isFar) {
        Enter(BlockAt(mBlocks, time), ticks, ESearch::Counting);
    } else if (isBefore || isBehind) {
        Enter(BlockAt(mBlocks, time), ticks, isBehind ? ESearch::FromStart : ESearch::FromEnd);
    } else {
        MoveTo(ticks);
    }
    mTime = ticks;
    // Beyond the segments every channel is constant, so a far time may be taken for a nearer one.
    const std::int64_t base = mUnit.base;
    const std::int64_t last = base > INT64_MAX - kLongestSampled ? INT64_MAX : base + kLongestSampled;
    const double elapsed = TicksBetween(YTime(base), YTime(std::clamp(ticks, base, last)));
    BlendSegments(mSegments, mUnit.channelCount, elapsed, values);
}

void StreamCursor::MoveTo(std::int64_t time)
{
    const ClipBlock& block = mBlocks[mBlock];
    const SegmentLoader loader(mClip, mUnit, block, mSegments);
    const std::uint16_t* const order = mClip.order.data() + block.order;
    std::uint32_t* const next = mNext.data();
    std::uint64_t event = mEvent;
    for (; event < block.orderCount; ++event) {
        const std::uint32_t channel = order[event];
        if (loader.times[next[channel]] > time) break;
        loader.Load(channel, ++next[channel], 2);
    }
    for (; event > 0; --event) {
        const std::uint32_t channel = order[event - 1];
        if (loader.times[next[channel] - 1] <= time) break;
        loader.Load(channel, --next[channel], -3);
    }
    mEvent = event;
}

void StreamCursor::Enter(std::size_t number, std::int64_t time, ESearch search)
{
    mBlock = number;
    const ClipBlock& block = mBlocks[number];
    const SegmentLoader loader(mClip, mUnit, block, mSegments);
    mEvent = 0;
    std::int64_t first = INT64_MAX;
    std::int64_t last = INT64_MIN;
    for (std::uint32_t i = 0; i < mUnit.channelCount; ++i) {
        const std::int64_t* const begin = loader.times + loader.firstKeys[i];
        const std::int64_t* const end = loader.times + loader.firstKeys[i + 1];
        const std::int64_t* next = search == ESearch::FromStart ? begin : end;
        switch (search) {
            case ESearch::FromStart:
                __builtin_prefetch(end + 128);
                while (next != end && *next <= time) ++next;
                break;
            case ESearch::FromEnd:
                __builtin_prefetch(end + 256);
                while (next != begin && next[-1] > time) --next;
                break;
            case ESearch::Counting:
                next = begin + CountUntil(begin, static_cast<std::size_t>(end - begin), time);
                break;
        }
        mNext[i] = static_cast<std::uint32_t>(next - loader.times);
        mEvent += static_cast<std::uint64_t>(next - begin) - (*begin <= block.start ? 1 : 0);
        first = std::min(first, *begin);
        last = std::max(last, end[-1]);
        __builtin_prefetch(loader.keys + mNext[i] * loader.stride - 1);
    }
    // Apart from the search, so that the keys of one channel come while that of others goes on.
    for (std::uint32_t i = 0; i < mUnit.channelCount; ++i) loader.Load(i, mNext[i], 0);
    constexpr double farKeys = 4.0;
    const double share =
        farKeys * mUnit.channelCount / static_cast<double>(std::max<std::uint64_t>(block.orderCount, 1));
    mFar = TicksBetween(YTime(first), YTime(last)) * share;
}

}  // namespace yfc
