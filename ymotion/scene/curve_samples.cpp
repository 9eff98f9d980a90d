#include "ymotion/scene/curve_samples.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace ymotion {
namespace {

bool GoesOn(const YFCurve& curve, YTime time, float value)
{
    const float there = curve.Evaluate(time);
    return std::abs(there - value) <= 1e-5f * std::max({1.0f, std::abs(there), std::abs(value)});
}

float ValueOf(const CurveSamples& samples, std::size_t index)
{
    return samples.values[index * samples.step];
}

/// Exchanges the keys in the span, and bends what is around it.
void SetKeys(YFCurve& curve, const CurveSamples& samples)
{
    curve.Delete(samples.span.start, samples.span.stop);
    int last = 0;
    for (std::size_t i = 0; i < samples.times.size(); ++i) {
        YFCurveKey key;
        key.Set(samples.times[i], ValueOf(samples, i));
        if (curve.KeyAdd(samples.times[i], key, &last) < 0) throw std::bad_alloc();
    }
}

void SetAllKeys(YFCurve& curve, const CurveSamples& samples)
{
    curve.KeyClear();
    for (std::size_t i = 0; i < samples.times.size(); ++i) {
        if (curve.KeyAppendFast(samples.times[i], ValueOf(samples, i)) < 0) throw std::bad_alloc();
    }
}

void ReplaceSpan(YFCurve& curve, const CurveSamples& samples)
{
    const auto& [start, stop] = samples.span;
    const std::size_t last = samples.times.size() - 1;
    YFCurve sampled(curve);
    // Between the samples and keys farther on, it holds: what the curve repeats, it repeats beyond its own keys.
    sampled.SetPreExtrapolation(YFCURVE_EXTRAPOLATION_CONST);
    sampled.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_CONST);
    // Slopes of the outer keys go by what is beyond them, unless a jump is between.
    if (samples.times.front() != start || !GoesOn(curve, start, ValueOf(samples, 0)))
        sampled.Delete(YTIME_MINUS_INFINITE, start);
    if (samples.times.back() != stop || !GoesOn(curve, stop, ValueOf(samples, last)))
        sampled.Delete(stop, YTIME_INFINITE);
    SetKeys(sampled, samples);
    const YTime firstKey = curve.KeyGetTime(0);
    const YTime lastKey = curve.KeyGetTime(curve.KeyGetCount() - 1);
    curve.Replace(sampled, firstKey < start ? std::min(start, lastKey) : YTIME_MINUS_INFINITE,
                  lastKey > stop ? std::max(stop, firstKey) : YTIME_INFINITE);
}

}  // namespace

bool HasKeysOutside(const YFCurve& curve, const TimeSpan& span)
{
    const std::optional<TimeSpan> keys = KeySpan(curve);
    return keys && (keys->start < span.start || keys->stop > span.stop);
}

void SetSamples(YFCurve& curve, const CurveSamples& samples, bool turns)
{
    if (samples.times.empty()) return;
    const YFCurveModify bracket(curve);
    if (!HasKeysOutside(curve, samples.span)) {
        SetAllKeys(curve, samples);
    } else if (turns || samples.span.start == samples.span.stop) {
        SetKeys(curve, samples);
    } else {
        ReplaceSpan(curve, samples);
    }
}

}  // namespace ymotion
