#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "layer_model.h"
#include "nodes.h"
#include "tests/curve/random_curve.h"
#include "tests/curve/same_edit.h"

/// \file
/// Random properties on random stacks of layers, for properties that hold for all of them.

namespace nodetest {
using layermodel::Kind;
using layermodel::Total;
using layermodel::Triple;

inline constexpr std::array kAllKinds{Kind::Plain,          Kind::PlainSingle,   Kind::PlainBelowJoint,
                                      Kind::Scaling,        Kind::ScalingSingle, Kind::Rotation,
                                      Kind::RotationByAngle};

/// A layer of the host with settings to turn, an id, and a weight that may swing by a curve.
class SwingingLayer final : public TurnedLayer
{
  public:
    int id;

    explicit SwingingLayer(int layerId = 0, eLayerMode layerMode = YFCURVE_LAYER_ADDITIVE)
        : TurnedLayer(layerMode, 1.0), id(layerId)
    {}
    YFCurveLayerInfo Info() { return {id, this}; }
    void Swing(double by)
    {
        for (int i = -5; i < 10; ++i)
            mCurve.KeyAdd(Seconds(i), yfc::test::AutoKey(static_cast<float>(weight + by * std::sin(i))));
    }
    YFCurve& Weight() { return mCurve; }
    bool Swings() const { return mCurve.KeyGetCount() > 0; }

    int GetLayerID() const override { return id; }
    double GetWeight(YTime time) const override
    {
        return Swings() ? std::clamp(static_cast<double>(mCurve.Evaluate(time)), 0.0, 1.0) : weight;
    }
    const YFCurve* GetWeightCurve() const override { return Swings() ? &mCurve : nullptr; }

  private:
    YFCurve mCurve;
};

/// A curve as it is stored, its keys byte for byte.
struct StoredCurve
{
    std::string keys;
    float value;

    explicit StoredCurve(const YFCurve& curve) : keys(yfc::test::Bits(curve)), value(curve.GetValue()) {}

    /// The keys but for the one at a time.
    std::string Without(YTime time) const
    {
        YFCurveKey key;
        for (std::size_t at = 0; at < keys.size(); at += sizeof key) {
            std::memcpy(&key, keys.data() + at, sizeof key);
            if (key.GetTime() == time) return std::string(keys).erase(at, sizeof key);
        }
        return keys;
    }

    bool operator==(const StoredCurve&) const = default;
};

/// One property on one to five layers. Some of the layers may have no node of the property yet.
class RandomStack
{
  public:
    /// \param keyless  whether components may be without any key.
    /// \param warped   whether layers and components may have times of their own.
    RandomStack(RandomCurves& random, Kind kind, bool keyless, bool warped = false)
        : mRandom(random), mKind(kind), mKeyless(keyless)
    {
        mMuted.muted = true;
        MakeProperty();
        MakeBaseLayer();
        for (int i = random.Below(5); i > 0; --i) AddLayer();
        for (const auto& layer : mLayers) TakePartsAway(*layer);
        if (random.Below(4) == 0) WarpTime(*mProperty);
        for (const auto& layer : mLayers)
            if (warped) WarpLayer(layer->id);
    }
    RandomStack(const RandomStack&) = delete;
    RandomStack& operator=(const RandomStack&) = delete;

    YFCurveNode& Property() const { return *mProperty; }
    const std::vector<std::unique_ptr<SwingingLayer>>& Layers() const { return mLayers; }
    Kind GetKind() const { return mKind; }
    int Order() const { return mOrder; }
    int Components() const { return layermodel::ComponentsOf(mKind); }
    YFCurveNode* NodeOn(int layerId) const { return mProperty->LayerGet(layerId); }
    /// A component's node on a layer; null when the layer has none.
    YFCurveNode* ChildOn(YFCurveNode& node, int component) const
    {
        static constexpr const char* kNames[] = {"X", "Y", "Z"};
        return Components() == 1 ? &node : node.Get(node.Find(kNames[component]));
    }
    /// The same, if it has a curve.
    YFCurveNode* PartOn(YFCurveNode& node, int component) const
    {
        YFCurveNode* part = ChildOn(node, component);
        return part != nullptr && part->FCurveGet() != nullptr ? part : nullptr;
    }
    /// A curve without anything where there is none.
    StoredCurve Stored(YFCurveNode& node, int component) const
    {
        const YFCurveNode* part = PartOn(node, component);
        return StoredCurve(part != nullptr ? *part->FCurveGet() : YFCurve());
    }

