#include "web/engine/keys.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <new>

#include <fmt/format.h>

#include "yfcurve/yfcurveptr.h"
#include "ymotion/scene/frame_rate.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

namespace editor {

using namespace ymotion;

Interpolation InterpolationOf(const YFCurve& curve, int index)
{
    switch (curve.KeyGetInterpolation(index)) {
        case YFCURVE_INTERP_CONSTANT:
            return curve.KeyGetConstantMode(index) == YFCURVE_CONSTANT_NEXT ? Interpolation::ConstantNext
                                                                            : Interpolation::Constant;
        case YFCURVE_INTERP_LINEAR:
            return Interpolation::Linear;
        default:
            return Interpolation::Cubic;
    }
}

namespace {

/// Times beyond are as good as infinite.
constexpr double kMostTicks = 0x1p62;

TangentMode TangentModeOf(const YFCurve& curve, int index)
{
    const unsigned mode = curve.KeyGetTangeantMode(index);
    const bool isBroken = (mode & YFCURVE_TANGENT_BREAK) != 0;
    if ((mode & YFCURVE_TANGENT_TCB) != 0) return TangentMode::Tcb;
    if ((mode & YFCURVE_TANGENT_USER) != 0) return isBroken ? TangentMode::UserBreak : TangentMode::User;
    return isBroken ? TangentMode::AutoBreak : TangentMode::Auto;
}

unsigned BitsOf(TangentMode mode)
{
    switch (mode) {
        case TangentMode::Auto:
            return YFCURVE_TANGENT_AUTO;
        case TangentMode::AutoBreak:
            return YFCURVE_TANGENT_AUTO_BREAK;
        case TangentMode::Tcb:
            return YFCURVE_TANGENT_TCB;
        case TangentMode::User:
            return YFCURVE_TANGENT_USER;
        case TangentMode::UserBreak:
            return YFCURVE_TANGENT_USER_BREAK;
    }
    return YFCURVE_TANGENT_AUTO;
}

void CheckNumber(double number, const char* what)
{
    if (!std::isfinite(number)) throw Failure(fmt::format("the {} is no number", what));
}

/// Where others are marked as auto, a constant key has which value it shows.
void TakeConstantModeAway(YFCurve& curve, int index)
{
    if (curve.KeyGetInterpolation(index) != YFCURVE_INTERP_CONSTANT) return;
    const unsigned autoBit = YFCURVE_TANGENT_AUTO;
    const unsigned others = curve.KeyGetTangeantMode(index, true) & ~autoBit;
    const bool isOther = (others & (YFCURVE_TANGENT_TCB | YFCURVE_TANGENT_USER)) != 0;
    curve.KeySetTangeantMode(index, isOther ? others : others | autoBit);
}

/// What becomes cubic without tangents, as keys from other programs may, gets those of a new key.
void MakeCubic(YFCurve& curve, int index)
{
    if (curve.KeyGetInterpolation(index) == YFCURVE_INTERP_CUBIC) return;
    curve.KeySetInterpolation(index, YFCURVE_INTERP_CUBIC);
    const unsigned mode = curve.KeyGetTangeantMode(index);
    const unsigned kinds = YFCURVE_TANGENT_AUTO | YFCURVE_TANGENT_TCB | YFCURVE_TANGENT_USER;
    if ((mode & kinds) == 0) curve.KeySetTangeantMode(index, mode | YFCURVE_TANGENT_AUTO);
}

void SetInterpolation(YFCurve& curve, int index, Interpolation interpolation)
{
    const bool isConstant =
        interpolation == Interpolation::Constant || interpolation == Interpolation::ConstantNext;
    if (!isConstant) TakeConstantModeAway(curve, index);
    switch (interpolation) {
        case Interpolation::Constant:
        case Interpolation::ConstantNext:
            curve.KeySetInterpolation(index, YFCURVE_INTERP_CONSTANT);
            curve.KeySetConstantMode(index, interpolation == Interpolation::Constant
                                                ? YFCURVE_CONSTANT_STANDARD
                                                : YFCURVE_CONSTANT_NEXT);
            break;
        case Interpolation::Linear:
            curve.KeySetInterpolation(index, YFCURVE_INTERP_LINEAR);
            break;
        case Interpolation::Cubic:
            MakeCubic(curve, index);
            break;
    }
}

void SetClamped(YFCurve& curve, int index, bool clamped)
{
    const unsigned mode = curve.KeyGetTangeantMode(index, true);
    const unsigned clamp = YFCURVE_TANGENT_CLAMP;
    curve.KeySetTangeantMode(index, clamped ? mode | clamp : mode & ~clamp);
}

/// Slopes stay as far as the mode can have them. What is not cubic keeps what it stores; of a constant key that is
/// which value it shows. Auto keys stay clamped.
void SetTangent(YFCurve& curve, int index, TangentMode mode)
{
    const unsigned before = curve.KeyGetTangeantMode(index, true);
    const bool isCubic = curve.KeyGetInterpolation(index) == YFCURVE_INTERP_CUBIC;
    const unsigned autoBit = BitsOf(mode) & YFCURVE_TANGENT_AUTO;
    const unsigned kept = autoBit != 0 ? before & YFCURVE_TANGENT_OVERRIDES : 0u;
    // An auto key that is broken or unified keeps its parameters.
    if (isCubic && (before & autoBit) != 0) return curve.KeySetTangeantMode(index, BitsOf(mode) | kept);
    curve.KeyTurnTo(index, BitsOf(mode) | kept);
}

/// Only user keys have slopes of their own.
void SetSlopes(YFCurve& curve, int index, const KeyChange& change)
{
    if (!change.leftSlope && !change.rightSlope) return;
    const TangentMode mode = TangentModeOf(curve, index);
    const bool isBroken = mode == TangentMode::AutoBreak || mode == TangentMode::UserBreak;
    SetTangent(curve, index, isBroken ? TangentMode::UserBreak : TangentMode::User);
    if (isBroken) {
        if (change.leftSlope) curve.KeySetLeftDerivative(index, *change.leftSlope);
        if (change.rightSlope) curve.KeySetRightDerivative(index, *change.rightSlope);
        return;
    }
    const float slope = change.leftSlope ? *change.leftSlope : *change.rightSlope;
    curve.KeySetLeftDerivative(index, slope);
    curve.KeySetRightDerivative(index, slope);
}

void SetWeights(YFCurve& curve, int index, const KeyChange& change)
{
    if (change.leftWeight) {
        if (*change.leftWeight > 0.0f) {
            curve.KeySetLeftTangeantWeight(index, *change.leftWeight);
        } else {
            curve.KeySetLeftTangeantWeightedMode(index, false);
        }
    }
    // Where others have that weight, TCB keys have their bias.
    if (!change.rightWeight || TangentModeOf(curve, index) == TangentMode::Tcb) return;
    if (*change.rightWeight > 0.0f) {
        curve.KeySetRightTangeantWeight(index, *change.rightWeight);
    } else {
        curve.KeySetRightTangeantWeightedMode(index, false);
    }
}

void SetTcb(YFCurve& curve, int index, const KeyChange& change)
{
    if (!change.tension && !change.continuity && !change.bias) return;
    SetTangent(curve, index, TangentMode::Tcb);
    if (change.tension) curve.KeySetDataFloat(index, YFCURVEKEY_TCB_TENSION, *change.tension);
    if (change.continuity) curve.KeySetDataFloat(index, YFCURVEKEY_TCB_CONTINUITY, *change.continuity);
    if (change.bias) curve.KeySetDataFloat(index, YFCURVEKEY_TCB_BIAS, *change.bias);
}

void CheckChange(const KeyChange& change)
{
    const std::pair<const std::optional<float>*, const char*> numbers[] = {
        {&change.value, "value"},           {&change.leftSlope, "slope"},    {&change.rightSlope, "slope"},
        {&change.leftWeight, "weight"},     {&change.rightWeight, "weight"}, {&change.tension, "tension"},
        {&change.continuity, "continuity"}, {&change.bias, "bias"}};
    for (const auto& [number, what] : numbers)
        if (*number) CheckNumber(static_cast<double>(**number), what);
}

void SelectKey(YFCurve& curve, int index, SelectionMode mode)
{
    const bool selected =
        mode == SelectionMode::Toggle ? !curve.KeyGetSelected(index) : mode != SelectionMode::Remove;
    curve.KeySetSelected(index, selected);
}

/// For changes of the selection alone: undo, which would look at every key of the curve, is told before the next
/// edit.
class QuietSelection
{
  public:
    QuietSelection(Document& document, int track)
        : mNode(*document.TrackOf(track).node), mCurve(document.CurveOf(track))
    {
        document.SelectionChanges(track);
        mNode.CallbackEnable(false);
        mCurve.KeyModifyBegin();
    }
    ~QuietSelection()
    {
        mCurve.KeyModifyEnd();
        mNode.CallbackClear();
        mNode.CallbackEnable(true);
    }
    QuietSelection(const QuietSelection&) = delete;
    QuietSelection& operator=(const QuietSelection&) = delete;

