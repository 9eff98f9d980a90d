// Slopes, auto parameters, weights and velocities of the two sides of a key.
//
// A side is read by the segment that it belongs to: the right side of key i by key i, the left side by key
// i-1, which stores it. Where both ends of a segment are cubic, the left side follows the mode of the key
// that it arrives at.

#include <cmath>

#include "yfcurve/curve/autotangents.h"
#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/curve/tcbmode.h"
#include "yfcurve/yfcurve.h"

namespace {

// Neighbours nearer than that are the two sides of a jump, not a direction.
constexpr YTime kTimeEpsilon = YTime::FromSeconds(1e-5);

// An auto parameter of smaller magnitude counts as none.
constexpr double kSmallestParameter = 0.01;

// The parameter that stands for "along the segment" where there is none to read.
constexpr float kAlongSegment = 100.0f;

bool IsCubic(const YPriFCurveKeyAttr& attr)
{
    return attr.GetInterpolation() == YFCURVE_INTERP_CUBIC;
}

bool IsAuto(unsigned mode)
{
    return mode == YFCURVE_TANGENT_AUTO || mode == YFCURVE_TANGENT_AUTO_BREAK;
}
bool IsUser(unsigned mode)
{
    return mode == YFCURVE_TANGENT_USER || mode == YFCURVE_TANGENT_USER_BREAK;
}
bool IsTCB(unsigned mode)
{
    return mode == YFCURVE_TANGENT_TCB;
}

}  // namespace

float YFCurve::SlopeOfSegment(int index) const
{
    const double rise = static_cast<double>(KeyGetValue(index + 1)) - KeyGetValue(index);
    return static_cast<float>(rise / yfc::SecondsBetween(KeyGetTime(index), KeyGetTime(index + 1)));
}

bool YFCurve::IsClamped(int index, bool& left, bool& right) const
{
    return IsClamped(index, KeyGetTangeantMode(index, true), left, right);
}

bool YFCurve::IsClamped(int index, unsigned mode, bool& left, bool& right) const
{
    left = right = false;
    if ((mode & YFCURVE_TANGENT_CLAMP) == 0) return false;
    const float value = KeyGetValue(index);
    const auto flatTowards = [&](int neighbour) {
        const YTime distance = KeyGetTime(neighbour) - KeyGetTime(index);
        return KeyGetValue(neighbour) == value || (distance < kTimeEpsilon && distance > -kTimeEpsilon);
    };
    const bool hasLeft = index > 0;
    const bool hasRight = index < mKeyCount - 1;
    left = hasLeft && flatTowards(index - 1);
    right = hasRight && flatTowards(index + 1);
    const bool peak = hasLeft && hasRight && KeyGetValue(index - 1) < value && KeyGetValue(index + 1) < value;
    const bool valley =
        hasLeft && hasRight && KeyGetValue(index - 1) > value && KeyGetValue(index + 1) > value;
    const bool broken = (mode & YFCURVE_TANGENT_BREAK) != 0;
    if (peak || valley || (!broken && (left || right))) left = right = true;
    return left || right;
}

// --- Slopes --------------------------------------------------------------------------------------------

// `mode` is that of the key by which the side is read, with its overrides.
float YFCurve::SlopeFromAuto(int index, unsigned mode, double parameter, bool rightSide) const
{
    bool leftClamped;
    bool rightClamped;
    if (IsClamped(index, mode, leftClamped, rightClamped) && (rightSide ? rightClamped : leftClamped))
        return 0.0f;
    if ((mode & YFCURVE_TANGENT_TIME_INDEPENDENT) != 0 && std::abs(parameter) < kSmallestParameter) {
        const int previous = index > 0 ? index - 1 : index;
        const int next = index < mKeyCount - 1 ? index + 1 : index;
        const double rise = static_cast<double>(KeyGetValue(next)) - KeyGetValue(previous);
        return static_cast<float>(rise / yfc::SecondsBetween(KeyGetTime(previous), KeyGetTime(next)));
    }
    const yfc::NeighbourSlopes slopes = yfc::ComputeNeighbourSlopes(*this, index);
    return static_cast<float>(rightSide ? yfc::RightSlopeFromAuto(parameter, slopes.toLeft, slopes.toRight)
                                        : yfc::LeftSlopeFromAuto(parameter, slopes.toLeft, slopes.toRight));
}

