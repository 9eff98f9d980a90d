// From a time to a value: extrapolation maps the time to a position among the keys, and the segment's
// interpolation makes a value of it.
//
// Playback is bound by the number of instructions: the hint, a block's reference, its chunk, two keys, two
// attribute records, and the polynomial. Keeping the segment from call to call, as players do, would take
// fewer, but evaluating writes nothing but the hint. User keys have their slopes at hand. Auto keys without a
// parameter that are independent of time get both slopes of a segment from the four keys around it; other
// auto keys and TCB keys take about twice as long.

#include <algorithm>
#include <climits>
#include <cmath>

#include "yfcurve/curve/extrapolation.h"
#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/keysegment.h"
#include "yfcurve/yfcurve.h"

namespace {

using yfc::Repeats;
using yfc::Wide;

// Whether a key is cubic with user tangents, broken or not, and has none of `excluded`.
inline bool IsUserKey(std::uint32_t flags, std::uint32_t excluded = 0)
{
    constexpr std::uint32_t kind = YFCURVE_INTERP_ALL | (YFCURVE_TANGENT_ALL & ~YFCURVE_TANGENT_BREAK);
    return (flags & (kind | excluded)) == (YFCURVE_INTERP_CUBIC | YFCURVE_TANGENT_USER);
}

// Whether a key is cubic and auto as recorded keys are: its tangent is parallel to the line between its
// neighbours, unless it has a parameter.
inline bool IsRecordedKey(std::uint32_t flags)
{
    constexpr std::uint32_t kind =
        YFCURVE_INTERP_ALL | (YFCURVE_TANGENT_ALL_WITH_OVERRIDES & ~YFCURVE_TANGENT_BREAK);
    return (flags & kind) == (YFCURVE_INTERP_CUBIC | YFCURVE_TANGENT_AUTO | YFCURVE_TANGENT_TIME_INDEPENDENT);
}

inline bool IsNone(double autoParameter)
{
    return std::abs(autoParameter) < yfc::kSmallestAutoParameter;
}

// What the first key of a segment has in store for its two ends.
inline yfc::CubicEnds StoredEnds(const yfc::KeySegment& segment)
{
    const YPriFCurveKeyAttr& attr = segment.Attr();
    return {segment.start.GetValue(), segment.end.GetValue(), attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE),
            attr.GetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE)};
}

// The weights of a segment are read from its first key; a side without one has the default.
class WeightedFormula
{
  public:
    WeightedFormula(const yfc::CubicEnds& ends, const YPriFCurveKeyAttr& attr, double ticks)
        : mStart(ends.startValue), mEnd(ends.endValue)
    {
        const bool right = (attr.GetFlags() & YFCURVE_WEIGHT_RIGHT) != 0 && yfc::HasFreeRightSide(attr);
        const bool left = (attr.GetFlags() & YFCURVE_WEIGHT_NEXT_LEFT) != 0;
        if (right) mStartWeight = attr.GetDataDouble(YFCURVEKEY_RIGHT_WEIGHT);
        if (left) mEndWeight = attr.GetDataDouble(YFCURVEKEY_NEXT_LEFT_WEIGHT);
        const double duration = ticks * yfc::kSecondsPerTick;
        mStartHandle = ends.startValue + ends.startSlope * duration * mStartWeight;
        mEndHandle = ends.endValue - ends.endSlope * duration * mEndWeight;
    }

    float At(double fraction) const
    {
        const float s = yfc::SolveWeightedParameter(mStartWeight, mEndWeight, fraction);
        return static_cast<float>(yfc::Bezier(mEnd, mEndHandle, mStartHandle, mStart, s));
    }

  private:
    double mStart;
    double mEnd;
    double mStartHandle;
    double mEndHandle;
    float mStartWeight = YFCURVE_DEFAULT_WEIGHT;
    float mEndWeight = YFCURVE_DEFAULT_WEIGHT;
};

}  // namespace

// --- Positions -----------------------------------------------------------------------------------------

double YFCurve::MapOutside(YTime time, bool before, int* last) const
{
    if (yfc::RepeatedTime(yfc::OutsideOf(*this, before), time)) return KeyFind(time, last);
    int& found = last ? *last : mLastFound;
    found = before ? 0 : mKeyCount - 1;
    return found;
}

