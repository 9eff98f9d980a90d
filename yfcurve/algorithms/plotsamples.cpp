#include "yfcurve/algorithms/plotsamples.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/node/keykind.h"

namespace yfc {
namespace {

constexpr YTime kTick(1);

// More is a slip of the period: a plot holds all samples at once.
constexpr std::uint64_t kMostPlotSamples = 1 << 24;

// What single precision makes of values, with some of it added up.
constexpr double kRounding = 4e-7;

// A step that is that many times those beside it is no motion but a jump.
constexpr double kOutlier = 4.0;

class Sampling
{
  public:
    Sampling(PlotSamples& samples, PlotStack& stack, const PlotMotion& motion, const PlotGrid& grid)
        : mSamples(samples),
          mStack(stack),
          mMotion(motion),
          mGrid(grid),
          mStep(std::max(grid.period / grid.samplesPerPeriod, kTick))
    {}

    eYFCurvePlotStatus Run(YFCurvePlotReport& report)
    {
        if (!MakeTimes()) return eYFCurvePlotStatus::BadSpan;
        if (mGrid.precise && !FindJumpsAtKeys()) return eYFCurvePlotStatus::NoSource;
        if (!Take()) return eYFCurvePlotStatus::NoSource;
        if (mGrid.precise) {
            const std::size_t known = mSamples.times.size();
            if (!FindJumpsBetween()) return eYFCurvePlotStatus::NoSource;
            if (mSamples.times.size() != known && !Take()) return eYFCurvePlotStatus::NoSource;
        }
        MarkJumps();
        return Judge(report);
    }

  private:
    static std::size_t At(int i) { return static_cast<std::size_t>(i); }
    int Count() const { return mStack.GetCount(); }

    // --- Times ---

    bool MakeTimes()
    {
        const YTime anchor = mGrid.onFrame ? LastMultipleUntil(mGrid.start, mGrid.period) : mGrid.start;
        const std::uint64_t periods = PeriodsBetween(anchor, mGrid.stop, mGrid.period) + 1;
        const auto perPeriod = static_cast<std::uint64_t>(mGrid.samplesPerPeriod);
        if (periods > kMostPlotSamples / perPeriod) return false;
        AddTime(mGrid.start, 0);
        for (std::uint64_t i = 0; i < periods; ++i) {
            const YTime frame = anchor + mGrid.period * static_cast<std::int64_t>(i);
            for (std::uint64_t k = 0; k < perPeriod; ++k) {
                const YTime part = mGrid.period * static_cast<std::int64_t>(k) / mGrid.samplesPerPeriod;
                if (part > mGrid.stop - frame) break;
                AddTime(frame + part, k == 0 ? std::uint8_t{kSampleOnFrame} : std::uint8_t{0});
            }
        }
        AddTime(mGrid.stop, 0);
        AddKeyTimes();
        return true;
    }

    void AddTime(YTime time, std::uint8_t mark)
    {
        if (time < mGrid.start || time > mGrid.stop) return;
        if (mSamples.times.empty() || time > mSamples.times.back()) {
            mSamples.times.push_back(time);
            mSamples.marks.push_back(mark);
        } else if (time == mSamples.times.back()) {
            mSamples.marks.back() |= mark;
        }
    }

    // Keys take the place of samples very near to them, which would say little of the slopes there. Of keys
    // that crowd together only those that are a step apart get samples, and the two sides of a jump.
    void AddKeyTimes()
    {
        if (mGrid.samplesPerPeriod < 2) return;
        const YTime near = mStep / 4;
        std::vector<YTime> keys;
        for (const YTime time : mGrid.keyTimes) {
            if (time < mGrid.start || time > mGrid.stop) continue;
            if (!keys.empty() && time - keys.back() <= near && time - keys.back() > kTick) continue;
            keys.push_back(time);
        }
        PlotSamples merged;
        std::size_t key = 0;
        for (std::size_t i = 0; i < mSamples.times.size(); ++i) {
            const YTime time = mSamples.times[i];
            for (; key < keys.size() && keys[key] < time; ++key) Keep(merged, keys[key], kSampleAtKey);
            const bool isEnd = i == 0 || i + 1 == mSamples.times.size();
            const bool isKey = key < keys.size() && keys[key] == time;
            const bool crowded =
                (key < keys.size() && keys[key] - time < near) || (key > 0 && time - keys[key - 1] < near);
            if (crowded && !isEnd && !isKey) continue;
            Keep(merged, time, isKey ? mSamples.marks[i] | kSampleAtKey : mSamples.marks[i]);
            if (isKey) ++key;
        }
        mSamples.times = std::move(merged.times);
        mSamples.marks = std::move(merged.marks);
    }

