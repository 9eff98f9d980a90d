#include "host/curve_diff.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace host {
namespace {

bool IsSame(float a, float b)
{
    return a == b || (std::isnan(a) && std::isnan(b));
}

/// Looks at both curves at ascending times.
class Comparison
{
  public:
    Comparison(const YFCurve& a, const YFCurve& b) : mA(a), mB(b) {}

    void Look(YTime time)
    {
        const CurveDifference found{time, mA.Evaluate(time, &mHintA), mB.Evaluate(time, &mHintB)};
        if (IsSame(found.a, found.b) || found.Size() <= mSize) return;
        mLargest = found;
        mSize = found.Size();
    }

    void LookInside(YTime from, YTime to)
    {
        // A quarter at a time, as the whole may be too long to be multiplied.
        const std::uint64_t gap =
            static_cast<std::uint64_t>(to.Get()) - static_cast<std::uint64_t>(from.Get());
        if (gap < 4) return;
        for (std::uint64_t part = 1; part < 4; ++part) {
            const std::uint64_t ticks = static_cast<std::uint64_t>(from.Get()) + gap / 4 * part;
            Look(YTime(static_cast<std::int64_t>(ticks)));
        }
    }

    const std::optional<CurveDifference>& Largest() const { return mLargest; }

  private:
    const YFCurve& mA;
    const YFCurve& mB;
    int mHintA = 0;
    int mHintB = 0;
    double mSize = 0;
    std::optional<CurveDifference> mLargest;
};

YTime TimeOrEnd(const YFCurve& curve, int key)
{
    return key < curve.KeyGetCount() ? curve.KeyGetTime(key) : YTIME_INFINITE;
}

}  // namespace

double CurveDifference::Size() const
{
    if (IsSame(a, b)) return 0;
    const double size = std::abs(static_cast<double>(a) - static_cast<double>(b));
    return std::isnan(size) ? std::numeric_limits<double>::infinity() : size;
}

std::optional<CurveDifference> LargestDifference(const YFCurve& a, const YFCurve& b)
{
    Comparison comparison(a, b);
    const int keys = a.KeyGetCount() + b.KeyGetCount();
    if (keys == 0) comparison.Look(YTIME_ZERO);
    int nextA = 0;
    int nextB = 0;
    YTime last;
    while (nextA < a.KeyGetCount() || nextB < b.KeyGetCount()) {
        const YTime timeA = TimeOrEnd(a, nextA);
        const YTime timeB = TimeOrEnd(b, nextB);
        const YTime time = std::min(timeA, timeB);
        if (nextA + nextB > 0) comparison.LookInside(last, time);
        comparison.Look(time);
        nextA += timeA == time ? 1 : 0;
        nextB += timeB == time ? 1 : 0;
        last = time;
    }
    return comparison.Largest();
}

}  // namespace host
