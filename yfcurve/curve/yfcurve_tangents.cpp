// Slopes, auto parameters, weights and velocities of the two sides of a key.
//
// A side is read by the segment that it belongs to: the right side of key i by key i, the left side by key
// i-1, which stores it. Where both ends of a segment are cubic, the left side follows the mode of the key
// that it arrives at.

#include <cmath>

#include "yfcurve/curve/autotangents.h"
#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/keyside.h"
#include "yfcurve/curve/tcbmode.h"
#include "yfcurve/yfcurve.h"

using yfc::ETangents;
using yfc::KeyKind;
using yfc::KeySide;
using yfc::LeftOf;
using yfc::RightOf;

namespace {

// Neighbours nearer than that are the two sides of a jump, not a direction.
constexpr YTime kTimeEpsilon = YTime::FromSeconds(1e-5);

}  // namespace

float YFCurve::SlopeOfSegment(int index) const
{
    return yfc::SlopeBetween(Key(index), Key(index + 1));
}

bool YFCurve::IsClamped(int index, bool& left, bool& right) const
{
    return IsClamped(index, KeyGetTangeantMode(index, true), left, right);
}

bool YFCurve::IsClamped(int index, unsigned mode, bool& left, bool& right) const
{
    left = right = false;
    if ((mode & YFCURVE_TANGENT_CLAMP) == 0) return false;
    const float value = Key(index).GetValue();
    const auto flatTowards = [&](int neighbour) {
        const YTime distance = Key(neighbour).GetTime() - Key(index).GetTime();
        return Key(neighbour).GetValue() == value || (distance < kTimeEpsilon && distance > -kTimeEpsilon);
    };
    const bool hasLeft = index > 0;
    const bool hasRight = index < mKeyCount - 1;
    left = hasLeft && flatTowards(index - 1);
    right = hasRight && flatTowards(index + 1);
    const bool peak =
        hasLeft && hasRight && Key(index - 1).GetValue() < value && Key(index + 1).GetValue() < value;
    const bool valley =
        hasLeft && hasRight && Key(index - 1).GetValue() > value && Key(index + 1).GetValue() > value;
    const bool broken = (mode & YFCURVE_TANGENT_BREAK) != 0;
    if (peak || valley || (!broken && (left || right))) left = right = true;
    return left || right;
}

// --- Slopes --------------------------------------------------------------------------------------------

bool YFCurve::HasSegment(KeySide side) const
{
    return side.IsRight() ? side.key < mKeyCount - 1 : side.key > 0;
}

// `mode` is that of the key by which the side is read, with its overrides.
float YFCurve::SlopeFromAuto(KeySide side, unsigned mode, double parameter) const
{
    const int index = side.key;
    bool leftClamped;
    bool rightClamped;
    if (IsClamped(index, mode, leftClamped, rightClamped) && (side.IsRight() ? rightClamped : leftClamped))
        return 0.0f;
    if ((mode & YFCURVE_TANGENT_TIME_INDEPENDENT) != 0 && std::abs(parameter) < yfc::kSmallestAutoParameter) {
        const int previous = index > 0 ? index - 1 : index;
        const int next = index < mKeyCount - 1 ? index + 1 : index;
        return yfc::SlopeBetween(Key(previous), Key(next));
    }
    const yfc::NeighbourSlopes slopes = yfc::ComputeNeighbourSlopes(*this, index);
    return static_cast<float>(yfc::SlopeFromAuto(side.side, parameter, slopes));
}

// Kochanek and Bartels, "Interpolating Splines with Local Tension, Continuity, and Bias Control", 1984:
// the outgoing derivative pairs (1+C)(1+B) with the segment before the key and (1-C)(1-B) with the one
// after it, the incoming one (1-C)(1+B) and (1+C)(1-B); an end key takes its only segment whole.
float YFCurve::SlopeFromTCB(KeySide side) const
{
    const int index = side.key;
    const YPriFCurveKeyAttr& attr = Attr(index);
    const double tension = attr.GetDataFloat(YFCURVEKEY_TCB_TENSION);
    const double continuity = (side.IsRight() ? 1.0 : -1.0) * attr.GetDataFloat(YFCURVEKEY_TCB_CONTINUITY);
    const double bias = attr.GetDataFloat(YFCURVEKEY_TCB_BIAS);
    const auto part = [&](double factor, int segment) {
        const double rise = static_cast<double>(Key(segment + 1).GetValue()) - Key(segment).GetValue();
        const double duration = yfc::SecondsBetween(Key(segment).GetTime(), Key(segment + 1).GetTime());
        return static_cast<float>(factor * rise / duration);
    };
    if (index == 0) return part((1.0 - tension) * (1.0 - continuity) * (1.0 - bias), 0);
    if (index == mKeyCount - 1) return part((1.0 - tension) * (1.0 + continuity) * (1.0 + bias), index - 1);
    const float before = part((1.0 + continuity) * (1.0 + bias), index - 1);
    const float after = part((1.0 - continuity) * (1.0 - bias), index);
    return static_cast<float>(0.5 * (1.0 - tension) * (before + after));
}

