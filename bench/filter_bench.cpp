#include "bench/filter_bench.h"

#include <cmath>

#include "bench/recorded_walk.h"
#include "yfcurve/yfcurvefilterfit.h"
#include "yfcurve/yfcurvefilterkeyreducer.h"
#include "yfcurve/yfcurvefilterkeysync.h"
#include "yfcurve/yfcurveptr.h"

namespace {

constexpr int kShort = 10'000;
constexpr int kMedium = 100'000;
constexpr int kLong = 1'000'000;
constexpr double kPrecision = 0.1;

// Two waves: as much to keep in every stretch.
void Record(YFCurve& curve, int count, YTime shift = YTIME_ZERO)
{
    const YFCurveModify modify(curve, count);
    for (int i = 0; i < count; ++i) {
        const double value = 10.0 * std::sin(i * 0.05) + std::sin(i * 0.31);
        curve.KeyAppendFast(YTime::FromFrame(i, eTimeMode::Fps120) + shift, static_cast<float>(value));
    }
}

// Three curves without a key time in common.
std::vector<YFCurvePtr> RecordApart(int count)
{
    std::vector<YFCurvePtr> curves;
    for (int i = 0; i < 3; ++i) {
        curves.emplace_back(YFCurveCreate());
        Record(*curves.back(), count, YTime::FromFrame(1, eTimeMode::Fps120) * i / 3);
    }
    return curves;
}

int KeyCount(const std::vector<YFCurvePtr>& curves)
{
    int count = 0;
    for (const YFCurvePtr& curve : curves) count += curve->KeyGetCount();
    return count;
}

std::vector<YFCurvePtr> CopiesOf(const std::vector<YFCurvePtr>& curves)
{
    std::vector<YFCurvePtr> copies;
    for (const YFCurvePtr& curve : curves) copies.emplace_back(curve->Copy());
    return copies;
}

void Reduce(const std::vector<YFCurvePtr>& curves)
{
    YFCurveFilterKeyReducer filter;
    filter.SetPrecision(kPrecision);
    for (const YFCurvePtr& curve : curves) filter.Apply(*curve);
}

void Fit(const std::vector<YFCurvePtr>& curves)
{
    YFCurveFilterFit filter;
    for (const YFCurvePtr& curve : curves) filter.Apply(*curve);
}

void Synchronise(const std::vector<YFCurvePtr>& curves)
{
    std::vector<YFCurve*> pointers;
    for (const YFCurvePtr& curve : curves) pointers.push_back(curve.get());
    YFCurveFilterKeySync filter;
    filter.Apply(pointers.data(), static_cast<int>(pointers.size()));
}

void AddFilter(const char* name, void (*filter)(const std::vector<YFCurvePtr>& curves),
               const std::vector<YFCurvePtr>& curves, double items)
{
    benchmark::RegisterBenchmark(name, [filter, &curves, items](benchmark::State& state) {
        for (auto _ : state) {
            state.PauseTiming();
            std::vector<YFCurvePtr> copies = CopiesOf(curves);
            state.ResumeTiming();
            filter(copies);
            state.PauseTiming();
            copies.clear();
            state.ResumeTiming();
        }
        state.counters["items"] = items;
    });
}

}  // namespace

struct FilterBench::Curves
{
    std::vector<YFCurvePtr> walk = RecordedWalk();
    std::vector<YFCurvePtr> shortWave;
    std::vector<YFCurvePtr> longWave;
    std::vector<YFCurvePtr> shortApart = RecordApart(kShort);
    std::vector<YFCurvePtr> mediumApart = RecordApart(kMedium);
};

FilterBench::FilterBench() : mCurves(std::make_unique<Curves>())
{
    mCurves->shortWave.emplace_back(YFCurveCreate());
    Record(*mCurves->shortWave[0], kShort);
    mCurves->longWave.emplace_back(YFCurveCreate());
    Record(*mCurves->longWave[0], kLong);
}

FilterBench::~FilterBench() = default;

void FilterBench::Add() const
{
    if (!mCurves->walk.empty()) AddFilter("KeyReducer/walk", Reduce, mCurves->walk, 1.0);
    AddFilter("KeyReducer/10000 keys", Reduce, mCurves->shortWave, kShort);
    AddFilter("KeyReducer/1000000 keys", Reduce, mCurves->longWave, kLong);
    AddFilter("Fit/1000000 keys", Fit, mCurves->longWave, kLong);
    AddFilter("KeySync/10000 keys", Synchronise, mCurves->shortApart, 3.0 * kShort);
    AddFilter("KeySync/100000 keys", Synchronise, mCurves->mediumApart, 3.0 * kMedium);
}

std::vector<Goal> FilterBench::Goals(const GoalReporter& reporter) const
{
    const std::vector<YFCurvePtr> reduced = CopiesOf(mCurves->walk);
    Reduce(reduced);
    return {
        {"reducing the walk, 96 x 524 keys", reporter.Fastest("KeyReducer/walk") * 1e-6, 30.0, " ms"},
        {"keys left of it at a precision of 0.1", 100.0 * KeyCount(reduced) / KeyCount(mCurves->walk), 35.0,
         " %"},
        {"reducing a key, 1,000,000 : 10,000 keys",
         reporter.Fastest("KeyReducer/1000000 keys") / reporter.Fastest("KeyReducer/10000 keys"), 3.0, ""},
        {"synchronising a key of three curves, 100,000 : 10,000 keys",
         reporter.Fastest("KeySync/100000 keys") / reporter.Fastest("KeySync/10000 keys"), 3.0, ""},
        {"fitting a key, of 1,000,000", reporter.Fastest("Fit/1000000 keys") * 1e-3, 15.0, " us"}};
}
