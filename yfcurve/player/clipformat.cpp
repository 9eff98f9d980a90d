#include "yfcurve/player/clipformat.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <type_traits>

#include "yfcurve/curve/segment.h"
#include "yfcurve/node/layers/layerblend.h"

namespace yfc {

// --- Keys ----------------------------------------------------------------------------------------------

std::size_t BlockAt(std::span<const ClipBlock> blocks, YTime time)
{
    const auto isLater = [](std::int64_t ticks, const ClipBlock& block) { return ticks < block.start; };
    const auto next = std::upper_bound(blocks.begin() + 1, blocks.end(), time.Get(), isLater);
    return static_cast<std::size_t>(next - blocks.begin()) - 1;
}

KeyColumn::KeyColumn(const ClipView& clip, const ClipUnit& unit, std::uint32_t column, std::size_t block)
    : values(nullptr),
      wide(nullptr),
      preMode(unit.preMode),
      preCount(unit.preCount),
      postMode(unit.postMode),
      postCount(unit.postCount)
{
    const std::size_t stride = unit.stride;
    if (unit.kind == EClipUnit::Rows) {
        times = clip.times.data() + unit.times;
        if (unit.isWide) {
            wide = clip.doubles.data() + unit.floats + column;
        } else {
            values = clip.floats.data() + unit.floats + column;
        }
        step = stride * unit.channelCount;
        in = unit.channelCount;
        out = (stride - 1) * unit.channelCount;
        count = static_cast<std::uint32_t>(unit.keyCount);
        return;
    }
    const ClipBlock& keys = clip.blocks[unit.blocks + block];
    const std::uint32_t* const firstKey = clip.words.data() + keys.firstKeys + column;
    times = clip.times.data() + keys.times + *firstKey;
    values = clip.floats.data() + keys.floats + *firstKey * stride;
    step = stride;
    in = 1;
    out = stride - 1;
    count = firstKey[1] - firstKey[0];
}

std::uint32_t KeyColumn::Find(YTime time, std::uint32_t hint) const
{
    const std::int64_t ticks = time.Get();
    const auto isAt = [=, this](std::uint32_t key) {
        return times[key] <= ticks && (key + 1 == count || ticks < times[key + 1]);
    };
    if (isAt(hint)) return hint;
    if (hint + 1 < count && isAt(hint + 1)) return hint + 1;
    if (hint > 0 && isAt(hint - 1)) return hint - 1;
    return static_cast<std::uint32_t>(std::upper_bound(times, times + count, ticks) - times) - 1;
}

OneSegment KeyColumn::SegmentFrom(std::uint32_t key) const
{
    const double ticks = TicksBetween(Time(key), Time(key + 1));
    const bool holds = Out(key) == kHolds;
    const float value = Value(key);
    if (holds) return {value, value, 0.0f, 0.0f, 0.0, 0.0, Time(key)};
    return {value, Value(key + 1), Out(key), In(key + 1), 1.0 / ticks, ticks * kSecondsPerTick, Time(key)};
}

KeyMoment MomentOf(const KeyColumn& keys, YTime time, std::uint32_t& hint)
{
    const std::uint32_t last = keys.count - 1;
    if (time < keys.Time(0) || time > keys.Time(last)) {
        const bool before = time < keys.Time(0);
        const Outside outside = before ? keys.Before() : keys.After();
        if (outside.mode == YFCURVE_EXTRAPOLATION_KEEP_SLOPE) {
            return {KeyMoment::OnLine, before ? 0 : last, {}, SecondsBeyond(outside, time)};
        }
        if (!RepeatedTime(outside, time)) return {KeyMoment::OnKey, before ? 0 : last, {}, 0.0};
    }
    hint = keys.Find(time, hint);
    const double elapsed = TicksBetween(keys.Time(hint), time);
    if (elapsed == 0.0) return {KeyMoment::OnKey, hint, {}, 0.0};
    const double ticks = TicksBetween(keys.Time(hint), keys.Time(hint + 1));
    const double seconds = ticks * kSecondsPerTick;
    return {KeyMoment::Between, hint, WeightsAt(elapsed * (1.0 / ticks), seconds), 0.0};
}

float KeyColumn::At(YTime time, std::uint32_t& hint) const
{
    const KeyMoment moment = MomentOf(*this, time, hint);
    const std::uint32_t key = moment.key;
    if (moment.place == KeyMoment::OnKey) return Value(key);
    if (moment.place == KeyMoment::OnLine) {
        return OnLine(Value(key), key == 0 ? In(0) : Out(key), moment.seconds);
    }
    if (Out(key) == kHolds) return Value(key);
    return Blended(moment.weights, Value(key), Out(key), Value(key + 1), In(key + 1));
}

// --- Bytes ---------------------------------------------------------------------------------------------

namespace {

// Calls a function with each section's number and elements, of a view or of parts.
template<class Clip, class Function>
void ForSections(Clip& clip, const Function& function)
{
    function(kClipUnits, clip.units);
    function(kClipBlocks, clip.blocks);
    function(kClipTimes, clip.times);
    function(kClipFloats, clip.floats);
    function(kClipDoubles, clip.doubles);
    function(kClipWords, clip.words);
    function(kClipOrder, clip.order);
    function(kClipConstants, clip.constants);
    function(kClipPlaces, clip.places);
    function(kClipOps, clip.ops);
    function(kClipRules, clip.rules);
    function(kClipTurns, clip.turns);
    function(kClipNameStarts, clip.nameStarts);
    function(kClipNames, clip.names);
}

// Whether a part of a section is there.
bool IsIn(std::uint64_t first, std::uint64_t count, std::size_t size)
{
    return first <= size && count <= size - first;
}

bool Ascend(std::span<const std::int64_t> times)
{
    return std::adjacent_find(times.begin(), times.end(), std::greater_equal<>()) == times.end();
}

class Check
{
  public:
    explicit Check(const ClipView& view) : mView(view), mIsPlaced(view.places.size()) {}

