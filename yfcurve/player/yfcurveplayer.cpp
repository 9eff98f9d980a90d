#include "yfcurve/yfcurveplayer.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/node/layers/evaluationpass.h"
#include "yfcurve/player/clipdata.h"
#include "yfcurve/player/streamcursor.h"
#include "yfcurve/yfcurvelayer.h"

using yfc::ClipOp;
using yfc::ClipPlace;
using yfc::ClipUnit;
using yfc::EClipOp;
using yfc::KeyColumn;
using yfc::KeyMoment;

namespace {

// Where a unit's values go.
struct UnitTarget
{
    bool areValues = false;    // of the clip, all of them
    bool areTogether = false;  // and one behind the other
    std::uint32_t cursor = 0;  // the row, or which of the stream cursors
};

}  // namespace

struct YFCurvePlayer::Impl
{
    explicit Impl(std::shared_ptr<const yfc::ClipData> shared);

    void Evaluate(YTime time, float* values);
    void FillConstants(float* values) const;
    void EvaluateDomain(std::uint32_t domain, YTime time, float* values);
    void EvaluateUnit(std::uint32_t index, YTime time, float* values);
    void EvaluateRows(const ClipUnit& unit, std::uint32_t& cursor, YTime time, float* values) const;
    static void EvaluateWideRows(const KeyColumn& keys, const KeyMoment& moment, std::size_t count,
                                 float* values);
    void Scatter(const ClipUnit& unit, const UnitTarget& target, float* values);
    void Operate(float* values);
    void Blend(const ClipOp& op);
    void Turn(const ClipOp& op);
    float ValueAt(const float* values, std::uint32_t place) const
    {
        return place < clip.header->valueCount ? values[place] : inner[place - clip.header->valueCount];
    }
    // Whether a channel is nothing but a column of a unit, in the time of the scene.
    bool IsColumn(int channel) const;
    bool IsConstant(int channel) const { return Place(channel).unit == ClipPlace::kConstant; }
    const ClipPlace& Place(int channel) const { return clip.places[static_cast<std::size_t>(channel)]; }
    float ColumnAt(const ClipPlace& place, YTime time);
    void SampleBlocks(const ClipPlace& place, std::span<const YTime> wanted, float* values);
    std::size_t Sample(const KeyColumn& keys, YTime first, YTime stop, std::span<const YTime> wanted,
                       float* values);

    std::shared_ptr<const yfc::ClipData> data;
    const yfc::ClipView& clip;
    std::vector<UnitTarget> targets;
    std::vector<std::uint32_t> firstUnits;  // of each domain, and one behind the last
    std::vector<yfc::StreamCursor> streams;
    std::vector<float> row;    // of a unit whose values stand apart
    std::vector<float> inner;  // the places behind the clip's values
    std::vector<float> all;    // the clip's values, for queries that want some of them
    std::vector<double> slots;
    std::vector<double> weights;  // of the rules
    std::vector<YTime> times;     // of the domains
    std::uint32_t hint = 0;       // of the channel that was sampled last
};

YFCurvePlayer::Impl::Impl(std::shared_ptr<const yfc::ClipData> shared)
    : data(std::move(shared)),
      clip(data->view),
      targets(clip.units.size()),
      inner(clip.header->placeCount - clip.header->valueCount),
      all(clip.header->valueCount),
      slots(clip.header->slotCount),
      times(clip.header->domainCount)
{
    std::size_t widest = 0;
    for (std::size_t i = 0; i < clip.units.size(); ++i) {
        const ClipUnit& unit = clip.units[i];
        const auto places = clip.words.subspan(unit.places, unit.channelCount);
        const auto isApart = [](std::uint32_t a, std::uint32_t b) { return b != a + 1; };
        targets[i].areValues = *std::max_element(places.begin(), places.end()) < clip.header->valueCount;
        targets[i].areTogether =
            targets[i].areValues && std::adjacent_find(places.begin(), places.end(), isApart) == places.end();
        if (unit.kind == yfc::EClipUnit::Stream) {
            targets[i].cursor = static_cast<std::uint32_t>(streams.size());
            streams.emplace_back(clip, unit);
        }
        widest = std::max<std::size_t>(widest, unit.channelCount);
        while (firstUnits.size() <= unit.domain) firstUnits.push_back(static_cast<std::uint32_t>(i));
    }
    while (firstUnits.size() <= clip.header->domainCount) {
        firstUnits.push_back(static_cast<std::uint32_t>(clip.units.size()));
    }
    row.resize(widest);
    for (const yfc::ClipRule& rule : clip.rules) weights.push_back(rule.weight);
    const std::uint32_t count = clip.header->valueCount;
    for (const yfc::ClipConstant& constant : clip.constants) {
        if (constant.place >= count) inner[constant.place - count] = constant.value;
    }
}