// Kochanek and Bartels, "Interpolating Splines with Local Tension, Continuity, and Bias Control", 1984:
// the outgoing derivative pairs (1+C)(1+B) with the segment before the key and (1-C)(1-B) with the one
// after it, the incoming one (1-C)(1+B) and (1+C)(1-B); an end key takes its only segment whole.
float YFCurve::SlopeFromTCB(int index, bool rightSide) const
{
    const YPriFCurveKeyAttr& attr = Attr(index);
    const double tension = attr.GetDataFloat(YFCURVEKEY_TCB_TENSION);
    const double continuity = (rightSide ? 1.0 : -1.0) * attr.GetDataFloat(YFCURVEKEY_TCB_CONTINUITY);
    const double bias = attr.GetDataFloat(YFCURVEKEY_TCB_BIAS);
    const auto part = [&](double factor, int segment) {
        const double rise = static_cast<double>(KeyGetValue(segment + 1)) - KeyGetValue(segment);
        const double duration = yfc::SecondsBetween(KeyGetTime(segment), KeyGetTime(segment + 1));
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
    if (index >= mKeyCount - 1) return mKeyCount > 1 ? KeyGetLeftDerivative(index) : 0.0f;
    const YPriFCurveKeyAttr& attr = Attr(index);
    if (attr.GetInterpolation() == YFCURVE_INTERP_LINEAR) return SlopeOfSegment(index);
    if (!IsCubic(attr)) return 0.0f;
    const unsigned mode = attr.GetTangeantMode(false);
    const float word = attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE);
    if (IsUser(mode)) return word;
    if (IsTCB(mode)) return SlopeFromTCB(index, true);
    if (IsAuto(mode)) return SlopeFromAuto(index, attr.GetTangeantMode(true), word, true);
    return 0.0f;
}

float YFCurve::KeyGetLeftDerivative(int index) const
{
    if (index < 1) return mKeyCount > 1 ? KeyGetRightDerivative(index) : 0.0f;
    const YPriFCurveKeyAttr& previous = Attr(index - 1);
    if (previous.GetInterpolation() == YFCURVE_INTERP_LINEAR) return SlopeOfSegment(index - 1);
    if (!IsCubic(previous)) return 0.0f;
    const unsigned previousMode = previous.GetTangeantMode(false);
    const float stored = previous.GetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE);
    const bool isLast = index == mKeyCount - 1;
    const YPriFCurveKeyAttr& attr = Attr(index);
    if (!IsCubic(attr)) {
        if (IsUser(previousMode)) return stored;
        if (IsAuto(previousMode)) return SlopeFromAuto(index, previous.GetTangeantMode(true), stored, false);
        return IsTCB(previousMode) && !isLast ? KeyGetRightDerivative(index) : 0.0f;
    }
    const unsigned mode = attr.GetTangeantMode(false);
    if (IsUser(mode)) {
        if (!IsTCB(previousMode)) return stored;
        return isLast ? 0.0f : attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE);
    }
    if (IsTCB(mode)) return SlopeFromTCB(index, yfc::tcbArrivesAsItLeaves);
    if (IsAuto(mode))
        return SlopeFromAuto(index, attr.GetTangeantMode(true), LeftAutoParameter(index), false);
    return 0.0f;
}

// The parameter of the left side of an auto key. A TCB key before it has no room for one: an unbroken key
// then mirrors its right one, which describes the same straight tangent.
float YFCurve::LeftAutoParameter(int index) const
{
    const YPriFCurveKeyAttr& previous = Attr(index - 1);
    if (!IsTCB(previous.GetTangeantMode(false)))
        return previous.GetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE);
    const YPriFCurveKeyAttr& attr = Attr(index);
    return attr.GetBreak() ? kAlongSegment : -attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE);
}

// The candidate goes even where nothing changes.
void YFCurve::StoreSlope(int index, EYFCurveDataIndex dataIndex, float slope)
{
    if (KeyGetDataDouble(index, dataIndex) == slope) mCandidateTime = YTIME_INFINITE;
    KeySetDataDouble(index, dataIndex, slope);
}

