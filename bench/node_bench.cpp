#include "bench/node_bench.h"

#include <array>
#include <random>

#include "bench/allocations.h"
#include "yfcurve/yfcurvelayer.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"

namespace {

constexpr int kCurveCount = 300;
constexpr int kFrameCount = 300;
constexpr int kMomentsPerFrame = 4;

class BenchLayer : public YFCurveLayer
{
  public:
    BenchLayer(int id, eLayerMode mode, double weight) : mId(id), mMode(mode), mWeight(weight) {}

    int GetLayerID() const override { return mId; }
    double GetWeight(YTime) const override { return mWeight; }
    bool IsMuted() const override { return false; }
    bool IsLocked() const override { return false; }
    eLayerMode GetLayerMode() const override { return mMode; }
    bool GetLayerModeBypass(YDataType*) const override { return false; }
    eWeightRotationAccumulationMode GetLayerRotationMode() const override
    {
        return YFCURVE_LAYER_ROTATION_BY_LAYER;
    }
    eAnimLayerScaleAccumulationMode GetLayerScalingMode() const override
    {
        return YFCURVE_LAYER_SCALING_MULTIPLY;
    }

  private:
    int mId;
    eLayerMode mMode;
    double mWeight;
};

// Recorded motion: 30 samples a second.
void Record(YFCurve& curve, std::mt19937& random)
{
    std::normal_distribution<float> step;
    float value = 0.0f;
    const YFCurveModify modify(curve, kFrameCount);
    for (int frame = 0; frame < kFrameCount; ++frame) {
        value = 0.99f * value + step(random);
        curve.KeyAppendFast(YTime::FromSeconds(frame / 30.0), value);
    }
}

void RecordAll(YFCurveNode& node, std::mt19937& random)
{
    if (YFCurve* curve = node.FCurveGet()) Record(*curve, random);
    for (int i = 0; i < node.GetCount(); ++i) RecordAll(*node.Get(i), random);
}

void Collect(const YFCurveNode& node, std::vector<const YFCurve*>& curves)
{
    if (const YFCurve* curve = node.FCurveGet()) curves.push_back(curve);
    for (int i = 0; i < node.GetCount(); ++i) Collect(*node.Get(i), curves);
}

// A tree of properties of one type.
struct Tree
{
    YFCurveNodePtr root{YFCurveNodeCreate("root", nullptr)};
    std::vector<YFCurveNode*> properties;
    std::vector<const YFCurve*> curves;     // of the base layer
    std::vector<const YFCurve*> allCurves;  // of all layers
    mutable int hint = 0;                   // of whoever evaluates the tree

    Tree(eDataType type, const std::vector<YFCurveLayerInfo>& layers)
    {
        std::mt19937 random(20240502);
        while (static_cast<int>(curves.size()) < kCurveCount) {
            YFCurveNode* property = FCurveNodeCreateFromDataType(YDataType::Get(type), "property");
            property->CreateFCurve();
            root->Add(property);
            properties.push_back(property);
            Collect(*property, curves);
            for (const YFCurveLayerInfo& layer : layers) property->CreateLayerAt(layer);
            for (YFCurveNode* node = property; node != nullptr; node = node->LayerGet()) {
                RecordAll(*node, random);
                Collect(*node, allCurves);
            }
        }
    }
};

YTime Moment(int index)
{
    return YTime::FromSeconds(index / (30.0 * kMomentsPerFrame));
}

constexpr int kMomentCount = (kFrameCount - 1) * kMomentsPerFrame;

double SumOf(const std::vector<const YFCurve*>& curves, const Tree& tree, YTime time)
{
    int hint = tree.hint;
    double sum = 0.0;
    for (const YFCurve* curve : curves) sum += static_cast<double>(curve->Evaluate(time, &hint));
    tree.hint = hint;
    return sum;
}

double SumOfCurves(const Tree& tree, YTime time)
{
    return SumOf(tree.curves, tree, time);
}

double SumOfAllCurves(const Tree& tree, YTime time)
{
    return SumOf(tree.allCurves, tree, time);
}

double SumOfTree(const Tree& tree, YTime time)
{
    std::array<double, kCurveCount> values;
    tree.root->Evaluate(values.data(), time, &tree.hint);
    return values.front() + values.back();
}

double SumOfStacks(const Tree& tree, YTime time)
{
    std::array<double, 3> values;
    double sum = 0.0;
    for (const YFCurveNode* property : tree.properties) {
        property->GeneralEvaluate(values.data(), time, &tree.hint);
        sum += values[0];
    }
    return sum;
}

template<class Function>
void Play(benchmark::State& state, const Tree& tree, Function evaluate)
{
    for (auto _ : state) {
        tree.hint = 0;
        double sum = 0.0;
        for (int i = 0; i < kMomentCount; ++i) sum += evaluate(tree, Moment(i));
        benchmark::DoNotOptimize(sum);
    }
    state.counters["items"] = kMomentCount;
}

// How often the ways to evaluate a tree allocate, all together.
long AllocationsOf(const Tree& tree)
{
    std::array<double, kCurveCount> values;
    const long before = AllocationCount();
    for (int i = 0; i < kMomentCount; i += 10) {
        const YTime time = Moment(i);
        tree.root->Evaluate(values.data(), time);
        tree.root->Evaluate(values.data(), time, &tree.hint);
        for (YFCurveNode* property : tree.properties) {
            property->GeneralEvaluate(values.data(), time);
            property->GeneralEvaluate(values.data(), time, &tree.hint);
            property->CandidateEvaluate(values.data(), time);
            property->EvaluateSpecificLayer(values.data(), time, 1);
            property->CandidateEvaluateSpecificLayer(values.data(), time, 1);
            if (property->IsRotationLayerType()) property->RotationNodeEvaluate(values.data(), time);
        }
    }
    return AllocationCount() - before;
}

}  // namespace

