// From a time to a value: extrapolation maps the time to a position among the keys, and the segment's
// interpolation makes a value of it.

#include <algorithm>
#include <climits>
#include <cmath>

#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/curve/segment.h"
#include "yfcurve/curve/shape.h"
#include "yfcurve/yfcurve.h"

namespace {

__extension__ using Wide = __int128;  // products of times and counts leave 64 bits

bool Repeats(std::uint32_t mode)
{
    return mode == YFCURVE_EXTRAPOLATION_REPETITION || mode == YFCURVE_EXTRAPOLATION_MIRROR_REPETITION;
}

// How far an extrapolation reaches: its count of periods, or without limit. A limit beyond the range of
// time is the last whole period that fits into `room`, the time left on that side.
Wide ReachOf(std::uint32_t count, Wide period, Wide room)
{
    constexpr Wide never = Wide{1} << 100;
    if (count == YFCURVE_EXTRAPOLATION_UNLIMITED) return never;
    return std::min(Wide{count}, room / period) * period;
}

Wide RoomBefore(YTime time)
{
    return Wide{time.Get()} - INT64_MIN;
}
Wide RoomAfter(YTime time)
{
    return Wide{INT64_MAX} - time.Get();
}

constexpr auto kTicksPerSecond = static_cast<double>(YTIME_TICKS_PER_SECOND);
constexpr double kSecondsPerTick = 1.0 / kTicksPerSecond;

struct CubicEnds
{
    double startValue;
    double endValue;
    double startSlope;
    double endSlope;
};

// An unweighted segment: the time points of its Bezier stand at thirds, so the fraction is the parameter.
// The polynomial in powers of it equals repeated interpolation but for roundings in double precision, and
// takes half the operations.
inline float EvaluateCubic(const CubicEnds& ends, double ticks, double fraction)
{
    const double duration = ticks * kSecondsPerTick;
    const double rise = ends.endValue - ends.startValue;
    const double c1 = ends.startSlope * duration;
    const double c3 = (c1 - rise) + (ends.endSlope * duration - rise);
    const double c2 = (rise - c1) - c3;
    return static_cast<float>(ends.startValue + fraction * (c1 + fraction * (c2 + fraction * c3)));
}

// The weights of a segment are read from its first key; a side without one has the default.
float EvaluateWeighted(const CubicEnds& ends, const YPriFCurveKeyAttr& attr, double ticks, double fraction)
{
    const bool right = (attr.GetFlags() & YFCURVE_WEIGHT_RIGHT) != 0 && yfc::HasFreeRightSide(attr);
    const bool left = (attr.GetFlags() & YFCURVE_WEIGHT_NEXT_LEFT) != 0;
    const float startWeight = right ? attr.GetDataDouble(YFCURVEKEY_RIGHT_WEIGHT) : YFCURVE_DEFAULT_WEIGHT;
    const float endWeight = left ? attr.GetDataDouble(YFCURVEKEY_NEXT_LEFT_WEIGHT) : YFCURVE_DEFAULT_WEIGHT;
    const float s = yfc::SolveWeightedParameter(startWeight, endWeight, static_cast<float>(fraction));
    const double duration = ticks * kSecondsPerTick;
    const double startHandle = ends.startValue + ends.startSlope * duration * startWeight;
    const double endHandle = ends.endValue - ends.endSlope * duration * endWeight;
    return static_cast<float>(yfc::Bezier(ends.endValue, endHandle, startHandle, ends.startValue, s));
}

double Seconds(Wide ticks)
{
    return static_cast<double>(ticks) / kTicksPerSecond;
}

// A time outside the key range brought into it. `copies` is how many whole periods lie between the time
// and the nearer end: 0 in the copy next to the keys, which is the first mirrored one.
YTime MapIntoRange(Wide time, Wide first, Wide last, Wide copies, bool mirror)
{
    const Wide shift = (copies + 1) * (last - first);
    const Wide repeated = time < first ? time + shift : time - shift;
    const Wide mapped = mirror && copies % 2 == 0 ? first + last - repeated : repeated;
    return YTime(static_cast<std::int64_t>(mapped));
}

}  // namespace

// --- Positions -----------------------------------------------------------------------------------------

