// From a time to a value: extrapolation maps the time to a position among the keys, and the segment's
// interpolation makes a value of it.

#include <algorithm>
#include <climits>
#include <cmath>

#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/extrapolation.h"
#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/segment.h"
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

yfc::Outside OutsideOf(const YFCurve& curve, bool before)
{
    return {curve.KeyGetTime(0), curve.KeyGetTime(curve.KeyGetCount() - 1),
            before ? curve.GetPreExtrapolation() : curve.GetPostExtrapolation(),
            before ? curve.GetPreExtrapolationCount() : curve.GetPostExtrapolationCount()};
}

}  // namespace

// --- Positions -----------------------------------------------------------------------------------------

double YFCurve::MapBefore(YTime time, int* last) const
{
    if (yfc::RepeatedTime(OutsideOf(*this, true), time)) return KeyFind(time, last);
    int& found = last ? *last : mLastFound;
    found = 0;
    return found;
}

double YFCurve::MapAfter(YTime time, int* last) const
{
    if (yfc::RepeatedTime(OutsideOf(*this, false), time)) return KeyFind(time, last);
    int& found = last ? *last : mLastFound;
    found = mKeyCount - 1;
    return found;
}

double YFCurve::KeyFindAll(YTime time, int* last) const
{
    if (mKeyCount == 0) return -1.0;
    if (time < KeyGetTime(0)) return MapBefore(time, last);
    if (time > KeyGetTime(mKeyCount - 1)) return MapAfter(time, last);
    return KeyFind(time, last);
}

// --- Values --------------------------------------------------------------------------------------------

// Two user keys in a row store both slopes at hand: the common case of motion that has been edited. The
// end key's flags only say how its left slope is read.
inline float YFCurve::EvaluateSegment(int index, const YPriFCurveKey& start, const YPriFCurveKey& end,
                                      double ticks, double fraction) const
{
    const YPriFCurveKeyAttr& attr = yfc::Attribute(start.GetAttr());
    const YPriFCurveKeyAttr& endAttr = yfc::Attribute(end.GetAttr());
    if (!IsUserKey(attr.GetFlags(), YFCURVE_WEIGHT_ALL) || !IsUserKey(endAttr.GetFlags())) {
        return EvaluateOther(index, start, end, ticks, fraction);
    }
    const yfc::CubicEnds ends{start.GetValue(), end.GetValue(),
                              attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE),
                              attr.GetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE)};
    return yfc::EvaluateCubic(ends, ticks, fraction);
}

// A time strictly between two neighbouring keys. Its fraction is taken from the times: a key position has
// fewer bits left for it.
inline float YFCurve::EvaluateBetween(int index, const YPriFCurveKey& start, const YPriFCurveKey& end,
                                      YTime time) const
{
    const double ticks = yfc::Ticks(start.GetTime(), end.GetTime());
    return EvaluateSegment(index, start, end, ticks, yfc::Ticks(start.GetTime(), time) / ticks);
}

float YFCurve::Evaluate(YTime time, int* last) const
{
    // Playback: the time is in the segment before the hinted key or in one of the two behind it, and the hint
    // moves on as a search from the key leaves it. Branches, not selections: predicted, they let the next
    // evaluation start before this one has its keys.
    if (!last) last = &mLastFound;
    auto key = static_cast<unsigned>(*last);
    const auto count = static_cast<unsigned>(mKeyCount);
    if (key >= count) return EvaluateFar(time, last);
    const YPriFCurveKey* start = &Key(static_cast<int>(key));
    const YPriFCurveKey* end;
    unsigned segment;
    const auto next = [&](const YPriFCurveKey* previous) {
        return key % yfc::kKeysPerBlock != 0 ? previous + 1 : &Key(static_cast<int>(key));
    };
    if (start->GetTime().Get() < time.Get()) {
        if (++key >= count) return EvaluateFar(time, last);
        end = next(start);
        if (end->GetTime().Get() <= time.Get()) {
            if (++key >= count || end->GetTime().Get() == time.Get()) return EvaluateFar(time, last);
            start = end;
            end = next(start);
            if (end->GetTime().Get() <= time.Get()) return EvaluateFar(time, last);
        }
        segment = key - 1;
    } else {
        if (key == 0 || start->GetTime().Get() == time.Get()) return EvaluateFar(time, last);
        end = start;
        start = key % yfc::kKeysPerBlock != 0 ? end - 1 : &Key(static_cast<int>(key - 1));
        if (start->GetTime().Get() >= time.Get()) return EvaluateFar(time, last);
        segment = --key;
    }
    *last = static_cast<int>(key);
    return EvaluateBetween(static_cast<int>(segment), *start, *end, time);
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
    return EvaluateBetween(found.index, Key(found.index), Key(found.index + 1), time);
}

float YFCurve::EvaluateOutside(YTime time, bool before, int* last) const
{
    const int end = before ? 0 : mKeyCount - 1;
    const std::uint32_t mode = before ? mPreExtrapolation : mPostExtrapolation;
    if (mode != YFCURVE_EXTRAPOLATION_KEEP_SLOPE) {
        return EvaluateIndex(before ? MapBefore(time, last) : MapAfter(time, last));
    }
    const float slope = before ? KeyGetRightDerivative(0) : KeyGetLeftDerivative(end);
    const double seconds = yfc::SecondsBeyond(OutsideOf(*this, before), time);
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
    const YPriFCurveKey& start = Key(index);
    const YPriFCurveKey& end = Key(index + 1);
    const double ticks = yfc::SignedTicks(start.GetTime(), end.GetTime());
    return EvaluateSegment(index, start, end, ticks, position - floor);
}

