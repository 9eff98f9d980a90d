// Curves exchanged for, or copied as, samples at a regular period.

#include <cstdint>
#include <vector>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/curve/rounding.h"
#include "yfcurve/node/curves/framegrid.h"
#include "yfcurve/node/curves/resampledkey.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurveutils.h"

namespace {

// How many samples there are from `start` to `stop`, inclusive; for a span that is not negative.
std::uint64_t SampleCount(YTime start, YTime stop, YTime period)
{
    return yfc::PeriodsBetween(start, stop, period) + 1;
}

// Adds keys one behind the other: values from the source, slopes too where the kind of key stores them.
class Sampler
{
  public:
    Sampler(const YFCurve& source, yfc::ResampledKey kind, YFCurve& target)
        : mSource(source), mKind(kind), mTarget(target)
    {}

    // The end keys of all have one side only.
    void Add(YTime time, bool isLast)
    {
        const int index = mTarget.KeyGetCount();
        YFCurveKey key;
        key.Set(time, mSource.Evaluate(time, &mSourceHint), mKind.interpolation, mKind.tangentMode);
        if (mKind.IsTCB()) key.SetDataFloat(YFCURVEKEY_TCB_BIAS, 0.0f);  // where the weights were
        if (mKind.IsUser()) {
            float left = mSource.EvaluateLeftDerivative(time, &mSourceHint);
            float right = mSource.EvaluateRightDerivative(time, &mSourceHint);
            if (isLast) right = left;
            if (index == 0) left = right;
            if (yfc::SlopesDiffer(left, right)) key.SetBreak(true);
            key.SetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE, right);
            if (index > 0) mTarget.KeySetDataFloat(index - 1, YFCURVEKEY_NEXT_LEFT_DERIVATIVE, left);
        }
        mTarget.KeyAdd(time, key, &mTargetHint);
    }

  private:
    const YFCurve& mSource;
    yfc::ResampledKey mKind;
    YFCurve& mTarget;
    int mSourceHint = 0;
    int mTargetHint = 0;
};

bool Refuse(YFCurveUtils::EError reason)
{
    YFCurveUtils::GetError().SetLastErrorID(reason);
    return false;
}

}  // namespace

void YFCurveUtils::Resample(YFCurve& curve, YTime period, YTime start, YTime stop, bool keysOnFrame)
{
    if (start >= stop || period <= YTIME_ZERO) return;
    const yfc::OuterKeys keys({&curve});
    if (start == YTIME_MINUS_INFINITE) start = keys.IsEmpty() ? YTIME_ZERO : keys.first;
    if (stop == YTIME_INFINITE) stop = keys.IsEmpty() ? start : keys.last;
    if (start >= stop) return;
    YTime time = start;
    if (keysOnFrame && start % period != YTIME_ZERO) {
        // Only behind the first frame: an earlier start is no multiple either, but stays, deliberately.
        const YTime frame = period * (start / period);
        if (frame > YTIME_ZERO) {
            if (stop - frame <= period) return;
            time = frame + period;
        }
    }
    if (time >= stop || SampleCount(time, stop, period) > yfc::kMostSamples) return;

    yfc::Guarded([&] {
        YFCurve samples;
        std::vector<float> values(static_cast<std::size_t>(SampleCount(time, stop, period)));
        curve.Evaluate(time, period, values);
        {
            const YFCurveModify modify(samples, static_cast<int>(values.size()));
            for (std::size_t i = 0; i < values.size(); ++i)
                samples.KeyAppendFast(time + period * static_cast<std::int64_t>(i), values[i]);
        }
        curve.Replace(samples, start, stop, true, true, YTIME_ZERO);
    });
}

bool YFCurveUtils::Resample(const YFCurve& source, YFCurve& target, unsigned interpolation,
                            unsigned tangentMode, YTime period, YTime start, YTime stop, bool keysOnFrame)
{
    const yfc::ResampledKey kind{interpolation, tangentMode};
    if (!kind.IsValid()) return Refuse(eBadInterpolation);
    if (period <= YTIME_ZERO) return Refuse(eBadPeriod);
    const yfc::OuterKeys keys({&source});
    const bool open = start == YTIME_MINUS_INFINITE || stop == YTIME_INFINITE;
    if (open && source.KeyGetCount() == 0) return Refuse(eNoKey);
    if (start == YTIME_MINUS_INFINITE) start = keys.first;
    if (stop == YTIME_INFINITE) stop = keys.last;
    if (start > stop) return Refuse(eBadSpan);
    const yfc::FrameGrid grid(period);
    const YTime first = keysOnFrame ? grid.LastUntil(start) : start;
    if (grid.CountBetween(start, stop) >= yfc::kMostSamples) return Refuse(eBadSpan);

    return yfc::Guarded([&] {
        YFCurve samples;
        samples.CopyFrom(source, false);
        {
            const auto sampleCount = static_cast<int>(grid.CountBetween(first, stop) + 1);
            const YFCurveModify modify(samples, sampleCount + 1);
            Sampler sampler(source, kind, samples);
            sampler.Add(start, start == stop);
            for (int i = 1; i < sampleCount; ++i) {
                const YTime time = grid.On(first, i);
                sampler.Add(time, time == stop);
            }
            if (samples.KeyGetTime(samples.KeyGetCount() - 1) < stop) sampler.Add(stop, true);
        }
        target.CopyFrom(samples);
        return true;
    });
}

bool YFCurveUtils::Resample(const YFCurve& source, YFCurve& target, unsigned interpolation,
                            unsigned tangentMode, YTime period)
{
    if (source.KeyGetCount() > 0) {
        return Resample(source, target, interpolation, tangentMode, period, YTIME_MINUS_INFINITE,
                        YTIME_INFINITE);
    }
    if (!yfc::ResampledKey{interpolation, tangentMode}.IsValid()) return Refuse(eBadInterpolation);
    if (period <= YTIME_ZERO) return Refuse(eBadPeriod);
    return yfc::Guarded([&] {
        target.CopyFrom(source);
        return true;
    });
}
