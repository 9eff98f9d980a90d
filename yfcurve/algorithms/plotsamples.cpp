// Half a dozen evaluations of the layers at each sample: the motion, its jumps at keys, the values on the
// layer and what a change of them does, and the comparison at the end. So plotting takes time in proportion
// to the samples, whatever the motion.

#include "yfcurve/algorithms/plotsamples.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>

#include "ybaselib/rotation/rotationorder.h"
#include "yfcurve/curve/rounding.h"
#include "yfcurve/node/curves/framegrid.h"

namespace yfc {
namespace {

// More is a slip of the period: a plot holds all samples at once.
constexpr std::uint64_t kMostPlotSamples = 1 << 24;

class Sampling
{
  public:
    Sampling(PlotSamples& samples, PlotTarget& stack, const PlotMotion& motion, const PlotGrid& grid)
        : mSamples(samples), mStack(stack), mMotion(motion), mGrid(grid)
    {
        mSamples.apart = grid.period / grid.samplesPerPeriod / 4;
        // Curves are fitted to a little less than is allowed, as storing their values rounds them.
        constexpr double shareOfCurves = 0.99;
        mSamples.within = shareOfCurves * kShareAtSamples * grid.tolerance;
    }

    eYFCurvePlotStatus Run(YFCurvePlotReport& report)
    {
        if (!MakeTimes()) return eYFCurvePlotStatus::BadSpan;
        if (!(SeesJumps() ? TakeWithJumps() : Take())) return eYFCurvePlotStatus::NoSource;
        return Judge(report);
    }

  private:
    static std::size_t At(int i) { return static_cast<std::size_t>(i); }
    int Count() const { return mStack.GetCount(); }

    // --- Times ---

