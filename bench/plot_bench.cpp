#include "bench/plot_bench.h"

#include <array>
#include <random>

#include "bench/recorded_walk.h"
#include "tests/node/nodes.h"
#include "yfcurve/yfcurveplot.h"

namespace {

constexpr int kShort = 1'000;
constexpr int kLong = 10'000;
constexpr double kTolerance = 0.1;
constexpr int kSamplesPerPeriod = 10;

using Nodes = std::vector<YFCurveNodePtr>;

YFCurveNodePtr NodeOf(eDataType type)
{
    YFCurveNodePtr node(FCurveNodeCreateFromDataType(YDataType::Get(type), "property"));
    node->CreateFCurve();
    return node;
}

// Recorded motion: a key each period.
void Record(YFCurve& curve, int count, std::mt19937& random)
{
    const YTime period = YSmartPlotOptions().period;
    std::normal_distribution<float> step;
    float value = 0.0f;
    const YFCurveModify modify(curve, count);
    for (int i = 0; i < count; ++i) {
        value = 0.99f * value + step(random);
        curve.KeyAppendFast(period * i, value);
    }
}

Nodes Recorded(int count)
{
    std::mt19937 random(20260704);
    Nodes nodes;
    nodes.push_back(NodeOf(eDataType::Number));
    Record(*nodes.back()->FCurveGet(), count, random);
    return nodes;
}

Nodes Walk()
{
    Nodes nodes;
    for (const YFCurvePtr& channel : RecordedWalk()) {
        nodes.push_back(NodeOf(eDataType::Number));
        nodes.back()->FCurveGet()->CopyFrom(*channel);
    }
    return nodes;
}

int SampleCount(const YFCurveNode& node)
{
    const YTime span = node.GetLastKeyTime(true) - node.GetFirstKeyTime(true);
    return static_cast<int>(span / (YSmartPlotOptions().period / kSamplesPerPeriod)) + 1;
}

void CountSamples(benchmark::State& state, const Nodes& nodes)
{
    double count = 0.0;
    for (const YFCurveNodePtr& node : nodes) count += SampleCount(*node);
    state.counters["items"] = count;
}

void Evaluate(benchmark::State& state, const Nodes& nodes)
{
    const YTime step = YSmartPlotOptions().period / kSamplesPerPeriod;
    for (auto _ : state) {
        double sum = 0.0;
        for (const YFCurveNodePtr& node : nodes) {
            std::array<double, 3> values;
            const YTime start = node->GetFirstKeyTime(true);
            const int count = SampleCount(*node);
            int hint = 0;
            for (int i = 0; i < count; ++i) {
                node->GeneralEvaluate(values.data(), start + step * i, &hint);
                sum += values[0];
            }
        }
        benchmark::DoNotOptimize(sum);
    }
    CountSamples(state, nodes);
}

void PlotCopies(benchmark::State& state, const Nodes& nodes, const YFCurveLayerInfo& layer)
{
    YSmartPlotOptions options;
    options.tolerance = kTolerance;
    for (auto _ : state) {
        state.PauseTiming();
        Nodes copies;
        for (const YFCurveNodePtr& node : nodes) copies.emplace_back(node->Clone());
        state.ResumeTiming();
        for (const YFCurveNodePtr& copy : copies) {
            YFCurve_PlotInLayers(copy.get(), layer, YTIME_MINUS_INFINITE, YTIME_INFINITE, options);
        }
        state.PauseTiming();
        copies.clear();
        state.ResumeTiming();
    }
    CountSamples(state, nodes);
}

int KeyCount(const Nodes& nodes)
{
    int count = 0;
    for (const YFCurveNodePtr& node : nodes) count += node->KeyGetCount(true);
    return count;
}

}  // namespace

struct PlotBench::Properties
{
    nodetest::TurnedLayer additive{YFCURVE_LAYER_ADDITIVE, 0.7};
    nodetest::TurnedLayer blended{YFCURVE_LAYER_WEIGHTED_OVERRIDE, 0.3};
    Nodes walk = Walk();
    Nodes shortOne = Recorded(kShort);
    Nodes longOne = Recorded(kLong);
    Nodes layers;

    Properties()
    {
        std::mt19937 random(20260705);
        layers.push_back(NodeOf(eDataType::LocalTranslation));
        layers.back()->CreateLayerAt({1, &additive});
        layers.back()->CreateLayerAt({2, &blended});
        for (YFCurveNode* layer = layers.back().get(); layer != nullptr; layer = layer->LayerGet()) {
            for (int i = 0; i < 3; ++i) Record(nodetest::CurveOf(*layer, i), kShort, random);
        }
    }
};

PlotBench::PlotBench() : mProperties(std::make_unique<Properties>()) {}
PlotBench::~PlotBench() = default;

void PlotBench::Add() const
{
    const auto add = [](const std::string& name, const Nodes& nodes, const YFCurveLayerInfo& layer) {
        if (nodes.empty()) return;
        benchmark::RegisterBenchmark((name + "/samples").c_str(),
                                     [&nodes](benchmark::State& state) { Evaluate(state, nodes); });
        benchmark::RegisterBenchmark((name + "/plot").c_str(), [&nodes, layer](benchmark::State& state) {
            PlotCopies(state, nodes, layer);
        });
    };
    Properties& properties = *mProperties;
    add("walk", properties.walk, YFCurveLayerInfo::Base);
    add("three layers of 1000 keys", properties.layers, {1, &properties.additive});
    add("1000 keys", properties.shortOne, YFCurveLayerInfo::Base);
    add("10000 keys", properties.longOne, YFCurveLayerInfo::Base);
}

std::vector<Goal> PlotBench::Goals(const GoalReporter& reporter) const
{
    const auto ratio = [&](const std::string& name) {
        return reporter.Fastest(name + "/plot") / reporter.Fastest(name + "/samples");
    };
    Nodes plotted = Walk();
    YSmartPlotOptions options;
    options.tolerance = kTolerance;
    for (const YFCurveNodePtr& node : plotted) {
        YFCurve_PlotInLayers(node.get(), YFCurveLayerInfo::Base, YTIME_MINUS_INFINITE, YTIME_INFINITE,
                             options);
    }
    return {
        {"plot of a walk : evaluating its samples", ratio("walk"), 30.0, ""},
        {"keys left of a plotted walk", 100.0 * KeyCount(plotted) / KeyCount(mProperties->walk), 20.0, "%"},
        {"plot of three layers : evaluating samples", ratio("three layers of 1000 keys"), 30.0, ""},
        {"plot a sample, 10000 : 1000 keys",
         reporter.Fastest("10000 keys/plot") / reporter.Fastest("1000 keys/plot"), 2.0, ""}};
}