double YFCurve::KeyFindAll(YTime time, int* last) const
{
    if (mKeyCount == 0) return -1.0;
    if (time < KeyGetTime(0)) return MapOutside(time, true, last);
    if (time > KeyGetTime(mKeyCount - 1)) return MapOutside(time, false, last);
    return KeyFind(time, last);
}

// --- Values --------------------------------------------------------------------------------------------

inline yfc::KeySegment YFCurve::SegmentAt(int index) const
{
    return {Key(index), Key(index + 1), index};
}

// The key before a segment and the one behind it, or its own end where there is none.
inline const YPriFCurveKey& YFCurve::KeyBefore(const yfc::KeySegment& segment) const
{
    if (segment.index % yfc::kKeysPerBlock != 0) return *(&segment.start - 1);
    return segment.index > 0 ? Key(segment.index - 1) : segment.start;
}

inline const YPriFCurveKey& YFCurve::KeyBehind(const yfc::KeySegment& segment) const
{
    const int next = segment.index + 2;
    if (next >= mKeyCount) return segment.end;
    return next % yfc::kKeysPerBlock != 0 ? *(&segment.end + 1) : Key(next);
}

// Two user keys in a row store both slopes at hand: the common case of motion that has been edited. The
// end key's flags only say how its left slope is read.
inline float YFCurve::EvaluateSegment(const yfc::KeySegment& segment, double ticks, double fraction) const
{
    const YPriFCurveKeyAttr& attr = segment.Attr();
    if (!IsUserKey(attr.GetFlags(), YFCURVE_WEIGHT_ALL) || !IsUserKey(segment.EndAttr().GetFlags())) {
        return EvaluateOther(segment.index, segment.start, segment.end, ticks, fraction);
    }
    return yfc::EvaluateCubic(StoredEnds(segment), ticks, fraction);
}

float YFCurve::Evaluate(YTime time, int* last) const
{
    // Playback: the time is in the segment before the hinted key or in one of the two behind it, all in one
    // block, and the hint moves on as a search from the key leaves it. Branches, not selections: predicted,
    // they let the next evaluation start before this one has its keys.
    if (!last) return Evaluate(time, &mLastFound);
    const auto hint = static_cast<unsigned>(*last);
    const auto count = static_cast<unsigned>(mKeyCount);
    if (hint >= count) return EvaluateFar(time, last);
    const unsigned place = hint % yfc::kKeysPerBlock;
    const YPriFCurveKey* const key = &Key(static_cast<int>(hint));
    // Written out for each of the three segments, where the keys are at hand in registers.
    const auto between = [ =, this ](int first, unsigned next) __attribute__((always_inline))
    {
        const yfc::KeySegment segment{key[first], key[first + 1], static_cast<int>(hint) + first};
        const std::int64_t start = segment.start.GetTime().Get();
        std::int64_t ticks;
        if (__builtin_sub_overflow(segment.end.GetTime().Get(), start, &ticks))
            return EvaluateFar(time, last);
        *last = static_cast<int>(next);
        const auto duration = static_cast<double>(ticks);
        return EvaluateSegment(segment, duration, static_cast<double>(time.Get() - start) / duration);
    };
    if (key->GetTime().Get() >= time.Get()) {
        const bool isBefore =
            place != 0 && key->GetTime().Get() != time.Get() && key[-1].GetTime().Get() < time.Get();
        return isBefore ? between(-1, hint - 1) : EvaluateFar(time, last);
    }
    if (place == yfc::kKeysPerBlock - 1 || hint + 1 >= count) return EvaluateFar(time, last);
    if (key[1].GetTime().Get() > time.Get()) return between(0, hint + 1);
    const bool isNext = place != yfc::kKeysPerBlock - 2 && hint + 2 < count &&
                        key[1].GetTime().Get() != time.Get() && key[2].GetTime().Get() > time.Get();
    return isNext ? between(1, hint + 2) : EvaluateFar(time, last);
}

