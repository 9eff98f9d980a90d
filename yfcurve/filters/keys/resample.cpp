// Keys at a regular period; in intelligent mode without those that the curve does not need.
//
// Straight stretches are found by a cone of the slopes that stay within the tolerance of every sample since
// the start: Sklansky and Gonzalez, "Fast Polygonal Approximation of Digitized Curves", 1980. Slopes between
// the samples count as well, so that a wave of the sampling period is no straight line.

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/curve/rounding.h"
#include "yfcurve/curve/ticks.h"
#include "yfcurve/filters/framework/framerate.h"
#include "yfcurve/node/curves/framegrid.h"
#include "yfcurve/node/curves/resampledkey.h"
#include "yfcurve/yfcurvefilterresample.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurveutils.h"

namespace {

enum EMessage
{
    kBadPeriod = 0,
    kBadInterval = 1
};

constexpr const char* kMessages[] = {"Bad Period", "Bad Interval"};

// A quarter of a gigabyte of keys; more is a slip of the period.
constexpr std::uint64_t kMostPeriods = 1 << 24;

// How far from a straight line samples may be, as a fraction of the range of values.
constexpr double kStraightness = 1e-5;

// A cubic segment leaves its chord by at most 4/27 of each end's slope difference times the duration, so that
// with this factor both ends together stay within the tolerance.
constexpr double kSlopeShare = 27.0 / 8.0;

// Neighbours nearer than that are the two sides of a jump.
constexpr YTime kJump = YTime::FromSeconds(1e-5);

// What the curve is like at a time at which it may get a key.
struct Sample
{
    YTime time;
    float value;
    float left;  // slopes on the two sides
    float right;
    unsigned interpolation;  // of the segment behind it
    unsigned constantMode;
    bool needed;

    bool IsHeld() const { return yfc::KeyKind(interpolation).IsConstant(); }
};

// Whether a key stands a period or more from those around it, so that samples alone would miss what it does
// to the curve. Keys closer together are samples themselves. The two keys of a jump stand together.
bool StandsApart(const YFCurve& curve, int key, YTime period)
{
    const int last = curve.KeyGetCount() - 1;
    const YTime time = curve.KeyGetTime(key);
    int before = key - 1;
    int after = key + 1;
    if (before > 0 && time - curve.KeyGetTime(before) < kJump) --before;
    if (after < last && curve.KeyGetTime(after) - time < kJump) ++after;
    const auto reach = static_cast<double>(yfc::FrameGrid(period).Shortest().Get());
    return (before < 0 || yfc::Ticks(curve.KeyGetTime(before), time) >= reach) &&
           (after > last || yfc::Ticks(time, curve.KeyGetTime(after)) >= reach);
}

// Takes samples of a curve at times that grow.
class Sampler
{
  public:
    explicit Sampler(const YFCurve& curve) : mCurve(curve) {}

    Sample Take(YTime time, bool needed)
    {
        const int count = mCurve.KeyGetCount();
        while (mSegment + 1 < count && mCurve.KeyGetTime(mSegment + 1) <= time) ++mSegment;
        const bool inside = mSegment >= 0 && mSegment + 1 < count;
        Sample sample{time,
                      mCurve.Evaluate(time, &mHint),
                      mCurve.EvaluateLeftDerivative(time, &mHint),
                      mCurve.EvaluateRightDerivative(time, &mHint),
                      YFCURVE_INTERP_CUBIC,
                      YFCURVE_CONSTANT_STANDARD,
                      needed};
        if (inside) sample.interpolation = mCurve.KeyGetInterpolation(mSegment);
        if (sample.IsHeld()) sample.constantMode = mCurve.KeyGetConstantMode(mSegment);
        return sample;
    }

  private:
    const YFCurve& mCurve;
    int mHint = 0;
    int mSegment = -1;  // the segment that holds the last sample, -1 before the first key
};

// Samples at the times of a grid, and at the keys between them that stand apart.
std::vector<Sample> TakeSamples(const YFCurve& curve, const YFCurve& grid, YTime period)
{
    std::vector<Sample> samples;
    Sampler sampler(curve);
    int key = yfc::FirstKeyFrom(curve, grid.KeyGetTime(0));
    const int lastOfGrid = grid.KeyGetCount() - 1;
    for (int i = 0; i <= lastOfGrid; ++i) {
        const YTime time = grid.KeyGetTime(i);
        bool needed = i == 0 || i == lastOfGrid;
        for (; key < curve.KeyGetCount() && curve.KeyGetTime(key) <= time; ++key) {
            if (!StandsApart(curve, key, period)) continue;
            if (curve.KeyGetTime(key) == time) {
                needed = true;
            } else {
                samples.push_back(sampler.Take(curve.KeyGetTime(key), true));
            }
        }
        samples.push_back(sampler.Take(time, needed));
    }
    samples.front().left = samples.front().right;
    samples.back().right = samples.back().left;
    return samples;
}

double ToleranceFor(const std::vector<Sample>& samples)
{
    float low = samples.front().value;
    float high = low;
    for (const Sample& sample : samples) {
        low = std::min(low, sample.value);
        high = std::max(high, sample.value);
    }
    const double range = static_cast<double>(high) - low;
    const double rounding =
        2.0 * std::numeric_limits<float>::epsilon() * std::max(std::abs(low), std::abs(high));
    const double tolerance = std::max(kStraightness * range, rounding);
    return std::isfinite(tolerance) ? tolerance : 0.0;
}

// The slopes of the straight lines from a sample that no later one has ruled out.
class Cone
{
  public:
    Cone(const Sample& apex, double tolerance) : mApex(apex), mTolerance(tolerance) {}

