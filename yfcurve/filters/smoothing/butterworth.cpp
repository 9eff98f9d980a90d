// A zero-phase Butterworth low-pass: Butterworth, "On the Theory of Filter Amplifiers", 1930; the bilinear
// transform with a cascade of second-order sections follows Oppenheim and Schafer, "Discrete-Time Signal
// Processing", chapters 6 and 7; filtering forwards and backwards for human motion goes back to Winter,
// "Biomechanics and Motor Control of Human Movement".
//
// The span is read at the internal rate, filtered in two arrays, and written as keys at the output rate. The
// values are those of a curve with a key at every sample, but these keys are not made (`FilteredCurve`).

#include "yfcurve/filters/framework/framerate.h"
#include "yfcurve/yfcurvefilterbutterworth.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <span>

#include "yfcurve/curve/edit/pieces.h"
#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/node/curves/framegrid.h"
#include "yfcurve/node/curves/resampledkey.h"
#include "yfcurve/yfcurveptr.h"
#include "yfcurve/yfcurvesettings.h"

namespace {

enum EStatus : int
{
    eBadSamplingRate = 0,
    eBadInterval = 1
};
constexpr const char* kMessages[] = {"Bad Sampling Rate", "Bad Interval"};

constexpr double kPi = 3.1415926535;
constexpr double kTwoPi = 6.283185307;
constexpr int kLeadCount = 250;  // samples before and after the span, for the filter to come to rest

int OrderOf(double order)
{
    if (!(order >= 1.0)) return 0;
    return static_cast<int>(std::min(order, double{YFCurveFilterButterworth::MaximumOrder}));
}

// From an earlier time to a later one; that may be more than a signed count holds.
std::uint64_t TicksBetween(YTime from, YTime to)
{
    return static_cast<std::uint64_t>(to.Get()) - static_cast<std::uint64_t>(from.Get());
}

// Not for not-a-number.
bool FitSinglePrecision(const double* values, int count)
{
    constexpr double largest = std::numeric_limits<float>::max();
    return std::all_of(values, values + count, [](double value) { return std::abs(value) <= largest; });
}

// The curve through all filtered samples, without its millions of keys: a slope of an auto key reaches no
// farther than to the next key. So a value is that of a sample, or of the four samples around it, and those
// before and after the span have to be there as well.
class FilteredCurve
{
  public:
    FilteredCurve(const double* values, YTime start, YTime step) : mValues(values), mStart(start), mStep(step)
    {
        for (int i = 0; i < kAround; ++i) mAround.KeyAppendFast(YTime(i), 0.0f);
    }

    float Evaluate(YTime time)
    {
        const std::int64_t index = (time - mStart) / mStep;
        if (TimeOf(index) == time) return ValueOf(index);
        for (int i = 0; i < kAround; ++i) {
            mAround.KeySetTime(i, TimeOf(index - 1 + i));
            mAround.KeySetValue(i, ValueOf(index - 1 + i));
        }
        return mAround.Evaluate(time);
    }

  private:
    static constexpr int kAround = 4;

    YTime TimeOf(std::int64_t index) const { return mStart + mStep * index; }
    float ValueOf(std::int64_t index) const { return static_cast<float>(mValues[index]); }

    const double* mValues;
    YTime mStart;
    YTime mStep;
    YFCurve mAround;
};

// The keys of a curve on both sides of a span, and how close to them others may come: half as far as those of
// the curve stand apart there, or those that are written. Nearer, a key of a filtered value would make a step
// of what the filter has taken away.
struct Surroundings
{
    int before;  // the last key before the span, -1 for none
    int after;   // the first one behind it, the key count for none
    YTime first;
    YTime last;

    Surroundings(const YFCurve& curve, YTime start, YTime stop, YTime period)
        : before(yfc::FirstKeyFrom(curve, start) - 1),
          after(yfc::LastKeyUntil(curve, stop) + 1),
          first(start),
          last(stop)
    {
        const int count = curve.KeyGetCount();
        const auto reach = [&](int left) {
            auto ticks = TicksBetween(YTIME_ZERO, period);
            if (left >= 0 && left + 1 < count) {
                ticks = std::min(ticks, TicksBetween(curve.KeyGetTime(left), curve.KeyGetTime(left + 1)));
            }
            return YTime(static_cast<std::int64_t>(ticks / 2));
        };
        if (before >= 0) first = std::max(start, curve.KeyGetTime(before) + reach(before));
        if (after < count) last = std::min(stop, curve.KeyGetTime(after) - reach(after - 1));
    }
};

// The slopes with which a curve meets a key; outside of its keys these are those of its extrapolation.
YFCurveSlopes ShownSlopes(const YFCurve& curve, int key)
{
    YFCurveSlopes slopes = YFCurveShape::SlopesAt(curve, key);
    const YTime time = curve.KeyGetTime(key);
    if (key == 0) slopes.left = curve.EvaluateLeftDerivative(time);
    if (key == curve.KeyGetCount() - 1) slopes.right = curve.EvaluateRightDerivative(time);
    return slopes;
}

}  // namespace