void YFCurvePlayer::Impl::FillConstants(float* values) const
{
    for (const yfc::ClipConstant& constant : clip.constants) {
        if (constant.place < clip.header->valueCount) values[constant.place] = constant.value;
    }
}

void YFCurvePlayer::Impl::Evaluate(YTime time, float* values)
{
    EvaluateDomain(0, time, values);
    if (!clip.ops.empty()) Operate(values);
}

void YFCurvePlayer::Impl::EvaluateDomain(std::uint32_t domain, YTime time, float* values)
{
    times[domain] = time;
    for (std::uint32_t i = firstUnits[domain]; i < firstUnits[domain + 1]; ++i) EvaluateUnit(i, time, values);
}

void YFCurvePlayer::Impl::EvaluateUnit(std::uint32_t index, YTime time, float* values)
{
    const ClipUnit& unit = clip.units[index];
    UnitTarget& target = targets[index];
    float* const to = target.areTogether ? values + clip.words[unit.places] : row.data();
    if (unit.kind == yfc::EClipUnit::Stream) {
        streams[target.cursor].Evaluate(time, to);
    } else {
        EvaluateRows(unit, target.cursor, time, to);
    }
    if (!target.areTogether) Scatter(unit, target, values);
}

void YFCurvePlayer::Impl::EvaluateRows(const ClipUnit& unit, std::uint32_t& cursor, YTime time,
                                       float* values) const
{
    const KeyColumn keys(clip, unit, 0, 0);
    const KeyMoment moment = MomentOf(keys, time, cursor);
    if (keys.wide != nullptr) return EvaluateWideRows(keys, moment, unit.channelCount, values);
    const float* const start = keys.values + moment.key * keys.step;
    const std::size_t count = unit.channelCount;
    switch (moment.place) {
        case KeyMoment::OnKey:
            std::copy(start, start + count, values);
            return;
        case KeyMoment::OnLine:
            return yfc::ExtendRow(start, start + (moment.key == 0 ? keys.in : keys.out), count,
                                  moment.seconds, values);
        case KeyMoment::Between:
            break;
    }
    const float* const end = start + keys.step;
    const yfc::RowPair rows{start, start + keys.out, end, end + keys.in};
    if (unit.holds) return BlendRowsThatHold(rows, count, moment.weights, values);
    BlendRows(rows, count, moment.weights, values);
}

void YFCurvePlayer::Impl::EvaluateWideRows(const KeyColumn& keys, const KeyMoment& moment, std::size_t count,
                                           float* values)
{
    const double* const start = keys.wide + moment.key * keys.step;
    const double* const slopes = start + keys.in;
    switch (moment.place) {
        case KeyMoment::OnKey:
            std::transform(start, start + count, values,
                           [](double value) { return static_cast<float>(value); });
            return;
        case KeyMoment::OnLine:
            for (std::size_t i = 0; i < count; ++i) {
                values[i] = yfc::OnLine(start[i], slopes[i], moment.seconds);
            }
            return;
        case KeyMoment::Between:
            break;
    }
    const double* const end = start + keys.step;
    BlendWideRows({start, slopes, end, end + keys.in}, count, moment.weights, values);
}

void YFCurvePlayer::Impl::Scatter(const ClipUnit& unit, const UnitTarget& target, float* values)
{
    const std::uint32_t* const places = clip.words.data() + unit.places;
    if (target.areValues) {
        for (std::uint32_t i = 0; i < unit.channelCount; ++i) values[places[i]] = row[i];
        return;
    }
    const std::uint32_t count = clip.header->valueCount;
    for (std::uint32_t i = 0; i < unit.channelCount; ++i) {
        float& value = places[i] < count ? values[places[i]] : inner[places[i] - count];
        value = row[i];
    }
}

// --- Layers --------------------------------------------------------------------------------------------

