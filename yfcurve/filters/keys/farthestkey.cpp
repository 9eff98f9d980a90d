// Branch and bound: runs of keys are looked at from the one that may be missed most on, and not at all where
// they cannot be missed by more than a key that was found. (Land and Doig, "An Automatic Method of Solving
// Discrete Programming Problems", 1960, have the principle.)
//
// That is for motion where every split takes one key off the end of its range, such as a swing from key to
// key that grows: looking at each key would take the square of their number. Where values drift by more
// within a run than they are missed by, no run can be passed over.

#include "yfcurve/filters/keys/farthestkey.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "yfcurve/curve/pool/keyblocks.h"
#include "yfcurve/curve/ticks.h"

namespace yfc {
namespace {

// Fewer keys than that are looked at one by one.
constexpr int kFewKeys = 2 * ValueBounds::kRunKeys;

// How far a value in single precision may be from what the bounds are worked out with, as a share of the
// polynomial's coefficients: half a unit in the last place is 6e-8, and the rest is far below.
constexpr double kRounding = 1e-7;
constexpr double kSmallestRounding = std::numeric_limits<float>::denorm_min();

// Coefficients that are larger, or not numbers, are not worked with.
constexpr double kLargest = 1e37;

class Search
{
  public:
    Search(const ValueBounds& bounds, const CubicEnds& segment, double ticks, int first, int last)
        : mBounds(bounds),
          mCurve(bounds.GetCurve()),
          mSegment(segment),
          mTicks(ticks),
          mFirst(first),
          mLast(last),
          mStart(mCurve.KeyGetTime(first)),
          mFarthest(first)
    {
        const double duration = ticks * kSecondsPerTick;
        const double rise = segment.endValue - segment.startValue;
        mLinear = segment.startSlope * duration;
        mCubic = (mLinear - rise) + (segment.endSlope * duration - rise);
        mSquare = (rise - mLinear) - mCubic;
        const double size =
            std::abs(segment.startValue) + std::abs(mLinear) + std::abs(mSquare) + std::abs(mCubic);
        mHasBounds = size < kLargest;
        mAllowance = kRounding * size + kSmallestRounding;
    }

    void Run()
    {
        const int top = mBounds.GetLevelCount() - 1;
        if (mHasBounds && mLast - mFirst > kFewKeys) {
            LookAtRuns(top, 0, mBounds.GetRunCount(top) - 1);
        } else {
            LookAt(mFirst + 1, mLast - 1);
        }
    }

    double GetLargest() const { return mLargest; }
    int GetFarthest() const { return mFarthest; }

  private:
    double Fraction(int key) const { return Ticks(mStart, mCurve.KeyGetTime(key)) / mTicks; }

    // As the curve evaluates the segment.
    void LookAt(int first, int last)
    {
        if (first > last) return;
        double largest = mLargest;
        const YPriFCurveKey* key = mCurve.InternalPriKeyGetPtr(first);
        for (int i = first; i <= last; ++i, ++key) {
            if (i % kKeysPerBlock == 0) key = mCurve.InternalPriKeyGetPtr(i);
            const float value = EvaluateCubic(mSegment, mTicks, Ticks(mStart, key->GetTime()) / mTicks);
            const double difference = static_cast<double>(value) - key->GetValue();
            const double error = difference * difference;
            if (!(error >= largest) || (error == largest && i > mFarthest)) continue;
            largest = error;
            mFarthest = i;
        }
        mLargest = largest;
    }

    struct Candidate
    {
        double bound;
        int first;
        int last;
        int run;
    };

    // Neighbouring runs of one level, at most as many as make up one of the next.
    void LookAtRuns(int level, int firstRun, int lastRun)
    {
        int keys = ValueBounds::kRunKeys;
        for (int i = 0; i < level; ++i) keys *= ValueBounds::kFanOut;
        Candidate candidates[ValueBounds::kFanOut];  // the one that may be missed most first
        int count = 0;
        for (int run = firstRun; run <= lastRun; ++run) {
            const int first = std::max(run * keys, mFirst + 1);
            const int last = std::min(run * keys + keys - 1, mLast - 1);
            if (first > last) continue;
            const double bound = Bound(mBounds.Get(level, run), first, last);
            int place = count++;
            for (; place > 0 && candidates[place - 1].bound < bound; --place)
                candidates[place] = candidates[place - 1];
            candidates[place] = {bound, first, last, run};
        }
        for (int i = 0; i < count && candidates[i].bound >= mLargest; ++i) {
            if (level == 0) {
                LookAt(candidates[i].first, candidates[i].last);
                continue;
            }
            const int below = candidates[i].run * ValueBounds::kFanOut;
            LookAtRuns(level - 1, below,
                       std::min(below + ValueBounds::kFanOut, mBounds.GetRunCount(level - 1)) - 1);
        }
    }

    // No key from one to another is missed by more (squared). The segment between is within its Bezier
    // points.
    double Bound(ValueBounds::Bounds values, int first, int last) const
    {
        const double from = Fraction(first);
        const double to = Fraction(last);
        const double start = Value(from);
        const double end = Value(to);
        const double afterStart = start + (to - from) / 3.0 * Slope(from);
        const double beforeEnd = end - (to - from) / 3.0 * Slope(to);
        const auto [least, greatest] = std::minmax({start, afterStart, beforeEnd, end});
        const double above = greatest + mAllowance - values.least;
        const double below = values.greatest - (least - mAllowance);
        const double bound = std::max(above, below);
        return bound * bound;
    }

    double Value(double u) const { return mSegment.startValue + u * (mLinear + u * (mSquare + u * mCubic)); }
    double Slope(double u) const { return mLinear + u * (2.0 * mSquare + u * 3.0 * mCubic); }

    const ValueBounds& mBounds;
    const YFCurve& mCurve;
    CubicEnds mSegment;
    double mTicks;
    int mFirst;
    int mLast;
    YTime mStart;

    double mLinear, mSquare, mCubic;  // of the segment as a polynomial in the fraction of its duration
    double mAllowance;
    bool mHasBounds;

    double mLargest = 0.0;
    int mFarthest;
};

}  // namespace

ValueBounds::ValueBounds(const YFCurve& curve) : mCurve(curve)
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    const auto include = [](std::vector<Bounds>& level, int index, int fanOut, Bounds added) {
        if (index % fanOut == 0) level.push_back({infinity, -infinity});
        Bounds& run = level.back();
        run = {std::min(run.least, added.least), std::max(run.greatest, added.greatest)};
    };
    mLevels.emplace_back();
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const float value = curve.KeyGetValue(i);
        include(mLevels[0], i, kRunKeys,
                std::isfinite(value) ? Bounds{value, value} : Bounds{-infinity, infinity});
    }
    while (mLevels.back().size() > kFanOut) {
        std::vector<Bounds> next;
        for (int i = 0; i < GetRunCount(GetLevelCount() - 1); ++i)
            include(next, i, kFanOut, Get(GetLevelCount() - 1, i));
        mLevels.push_back(std::move(next));
    }
}

double FindFarthestKey(const ValueBounds& bounds, const CubicEnds& segment, double ticks, int first, int last,
                       int& farthest)
{
    Search search(bounds, segment, ticks, first, last);
    search.Run();
    if (search.GetLargest() > 0.0) farthest = search.GetFarthest();
    return search.GetLargest();
}

}  // namespace yfc
