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

Wide ReachOf(std::uint32_t count, YTime period)
{
    constexpr Wide never = Wide{1} << 100;
    return count == YFCURVE_EXTRAPOLATION_UNLIMITED ? never : Wide{count} * period.Get();
}

double Seconds(Wide ticks) { return static_cast<double>(ticks) / static_cast<double>(YTIME_TICKS_PER_SECOND); }

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
    const YTime period(static_cast<std::int64_t>(end - first));
    if (period <= YTIME_ZERO || !Repeats(mPreExtrapolation) || distance >= ReachOf(mPreExtrapolationCount, period)) {
        (last ? *last : mLastFound) = 0;
        return 0.0;
    }
    const bool mirror = mPreExtrapolation == YFCURVE_EXTRAPOLATION_MIRROR_REPETITION;
    return KeyFind(MapIntoRange(time.Get(), first, end, distance / period.Get(), mirror), last);
}

double YFCurve::MapAfter(YTime time, int* last) const
{
    const Wide first = KeyGetTime(0).Get();
    const Wide end = KeyGetTime(mKeyCount - 1).Get();
    const Wide distance = time.Get() - end;
    const YTime period(static_cast<std::int64_t>(end - first));
    if (period <= YTIME_ZERO || !Repeats(mPostExtrapolation) || distance >= ReachOf(mPostExtrapolationCount, period)) {
        (last ? *last : mLastFound) = mKeyCount - 1;
        return mKeyCount - 1;
    }
    const bool mirror = mPostExtrapolation == YFCURVE_EXTRAPOLATION_MIRROR_REPETITION;
    return KeyFind(MapIntoRange(time.Get(), first, end, distance / period.Get(), mirror), last);
}

double YFCurve::KeyFindAll(YTime time, int* last) const
{
    if (mKeyCount == 0) return -1.0;
    if (time < KeyGetTime(0)) return MapBefore(time, last);
    if (time > KeyGetTime(mKeyCount - 1)) return MapAfter(time, last);
    return KeyFind(time, last);
}

// --- Values --------------------------------------------------------------------------------------------

float YFCurve::Evaluate(YTime time, int* last) const
{
    if (mKeyCount < 2) return mKeyCount == 0 ? mValue : Key(0).GetValue();
    int& hint = last ? *last : mLastFound;
    const FoundSegment found = FindSegment(time, hint);
    if (found.place == FoundSegment::kBefore || found.place == FoundSegment::kAfter) {
        return EvaluateOutside(time, found.place == FoundSegment::kBefore, last);
    }
    hint = found.hint;
    if (found.place == FoundSegment::kOnKey) return Key(found.index).GetValue();
    const double position = PositionIn(found, time);
    // A time within rounding of the next key has that key's position.
    if (position == found.index + 1) return Key(found.index + 1).GetValue();
    return EvaluateSegment(found.index, position - found.index);
}

float YFCurve::EvaluateOutside(YTime time, bool before, int* last) const
{
    const int end = before ? 0 : mKeyCount - 1;
    const std::uint32_t mode = before ? mPreExtrapolation : mPostExtrapolation;
    if (mode != YFCURVE_EXTRAPOLATION_KEEP_SLOPE) {
        return EvaluateIndex(before ? MapBefore(time, last) : MapAfter(time, last));
    }
    const Wide distance = Wide{time.Get()} - KeyGetTime(end).Get();
    const Wide reach = ReachOf(before ? mPreExtrapolationCount : mPostExtrapolationCount,
                               KeyGetTime(mKeyCount - 1) - KeyGetTime(0));
    const float slope = before ? KeyGetRightDerivative(0) : KeyGetLeftDerivative(end);
    return static_cast<float>(KeyGetValue(end) + slope * Seconds(std::clamp(distance, -reach, reach)));
}

float YFCurve::EvaluateIndex(double position) const
{
    if (mKeyCount < 2) return mKeyCount == 0 ? mValue : Key(0).GetValue();
    const double floor = std::floor(position);
    const int index = static_cast<int>(floor);
    if (floor == position) return Key(index).GetValue();
    return EvaluateSegment(index, position - floor);
}