// What one application works with.
struct YFCurveFilterButterworth::Plan
{
    YTime start;
    YTime stop;
    YTime step;     // of the samples that are filtered
    YTime period;   // of the keys that are written
    int count = 0;  // of the samples in the span
};

// --- Parameters ----------------------------------------------------------------------------------------

YPropertyDescription YFCurveFilterButterworth::StartInit()
{
    return YPropertyOf<&YFCurveFilterButterworth::Start>(
        "Start", YTIME_MINUS_INFINITE,
        {.unit = "s", .help = "first time to filter; minus infinity: the first key"});
}

YPropertyDescription YFCurveFilterButterworth::StopInit()
{
    return YPropertyOf<&YFCurveFilterButterworth::Stop>(
        "Stop", YTIME_INFINITE, {.unit = "s", .help = "last time to filter; infinity: the last key"});
}

YPropertyDescription YFCurveFilterButterworth::CutOffFreqInit()
{
    return YPropertyOf<&YFCurveFilterButterworth::CutOffFreq>(
        "CutOffFreq", 7.0,
        {.minimum = 0.0,
         .aboveMinimum = true,
         .unit = "Hz",
         .help = "frequency of which half of the amplitude is left; below half the internal rate"});
}

YPropertyDescription YFCurveFilterButterworth::SamplingRateInit()
{
    return YPropertyOf<&YFCurveFilterButterworth::SamplingRate, &yfc::FrameRate>(
        "SamplingRate", {.minimum = 0.0,
                         .aboveMinimum = true,
                         .unit = "Hz",
                         .help = "keys written per second",
                         .ofFrames = true});
}

YPropertyDescription YFCurveFilterButterworth::KeysOnFrameInit()
{
    return YPropertyOf<&YFCurveFilterButterworth::KeysOnFrame>(
        "KeysOnFrame", true, {.help = "whether keys are written at whole multiples of their period"});
}

YPropertyDescription YFCurveFilterButterworth::OrderOfFilterInit()
{
    return YPropertyOf<&YFCurveFilterButterworth::OrderOfFilter>(
        "OrderOfFilter", 4.0,
        {.minimum = 1.0, .maximum = MaximumOrder, .help = "steepness: 6 dB an octave and a pass each"});
}

YPropertyDescription YFCurveFilterButterworth::InternalRateInit()
{
    return YPropertyOf<&YFCurveFilterButterworth::InternalRate, &YFCURVE_GetButterworthFilterInternalRate>(
        "InternalRate",
        {.minimum = 0.0, .aboveMinimum = true, .unit = "Hz", .help = "samples filtered per second"});
}

YClassDefinition& YFCurveFilterButterworth::StaticClass()
{
    static const YPropertyDescription properties[] = {
        StartInit(),       StopInit(),          CutOffFreqInit(),  SamplingRateInit(),
        KeysOnFrameInit(), OrderOfFilterInit(), InternalRateInit()};
    static constinit YClassDefinition definition("YFCurveFilterButterworth", &YFCurveFilter::StaticClass,
                                                 {.summary = "takes jitter out of motion by a low-pass",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterButterworth>});
    return definition;
}

YFCurveFilterButterworth::YFCurveFilterButterworth() : YFCurveFilterOf("FCurve Butterworth", kMessages, 2)
{
    Reset();
}

void YFCurveFilterButterworth::Reset()
{
    YFCurveFilterOf::Reset();
    mInitialInput = 0.0;
    mRestsOnFirstSample = false;
}

// --- The filter itself ---------------------------------------------------------------------------------

