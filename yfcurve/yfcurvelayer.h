#pragma once

#include <cstdint>

#include "ybaselib/ydatatype.h"
#include "ybaselib/ytime.h"
#include "yfcurve/yfcurveexport.h"

/// \file
/// Animation layers: what a host says about one, and how a curve node refers to it.

class YFCurve;
class YFCurveNode;

/// How the value s of a layer with weight w changes the total d of the layers below. Values outside the
/// enumeration leave the total as it is.
enum eLayerMode : std::int32_t
{
    YFCURVE_LAYER_ADDITIVE = 0,          ///< d + w * s
    YFCURVE_LAYER_OVERRIDE = 1,          ///< w * s
    YFCURVE_LAYER_WEIGHTED_OVERRIDE = 2  ///< w * s + (1 - w) * d
};

/// How weighted rotations add up. The library keeps and forwards the mode, and gives nodes that plots and merges
/// make the layer type that has its effect; hosts choose that of all others (`YFCURVE_LayerTypeOn`).
enum eWeightRotationAccumulationMode : std::int32_t
{
    YFCURVE_LAYER_ROTATION_BY_LAYER = 0,   ///< the three angles together, as one rotation
    YFCURVE_LAYER_ROTATION_BY_CHANNEL = 1  ///< each angle for itself
};

/// How scalings add up; kept and forwarded in the same way.
enum eAnimLayerScaleAccumulationMode : std::int32_t
{
    YFCURVE_LAYER_SCALING_MULTIPLY = 0,
    YFCURVE_LAYER_SCALING_ADD = 1
};

/// How the values of a node combine across layers (`YFCurveNode::SetLayerType`). There is no 4.
///
/// Under a layer whose angles add up one by one, a base layer that turns as a whole counts with the angles of its keys.
/// Layers above it that turn as a whole make one orientation with what is below, and angles add to that one's: from
/// -180 to 180 degrees, the middle one from -90 to 90.
enum eLayerType : std::int32_t
{
    YFCURVE_LAYERTYPE_COMPONENT = 0,         ///< a component, which leaves it to its parent
    YFCURVE_LAYERTYPE_PLAIN = 1,             ///< values that add up
    YFCURVE_LAYERTYPE_ROTATION = 2,          ///< a rotation that turns as a whole
    YFCURVE_LAYERTYPE_SCALING = 3,           ///< a scaling, which multiplies
    YFCURVE_LAYERTYPE_ANGLE_BY_ANGLE = 5,    ///< a rotation whose angles add up one by one
    YFCURVE_LAYERTYPE_SCALING_UNLAYERED = 6  ///< a scaling that layers leave alone
};

/// One animation layer of the host, which implements this interface. The library asks during evaluation
/// and before edits, keeps nothing of what it is told, and never destroys a layer: the host keeps it alive as
/// long as a layer info points at it.
///
/// The queries must not change anything that an evaluation depends on. Where several threads evaluate
/// nodes of one layer, they call them at the same time.
class YFCURVE_EXPORT YFCurveLayer
{
  public:
    /// The id under which the host lists the layer; 0 is the base layer. For hosts: the library goes by the
    /// id in the layer info.
    virtual int GetLayerID() const = 0;

    /// How much of the layer counts at a time, nominally 0 to 1.
    virtual double GetWeight(YTime time) const = 0;

    /// A muted layer takes no part in evaluation.
    virtual bool IsMuted() const = 0;

    /// A locked layer takes no keys and no candidates.
    virtual bool IsLocked() const = 0;

    virtual eLayerMode GetLayerMode() const = 0;

    /// Whether properties of that type are to ignore the layer mode: for hosts. The library hands it on
    /// (`YFCurveLayerInfo`) and combines such layers like all others.
    /// \param type  null for nodes without a type.
    virtual bool GetLayerModeBypass(YDataType* type) const = 0;

    virtual eWeightRotationAccumulationMode GetLayerRotationMode() const = 0;
    virtual eAnimLayerScaleAccumulationMode GetLayerScalingMode() const = 0;

  protected:
    ~YFCurveLayer() = default;
};

/// A layer whose weight over time is a curve. `YFCurveClip` stores that curve, so that clips in files play the
/// weight as it changes; of other layers a file has the weight at the time 0.
class YFCURVE_EXPORT YFCurveWeightedLayer : public YFCurveLayer
{
  public:
    /// The curve whose value, as `WeightOf` has it, `GetWeight` gives. Null where no curve does.
    virtual const YFCurve* GetWeightCurve() const = 0;

    /// A curve's value kept within 0 to 1, which smooth curves between keys in that range may leave.
    /// Not-a-number counts as 0.
    static double WeightOf(float value)
    {
        return value > 0.0f ? static_cast<double>(value < 1.0f ? value : 1.0f) : 0.0;
    }

  protected:
    ~YFCurveWeightedLayer() = default;
};

/// Ties a curve node to a layer: the layer's id, which orders the chain of layer nodes, and the host's
/// layer. A small value, copied freely.
class YFCURVE_EXPORT YFCurveLayerInfo
{
  public:
    /// Id 0 without a layer: what every node belongs to that was not put on a layer.
    static const YFCurveLayerInfo Base;

    /// As `Base`.
    constexpr YFCurveLayerInfo() = default;

    /// \param layer  not owned; null for a layer that the host says nothing about.
    constexpr YFCurveLayerInfo(int layerId, YFCurveLayer* layer) : mLayerId(layerId), mLayer(layer) {}

    int GetLayerID() const { return mLayerId; }
    YFCurveLayer* GetLayer() const { return mLayer; }

    // What the layer says. Without one: weight 1, neither muted nor locked, additive, no bypass, both
    // accumulation modes 0.

    double GetWeight(YTime time) const { return mLayer ? mLayer->GetWeight(time) : 1.0; }
    bool IsMuted() const { return mLayer && mLayer->IsMuted(); }
    bool IsLocked() const { return mLayer && mLayer->IsLocked(); }
    eLayerMode GetLayerMode() const { return mLayer ? mLayer->GetLayerMode() : YFCURVE_LAYER_ADDITIVE; }
    bool GetLayerModeBypass(YDataType* type) const { return mLayer && mLayer->GetLayerModeBypass(type); }
    eWeightRotationAccumulationMode GetLayerRotationMode() const
    {
        return mLayer ? mLayer->GetLayerRotationMode() : YFCURVE_LAYER_ROTATION_BY_LAYER;
    }
    eAnimLayerScaleAccumulationMode GetLayerScalingMode() const
    {
        return mLayer ? mLayer->GetLayerScalingMode() : YFCURVE_LAYER_SCALING_MULTIPLY;
    }

    /// Equal ids and the same layer.
    friend bool operator==(const YFCurveLayerInfo&, const YFCurveLayerInfo&) = default;

  private:
    std::int32_t mLayerId = 0;
    YFCurveLayer* mLayer = nullptr;
};

/// The layer type (`YFCurveNode::SetLayerType`) by which a layer's accumulation modes have their effect on a node
/// of a property there: `YFCURVE_LAYERTYPE_ANGLE_BY_ANGLE` for rotations by channel, `YFCURVE_LAYERTYPE_PLAIN` for
/// scalings that add up, else that of the property. A node that is on no layer of a property, and one of other kinds,
/// keeps its own.
YFCURVE_EXPORT int YFCURVE_LayerTypeOn(YFCurveNode& node, const YFCurveLayerInfo& layerInfo);
