// The farthest distance between the values of two curves.
//
// Between two neighbouring key times of either curve the difference of two unweighted segments is one cubic
// polynomial, whose extremes the slopes at both ends give. A weighted segment is not a polynomial of time: it
// is sampled, evenly along the segment rather than in time, since its bends may be sharp, and the best of the
// samples are closed in on.

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

#include "yfcurve/curve/edit/replace.h"
#include "yfcurve/curve/guarded.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/curve/keysegment.h"
#include "yfcurve/curve/ticks.h"
#include "yfcurve/yfcurveutils.h"

namespace {

class Comparison
{
  public:
    /// \param start  where the distance counts as largest if there is none at all.
    Comparison(const YFCurve& first, const YFCurve& second, YTime start)
        : mFirst(first), mSecond(second), mLargest{0.0, start}
    {}

    const YFCurveDifference& Largest() const { return mLargest; }

    /// Looks at one time. Returns the difference as it counts.
    double CheckAt(YTime time)
    {
        const double distance = std::abs(SignedAt(time));
        if (distance > mLargest.value) mLargest = {distance, time};
        return distance;
    }

    /// Looks between two times with no key between them, and just beside them: values may jump there.
    /// \param probes  for weighted segments, times between the two, in any order
    void CheckBetween(YTime start, YTime stop, std::vector<YTime>& probes)
    {
        if (yfc::Ticks(start, stop) <= 2.0) {
            if (stop > start + YTIME_ONE_TICK) CheckAt(start + YTIME_ONE_TICK);
            return;
        }
        CheckAt(start + YTIME_ONE_TICK);
        CheckAt(stop - YTIME_ONE_TICK);
        if (probes.empty()) {
            CheckCubic(start, stop);
            return;
        }
        probes.push_back(start + YTIME_ONE_TICK);
        probes.push_back(stop - YTIME_ONE_TICK);
        CheckProbes(probes);
    }

  private:
    // A number against none is infinitely far; two of the same kind are not.
    double SignedAt(YTime time)
    {
        const float first = mFirst.Evaluate(time, &mFirstHint);
        const float second = mSecond.Evaluate(time, &mSecondHint);
        if (first == second || (std::isnan(first) && std::isnan(second))) return 0.0;
        const double difference = static_cast<double>(first) - second;
        return std::isnan(difference) ? std::numeric_limits<double>::infinity() : difference;
    }

    // The cubic through both ends with the slopes there: its derivative is a quadratic.
    void CheckCubic(YTime start, YTime stop)
    {
        const double duration = yfc::SecondsBetween(start, stop);
        const double from = SignedAt(start + YTIME_ONE_TICK);
        const double rise = SignedAt(stop - YTIME_ONE_TICK) - from;
        const double startSlope =
            duration * (mFirst.EvaluateRightDerivative(start, &mFirstHint) -
                        static_cast<double>(mSecond.EvaluateRightDerivative(start, &mSecondHint)));
        const double endSlope =
            duration * (mFirst.EvaluateLeftDerivative(stop, &mFirstHint) -
                        static_cast<double>(mSecond.EvaluateLeftDerivative(stop, &mSecondHint)));
        // d(u) = from + startSlope u + b u^2 + a u^3
        const double a = startSlope + endSlope - 2.0 * rise;
        const double b = 3.0 * rise - 2.0 * startSlope - endSlope;
        const double root = std::sqrt(b * b - 3.0 * a * startSlope);
        if (std::isnan(root)) return;
        // In the form that does not lose small roots to cancellation.
        const double q = -(b + std::copysign(root, b));
        for (const double share : {q / (3.0 * a), startSlope / q}) {
            if (share > 0.0 && share < 1.0) CheckAt(Between(start, stop, share));
        }
    }

    void CheckProbes(std::vector<YTime>& probes)
    {
        std::sort(probes.begin(), probes.end());
        const std::size_t last = probes.size() - 1;
        std::vector<double> distances;
        for (const YTime probe : probes) distances.push_back(CheckAt(probe));
        for (std::size_t i = 0; i <= last; ++i) {
            const std::size_t before = i > 0 ? i - 1 : i;
            const std::size_t after = i < last ? i + 1 : i;
            const bool highest = distances[i] >= distances[before] && distances[i] >= distances[after];
            if (highest && distances[i] > 0.0) CloseIn(probes[before], probes[after]);
        }
    }

    // Golden section search.
    void CloseIn(YTime start, YTime stop)
    {
        constexpr double section = 0.6180339887498949;
        double low = 0.0;
        double high = 1.0;
        for (int i = 0; i < 30 && yfc::Ticks(start, stop) > 2.0; ++i) {
            const double left = high - section * (high - low);
            const double right = low + section * (high - low);
            const bool upwards = CheckAt(Between(start, stop, left)) < CheckAt(Between(start, stop, right));
            if (upwards) {
                low = left;
            } else {
                high = right;
            }
        }
    }