    bool All()
    {
        const ClipHeader& header = *mView.header;
        if (header.placeCount != mView.places.size() || header.valueCount > header.placeCount) return false;
        if (header.slotCount != 0 && header.slotCount < header.valueCount) return false;
        if (header.slotCount > header.valueCount + mView.ops.size() * kMostOfOp) return false;
        if (header.domainCount == 0 || header.domainCount - 1 > mView.ops.size()) return false;
        for (std::uint32_t i = 0; i < mView.units.size(); ++i) {
            if (!Unit(i)) return false;
        }
        for (std::uint32_t i = 0; i < mView.constants.size(); ++i) {
            if (!Place(mView.constants[i].place, {ClipPlace::kConstant, i})) return false;
        }
        for (std::uint32_t i = 0; i < mView.places.size(); ++i) {
            const bool isComputed = mView.places[i].unit == ClipPlace::kComputed;
            if (isComputed == mIsPlaced[i] || (isComputed && i >= header.valueCount)) return false;
        }
        const auto isGood = [this](const auto& part) { return Good(part); };
        return std::all_of(mView.ops.begin(), mView.ops.end(), isGood) &&
               std::all_of(mView.rules.begin(), mView.rules.end(), isGood) &&
               std::all_of(mView.turns.begin(), mView.turns.end(), isGood) && Names();
    }

  private:
    // Slots that one operation adds.
    static constexpr std::uint64_t kMostOfOp = kMaximumComponents;

    // The last of the kinds.
    static constexpr auto kRotation = static_cast<std::uint8_t>(LayerBlend::EKind::Rotation);

    // Each place is filled from one source, and knows which.
    bool Place(std::uint32_t place, ClipPlace source)
    {
        if (place >= mIsPlaced.size() || mIsPlaced[place]) return false;
        mIsPlaced[place] = true;
        return mView.places[place].unit == source.unit && mView.places[place].column == source.column;
    }

