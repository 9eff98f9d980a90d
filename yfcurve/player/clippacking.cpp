// Channels sorted by their key times: those with common times become rows, the others streams.
//
// Rows are kept in double precision up to a size, which saves players the conversion. Rows with broken
// tangents stay in single precision, where they already take half as much again; so do the pieces of weighted
// segments, since playing at an even rate meets other pieces each time.

#include "yfcurve/player/clippacking.h"

#include <algorithm>
#include <limits>
#include <map>
#include <span>
#include <tuple>
#include <utility>

namespace yfc {
namespace {

using Channels = std::vector<PlannedChannel*>;

// From that many channels with common times on, rows are quicker than a stream.
constexpr std::size_t kFewestInRows = 4;

std::vector<std::int64_t> TimesOf(const PlayKeys& keys)
{
    std::vector<std::int64_t> times;
    times.reserve(keys.keys.size());
    for (const PlayKey& key : keys.keys) times.push_back(key.time);
    return times;
}

// What channels of one unit of rows have in common.
struct RowKind
{
    std::uint32_t domain;
    bool isValue;  // of the clip, and not only for its operations
    bool isSmooth;
    bool holds;
    bool isCut;
    PlaySide before;
    PlaySide after;
    std::vector<std::int64_t> times;

    friend bool operator<(const RowKind& a, const RowKind& b)
    {
        const auto head = [](const RowKind& kind) {
            return std::tuple(kind.domain, kind.isValue, kind.isSmooth, kind.holds, kind.isCut, kind.before,
                              kind.after, kind.times.size());
        };
        if (head(a) != head(b)) return head(a) < head(b);
        return a.times < b.times;
    }
};

using Passing = std::pair<std::int64_t, std::uint16_t>;  // a key's time and channel

// What channels of one stream have in common.
using StreamKind = std::tuple<std::uint32_t, bool, bool>;  // domain, is a value, is smooth

class Packing
{
  public:
    Packing(double tolerance, ClipParts& parts) : mTolerance(tolerance), mParts(parts) {}

    void All(std::vector<PlannedChannel>& channels)
    {
        FindEnds(channels);
        std::map<RowKind, Channels> rows;
        for (PlannedChannel& channel : channels) {
            if (channel.keys.keys.empty()) {
                AddConstant(channel);
            } else {
                rows[KindOf(channel)].push_back(&channel);
            }
        }
        std::map<StreamKind, Channels> streams;
        std::vector<Channels> units;
        for (auto& [kind, group] : rows) {
            if (kind.isCut && group.size() > 1 && !CutAlike(group)) {
                for (PlannedChannel* channel : group) Sort({channel}, kind, units, streams);
            } else {
                Sort(group, kind, units, streams);
            }
        }
        std::uint32_t domain = 0;
        for (; domain < mParts.domainCount; ++domain) {
            for (const Channels& unit : units) {
                if (unit.front()->domain == domain) AddRows(unit);
            }
            for (const auto& [kind, group] : streams) {
                if (std::get<0>(kind) == domain) AddStreams(group);
            }
        }
    }

  private:
    RowKind KindOf(const PlannedChannel& channel) const
    {
        const PlayKeys& keys = channel.keys;
        const bool isCut = !keys.corners.empty();
        return {channel.domain,  channel.place < mParts.valueCount,
                keys.IsSmooth(), keys.Holds(),
                isCut,           keys.before,
                keys.after,      isCut ? keys.corners : TimesOf(keys)};
    }

    void FindEnds(const std::vector<PlannedChannel>& channels)
    {
        bool isFirst = true;
        for (const PlannedChannel& channel : channels) {
            if (channel.keys.keys.empty() || channel.isWeight) continue;
            const std::int64_t start = channel.keys.keys.front().time;
            const std::int64_t stop = channel.keys.keys.back().time;
            mParts.start = isFirst ? start : std::min(mParts.start, start);
            mParts.stop = isFirst ? stop : std::max(mParts.stop, stop);
            isFirst = false;
        }
    }

    // Channels with common key times get common cuts too, unless that makes too many of them.
    bool CutAlike(const Channels& group) const
    {
        constexpr std::size_t most = 4;
        std::vector<std::int64_t> times;
        std::size_t keys = 0;
        for (const PlannedChannel* channel : group) {
            const std::vector<std::int64_t> own = TimesOf(channel->keys);
            std::vector<std::int64_t> both;
            std::set_union(times.begin(), times.end(), own.begin(), own.end(), std::back_inserter(both));
            times = std::move(both);
            keys += own.size();
        }
        if (times.size() > most * keys / group.size()) return false;
        std::vector<PlayKeys> cut(group.size());
        for (std::size_t i = 0; i < group.size(); ++i) {
            MakePlayKeys(*group[i]->curve, mTolerance, &times, cut[i]);
            if (cut[i].keys.size() != times.size()) return false;
        }
        for (std::size_t i = 0; i < group.size(); ++i) group[i]->keys = std::move(cut[i]);
        return true;
    }

