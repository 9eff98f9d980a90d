#include "yfcurve/curve/edit/shape.h"

#include <algorithm>
#include <cmath>

#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/curve/keysegment.h"
#include "yfcurve/curve/rounding.h"
#include "yfcurve/yfcurveptr.h"

using yfc::KeyKind;

namespace {

void SetBothWeights(YFCurve& curve, int index, double right, double nextLeft)
{
    curve.KeySetTangeantWeightMode(index, YFCURVE_WEIGHT_ALL);
    curve.KeySetDataDouble(index, YFCURVEKEY_RIGHT_WEIGHT, yfc::RoundedWeight(right));
    curve.KeySetDataDouble(index, YFCURVEKEY_NEXT_LEFT_WEIGHT, yfc::RoundedWeight(nextLeft));
}

// Whether a cubic key has no rule for its tangents: files keep no slopes of it, not even the one in front of the
// next key.
bool IsFlat(const YFCurve& curve, int index)
{
    const KeyKind kind(curve, index);
    return kind.IsCubic() && kind.GetTangents() == yfc::ETangents::None;
}

YFCurveKey UserKey(float value, float slope, float nextLeftSlope)
{
    YFCurveKey key;
    key.Set(YTime(), value, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, slope, nextLeftSlope);
    return key;
}

}  // namespace

namespace yfc {

float RoundedWeight(double weight)
{
    return static_cast<float>((std::floor(weight * YFCURVE_STEPS_TO_ONE + 0.5) + 0.25) /
                              YFCURVE_STEPS_TO_ONE);
}

YFCurveTangeantInfo StoredAgain(YFCurveTangeantInfo side)
{
    side.Weight = RoundedWeight(side.Weight);
    side.Velocity = YFCURVE_ToKeep(side.Velocity);
    return side;
}

YFCurveKey ContinuingKey(const YFCurveKey& source, float value)
{
    YFCurveKey key = source;
    key.SetValue(value);
    key.SetSelected(false);
    key.SetMarkedForManipulation(false);
    key.SetTangeantVisibility(YFCURVE_SHOW_NONE);
    return key;
}

}  // namespace yfc

YFCurveSlopes YFCurveShape::SlopesAt(const YFCurve& curve, int index)
{
    return {curve.KeyGetLeftDerivative(index), curve.KeyGetRightDerivative(index)};
}

// --- Holding slopes ------------------------------------------------------------------------------------

void YFCurveShape::Hold(YFCurve& curve, int index, YFCurveSlopes wanted)
{
    const bool shapesLeft = index > 0 && KeyKind(curve, index - 1).IsCubic();
    const bool shapesRight = index < curve.KeyGetCount() - 1 && KeyKind(curve, index).IsCubic();
    const bool leftHolds = !shapesLeft || yfc::SameSlope(curve.KeyGetLeftDerivative(index), wanted.left);
    const bool rightHolds = !shapesRight || yfc::SameSlope(curve.KeyGetRightDerivative(index), wanted.right);
    if (leftHolds && rightHolds) return;
    if (KeyKind(curve, index).IsCubic()) {
        TurnToUser(curve, index, wanted);
        return;
    }
    // The left side of a key that is not cubic itself is read by the rule of the key before it.
    TurnToUser(curve, index - 1, SlopesAt(curve, index - 1));
    curve.KeySetDataFloat(index - 1, YFCURVEKEY_NEXT_LEFT_DERIVATIVE, wanted.left);
}