    bool Unit(std::uint32_t index)
    {
        const ClipUnit& unit = mView.units[index];
        if (unit.stride != 2 && unit.stride != 3) return false;
        if (unit.domain >= mView.header->domainCount || unit.channelCount == 0) return false;
        // Units stand in the order of their domains.
        if (index > 0 && unit.domain < mView.units[index - 1].domain) return false;
        if (!IsIn(unit.places, unit.channelCount, mView.words.size())) return false;
        for (std::uint32_t i = 0; i < unit.channelCount; ++i) {
            if (!Place(mView.words[unit.places + i], {index, i})) return false;
        }
        if (unit.kind == EClipUnit::Stream) return Stream(unit);
        if (unit.kind != EClipUnit::Rows || unit.keyCount < 2 || unit.keyCount > UINT32_MAX) return false;
        if (!IsIn(unit.times, unit.keyCount, mView.times.size())) return false;
        const std::uint64_t row = std::uint64_t{unit.stride} * unit.channelCount;
        if (unit.isWide && (unit.stride != 2 || unit.holds)) return false;
        const std::size_t numbers = unit.isWide ? mView.doubles.size() : mView.floats.size();
        if (row > numbers / unit.keyCount) return false;
        return IsIn(unit.floats, row * unit.keyCount, numbers) &&
               Ascend(mView.times.subspan(unit.times, unit.keyCount));
    }

    bool Stream(const ClipUnit& unit) const
    {
        if (unit.channelCount > kMostStreamed || unit.blockCount == 0) return false;
        if (!IsIn(unit.blocks, unit.blockCount, mView.blocks.size())) return false;
        const auto blocks = mView.BlocksOf(unit);
        if (blocks.front().start != INT64_MIN) return false;
        for (std::size_t i = 0; i < blocks.size(); ++i) {
            const bool isLast = i + 1 == blocks.size();
            const std::int64_t stop = isLast ? INT64_MAX : blocks[i + 1].start;
            if (blocks[i].start >= stop || !Block(unit, blocks[i], stop, isLast)) return false;
        }
        return true;
    }

    bool Block(const ClipUnit& unit, const ClipBlock& block, std::int64_t stop, bool isLast) const
    {
        const std::uint64_t channels = unit.channelCount;
        if (!IsIn(block.firstKeys, channels + 1, mView.words.size())) return false;
        const auto firstKeys = mView.words.subspan(block.firstKeys, channels + 1);
        const std::uint64_t keys = firstKeys.back();
        if (firstKeys.front() != 0 || !IsIn(block.times, keys, mView.times.size())) return false;
        if (!IsIn(block.floats, keys * unit.stride, mView.floats.size())) return false;
        if (!IsIn(block.order, block.orderCount, mView.order.size())) return false;
        std::vector<std::uint32_t> next(channels);
        std::uint64_t inside = 0;
        for (std::size_t i = 0; i < channels; ++i) {
            if (firstKeys[i + 1] > keys || firstKeys[i + 1] <= firstKeys[i]) return false;
            const auto times =
                mView.times.subspan(block.times + firstKeys[i], firstKeys[i + 1] - firstKeys[i]);
            if (!Ascend(times) || !IsNear(times.front(), unit.base) || !IsNear(times.back(), unit.base)) {
                return false;
            }
            next[i] = firstKeys[i] + (times.front() <= block.start ? 1 : 0);
            inside += times.size() - (times.front() <= block.start ? 1 : 0);
            inside -= !isLast && times.back() >= stop ? 1 : 0;
        }
        return inside == block.orderCount && Order(block, firstKeys, next, isLast ? nullptr : &stop);
    }

    static bool IsNear(std::int64_t time, std::int64_t base)
    {
        return time >= base && TicksBetween(YTime(base), YTime(time)) < static_cast<double>(kLongestSampled);
    }

    // Goes through a block as a player would.
    bool Order(const ClipBlock& block, std::span<const std::uint32_t> firstKeys,
               std::vector<std::uint32_t>& next, const std::int64_t* stop) const
    {
        std::int64_t time = block.start;
        for (const std::uint32_t channel : mView.order.subspan(block.order, block.orderCount)) {
            if (channel >= next.size() || next[channel] >= firstKeys[channel + 1]) return false;
            const std::int64_t passed = mView.times[block.times + next[channel]++];
            if (passed < time || (stop != nullptr && passed >= *stop)) return false;
            time = passed;
        }
        return true;
    }