float YFCurve::EvaluateFar(YTime time, int* last) const
{
    if (mKeyCount < 2) return mKeyCount == 0 ? mValue : Key(0).GetValue();
    int& hint = last ? *last : mLastFound;
    const FoundSegment found = FindSegment(time, hint);
    if (found.place == FoundSegment::kBefore || found.place == FoundSegment::kAfter) {
        return EvaluateOutside(time, found.place == FoundSegment::kBefore, last);
    }
    hint = found.hint;
    if (found.place == FoundSegment::kOnKey) return Key(found.index).GetValue();
    const yfc::KeySegment segment = SegmentAt(found.index);
    const double ticks = segment.GetTicks();
    return EvaluateSegment(segment, ticks, segment.FractionAt(time, ticks));
}

float YFCurve::EvaluateOutside(YTime time, bool before, int* last) const
{
    const int end = before ? 0 : mKeyCount - 1;
    const std::uint32_t mode = before ? mPreExtrapolation : mPostExtrapolation;
    if (mode != YFCURVE_EXTRAPOLATION_KEEP_SLOPE) {
        return EvaluateIndex(MapOutside(time, before, last));
    }
    const float slope = before ? KeyGetRightDerivative(0) : KeyGetLeftDerivative(end);
    const double seconds = yfc::SecondsBeyond(yfc::OutsideOf(*this, before), time);
    return static_cast<float>(KeyGetValue(end) + slope * seconds);
}

float YFCurve::EvaluateIndex(double position) const
{
    if (mKeyCount < 2) return mKeyCount == 0 ? mValue : Key(0).GetValue();
    if (std::isnan(position)) return static_cast<float>(position);
    position = std::clamp(position, 0.0, static_cast<double>(mKeyCount - 1));
    const double floor = std::floor(position);
    const int index = static_cast<int>(floor);
    if (floor == position) return Key(index).GetValue();
    const yfc::KeySegment segment = SegmentAt(index);
    const double ticks = yfc::SignedTicks(segment.start.GetTime(), segment.end.GetTime());
    return EvaluateSegment(segment, ticks, position - floor);
}

// The slopes at the ends of a cubic segment. Those of recorded keys are parallel to the line between the
// neighbours of each end.
inline yfc::CubicEnds YFCurve::EndsOf(const yfc::KeySegment& segment) const
{
    const std::uint32_t flags = segment.Attr().GetFlags();
    const std::uint32_t endFlags = segment.EndAttr().GetFlags();
    yfc::CubicEnds ends = StoredEnds(segment);
    if (IsRecordedKey(flags) && IsRecordedKey(endFlags) && IsNone(ends.startSlope) && IsNone(ends.endSlope)) {
        ends.startSlope = yfc::SlopeBetween(KeyBefore(segment), segment.end);
        ends.endSlope = yfc::SlopeBetween(segment.start, KeyBehind(segment));
    } else if (!IsUserKey(flags) || !IsUserKey(endFlags)) {
        ends.startSlope = KeyGetRightDerivative(segment.index);
        ends.endSlope = KeyGetLeftDerivative(segment.index + 1);
    }
    return ends;
}

// Makes a formula of the kind that a segment has, for fractions of it, and hands it to `use`.
template<class Use>
inline auto YFCurve::WithFormula(const yfc::KeySegment& segment, double ticks, const Use& use) const
{
    const YPriFCurveKeyAttr& attr = segment.Attr();
    const float startValue = segment.start.GetValue();
    const float endValue = segment.end.GetValue();
    switch (yfc::KeyKind(attr).GetInterpolation()) {
        case yfc::EInterpolation::None:
            return use([](double) { return 0.0f; });
        case yfc::EInterpolation::Constant: {
            const bool next = attr.GetConstantMode() == YFCURVE_CONSTANT_NEXT;
            return use([value = next ? endValue : startValue](double) { return value; });
        }
        case yfc::EInterpolation::Linear: {
            const double from = startValue;
            const double rise = endValue - from;
            return use([=](double fraction) { return static_cast<float>(fraction * rise + from); });
        }
        case yfc::EInterpolation::Cubic:
            break;
    }
    const yfc::CubicEnds ends = EndsOf(segment);
    if (attr.GetTangeantWeightMode() == YFCURVE_WEIGHT_NONE) {
        return use(
            [cubic = yfc::CubicPolynomial(ends, ticks)](double fraction) { return cubic.At(fraction); });
    }
    return use(
        [weighted = WeightedFormula(ends, attr, ticks)](double fraction) { return weighted.At(fraction); });
}