    static void Keep(PlotSamples& samples, YTime time, int marks)
    {
        samples.times.push_back(time);
        samples.marks.push_back(static_cast<std::uint8_t>(marks));
    }

    // Adds times that are not there yet.
    void Insert(std::vector<YTime> times)
    {
        std::sort(times.begin(), times.end());
        times.erase(std::unique(times.begin(), times.end()), times.end());
        PlotSamples merged;
        std::size_t next = 0;
        for (std::size_t i = 0; i < mSamples.times.size(); ++i) {
            for (; next < times.size() && times[next] < mSamples.times[i]; ++next) {
                Keep(merged, times[next], 0);
            }
            if (next < times.size() && times[next] == mSamples.times[i]) ++next;
            Keep(merged, mSamples.times[i], mSamples.marks[i]);
        }
        mSamples.times = std::move(merged.times);
        mSamples.marks = std::move(merged.marks);
    }

    // --- Values ---

    bool Ask(double* total, YTime time)
    {
        return mMotion(total, time) &&
               std::all_of(total, total + Count(), [](double value) { return std::isfinite(value); });
    }

    bool Take()
    {
        const std::size_t count = mSamples.times.size();
        const auto width = At(Count());
        mSamples.components = Count();
        mSamples.totals.resize(count * width);
        mSamples.values.resize(count * width);
        for (std::size_t s = 0; s < count; ++s) {
            double* const total = mSamples.totals.data() + s * width;
            double* const values = mSamples.values.data() + s * width;
            if (!Ask(total, mSamples.times[s])) return false;
            mStack.Solve(values, total, mSamples.times[s], s > 0 ? values - width : nullptr);
        }
        return true;
    }

    // How far the layer's values are from one time to another, at both of which the motion was asked.
    double Step(const double* first, const double* second) const
    {
        double largest = 0.0;
        for (int i = 0; i < Count(); ++i) largest = std::max(largest, std::abs(first[i] - second[i]));
        return largest;
    }

    bool ValuesAt(std::vector<double>& values, YTime time, const double* near)
    {
        std::vector<double> total(At(Count()));
        values.resize(At(Count()));
        if (!Ask(total.data(), time)) return false;
        mStack.Solve(values.data(), total.data(), time, near);
        return true;
    }

    // --- Jumps ---

    bool FindJumpsAtKeys()
    {
        std::vector<YTime> found;
        std::vector<double> at, before, after;
        for (const YTime time : mGrid.keyTimes) {
            if (time < mGrid.start || time > mGrid.stop) continue;
            if (!ValuesAt(at, time, nullptr)) return false;
            if (time > mGrid.start) {
                if (!ValuesAt(before, time - kTick, at.data())) return false;
                if (Step(before.data(), at.data()) > mGrid.tolerance) {
                    found.push_back(time - kTick);
                    found.push_back(time);
                }
            }
            if (time < mGrid.stop) {
                if (!ValuesAt(after, time + kTick, at.data())) return false;
                if (Step(at.data(), after.data()) > mGrid.tolerance) {
                    found.push_back(time);
                    found.push_back(time + kTick);
                }
            }
        }
        if (!found.empty()) Insert(std::move(found));
        return true;
    }

    double StepBehind(int sample) const
    {
        if (sample < 0 || sample + 1 >= mSamples.GetCount()) return 0.0;
        return Step(mSamples.Values(sample), mSamples.Values(sample + 1));
    }

    bool StandsOut(int sample) const
    {
        const double beside = std::max(StepBehind(sample - 1), StepBehind(sample + 1));
        return StepBehind(sample) > kOutlier * beside + mGrid.tolerance;
    }

    YTime Gap(int sample) const { return mSamples.times[At(sample + 1)] - mSamples.times[At(sample)]; }

    // Jumps that nobody announces: closes in on the tick between two samples that are far apart.
    bool FindJumpsBetween()
    {
        std::vector<YTime> found;
        for (int s = 0; s + 1 < mSamples.GetCount(); ++s) {
            if (Gap(s) <= kTick || !StandsOut(s)) continue;
            YTime low = mSamples.times[At(s)];
            YTime high = mSamples.times[At(s + 1)];
            std::vector<double> atLow(mSamples.Values(s), mSamples.Values(s) + Count());
            std::vector<double> atHigh(mSamples.Values(s + 1), mSamples.Values(s + 1) + Count());
            std::vector<double> middle;
            while (high - low > kTick && Step(atLow.data(), atHigh.data()) > mGrid.tolerance) {
                const YTime time = low + (high - low) / 2;
                if (!ValuesAt(middle, time, atLow.data())) return false;
                const bool upper = Step(atLow.data(), middle.data()) < Step(middle.data(), atHigh.data());
                (upper ? low : high) = time;
                (upper ? atLow : atHigh) = middle;
            }
            if (high - low > kTick || Step(atLow.data(), atHigh.data()) <= mGrid.tolerance) continue;
            found.push_back(low);
            found.push_back(high);
        }
        if (!found.empty()) Insert(std::move(found));
        return true;
    }