void YFCurvePlayer::Impl::Operate(float* values)
{
    for (const ClipOp& op : clip.ops) {
        double* const slot = slots.data() + op.slot;
        switch (op.type) {
            case EClipOp::Channel:
                *slot = static_cast<double>(ValueAt(values, op.from));
                break;
            case EClipOp::Constant:
                std::fill_n(slot, op.count, op.value);
                break;
            case EClipOp::Blend:
                Blend(op);
                break;
            case EClipOp::Weight:
                weights[op.index] = YFCurveWeightedLayer::WeightOf(ValueAt(values, op.from));
                break;
            case EClipOp::Turn:
                Turn(op);
                break;
            case EClipOp::Warp:
                EvaluateDomain(op.index, YTime::FromSeconds(*slot), values);
                break;
            case EClipOp::Output:
                for (std::uint32_t i = 0; i < op.count; ++i)
                    values[op.index + i] = static_cast<float>(slot[i]);
                break;
        }
    }
}

void YFCurvePlayer::Impl::Blend(const ClipOp& op)
{
    const yfc::ClipRule& rule = clip.rules[op.index];
    const double weight = rule.layer < data->layers.size()
                              ? data->layers[rule.layer]->GetWeight(times[rule.domain])
                              : weights[op.index];
    const yfc::LayerBlend blend({static_cast<yfc::LayerBlend::EKind>(rule.kind),
                                 static_cast<eLayerMode>(rule.mode), static_cast<eRotationOrder>(rule.order)},
                                weight);
    blend.Accumulate(slots.data() + op.slot, slots.data() + op.from, op.count);
}

void YFCurvePlayer::Impl::Turn(const ClipOp& op)
{
    const yfc::ClipTurns& table = clip.turns[op.index];
    const auto keys = clip.times.subspan(table.times, table.count);
    const YTime time = times[table.domain];
    const auto next = std::upper_bound(keys.begin(), keys.end(), time.Get());
    if (next == keys.begin() || next == keys.end() || *std::prev(next) == time.Get()) return;
    const std::int64_t start = *std::prev(next);
    const float* const from = clip.floats.data() + table.floats + (next - keys.begin() - 1) * 4;
    if (from[3] == 0.0f) return;
    const double fraction =
        yfc::TicksBetween(YTime(start), time) / yfc::TicksBetween(YTime(start), YTime(*next));
    const auto angles = [](const auto* three) {
        return YgeRVector(static_cast<double>(three[0]), static_cast<double>(three[1]),
                          static_cast<double>(three[2]));
    };
    double* const slot = slots.data() + op.slot;
    const YgeRVector turned = yfc::TurnedBetween(angles(from), angles(from + 4), fraction, angles(slot),
                                                 static_cast<eRotationOrder>(table.order));
    for (int i = 0; i < yfc::kRotationComponents; ++i) slot[i] = turned[i];
}

// --- Some of it ----------------------------------------------------------------------------------------

bool YFCurvePlayer::Impl::IsColumn(int channel) const
{
    const ClipPlace& place = Place(channel);
    return place.unit < clip.units.size() && clip.units[place.unit].domain == 0;
}

float YFCurvePlayer::Impl::ColumnAt(const ClipPlace& place, YTime time)
{
    const ClipUnit& unit = clip.units[place.unit];
    if (unit.kind == yfc::EClipUnit::Rows) {
        return KeyColumn(clip, unit, place.column, 0).At(time, targets[place.unit].cursor);
    }
    std::uint32_t key = 0;
    return KeyColumn(clip, unit, place.column, BlockAt(clip.BlocksOf(unit), time)).At(time, key);
}

void YFCurvePlayer::Impl::SampleBlocks(const ClipPlace& place, std::span<const YTime> wanted, float* values)
{
    const ClipUnit& unit = clip.units[place.unit];
    if (unit.kind == yfc::EClipUnit::Rows) {
        Sample(KeyColumn(clip, unit, place.column, 0), YTime(INT64_MIN), YTIME_INFINITE, wanted, values);
        return;
    }
    const std::span<const yfc::ClipBlock> blocks = clip.BlocksOf(unit);
    for (std::size_t i = 0; i < wanted.size();) {
        const std::size_t block = BlockAt(blocks, wanted[i]);
        const YTime stop(block + 1 < blocks.size() ? blocks[block + 1].start - 1 : INT64_MAX);
        const KeyColumn keys(clip, unit, place.column, block);
        i += Sample(keys, YTime(blocks[block].start), stop, wanted.subspan(i), values + i);
    }
}