void YFCurve::KeySetRightDerivative(int index, float derivative)
{
    if (index >= mKeyCount - 1 || !IsCubic(Attr(index))) return;
    const unsigned mode = KeyGetTangeantMode(index);
    if (IsAuto(mode)) {
        const yfc::NeighbourSlopes slopes = yfc::ComputeNeighbourSlopes(*this, index);
        derivative = static_cast<float>(yfc::RightAutoFromSlope(derivative, slopes.toLeft, slopes.toRight));
    } else if (!IsUser(mode)) {
        mCandidateTime = YTIME_INFINITE;
        return;
    }
    StoreSlope(index, YFCURVEKEY_RIGHT_DERIVATIVE, derivative);
}

// The mode by which the left side of a key is stored on key index-1; 0 where nothing can be stored.
unsigned YFCurve::LeftStorageMode(int index) const
{
    if (index < 1 || !IsCubic(Attr(index - 1))) return 0;
    const unsigned previousMode = KeyGetTangeantMode(index - 1);
    if (IsTCB(previousMode)) return 0;
    const unsigned mode = IsCubic(Attr(index)) ? KeyGetTangeantMode(index) : previousMode;
    return IsAuto(mode) || IsUser(mode) ? mode : 0;
}

void YFCurve::KeySetLeftDerivative(int index, float derivative)
{
    const unsigned mode = LeftStorageMode(index);
    if (mode == 0) return;
    if (IsAuto(mode)) {
        const yfc::NeighbourSlopes slopes = yfc::ComputeNeighbourSlopes(*this, index);
        derivative = static_cast<float>(yfc::LeftAutoFromSlope(derivative, slopes.toLeft, slopes.toRight));
    }
    StoreSlope(index - 1, YFCURVEKEY_NEXT_LEFT_DERIVATIVE, derivative);
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

float YFCurve::KeyGetRightAuto(int index, bool applyClamp) const
{
    const YPriFCurveKeyAttr& attr = Attr(index);
    const bool isAuto = IsCubic(attr) && IsAuto(attr.GetTangeantMode(false));
    const float stored = isAuto ? attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE) : 0.0f;
    if (index >= mKeyCount - 1) return stored;
    if (attr.GetInterpolation() == YFCURVE_INTERP_LINEAR) return kAlongSegment;
    if (!IsCubic(attr)) return 0.0f;
    bool left = false;
    bool right = false;
    if (applyClamp) IsClamped(index, left, right);
    if (isAuto && !right) return stored;
    const yfc::NeighbourSlopes slopes = yfc::ComputeNeighbourSlopes(*this, index);
    return static_cast<float>(
        yfc::RightAutoFromSlope(KeyGetRightDerivative(index), slopes.toLeft, slopes.toRight));
}

float YFCurve::KeyGetLeftAuto(int index, bool applyClamp) const
{
    const YPriFCurveKeyAttr& attr = Attr(index);
    const bool isAuto = IsCubic(attr) && IsAuto(attr.GetTangeantMode(false));
    if (index == 0) return isAuto ? attr.GetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE) : 0.0f;
    const YPriFCurveKeyAttr& previous = Attr(index - 1);
    if (previous.GetInterpolation() == YFCURVE_INTERP_LINEAR) return kAlongSegment;
    if (!IsCubic(previous)) return 0.0f;
    bool left = false;
    bool right = false;
    if (applyClamp) IsClamped(index, left, right);
    if (isAuto && !left) return LeftAutoParameter(index);
    const yfc::NeighbourSlopes slopes = yfc::ComputeNeighbourSlopes(*this, index);
    return static_cast<float>(
        yfc::LeftAutoFromSlope(KeyGetLeftDerivative(index), slopes.toLeft, slopes.toRight));
}