float YFCurve::KeyGetRightDerivative(int index) const
{
    const KeySide side = RightOf(index);
    if (!HasSegment(side)) return mKeyCount > 1 ? KeyGetLeftDerivative(index) : 0.0f;
    const YPriFCurveKeyAttr& attr = Attr(index);
    const KeyKind kind(attr);
    if (kind.IsLinear()) return SlopeOfSegment(index);
    const float stored = attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE);
    switch (kind.GetTangents()) {
        case ETangents::None:
            break;
        case ETangents::User:
            return stored;
        case ETangents::TCB:
            return SlopeFromTCB(side);
        case ETangents::Auto:
            return SlopeFromAuto(side, attr.GetTangeantMode(true), stored);
    }
    return 0.0f;
}

float YFCurve::KeyGetLeftDerivative(int index) const
{
    const KeySide side = LeftOf(index);
    if (!HasSegment(side)) return mKeyCount > 1 ? KeyGetRightDerivative(index) : 0.0f;
    const YPriFCurveKeyAttr& previous = Attr(index - 1);
    const KeyKind segment(previous);
    if (segment.IsLinear()) return SlopeOfSegment(index - 1);
    if (!segment.IsCubic()) return 0.0f;
    const float stored = previous.GetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE);
    const bool isLast = index == mKeyCount - 1;
    const YPriFCurveKeyAttr& attr = Attr(index);
    const KeyKind kind(attr);
    if (!kind.IsCubic()) {
        if (segment.IsUser()) return stored;
        if (segment.IsAuto()) return SlopeFromAuto(side, previous.GetTangeantMode(true), stored);
        return segment.IsTCB() && !isLast ? KeyGetRightDerivative(index) : 0.0f;
    }
    switch (kind.GetTangents()) {
        case ETangents::None:
            break;
        case ETangents::User:
            if (!segment.IsTCB()) return stored;
            return isLast ? 0.0f : attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE);
        case ETangents::TCB:
            return SlopeFromTCB(yfc::tcbArrivesAsItLeaves ? RightOf(index) : side);
        case ETangents::Auto:
            return SlopeFromAuto(side, attr.GetTangeantMode(true), LeftAutoParameter(index));
    }
    return 0.0f;
}

float YFCurve::GetSlope(KeySide side) const
{
    return side.IsRight() ? KeyGetRightDerivative(side.key) : KeyGetLeftDerivative(side.key);
}

// The parameter of the left side of an auto key. A TCB key before it has no room for one: an unbroken key
// then mirrors its right one, which describes the same straight tangent.
float YFCurve::LeftAutoParameter(int index) const
{
    const YPriFCurveKeyAttr& previous = Attr(index - 1);
    if (!KeyKind(previous).IsTCB()) return previous.GetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE);
    const YPriFCurveKeyAttr& attr = Attr(index);
    return attr.GetBreak() ? yfc::kAlongSegment : -attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE);
}

// --- Where a side is stored ----------------------------------------------------------------------------

// After a TCB key there is no room for the left side of the next one.
bool YFCurve::CanStore(KeySide side) const
{
    if (!HasSegment(side)) return false;
    const KeyKind segment(Attr(side.StoredBy()));
    return segment.IsCubic() && (side.IsRight() || !segment.IsTCB());
}

// What the stored number is, an auto parameter or a slope; `None` where nothing can be stored.
yfc::ETangents YFCurve::StoredAs(KeySide side) const
{
    if (!CanStore(side)) return ETangents::None;
    const KeyKind own(Attr(side.key));
    const ETangents tangents = (own.IsCubic() ? own : KeyKind(Attr(side.StoredBy()))).GetTangents();
    return tangents == ETangents::TCB ? ETangents::None : tangents;
}