    static void Sort(const Channels& group, const RowKind& kind, std::vector<Channels>& units,
                     std::map<StreamKind, Channels>& streams)
    {
        const bool isHeld = kind.before == PlaySide{} && kind.after == PlaySide{};
        if (group.size() >= kFewestInRows || !isHeld) {
            units.push_back(group);
            return;
        }
        Channels& stream = streams[{kind.domain, kind.isValue, kind.isSmooth}];
        for (PlannedChannel* channel : group) {
            if (channel->keys.IsFinite()) {
                stream.push_back(channel);
            } else {
                units.push_back({channel});
            }
        }
    }

    void AddConstant(const PlannedChannel& channel)
    {
        mParts.places[channel.place] = {ClipPlace::kConstant,
                                        static_cast<std::uint32_t>(mParts.constants.size())};
        mParts.constants.push_back({channel.place, channel.keys.constant});
    }

    ClipUnit Begin(EClipUnit kind, const Channels& group)
    {
        const bool isSmooth = group.front()->keys.IsSmooth();
        ClipUnit unit{};
        unit.kind = kind;
        unit.stride = isSmooth ? 2 : 3;
        unit.holds = !isSmooth && group.front()->keys.Holds();
        unit.domain = group.front()->domain;
        unit.channelCount = static_cast<std::uint32_t>(group.size());
        unit.places = mParts.words.size();
        unit.times = mParts.times.size();
        unit.floats = mParts.floats.size();
        for (std::uint32_t i = 0; i < unit.channelCount; ++i) {
            mParts.words.push_back(group[i]->place);
            mParts.places[group[i]->place] = {static_cast<std::uint32_t>(mParts.units.size()), i};
            mParts.segmentCount += group[i]->keys.keys.size() - 1;
        }
        return unit;
    }

    void AddRows(const Channels& group)
    {
        ClipUnit unit = Begin(EClipUnit::Rows, group);
        const PlayKeys& first = group.front()->keys;
        unit.preMode = first.before.mode;
        unit.preCount = first.before.count;
        unit.postMode = first.after.mode;
        unit.postCount = first.after.count;
        unit.keyCount = first.keys.size();
        unit.isWide = unit.stride == 2 && 2 * sizeof(double) * unit.keyCount * group.size() <= kMostWide;
        if (unit.isWide) unit.floats = mParts.doubles.size();
        for (std::size_t row = 0; row < unit.keyCount; ++row) {
            mParts.times.push_back(first.keys[row].time);
            const auto add = [&](float PlayKey::*part) {
                for (const PlannedChannel* channel : group) {
                    const float number = channel->keys.keys[row].*part;
                    if (unit.isWide) {
                        mParts.doubles.push_back(static_cast<double>(number));
                    } else {
                        mParts.floats.push_back(number);
                    }
                }
            };
            add(&PlayKey::value);
            add(&PlayKey::in);
            if (unit.stride == 3) add(&PlayKey::out);
        }
        mParts.units.push_back(unit);
    }

    // Channels that lie too far apart in time, or are too many, go into several streams, and lone ones into
    // rows of their own.
    void AddStreams(Channels group)
    {
        std::stable_sort(group.begin(), group.end(), [](const PlannedChannel* a, const PlannedChannel* b) {
            return a->keys.keys.front().time < b->keys.keys.front().time;
        });
        for (std::size_t from = 0; from < group.size();) {
            const std::int64_t base = group[from]->keys.keys.front().time;
            std::size_t to = from;
            std::size_t keys = 0;
            for (; to < group.size() && to - from < kMostStreamed; ++to) {
                const std::vector<PlayKey>& next = group[to]->keys.keys;
                keys += next.size();
                const double ticks = TicksBetween(YTime(base), YTime(next.back().time));
                if (ticks >= static_cast<double>(kLongestSampled)) break;
                if (keys > std::numeric_limits<std::uint32_t>::max()) break;
            }
            to = std::max(to, from + 1);
            Channels part(group.begin() + static_cast<std::ptrdiff_t>(from),
                          group.begin() + static_cast<std::ptrdiff_t>(to));
            std::stable_sort(part.begin(), part.end(), [](const PlannedChannel* a, const PlannedChannel* b) {
                return a->place < b->place;
            });
            if (part.size() == 1) {
                AddRows(part);
            } else {
                AddStream(part, base);
            }
            from = to;
        }
    }