void YFCurve::KeySetRightAuto(int index, float value)
{
    Editing(1, [&] {
        KeyModifyBegin();
        mCandidateTime = YTIME_INFINITE;
        const unsigned mode = IsCubic(Attr(index)) ? KeyGetTangeantMode(index) : 0;
        if (IsAuto(mode)) {
            KeySetDataDouble(index, YFCURVEKEY_RIGHT_DERIVATIVE, value);
        } else if (IsUser(mode) && index < mKeyCount - 1) {
            const yfc::NeighbourSlopes slopes = yfc::ComputeNeighbourSlopes(*this, index);
            KeySetDataDouble(
                index, YFCURVEKEY_RIGHT_DERIVATIVE,
                static_cast<float>(yfc::RightSlopeFromAuto(value, slopes.toLeft, slopes.toRight)));
        }
        KeyModifyEnd();
    });
}

void YFCurve::KeySetLeftAuto(int index, float value)
{
    Editing(1, [&] {
        KeyModifyBegin();
        mCandidateTime = YTIME_INFINITE;
        const unsigned mode = LeftStorageMode(index);
        if (index == 0) {
            if (IsCubic(Attr(0)) && IsAuto(KeyGetTangeantMode(0))) {
                KeySetDataDouble(0, YFCURVEKEY_RIGHT_DERIVATIVE, value);
            }
        } else if (IsAuto(mode)) {
            KeySetDataDouble(index - 1, YFCURVEKEY_NEXT_LEFT_DERIVATIVE, value);
        } else if (IsUser(mode)) {
            const yfc::NeighbourSlopes slopes = yfc::ComputeNeighbourSlopes(*this, index);
            KeySetDataDouble(
                index - 1, YFCURVEKEY_NEXT_LEFT_DERIVATIVE,
                static_cast<float>(yfc::LeftSlopeFromAuto(value, slopes.toLeft, slopes.toRight)));
        }
        KeyModifyEnd();
    });
}

// --- A whole side --------------------------------------------------------------------------------------

YFCurveTangeantInfo YFCurve::KeyGetRightDerivativeInfo(int index) const
{
    YFCurveTangeantInfo info;
    info.Derivative = KeyGetRightDerivative(index);
    info.AutoValue = KeyGetRightAuto(index);
    info.IsWeighted = KeyIsRightTangeantWeighted(index);
    info.Weight = KeyGetRightTangeantWeight(index);
    info.HasVelocity = KeyIsRightTangeantVelocity(index);
    info.Velocity = KeyGetRightTangeantVelocity(index);
    return info;
}

YFCurveTangeantInfo YFCurve::KeyGetLeftDerivativeInfo(int index) const
{
    YFCurveTangeantInfo info;
    info.Derivative = KeyGetLeftDerivative(index);
    info.AutoValue = KeyGetLeftAuto(index);
    info.IsWeighted = KeyIsLeftTangeantWeighted(index);
    info.Weight = KeyGetLeftTangeantWeight(index);
    info.HasVelocity = KeyIsLeftTangeantVelocity(index);
    info.Velocity = KeyGetLeftTangeantVelocity(index);
    return info;
}

void YFCurve::KeySetRightDerivativeInfo(int index, const YFCurveTangeantInfo& info, bool forceDerivative)
{
    const bool cubic = IsCubic(Attr(index));
    const unsigned mode = KeyGetTangeantMode(index);
    if (cubic && IsTCB(mode)) return;
    const bool autoParameter = cubic && IsAuto(mode);
    Editing(1, [&] {
        KeyModifyBegin();
        mCandidateTime = YTIME_INFINITE;
        if (index < mKeyCount - 1) {
            KeySetRightTangeantWeight(index, info.Weight);
            KeySetRightTangeantWeightedMode(index, info.IsWeighted);
            KeySetRightTangeantVelocity(index, info.Velocity);
            KeySetRightTangeantVelocityMode(index, info.HasVelocity);
            if (autoParameter && !forceDerivative) {
                KeySetRightAuto(index, info.AutoValue);
            } else {
                KeySetRightDerivative(index, info.Derivative);
            }
        } else if (autoParameter) {
            KeySetDataDouble(index, YFCURVEKEY_RIGHT_DERIVATIVE, info.AutoValue);
        }
        KeyModifyEnd();
    });
}

