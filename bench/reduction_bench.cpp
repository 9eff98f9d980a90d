#include "bench/reduction_bench.h"

#include <limits>
#include <string>

#include "bench/recorded_walk.h"
#include "yfcurve/yfcurvefilterfit.h"
#include "yfcurve/yfcurvefilterkeyreducer.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveplot.h"

namespace {

using Nodes = std::vector<YFCurveNodePtr>;

constexpr double kTolerances[] = {0.1, 0.5};
constexpr double kNone = std::numeric_limits<double>::infinity();

// A property for each angle: all channels but the first three.
Nodes RotationsOf(const std::vector<YFCurvePtr>& walk)
{
    Nodes rotations;
    for (std::size_t i = 3; i < walk.size(); ++i) {
        rotations.emplace_back(FCurveNodeCreateFromDataType(YDataType::Get(eDataType::Number), "rotation"));
        rotations.back()->CreateFCurve();
        rotations.back()->FCurveGet()->CopyFrom(*walk[i]);
    }
    return rotations;
}

Nodes CopiesOf(const Nodes& nodes)
{
    Nodes copies;
    for (const YFCurveNodePtr& node : nodes) copies.emplace_back(node->Clone());
    return copies;
}

int KeyCount(const Nodes& nodes)
{
    int count = 0;
    for (const YFCurveNodePtr& node : nodes) count += node->KeyGetCount(true);
    return count;
}

void Reduce(const Nodes& nodes, double tolerance)
{
    YFCurveFilterKeyReducer filter;
    filter.SetPrecision(tolerance);
    for (const YFCurveNodePtr& node : nodes) filter.Apply(*node->FCurveGet());
}

void Plot(const Nodes& nodes, double tolerance)
{
    YSmartPlotOptions options;
    options.tolerance = tolerance;
    for (const YFCurveNodePtr& node : nodes) {
        const YFCurve& curve = *node->FCurveGet();
        options.period = curve.KeyGetTime(1) - curve.KeyGetTime(0);
        YFCurve_PlotInLayers(node.get(), YFCurveLayerInfo::Base, YTIME_MINUS_INFINITE, YTIME_INFINITE,
                             options);
    }
}

template<YFCurveFilterFit::ETangents tangents, bool weighted = false>
void Fit(const Nodes& nodes, double tolerance)
{
    YFCurveFilterFit filter;
    filter.SetTolerance(tolerance);
    filter.SetTangents(tangents);
    filter.SetWeighted(weighted);
    for (const YFCurveNodePtr& node : nodes) filter.Apply(*node->FCurveGet());
}

struct Way
{
    const char* name;
    void (*reduce)(const Nodes& nodes, double tolerance);
    double mostKeys[2];  ///< that the recorded walk may keep, for each tolerance
    double mostMilliseconds;
};

constexpr Way kWays[] = {
    {"key reducer", Reduce, {kNone, kNone}, kNone},
    {"smart plot", Plot, {7000.0, 2150.0}, kNone},
    {"smooth fit", Fit<YFCurveFilterFit::eSmooth>, {7000.0, 2150.0}, 500.0},
    {"broken fit", Fit<YFCurveFilterFit::eBroken>, {5325.0, 1600.0}, 500.0},
    {"smooth fit with weights", Fit<YFCurveFilterFit::eSmooth, true>, {5300.0, 1700.0}, 5000.0},
    {"broken fit with weights", Fit<YFCurveFilterFit::eBroken, true>, {3950.0, 1250.0}, 5000.0},
};

struct Walk
{
    std::string name;
    bool isRecorded;
    Nodes rotations;
};

std::string NameOf(const Walk& walk, const Way& way, double tolerance)
{
    return walk.name + "/" + way.name + (tolerance < 0.3 ? ", 0.1 degrees" : ", 0.5 degrees");
}

}  // namespace

struct ReductionBench::Walks
{
    Walk all[2] = {{"example walk", false, RotationsOf(ChannelsOf("examples/walk.bvh"))},
                   {"recorded walk", true, RotationsOf(RecordedWalk())}};
};

ReductionBench::ReductionBench() : mWalks(std::make_unique<Walks>()) {}
ReductionBench::~ReductionBench() = default;

void ReductionBench::Add() const
{
    for (const Walk& walk : mWalks->all) {
        if (walk.rotations.empty()) continue;
        for (const Way& way : kWays) {
            for (const double tolerance : kTolerances) {
                benchmark::RegisterBenchmark(NameOf(walk, way, tolerance).c_str(),
                                             [&walk, &way, tolerance](benchmark::State& state) {
                                                 for (auto _ : state) {
                                                     state.PauseTiming();
                                                     Nodes copies = CopiesOf(walk.rotations);
                                                     state.ResumeTiming();
                                                     way.reduce(copies, tolerance);
                                                     state.PauseTiming();
                                                     copies.clear();
                                                     state.ResumeTiming();
                                                 }
                                             });
            }
        }
    }
}

std::vector<Goal> ReductionBench::Goals(const GoalReporter& reporter) const
{
    std::vector<Goal> goals;
    for (const Walk& walk : mWalks->all) {
        if (walk.rotations.empty()) continue;
        goals.push_back({walk.name + ", keys of its rotations", KeyCount(walk.rotations) * 1.0, kNone, ""});
        for (const Way& way : kWays) {
            for (int i = 0; i < 2; ++i) {
                const std::string name = NameOf(walk, way, kTolerances[i]);
                const Nodes reduced = CopiesOf(walk.rotations);
                way.reduce(reduced, kTolerances[i]);
                goals.push_back({name + ", keys left", KeyCount(reduced) * 1.0,
                                 walk.isRecorded ? way.mostKeys[i] : kNone, ""});
                goals.push_back({name, reporter.Fastest(name) * 1e-6, way.mostMilliseconds, "ms"});
            }
        }
    }
    return goals;
}