struct NodeBench::Trees
{
    BenchLayer additive{1, YFCURVE_LAYER_ADDITIVE, 0.7};
    BenchLayer override{2, YFCURVE_LAYER_WEIGHTED_OVERRIDE, 0.3};
    std::vector<YFCurveLayerInfo> upperLayers{{1, &additive}, {2, &override}};
    Tree plain{eDataType::LocalTranslation, {}};
    Tree rotations{eDataType::LocalRotation, {}};
    Tree plainLayers{eDataType::LocalTranslation, upperLayers};
    Tree scalingLayers{eDataType::LocalScaling, upperLayers};
    Tree rotationLayers{eDataType::LocalRotation, upperLayers};
};

NodeBench::NodeBench() : mTrees(std::make_unique<Trees>()) {}
NodeBench::~NodeBench() = default;

void NodeBench::Add() const
{
    const auto add = [](const char* name, const Tree& tree, auto evaluate) {
        benchmark::RegisterBenchmark(
            name, [&tree, evaluate](benchmark::State& state) { Play(state, tree, evaluate); });
    };
    add("tree/bare curves", mTrees->plain, SumOfCurves);
    add("tree/Evaluate", mTrees->plain, SumOfTree);
    add("tree/GeneralEvaluate", mTrees->plain, SumOfStacks);
    add("tree/GeneralEvaluate rotations", mTrees->rotations, SumOfStacks);
    add("three layers/bare curves", mTrees->plainLayers, SumOfAllCurves);
    add("three layers/GeneralEvaluate", mTrees->plainLayers, SumOfStacks);
    add("three layers/GeneralEvaluate scalings", mTrees->scalingLayers, SumOfStacks);
    add("three layers/GeneralEvaluate rotations", mTrees->rotationLayers, SumOfStacks);
}

std::vector<Goal> NodeBench::Goals(const GoalReporter& reporter) const
{
    const double bare = reporter.Fastest("tree/bare curves");
    const auto ratio = [&](const char* name) { return reporter.Fastest(name) / bare; };
    long allocated = 0;
    for (const Tree* tree : {&mTrees->plain, &mTrees->rotations, &mTrees->plainLayers, &mTrees->scalingLayers,
                             &mTrees->rotationLayers}) {
        allocated += AllocationsOf(*tree);
    }
    return {{"tree/Evaluate : curves", ratio("tree/Evaluate"), 1.3, ""},
            {"tree/GeneralEvaluate : curves", ratio("tree/GeneralEvaluate"), 1.3, ""},
            {"three layers/GeneralEvaluate : curves", ratio("three layers/GeneralEvaluate"), 4.0, ""},
            {"allocations of evaluating trees", static_cast<double>(allocated), 0.0, ""}};
}