// The slopes at the ends of a cubic segment.
inline yfc::CubicEnds YFCurve::EndsOf(int index, const YPriFCurveKey& start, const YPriFCurveKey& end) const
{
    const YPriFCurveKeyAttr& attr = yfc::Attribute(start.GetAttr());
    yfc::CubicEnds ends{start.GetValue(), end.GetValue(), attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE),
                        attr.GetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE)};
    const std::uint32_t endFlags = yfc::Attribute(end.GetAttr()).GetFlags();
    if (IsRecordedKey(attr.GetFlags()) && IsRecordedKey(endFlags) && IsNone(ends.startSlope) &&
        IsNone(ends.endSlope)) {
        ends.startSlope = yfc::SlopeBetween(index > 0 ? Key(index - 1) : start, end);
        ends.endSlope = yfc::SlopeBetween(start, index + 2 < mKeyCount ? Key(index + 2) : end);
    } else if (!IsUserKey(attr.GetFlags()) || !IsUserKey(endFlags)) {
        ends.startSlope = KeyGetRightDerivative(index);
        ends.endSlope = KeyGetLeftDerivative(index + 1);
    }
    return ends;
}

// Makes a formula of the kind that a segment has, for fractions of it, and hands it to `use`.
template<class Use>
inline auto YFCurve::WithFormula(int index, const YPriFCurveKey& start, const YPriFCurveKey& end,
                                 double ticks, const Use& use) const
{
    const YPriFCurveKeyAttr& attr = yfc::Attribute(start.GetAttr());
    switch (yfc::KeyKind(attr).GetInterpolation()) {
        case yfc::EInterpolation::None:
            return use([](double) { return 0.0f; });
        case yfc::EInterpolation::Constant: {
            const bool next = attr.GetConstantMode() == YFCURVE_CONSTANT_NEXT;
            return use([value = next ? end.GetValue() : start.GetValue()](double) { return value; });
        }
        case yfc::EInterpolation::Linear: {
            const double from = start.GetValue();
            const double rise = end.GetValue() - from;
            return use([=](double fraction) { return static_cast<float>(fraction * rise + from); });
        }
        case yfc::EInterpolation::Cubic:
            break;
    }
    const yfc::CubicEnds ends = EndsOf(index, start, end);
    if (attr.GetTangeantWeightMode() == YFCURVE_WEIGHT_NONE) {
        return use(
            [cubic = yfc::CubicPolynomial(ends, ticks)](double fraction) { return cubic.At(fraction); });
    }
    return use(
        [weighted = WeightedFormula(ends, attr, ticks)](double fraction) { return weighted.At(fraction); });
}

float YFCurve::EvaluateOther(int index, const YPriFCurveKey& start, const YPriFCurveKey& end, double ticks,
                             double fraction) const
{
    return WithFormula(index, start, end, ticks, [=](const auto& formula) { return formula(fraction); });
}

// --- Many values ---------------------------------------------------------------------------------------

// Each round finds the segment of a time, first behind the one before, and goes on as long as times fall into it.
template<class TimeAt>
void YFCurve::EvaluateEach(const TimeAt& timeAt, std::span<float> values) const
{
    int hint = 0;
    int index = -1;
    for (std::size_t i = 0; i < values.size();) {
        YTime time = timeAt(i);
        ++index;
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
        const YPriFCurveKey& start = Key(index);
        const YPriFCurveKey& end = Key(index + 1);
        const double ticks = yfc::Ticks(start.GetTime(), end.GetTime());
        WithFormula(index, start, end, ticks, [&](const auto& formula) {
            do {
                values[i++] = formula(yfc::Ticks(start.GetTime(), time) / ticks);
                if (i == values.size()) return;
                time = timeAt(i);
            } while (start.GetTime() < time && time < end.GetTime());
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

    const std::uint32_t mode = copy < 0 ? mPreExtrapolation : mPostExtrapolation;
    const std::uint32_t count = copy < 0 ? mPreExtrapolationCount : mPostExtrapolationCount;
    const bool inReach = count == YFCURVE_EXTRAPOLATION_UNLIMITED || (copy < 0 ? -copy : copy) <= count;
    if (!inReach) return 0.0f;
    if (mode == YFCURVE_EXTRAPOLATION_KEEP_SLOPE) {
        return copy < 0 ? KeyGetRightDerivative(0) : KeyGetLeftDerivative(mKeyCount - 1);
    }
    if (!Repeats(mode)) return 0.0f;
    const bool mirrored = yfc::IsMirrored(mode, copy);
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
    const yfc::CubicSegment segment = YFCurveShape::Segment(*this, index);
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
    const std::uint32_t mode = copy < 0 ? mPreExtrapolation : mPostExtrapolation;
    const bool mirrored = yfc::IsMirrored(mode, copy);
    return mirrored ? segments - inside : inside;
}

YTime YFCurve::KeyGetTimeAll(int indexAll) const
{
    int copy = 0;
    const int index = MapIndexAll(indexAll, copy);
    const YTime first = KeyGetTime(0);
    const YTime end = KeyGetTime(mKeyCount - 1);
    const std::uint32_t mode = copy < 0 ? mPreExtrapolation : mPostExtrapolation;
    const bool mirrored = yfc::IsMirrored(mode, copy);
    const YTime offset = mirrored ? end - KeyGetTime(index) : KeyGetTime(index) - first;
    return first + (end - first) * copy + offset;
}

int YFCurve::FindPeaks(int leftKeyIndex, YTime& time1, float& value1, YTime& time2, float& value2) const
{
    if (leftKeyIndex < 0 || leftKeyIndex >= mKeyCount - 1) return 0;
    if (!yfc::KeyKind(*this, leftKeyIndex).IsCubic()) return 0;
    const yfc::CubicSegment segment = YFCurveShape::Segment(*this, leftKeyIndex);
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
