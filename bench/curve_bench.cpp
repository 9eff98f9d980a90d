// Evaluation of curves against GSL and Boost.Math, recording, and memory; trees of curves follow.
//
// All three evaluate the very same function: the natural cubic spline through jittered samples, which GSL
// computes; its slopes at the knots make it a cubic Hermite spline for Boost.Math and a curve of user
// tangents here. Recorded motion comes beside it: keys as KeyAppendFast makes them, whose slopes follow from
// their neighbours, against Boost.Math with these slopes. The program checks that all agree before it
// measures.

#include <benchmark/benchmark.h>
#include <gsl/gsl_spline.h>
#include <malloc.h>

#include <algorithm>
#include <array>
#include <boost/math/interpolators/cubic_hermite.hpp>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "bench/filter_bench.h"
#include "bench/goals.h"
#include "bench/manipulator_bench.h"
#include "bench/node_bench.h"
#include "bench/player_bench.h"
#include "bench/plot_bench.h"
#include "bench/recorded_walk.h"
#include "bench/reduction_bench.h"
#include "bench/smoothing_bench.h"
#include "bench/utils_bench.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/ymemoryblockqueue.h"

namespace {

using BoostSpline = boost::math::interpolators::cubic_hermite<std::vector<double>>;

struct FreeGsl
{
    void operator()(gsl_spline* spline) const { gsl_spline_free(spline); }
    void operator()(gsl_interp_accel* hint) const { gsl_interp_accel_free(hint); }
};

// Moments at which to evaluate, in the units of either side.
struct Moments
{
    std::vector<YTime> times;
    std::vector<double> seconds;

    void Add(YTime time)
    {
        times.push_back(time);
        seconds.push_back(time.GetSecondDouble());
    }
    std::size_t Count() const { return times.size(); }
};

// One function in the hands of all three.
class Subject
{
  public:
    // Samples of a wandering motion, about 30 a second, each up to 0.4 of a frame early or late.
    explicit Subject(int keyCount)
    {
        std::mt19937_64 random(20240501);
        std::uniform_real_distribution<double> jitter(-0.4, 0.4);
        std::normal_distribution<double> step;
        double value = 0.0;
        for (int i = 0; i < keyCount; ++i) {
            mKeys.Add(YTime::FromSeconds((i + jitter(random)) / 30.0));
            value = 0.99 * value + step(random);
            mValues.push_back(static_cast<double>(static_cast<float>(value)));
        }
        MakeGsl();
        mBoost = MakeBoost(mSlopes);
        mCurve = MakeCurve(YFCURVE_WEIGHT_NONE);
        mWeightedCurve = MakeCurve(YFCURVE_WEIGHT_ALL);
        MakeRecording();
    }

    YTime Start() const { return mKeys.times.front(); }
    YTime Stop() const { return mKeys.times.back(); }
    const gsl_spline* Gsl() const { return mGsl.get(); }
    const BoostSpline& Boost() const { return *mBoost; }
    const YFCurve& Curve() const { return *mCurve; }
    const YFCurve& WeightedCurve() const { return *mWeightedCurve; }
    const YFCurve& Recording() const { return *mRecording; }
    const BoostSpline& BoostOfRecording() const { return *mBoostOfRecording; }

    // Largest difference between those that should agree, as a part of the range of values.
    double Disagreement(const Moments& moments) const
    {
        const auto [low, high] = std::minmax_element(mValues.begin(), mValues.end());
        double worst = 0.0;
        for (std::size_t i = 0; i < moments.Count(); ++i) {
            const double ours = static_cast<double>(mCurve->Evaluate(moments.times[i]));
            const double gsl = gsl_spline_eval(mGsl.get(), moments.seconds[i], nullptr);
            const double boost = (*mBoost)(moments.seconds[i]);
            const double recording = static_cast<double>(mRecording->Evaluate(moments.times[i]));
            const double boostOfRecording = (*mBoostOfRecording)(moments.seconds[i]);
            worst = std::max({worst, std::fabs(ours - gsl), std::fabs(ours - boost),
                              std::fabs(recording - boostOfRecording)});
        }
        return worst / (*high - *low);
    }