double YFCurve::MapBefore(YTime time, int* last) const
{
    const Wide first = KeyGetTime(0).Get();
    const Wide end = KeyGetTime(mKeyCount - 1).Get();
    const Wide distance = first - time.Get();
    const Wide period = end - first;
    if (period <= 0 || !Repeats(mPreExtrapolation) ||
        distance >= ReachOf(mPreExtrapolationCount, period, RoomBefore(KeyGetTime(0)))) {
        (last ? *last : mLastFound) = 0;
        return 0.0;
    }
    const bool mirror = mPreExtrapolation == YFCURVE_EXTRAPOLATION_MIRROR_REPETITION;
    return KeyFind(MapIntoRange(time.Get(), first, end, distance / period, mirror), last);
}

double YFCurve::MapAfter(YTime time, int* last) const
{
    const Wide first = KeyGetTime(0).Get();
    const Wide end = KeyGetTime(mKeyCount - 1).Get();
    const Wide distance = time.Get() - end;
    const Wide period = end - first;
    if (period <= 0 || !Repeats(mPostExtrapolation) ||
        distance >= ReachOf(mPostExtrapolationCount, period, RoomAfter(KeyGetTime(mKeyCount - 1)))) {
        (last ? *last : mLastFound) = mKeyCount - 1;
        return mKeyCount - 1;
    }
    const bool mirror = mPostExtrapolation == YFCURVE_EXTRAPOLATION_MIRROR_REPETITION;
    return KeyFind(MapIntoRange(time.Get(), first, end, distance / period, mirror), last);
}

double YFCurve::KeyFindAll(YTime time, int* last) const
{
    if (mKeyCount == 0) return -1.0;
    if (time < KeyGetTime(0)) return MapBefore(time, last);
    if (time > KeyGetTime(mKeyCount - 1)) return MapAfter(time, last);
    return KeyFind(time, last);
}

// --- Values --------------------------------------------------------------------------------------------

inline float YFCurve::EvaluateSegment(int index, const YPriFCurveKey& start, const YPriFCurveKey& end,
                                      double ticks, double fraction) const
{
    const YPriFCurveKeyAttr& attr = yfc::Attribute(start.GetAttr());
    const YPriFCurveKeyAttr& endAttr = yfc::Attribute(end.GetAttr());
    // Two user keys in a row store both slopes at hand; everything else is asked for.
    constexpr std::uint32_t isUserKey = YFCURVE_INTERP_CUBIC | YFCURVE_TANGENT_USER;
    constexpr std::uint32_t userKey = YFCURVE_INTERP_ALL | (YFCURVE_TANGENT_ALL & ~YFCURVE_TANGENT_BREAK);
    const std::uint32_t different = ((attr.GetFlags() ^ isUserKey) & (userKey | YFCURVE_WEIGHT_ALL)) |
                                    ((endAttr.GetFlags() ^ isUserKey) & userKey);
    if ((different & ~std::uint32_t{YFCURVE_WEIGHT_ALL}) != 0)
        return EvaluateAnySegment(index, ticks, fraction);
    const CubicEnds ends{start.GetValue(), end.GetValue(), attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE),
                         attr.GetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE)};
    if (different != 0) return EvaluateWeighted(ends, attr, ticks, fraction);
    return EvaluateCubic(ends, ticks, fraction);
}

// A time strictly between two neighbouring keys.
inline float YFCurve::EvaluateBetween(int index, const YPriFCurveKey& start, const YPriFCurveKey& end,
                                      YTime time) const
{
    const double ticks = yfc::Ticks(start.GetTime(), end.GetTime());
    const double base = index;
    const double position = base + yfc::Ticks(start.GetTime(), time) / ticks;
    const double fraction = position - base;
    // A time within rounding of the next key has that key's position.
    if (fraction == 1.0) [[unlikely]]
        return end.GetValue();
    return EvaluateSegment(index, start, end, ticks, fraction);
}