    static YTime Between(YTime start, YTime stop, double share)
    {
        const auto ticks = static_cast<std::uint64_t>(share * yfc::Ticks(start, stop));
        const YTime time(static_cast<std::int64_t>(static_cast<std::uint64_t>(start.Get()) + ticks));
        return std::clamp(time, start + YTIME_ONE_TICK, stop - YTIME_ONE_TICK);
    }

    const YFCurve& mFirst;
    const YFCurve& mSecond;
    int mFirstHint = 0;
    int mSecondHint = 0;
    YFCurveDifference mLargest;
};

// The key times of a curve over a span, with what its extrapolation repeats, and where to look
// along weighted segments.
class KeyTimes
{
  public:
    KeyTimes(const YFCurve& curve, YTime start, YTime stop)
        : mSpelledOut(HasKeysFor(curve, start, stop) ? nullptr : WithExtrapolationKeys(curve, start, stop)),
          mKeys(mSpelledOut ? *mSpelledOut : curve),
          mNext(yfc::FirstKeyFrom(mKeys, start))
    {}

    // Infinity behind the last key.
    YTime Next() const { return mNext < mKeys.KeyGetCount() ? mKeys.KeyGetTime(mNext) : YTIME_INFINITE; }

    void Pass(YTime time)
    {
        while (Next() <= time && mNext < mKeys.KeyGetCount()) ++mNext;
    }

    // Times between two others that spread along the segment on the way to the next key, if it is weighted.
    void AddProbes(YTime start, YTime stop, std::vector<YTime>& probes) const
    {
        if (mNext == 0 || mNext >= mKeys.KeyGetCount()) return;
        if (!yfc::KeyKind(mKeys, mNext - 1).IsCubic() ||
            mKeys.KeyGetTangeantWeightMode(mNext - 1) == YFCURVE_WEIGHT_NONE) {
            return;
        }
        const yfc::CubicSegment segment = yfc::CubicSegmentAt(mKeys, mNext - 1);
        const YTime origin = mKeys.KeyGetTime(mNext - 1);
        const double from = segment.ParameterAt(yfc::SecondsBetween(origin, start));
        const double to = segment.ParameterAt(yfc::SecondsBetween(origin, stop));
        // A short part of a segment has fewer bends, but what it is compared with has some as well.
        const int parts = 12 + static_cast<int>(36.0 * (to - from));
        for (int i = 1; i < parts; ++i) {
            const YTime time = origin + YTime::FromSeconds(segment.Time(from + (to - from) * i / parts));
            if (time > start && time < stop) probes.push_back(time);
        }
    }

  private:
    // A short span of a long curve is not worth a copy of it.
    static bool HasKeysFor(const YFCurve& curve, YTime start, YTime stop)
    {
        const int last = curve.KeyGetCount() - 1;
        return last >= 0 && curve.KeyGetTime(0) <= start && curve.KeyGetTime(last) >= stop;
    }

    static std::unique_ptr<YFCurve> WithExtrapolationKeys(const YFCurve& curve, YTime start, YTime stop)
    {
        return std::make_unique<YFCurve>(YFCurveReplace::WithExtrapolationKeys(curve, start, stop));
    }

    const std::unique_ptr<YFCurve> mSpelledOut;
    const YFCurve& mKeys;
    int mNext;
};

// Makes infinite ends those of the keys; false where there is nothing to compare.
bool ResolveSpan(const YFCurve& first, const YFCurve& second, YTime& start, YTime& stop)
{
    const bool openStart = start == YTIME_MINUS_INFINITE;
    const bool openStop = stop == YTIME_INFINITE;
    yfc::OuterKeys keys({&first, &second});
    if (keys.IsEmpty()) keys.first = keys.last = openStart ? (openStop ? YTIME_ZERO : stop) : start;
    if (openStart) start = keys.first;
    if (openStop) stop = keys.last;
    return start <= stop;
}

YFCurveDifference Largest(const YFCurve& first, const YFCurve& second, YTime start, YTime stop)
{
    KeyTimes firstTimes(first, start, stop);
    KeyTimes secondTimes(second, start, stop);
    Comparison comparison(first, second, start);
    comparison.CheckAt(start);
    std::vector<YTime> probes;
    for (YTime time = start; time < stop;) {
        firstTimes.Pass(time);
        secondTimes.Pass(time);
        const YTime next = std::min({firstTimes.Next(), secondTimes.Next(), stop});
        probes.clear();
        firstTimes.AddProbes(time, next, probes);
        secondTimes.AddProbes(time, next, probes);
        comparison.CheckBetween(time, next, probes);
        comparison.CheckAt(next);
        time = next;
    }
    return comparison.Largest();
}

}  // namespace

bool YFCurveUtils::CompareCurve(const YFCurve& first, const YFCurve& second, double tolerance,
                                YFCurveDifference* largest, YTime start, YTime stop)
{
    if (largest) *largest = {};
    if (!ResolveSpan(first, second, start, stop)) return true;
    return yfc::Guarded([&] {
        const YFCurveDifference found = Largest(first, second, start, stop);
        if (largest) *largest = found;
        return found.value <= tolerance;
    });
}
