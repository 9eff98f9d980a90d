// Layers combined into a total, each by its mode and weight, and taken out of it again.
//
// Beside evaluating its curves a layer costs asking for its weight and mode, and the blending. Rotations cost
// most: each layer goes from angles to a quaternion and back.

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

LayerBlend::LayerBlend(const YFCurveNode& node, YTime time, int count)
    : LayerBlend(RuleAmongLayers(node, count), node, time)
{}

LayerBlend::LayerBlend(const Rule& rule, const YFCurveNode& node, YTime time) : LayerBlend(rule, 1.0)
{
    if (IsWeighted(mKind)) mWeight = NodeData::Of(node).layerInfo.GetWeight(time);
}

LayerBlend::Rule LayerBlend::RuleAmongLayers(const YFCurveNode& node, int count)
{
    Rule rule = RuleOf(node, count);
    if (rule.kind != EKind::Rotation || NodeData::Of(node).layerInfo.GetLayerID() != 0) return rule;
    for (const YFCurveNode* above = NodeData::Of(node).layer.Get(); above != nullptr;
         above = NodeData::Of(*above).layer.Get()) {
        if (NodeData::Of(*above).LayerKind() == ELayerKind::AngleByAngle) rule.kind = EKind::Plain;
    }
    return rule;
}

LayerBlend::Rule LayerBlend::RuleOf(const YFCurveNode& node, int count)
{
    const NodeData& data = NodeData::Of(node);
    return {KindOf(node, count), data.layerInfo.GetLayerMode(),
            static_cast<eRotationOrder>(data.rotationOrder)};
}

bool LayerBlend::IsWeighted(EKind kind)
{
    return kind == EKind::Plain || kind == EKind::Scaling || kind == EKind::Rotation;
}

// The weight of a component counts for its parent as a whole.
LayerBlend::EKind LayerBlend::KindOf(const YFCurveNode& node, int count)
{
    const NodeData& data = NodeData::Of(node);
    const bool isCurve = data.curve != nullptr;
    const bool isComponent = isCurve && node.GetParent() != nullptr;
    switch (data.LayerKind()) {
        case ELayerKind::Component:
        case ELayerKind::Plain:
            return isComponent ? EKind::Add : EKind::Plain;
        case ELayerKind::Scaling:
            return isComponent ? EKind::Multiply : EKind::Scaling;
        case ELayerKind::Rotation: {
            if (isCurve) return EKind::None;
            const bool turns = count == kRotationComponents && node.GetCount() == count;
            return turns ? EKind::Rotation : EKind::Plain;
        }
        case ELayerKind::AngleByAngle:
            return isCurve ? EKind::None : EKind::Plain;
        case ELayerKind::ScalingUnlayered:
            return EKind::None;
    }
    return EKind::None;
}

bool LayerBlend::HasWeight() const
{
    return std::abs(mWeight) >= kWeightTolerance;
}

bool LayerBlend::Replaces() const
{
    return IsWeighted(mKind) && std::abs(Kept()) <= kWeightTolerance;
}

double LayerBlend::Kept() const
{
    switch (mMode) {
        case YFCURVE_LAYER_ADDITIVE:
            return 1.0;
        case YFCURVE_LAYER_OVERRIDE:
            return 0.0;
        case YFCURVE_LAYER_WEIGHTED_OVERRIDE:
            return 1.0 - mWeight;
    }
    return 1.0;
}

double LayerBlend::KeptFactor(double below) const
{
    const double kept = Kept();
    if (kept == 0.0) return 1.0;
    const double magnitude = std::abs(below);
    return kept == 1.0 ? magnitude : std::pow(magnitude, kept);
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
    return std::pow(std::abs(value), mWeight) * KeptFactor(total);
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
    if (mKind == EKind::None || (IsWeighted(mKind) && !HasMode())) return true;
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
    const double kept = Kept();
    if (mKind == EKind::Plain) return (total - mWeight * value) / kept;
    const double share = std::pow(std::abs(value), mWeight);
    if (share == 0.0) return kUnreachable;
    return kept == 1.0 ? total / share : SignedPower(total / share, 1.0 / kept);
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
    if (mKind == EKind::Plain) {
        return mMode == YFCURVE_LAYER_OVERRIDE ? wanted : wanted - Kept() * below;
    }
    const double share = wanted / (mKind == EKind::Multiply ? below : KeptFactor(below));
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
    LayerBlend(LayerBlend::RuleOf(*this, count), *this, time).Accumulate(total, values, count);
}

void YFCurveNode::ApplyWeightedValue(double* values, double weight) const
{
    const int count = GetCount();
    const yfc::ELayerKind kind = yfc::NodeData::Of(*this).LayerKind();
    if (count == 0) {
        if (kind != yfc::ELayerKind::Component) values[0] *= weight;
        return;
    }
    if (kind == yfc::ELayerKind::Rotation) {
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