// Ends before the first time outside a span. Times in one segment follow each other, mostly; at its start key
// they have that one's value. Returns how many times were sampled.
std::size_t YFCurvePlayer::Impl::Sample(const KeyColumn& keys, YTime first, YTime stop,
                                        std::span<const YTime> wanted, float* values)
{
    const std::uint32_t last = keys.count - 1;
    hint = std::min(hint, last);
    std::size_t i = 0;
    while (i < wanted.size() && wanted[i] >= first && wanted[i] <= stop) {
        const YTime time = wanted[i];
        const bool isInside = time > keys.Time(0) && time < keys.Time(last);
        const std::uint32_t key = isInside ? keys.Find(time, hint) : 0;
        const YTime start = keys.Time(key);
        const bool isLong = isInside && yfc::TicksBetween(start, keys.Time(key + 1)) >=
                                            static_cast<double>(yfc::kLongestSampled);
        if (!isInside || time == start || isLong) {
            values[i++] = keys.At(time, hint);
            continue;
        }
        hint = key;
        const YTime next = keys.Time(key + 1);
        std::size_t end = i + 1;
        while (end < wanted.size() && wanted[end] > start && wanted[end] < next) ++end;
        if (keys.Out(key) == yfc::kHolds) {
            std::fill(values + i, values + end, keys.Value(key));
        } else {
            yfc::SampleSegment(keys.SegmentFrom(key), wanted.data() + i, end - i, values + i);
        }
        i = end;
    }
    return i;
}

// --- Public --------------------------------------------------------------------------------------------

YFCurvePlayer::YFCurvePlayer(std::unique_ptr<Impl> impl) : mImpl(std::move(impl)) {}
YFCurvePlayer::~YFCurvePlayer() = default;

std::unique_ptr<YFCurvePlayer> YFCurvePlayer::Create(const YFCurveClip& clip)
{
    return yfc::Guarded([&] {
        return std::unique_ptr<YFCurvePlayer>(new YFCurvePlayer(std::make_unique<Impl>(clip.mImpl->data)));
    });
}

void YFCurvePlayer::Evaluate(YTime time, std::span<float> values)
{
    if (values.size() < mImpl->clip.header->valueCount) return;
    mImpl->FillConstants(values.data());
    mImpl->Evaluate(time, values.data());
}

void YFCurvePlayer::EvaluateMoving(YTime time, std::span<float> values)
{
    if (values.size() < mImpl->clip.header->valueCount) return;
    mImpl->Evaluate(time, values.data());
}

void YFCurvePlayer::Evaluate(YTime time, std::span<const int> channels, std::span<float> values)
{
    if (values.size() != channels.size()) return;
    const auto isComputed = [this](int channel) {
        return !mImpl->IsColumn(channel) && !mImpl->IsConstant(channel);
    };
    if (std::any_of(channels.begin(), channels.end(), isComputed)) {
        mImpl->FillConstants(mImpl->all.data());
        mImpl->Evaluate(time, mImpl->all.data());
        for (std::size_t i = 0; i < channels.size(); ++i) {
            values[i] = mImpl->all[static_cast<std::size_t>(channels[i])];
        }
        return;
    }
    for (std::size_t i = 0; i < channels.size(); ++i) {
        const ClipPlace& place = mImpl->Place(channels[i]);
        const bool isConstant = mImpl->IsConstant(channels[i]);
        values[i] = isConstant ? mImpl->clip.constants[place.column].value : mImpl->ColumnAt(place, time);
    }
}

void YFCurvePlayer::Evaluate(int channel, std::span<const YTime> times, std::span<float> values)
{
    if (values.size() != times.size()) return;
    const ClipPlace& place = mImpl->Place(channel);
    if (mImpl->IsConstant(channel)) {
        std::fill(values.begin(), values.end(), mImpl->clip.constants[place.column].value);
    } else if (mImpl->IsColumn(channel)) {
        mImpl->SampleBlocks(place, times, values.data());
    } else {
        for (std::size_t i = 0; i < times.size(); ++i) {
            mImpl->Evaluate(times[i], mImpl->all.data());
            values[i] = mImpl->all[static_cast<std::size_t>(channel)];
        }
    }
}
