#pragma once

#include "ybaselib/yrotation.h"
#include "yfcurve/yfcurvenode.h"

// How the values of one layer change the total of the layers below, and the ways back.

namespace yfc {

/// Scratch arrays hold as many components as a property's type can have; wider nodes are taken in pieces.
inline constexpr int kMaximumComponents = YDataType::MaximumMemberCount;
inline constexpr int kRotationComponents = 3;

/// Weights closer to 0 than this count as 0; a weighted override whose weight is within this of 1 counts as a
/// full override.
inline constexpr double kWeightTolerance = 1e-5;

/// Whether a layer mode takes of what lies below it, by its weight or all. Neither this nor additive is a mode
/// outside the enumeration.
inline bool Overrides(eLayerMode mode)
{
    return mode == YFCURVE_LAYER_OVERRIDE || mode == YFCURVE_LAYER_WEIGHTED_OVERRIDE;
}

/// Whether a layer is in the mode that leaves all that lies below.
inline bool IsAdditive(const YFCurveNode& layer)
{
    return layer.GetLayerInfo().GetLayerMode() == YFCURVE_LAYER_ADDITIVE;
}

class LayerBlend
{
  public:
    enum class EKind : std::uint8_t
    {
        None,
        Add,
        Multiply,
        Plain,
        Scaling,
        Rotation
    };

    /// How a layer combines, but for its weight. The mode means nothing for the kinds that have none.
    struct Rule
    {
        EKind kind;
        eLayerMode mode;
        eRotationOrder order;
    };
    static Rule RuleOf(const YFCurveNode& node, int count);
    /// The rule of a node among the layers of its property. A base layer that turns as a whole counts by its angles
    /// where a layer above adds up angle by angle: the angles of its orientation may be others, which jump where one
    /// passes a half turn, or the middle one a quarter.
    static Rule RuleAmongLayers(const YFCurveNode& node, int count);
    /// Whether layers of a kind have a mode and a weight.
    static bool IsWeighted(EKind kind);
    LayerBlend(const Rule& rule, double weight)
        : mKind(rule.kind), mMode(rule.mode), mWeight(weight), mOrder(rule.order)
    {}

    /// How a node's layer combines at a time among the layers of its property.
    /// \param time  the layer's own, behind all time warps.
    /// \param count  how many components the property has; less or more than three do not turn as a whole.
    LayerBlend(const YFCurveNode& node, YTime time, int count);
    /// By a rule of the node, with the weight of its layer at the time.
    LayerBlend(const Rule& rule, const YFCurveNode& node, YTime time);

    void Accumulate(double* total, const double* values, int count) const
    {
        if (mKind == EKind::Plain) return BlendSimple(total, values, count);
        AccumulateOthers(total, values, count);
    }

    /// Turns the total after this layer into one before it that leads there. A component that no total leads
    /// to becomes not-a-number, and a rotation the nearest that one leads to.
    /// \return  false, with the total unchanged, when the layer replaces whatever lies below.
    bool Undo(double* total, const double* values, int count) const;

    /// What the layer has to contribute, after its weight, for a wanted total, where `below` is what the
    /// layers below make.
    /// \param share  may be the same array as `wanted`.
    void Share(double* share, const double* wanted, const double* below, int count) const;

    /// What the layer has to hold for a share.
    void Unweight(double* share, int count) const;

    bool TurnsAsWhole() const { return mKind == EKind::Rotation; }

  private:
    static EKind KindOf(const YFCurveNode& node, int count);
    bool HasMode() const { return mMode == YFCURVE_LAYER_ADDITIVE || Overrides(mMode); }
    /// How much of what lies below the mode keeps: all, nothing, or what the weight leaves.
    double Kept() const;
    /// The same of a scaling, to multiply with.
    double KeptFactor(double below) const;
    bool HasWeight() const;
    bool Replaces() const;
    void AccumulateOthers(double* total, const double* values, int count) const;
    void BlendSimple(double* total, const double* values, int count) const;
    double BlendScaling(double total, double value) const;
    void BlendRotation(double* total, const double* values) const;
    double Undone(double total, double value) const;
    void UndoRotation(double* total, const double* values) const;
    double ShareOf(double wanted, double below) const;
    void ShareRotation(double* share, const double* wanted, const double* below) const;
    void UnweightRotation(double* share) const;

    YgeQuaternion ToQuaternion(const double* angles) const;
    void ToAngles(double* angles, const YgeQuaternion& quaternion) const;

    EKind mKind;
    eLayerMode mMode = YFCURVE_LAYER_ADDITIVE;
    double mWeight = 1.0;
    eRotationOrder mOrder = eRotationOrder::XYZ;
};

/// Weights a rotation as layers do: see `YFCurveNode::ApplyWeightedValue`.
void WeightRotation(double* angles, double weight, eRotationOrder order);

/// A power that keeps the sign of its base.
double SignedPower(double base, double exponent);

}  // namespace yfc