// Discards the candidate even where the slope is the same as before.
void YFCurve::SetSlope(KeySide side, float slope)
{
    const ETangents storedAs = StoredAs(side);
    if (storedAs == ETangents::None) {
        if (side.IsRight() && CanStore(side)) mCandidateTime = YTIME_INFINITE;
        return;
    }
    if (storedAs == ETangents::Auto) {
        const yfc::NeighbourSlopes slopes = yfc::ComputeNeighbourSlopes(*this, side.key);
        slope = static_cast<float>(yfc::AutoFromSlope(side.side, slope, slopes));
    }
    if (KeyGetDataDouble(side.StoredBy(), side.SlopeData()) == slope) mCandidateTime = YTIME_INFINITE;
    KeySetDataDouble(side.StoredBy(), side.SlopeData(), slope);
}

void YFCurve::KeySetRightDerivative(int index, float derivative)
{
    SetSlope(RightOf(index), derivative);
}

void YFCurve::KeySetLeftDerivative(int index, float derivative)
{
    SetSlope(LeftOf(index), derivative);
}

void YFCurve::KeyIncRightDerivative(int index, float amount)
{
    KeySetRightDerivative(index, KeyGetRightDerivative(index) + amount);
}

void YFCurve::KeyIncLeftDerivative(int index, float amount)
{
    KeySetLeftDerivative(index, KeyGetLeftDerivative(index) + amount);
}

void YFCurve::KeyMultDerivative(int index, float factor)
{
    const float left = KeyGetLeftDerivative(index) * factor;
    const float right = KeyGetRightDerivative(index) * factor;
    Editing(2, [&] {
        KeyModifyBegin();
        KeySetLeftDerivative(index, left);
        KeySetRightDerivative(index, right);
        KeyModifyEnd();
    });
}

// --- Auto parameters -----------------------------------------------------------------------------------

// An end key has one parameter for both its sides.
float YFCurve::GetAuto(KeySide side, bool applyClamp) const
{
    const YPriFCurveKeyAttr& attr = Attr(side.key);
    const bool isAuto = KeyKind(attr).IsAuto();
    const float stored = isAuto ? attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE) : 0.0f;
    if (!HasSegment(side)) return stored;
    const KeyKind segment(Attr(side.StoredBy()));
    if (segment.IsLinear()) return yfc::kAlongSegment;
    if (!segment.IsCubic()) return 0.0f;
    bool left = false;
    bool right = false;
    if (applyClamp) IsClamped(side.key, left, right);
    const bool isClamped = side.IsRight() ? right : left;
    if (isAuto && !isClamped) return side.IsRight() ? stored : LeftAutoParameter(side.key);
    const yfc::NeighbourSlopes slopes = yfc::ComputeNeighbourSlopes(*this, side.key);
    return static_cast<float>(yfc::AutoFromSlope(side.side, GetSlope(side), slopes));
}

void YFCurve::SetAuto(KeySide side, float value)
{
    Editing(1, [&] {
        KeyModifyBegin();
        mCandidateTime = YTIME_INFINITE;
        if (!HasSegment(side)) {
            if (KeyKind(Attr(side.key)).IsAuto())
                KeySetDataDouble(side.key, YFCURVEKEY_RIGHT_DERIVATIVE, value);
        } else if (const ETangents storedAs = StoredAs(side); storedAs != ETangents::None) {
            if (storedAs == ETangents::User) {
                const yfc::NeighbourSlopes slopes = yfc::ComputeNeighbourSlopes(*this, side.key);
                value = static_cast<float>(yfc::SlopeFromAuto(side.side, value, slopes));
            }
            KeySetDataDouble(side.StoredBy(), side.SlopeData(), value);
        }
        KeyModifyEnd();
    });
}

float YFCurve::KeyGetRightAuto(int index, bool applyClamp) const
{
    return GetAuto(RightOf(index), applyClamp);
}

float YFCurve::KeyGetLeftAuto(int index, bool applyClamp) const
{
    return GetAuto(LeftOf(index), applyClamp);
}

void YFCurve::KeySetRightAuto(int index, float value)
{
    SetAuto(RightOf(index), value);
}

void YFCurve::KeySetLeftAuto(int index, float value)
{
    SetAuto(LeftOf(index), value);
}

// --- A whole side --------------------------------------------------------------------------------------

YFCurveTangeantInfo YFCurve::GetSide(KeySide side) const
{
    YFCurveTangeantInfo info;
    info.Derivative = GetSlope(side);
    info.AutoValue = GetAuto(side, false);
    info.IsWeighted = HasSideMode(side, side.WeightBit());
    info.HasVelocity = HasSideMode(side, side.VelocityBit());
    if (info.IsWeighted) info.Weight = KeyGetDataDouble(side.StoredBy(), side.WeightData());
    if (info.HasVelocity) info.Velocity = KeyGetDataDouble(side.StoredBy(), side.VelocityData());
    return info;
}