void YFCurveShape::TurnToUser(YFCurve& curve, int index, YFCurveSlopes wanted)
{
    const int lastKey = curve.KeyGetCount() - 1;
    const bool shapesLeft = index > 0 && KeyKind(curve, index - 1).IsCubic();
    // After a TCB key there is no room for a left slope: the key reads its right one, or 0 at the end.
    if (shapesLeft && KeyKind(curve, index - 1).IsTCB() &&
        (wanted.left != wanted.right || index == lastKey)) {
        TurnToUser(curve, index - 1, SlopesAt(curve, index - 1));
    }
    if (shapesLeft && wanted.left != 0.0f && IsFlat(curve, index - 1))
        TurnToUser(curve, index - 1, SlopesAt(curve, index - 1));
    const bool hasNext = index < lastKey;
    const bool wasTCB = KeyKind(curve, index).IsTCB();
    const bool nextIsAuto = hasNext && KeyKind(curve, index + 1).IsAuto();
    const float nextLeft = hasNext ? curve.KeyGetLeftDerivative(index + 1) : 0.0f;
    const float nextLeftAuto = nextIsAuto ? curve.KeyGetLeftAuto(index + 1) : 0.0f;
    const float rightWeight = curve.KeyGetRightTangeantWeight(index);
    const float nextLeftWeight = hasNext ? curve.KeyGetLeftTangeantWeight(index + 1) : YFCURVE_DEFAULT_WEIGHT;

    const bool differ = shapesLeft && hasNext && wanted.left != wanted.right;
    const bool broken = differ || (!wasTCB && curve.KeyGetBreak(index));
    curve.KeySetTangeantMode(index, broken ? YFCURVE_TANGENT_USER_BREAK : YFCURVE_TANGENT_USER, true);
    if (wasTCB) {  // the bias stood where the weights are
        curve.KeySetDataDouble(index, YFCURVEKEY_RIGHT_WEIGHT, rightWeight);
        curve.KeySetDataDouble(index, YFCURVEKEY_NEXT_LEFT_WEIGHT, nextLeftWeight);
    }
    curve.KeySetDataFloat(index, YFCURVEKEY_RIGHT_DERIVATIVE, wanted.right);
    if (shapesLeft && !KeyKind(curve, index - 1).IsTCB()) {
        curve.KeySetDataFloat(index - 1, YFCURVEKEY_NEXT_LEFT_DERIVATIVE, wanted.left);
    }
    if (hasNext) {
        curve.KeySetDataFloat(index, YFCURVEKEY_NEXT_LEFT_DERIVATIVE, nextIsAuto ? nextLeftAuto : nextLeft);
    }
}

// --- Inserting keys ------------------------------------------------------------------------------------

int YFCurveShape::Insert(YFCurve& curve, YTime time)
{
    const int count = curve.KeyGetCount();
    if (count == 0 || time < curve.KeyGetTime(0)) return InsertOutside(curve, time, true);
    if (time > curve.KeyGetTime(count - 1)) return InsertOutside(curve, time, false);
    return InsertInside(curve, yfc::LastKeyUntil(curve, time), time);
}

int YFCurveShape::InsertInside(YFCurve& curve, int index, YTime time)
{
    int hint = index;
    const YFCurveInside at{index, time, curve.Evaluate(time, &hint), SlopesAt(curve, index),
                           SlopesAt(curve, index + 1)};
    return KeyKind(curve, index).IsCubic() ? InsertCubic(curve, at) : InsertStraight(curve, at);
}

// After keys have come into a segment that ends at key `end` now.
void YFCurveShape::HoldEnds(YFCurve& curve, const YFCurveInside& at, int end)
{
    Hold(curve, at.index, at.start);
    Hold(curve, end, at.end);
}

// Holding slopes may turn each of the TCB or flat keys in a row before a key to user, and concerns the two
// neighbours.
int YFCurveShape::RecordsToHold(const YFCurve& curve, int index)
{
    constexpr int near = 2;
    int i = std::min(index, curve.mKeyCount - 1);
    while (i >= 0 && (i >= index - near || KeyKind(curve, i).IsTCB() || IsFlat(curve, i))) --i;
    return index - i + near;
}