float YFCurve::Evaluate(YTime time, int* last) const
{
    // Playback: the time lies in one of the two segments beside the hinted key, and the hint moves to the
    // far end of it, as a search from the key leaves it. Branches, not selections: predicted, they let the
    // next evaluation start before this one has its key. The edges of a block are left to the search.
    int& hint = last ? *last : mLastFound;
    const auto from = static_cast<unsigned>(hint);
    const unsigned inBlock = from % yfc::kKeysPerBlock;
    if (from + 1 < static_cast<unsigned>(mKeyCount) && inBlock - 1 < yfc::kKeysPerBlock - 2) {
        const YPriFCurveKey* key = yfc::BlockKeys(mBlocks[from / yfc::kKeysPerBlock]) + inBlock;
        if (time.Get() > key[0].GetTime().Get()) {
            if (time.Get() < key[1].GetTime().Get()) {
                hint = static_cast<int>(from + 1);
                return EvaluateBetween(static_cast<int>(from), key[0], key[1], time);
            }
        } else if (time.Get() > key[-1].GetTime().Get() && time.Get() != key[0].GetTime().Get()) {
            hint = static_cast<int>(from - 1);
            return EvaluateBetween(static_cast<int>(from - 1), key[-1], key[0], time);
        }
    }
    return EvaluateFar(time, last);
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
    const Wide distance = Wide{time.Get()} - KeyGetTime(end).Get();
    const Wide period = Wide{KeyGetTime(mKeyCount - 1).Get()} - KeyGetTime(0).Get();
    const std::uint32_t count = before ? mPreExtrapolationCount : mPostExtrapolationCount;
    const Wide room = before ? RoomBefore(KeyGetTime(0)) : RoomAfter(KeyGetTime(end));
    const Wide reach = period > 0 ? ReachOf(count, period, room) : 0;
    const float slope = before ? KeyGetRightDerivative(0) : KeyGetLeftDerivative(end);
    return static_cast<float>(KeyGetValue(end) + slope * Seconds(std::clamp(distance, -reach, reach)));
}

float YFCurve::EvaluateIndex(double position) const
{
    if (mKeyCount < 2) return mKeyCount == 0 ? mValue : Key(0).GetValue();
    position = std::clamp(position, 0.0, static_cast<double>(mKeyCount - 1));
    const double floor = std::floor(position);
    const int index = static_cast<int>(floor);
    if (floor == position) return Key(index).GetValue();
    const YPriFCurveKey& start = Key(index);
    const YPriFCurveKey& end = Key(index + 1);
    return EvaluateSegment(index, start, end, yfc::Ticks(start.GetTime(), end.GetTime()), position - floor);
}

float YFCurve::EvaluateAnySegment(int index, double ticks, double fraction) const
{
    const YPriFCurveKeyAttr& attr = Attr(index);
    const float startValue = KeyGetValue(index);
    const float endValue = KeyGetValue(index + 1);
    switch (attr.GetInterpolation()) {
        case YFCURVE_INTERP_CONSTANT:
            return attr.GetConstantMode() == YFCURVE_CONSTANT_NEXT ? endValue : startValue;
        case YFCURVE_INTERP_LINEAR:
            return static_cast<float>(fraction * (static_cast<double>(endValue) - startValue) + startValue);
        case YFCURVE_INTERP_CUBIC:
            break;
        default:
            return 0.0f;
    }
    const CubicEnds ends{startValue, endValue, KeyGetRightDerivative(index), KeyGetLeftDerivative(index + 1)};
    if (attr.GetTangeantWeightMode() == YFCURVE_WEIGHT_NONE) return EvaluateCubic(ends, ticks, fraction);
    return EvaluateWeighted(ends, attr, ticks, fraction);
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
    const bool mirrored = mode == YFCURVE_EXTRAPOLATION_MIRROR_REPETITION && copy % 2 != 0;
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
    if (KeyGetInterpolation(index) == YFCURVE_INTERP_LINEAR) return SlopeOfSegment(index);
    if (KeyGetInterpolation(index) != YFCURVE_INTERP_CUBIC) return 0.0f;
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
    const bool mirrored = mode == YFCURVE_EXTRAPOLATION_MIRROR_REPETITION && copy % 2 != 0;
    return mirrored ? segments - inside : inside;
}

YTime YFCurve::KeyGetTimeAll(int indexAll) const
{
    int copy = 0;
    const int index = MapIndexAll(indexAll, copy);
    const YTime first = KeyGetTime(0);
    const YTime end = KeyGetTime(mKeyCount - 1);
    const std::uint32_t mode = copy < 0 ? mPreExtrapolation : mPostExtrapolation;
    const bool mirrored = mode == YFCURVE_EXTRAPOLATION_MIRROR_REPETITION && copy % 2 != 0;
    const YTime offset = mirrored ? end - KeyGetTime(index) : KeyGetTime(index) - first;
    return first + (end - first) * copy + offset;
}

int YFCurve::FindPeaks(int leftKeyIndex, YTime& time1, float& value1, YTime& time2, float& value2) const
{
    if (leftKeyIndex < 0 || leftKeyIndex >= mKeyCount - 1) return 0;
    if (KeyGetInterpolation(leftKeyIndex) != YFCURVE_INTERP_CUBIC) return 0;
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