float YFCurve::EvaluateSegment(int index, double fraction) const
{
    const YPriFCurveKey& start = Key(index);
    const YPriFCurveKey& end = Key(index + 1);
    const YPriFCurveKeyAttr& attr = yfc::Attribute(start.GetAttr());
    const std::uint32_t flags = attr.GetFlags();
    const double v0 = start.GetValue();
    const double v3 = end.GetValue();
    switch (flags & YFCURVE_INTERP_ALL) {
        case YFCURVE_INTERP_CONSTANT:
            return (flags & YFCURVE_CONSTANT_NEXT) != 0 ? end.GetValue() : start.GetValue();
        case YFCURVE_INTERP_LINEAR: return static_cast<float>(fraction * (v3 - v0) + v0);
        case YFCURVE_INTERP_CUBIC: break;
        default: return 0.0f;
    }
    // Two user keys in a row store both slopes at hand; everything else is asked for.
    const std::uint32_t endFlags = yfc::Attribute(end.GetAttr()).GetFlags();
    constexpr std::uint32_t userKey = YFCURVE_INTERP_ALL | YFCURVE_TANGENT_AUTO | YFCURVE_TANGENT_TCB | YFCURVE_TANGENT_USER;
    constexpr std::uint32_t isUserKey = YFCURVE_INTERP_CUBIC | YFCURVE_TANGENT_USER;
    const bool stored = (flags & userKey) == isUserKey && (endFlags & userKey) == isUserKey;
    const double startSlope = stored ? attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE) : KeyGetRightDerivative(index);
    const double endSlope = stored ? attr.GetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE) : KeyGetLeftDerivative(index + 1);
    const double duration = (end.GetTime() - start.GetTime()).GetSecondDouble();
    if ((flags & YFCURVE_WEIGHT_ALL) == 0) {
        const double b = startSlope * duration / 3.0;
        const double a = endSlope * duration / 3.0;
        return static_cast<float>(yfc::Bezier(v0, v0 + b, v3 - a, v3, fraction));
    }
    const float startWeight = KeyGetRightTangeantWeight(index);
    const float endWeight = KeyGetLeftTangeantWeight(index + 1);
    const float s = yfc::SolveWeightedParameter(startWeight, endWeight, static_cast<float>(fraction));
    const double v1 = v0 + startSlope * duration * startWeight;
    const double v2 = v3 - endSlope * duration * endWeight;
    return static_cast<float>(yfc::Bezier(v3, v2, v1, v0, s));
}

// --- Slopes --------------------------------------------------------------------------------------------

float YFCurve::EvaluateLeftDerivative(YTime time, int* last) const { return EvaluateSlope(time, last, false); }

float YFCurve::EvaluateRightDerivative(YTime time, int* last) const { return EvaluateSlope(time, last, true); }

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
    const double position = KeyFind(time, last);
    const int index = static_cast<int>(rightSide ? std::floor(position) : std::ceil(position) - 1.0);
    if (KeyGetInterpolation(index) == YFCURVE_INTERP_LINEAR) return SlopeOfSegment(index);
    if (KeyGetInterpolation(index) != YFCURVE_INTERP_CUBIC) return 0.0f;
    if (rightSide && position == index) return KeyGetRightDerivative(index);
    if (!rightSide && position == index + 1) return KeyGetLeftDerivative(index + 1);
    const yfc::CubicSegment segment = YFCurveShape::Segment(*this, index);
    return static_cast<float>(segment.Slope(segment.ParameterAt((time - KeyGetTime(index)).GetSecondDouble())));
}

// --- Copies of the keys --------------------------------------------------------------------------------

namespace {

int SaturatedCount(Wide count) { return static_cast<int>(std::min<Wide>(count, INT_MAX)); }

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
    const auto timeAt = [&](double u) { return KeyGetTime(leftKeyIndex) + YTime::FromSeconds(segment.Time(u)); };
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
