// Layers combined into a total, each by its mode and weight, and taken out of it again.

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "yfcurve/node/layers/layerblend.h"
#include "yfcurve/node/tree/nodedata.h"

namespace yfc {
namespace {

constexpr double kUnreachable = std::numeric_limits<double>::quiet_NaN();

// Turns whose quaternion has a w nearer to 1 than this, 0.51 degrees, are not weighted.
constexpr double kSmallTurn = 1e-5;

// Short of the half turn, beyond which the shorter way is the other one: by more than rounding the angles to
// single precision makes of it, and by less than matters.
constexpr double kLargestHalfAngle = 0.5 * std::numbers::pi - 1e-6;

// The nudge that keeps conversions away from the singular half turn.
constexpr double kHalfTurn = 180.0;
constexpr double kHalfTurnTolerance = 1e-5;
constexpr double kNudge = 1.001;

bool IsAtHalfTurn(double angle)
{
    return std::abs(angle - kHalfTurn) <= kHalfTurnTolerance;
}

YgeQuaternion ShorterTurn(const YgeQuaternion& q)
{
    return q.w < 0.0 ? YgeQuaternion(-q.x, -q.y, -q.z, -q.w) : q;
}

double HalfAngle(const YgeQuaternion& shorterTurn)
{
    return std::atan2(std::hypot(shorterTurn.x, shorterTurn.y, shorterTurn.z), shorterTurn.w);
}

// A turn by that many times the angle, but by no more than a half turn.
YgeQuaternion Stretched(const YgeQuaternion& turn, double factor)
{
    const YgeQuaternion shorter = ShorterTurn(turn);
    const double half = HalfAngle(shorter);
    if (half == 0.0 || factor == 1.0) return shorter;
    const double limit = kLargestHalfAngle / half;
    return shorter.GetPower(std::clamp(factor, -limit, limit));
}

// The rotation that lies `factor` times as far from one as another does.
YgeQuaternion Beyond(const YgeQuaternion& from, const YgeQuaternion& to, double factor)
{
    return from * Stretched(from.GetConjugate() * to, factor);
}

}  // namespace

double SignedPower(double base, double exponent)
{
    return std::copysign(std::pow(std::abs(base), exponent), base);
}

void WeightRotation(double* angles, double weight, eRotationOrder order)
{
    const bool nudged = std::any_of(angles, angles + kRotationComponents, IsAtHalfTurn);
    const double nudge = nudged ? kNudge : 1.0;
    const YgeRVector triple(angles[0] / nudge, angles[1] / nudge, angles[2] / nudge);
    YgeQuaternion turn(YgeMatrix(triple, order));
    if (std::abs(turn.w - 1.0) > kSmallTurn) turn = turn.GetPower(weight);
    const YgeRVector weighted(turn, order);
    for (int i = 0; i < kRotationComponents; ++i) angles[i] = weighted[i] * nudge;
}

LayerBlend::LayerBlend(const YFCurveNode& node, YTime time, int count) : mKind(KindOf(node, count))
{
    if (mKind == EKind::None || mKind == EKind::Add || mKind == EKind::Multiply) return;
    const NodeData& data = NodeData::Of(node);
    mMode = data.layerInfo.GetLayerMode();
    mWeight = data.layerInfo.GetWeight(time);
    mOrder = static_cast<eRotationOrder>(data.rotationOrder);
}

LayerBlend::Rule LayerBlend::RuleOf(const YFCurveNode& node, int count)
{
    const NodeData& data = NodeData::Of(node);
    return {KindOf(node, count), data.layerInfo.GetLayerMode(),
            static_cast<eRotationOrder>(data.rotationOrder)};
}

// The weight of a component counts for its parent as a whole.
LayerBlend::EKind LayerBlend::KindOf(const YFCurveNode& node, int count)
{
    const NodeData& data = NodeData::Of(node);
    const int type = data.LayerType();
    const bool plain = type == 0 || type == 1;
    if (!data.curve) {
        const bool turns = type == 2 && count == kRotationComponents && node.GetCount() == count;
        if (turns) return EKind::Rotation;
        if (type == 3) return EKind::Scaling;
        return plain || type == 2 || type == 5 ? EKind::Plain : EKind::None;
    }
    const bool component = node.GetParent() != nullptr;
    if (type == 3) return component ? EKind::Multiply : EKind::Scaling;
    if (!plain) return EKind::None;
    return component ? EKind::Add : EKind::Plain;
}

bool LayerBlend::HasMode() const
{
    return mMode == YFCURVE_LAYER_ADDITIVE || mMode == YFCURVE_LAYER_OVERRIDE ||
           mMode == YFCURVE_LAYER_WEIGHTED_OVERRIDE;
}

bool LayerBlend::HasWeight() const
{
    return std::abs(mWeight) >= kWeightTolerance;
}

bool LayerBlend::Replaces() const
{
    if (mKind == EKind::None || mKind == EKind::Add || mKind == EKind::Multiply) return false;
    return mMode == YFCURVE_LAYER_OVERRIDE ||
           (mMode == YFCURVE_LAYER_WEIGHTED_OVERRIDE && std::abs(mWeight - 1.0) <= kWeightTolerance);
}

// --- Combining -----------------------------------------------------------------------------------------

void LayerBlend::AccumulateOthers(double* total, const double* values, int count) const
{
    switch (mKind) {
        case EKind::None:
        case EKind::Plain:
            return;
        case EKind::Add:
            for (int i = 0; i < count; ++i) total[i] += values[i];
            return;
        case EKind::Multiply:
            for (int i = 0; i < count; ++i) total[i] *= values[i];
            return;
        case EKind::Scaling:
            for (int i = 0; i < count; ++i) total[i] = BlendScaling(total[i], values[i]);
            return;
        case EKind::Rotation:
            return BlendRotation(total, values);
    }
}

void LayerBlend::BlendSimple(double* total, const double* values, int count) const
{
    switch (mMode) {
        case YFCURVE_LAYER_ADDITIVE:
            for (int i = 0; i < count; ++i) total[i] += mWeight * values[i];
            return;
        case YFCURVE_LAYER_OVERRIDE:
            for (int i = 0; i < count; ++i) total[i] = mWeight * values[i];
            return;
        case YFCURVE_LAYER_WEIGHTED_OVERRIDE:
            for (int i = 0; i < count; ++i) total[i] = mWeight * values[i] + (1.0 - mWeight) * total[i];
            return;
    }
}

double LayerBlend::BlendScaling(double total, double value) const
{
    if (!HasMode()) return total;
    const double share = std::pow(std::abs(value), mWeight);
    if (mMode == YFCURVE_LAYER_OVERRIDE) return share;
    if (mMode == YFCURVE_LAYER_ADDITIVE) return std::abs(total) * share;
    return share * std::pow(std::abs(total), 1.0 - mWeight);
}

void LayerBlend::BlendRotation(double* total, const double* values) const
{
    if (!HasMode()) return;
    if (mMode == YFCURVE_LAYER_WEIGHTED_OVERRIDE) {
        return ToAngles(total, Slerp(ToQuaternion(total), ToQuaternion(values), mWeight));
    }
    double weighted[kRotationComponents] = {values[0], values[1], values[2]};
    WeightRotation(weighted, mWeight, mOrder);
    if (mMode == YFCURVE_LAYER_ADDITIVE) {
        return ToAngles(total, ToQuaternion(weighted) * ToQuaternion(total));
    }
    std::copy(weighted, weighted + kRotationComponents, total);
}

// --- Taking out ----------------------------------------------------------------------------------------

bool LayerBlend::Undo(double* total, const double* values, int count) const
{
    if (Replaces()) return false;
    if (mKind == EKind::None || !HasMode()) return true;
    if (mKind == EKind::Rotation) {
        UndoRotation(total, values);
    } else {
        for (int i = 0; i < count; ++i) total[i] = Undone(total[i], values[i]);
    }
    return true;
}

double LayerBlend::Undone(double total, double value) const
{
    if (mKind == EKind::Add) return total - value;
    if (mKind == EKind::Multiply) return value != 0.0 ? total / value : kUnreachable;
    const bool additive = mMode == YFCURVE_LAYER_ADDITIVE;
    if (mKind == EKind::Plain) {
        return (total - mWeight * value) / (additive ? 1.0 : 1.0 - mWeight);
    }
    const double share = std::pow(std::abs(value), mWeight);
    if (share == 0.0) return kUnreachable;
    return additive ? total / share : SignedPower(total / share, 1.0 / (1.0 - mWeight));
}

void LayerBlend::UndoRotation(double* total, const double* values) const
{
    if (mMode == YFCURVE_LAYER_WEIGHTED_OVERRIDE) {
        return ToAngles(total, Beyond(ToQuaternion(values), ToQuaternion(total), 1.0 / (1.0 - mWeight)));
    }
    double weighted[kRotationComponents] = {values[0], values[1], values[2]};
    WeightRotation(weighted, mWeight, mOrder);
    ToAngles(total, ToQuaternion(weighted).GetConjugate() * ToQuaternion(total));
}

void LayerBlend::Share(double* share, const double* wanted, const double* below, int count) const
{
    if (mKind == EKind::Rotation) return ShareRotation(share, wanted, below);
    for (int i = 0; i < count; ++i) share[i] = ShareOf(wanted[i], below[i]);
}

double LayerBlend::ShareOf(double wanted, double below) const
{
    if (mKind == EKind::None) return wanted;
    if (mKind == EKind::Add) return wanted - below;
    const bool replaces = mMode == YFCURVE_LAYER_OVERRIDE;
    const double kept = mMode == YFCURVE_LAYER_WEIGHTED_OVERRIDE ? 1.0 - mWeight : 1.0;
    if (mKind == EKind::Plain) return replaces ? wanted : wanted - kept * below;
    const double factor = mKind == EKind::Multiply ? below : replaces ? 1.0 : std::pow(std::abs(below), kept);
    const double share = wanted / factor;
    return std::isfinite(share) ? share : 1.0;
}

void LayerBlend::ShareRotation(double* share, const double* wanted, const double* below) const
{
    const YgeQuaternion total = ToQuaternion(wanted);
    if (mMode == YFCURVE_LAYER_OVERRIDE) return ToAngles(share, total);
    const YgeQuaternion base = ToQuaternion(below);
    if (mMode != YFCURVE_LAYER_WEIGHTED_OVERRIDE || !HasWeight()) {
        return ToAngles(share, total * base.GetConjugate());
    }
    ToAngles(share, ShorterTurn(Beyond(base, total, 1.0 / mWeight)).GetPower(mWeight));
}

void LayerBlend::Unweight(double* share, int count) const
{
    if (!HasWeight()) return;
    if (mKind == EKind::Rotation) return UnweightRotation(share);
    for (int i = 0; i < count; ++i) {
        if (mKind == EKind::Plain) share[i] /= mWeight;
        if (mKind == EKind::Scaling) share[i] = SignedPower(share[i], 1.0 / mWeight);
    }
}

// Small turns count whole, so a share may come from a small turn or from the weighted part of a larger one.
void LayerBlend::UnweightRotation(double* share) const
{
    const YgeQuaternion turn = ToQuaternion(share);
    const YgeQuaternion whole = Stretched(turn, 1.0 / mWeight);
    constexpr double margin = 1.001;
    const bool countsWhole =
        mMode != YFCURVE_LAYER_WEIGHTED_OVERRIDE && std::abs(whole.w - 1.0) <= kSmallTurn * margin;
    ToAngles(share, countsWhole ? turn : whole);
}

YgeQuaternion LayerBlend::ToQuaternion(const double* angles) const
{
    return YgeQuaternion(YgeRVector(angles[0], angles[1], angles[2]), mOrder);
}

void LayerBlend::ToAngles(double* angles, const YgeQuaternion& quaternion) const
{
    const YgeRVector triple(quaternion, mOrder);
    for (int i = 0; i < kRotationComponents; ++i) angles[i] = triple[i];
}

}  // namespace yfc

