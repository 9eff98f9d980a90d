#pragma once

#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

#include "yfcurve/algorithms/plottarget.h"
#include "yfcurve/yfcurveplot.h"

/// \file
/// Motion as samples: what a property is to be, and what a layer has to hold for it.

namespace yfc {

/// The share of the tolerance that a smart plot uses at samples. The rest is for errors between samples.
inline constexpr double kShareAtSamples = 0.95;

/// Gives the values that a property is to have at a time of its own; false ends the plot.
using PlotMotion = std::function<bool(double* total, YTime time)>;

/// Where and how densely motion is sampled.
struct PlotGrid
{
    YTime start;
    YTime stop;
    YTime period;
    int samplesPerPeriod;
    bool onFrame;                 ///< periods count from time 0, not from the start
    bool precise;                 ///< samples one tick apart on both sides of a jump
    double tolerance;             ///< of the total
    std::vector<YTime> keyTimes;  ///< of the curves behind the motion, in order
};

enum ESampleMark : std::uint8_t
{
    kSampleOnFrame = 1,
    kSampleAtKey = 2,      ///< one of the motion's curves has a key there
    kSampleBeforeJump = 4  ///< one of the values jumps between it and the next sample
};

struct PlotSamples
{
    int components = 0;
    double within = 0.0;  // of the totals, units or degrees
    YTime apart;          // samples nearer to each other say little of the slope there
    std::vector<YTime> times;
    std::vector<std::uint8_t> marks;
    // Component after component of the first sample, then of the next.
    std::vector<double> totals;
    std::vector<double> values;      // of the layer
    std::vector<double> tolerances;  // of these; infinity where they make no difference
    std::vector<double> roundings;   // of the total, by sample: what single precision makes of the values

    int GetCount() const { return static_cast<int>(times.size()); }
    bool Has(int sample, ESampleMark mark) const { return (marks[Index(sample)] & mark) != 0; }
    const double* Total(int sample) const { return totals.data() + Row(sample); }
    const double* Values(int sample) const { return values.data() + Row(sample); }
    double Value(int sample, int component) const { return Values(sample)[component]; }
    double Tolerance(int sample, int component) const { return tolerances[Row(sample) + Index(component)]; }
    /// Whether a component jumps between a sample and the next.
    bool JumpsBehind(int sample, int component) const
    {
        return Has(sample, kSampleBeforeJump) &&
               std::abs(Value(sample + 1, component) - Value(sample, component)) >
                   Tolerance(sample, component);
    }

    static std::size_t Index(int i) { return static_cast<std::size_t>(i); }
    std::size_t Row(int sample) const { return Index(sample) * Index(components); }
};

/// Takes the samples. `report` gets the difference that no values on the layer avoid.
eYFCurvePlotStatus TakeSamples(PlotSamples& samples, PlotTarget& stack, const PlotMotion& motion,
                               const PlotGrid& grid, YFCurvePlotReport& report);

}  // namespace yfc