  private:
    YFCurveNode& mNode;
    YFCurve& mCurve;
};

void DeselectAll(Document& document)
{
    for (const TrackKeys& keys : document.SelectedKeys()) {
        const QuietSelection quiet(document, keys.track);
        document.CurveOf(keys.track).KeySetSelectedAll(false);
    }
}

}  // namespace

void CheckIndices(const YFCurve& curve, const std::vector<int>& indices)
{
    for (const int index : indices)
        if (index < 0 || index >= curve.KeyGetCount())
            throw Failure(fmt::format("there is no key {}; there are {}", index, curve.KeyGetCount()));
}

void KeyRange::Include(YTime time, double value)
{
    const bool isFirst = count++ == 0;
    start = isFirst ? time : std::min(start, time);
    stop = isFirst ? time : std::max(stop, time);
    least = isFirst ? value : std::min(least, value);
    greatest = isFirst ? value : std::max(greatest, value);
}

int FirstFrom(const YFCurve& curve, YTime time, int from)
{
    const int count = curve.KeyGetCount();
    int low = from;
    int high = from;
    for (int stride = 1; high < count && curve.KeyGetTime(high) < time; stride *= 2) {
        low = high + 1;
        high = high < count - stride ? high + stride : count;
    }
    while (low < high) {
        const int middle = low + (high - low) / 2;
        if (curve.KeyGetTime(middle) < time) {
            low = middle + 1;
        } else {
            high = middle;
        }
    }
    return low;
}

void IncludeCurve(const YFCurve& curve, YTime start, YTime stop, KeyRange& range)
{
    constexpr std::size_t kSamples = 400;
    const int count = curve.KeyGetCount();
    for (int i = FirstFrom(curve, start); i < count && curve.KeyGetTime(i) <= stop; ++i)
        range.Include(curve.KeyGetTime(i), static_cast<double>(curve.KeyGetValue(i)));
    if (count == 0) return;
    const auto isOpen = [](YTime time) { return std::abs(static_cast<double>(time.Get())) >= kMostTicks; };
    if (isOpen(start)) start = curve.KeyGetTime(0);
    if (isOpen(stop)) stop = curve.KeyGetTime(count - 1);
    if (stop < start) return;
    const YTime step((stop - start).Get() / static_cast<std::int64_t>(kSamples));
    std::vector<float> values(kSamples + 1);
    curve.Evaluate(start, step, values);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const YTime time = start + YTime(step.Get() * static_cast<std::int64_t>(i));
        range.Include(time, static_cast<double>(values[i]));
    }
}