  private:
    void MakeGsl()
    {
        mGsl.reset(gsl_spline_alloc(gsl_interp_cspline, mKeys.Count()));
        gsl_spline_init(mGsl.get(), mKeys.seconds.data(), mValues.data(), mKeys.Count());
        for (const double second : mKeys.seconds) {
            const double slope = gsl_spline_eval_deriv(mGsl.get(), second, nullptr);
            mSlopes.push_back(static_cast<double>(static_cast<float>(slope)));
        }
    }

    std::unique_ptr<BoostSpline> MakeBoost(std::vector<double> slopes) const
    {
        auto x = mKeys.seconds;
        auto y = mValues;
        return std::make_unique<BoostSpline>(std::move(x), std::move(y), std::move(slopes));
    }

    void MakeRecording()
    {
        mRecording.reset(YFCurveCreate());
        for (std::size_t i = 0; i < mKeys.Count(); ++i) {
            mRecording->KeyAppendFast(mKeys.times[i], static_cast<float>(mValues[i]));
        }
        std::vector<double> slopes;
        for (int i = 0; i < mRecording->KeyGetCount(); ++i) {
            slopes.push_back(static_cast<double>(mRecording->KeyGetRightDerivative(i)));
        }
        mBoostOfRecording = MakeBoost(slopes);
    }

    YFCurvePtr MakeCurve(unsigned weights) const
    {
        const auto count = static_cast<int>(mKeys.Count());
        YFCurvePtr curve(YFCurveCreate());
        const YFCurveModify modify(*curve, count);
        for (std::size_t i = 0; i < mKeys.Count(); ++i) {
            const std::size_t next = std::min(i + 1, mKeys.Count() - 1);
            YFCurveKey key;
            key.Set(mKeys.times[i], static_cast<float>(mValues[i]), YFCURVE_INTERP_CUBIC,
                    YFCURVE_TANGENT_USER, static_cast<float>(mSlopes[i]), static_cast<float>(mSlopes[next]),
                    weights, 0.45f, 0.25f);
            curve->KeyAdd(mKeys.times[i], key);
        }
        return curve;
    }

    Moments mKeys;
    std::vector<double> mValues;
    std::vector<double> mSlopes;
    std::unique_ptr<gsl_spline, FreeGsl> mGsl;
    std::unique_ptr<BoostSpline> mBoost;
    YFCurvePtr mCurve;
    YFCurvePtr mWeightedCurve;
    YFCurvePtr mRecording;
    std::unique_ptr<BoostSpline> mBoostOfRecording;
};

// Playback: so many moments a key, evenly spaced.
Moments Sequence(const Subject& subject, int keyCount, int perKey)
{
    Moments moments;
    const int count = keyCount * perKey;
    const double start = subject.Start().GetSecondDouble();
    const double step = (subject.Stop().GetSecondDouble() - start) / (count + 1);
    for (int i = 1; i <= count; ++i) moments.Add(YTime::FromSeconds(start + i * step));
    return moments;
}

Moments Scatter(const Subject& subject, int count)
{
    Moments moments;
    std::mt19937_64 random(7);
    std::uniform_int_distribution<std::int64_t> ticks(subject.Start().Get() + 1, subject.Stop().Get() - 1);
    for (int i = 0; i < count; ++i) moments.Add(YTime(ticks(random)));
    return moments;
}

void CountItems(benchmark::State& state, std::size_t items)
{
    state.counters["items"] = static_cast<double>(items);
}

void Evaluate(benchmark::State& state, const YFCurve& curve, const Moments& moments)
{
    for (auto _ : state) {
        int hint = 0;
        float sum = 0.0f;
        for (const YTime time : moments.times) sum += curve.Evaluate(time, &hint);
        benchmark::DoNotOptimize(sum);
    }
    CountItems(state, moments.Count());
}

void EvaluateGsl(benchmark::State& state, const gsl_spline* spline, const Moments& moments)
{
    const std::unique_ptr<gsl_interp_accel, FreeGsl> hint(gsl_interp_accel_alloc());
    for (auto _ : state) {
        double sum = 0.0;
        for (const double second : moments.seconds) sum += gsl_spline_eval(spline, second, hint.get());
        benchmark::DoNotOptimize(sum);
    }
    CountItems(state, moments.Count());
}

void EvaluateBoost(benchmark::State& state, const BoostSpline& spline, const Moments& moments)
{
    for (auto _ : state) {
        double sum = 0.0;
        for (const double second : moments.seconds) sum += spline(second);
        benchmark::DoNotOptimize(sum);
    }
    CountItems(state, moments.Count());
}

void EvaluateSpan(benchmark::State& state, const YFCurve& curve, const Moments& moments)
{
    std::vector<float> values(moments.Count());
    for (auto _ : state) {
        curve.Evaluate(moments.times, values);
        benchmark::DoNotOptimize(values.data());
    }
    CountItems(state, moments.Count());
}

// Keys that come in the order of their times, each looked for from the one before.
void AddWithHint(benchmark::State& state, int keyCount)
{
    YFCurveKey key;
    key.Set(YTime(), 1.0f);
    for (auto _ : state) {
        YFCurvePtr curve(YFCurveCreate());
        int hint = 0;
        for (int i = 0; i < keyCount; ++i) curve->KeyAdd(YTime(i), key, &hint);
        state.PauseTiming();
        curve.reset();
        state.ResumeTiming();
    }
    CountItems(state, static_cast<std::size_t>(keyCount));
}

// Many curves, shared out among threads, of which each goes through its own from front to back.
class Crowd
{
  public:
    Crowd()
    {
        for (int i = 0; i < kCurves; ++i) {
            mCurves.emplace_back(YFCurveCreate());
            for (int key = 0; key < kKeys; ++key)
                mCurves.back()->KeyAppendFast(YTime(100 * key), float(key % 7));
        }
        for (int i = 0; i < 100 * kKeys; i += 10) mTimes.push_back(YTime(i));
    }