using yfc::LayerBlend;

void YFCurveNode::GetZeroValues(double* values) const
{
    if (!yfc::HasNeutralValue(*this)) return;
    std::fill_n(values, yfc::ComponentCount(*this), yfc::NeutralValue(*this));
}

void YFCurveNode::AccumulateValue(double* total, const double* values, YTime time) const
{
    const int count = yfc::ComponentCount(*this);
    LayerBlend(*this, time, count).Accumulate(total, values, count);
}

void YFCurveNode::ApplyWeightedValue(double* values, double weight) const
{
    const int count = GetCount();
    const int type = GetLayerType();
    if (count == 0) {
        if (type != 0) values[0] *= weight;
        return;
    }
    if (type == 2) {
        if (count == yfc::kRotationComponents) {
            yfc::WeightRotation(values, weight, static_cast<eRotationOrder>(GetRotationOrder()));
        }
        return;
    }
    const bool power = GetDataType() == YDataType::Get(eDataType::LocalScaling);
    for (int i = 0; i < count; ++i) {
        values[i] = power ? yfc::SignedPower(values[i], weight) : values[i] * weight;
    }
}

void YFCurveNode::AddWeightedValue(double* values, double weight) const
{
    if (weight > 1.0 - yfc::kWeightTolerance) return;
    if (weight < yfc::kWeightTolerance) return GetZeroValues(values);
    ApplyWeightedValue(values, weight);
}

void YFCurveNode::ResolveWeightedValue(double* values, double weight) const
{
    if (weight > 1.0 - yfc::kWeightTolerance || weight < yfc::kWeightTolerance) return;
    ApplyWeightedValue(values, 1.0 / weight);
}