void YFCurveFilterButterworth::ComputeFilterCoefficients(double cutOff, double period, int order,
                                                         double coefficients[6][10], int* sections,
                                                         double* delay)
{
    order = std::min(order, MaximumOrder);
    double x = kPi * period * cutOff;
    if (std::abs(x) > kTwoPi) x -= 2.0 * kPi * std::trunc(0.5 * x / kPi);
    const double t = std::tan(x);
    const double t2 = t * t;
    *sections = order / 2 + order % 2;
    *delay = 0.0;
    const double half = order % 2 == 0 ? 0.5 : 0.0;
    for (int j = 1; j <= order / 2; ++j) {
        const double c = std::cos((j - half) * kPi / order);
        const double divisor = t2 + 1.0 + 2.0 * t * c;
        coefficients[1][j] = -(2.0 * (t2 - 1.0)) / divisor;
        coefficients[2][j] = -((1.0 - 2.0 * t * c + t2) / divisor);
        coefficients[3][j] = 2.0;
        coefficients[4][j] = 1.0;
        coefficients[5][j] = t2 / divisor;
        *delay += c * t * period / t2;
    }
    if (order > 0 && order % 2 != 0) {
        const int j = *sections;
        coefficients[1][j] = (1.0 - t) / (t + 1.0);
        coefficients[2][j] = 0.0;
        coefficients[3][j] = 1.0;
        coefficients[4][j] = 0.0;
        coefficients[5][j] = t / (t + 1.0);
        *delay += period / (2.0 * t);
    }
}

void YFCurveFilterButterworth::InitFilterMemory(double input, double coefficients[6][10], int sections,
                                                double memory[][10])
{
    for (int j = 1; j <= sections; ++j) {
        const double feedback = coefficients[1][j] + coefficients[2][j];
        const double w = input / (1.0 - coefficients[1][j] - coefficients[2][j]);
        memory[1][j] = w;
        memory[2][j] = w;
        input = coefficients[5][j] * (input + (feedback + coefficients[3][j] + coefficients[4][j]) * w);
    }
}

void YFCurveFilterButterworth::ButterworthFilter(double* output, double input, int sections,
                                                 double coefficients[6][10], double memory[][10])
{
    for (int j = 1; j <= sections; ++j) {
        const double w1 = memory[1][j];
        const double w2 = memory[2][j];
        const double w = input + coefficients[1][j] * w1 + coefficients[2][j] * w2;
        input = coefficients[5][j] * (w + coefficients[3][j] * w1 + coefficients[4][j] * w2);
        memory[2][j] = w1;
        memory[1][j] = w;
    }
    *output = input;
}

// --- Filtering -----------------------------------------------------------------------------------------

bool YFCurveFilterButterworth::MakePlan(const YFCurve& curve, Plan& plan)
{
    if (!(SamplingRate.Get() > 0.0)) return Refuse(eBadSamplingRate);
    if (curve.KeyGetCount() < 2) return NothingToDo(eBadInterval);
    plan.step.SetSecondDouble(1.0 / InternalRate.Get());
    plan.period.SetSecondDouble(1.0 / SamplingRate.Get());
    if (plan.step <= YTIME_ZERO || plan.period <= YTIME_ZERO) return Refuse(eBadSamplingRate);
    if (!(CutOffFreq.Get() > 0.0 && CutOffFreq.Get() < 0.5 * InternalRate.Get()))
        return Refuse(eBadSamplingRate);

    const auto isGiven = [](YTime time) { return time > YTIME_MINUS_INFINITE && time < YTIME_INFINITE; };
    plan.start = isGiven(Start.Get()) ? Start.Get() : curve.KeyGetTime(0);
    plan.stop = isGiven(Stop.Get()) ? Stop.Get() : curve.KeyGetTime(curve.KeyGetCount() - 1);
    if (plan.start >= plan.stop) return Refuse(eBadInterval);
    if (KeysOnFrame.Get()) {
        const yfc::FrameGrid grid(plan.period);
        const bool isThere = grid.Since(plan.start) == YTIME_ZERO;
        const YTime gap = isThere ? YTIME_ZERO : grid.FirstAfter(plan.start) - plan.start;
        if (TicksBetween(YTIME_ZERO, gap) >= TicksBetween(plan.start, plan.stop)) return Refuse(eBadInterval);
        plan.start += gap;
    }
    const auto room = TicksBetween(plan.start, plan.stop);
    if ((room - 1) / 2 < TicksBetween(YTIME_ZERO, plan.period)) return Refuse(eBadInterval);
    const std::uint64_t count = yfc::PeriodsBetween(plan.start, plan.stop, plan.step) + 1;
    const std::uint64_t keys = yfc::PeriodsBetween(plan.start, plan.stop, plan.period) + 1;
    if (std::max(count, keys) > std::uint64_t{MaximumSamples}) return Refuse(eBadInterval);
    plan.count = static_cast<int>(count);
    return true;
}

