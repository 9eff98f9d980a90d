#include "bench/smoothing_bench.h"

#include <random>

#include "yfcurve/yfcurvefilterbutterworth.h"
#include "yfcurve/yfcurveptr.h"

namespace {

constexpr int kKeyCount = 100'000;
constexpr int kSamplesPerKey = 8;
constexpr int kSampleCount = (kKeyCount - 1) * kSamplesPerKey + 1;

void CountSamples(benchmark::State& state)
{
    state.counters["items"] = kSampleCount;
}

}  // namespace

// Fifty-five minutes at 30 samples a second.
struct SmoothingBench::Recording
{
    YFCurve curve;

    Recording()
    {
        std::mt19937 random(20240705);
        std::normal_distribution<float> step;
        float value = 0.0f;
        const YFCurveModify modify(curve, kKeyCount);
        for (int i = 0; i < kKeyCount; ++i) {
            value = 0.99f * value + step(random);
            curve.KeyAppendFast(YTime::FromFrame(i, eTimeMode::Fps30), value);
        }
    }

    void Sample(benchmark::State& state) const
    {
        const YTime period = YTime::FromFrame(1, eTimeMode::Fps30) / kSamplesPerKey;
        for (auto _ : state) {
            int hint = 0;
            float sum = 0.0f;
            for (int i = 0; i < kSampleCount; ++i) sum += curve.Evaluate(period * i, &hint);
            benchmark::DoNotOptimize(sum);
        }
        CountSamples(state);
    }

    void Filter(benchmark::State& state) const
    {
        YFCurveFilterButterworth filter;
        filter.SamplingRate.Set(30.0);
        filter.InternalRate.Set(30.0 * kSamplesPerKey);
        for (auto _ : state) {
            state.PauseTiming();
            YFCurve copy(curve);
            state.ResumeTiming();
            filter.Apply(copy);
        }
        CountSamples(state);
    }
};

SmoothingBench::SmoothingBench() : mRecording(std::make_unique<Recording>()) {}
SmoothingBench::~SmoothingBench() = default;

void SmoothingBench::Add() const
{
    const Recording& recording = *mRecording;
    benchmark::RegisterBenchmark("samples/Evaluate",
                                 [&recording](benchmark::State& state) { recording.Sample(state); });
    benchmark::RegisterBenchmark("samples/Butterworth",
                                 [&recording](benchmark::State& state) { recording.Filter(state); });
}

std::vector<Goal> SmoothingBench::Goals(const GoalReporter& reporter) const
{
    const double filtered = reporter.Fastest("samples/Butterworth");
    return {{"Butterworth filter : evaluating its samples", filtered / reporter.Fastest("samples/Evaluate"),
             1.2, ""},
            {"Butterworth filter a sample", filtered, 50.0, "ns"}};
}
