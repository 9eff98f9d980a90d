#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ybaselib/ydatatype.h"
#include "ybaselib/ytime.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvelayer.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"

/// \file
/// The animation layers of a scene, as an animator names and arranges them.
///
///     SceneLayers layers;
///     Layer* breathing = layers.Add("Breathing");
///     breathing->SetMode(YFCURVE_LAYER_WEIGHTED_OVERRIDE);
///     layers.NodeOn(*chestRotation, *breathing);
///
/// The layers are stacked in the order of their ids, the base layer (id 0) lowest. An id is for good: nodes
/// are chained by it and files refer to it, so layers neither change places nor does an id come back.

namespace ymotion {

/// One layer. Belongs to its stack, which gives it its id and name, and stays where it is in memory until it
/// is removed.
class Layer final : public YFCurveWeightedLayer
{
  public:
    Layer(const Layer&) = delete;
    Layer& operator=(const Layer&) = delete;

    const std::string& Name() const { return mName; }
    bool IsBase() const { return mId == 0; }
    /// What a curve node is told about the layer.
    YFCurveLayerInfo Info() { return {mId, this}; }

    /// The weight over time, for keys and for the default value (1 in a new layer). Null for the base layer,
    /// which counts in full.
    YFCurve* WeightCurve() const { return mWeight ? mWeight->FCurveGet() : nullptr; }
    /// The node that holds that curve, for tools that work on nodes; null for the base layer.
    YFCurveNode* WeightNode() const { return mWeight.get(); }

    /// The mute button alone; whether the layer plays also depends on who is solo, see `IsMuted`.
    bool IsMuteOn() const { return mMuteOn; }
    void SetMute(bool on) { mMuteOn = on; }
    bool IsSolo() const { return mSolo; }
    /// A locked layer takes no keys and no candidates. Filters go by the lock of each curve: bind the tree
    /// again (see `SceneLayers::Bind`).
    void SetLocked(bool locked) { mLocked = locked; }

    /// Refused (false) for a value outside the enumeration, and for the base layer, which is additive:
    /// there is nothing below it.
    bool SetMode(eLayerMode mode);
    /// Exempts properties of a type from the mode, or no longer; none are at first. The library passes this
    /// on to whoever asks (`YFCurveLayerInfo::GetLayerModeBypass`) and combines such layers like all others.
    void SetModeBypass(YDataType* type, bool bypass);
    const std::vector<YDataType*>& ModeBypasses() const { return mModeBypasses; }
    /// For a layer without nodes; see `SceneLayers::SetAccumulation`.
    void SetRotationMode(eWeightRotationAccumulationMode mode) { mRotationMode = mode; }
    void SetScalingMode(eAnimLayerScaleAccumulationMode mode) { mScalingMode = mode; }

    // What the curve nodes ask.

    int GetLayerID() const override { return mId; }
    /// The weight curve's value, kept within 0 to 1 (`WeightOf`). Threads may ask at the same time.
    double GetWeight(YTime time) const override;
    const YFCurve* GetWeightCurve() const override { return WeightCurve(); }
    /// Whether mute is on, or another layer is solo and this one is not. Mute wins over the layer's own solo.
    bool IsMuted() const override { return mMuteOn || mSilenced; }
    bool IsLocked() const override { return mLocked; }
    eLayerMode GetLayerMode() const override { return mMode; }
    bool GetLayerModeBypass(YDataType* type) const override;
    eWeightRotationAccumulationMode GetLayerRotationMode() const override { return mRotationMode; }
    eAnimLayerScaleAccumulationMode GetLayerScalingMode() const override { return mScalingMode; }

  private:
    friend class SceneLayers;

    Layer(int id, std::string name);