    void Evaluate(benchmark::State& state, std::size_t threads) const
    {
        for (auto _ : state) {
            std::vector<std::thread> helpers;
            for (std::size_t i = 1; i < threads; ++i)
                helpers.emplace_back([=, this] { EvaluateShare(i, threads); });
            EvaluateShare(0, threads);
            for (std::thread& helper : helpers) helper.join();
        }
        CountItems(state, mCurves.size() * mTimes.size());
    }

  private:
    static constexpr int kCurves = 10'000;
    static constexpr int kKeys = 30;

    void EvaluateShare(std::size_t share, std::size_t shares) const
    {
        std::vector<float> values(mTimes.size());
        const std::size_t end = mCurves.size() * (share + 1) / shares;
        for (std::size_t i = mCurves.size() * share / shares; i < end; ++i) {
            mCurves[i]->Evaluate(mTimes, values);
            benchmark::DoNotOptimize(values.data());
        }
    }

    std::vector<YFCurvePtr> mCurves;
    std::vector<YTime> mTimes;
};

void Append(benchmark::State& state, int keyCount)
{
    for (auto _ : state) {
        YFCurvePtr curve(YFCurveCreate());
        for (int i = 0; i < keyCount; ++i) curve->KeyAppendFast(YTime(i), static_cast<float>(i));
        state.PauseTiming();
        curve.reset();
        state.ResumeTiming();
    }
    CountItems(state, static_cast<std::size_t>(keyCount));
}

// Bytes a key of recorded motion: many short curves whose keys all have the same attributes.
struct Footprint
{
    double counted;  // blocks, arrays and attribute records
    double heap;     // all that the heap gave, the curve objects and the pools' reserves included
};

Footprint MeasureFootprint()
{
    constexpr int curveCount = 96;
    constexpr int keyCount = 524;
    const auto heapInUse = [] {
        const struct mallinfo2 info = mallinfo2();
        return static_cast<double>(info.uordblks + info.hblkhd);
    };
    std::vector<YFCurvePtr> curves(curveCount);
    const double heapBefore = heapInUse();
    const double bytesBefore = GetRecordingMemory();
    const int recordsBefore = YFCURVE_GetKeyAttrCount();
    for (YFCurvePtr& curve : curves) {
        curve.reset(YFCurveCreate());
        const YFCurveModify modify(*curve);
        for (int i = 0; i < keyCount; ++i) {
            YFCurveKey key;
            key.Set(YTime(i), static_cast<float>(i), YFCURVE_INTERP_LINEAR, 0);
            curve->KeyAdd(YTime(i), key);
        }
    }
    const double records = (YFCURVE_GetKeyAttrCount() - recordsBefore) * double{sizeof(YPriFCurveKeyAttr)};
    constexpr double keys = double{curveCount} * keyCount;
    return {(GetRecordingMemory() - bytesBefore + records) / keys, (heapInUse() - heapBefore) / keys};
}

template<class Function>
void Add(const std::string& name, Function function)
{
    benchmark::RegisterBenchmark(name.c_str(), function);
}

// GSL's accelerator searches anew in every segment that it enters, so how densely a curve is played matters.
constexpr std::array kMomentsPerKey = {1, 4, 16};

std::string Playback(int perKey)
{
    return "playback, " + std::to_string(perKey) + " a key/";
}

void AddPlayback(const Subject& subject, const Moments& moments, int perKey)
{
    using benchmark::State;
    const std::string name = Playback(perKey);
    Add(name + "Evaluate", [&](State& state) { Evaluate(state, subject.Curve(), moments); });
    Add(name + "Evaluate weighted", [&](State& state) { Evaluate(state, subject.WeightedCurve(), moments); });
    Add(name + "GSL", [&](State& state) { EvaluateGsl(state, subject.Gsl(), moments); });
    Add(name + "Evaluate recording", [&](State& state) { Evaluate(state, subject.Recording(), moments); });
    Add(name + "Boost", [&](State& state) { EvaluateBoost(state, subject.Boost(), moments); });
}

void AddRandom(const Subject& subject, const Moments& moments)
{
    using benchmark::State;
    Add("random/Evaluate", [&](State& state) { Evaluate(state, subject.Curve(), moments); });
    Add("random/GSL", [&](State& state) { EvaluateGsl(state, subject.Gsl(), moments); });
    Add("random/Boost", [&](State& state) { EvaluateBoost(state, subject.Boost(), moments); });
    Add("random recording/Evaluate", [&](State& state) { Evaluate(state, subject.Recording(), moments); });
    Add("random recording/Boost",
        [&](State& state) { EvaluateBoost(state, subject.BoostOfRecording(), moments); });
}

std::vector<Goal> Goals(const GoalReporter& reporter, const Footprint& footprint)
{
    std::vector<Goal> goals;
    for (const int perKey : kMomentsPerKey) {
        const std::string name = Playback(perKey);
        const double ours = reporter.Fastest(name + "Evaluate");
        goals.push_back({name + "Evaluate : GSL", ours / reporter.Fastest(name + "GSL"), 1.0, ""});
        const double weighted = reporter.Fastest(name + "Evaluate weighted");
        goals.push_back({name + "weighted : unweighted", weighted / ours, 4.0, ""});
    }
    for (const std::string name : {"random/", "random recording/"}) {
        const double ratio = reporter.Fastest(name + "Evaluate") / reporter.Fastest(name + "Boost");
        goals.push_back({name + "Evaluate : Boost", ratio, 1.0, ""});
    }
    const double span = reporter.Fastest("a million times/Evaluate span");
    goals.push_back({"a million times, a thousand a key/Evaluate span", span, 1.5, "ns"});
    goals.push_back({"a million times, a thousand a key/Evaluate span : GSL",
                     span / reporter.Fastest("a million times/GSL"), 0.2, ""});
    goals.push_back({"KeyAdd with a hint : KeyAppendFast",
                     reporter.Fastest("KeyAdd with a hint") / reporter.Fastest("KeyAppendFast"), 2.0, ""});
    goals.push_back(
        {"10,000 curves/two threads : one thread",
         reporter.Fastest("10,000 curves/two threads") / reporter.Fastest("10,000 curves/one thread"),
         1.0 / 1.8, ""});
    goals.push_back({"KeyAppendFast, a million keys", reporter.Fastest("KeyAppendFast"), 40.0, "ns a key"});
    goals.push_back({"storage, 96 curves of 524 equal keys", footprint.counted, 18.5, "bytes a key"});
    return goals;
}

// Repetitions take turns, so that a slow spell of the machine hits everyone. Options given come last and win.
bool Initialize(int argc, char** argv)
{
    std::vector<std::string> defaults = {"--benchmark_enable_random_interleaving=true",
                                         "--benchmark_repetitions=15", "--benchmark_min_time=0.02"};
    std::vector<char*> arguments(argv, argv + argc);
    for (std::string& option : defaults) arguments.insert(arguments.begin() + 1, option.data());
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    return !benchmark::ReportUnrecognizedArguments(count, arguments.data());
}

}  // namespace