    /// A node's own time, as its time warp makes it of the one around it.
    static YTime LocalTime(const YFCurveNode& node, YTime time)
    {
        const YFCurveNode* warp = node.TimeWarpGet();
        return warp ? YTime::FromSeconds(static_cast<double>(warp->FCurveGet()->Evaluate(time))) : time;
    }
    YTime LocalTime(YTime time) const { return LocalTime(*mProperty, time); }
    /// The time on a layer, behind all time warps up to there, from the property's own.
    YTime LayerTime(int layerId, YTime local) const
    {
        for (const YFCurveNode* node = mProperty->LayerGet(); node && node->GetLayerID() <= layerId;
             node = node->LayerGet())
            local = LocalTime(*node, local);
        return local;
    }
    /// The time at which a component's curve is asked.
    YTime CurveTime(int layerId, int component, YTime local) const
    {
        const YFCurveNode* part = PartOn(*NodeOn(layerId), component);
        const YTime time = LayerTime(layerId, local);
        return Components() == 1 ? time : LocalTime(*part, time);
    }
    /// Whether curves of a layer are asked at other times than the property's own.
    bool HasTimeOfItsOwn(int layerId) const
    {
        bool warped = false;
        for (const YFCurveNode* node = mProperty->LayerGet(); node && node->GetLayerID() <= layerId;
             node = node->LayerGet())
            warped = warped || node->TimeWarpGet() != nullptr;
        const YFCurveNode* on = NodeOn(layerId);
        for (int i = 0; on && i < on->GetCount(); ++i)
            warped = warped || on->Get(i)->TimeWarpGet() != nullptr;
        return warped;
    }
    /// Whether anything moves between two times of the property's own.
    bool Moves(YTime first, YTime second) const
    {
        return std::any_of(mLayers.begin(), mLayers.end(), [&](const auto& layer) {
            if (NodeOn(layer->id) == nullptr) return false;
            const Triple a = ValuesOn(layer->id, first), b = ValuesOn(layer->id, second);
            return std::memcmp(a.data(), b.data(), sizeof a) != 0;
        });
    }
    /// Whether a layer has a node with a curve for each component.
    bool IsWhole(int layerId) const
    {
        YFCurveNode* node = NodeOn(layerId);
        for (int i = 0; node != nullptr && i < Components(); ++i)
            if (PartOn(*node, i) == nullptr) return false;
        return node != nullptr;
    }
    double WeightOf(const SwingingLayer& layer, YTime local) const
    {
        return layer.GetWeight(LayerTime(layer.id, local));
    }

    /// Whether keys on a layer show: it plays with some weight, and nothing above replaces what is below.
    bool Shows(const SwingingLayer& layer, YTime local) const
    {
        if (layer.muted || WeightOf(layer, local) == 0.0) return false;
        return std::none_of(mLayers.begin(), mLayers.end(), [&](const auto& above) {
            if (above->id <= layer.id || above->muted || NodeOn(above->id) == nullptr) return false;
            return above->mode == YFCURVE_LAYER_OVERRIDE ||
                   (above->mode == YFCURVE_LAYER_WEIGHTED_OVERRIDE && WeightOf(*above, local) == 1.0);
        });
    }
    /// Whether keys on the layer can make a component what it is to be.
    bool Moves(const SwingingLayer& layer, int component) const
    {
        // A new layer has the shape of the base.
        if (NodeOn(layer.id) == nullptr) return PartOn(*mProperty, component) != nullptr;
        const YFCurveNode* part = PartOn(*NodeOn(layer.id), component);
        return part != nullptr && (part->IsNodeMuted() == layer.muted);
    }

    /// What a layer's curves say; not-a-number for components that the layer has no child for.
    Triple ValuesOn(int layerId, YTime local) const
    {
        const YTime time = LayerTime(layerId, local);
        Triple values{};
        YFCurveNode& node = *NodeOn(layerId);
        if (node.GetUseQuaternion()) {
            node.RotationNodeEvaluate(values.data(), time);
            return values;
        }
        for (int i = 0; i < Components(); ++i) {
            double& value = values[static_cast<std::size_t>(i)];
            const YFCurveNode* part = PartOn(node, i);
            if (part == nullptr) {
                value =
                    ChildOn(node, i) != nullptr ? (layermodel::IsScaling(mKind) ? 1.0 : 0.0) : std::nan("");
            } else if (!part->IsNodeMuted()) {
                value = static_cast<double>(part->FCurveGet()->Evaluate(CurveTime(layerId, i, local)));
            }
        }
        return values;
    }