// Takes the segment in parts, as they are at hand in registers.
float YFCurve::EvaluateOther(int index, const YPriFCurveKey& start, const YPriFCurveKey& end, double ticks,
                             double fraction) const
{
    return WithFormula({start, end, index}, ticks, [=](const auto& formula) { return formula(fraction); });
}

// --- Many values ---------------------------------------------------------------------------------------

// Each round finds the segment of a time, first behind the one before, and goes on as long as times fall into
// it. A key's own value needs no segment: frames of recorded motion go from key to key.
template<class TimeAt>
void YFCurve::EvaluateEach(const TimeAt& timeAt, std::span<float> values) const
{
    int hint = 0;
    int index = -1;
    for (std::size_t i = 0; i < values.size();) {
        YTime time = timeAt(i);
        ++index;
        if (index + 1 < mKeyCount && time == Key(index).GetTime() && time < Key(index + 1).GetTime()) {
            values[i++] = Key(index).GetValue();
            continue;
        }
        if (index + 1 >= mKeyCount || time <= Key(index).GetTime() || time >= Key(index + 1).GetTime()) {
            const FoundSegment found =
                mKeyCount < 2 ? FoundSegment{FoundSegment::kOnKey, 0, 0} : FindSegment(time, index);
            index = found.index;
            if (found.place != FoundSegment::kInside) {
                values[i++] = EvaluateFar(time, &hint);
                --index;
                continue;
            }
        }
        const yfc::KeySegment segment = SegmentAt(index);
        const double ticks = segment.GetTicks();
        WithFormula(segment, ticks, [&](const auto& formula) {
            do {
                values[i++] = formula(segment.FractionAt(time, ticks));
                if (i == values.size()) return;
                time = timeAt(i);
            } while (segment.HasInside(time));
        });
    }
}

void YFCurve::Evaluate(std::span<const YTime> times, std::span<float> values) const
{
    const std::size_t count = std::min(times.size(), values.size());
    EvaluateEach([times](std::size_t i) { return times[i]; }, values.first(count));
}

void YFCurve::Evaluate(YTime start, YTime step, std::span<float> values) const
{
    EvaluateEach([=](std::size_t i) { return start + step * static_cast<std::int64_t>(i); }, values);
}

// --- Slopes --------------------------------------------------------------------------------------------

float YFCurve::EvaluateLeftDerivative(YTime time, int* last) const
{
    return EvaluateSlope(time, last, false);
}

float YFCurve::EvaluateRightDerivative(YTime time, int* last) const
{
    return EvaluateSlope(time, last, true);
}

float YFCurve::EvaluateSlope(YTime time, int* last, bool rightSide) const
{
    if (mKeyCount < 2) return 0.0f;
    // Which copy of the key range lies on that side of the time, 0 being the keys themselves.
    const Wide period = Wide{KeyGetTime(mKeyCount - 1).Get()} - KeyGetTime(0).Get();
    if (period <= 0) return 0.0f;
    const Wide elapsed = Wide{time.Get()} - KeyGetTime(0).Get();
    const Wide beyond = rightSide ? elapsed : elapsed - 1;
    const Wide copy = beyond >= 0 ? beyond / period : -((period - 1 - beyond) / period);
    if (copy == 0) return SlopeInRange(time, last, rightSide);

    const yfc::Outside outside = yfc::OutsideOf(*this, copy < 0);
    const bool inReach =
        outside.count == YFCURVE_EXTRAPOLATION_UNLIMITED || (copy < 0 ? -copy : copy) <= outside.count;
    if (!inReach) return 0.0f;
    if (outside.mode == YFCURVE_EXTRAPOLATION_KEEP_SLOPE) {
        return copy < 0 ? KeyGetRightDerivative(0) : KeyGetLeftDerivative(mKeyCount - 1);
    }
    if (!Repeats(outside.mode)) return 0.0f;
    const bool mirrored = yfc::IsMirrored(outside.mode, copy);
    const Wide inside = elapsed - copy * period;
    const Wide offset = mirrored ? period - inside : inside;
    const YTime mapped = KeyGetTime(0) + YTime(static_cast<std::int64_t>(offset));
    return mirrored ? -SlopeInRange(mapped, last, !rightSide) : SlopeInRange(mapped, last, rightSide);
}