int main(int argc, char** argv)  // NOLINT(bugprone-exception-escape): ends with a message just as well
{
    if (!Initialize(argc, argv)) return EXIT_FAILURE;
    if (RecordedWalk().empty()) {
        std::puts(
            "Skipped, because YFCURVE_RECORDINGS names no folder with cmu_12_01_walk.bvh: KeyReducer/walk, "
            "walk/samples, walk/plot");
    }

    const Footprint footprint = MeasureFootprint();
    constexpr int keyCount = 10'000;
    const Subject subject(keyCount);
    const Subject large(1'000'000);
    const Moments scatter = Scatter(large, 1'000'000);
    double disagreement = large.Disagreement(scatter);
    std::vector<Moments> playbacks;
    for (const int perKey : kMomentsPerKey) {
        playbacks.push_back(Sequence(subject, keyCount, perKey));
        disagreement = std::max(disagreement, subject.Disagreement(playbacks.back()));
    }
    std::printf("Curve, GSL and Boost.Math differ by %.1e of the range of values at most.\n", disagreement);
    if (disagreement > 1e-6) return EXIT_FAILURE;

    for (std::size_t i = 0; i < kMomentsPerKey.size(); ++i) {
        AddPlayback(subject, playbacks[i], kMomentsPerKey[i]);
    }
    AddRandom(large, scatter);
    const Subject few(1'001);
    const Moments million = Sequence(few, 1'001, 1'000);
    Add("a million times/Evaluate span",
        [&](benchmark::State& state) { EvaluateSpan(state, few.Curve(), million); });
    Add("a million times/GSL", [&](benchmark::State& state) { EvaluateGsl(state, few.Gsl(), million); });
    const Crowd crowd;
    Add("10,000 curves/one thread", [&](benchmark::State& state) { crowd.Evaluate(state, 1); });
    Add("10,000 curves/two threads", [&](benchmark::State& state) { crowd.Evaluate(state, 2); });
    const NodeBench nodes;
    nodes.Add();
    const PlayerBench players;
    players.Add();
    const UtilsBench utils;
    utils.Add();
    const FilterBench filters;
    filters.Add();
    const ReductionBench reductions;
    reductions.Add();
    const SmoothingBench smoothing;
    smoothing.Add();
    const PlotBench plots;
    plots.Add();
    const ManipulatorBench manipulators;
    manipulators.Add();
    Add("KeyAdd with a hint", [](benchmark::State& state) { AddWithHint(state, 1'000'000); });
    Add("KeyAppendFast", [](benchmark::State& state) { Append(state, 1'000'000); });

    GoalReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::printf("\n96 curves of 524 keys take %.2f bytes a key of storage, %.2f of the heap in all.\n",
                footprint.counted, footprint.heap);
    std::vector<Goal> goals = Goals(reporter, footprint);
    for (Goal& goal : nodes.Goals(reporter)) goals.push_back(std::move(goal));
    for (Goal& goal : players.Goals(reporter)) goals.push_back(std::move(goal));
    for (Goal& goal : utils.Goals(reporter)) goals.push_back(std::move(goal));
    for (Goal& goal : filters.Goals(reporter)) goals.push_back(std::move(goal));
    for (Goal& goal : reductions.Goals(reporter)) goals.push_back(std::move(goal));
    for (Goal& goal : smoothing.Goals(reporter)) goals.push_back(std::move(goal));
    for (Goal& goal : plots.Goals(reporter)) goals.push_back(std::move(goal));
    for (Goal& goal : manipulators.Goals(reporter)) goals.push_back(std::move(goal));
    PrintGoals(goals);
    return EXIT_SUCCESS;
}