    void MarkJumps()
    {
        for (int s = 0; s + 1 < mSamples.GetCount(); ++s) {
            const bool isJump = Gap(s) <= kTick || (mGrid.samplesPerPeriod > 1 && StandsOut(s));
            if (isJump) mSamples.marks[At(s)] |= kSampleBeforeJump;
        }
    }

    // --- Judgement ---

    // How much of a change of the layer's values reaches the total.
    void FindTolerances(int s, const std::vector<double>& reached)
    {
        const double* values = mSamples.Values(s);
        double* tolerances = mSamples.tolerances.data() + mSamples.Row(s);
        // Some is left for what is between the samples; and angles of one orientation add up.
        constexpr double shareOfValue = 0.8;
        constexpr double shareOfAngle = 0.45;
        const double whole = mGrid.tolerance * (mStack.IsRotation() ? shareOfAngle : shareOfValue);
        const std::vector<double> effects = EffectsOf(values, reached, mSamples.times[At(s)]);
        double& rounding = mSamples.roundings[At(s)];
        for (int i = 0; i < Count(); ++i) {
            const double effect = effects[At(i)];
            rounding += kRounding * (std::abs(mSamples.Total(s)[i]) + effect * std::abs(values[i]));
            tolerances[i] = effect > 0.0 ? whole / effect + kRounding * std::abs(values[i])
                                         : std::numeric_limits<double>::infinity();
        }
    }

    // What a small change of each value makes of the total, as a factor.
    std::vector<double> EffectsOf(const double* values, std::vector<double> reached, YTime time) const
    {
        std::vector<double> effects(At(Count()), 1.0);
        if (mStack.ComparesOrientations()) return effects;
        std::vector<double> moved(values, values + Count());
        for (double& value : moved) value += ProbeFor(value);
        std::vector<double> changed(At(Count()));
        mStack.EvaluateWith(changed.data(), moved.data(), time);
        const auto effect = [&](std::size_t i) {
            return std::abs(changed[i] - reached[i]) / ProbeFor(values[i]);
        };
        for (std::size_t i = 0; i < effects.size(); ++i) effects[i] = effect(i);
        if (!mStack.HasAbove()) return effects;
        mStack.GoOn(changed.data(), time);
        mStack.GoOn(reached.data(), time);
        for (std::size_t i = 0; i < effects.size(); ++i) effects[i] = std::max(effects[i], effect(i));
        return effects;
    }

    static double ProbeFor(double value) { return 1e-3 * std::max(1.0, std::abs(value)); }

    eYFCurvePlotStatus Judge(YFCurvePlotReport& report)
    {
        mSamples.tolerances.resize(mSamples.values.size());
        mSamples.roundings.assign(mSamples.times.size(), 0.0);
        std::vector<double> reached(At(Count()));
        for (int s = 0; s < mSamples.GetCount(); ++s) {
            const double* total = mSamples.Total(s);
            mStack.EvaluateWith(reached.data(), mSamples.Values(s), mSamples.times[At(s)]);
            double allowed = mGrid.tolerance;
            for (int i = 0; i < Count(); ++i) allowed += kRounding * std::abs(total[i]);
            const double distance = mStack.Distance(reached.data(), total, mSamples.times[At(s)]);
            if (!(distance <= allowed)) {
                report.largestDifference = distance;
                report.time = mSamples.times[At(s)];
                return eYFCurvePlotStatus::Unreachable;
            }
            FindTolerances(s, reached);
        }
        return eYFCurvePlotStatus::Done;
    }

    PlotSamples& mSamples;
    PlotStack& mStack;
    const PlotMotion& mMotion;
    const PlotGrid& mGrid;
    const YTime mStep;
};

}  // namespace

eYFCurvePlotStatus TakeSamples(PlotSamples& samples, PlotStack& stack, const PlotMotion& motion,
                               const PlotGrid& grid, YFCurvePlotReport& report)
{
    return Sampling(samples, stack, motion, grid).Run(report);
}

}  // namespace yfc
