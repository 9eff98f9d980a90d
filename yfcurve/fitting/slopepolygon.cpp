// Clipping of a convex polygon by one half-plane after the other, as in Sutherland and Hodgman, "Reentrant
// Polygon Clipping", 1974.

#include "yfcurve/fitting/slopepolygon.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace yfc {

namespace {

constexpr std::size_t At(int i)
{
    return static_cast<std::size_t>(i);
}

SlopePair Between(const SlopePair& from, const SlopePair& to, double share)
{
    return {from.start + share * (to.start - from.start), from.end + share * (to.end - from.end)};
}

}  // namespace

SlopePolygon::SlopePolygon(const SlopeStrip& first, const SlopeStrip& second) : mCount(4)
{
    const double perDeterminant = 1.0 / (first.start * second.end - first.end * second.start);
    const auto meet = [&](double a, double b) {
        return SlopePair{(a * second.end - b * first.end) * perDeterminant,
                         (b * first.start - a * second.start) * perDeterminant};
    };
    mCorners[0] = meet(first.low, second.low);
    mCorners[1] = meet(first.high, second.low);
    mCorners[2] = meet(first.high, second.high);
    mCorners[3] = meet(first.low, second.high);
}

bool SlopePolygon::CutOff(const SlopeStrip& strip, double least, double most)
{
    if (!(least <= strip.high && most >= strip.low)) {
        mCount = 0;
        return false;
    }
    if (most > strip.high) CutHalf(strip.start, strip.end, strip.high);
    if (least < strip.low) CutHalf(-strip.start, -strip.end, -strip.low);
    return mCount > 0;
}

// The corners that go are neighbours, with one that stays.
void SlopePolygon::CutHalf(double start, double end, double most)
{
    std::array<double, kMostCorners> excess;
    std::array<SlopePair, kMostCorners> corners;
    const int count = mCount;
    int first = -1;
    for (int i = 0; i < count; ++i) {
        corners[At(i)] = mCorners[At(i)];
        excess[At(i)] = start * corners[At(i)].start + end * corners[At(i)].end - most;
        if (excess[At(i)] <= 0.0 && (first < 0 || excess[At(i - 1)] > 0.0)) first = i;
    }
    mCount = 0;
    if (first < 0) return;
    const auto next = [count](int i) { return i + 1 < count ? i + 1 : 0; };
    int last = first;
    for (;; last = next(last)) {
        Add(corners[At(last)]);
        if (excess[At(next(last))] > 0.0) break;
        if (next(last) == first) return;
    }
    const auto crossing = [&](int inside, int outside) {
        const double share = excess[At(inside)] / (excess[At(inside)] - excess[At(outside)]);
        Add(Between(corners[At(inside)], corners[At(outside)], share));
    };
    crossing(last, next(last));
    crossing(first, first > 0 ? first - 1 : count - 1);
}

// Without one of its corners a convex polygon is smaller, and what is left serves.
void SlopePolygon::Add(const SlopePair& corner)
{
    if (mCount < kMostCorners) mCorners[At(mCount++)] = corner;
}

const SlopePair& SlopePolygon::NearestTo(double end) const
{
    int nearest = 0;
    for (int i = 1; i < mCount; ++i) {
        if (std::abs((*this)[i].end - end) < std::abs((*this)[nearest].end - end)) nearest = i;
    }
    return (*this)[nearest];
}

template<double SlopePair::*along>
SlopeRange SlopePolygon::Project(const SlopeRange& range) const
{
    constexpr auto across = along == &SlopePair::start ? &SlopePair::end : &SlopePair::start;
    constexpr double infinity = std::numeric_limits<double>::infinity();
    SlopeRange result{infinity, -infinity};
    const auto take = [&](double value) {
        result.low = std::min(result.low, value);
        result.high = std::max(result.high, value);
    };
    for (int i = 0; i < mCount; ++i) {
        const SlopePair& from = (*this)[i];
        const SlopePair& to = (*this)[i + 1 < mCount ? i + 1 : 0];
        if (range.Contains(from.*along)) take(from.*across);
        for (const double bound : {range.low, range.high}) {
            if ((from.*along < bound) == (to.*along < bound)) continue;
            take(Between(from, to, (bound - from.*along) / (to.*along - from.*along)).*across);
        }
    }
    return result;
}

template SlopeRange SlopePolygon::Project<&SlopePair::start>(const SlopeRange&) const;
template SlopeRange SlopePolygon::Project<&SlopePair::end>(const SlopeRange&) const;

}  // namespace yfc