double TicksOf(YTime time)
{
    return static_cast<double>(time.Get());
}

YTime TimeOf(double ticks)
{
    if (std::isnan(ticks)) throw Failure("the time is no number");
    return YTime(std::llround(std::clamp(ticks, -kMostTicks, kMostTicks)));
}

KeyTable TableOf(const YFCurve& curve)
{
    KeyTable table;
    const int count = curve.KeyGetCount();
    for (int i = 0; i < count; ++i) {
        const TangentMode mode = TangentModeOf(curve, i);
        const bool isTcb = mode == TangentMode::Tcb;
        const unsigned overrides = curve.KeyGetTangeantMode(i, true);
        table.time.push_back(static_cast<double>(curve.KeyGetTime(i).Get()));
        table.value.push_back(curve.KeyGetValue(i));
        table.interpolation.push_back(static_cast<std::uint8_t>(InterpolationOf(curve, i)));
        table.tangent.push_back(static_cast<std::uint8_t>(mode));
        table.clamped.push_back((overrides & YFCURVE_TANGENT_CLAMP) != 0);
        table.selected.push_back(curve.KeyGetSelected(i));
        table.leftSlope.push_back(curve.KeyGetLeftDerivative(i));
        table.rightSlope.push_back(curve.KeyGetRightDerivative(i));
        table.leftWeight.push_back(curve.KeyGetLeftTangeantWeight(i));
        table.rightWeight.push_back(curve.KeyGetRightTangeantWeight(i));
        table.leftWeighted.push_back(curve.KeyIsLeftTangeantWeighted(i));
        table.rightWeighted.push_back(curve.KeyIsRightTangeantWeighted(i));
        table.tension.push_back(isTcb ? curve.KeyGetDataFloat(i, YFCURVEKEY_TCB_TENSION) : 0.0f);
        table.continuity.push_back(isTcb ? curve.KeyGetDataFloat(i, YFCURVEKEY_TCB_CONTINUITY) : 0.0f);
        table.bias.push_back(isTcb ? curve.KeyGetDataFloat(i, YFCURVEKEY_TCB_BIAS) : 0.0f);
    }
    return table;
}