    double SlopeTo(const Sample& sample) const
    {
        return (static_cast<double>(sample.value) - mApex.value) /
               yfc::SecondsBetween(mApex.time, sample.time);
    }
    bool Holds(double slope) const { return slope >= mLow && slope <= mHigh; }

    void PassBy(const Sample& sample)
    {
        Narrow(SlopeTo(sample), mTolerance / yfc::SecondsBetween(mApex.time, sample.time));
    }
    void Follow(float slope, double step) { Narrow(slope, kSlopeShare * mTolerance / step); }

  private:
    void Narrow(double slope, double leeway)
    {
        mLow = std::max(mLow, slope - leeway);
        mHigh = std::min(mHigh, slope + leeway);
    }

    const Sample& mApex;
    double mTolerance;
    double mLow = -std::numeric_limits<double>::infinity();
    double mHigh = std::numeric_limits<double>::infinity();
};

// The last sample that a straight line from sample `first` reaches, past samples that are not needed.
std::size_t EndOfStraight(const std::vector<Sample>& samples, std::size_t first, double tolerance)
{
    Cone cone(samples[first], tolerance);
    std::size_t reached = first;
    for (std::size_t i = first + 1; i < samples.size(); ++i) {
        const double step = yfc::SecondsBetween(samples[i - 1].time, samples[i].time);
        cone.Follow(samples[i - 1].right, step);
        cone.Follow(samples[i].left, step);
        if (!cone.Holds(cone.SlopeTo(samples[i]))) break;
        reached = i;
        if (samples[i].needed || samples[i].IsHeld()) break;
        cone.PassBy(samples[i]);
    }
    return reached;
}

// The same for a held value; one that is held ahead of its key may be another at each sample.
std::size_t EndOfHeld(const std::vector<Sample>& samples, std::size_t first)
{
    const Sample& start = samples[first];
    std::size_t end = first + 1;
    if (start.constantMode == YFCURVE_CONSTANT_NEXT) return end;
    while (end + 1 < samples.size() && !samples[end].needed && samples[end].IsHeld() &&
           samples[end].constantMode == start.constantMode && samples[end].value == start.value) {
        ++end;
    }
    return end;
}

YFCurveKey KeyOf(const Sample& sample)
{
    YFCurveKey key;
    const bool broken = yfc::SlopesDiffer(sample.left, sample.right);
    key.Set(sample.time, sample.value, sample.interpolation,
            broken ? YFCURVE_TANGENT_USER_BREAK : YFCURVE_TANGENT_USER, sample.right);
    if (sample.IsHeld()) key.SetConstantMode(sample.constantMode);
    return key;
}

// Builds a curve of the samples that are needed.
void KeepNeeded(const std::vector<Sample>& samples, YFCurve& result)
{
    const double tolerance = ToleranceFor(samples);
    const YFCurveModify modify(result);
    const std::size_t last = samples.size() - 1;
    int hint = 0;
    for (std::size_t i = 0; i < last;) {
        YFCurveKey key = KeyOf(samples[i]);
        const bool held = samples[i].IsHeld();
        const std::size_t end = held ? EndOfHeld(samples, i) : EndOfStraight(samples, i, tolerance);
        const std::size_t next = std::max(end, i + 1);
        if (!held && end > i + 1) key.SetInterpolation(YFCURVE_INTERP_LINEAR);
        key.SetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE, samples[next].left);
        result.KeyAdd(samples[i].time, key, &hint);
        i = next;
    }
    result.KeyAdd(samples[last].time, KeyOf(samples[last]), &hint);
}

}  // namespace

YClassDefinition& YFCurveFilterResample::StaticClass()
{
    using Filter = YFCurveFilterResample;
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&Filter::mKeysOnFrame>("KeysOnFrame", false,
                                           {.help = "sample at whole multiples of the period"}),
        YPropertyOf<&Filter::mPeriod, &yfc::OneFrame>("Period", {.minimum = 0.0,
                                                                 .aboveMinimum = true,
                                                                 .unit = "s",
                                                                 .help = "from sample to sample",
                                                                 .ofFrames = true}),
        YPropertyOf<&Filter::mIntelligentMode>("IntelligentMode", false,
                                               {.help = "set keys only where the curve needs them"}),
    };
    static constinit YClassDefinition definition(
        "YFCurveFilterResample", &YFCurveFilter::StaticClass,
        {.summary = "keys at a regular period", .properties = properties, .create = &YCreateObject<Filter>});
    return definition;
}

YFCurveFilterResample::YFCurveFilterResample() : YFCurveFilterOf("FCurve Resample", kMessages, 2)
{
    Reset();
}

bool YFCurveFilterResample::FilterCurve(YFCurve& curve)
{
    if (mPeriod <= YTIME_ZERO) return Refuse(kBadPeriod);
    const yfc::OuterKeys keys({&curve});
    const YTime start = GetStartTime() == YTIME_MINUS_INFINITE ? keys.first : GetStartTime();
    const YTime stop = GetStopTime() == YTIME_INFINITE ? keys.last : GetStopTime();
    const int count = curve.KeyGetCount();
    if (count == 0 || (count == 1 && start == stop)) return NothingToDo(kBadInterval);
    if (start >= stop || yfc::PeriodsBetween(start, stop, mPeriod) >= kMostPeriods)
        return Refuse(kBadInterval);
    return yfc::Guarded([&] {
        YFCurve samples;
        if (!YFCurveUtils::Resample(curve, samples, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_AUTO, mPeriod,
                                    start, stop, mKeysOnFrame)) {
            return false;
        }
        if (mIntelligentMode) {
            YFCurve needed;
            KeepNeeded(TakeSamples(curve, samples, mPeriod), needed);
            samples = needed;
        }
        const YFCurveModify modify(curve);
        curve.Replace(samples, start, stop);
        return true;
    });
}