    bool Good(const ClipOp& op) const
    {
        const std::uint32_t slots = mView.header->slotCount;
        const std::uint32_t count = op.type == EClipOp::Turn ? 3 : op.count;
        if (!IsIn(op.slot, count, slots) || op.slot >= slots) return false;
        switch (op.type) {
            case EClipOp::Channel:
                return op.from < mView.places.size() && mIsPlaced[op.from];
            case EClipOp::Constant:
                return true;
            case EClipOp::Blend:
                if (op.index >= mView.rules.size() || !IsIn(op.from, count, slots)) return false;
                return count == 3 || mView.rules[op.index].kind != kRotation;
            case EClipOp::Weight:
                return op.index < mView.rules.size() && op.from < mView.places.size() && mIsPlaced[op.from];
            case EClipOp::Turn:
                return op.index < mView.turns.size();
            case EClipOp::Warp:
                return op.index > 0 && op.index < mView.header->domainCount;
            case EClipOp::Output:
                return IsIn(op.index, count, mView.header->valueCount);
        }
        return false;
    }

    bool Good(const ClipRule& rule) const
    {
        return rule.kind <= kRotation && rule.domain < mView.header->domainCount;
    }

    bool Good(const ClipTurns& turns) const
    {
        if (turns.domain >= mView.header->domainCount || turns.count == 0) return false;
        return IsIn(turns.times, turns.count, mView.times.size()) && turns.count <= mView.floats.size() / 4 &&
               IsIn(turns.floats, turns.count * 4, mView.floats.size()) &&
               Ascend(mView.times.subspan(turns.times, turns.count));
    }

    bool Names() const
    {
        if (mView.nameStarts.empty()) return true;
        if (mView.nameStarts.size() != mView.header->valueCount || mView.names.empty()) return false;
        return mView.names.back() == '\0' &&
               std::all_of(mView.nameStarts.begin(), mView.nameStarts.end(),
                           [this](std::uint32_t start) { return start < mView.names.size(); });
    }

    const ClipView& mView;
    std::vector<bool> mIsPlaced;
};

}  // namespace

bool ClipView::Open(std::span<const std::byte> bytes, ClipView& view)
{
    if (bytes.size() < sizeof(ClipHeader)) return false;
    if (reinterpret_cast<std::uintptr_t>(bytes.data()) % alignof(ClipHeader) != 0) return false;
    const auto* const header = reinterpret_cast<const ClipHeader*>(bytes.data());
    if (header->magic != kClipMagic || header->version != kClipVersion) return false;
    if (header->byteOrder != kClipByteOrder || header->size != bytes.size()) return false;
    view.header = header;
    bool isThere = true;
    ForSections(view, [&](EClipSection number, auto& elements) {
        using Span = std::remove_reference_t<decltype(elements)>;
        using Element = typename Span::element_type;
        const ClipSection section = header->sections[number];
        const bool fits = section.offset % kClipAlignment == 0 && section.offset <= bytes.size() &&
                          section.count <= (bytes.size() - section.offset) / sizeof(Element);
        isThere = isThere && fits;
        if (fits) elements = Span(reinterpret_cast<Element*>(bytes.data() + section.offset), section.count);
    });
    return isThere && Check(view).All();
}

std::vector<ClipChunk> Written(const ClipParts& parts)
{
    ClipHeader header{};
    header.magic = kClipMagic;
    header.version = kClipVersion;
    header.byteOrder = kClipByteOrder;
    header.valueCount = parts.valueCount;
    header.placeCount = static_cast<std::uint32_t>(parts.places.size());
    header.slotCount = parts.slotCount;
    header.domainCount = parts.domainCount;
    header.segmentCount = parts.segmentCount;
    header.start = parts.start;
    header.stop = parts.stop;

    std::size_t chunks = (sizeof(ClipHeader) + kClipAlignment - 1) / kClipAlignment;
    ForSections(parts, [&](EClipSection number, const auto& elements) {
        header.sections[number] = {chunks * kClipAlignment, elements.size()};
        chunks += (elements.size() * sizeof(elements[0]) + kClipAlignment - 1) / kClipAlignment;
    });
    header.size = chunks * kClipAlignment;

    std::vector<ClipChunk> memory(chunks);
    auto* const bytes = reinterpret_cast<std::byte*>(memory.data());
    std::memcpy(bytes, &header, sizeof header);
    ForSections(parts, [&](EClipSection number, const auto& elements) {
        if (elements.empty()) return;
        std::memcpy(bytes + header.sections[number].offset, elements.data(),
                    elements.size() * sizeof(elements[0]));
    });
    return memory;
}

}  // namespace yfc