int YFCurveShape::InsertStraight(YFCurve& curve, const YFCurveInside& at)
{
    const yfc::AttributeReserve reserve(1 + RecordsToHold(curve, at.index));
    curve.InitBuffers(curve.mKeyCount + 1, false);
    const YFCurveModify modify(curve);
    const int inserted = at.index + 1;
    const int end = at.index + 2;
    int hint = at.index;
    curve.KeyAdd(at.time, yfc::ContinuingKey(curve.KeyGet(at.index), at.value), &hint);
    const bool carriesOnBefore = curve.mPreExtrapolation == YFCURVE_EXTRAPOLATION_KEEP_SLOPE && at.index == 0;
    const bool carriesOnAfter =
        curve.mPostExtrapolation == YFCURVE_EXTRAPOLATION_KEEP_SLOPE && end == curve.mKeyCount - 1;
    if (carriesOnBefore) KeepStraight(curve, at.index, at.start.right);
    if (carriesOnAfter) KeepStraight(curve, inserted, at.end.left);
    HoldEnds(curve, at, end);
    return inserted;
}

int YFCurveShape::InsertCubic(YFCurve& curve, const YFCurveInside& at)
{
    const int index = at.index;
    const YTime time = at.time;
    const yfc::CubicSegment segment = yfc::CubicSegmentAt(curve, index);
    const YTime start = curve.KeyGetTime(index);
    const YTime stop = curve.KeyGetTime(index + 1);
    const double parameter = segment.ParameterAt(yfc::SecondsBetween(start, time));
    std::vector<double> cuts;
    if (curve.KeyGetTangeantWeightMode(index) != YFCURVE_WEIGHT_NONE) {
        segment.FindCuts(0.0, parameter, yfc::kLeastRoundedWeight, yfc::kMostRoundedWeight, cuts);
        segment.FindCuts(parameter, 1.0, yfc::kLeastRoundedWeight, yfc::kMostRoundedWeight, cuts);
    }
    // Cuts too near to a key for a time of their own would change nothing that can be seen.
    const auto timeOf = [&](double cut) { return start + YTime::FromSeconds(segment.Time(cut)); };
    std::erase_if(cuts, [&](double cut) {
        const YTime cutTime = timeOf(cut);
        return cutTime <= start || cutTime == time || cutTime >= stop ||
               (cut < parameter) != (cutTime < time);
    });
    const auto own = std::lower_bound(cuts.begin(), cuts.end(), parameter);
    const int inserted = index + 1 + static_cast<int>(own - cuts.begin());
    cuts.insert(own, parameter);
    std::vector<YTime> times;
    for (const double cut : cuts) times.push_back(cut == parameter ? time : timeOf(cut));

    const int count = static_cast<int>(cuts.size());
    const yfc::AttributeReserve reserve(count + RecordsToHold(curve, index));
    curve.InitBuffers(curve.mKeyCount + count, false);
    const YFCurveModify modify(curve);
    InsertCuts(curve, index, segment, cuts, times);
    curve.Key(inserted).SetValue(at.value);
    HoldEnds(curve, at, index + 1 + count);
    return inserted;
}

// The slope of a short straight segment is that of two rounded values. Where an extrapolation carries it on
// without end and it would not do, the segment becomes a cubic one that has the slope in store.
void YFCurveShape::KeepStraight(YFCurve& curve, int index, float slope)
{
    if (!KeyKind(curve, index).IsLinear()) return;
    if (yfc::SameSlope(curve.KeyGetRightDerivative(index), slope)) return;
    curve.KeySetInterpolation(index, YFCURVE_INTERP_CUBIC);
    curve.KeySetTangeantMode(index, YFCURVE_TANGENT_USER, true);
    curve.KeySetDataFloat(index, YFCURVEKEY_RIGHT_DERIVATIVE, slope);
    curve.KeySetDataFloat(index, YFCURVEKEY_NEXT_LEFT_DERIVATIVE, slope);
}

