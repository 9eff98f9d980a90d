#pragma once

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"

// What the tests of nodes share.

namespace nodetest {

/// Counts the nodes of its kind that are alive.
class CountedNode : public YFCurveNode
{
  public:
    inline static int alive = 0;

    explicit CountedNode(const std::string& name = "node",
                         const YFCurveLayerInfo& info = YFCurveLayerInfo::Base)
        : YFCurveNode(name.c_str(), name.c_str(), nullptr, 1, info)
    {
        ++alive;
    }
    ~CountedNode() override { --alive; }
};

inline YTime Seconds(double seconds)
{
    return YTime::FromSeconds(seconds);
}

/// A property with curves.
inline YFCurveNodePtr PropertyOf(eDataType type, const char* name)
{
    YFCurveNodePtr node(FCurveNodeCreateFromDataType(YDataType::Get(type), name));
    node->CreateFCurve();
    return node;
}

inline YFCurveNodePtr Translation(const char* name = "translation")
{
    return PropertyOf(eDataType::LocalTranslation, name);
}

inline YFCurveNodePtr Rotation(int order = 0)
{
    YFCurveNodePtr node = PropertyOf(eDataType::LocalRotation, "rotation");
    node->SetRotationOrder(order);
    return node;
}

/// A joint with a translation, a rotation and a scaling, in this order, each with the name of its type.
inline YFCurveNodePtr Joint(int rotationOrder = 0)
{
    YFCurveNodePtr joint(YFCurveNodeCreate("Joint", nullptr));
    for (const eDataType type :
         {eDataType::LocalTranslation, eDataType::LocalRotation, eDataType::LocalScaling})
        joint->Add(PropertyOf(type, YDataType::Get(type)->GetName()).release());
    joint->Get(1)->SetRotationOrder(rotationOrder);
    return joint;
}

inline void AddLinearKey(YFCurve& curve, double second, float value)
{
    YFCurveKey key;
    key.Set(Seconds(second), value, YFCURVE_INTERP_LINEAR);
    curve.KeyAdd(key.GetTime(), key);
}

/// Gives a curve linear keys of (seconds, value).
inline void SetKeys(YFCurve& curve, std::initializer_list<std::pair<double, float>> keys)
{
    const YFCurveModify modify(curve);
    curve.KeyClear();
    for (const auto& [second, value] : keys) AddLinearKey(curve, second, value);
}

/// A time warp: what the time is at 0 s and at 4 s.
inline YFCurveNode* LinearWarp(float first, float last)
{
    YFCurveNode* warp = YFCurveNodeCreate("warp", YDataType::Get(eDataType::TimeWarp));
    warp->CreateFCurve();
    SetKeys(*warp->FCurveGet(), {{0.0, first}, {4.0, last}});
    return warp;
}

inline YFCurve& CurveOf(const YFCurveNode& node, int child)
{
    return *node.Get(child)->FCurveGet();
}

inline std::vector<double> ValuesAt(const YFCurveNode& node, double seconds)
{
    std::vector<double> values(64, -1e9);
    int hint = 0;
    const double* end = node.Evaluate(values.data(), Seconds(seconds), &hint);
    values.resize(static_cast<std::size_t>(end - values.data()));
    return values;
}

/// Of a property of one component.
inline double ValueOf(const YFCurveNode& node, YTime time)
{
    double value = 0.0;
    node.GeneralEvaluate(&value, time);
    return value;
}

inline std::vector<std::string> ChildNames(const YFCurveNode& node)
{
    std::vector<std::string> names;
    for (int i = 0; i < node.GetCount(); ++i) names.emplace_back(node.Get(i)->GetName());
    return names;
}

/// A layer of the host that is what a test says, with the same weight at all times.
class TurnedLayer : public YFCurveWeightedLayer
{
  public:
    eLayerMode mode = YFCURVE_LAYER_ADDITIVE;
    double weight = 1.0;
    bool muted = false, locked = false;
    eWeightRotationAccumulationMode rotations = YFCURVE_LAYER_ROTATION_BY_LAYER;
    eAnimLayerScaleAccumulationMode scalings = YFCURVE_LAYER_SCALING_MULTIPLY;

    TurnedLayer() = default;
    TurnedLayer(eLayerMode layerMode, double layerWeight) : mode(layerMode), weight(layerWeight) {}

    int GetLayerID() const override { return 0; }
    double GetWeight(YTime) const override { return weight; }
    const YFCurve* GetWeightCurve() const override { return nullptr; }
    bool IsMuted() const override { return muted; }
    bool IsLocked() const override { return locked; }
    eLayerMode GetLayerMode() const override { return mode; }
    bool GetLayerModeBypass(YDataType*) const override { return false; }
    eWeightRotationAccumulationMode GetLayerRotationMode() const override { return rotations; }
    eAnimLayerScaleAccumulationMode GetLayerScalingMode() const override { return scalings; }
};

/// Keys somewhere else, at every whole second from 2 to 5.
class Clip : public IYFCurveETI
{
  public:
    IObject* IQuery(unsigned long, int) override { return nullptr; }
    void Destroy(int) override { delete this; }
    int ETIKeyGetCount() const override { return 4; }
    YTime ETIKeyGetTime(int index) const override { return Seconds(2.0 + index); }
    YTime ETIGetGlobalActiveStart() const override { return start; }
    YTime ETIGetDuration() const override { return duration; }
    virtual ~Clip() = default;

    YTime start = YTIME_MINUS_INFINITE;
    YTime duration = YTIME_ZERO;
};

}  // namespace nodetest