void YFCurve::SetSide(KeySide side, const YFCurveTangeantInfo& info, bool forceDerivative)
{
    const KeyKind kind(Attr(side.key));
    if (kind.IsTCB() || (HasSegment(side) && KeyKind(Attr(side.StoredBy())).IsTCB())) return;
    Editing(1, [&] {
        KeyModifyBegin();
        mCandidateTime = YTIME_INFINITE;
        if (HasSegment(side)) {
            SetSideValue(side, side.WeightData(), side.WeightBit(), info.Weight);
            SetSideMode(side, side.WeightBit(), info.IsWeighted);
            SetSideValue(side, side.VelocityData(), side.VelocityBit(), info.Velocity);
            SetSideMode(side, side.VelocityBit(), info.HasVelocity);
            if (kind.IsAuto() && !forceDerivative) {
                SetAuto(side, info.AutoValue);
            } else {
                SetSlope(side, info.Derivative);
            }
        } else if (kind.IsAuto()) {
            KeySetDataDouble(side.key, YFCURVEKEY_RIGHT_DERIVATIVE, info.AutoValue);
        }
        KeyModifyEnd();
    });
}

YFCurveTangeantInfo YFCurve::KeyGetRightDerivativeInfo(int index) const
{
    return GetSide(RightOf(index));
}

YFCurveTangeantInfo YFCurve::KeyGetLeftDerivativeInfo(int index) const
{
    return GetSide(LeftOf(index));
}

void YFCurve::KeySetRightDerivativeInfo(int index, const YFCurveTangeantInfo& info, bool forceDerivative)
{
    SetSide(RightOf(index), info, forceDerivative);
}

void YFCurve::KeySetLeftDerivativeInfo(int index, const YFCurveTangeantInfo& info, bool forceDerivative)
{
    SetSide(LeftOf(index), info, forceDerivative);
}

// The value distance of a handle per unit of slope.
double YFCurve::HandleDuration(KeySide side) const
{
    if (!HasSegment(side)) return 0.0;
    const int segment = side.StoredBy();
    const float weight =
        side.IsRight() ? KeyGetRightTangeantWeight(side.key) : KeyGetLeftTangeantWeight(side.key);
    return yfc::SecondsBetween(KeyGetTime(segment), KeyGetTime(segment + 1)) * weight;
}

float YFCurve::KeyGetRightBezierTangeant(int index) const
{
    return static_cast<float>(KeyGetRightDerivative(index) * HandleDuration(RightOf(index)));
}

float YFCurve::KeyGetLeftBezierTangeant(int index) const
{
    return static_cast<float>(KeyGetLeftDerivative(index) * HandleDuration(LeftOf(index)));
}

void YFCurve::KeySetRightBezierTangeant(int index, float tangeant)
{
    const double duration = HandleDuration(RightOf(index));
    if (duration > 0.0) KeySetRightDerivative(index, static_cast<float>(tangeant / duration));
}

void YFCurve::KeySetLeftBezierTangeant(int index, float tangeant)
{
    const double duration = HandleDuration(LeftOf(index));
    if (duration > 0.0) KeySetLeftDerivative(index, static_cast<float>(tangeant / duration));
}

// --- Weights and velocities ----------------------------------------------------------------------------

// Whether a side has a weight, or a velocity. Where the right ones would be, a TCB key has its bias.
bool YFCurve::HasSideMode(KeySide side, unsigned bit) const
{
    if (!HasSegment(side)) return false;
    const YPriFCurveKeyAttr& attr = Attr(side.StoredBy());
    return (attr.GetFlags() & bit) != 0 && (!side.IsRight() || yfc::HasFreeRightSide(attr));
}

void YFCurve::SetSideMode(KeySide side, unsigned bit, bool on)
{
    const int index = side.StoredBy();
    if (index < 0 || !KeyKind(Attr(index)).IsCubic()) return;
    if ((bit & YFCURVE_WEIGHT_ALL) != 0) {
        KeySetTangeantWeightMode(index, on ? bit : 0u, bit);
    } else {
        KeySetTangeantVelocityMode(index, on ? bit : 0u, bit);
    }
}

void YFCurve::SetSideValue(KeySide side, EYFCurveDataIndex dataIndex, unsigned bit, float value)
{
    if (!CanStore(side)) return;
    Editing(1, [&] {
        KeyModifyBegin();
        SetSideMode(side, bit, true);
        KeySetDataDouble(side.StoredBy(), dataIndex, value);
        KeyModifyEnd();
    });
}