    /// What the stack adds up to at a time of the property's own.
    /// \param replaced  the layer that has `share` instead of what its curves say, even if it has no node.
    Total Model(YTime local, const SwingingLayer* replaced = nullptr, const Triple& share = {}) const
    {
        Total total(mKind, mOrder);
        const bool alone = mProperty->LayerGet() == nullptr && (replaced == nullptr || replaced->id == 0);
        for (const auto& layer : mLayers) {
            const bool isReplaced = layer.get() == replaced;
            const bool hasNode = NodeOn(layer->id) != nullptr;
            if (layer->muted || (!isReplaced && !hasNode)) continue;
            Triple values = hasNode ? ValuesOn(layer->id, local) : Total(mKind, mOrder).Values();
            for (int i = 0; isReplaced && i < Components(); ++i) {
                const auto at = static_cast<std::size_t>(i);
                if (Moves(*layer, i)) values[at] = share[at];
            }
            if (alone || (mKind == Kind::PlainBelowJoint && layer->id == 0)) {
                total.Take(values);
            } else {
                total.Add(values, layer->mode, WeightOf(*layer, local));
            }
        }
        return total;
    }

    /// A value as such properties have it.
    double RandomValue()
    {
        if (layermodel::IsScaling(mKind)) return mRandom.Between(0.25, 4.0);
        if (mKind == Kind::Rotation) return mRandom.Between(-170.0, 170.0);
        return mRandom.Between(-50.0, 50.0);
    }
    Triple RandomValues()
    {
        Triple values{};
        for (double& value : values) value = RandomValue();
        // Only the sign of a stack of one layer shows.
        if (layermodel::IsScaling(mKind) && mRandom.Below(4) == 0) values[0] = -values[0];
        return Rounded(values);
    }
    /// To what single precision holds, so that candidates and keys hold it too.
    static Triple Rounded(Triple values)
    {
        for (double& value : values) value = std::round(value * 1024.0) / 1024.0;
        return values;
    }

    std::string Description() const
    {
        std::string text = "kind " + std::to_string(static_cast<int>(mKind)) + " order " +
                           std::to_string(mOrder) + (mProperty->TimeWarpGet() ? " warped" : "") +
                           ", layers (id mode weight)";
        for (const auto& layer : mLayers)
            text += " (" + std::to_string(layer->id) + " " + std::to_string(layer->mode) + " " +
                    std::to_string(layer->weight) + (layer->muted ? " muted)" : ")");
        return text;
    }

  private:
    eDataType DataType()
    {
        if (mKind == Kind::Plain) return eDataType::LocalTranslation;
        if (mKind == Kind::Scaling) return mRandom.Below(2) ? eDataType::LocalScaling : eDataType::Scaling;
        return Components() == 1 ? eDataType::Intensity : eDataType::LocalRotation;
    }

    void MakeProperty()
    {
        mTop.reset(FCurveNodeCreateFromDataType(YDataType::Get(DataType()), "property"));
        mProperty = mTop.get();
        mProperty->CreateFCurve();
        if (mKind == Kind::ScalingSingle) mProperty->SetLayerType(3);
        if (mKind == Kind::RotationByAngle) mProperty->SetLayerType(5);
        if (mKind == Kind::PlainBelowJoint) {
            YFCurveNodePtr joint(YFCurveNodeCreate("joint", nullptr));
            joint->Add(mTop.release());
            mTop = std::move(joint);
        }
        mOrder = mRandom.Below(6);
        mProperty->SetRotationOrder(mOrder);
        mProperty->SetUseQuaternion(mKind == Kind::Rotation && mRandom.Below(4) == 0);
        SetRandomKeys(*mProperty);
    }

    void MakeBaseLayer()
    {
        SwingingLayer& base = *mLayers.emplace_back(std::make_unique<SwingingLayer>());
        if (mRandom.Below(2)) return;
        Randomize(base);
        base.muted = mRandom.Below(8) == 0;
        mProperty->SetLayerInfo(base.Info());
        for (int i = 0; i < mProperty->GetCount(); ++i) mProperty->Get(i)->SetLayerInfo(base.Info());
    }

    void AddLayer()
    {
        const int id = mLayers.back()->id + 1 + mRandom.Below(3);
        SwingingLayer& layer = *mLayers.emplace_back(std::make_unique<SwingingLayer>(id));
        Randomize(layer);
        layer.muted = mRandom.Below(6) == 0;
        if (mRandom.Below(6) == 0) return;
        if (YFCurveNode* node = mProperty->CreateLayerAt(layer.Info())) SetRandomKeys(*node);
    }