// Sets user keys at the cuts of the segment that starts at `index`.
void YFCurveShape::InsertCuts(YFCurve& curve, int index, const yfc::CubicSegment& segment,
                              const std::vector<double>& cuts, const std::vector<YTime>& times)
{
    const bool weighted = curve.KeyGetTangeantWeightMode(index) != YFCURVE_WEIGHT_NONE;
    if ((weighted && KeyKind(curve, index).IsTCB()) || IsFlat(curve, index))
        TurnToUser(curve, index, SlopesAt(curve, index));
    // What key `index` stores for the segment's end moves to the last of the new keys.
    const float endLeft = KeyKind(curve, index + 1).IsAuto() ? curve.KeyGetLeftAuto(index + 1)
                                                             : curve.KeyGetLeftDerivative(index + 1);
    const bool hasEndVelocity = curve.KeyIsLeftTangeantVelocity(index + 1);
    const float endVelocity = curve.KeyGetLeftTangeantVelocity(index + 1);

    const int count = static_cast<int>(cuts.size());
    for (int k = 0; k < count; ++k) {
        const auto at = static_cast<std::size_t>(k);
        const auto slope = static_cast<float>(segment.Slope(cuts[at]));
        const float nextLeft = k + 1 < count ? static_cast<float>(segment.Slope(cuts[at + 1])) : endLeft;
        curve.KeyAdd(times[at], UserKey(static_cast<float>(segment.Value(cuts[at])), slope, nextLeft));
        if (k == 0 && !KeyKind(curve, index).IsTCB()) {
            curve.KeySetDataFloat(index, YFCURVEKEY_NEXT_LEFT_DERIVATIVE, slope);
        }
    }
    if (weighted) {
        double from = 0.0;
        for (int k = 0; k <= count; ++k) {
            const double to = k < count ? cuts[static_cast<std::size_t>(k)] : 1.0;
            const yfc::CubicSegment part = segment.Part(from, to);
            SetBothWeights(curve, index + k, part.StartWeight(), part.EndWeight());
            from = to;
        }
    }
    if (hasEndVelocity) {
        curve.KeySetLeftTangeantVelocityMode(index + 1, false);
        curve.KeySetLeftTangeantVelocity(index + 1 + count, YFCURVE_ToKeep(endVelocity));
    }
}

int YFCurveShape::InsertOutside(YFCurve& curve, YTime time, bool before)
{
    const yfc::AttributeReserve reserve(1 + RecordsToHold(curve, before ? 0 : curve.mKeyCount - 1));
    curve.InitBuffers(curve.mKeyCount + 1, false);
    const YFCurveModify modify(curve);
    if (curve.KeyGetCount() == 0) {
        YFCurveKey key;
        key.Set(time, curve.GetValue());
        return curve.KeyAdd(time, key);
    }
    const int oldEnd = before ? 0 : curve.KeyGetCount() - 1;
    const YTime endTime = curve.KeyGetTime(oldEnd);
    const float value = curve.Evaluate(time);
    // The slopes at the two ends of the new segment, as the extrapolation shows them.
    const float slope = before ? curve.EvaluateRightDerivative(time) : curve.EvaluateLeftDerivative(time);
    const float endSlope =
        before ? curve.EvaluateLeftDerivative(endTime) : curve.EvaluateRightDerivative(endTime);
    YFCurveSlopes endSlopes = SlopesAt(curve, oldEnd);
    float& outer = before ? endSlopes.left : endSlopes.right;
    outer = endSlope;

    const bool flat = slope == 0.0f && endSlope == 0.0f && value == curve.KeyGetValue(oldEnd);
    if (flat && !KeyKind(curve, oldEnd).IsCubic()) {
        const int index = curve.KeyAdd(time, yfc::ContinuingKey(curve.KeyGet(oldEnd), value));
        Hold(curve, before ? 1 : oldEnd, endSlopes);
        return index;
    }
    const int index = curve.KeyAdd(time, UserKey(value, slope, endSlope));
    const int end = before ? 1 : oldEnd;
    // The end key's side away from the other keys belonged to no segment; the new segment is a plain one.
    curve.KeySetTangeantWeightMode(before ? index : end, YFCURVE_WEIGHT_NONE);
    // A straight end key has to become cubic to hold the slope of a new segment behind it exactly.
    if (!before && !KeyKind(curve, end).IsCubic()) {
        curve.KeySetInterpolation(end, YFCURVE_INTERP_CUBIC);
        TurnToUser(curve, end, endSlopes);
    } else {
        Hold(curve, end, endSlopes);
    }
    Hold(curve, index, {slope, slope});
    return index;
}