    int mId;
    std::string mName;
    YFCurveNodePtr mWeight;
    bool mMuteOn = false;
    bool mLocked = false;
    bool mSolo = false;
    bool mSilenced = false;  // others are solo and this one is not
    eLayerMode mMode = YFCURVE_LAYER_ADDITIVE;
    eWeightRotationAccumulationMode mRotationMode = YFCURVE_LAYER_ROTATION_BY_LAYER;
    eAnimLayerScaleAccumulationMode mScalingMode = YFCURVE_LAYER_SCALING_MULTIPLY;
    std::vector<YDataType*> mModeBypasses;
};

/// Why the base layer is given no other way to add up.
inline constexpr const char* kBaseAddsToNothing =
    "the rotations and scalings of the base layer have nothing below to add up with; set those of another";

/// The layers of a scene. Has to outlive the trees bound to it, or else they have to be bound to another one.
class SceneLayers
{
  public:
    /// The base layer alone, called "BaseAnimation".
    SceneLayers();

    /// In ascending order of ids, the base layer first.
    const std::vector<std::unique_ptr<Layer>>& Layers() const { return mLayers; }
    Layer& Base() const { return *mLayers.front(); }

    /// Null when there is none. Names count letter by letter.
    Layer* Find(std::string_view name) const;
    Layer* Find(int id) const;

    /// A new layer on top of all others, with an id above all that were ever given. Refused (null) for a
    /// name that is empty or taken, and when ids have run out.
    Layer* Add(std::string name);
    /// The same with a given id, in its place among the others: for layers read from a file. Refused for an
    /// id that is taken or negative too.
    Layer* Add(std::string name, int id);
    /// Refused (false) for a name that is empty or another layer's.
    bool Rename(Layer& layer, std::string name);
    /// Removes a layer together with its nodes in the tree, keys included. Refused (null) for the base
    /// layer and for ids that are not there.
    /// \return  the layer, which `Put` puts back; nodes that were kept elsewhere are still tied to it
    std::unique_ptr<Layer> Remove(int id, YFCurveNode& root);
    /// Puts a layer back into its place. Refused (null, and the layer stays the caller's) where its id or
    /// name is taken.
    Layer* Put(std::unique_ptr<Layer>& layer);

    /// The highest id that was ever given, of layers that are gone too.
    int HighestId() const { return mHighestId; }
    /// Gives no id up to this one to a new layer: for stacks read from a file.
    void ReserveIds(int highestId);
    /// Lets ids above this one be given again, as far as no layer has them: where a layer that was added is
    /// taken back as if it had never been.
    void FreeIds(int highestId);

    /// While any layer is solo, those that are not do not play, the base layer among them. Several may be.
    void SetSolo(Layer& layer, bool on);

    /// Sets how rotations and scalings on a layer add up to what is below, and gives its nodes in the tree the layer
    /// type that does so: rotations by channel are blended angle by angle, scalings that add up component by
    /// component. Keys stay as they are. Components of scalings without keys that changed nothing go on changing
    /// nothing: their 1 becomes 0, or their 0 becomes 1. For the base layer it has no effect, as nothing is below
    /// (`kBaseAddsToNothing`).
    void SetAccumulation(Layer& layer, eWeightRotationAccumulationMode rotations,
                         eAnimLayerScaleAccumulationMode scalings, YFCurveNode& root) const;

    /// The node of a property on a layer, made where it is missing, of the layer type that the layer's modes ask
    /// for. Null where the property takes no layers or memory runs out. Open a step around it where an undo listens
    /// (`YFCurveUndo`): else the node and its layer type are two.
    YFCurveNode* NodeOn(YFCurveNode& property, Layer& layer) const;

    /// Ties every node of a tree and of its layers to the layer of its id, gives it the layer type of rotations by
    /// channel or scalings that add up where the layer's modes ask for that, and marks the curves of locked
    /// layers, and no others, as locked by their layer. For trees new to the stack: just built, read from a
    /// file or copied from another scene. Nodes of ids that are not in the stack are left as they are.
    void Bind(YFCurveNode& root) const;

  private:
    bool IsNameFree(std::string_view name) const { return !name.empty() && Find(name) == nullptr; }
    Layer* Insert(std::unique_ptr<Layer> layer);
    void UpdateSilence();

    std::vector<std::unique_ptr<Layer>> mLayers;
    int mHighestId = 0;
};

}  // namespace ymotion