    bool MakeTimes()
    {
        const FrameGrid grid(mGrid.period);
        const YTime anchor = mGrid.onFrame ? grid.LastUntil(mGrid.start) : mGrid.start;
        const std::uint64_t periods = grid.CountBetween(anchor, mGrid.stop) + 1;
        const auto perPeriod = static_cast<std::uint64_t>(mGrid.samplesPerPeriod);
        if (periods > kMostPlotSamples / perPeriod) return false;
        AddTime(mGrid.start, 0);
        for (std::uint64_t i = 0; i < periods; ++i) {
            const YTime frame = grid.On(anchor, static_cast<std::int64_t>(i));
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

    void AddKeyTimes()
    {
        if (mGrid.samplesPerPeriod < 2) return;
        Insert(mGrid.keyTimes);
        std::size_t s = 0;
        for (const YTime key : mGrid.keyTimes) {
            while (s < mSamples.times.size() && mSamples.times[s] < key) ++s;
            if (s < mSamples.times.size() && mSamples.times[s] == key) mSamples.marks[s] |= kSampleAtKey;
        }
    }

    static void Keep(PlotSamples& samples, YTime time, int marks)
    {
        samples.times.push_back(time);
        samples.marks.push_back(static_cast<std::uint8_t>(marks));
    }

    // Adds those of the times, in order, that are not there yet.
    void Insert(const std::vector<YTime>& times)
    {
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

    // How far the layer's values are from one time to another.
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

    // A plot at a fixed rate takes no notice of jumps, unless they are to stay where they are.
    bool SeesJumps() const { return mGrid.precise || mGrid.samplesPerPeriod > 1; }

    bool TakeWithJumps()
    {
        if (!FindJumpsAtKeys()) return false;
        if (mGrid.precise) InsertJumps();
        if (!Take()) return false;
        MarkJumps();
        const std::size_t known = mJumps.size();
        if (!FindJumpsBetween()) return false;
        if (mJumps.size() == known) return true;
        if (mGrid.precise) {
            InsertJumps();
            if (!Take()) return false;
        }
        MarkJumps();
        return true;
    }

    // Whether values on the layer make totals that the tolerance does not allow. Those that single precision
    // hardly tells apart, as nearly all do a tick from each other, are none.
    bool AreApart(const std::vector<double>& first, const std::vector<double>& second, YTime time) const
    {
        const auto isSame = [](double one, double other) {
            return std::abs(one - other) <= kValueRounding * std::max(std::abs(one), std::abs(other));
        };
        if (std::equal(first.begin(), first.end(), second.begin(), isSame)) return false;
        std::vector<double> firstTotal(first.size());
        std::vector<double> secondTotal(first.size());
        mStack.EvaluateWith(firstTotal.data(), first.data(), time);
        mStack.EvaluateWith(secondTotal.data(), second.data(), time);
        return mStack.Distance(firstTotal.data(), secondTotal.data(), time) > mGrid.tolerance;
    }

    bool FindJumpsAtKeys()
    {
        std::vector<double> at, before, after;
        for (const YTime time : mGrid.keyTimes) {
            if (!ValuesAt(at, time, nullptr)) return false;
            if (time > mGrid.start) {
                if (!ValuesAt(before, time - YTIME_ONE_TICK, at.data())) return false;
                if (AreApart(before, at, time)) mJumps.push_back(time - YTIME_ONE_TICK);
            }
            if (time < mGrid.stop) {
                if (!ValuesAt(after, time + YTIME_ONE_TICK, at.data())) return false;
                if (AreApart(at, after, time)) mJumps.push_back(time);
            }
        }
        return true;
    }

    // Jumps that the motion does not announce: closes in on the tick between two samples that are far apart.
    bool FindJumpsBetween()
    {
        std::vector<double> atLow, atHigh, middle;
        for (int s = 0; s + 1 < mSamples.GetCount(); ++s) {
            if (mSamples.Has(s, kSampleBeforeJump) || !StandsOut(s)) continue;
            YTime low = mSamples.times[At(s)];
            YTime high = mSamples.times[At(s + 1)];
            atLow.assign(mSamples.Values(s), mSamples.Values(s) + Count());
            atHigh.assign(mSamples.Values(s + 1), mSamples.Values(s + 1) + Count());
            while (high - low > YTIME_ONE_TICK && AreApart(atLow, atHigh, low)) {
                const YTime time = low + (high - low) / 2;
                if (!ValuesAt(middle, time, atLow.data())) return false;
                const bool upper = Step(atLow.data(), middle.data()) < Step(middle.data(), atHigh.data());
                YTime& bound = upper ? low : high;
                std::vector<double>& atBound = upper ? atLow : atHigh;
                bound = time;
                atBound = middle;
            }
            if (AreApart(atLow, atHigh, low)) mJumps.push_back(low);
        }
        return true;
    }

    // Whether a value moves much faster, or slower, to the next sample than on both sides of that.
    bool StandsOut(int sample) const
    {
        for (int i = 0; i < Count(); ++i) {
            const double here = RateBehind(sample, i);
            const bool isFirst = sample == 0 || mSamples.Has(sample - 1, kSampleBeforeJump);
            const bool isLast =
                sample + 2 >= mSamples.GetCount() || mSamples.Has(sample + 1, kSampleBeforeJump);
            const double before = isFirst && isLast ? 0.0 : RateBehind(isFirst ? sample + 1 : sample - 1, i);
            const double after = isLast ? before : RateBehind(sample + 1, i);
            const double beyond = std::max(here - std::max(before, after), std::min(before, after) - here);
            if (beyond * SecondsBehind(sample) > mGrid.tolerance) return true;
        }
        return false;
    }

    double SecondsBehind(int sample) const
    {
        return (mSamples.times[At(sample + 1)] - mSamples.times[At(sample)]).GetSecondDouble();
    }

    double RateBehind(int sample, int component) const
    {
        return (mSamples.Value(sample + 1, component) - mSamples.Value(sample, component)) /
               SecondsBehind(sample);
    }

    void InsertJumps()
    {
        std::vector<YTime> sides;
        for (const YTime time : mJumps) sides.insert(sides.end(), {time, time + YTIME_ONE_TICK});
        std::sort(sides.begin(), sides.end());
        sides.erase(std::unique(sides.begin(), sides.end()), sides.end());
        Insert(sides);
    }

    void MarkJumps()
    {
        for (const YTime time : mJumps) {
            const auto behind = std::upper_bound(mSamples.times.begin(), mSamples.times.end(), time);
            mSamples.marks[static_cast<std::size_t>(behind - mSamples.times.begin()) - 1] |=
                kSampleBeforeJump;
        }
    }

    // --- Judgement ---

    // How much of a change of the layer's values reaches the total.
    void FindTolerances(int s, const std::vector<double>& reached)
    {
        const double* values = mSamples.Values(s);
        double* tolerances = mSamples.tolerances.data() + mSamples.Row(s);
        const double whole = mSamples.within * (mStack.IsRotation() ? ShareOfAngle(values) : 1.0);
        const std::vector<double> effects = EffectsOf(values, reached, mSamples.times[At(s)]);
        double& rounding = mSamples.roundings[At(s)];
        for (int i = 0; i < Count(); ++i) {
            const double effect = effects[At(i)];
            rounding += kValueRounding * (std::abs(mSamples.Total(s)[i]) + effect * std::abs(values[i]));
            tolerances[i] = effect > 0.0 ? whole / effect + kValueRounding * std::abs(values[i])
                                         : std::numeric_limits<double>::infinity();
        }
    }

    // The share of the tolerance that each of three angles may be off such that the orientation is within it, even
    // if all three are off at once. The axis of the second turn is perpendicular to the other two; the sine of the
    // second angle is the cosine between those.
    double ShareOfAngle(const double* angles) const
    {
        const double middle = angles[ybase::AxesOf(mStack.GetOrder()).second];
        return 1.0 / std::sqrt(3.0 + 2.0 * std::abs(std::sin(middle * std::numbers::pi / 180.0)));
    }

    // What a small change of each value makes of the total, as a factor. Angles of an orientation count in
    // full, or not at all.
    std::vector<double> EffectsOf(const double* values, std::vector<double> reached, YTime time) const
    {
        std::vector<double> moved(values, values + Count());
        for (double& value : moved) value += ProbeFor(value);
        std::vector<double> changed(At(Count()));
        mStack.EvaluateWith(changed.data(), moved.data(), time);
        if (mStack.ComparesOrientations()) {
            const bool shows = mStack.Distance(changed.data(), reached.data(), time) > 0.0;
            return std::vector<double>(At(Count()), shows ? 1.0 : 0.0);
        }
        std::vector<double> effects(At(Count()));
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
            for (int i = 0; i < Count(); ++i) allowed += kValueRounding * std::abs(total[i]);
            const double distance = mStack.Distance(reached.data(), total, mSamples.times[At(s)]);
            if (!(distance <= allowed)) {
                report.largestDifference = distance;
                report.time = mSamples.times[At(s)];
                return mStack.WhyUnreachable(report.time);
            }
            FindTolerances(s, reached);
        }
        return eYFCurvePlotStatus::Done;
    }

    PlotSamples& mSamples;
    PlotTarget& mStack;
    const PlotMotion& mMotion;
    const PlotGrid& mGrid;
    std::vector<YTime> mJumps;  // the last tick before each
};

}  // namespace

eYFCurvePlotStatus TakeSamples(PlotSamples& samples, PlotTarget& stack, const PlotMotion& motion,
                               const PlotGrid& grid, YFCurvePlotReport& report)
{
    return Sampling(samples, stack, motion, grid).Run(report);
}

}  // namespace yfc
