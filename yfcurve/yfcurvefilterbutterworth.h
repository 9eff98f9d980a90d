#pragma once

#include "ybaselib/yproperty.h"
#include "yfcurve/yfcurvefilter.h"

/// \file
/// Low-pass filtering: takes jitter out of recorded motion without delaying it.

/// Samples a curve at a fixed rate, runs a Butterworth low-pass over the samples forwards and then backwards,
/// so that nothing is delayed, and writes keys at another rate. Both passes together leave half of the
/// amplitude at the cut-off frequency, and all of it well below.
///
///     YFCurveFilterButterworth filter;
///     filter.CutOffFreq.Set(6.0);
///     filter.SamplingRate.Set(30.0);
///     if (!filter.Apply(*curve)) puts(filter.GetLastErrorString());
///
/// The keys of the span are replaced by cubic auto keys, every period of the output rate from the start of
/// the span on and, where the last of them is earlier, at its end. Keys outside it stay, with their slopes;
/// from the last one before the span and to the first one behind it, a segment each leads into the filtered
/// motion and out of it. Where such a key is so close to the span that this would be a step (nearer than half
/// an output period, and than half the way to the next key that was there), keys nearer to it are left out.
///
/// Refused, with the curve as it was:
/// - status 0 for an output or internal rate that is not positive or too high for times to tell samples
///   apart, and for a cut-off frequency that is not above 0 and below half the internal rate, where the
///   filter would not be stable;
/// - status 1 for a curve of fewer than two keys, for a span that is not longer than two output periods or
///   holds more samples than `MaximumSamples` at either rate, for values that are not finite, and when memory
///   runs out.
///
/// One filter does not serve two threads: coefficients and state stand in the object.
class YFCURVE_EXPORT YFCurveFilterButterworth : public YFCurveFilterOf<YFCurveFilterButterworth>
{
  public:
    /// As many samples as one span may have: 19 hours at 240 samples a second.
    static constexpr int MaximumSamples = 1 << 24;
    /// Orders above it, which take more sections than the table holds, count as this one.
    static constexpr int MaximumOrder = 18;

    static YClassDefinition& StaticClass();

    YFCurveFilterButterworth();

    bool TakesJumpsForMotion() const override { return true; }

    // --- Parameters --------------------------------------------------------------------------------------

    /// The span, in place of the one that other filters have (`SetStartTime` means nothing here): minus
    /// infinity and infinity, the defaults, stand for the first and the last key.
    YPropertyT<YTime> Start;
    YPropertyT<YTime> Stop;
    /// The cut-off frequency in hertz; 7 at first, which suits bodies. 3 calms a camera, 12 keeps impacts.
    YPropertyT<double> CutOffFreq;
    /// Keys written per second; the frame rate of the current time mode at first.
    YPropertyT<double> SamplingRate;
    /// Whether the span begins with the first whole multiple of the output period in it, so that keys lie on
    /// frames; true at first. A key between the start and that multiple stays.
    YPropertyT<bool> KeysOnFrame;
    /// Each order makes the flank steeper by 6 dB an octave and a pass, and overshoot at jumps larger; 4 at
    /// first. The whole part counts; below 1 nothing is filtered, and the curve is just sampled.
    YPropertyT<double> OrderOfFilter;
    /// Samples per second inside; `YFCURVE_GetButterworthFilterInternalRate` at the time of the reset. The
    /// filter comes to rest on 250 samples before and after the span; where these last less than about seven
    /// periods of the cut-off frequency, `SetInitialInput` says what to do about the ends.
    YPropertyT<double> InternalRate;

    // The descriptions of the properties, as the class registers them.
    static YPropertyDescription StartInit();
    static YPropertyDescription StopInit();
    static YPropertyDescription CutOffFreqInit();
    static YPropertyDescription SamplingRateInit();
    static YPropertyDescription KeysOnFrameInit();
    static YPropertyDescription OrderOfFilterInit();
    static YPropertyDescription InternalRateInit();

    /// The value that the filter is at rest on when a pass begins; 0 at first. With a low cut-off frequency
    /// the way from there to the values still shows at the ends of the span: set it to about where the curve
    /// starts and ends.
    double GetInitialInput() const { return mInitialInput; }
    void SetInitialInput(double value) { mInitialInput = value; }
    /// Whether each pass begins at rest on its first sample instead, so that a constant stays one whatever
    /// its value and the cut-off frequency; false at first.
    bool GetRestsOnFirstSample() const { return mRestsOnFirstSample; }
    void SetRestsOnFirstSample(bool rests) { mRestsOnFirstSample = rests; }

    // --- Filtering ---------------------------------------------------------------------------------------

    void Reset() override;

    // --- The filter itself -------------------------------------------------------------------------------
    // A cascade of sections in direct form II: columns 1 to `sections` of the tables, column 0 is unused.
    // Rows of the coefficients: 1 and 2 feedback (a1, a2), 3 and 4 feed-forward (b1, b2, with b0 = 1), 5
    // gain; rows of the memory: 1 the last state and 2 the one before; row 0 of both is unused.

    /// The bilinear-transform design, warped so that the cut-off frequency is met exactly.
    /// \param cutOff    in hertz; the filter is stable when it is above 0 and below half the sampling rate.
    /// \param period    of the samples, in seconds.
    /// \param order     counts as `MaximumOrder` above that; below 1 there are no sections.
    /// \param sections  receives their number: second-order ones first, then for an odd order one of first
    ///                  order.
    /// \param delay     receives the delay of one pass at low frequencies as far as the design tells it, in
    ///                  seconds.
    static void ComputeFilterCoefficients(double cutOff, double period, int order, double coefficients[6][10],
                                          int* sections, double* delay);
    /// Sets the memory to rest on a steady input.
    /// \param memory  three rows.
    static void InitFilterMemory(double input, double coefficients[6][10], int sections, double memory[][10]);
    /// Filters one sample; without sections the output is the input.
    static void ButterworthFilter(double* output, double input, int sections, double coefficients[6][10],
                                  double memory[][10]);

  protected:
    bool FilterCurve(YFCurve& curve) override;

  private:
    struct Plan;

    bool MakePlan(const YFCurve& curve, Plan& plan);
    static void Sample(const YFCurve& curve, const Plan& plan, double* samples);
    void FilterPass(const double* input, double* output, int count, int step);
    static void Write(YFCurve& curve, const Plan& plan, const double* values);

    double mInitialInput = 0.0;
    bool mRestsOnFirstSample = false;
    double mCoefficients[6][10] = {};
    double mMemory[3][10] = {};
    int mSections = 0;
    double mDelay = 0.0;
};