void YFCurve::KeySetLeftDerivativeInfo(int index, const YFCurveTangeantInfo& info, bool forceDerivative)
{
    const bool cubic = IsCubic(Attr(index));
    const unsigned mode = KeyGetTangeantMode(index);
    if (cubic && IsTCB(mode)) return;
    // A TCB key has no room for the left side of the one after it.
    if (index > 0 && IsCubic(Attr(index - 1)) && IsTCB(KeyGetTangeantMode(index - 1))) return;
    const bool autoParameter = cubic && IsAuto(mode);
    Editing(1, [&] {
        KeyModifyBegin();
        mCandidateTime = YTIME_INFINITE;
        if (index > 0) {
            KeySetLeftTangeantWeight(index, info.Weight);
            KeySetLeftTangeantWeightedMode(index, info.IsWeighted);
            KeySetLeftTangeantVelocity(index, info.Velocity);
            KeySetLeftTangeantVelocityMode(index, info.HasVelocity);
            if (autoParameter && !forceDerivative) {
                KeySetLeftAuto(index, info.AutoValue);
            } else {
                KeySetLeftDerivative(index, info.Derivative);
            }
        } else if (autoParameter) {
            KeySetDataDouble(index, YFCURVEKEY_RIGHT_DERIVATIVE, info.AutoValue);
        }
        KeyModifyEnd();
    });
}

// The value distance of a handle per unit of slope.
double YFCurve::RightHandleDuration(int index) const
{
    if (index >= mKeyCount - 1) return 0.0;
    return yfc::SecondsBetween(KeyGetTime(index), KeyGetTime(index + 1)) * KeyGetRightTangeantWeight(index);
}

double YFCurve::LeftHandleDuration(int index) const
{
    if (index < 1) return 0.0;
    return yfc::SecondsBetween(KeyGetTime(index - 1), KeyGetTime(index)) * KeyGetLeftTangeantWeight(index);
}

float YFCurve::KeyGetRightBezierTangeant(int index) const
{
    return static_cast<float>(KeyGetRightDerivative(index) * RightHandleDuration(index));
}

float YFCurve::KeyGetLeftBezierTangeant(int index) const
{
    return static_cast<float>(KeyGetLeftDerivative(index) * LeftHandleDuration(index));
}

void YFCurve::KeySetRightBezierTangeant(int index, float tangeant)
{
    const double duration = RightHandleDuration(index);
    if (duration > 0.0) KeySetRightDerivative(index, static_cast<float>(tangeant / duration));
}

void YFCurve::KeySetLeftBezierTangeant(int index, float tangeant)
{
    const double duration = LeftHandleDuration(index);
    if (duration > 0.0) KeySetLeftDerivative(index, static_cast<float>(tangeant / duration));
}

// --- Weights and velocities ----------------------------------------------------------------------------

bool YFCurve::KeyIsLeftTangeantWeighted(int index) const
{
    return index >= 1 && (Attr(index - 1).GetFlags() & YFCURVE_WEIGHT_NEXT_LEFT) != 0;
}

bool YFCurve::KeyIsRightTangeantWeighted(int index) const
{
    return index < mKeyCount - 1 && yfc::HasFreeRightSide(Attr(index)) &&
           (Attr(index).GetFlags() & YFCURVE_WEIGHT_RIGHT) != 0;
}

float YFCurve::KeyGetLeftTangeantWeight(int index) const
{
    return KeyIsLeftTangeantWeighted(index) ? KeyGetDataDouble(index - 1, YFCURVEKEY_NEXT_LEFT_WEIGHT)
                                            : YFCURVE_DEFAULT_WEIGHT;
}

float YFCurve::KeyGetRightTangeantWeight(int index) const
{
    return KeyIsRightTangeantWeighted(index) ? KeyGetDataDouble(index, YFCURVEKEY_RIGHT_WEIGHT)
                                             : YFCURVE_DEFAULT_WEIGHT;
}

bool YFCurve::KeyIsLeftTangeantVelocity(int index) const
{
    return index >= 1 && (Attr(index - 1).GetFlags() & YFCURVE_VELOCITY_NEXT_LEFT) != 0;
}

bool YFCurve::KeyIsRightTangeantVelocity(int index) const
{
    return index < mKeyCount - 1 && yfc::HasFreeRightSide(Attr(index)) &&
           (Attr(index).GetFlags() & YFCURVE_VELOCITY_RIGHT) != 0;
}