// The slope on a side that lies inside the key range.
float YFCurve::SlopeInRange(YTime time, int* last, bool rightSide) const
{
    int& hint = last ? *last : mLastFound;
    const FoundSegment found = FindSegment(time, hint);
    hint = found.hint;
    const bool onKey = found.place == FoundSegment::kOnKey;
    const int index = onKey && !rightSide ? found.index - 1 : found.index;
    const yfc::KeyKind kind(Attr(index));
    if (kind.IsLinear()) return SlopeOfSegment(index);
    if (!kind.IsCubic()) return 0.0f;
    if (onKey) return rightSide ? KeyGetRightDerivative(index) : KeyGetLeftDerivative(index + 1);
    const yfc::CubicSegment segment = yfc::CubicSegmentAt(*this, index);
    return static_cast<float>(
        segment.Slope(segment.ParameterAt(yfc::SecondsBetween(KeyGetTime(index), time))));
}

// --- Copies of the keys --------------------------------------------------------------------------------

namespace {

int SaturatedCount(Wide count)
{
    return static_cast<int>(std::min<Wide>(count, INT_MAX));
}

}  // namespace

int YFCurve::KeyGetCountAll() const
{
    if (mKeyCount < 2) return mKeyCount;
    const Wide before = Repeats(mPreExtrapolation) ? mPreExtrapolationCount : 0;
    const Wide after = Repeats(mPostExtrapolation) ? mPostExtrapolationCount : 0;
    return SaturatedCount(mKeyCount + (before + after) * (mKeyCount - 1));
}

int YFCurve::MapIndexAll(int indexAll, int& copy) const
{
    copy = 0;
    if (mKeyCount < 2 || (indexAll >= 0 && indexAll < mKeyCount)) return indexAll;
    const int segments = mKeyCount - 1;
    if (indexAll < 0) {
        copy = indexAll / segments - (indexAll % segments != 0 ? 1 : 0);
    } else {
        copy = (indexAll - 1) / segments;
    }
    const int inside = static_cast<int>(indexAll - static_cast<std::int64_t>(copy) * segments);
    const bool mirrored = yfc::IsMirrored(*this, copy);
    return mirrored ? segments - inside : inside;
}

YTime YFCurve::KeyGetTimeAll(int indexAll) const
{
    int copy = 0;
    const int index = MapIndexAll(indexAll, copy);
    const YTime first = KeyGetTime(0);
    const YTime end = KeyGetTime(mKeyCount - 1);
    const bool mirrored = yfc::IsMirrored(*this, copy);
    const YTime offset = mirrored ? end - KeyGetTime(index) : KeyGetTime(index) - first;
    return first + (end - first) * copy + offset;
}

int YFCurve::FindPeaks(int leftKeyIndex, YTime& time1, float& value1, YTime& time2, float& value2) const
{
    if (leftKeyIndex < 0 || leftKeyIndex >= mKeyCount - 1) return 0;
    if (!yfc::KeyKind(*this, leftKeyIndex).IsCubic()) return 0;
    const yfc::CubicSegment segment = yfc::CubicSegmentAt(*this, leftKeyIndex);
    double parameters[2];
    const int count = segment.Extremes(parameters);
    const auto timeAt = [&](double u) {
        return KeyGetTime(leftKeyIndex) + YTime::FromSeconds(segment.Time(u));
    };
    if (count > 0) {
        time1 = timeAt(parameters[0]);
        value1 = static_cast<float>(segment.Value(parameters[0]));
    }
    if (count > 1) {
        time2 = timeAt(parameters[1]);
        value2 = static_cast<float>(segment.Value(parameters[1]));
    }
    return count;
}