// --- Selection -----------------------------------------------------------------------------------------

void SelectKeys(Document& document, SelectionMode mode, const std::vector<TrackKeys>& keys)
{
    for (const TrackKeys& each : keys) CheckIndices(document.CurveOf(each.track), each.indices);
    if (mode == SelectionMode::Replace) DeselectAll(document);
    for (const TrackKeys& each : keys) {
        YFCurve& curve = document.CurveOf(each.track);
        const QuietSelection quiet(document, each.track);
        for (const int index : each.indices) SelectKey(curve, index, mode);
    }
}

void SelectBox(Document& document, SelectionMode mode, const std::vector<int>& tracks, const Box& box)
{
    std::vector<TrackKeys> keys;
    for (const int track : tracks) {
        const YFCurve& curve = document.CurveOf(track);
        TrackKeys inside{track, {}};
        for (int i = FirstFrom(curve, box.start); i < curve.KeyGetCount() && curve.KeyGetTime(i) <= box.stop;
             ++i) {
            const auto value = static_cast<double>(curve.KeyGetValue(i));
            if (value >= box.low && value <= box.high) inside.indices.push_back(i);
        }
        if (!inside.indices.empty()) keys.push_back(std::move(inside));
    }
    SelectKeys(document, mode, keys);
}

void SelectAll(Document& document, const std::vector<int>& tracks)
{
    for (const int track : tracks) {
        const QuietSelection quiet(document, track);
        document.CurveOf(track).KeySetSelectedAll(true);
    }
}

void ClearSelection(Document& document)
{
    DeselectAll(document);
}

void SelectAgain(Document& document, const std::vector<TrackKeys>& keys)
{
    std::vector<TrackKeys> there;
    for (const TrackKeys& each : keys) {
        const bool isThere =
            document.HasTrack(each.track) && each.indices.back() < document.CurveOf(each.track).KeyGetCount();
        if (isThere) there.push_back(each);
    }
    SelectKeys(document, SelectionMode::Replace, there);
}

KeyRange SelectionRange(Document& document)
{
    KeyRange range;
    for (const TrackKeys& keys : document.SelectedKeys()) {
        const YFCurve& curve = document.CurveOf(keys.track);
        for (const int i : keys.indices)
            range.Include(curve.KeyGetTime(i), static_cast<double>(curve.KeyGetValue(i)));
    }
    return range;
}

// --- Edits ---------------------------------------------------------------------------------------------

std::vector<TrackKeys> InsertKeys(Document& document, const std::vector<int>& tracks, YTime time)
{
    std::vector<TrackKeys> inserted;
    for (const int track : tracks) document.EditableCurve(track);
    document.Run("Insert keys", [&] {
        for (const int track : tracks) {
            const int index = document.EditableCurve(track).KeyInsert(time);
            if (index < 0) throw std::bad_alloc();
            inserted.push_back({track, {index}});
        }
    });
    return inserted;
}

int AddKey(YFCurve& curve, YTime time, float value)
{
    const YFCurveModify bracket(curve);
    const int index = curve.KeyAdd(time);
    if (index < 0) throw std::bad_alloc();
    curve.KeySetValue(index, value);
    return index;
}

int AddKey(Document& document, int track, YTime time, float value)
{
    CheckNumber(static_cast<double>(value), "value");
    YFCurve& curve = document.EditableCurve(track);
    int index = -1;
    document.Run("Add key", [&] { index = AddKey(curve, time, value); });
    return index;
}

void SetKey(YFCurve& curve, int index, const KeyChange& change)
{
    CheckChange(change);
    if (change.value) curve.KeySetValue(index, *change.value);
    if (change.interpolation) SetInterpolation(curve, index, *change.interpolation);
    if (change.tangent) SetTangent(curve, index, *change.tangent);
    if (change.clamped) SetClamped(curve, index, *change.clamped);
    SetSlopes(curve, index, change);
    SetWeights(curve, index, change);
    SetTcb(curve, index, change);
}

void DeleteKeys(Document& document, const std::vector<TrackKeys>& keys)
{
    for (const TrackKeys& each : keys) CheckIndices(document.EditableCurve(each.track), each.indices);
    document.Run("Delete keys", [&] {
        for (const TrackKeys& each : keys)
            if (!document.EditableCurve(each.track).KeyRemove(each.indices)) throw std::bad_alloc();
    });
}