    void AddStream(const Channels& group, std::int64_t base)
    {
        ClipUnit unit = Begin(EClipUnit::Stream, group);
        unit.base = base;
        unit.blocks = mParts.blocks.size();
        std::vector<Passing> passing;
        for (std::size_t i = 0; i < group.size(); ++i) {
            for (const PlayKey& key : group[i]->keys.keys)
                passing.emplace_back(key.time, static_cast<std::uint16_t>(i));
        }
        unit.keyCount = passing.size();
        std::sort(passing.begin(), passing.end());

        const auto most = static_cast<std::ptrdiff_t>(kBlockKeys * group.size());
        std::vector<std::size_t> from(group.size());  // where each channel's keys in the block begin
        const auto behind = [&](auto first, std::int64_t time) {
            return std::upper_bound(first, passing.end(), Passing(time, UINT16_MAX));
        };
        std::int64_t start = INT64_MIN;
        for (auto first = behind(passing.begin(), start);; first = behind(first, start)) {
            // Blocks meet at a time, and all keys at it are their border.
            auto stop = passing.end();
            if (stop - first > most) stop = std::lower_bound(first, stop, Passing(first[most].first, 0));
            AddBlock(group, unit, start, {std::to_address(first), static_cast<std::size_t>(stop - first)},
                     from);
            if (stop == passing.end()) break;
            start = stop->first;
            for (std::size_t i = 0; i < group.size(); ++i) {
                if (from[i] > 0 && group[i]->keys.keys[from[i]].time > start) --from[i];
            }
            first = stop;
        }
        unit.blockCount = static_cast<std::uint32_t>(mParts.blocks.size() - unit.blocks);
        mParts.units.push_back(unit);
    }

    // \param inside  the keys between the start of the block and that of the next one, if there is one.
    // \param from    the last key of each channel at the start, or its first; moved on to the next block's.
    void AddBlock(const Channels& group, const ClipUnit& unit, std::int64_t start,
                  std::span<const Passing> inside, std::vector<std::size_t>& from)
    {
        mParts.blocks.push_back(
            {start, mParts.times.size(), mParts.floats.size(), mParts.words.size(), mParts.order.size(), 0});
        std::vector<std::size_t> count(group.size());
        for (const auto& [time, channel] : inside) ++count[channel];
        std::uint32_t keys = 0;
        for (std::size_t i = 0; i < group.size(); ++i) {
            const std::vector<PlayKey>& all = group[i]->keys.keys;
            const std::size_t before = all[from[i]].time <= start ? 1 : 0;
            const std::size_t last = std::min(from[i] + before + count[i], all.size() - 1);
            mParts.words.push_back(keys);
            keys += static_cast<std::uint32_t>(last + 1 - from[i]);
            for (std::size_t k = from[i]; k <= last; ++k) AddKey(all[k], unit.stride);
            from[i] = last;
        }
        mParts.words.push_back(keys);
        for (const auto& [time, channel] : inside) mParts.order.push_back(channel);
        mParts.blocks.back().orderCount = inside.size();
    }

    void AddKey(const PlayKey& key, std::uint8_t stride)
    {
        mParts.times.push_back(key.time);
        mParts.floats.insert(mParts.floats.end(), {key.value, key.in});
        if (stride == 3) mParts.floats.push_back(key.out);
    }

    double mTolerance;
    ClipParts& mParts;
};

}  // namespace

void Pack(std::vector<PlannedChannel>& channels, double tolerance, ClipParts& parts)
{
    Packing(tolerance, parts).All(channels);
}

PlayKeys Unpacked(const ClipView& clip, std::uint32_t place)
{
    PlayKeys result;
    const ClipPlace source = clip.places[place];
    if (source.unit == ClipPlace::kConstant) {
        result.constant = clip.constants[source.column].value;
        return result;
    }
    const ClipUnit& unit = clip.units[source.unit];
    for (std::uint32_t block = 0; block < std::max(unit.blockCount, 1u); ++block) {
        const KeyColumn column(clip, unit, source.column, block);
        for (std::uint32_t i = 0; i < column.count; ++i) {
            if (!result.keys.empty() && column.times[i] <= result.keys.back().time) continue;
            result.keys.push_back({column.times[i], column.Value(i), column.In(i), column.Out(i)});
        }
    }
    result.constant = result.keys.front().value;
    if (unit.kind == EClipUnit::Stream) return result;
    result.before = {unit.preMode, unit.preCount};
    result.after = {unit.postMode, unit.postCount};
    return result;
}

}  // namespace yfc