// The curve at the times of the samples, and before and after them straight on.
void YFCurveFilterButterworth::Sample(const YFCurve& curve, const Plan& plan, double* samples)
{
    int hint = 0;
    const auto valueAt = [&](YTime time) { return double{curve.Evaluate(time, &hint)}; };
    const YTime firstKey = curve.KeyGetTime(0);
    const YTime lastKey = curve.KeyGetTime(curve.KeyGetCount() - 1);

    const double first = valueAt(plan.start);
    const bool beginsBefore =
        plan.start >= firstKey && yfc::PeriodsBetween(firstKey, plan.start, plan.step) > 0;
    const double startSlope =
        beginsBefore ? first - valueAt(plan.start - plan.step) : valueAt(plan.start + plan.step) - first;
    for (int i = 0; i < kLeadCount; ++i) samples[i] = first - kLeadCount * startSlope + i * startSlope;

    double* const inside = samples + kLeadCount;
    float values[256];
    for (int done = 0; done < plan.count;) {
        const int count = std::min(plan.count - done, static_cast<int>(std::size(values)));
        curve.Evaluate(plan.start + plan.step * done, plan.step,
                       std::span(values, static_cast<std::size_t>(count)));
        std::copy_n(values, count, inside + done);
        done += count;
    }

    // A curve that ends within a step of the last sample has its slope there, at its very end.
    const double last = inside[plan.count - 1];
    const YTime lastTime = plan.start + plan.step * (plan.count - 1);
    const bool endsHere = lastKey >= lastTime && yfc::PeriodsBetween(lastTime, lastKey, plan.step) == 0;
    const YTime slopeTime = endsHere ? lastKey : lastTime;
    const double stopSlope = valueAt(slopeTime) - valueAt(slopeTime - plan.step);
    for (int i = 0; i < kLeadCount; ++i) inside[plan.count + i] = last + (i + 1) * stopSlope;
}

// Filters `count` samples from rest, in steps of 1 or -1.
void YFCurveFilterButterworth::FilterPass(const double* input, double* output, int count, int step)
{
    ComputeFilterCoefficients(CutOffFreq.Get(), 1.0 / InternalRate.Get(), OrderOf(OrderOfFilter.Get()),
                              mCoefficients, &mSections, &mDelay);
    InitFilterMemory(mRestsOnFirstSample ? *input : mInitialInput, mCoefficients, mSections, mMemory);
    for (; count > 0; --count) {
        ButterworthFilter(output, *input, mSections, mCoefficients, mMemory);
        input += step;
        output += step;
    }
}

// Exchanges the keys of the span for the filtered values at every period and at its end. The keys on both
// sides keep their slopes, so that only the segments between them and the span change outside of it.
void YFCurveFilterButterworth::Write(YFCurve& curve, const Plan& plan, const double* values)
{
    const YFCurve old(curve);
    const Surroundings kept(old, plan.start, plan.stop, plan.period);
    FilteredCurve filtered(values, plan.start, plan.step);
    const yfc::FrameGrid grid(plan.period);
    const auto periods = static_cast<int>(grid.CountBetween(plan.start, plan.stop));
    YFCurve keys;
    keys.KeyModifyBegin(periods + 2);
    const auto add = [&](YTime time) {
        if (time >= kept.first && time <= kept.last) keys.KeyAppendFast(time, filtered.Evaluate(time));
    };
    for (int i = 0; i <= periods; ++i) add(grid.On(plan.start, i));
    if (grid.On(plan.start, periods) < plan.stop) add(plan.stop);
    keys.KeyModifyEnd();

    const YFCurveModify modify(curve);
    const int last = old.KeyGetCount() - 1;
    YFCurvePieces::Assemble(
        curve, {{&old, 0, kept.before}, {&keys, 0, keys.KeyGetCount() - 1}, {&old, kept.after, last}}, false);
    const int after = kept.before + 1 + keys.KeyGetCount();
    if (kept.before >= 0) {
        YFCurveShape::Hold(curve, kept.before, ShownSlopes(old, kept.before));
    }
    if (kept.after <= last) YFCurveShape::Hold(curve, after, ShownSlopes(old, kept.after));
}

bool YFCurveFilterButterworth::FilterCurve(YFCurve& curve)
{
    Plan plan;
    if (!MakePlan(curve, plan)) return false;
    const int count = plan.count + 2 * kLeadCount;
    const auto size = static_cast<std::size_t>(count);
    const std::unique_ptr<double[]> samples(new double[size]);
    const std::unique_ptr<double[]> filtered(new double[size]);
    Sample(curve, plan, samples.get());
    FilterPass(samples.get(), filtered.get(), count, 1);
    FilterPass(&filtered[size - 1], &samples[size - 1], count, -1);
    // One more before the span and two behind it shape the curve between the samples at its ends.
    if (!FitSinglePrecision(&samples[kLeadCount - 1], plan.count + 3)) return Refuse(eBadInterval);
    Write(curve, plan, &samples[kLeadCount]);
    return true;
}