void SetKeys(Document& document, const std::vector<TrackKeys>& keys, const KeyChange& change)
{
    CheckChange(change);
    for (const TrackKeys& each : keys) CheckIndices(document.EditableCurve(each.track), each.indices);
    document.Run("Change keys", [&] {
        for (const TrackKeys& each : keys) {
            YFCurve& curve = document.EditableCurve(each.track);
            const YFCurveModify bracket(curve);
            for (const int index : each.indices) SetKey(curve, index, change);
        }
    });
}

void SetKeyTime(Document& document, int track, int index, YTime time)
{
    YFCurve& curve = document.EditableCurve(track);
    CheckIndices(curve, {index});
    const bool isBefore = index > 0 && time <= curve.KeyGetTime(index - 1);
    const bool isBehind = index + 1 < curve.KeyGetCount() && time >= curve.KeyGetTime(index + 1);
    if (isBefore || isBehind)
        throw Failure("the time is not between those of the keys beside it; drag the key instead");
    document.Run("Move key", [&] { curve.KeySetTime(index, time); });
}

void SetValues(Document& document, int track, const std::vector<int>& indices,
               const std::vector<float>& values)
{
    YFCurve& curve = document.EditableCurve(track);
    CheckIndices(curve, indices);
    if (indices.size() != values.size()) throw Failure("there have to be as many values as keys");
    for (const float value : values) CheckNumber(static_cast<double>(value), "value");
    document.Run("Set values", [&] {
        if (!curve.KeySet(indices, values)) throw std::bad_alloc();
    });
}

namespace {

/// The key at a time; -1 for none.
int KeyAt(const YFCurve& curve, YTime time)
{
    const int index = FirstFrom(curve, time);
    return index < curve.KeyGetCount() && curve.KeyGetTime(index) == time ? index : -1;
}

/// Of keys that come to one frame the last remains. A key that is there already and takes no part goes.
void SnapKeys(YFCurve& curve, const std::vector<int>& indices, FrameRate rate)
{
    std::vector<YTime> times;
    for (const int index : indices) times.push_back(curve.KeyGetTime(index));
    const YFCurveModify bracket(curve);
    for (std::size_t i = 0; i < times.size(); ++i) {
        const YTime snapped = SnappedToFrame(times[i], rate);
        if (i + 1 < times.size() && SnappedToFrame(times[i + 1], rate) == snapped) {
            curve.KeyRemove(KeyAt(curve, times[i]));
            continue;
        }
        if (snapped == times[i]) continue;
        if (const int there = KeyAt(curve, snapped); there >= 0) curve.KeyRemove(there);
        if (curve.KeyMove(KeyAt(curve, times[i]), snapped) < 0) throw std::bad_alloc();
    }
}

}  // namespace

void SnapKeysToFrames(Document& document, const std::vector<TrackKeys>& keys)
{
    for (const TrackKeys& each : keys) CheckIndices(document.EditableCurve(each.track), each.indices);
    document.Run("Snap keys to frames", [&] {
        for (const TrackKeys& each : keys)
            SnapKeys(document.EditableCurve(each.track), each.indices, document.GetScene().rate);
    });
}

Extrapolation ExtrapolationOf(const YFCurve& curve)
{
    return {curve.GetPreExtrapolation(), curve.GetPostExtrapolation(), curve.GetPreExtrapolationCount(),
            curve.GetPostExtrapolationCount()};
}

void SetExtrapolation(Document& document, const std::vector<int>& tracks,
                      const std::function<void(Extrapolation&)>& change)
{
    for (const int track : tracks) document.EditableCurve(track);
    document.Run("Change extrapolation", [&] {
        for (const int track : tracks) {
            YFCurve& curve = document.EditableCurve(track);
            Extrapolation settings = ExtrapolationOf(curve);
            change(settings);
            const YFCurveModify bracket(curve);
            curve.SetPreExtrapolation(settings.before);
            curve.SetPostExtrapolation(settings.after);
            curve.SetPreExtrapolationCount(settings.beforeCount);
            curve.SetPostExtrapolationCount(settings.afterCount);
        }
    });
}

// --- Frames --------------------------------------------------------------------------------------------

YTime SnappedToFrame(YTime time, FrameRate rate)
{
    return TimeOfFrame(NearestFrame(time, rate), rate);
}

}  // namespace editor