    void Randomize(SwingingLayer& layer)
    {
        layer.mode = static_cast<eLayerMode>(mRandom.Below(3));
        const int kind = mRandom.Below(5);
        if (kind == 0) layer.weight = 0.0;
        if (kind == 1) layer.weight = mRandom.Between(0.1, 0.95);
        if (kind == 2) layer.weight = 0.5;
        if (kind == 2) layer.Swing(0.4);
    }

    void WarpTime(YFCurveNode& node)
    {
        const float first = mRandom.Float(0.0, 4.0);
        node.TimeWarpSet(LinearWarp(first, mRandom.Float(0.0, 4.0)));
    }

    // Layers and components with times of their own; a rotation is evaluated at one time as a whole.
    void WarpLayer(int layerId)
    {
        YFCurveNode* node = NodeOn(layerId);
        if (node == nullptr) return;
        if (layerId != 0 && mRandom.Below(6) == 0) WarpTime(*node);
        for (int i = 0; !node->IsRotationLayerType() && i < node->GetCount(); ++i)
            if (mRandom.Below(8) == 0) WarpTime(*node->Get(i));
    }

    // Children that a layer does not have, children without a curve, and such as are muted on their own.
    void TakePartsAway(SwingingLayer& layer)
    {
        YFCurveNode* node = NodeOn(layer.id);
        if (node == nullptr || node->GetCount() == 0 || mKind == Kind::Rotation) return;
        const bool deletes = layer.id != 0 && mRandom.Below(4) == 0;
        for (int i = node->GetCount() - 1; i >= 0; --i) {
            YFCurveNode& child = *node->Get(i);
            if (deletes && node->GetCount() > 1 && mRandom.Below(2)) {
                node->Delete(i);
            } else if (layer.id == 0 ? mKeyless && i > 0 && mRandom.Below(10) == 0 : mRandom.Below(10) == 0) {
                // What the base has no curve for, no layer has. Without any it is no property.
                child.FCurveSet(nullptr, true);
                for (const auto& above : mLayers) {
                    YFCurveNode* on = layer.id == 0 ? NodeOn(above->id) : nullptr;
                    if (on != nullptr) on->Get(i)->FCurveSet(nullptr, true);
                }
            } else if (mKind == Kind::Plain && mRandom.Below(10) == 0) {
                child.SetLayerInfo({layer.id, &mMuted});
            }
        }
        // Files have no rotation of fewer than three angles.
        if (mKind == Kind::RotationByAngle && node->GetCount() != 3) node->SetLayerType(0);
    }

    void SetRandomKeys(YFCurveNode& node)
    {
        for (int i = 0; i < Components(); ++i)
            SetRandomKeys(*PartOn(node, i)->FCurveGet(), &node != mProperty);
    }

    void SetRandomKeys(YFCurve& curve, bool onUpperLayer)
    {
        static constexpr unsigned kInterpolations[] = {YFCURVE_INTERP_CONSTANT, YFCURVE_INTERP_LINEAR,
                                                       YFCURVE_INTERP_CUBIC};
        const bool scaling = layermodel::IsScaling(mKind);
        const float sign = scaling && mRandom.Below(4) == 0 ? -1.0f : 1.0f;
        const auto value = [&] { return sign * static_cast<float>(RandomValue()); };
        curve.SetValue(value());
        const int fewest = mKeyless || onUpperLayer ? 0 : 1;
        for (int i = fewest + mRandom.Below(4); i > 0; --i) {
            YFCurveKey key;
            const YTime time = Seconds(0.25 * mRandom.Below(17));
            // A cubic scaling might overshoot to zero, from where no scaling leads away.
            const unsigned interpolation = kInterpolations[mRandom.Below(scaling ? 2 : 3)];
            key.Set(time, value(), interpolation,
                    interpolation == YFCURVE_INTERP_CUBIC ? YFCURVE_TANGENT_AUTO : 0u);
            curve.KeyAdd(time, key);
        }
    }

    RandomCurves& mRandom;
    Kind mKind;
    bool mKeyless;
    int mOrder = 0;
    TurnedLayer mMuted;
    std::vector<std::unique_ptr<SwingingLayer>> mLayers;  // outlive the nodes
    YFCurveNodePtr mTop;
    YFCurveNode* mProperty = nullptr;
};
}  // namespace nodetest