float YFCurve::KeyGetLeftTangeantVelocity(int index) const
{
    return KeyIsLeftTangeantVelocity(index) ? KeyGetDataDouble(index - 1, YFCURVEKEY_NEXT_LEFT_VELOCITY)
                                            : YFCURVE_DEFAULT_VELOCITY;
}

float YFCurve::KeyGetRightTangeantVelocity(int index) const
{
    return KeyIsRightTangeantVelocity(index) ? KeyGetDataDouble(index, YFCURVEKEY_RIGHT_VELOCITY)
                                             : YFCURVE_DEFAULT_VELOCITY;
}

// `index` is the key that stores the side here and below, `bit` its mode bit.
void YFCurve::SetSideMode(int index, unsigned bit, bool on)
{
    if (index < 0 || !IsCubic(Attr(index))) return;
    if ((bit & YFCURVE_WEIGHT_ALL) != 0) {
        KeySetTangeantWeightMode(index, on ? bit : 0u, bit);
    } else {
        KeySetTangeantVelocityMode(index, on ? bit : 0u, bit);
    }
}

void YFCurve::SetSideValue(int index, EYFCurveDataIndex dataIndex, unsigned bit, float value)
{
    Editing(1, [&] {
        KeyModifyBegin();
        SetSideMode(index, bit, true);
        KeySetDataDouble(index, dataIndex, value);
        KeyModifyEnd();
    });
}

bool YFCurve::CanStoreRightSide(int index) const
{
    return index < mKeyCount - 1 && IsCubic(Attr(index));
}

bool YFCurve::CanStoreLeftSide(int index) const
{
    return index >= 1 && IsCubic(Attr(index - 1)) && !IsTCB(KeyGetTangeantMode(index - 1));
}

void YFCurve::KeySetLeftTangeantWeightedMode(int index, bool weighted)
{
    SetSideMode(index - 1, YFCURVE_WEIGHT_NEXT_LEFT, weighted);
}

void YFCurve::KeySetRightTangeantWeightedMode(int index, bool weighted)
{
    SetSideMode(index, YFCURVE_WEIGHT_RIGHT, weighted);
}

void YFCurve::KeySetLeftTangeantWeight(int index, float weight)
{
    if (!CanStoreLeftSide(index)) return;
    SetSideValue(index - 1, YFCURVEKEY_NEXT_LEFT_WEIGHT, YFCURVE_WEIGHT_NEXT_LEFT, weight);
}

void YFCurve::KeySetRightTangeantWeight(int index, float weight)
{
    if (!CanStoreRightSide(index)) return;
    SetSideValue(index, YFCURVEKEY_RIGHT_WEIGHT, YFCURVE_WEIGHT_RIGHT, weight);
}

void YFCurve::KeySetLeftTangeantVelocityMode(int index, bool hasVelocity)
{
    SetSideMode(index - 1, YFCURVE_VELOCITY_NEXT_LEFT, hasVelocity);
}

void YFCurve::KeySetRightTangeantVelocityMode(int index, bool hasVelocity)
{
    SetSideMode(index, YFCURVE_VELOCITY_RIGHT, hasVelocity);
}

void YFCurve::KeySetLeftTangeantVelocity(int index, float velocity)
{
    if (!CanStoreLeftSide(index)) return;
    SetSideValue(index - 1, YFCURVEKEY_NEXT_LEFT_VELOCITY, YFCURVE_VELOCITY_NEXT_LEFT, velocity);
}

void YFCurve::KeySetRightTangeantVelocity(int index, float velocity)
{
    if (!CanStoreRightSide(index)) return;
    SetSideValue(index, YFCURVEKEY_RIGHT_VELOCITY, YFCURVE_VELOCITY_RIGHT, velocity);
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
    return IsCubic(attr) && attr.GetTangeantMode(false) == YFCURVE_TANGENT_AUTO &&
           KeyGetRightAuto(index) == 0.0f && KeyGetLeftAuto(index) == 0.0f &&
           !KeyIsLeftTangeantWeighted(index) && !KeyIsRightTangeantWeighted(index) &&
           !KeyIsLeftTangeantVelocity(index) && !KeyIsRightTangeantVelocity(index);
}
