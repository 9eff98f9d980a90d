#include "bench/utils_bench.h"

#include <random>
#include <string>

#include "bench/allocations.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurveutils.h"

namespace {

constexpr int kShort = 10'000;
constexpr int kLong = 100'000;
constexpr double kKeysPerBlock = 64.0;

// Keys about 30 a second, every one with tangents and so a record of its own.
void AddKeys(YFCurve& curve, int count, YTime start, std::mt19937& random)
{
    std::normal_distribution<float> step;
    std::uniform_real_distribution<double> jitter(0.7, 1.3);
    const YFCurveModify modify(curve, count);
    int hint = 0;
    float value = 0.0f;
    YTime time = start;
    for (int i = 0; i < count; ++i) {
        value = 0.99f * value + step(random);
        YFCurveKey key;
        key.Set(time, value, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER, step(random), step(random));
        curve.KeyAdd(time, key, &hint);
        time += YTime::FromSeconds(jitter(random) / 30.0);
    }
}

const YTime kFrame = YTime::FromSeconds(1.0 / 30.0);

// How many allocations an operation makes for every 64 keys of its result.
template<class Operation>
double AllocationsPerBlock(Operation operation)
{
    YFCurve result;
    const long before = AllocationCount();
    operation(result);
    const auto allocated = static_cast<double>(AllocationCount() - before);
    return allocated * kKeysPerBlock / result.KeyGetCount();
}

}  // namespace

struct UtilsBench::Curves
{
    explicit Curves(int keyCount) : count(keyCount)
    {
        std::mt19937 random(20240611);
        AddKeys(base, keyCount, YTIME_ZERO, random);
        AddKeys(insert, keyCount / 2, base.KeyGetTime(keyCount / 4) + YTime(12345), random);
    }

    void Resample(benchmark::State& state) const
    {
        int samples = 1;
        for (auto _ : state) {
            state.PauseTiming();
            YFCurve curve(base);
            state.ResumeTiming();
            YFCurveUtils::Resample(curve, kFrame, YTIME_MINUS_INFINITE, YTIME_INFINITE, false);
            samples = curve.KeyGetCount();
        }
        state.counters["items"] = samples;
    }

    void Merge(benchmark::State& state) const
    {
        YFCurve result;
        for (auto _ : state) YFCurveUtils::Merge(base, insert, result);
        state.counters["items"] = result.KeyGetCount();
    }

    std::string Name(const char* operation) const { return operation + std::to_string(count) + " keys"; }

    int count;
    YFCurve base;
    YFCurve insert;
};

UtilsBench::UtilsBench() : mShort(std::make_unique<Curves>(kShort)), mLong(std::make_unique<Curves>(kLong)) {}
UtilsBench::~UtilsBench() = default;

void UtilsBench::Add() const
{
    for (const Curves* curves : {mShort.get(), mLong.get()}) {
        benchmark::RegisterBenchmark(curves->Name("Resample/").c_str(),
                                     [curves](benchmark::State& state) { curves->Resample(state); });
        benchmark::RegisterBenchmark(curves->Name("Merge/").c_str(),
                                     [curves](benchmark::State& state) { curves->Merge(state); });
    }
}

std::vector<Goal> UtilsBench::Goals(const GoalReporter& reporter) const
{
    const auto growth = [&](const char* operation) {
        return reporter.Fastest(mLong->Name(operation)) / reporter.Fastest(mShort->Name(operation));
    };
    const double resampling = AllocationsPerBlock([&](YFCurve& result) {
        result = mLong->base;
        YFCurveUtils::Resample(result, kFrame, YTIME_MINUS_INFINITE, YTIME_INFINITE, false);
    });
    const double merging = AllocationsPerBlock(
        [&](YFCurve& result) { YFCurveUtils::Merge(mLong->base, mLong->insert, result); });
    return {{"Resample a sample, 100,000 : 10,000 keys", growth("Resample/"), 2.0, ""},
            {"Merge a key, 100,000 : 10,000 keys", growth("Merge/"), 2.0, ""},
            {"allocations of Resample, 64 keys", resampling, 2.0, ""},
            {"allocations of Merge, 64 keys", merging, 2.0, ""}};
}