bool YFCurve::KeyIsLeftTangeantWeighted(int index) const
{
    return HasSideMode(LeftOf(index), LeftOf(index).WeightBit());
}

float YFCurve::KeyGetLeftTangeantWeight(int index) const
{
    const KeySide side = LeftOf(index);
    return HasSideMode(side, side.WeightBit()) ? KeyGetDataDouble(side.StoredBy(), side.WeightData())
                                               : YFCURVE_DEFAULT_WEIGHT;
}

void YFCurve::KeySetLeftTangeantWeightedMode(int index, bool weighted)
{
    SetSideMode(LeftOf(index), LeftOf(index).WeightBit(), weighted);
}

void YFCurve::KeySetLeftTangeantWeight(int index, float weight)
{
    SetSideValue(LeftOf(index), LeftOf(index).WeightData(), LeftOf(index).WeightBit(), weight);
}

bool YFCurve::KeyIsLeftTangeantVelocity(int index) const
{
    return HasSideMode(LeftOf(index), LeftOf(index).VelocityBit());
}

float YFCurve::KeyGetLeftTangeantVelocity(int index) const
{
    const KeySide side = LeftOf(index);
    return HasSideMode(side, side.VelocityBit()) ? KeyGetDataDouble(side.StoredBy(), side.VelocityData())
                                                 : YFCURVE_DEFAULT_VELOCITY;
}

void YFCurve::KeySetLeftTangeantVelocityMode(int index, bool hasVelocity)
{
    SetSideMode(LeftOf(index), LeftOf(index).VelocityBit(), hasVelocity);
}

void YFCurve::KeySetLeftTangeantVelocity(int index, float velocity)
{
    SetSideValue(LeftOf(index), LeftOf(index).VelocityData(), LeftOf(index).VelocityBit(), velocity);
}

bool YFCurve::KeyIsRightTangeantWeighted(int index) const
{
    return HasSideMode(RightOf(index), RightOf(index).WeightBit());
}

float YFCurve::KeyGetRightTangeantWeight(int index) const
{
    const KeySide side = RightOf(index);
    return HasSideMode(side, side.WeightBit()) ? KeyGetDataDouble(side.StoredBy(), side.WeightData())
                                               : YFCURVE_DEFAULT_WEIGHT;
}

void YFCurve::KeySetRightTangeantWeightedMode(int index, bool weighted)
{
    SetSideMode(RightOf(index), RightOf(index).WeightBit(), weighted);
}

void YFCurve::KeySetRightTangeantWeight(int index, float weight)
{
    SetSideValue(RightOf(index), RightOf(index).WeightData(), RightOf(index).WeightBit(), weight);
}

bool YFCurve::KeyIsRightTangeantVelocity(int index) const
{
    return HasSideMode(RightOf(index), RightOf(index).VelocityBit());
}

float YFCurve::KeyGetRightTangeantVelocity(int index) const
{
    const KeySide side = RightOf(index);
    return HasSideMode(side, side.VelocityBit()) ? KeyGetDataDouble(side.StoredBy(), side.VelocityData())
                                                 : YFCURVE_DEFAULT_VELOCITY;
}

void YFCurve::KeySetRightTangeantVelocityMode(int index, bool hasVelocity)
{
    SetSideMode(RightOf(index), RightOf(index).VelocityBit(), hasVelocity);
}

void YFCurve::KeySetRightTangeantVelocity(int index, float velocity)
{
    SetSideValue(RightOf(index), RightOf(index).VelocityData(), RightOf(index).VelocityBit(), velocity);
}

// --- All keys ------------------------------------------------------------------------------------------

void YFCurve::KeyTangeantSetInterpolation(bool selectedOnly, unsigned interpolation)
{
    Editing(mKeyCount, [&] {
        KeyModifyBegin();
        for (int i = 0; i < mKeyCount; ++i) {
            if (!selectedOnly || KeyGetSelected(i)) KeySetInterpolation(i, interpolation);
        }
        KeyModifyEnd();
    });
}

bool YFCurve::IsKeyInterpolationPureCubicAuto(int index) const
{
    const YPriFCurveKeyAttr& attr = Attr(index);
    return KeyKind(attr).IsAuto() && !attr.GetBreak() && KeyGetRightAuto(index) == 0.0f &&
           KeyGetLeftAuto(index) == 0.0f && !KeyIsLeftTangeantWeighted(index) &&
           !KeyIsRightTangeantWeighted(index) && !KeyIsLeftTangeantVelocity(index) &&
           !KeyIsRightTangeantVelocity(index);
}
