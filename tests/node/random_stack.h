#pragma once

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "layer_model.h"
#include "nodes.h"
#include "tests/curve/random_curve.h"

/// \file
/// Random properties on random stacks of layers, for properties that hold for all of them.

namespace nodetest {

using layermodel::Kind;
using layermodel::Total;
using layermodel::Triple;

/// A layer of the host with settings to turn, an id, and a weight that may swing.
class SwingingLayer final : public TurnedLayer
{
  public:
    int id = 0;
    double swing = 0.0;

    YFCurveLayerInfo Info() { return {id, this}; }

    int GetLayerID() const override { return id; }
    double GetWeight(YTime time) const override
    {
        return swing == 0.0 ? weight : weight + swing * std::sin(time.GetSecondDouble());
    }
};

/// One property on one to five layers. Some of the layers may have no node of the property yet.
class RandomStack
{
  public:
    /// \param keyless  whether components may be without any key.
    RandomStack(RandomCurves& random, Kind kind, bool keyless)
        : mRandom(random), mKind(kind), mKeyless(keyless)
    {
        MakeProperty();
        MakeBaseLayer();
        const int count = random.Below(5);
        for (int i = 0; i < count; ++i) AddLayer();
        if (random.Below(4) == 0) MakeTimeWarp();
    }
    RandomStack(const RandomStack&) = delete;
    RandomStack& operator=(const RandomStack&) = delete;

    YFCurveNode& Property() const { return *mProperty; }
    const std::vector<std::unique_ptr<SwingingLayer>>& Layers() const { return mLayers; }
    Kind GetKind() const { return mKind; }
    int Order() const { return mOrder; }
    int Components() const { return layermodel::ComponentsOf(mKind); }
    YFCurveNode* NodeOn(int layerId) const { return mProperty->LayerGet(layerId); }
    YFCurve& Curve(YFCurveNode& node, int component) const
    {
        return node.GetCount() > 0 ? *node.Get(component)->FCurveGet() : *node.FCurveGet();
    }

    /// The property's own time, as its time warp makes it of the scene's.
    YTime LocalTime(YTime time) const
    {
        const YFCurveNode* warp = mProperty->TimeWarpGet();
        return warp ? YTime::FromSeconds(static_cast<double>(warp->FCurveGet()->Evaluate(time))) : time;
    }

    /// Whether keys on a layer show: it plays with some weight, and nothing above replaces what is below.
    bool Shows(const SwingingLayer& layer, YTime local) const
    {
        if (layer.muted || layer.GetWeight(local) == 0.0) return false;
        return std::none_of(mLayers.begin(), mLayers.end(), [&](const auto& above) {
            if (above->id <= layer.id || above->muted || NodeOn(above->id) == nullptr) return false;
            return above->mode == YFCURVE_LAYER_OVERRIDE ||
                   (above->mode == YFCURVE_LAYER_WEIGHTED_OVERRIDE && above->GetWeight(local) == 1.0);
        });
    }

    Triple ValuesOn(int layerId, YTime local) const
    {
        Triple values{};
        YFCurveNode* node = NodeOn(layerId);
        if (node != nullptr && node->GetUseQuaternion()) {
            node->RotationNodeEvaluate(values.data(), local);
            return values;
        }
        for (int i = 0; node != nullptr && i < Components(); ++i) {
            values[static_cast<std::size_t>(i)] = static_cast<double>(Curve(*node, i).Evaluate(local));
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
            if (layer->muted || (!isReplaced && NodeOn(layer->id) == nullptr)) continue;
            const Triple values = isReplaced ? share : ValuesOn(layer->id, local);
            if (alone || (mKind == Kind::PlainBelowJoint && layer->id == 0)) {
                total.Take(values);
            } else {
                total.Add(values, layer->mode, layer->GetWeight(local));
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
        for (const auto& layer : mLayers) {
            text += " (" + std::to_string(layer->id) + " " + std::to_string(layer->mode) + " " +
                    std::to_string(layer->weight) + (layer->swing != 0.0 ? "+-" : "") +
                    (layer->muted ? " muted" : "") + (layer->locked ? " locked" : "") +
                    (NodeOn(layer->id) ? ")" : " without node)");
        }
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
        mLayers.push_back(std::make_unique<SwingingLayer>());
        SwingingLayer& base = *mLayers.back();
        if (mRandom.Below(2)) return;
        Randomize(base);
        base.muted = mRandom.Below(8) == 0;
        mProperty->SetLayerInfo(base.Info());
        for (int i = 0; i < mProperty->GetCount(); ++i) mProperty->Get(i)->SetLayerInfo(base.Info());
    }

    void AddLayer()
    {
        const int below = mLayers.back()->id;
        mLayers.push_back(std::make_unique<SwingingLayer>());
        SwingingLayer& layer = *mLayers.back();
        layer.id = below + 1 + mRandom.Below(3);
        Randomize(layer);
        layer.muted = mRandom.Below(6) == 0;
        if (mRandom.Below(6) == 0) return;
        if (YFCurveNode* node = mProperty->CreateLayerAt(layer.Info())) SetRandomKeys(*node);
    }

    void Randomize(SwingingLayer& layer)
    {
        layer.mode = static_cast<eLayerMode>(mRandom.Below(3));
        switch (mRandom.Below(5)) {
            case 0:
                layer.weight = 0.0;
                break;
            case 1:
                layer.weight = mRandom.Between(0.1, 0.95);
                break;
            case 2:
                layer.weight = 0.5;
                layer.swing = 0.4;
                break;
            default:
                layer.weight = 1.0;
                break;
        }
    }

    void MakeTimeWarp()
    {
        YFCurveNode* warp = YFCurveNodeCreate("warp", YDataType::Get(eDataType::TimeWarp));
        warp->CreateFCurve();
        const auto second = [this] { return static_cast<float>(mRandom.Between(0.0, 4.0)); };
        SetKeys(*warp->FCurveGet(), {{0.0, second()}, {4.0, second()}});
        mProperty->TimeWarpSet(warp);
    }

    void SetRandomKeys(YFCurveNode& node)
    {
        for (int i = 0; i < Components(); ++i) SetRandomKeys(Curve(node, i), &node != mProperty);
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
        const int count = fewest + mRandom.Below(4);
        for (int i = 0; i < count; ++i) {
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
    std::vector<std::unique_ptr<SwingingLayer>> mLayers;  // outlive the nodes
    YFCurveNodePtr mTop;
    YFCurveNode* mProperty = nullptr;
};

/// A curve as it is stored.
struct StoredCurve
{
    std::vector<YFCurveKey> keys;
    float value = 0.0f;

    explicit StoredCurve(const YFCurve& curve) : value(curve.GetValue())
    {
        for (int i = 0; i < curve.KeyGetCount(); ++i) keys.push_back(curve.KeyGet(i));
    }

    /// Without the key at a time.
    StoredCurve Without(YTime time) const
    {
        StoredCurve rest = *this;
        std::erase_if(rest.keys, [=](const YFCurveKey& key) { return key.GetTime() == time; });
        return rest;
    }

    bool HasSameKeys(const StoredCurve& other) const
    {
        if (keys.size() != other.keys.size()) return false;
        return keys.empty() ||
               std::memcmp(keys.data(), other.keys.data(), keys.size() * sizeof(YFCurveKey)) == 0;
    }

    /// Byte for byte.
    friend bool operator==(const StoredCurve& a, const StoredCurve& b)
    {
        return a.HasSameKeys(b) &&
               std::bit_cast<std::uint32_t>(a.value) == std::bit_cast<std::uint32_t>(b.value);
    }
};

}  // namespace nodetest
