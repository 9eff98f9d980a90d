// Of many pairs of weights few are tried: those that come nearest to some samples of the source, by least
// squares over the two slopes. The samples stand at fixed shares of the duration, so that for each pair what the slopes
// add there is the same for every segment, and is made orthonormal once.

#include "yfcurve/fitting/servingsegments.h"

#include <algorithm>
#include <cmath>

#include "yfcurve/fitting/segmenttime.h"

namespace yfc {

namespace {

// In the units that keys store. Shorter tangents would hide corners, and with longer ones time would nearly stand
// still in between.
constexpr int kWeights[] = {3333, 1000, 1500, 2000, 2600, 4000, 4700, 5400, 6100, 6800, 7500, 8200};
constexpr int kWeightCount = 12;
constexpr int kPairCount = kWeightCount * kWeightCount;

TangentWeights WeightsOf(int number)
{
    const auto stored = [](int units) { return static_cast<float>(units * (1.0 / YFCURVE_STEPS_TO_ONE)); };
    return {stored(kWeights[number / kWeightCount]), stored(kWeights[number % kWeightCount])};
}

using Samples = std::array<double, kSegmentSamples>;

double Product(const Samples& a, const Samples& b)
{
    double sum = 0.0;
    for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
    return sum;
}

void Scale(Samples& a, double factor)
{
    for (double& sample : a) sample *= factor;
}

// What a segment with a pair of weights can be at the samples.
class PairFit
{
  public:
    PairFit() = default;
    explicit PairFit(const TangentWeights& weights)
    {
        const SegmentTime time(weights);
        for (std::size_t i = 0; i < mBase.size(); ++i) {
            const double u = time.ParameterAt(SegmentFit::SampleShare(static_cast<int>(i)));
            const double rest = 1.0 - u;
            mBase[i] = u * u * (3.0 - 2.0 * u);
            mStart[i] = rest * rest * u;
            mEnd[i] = rest * u * u;
        }
        Scale(mStart, 1.0 / std::sqrt(Product(mStart, mStart)));
        const double common = Product(mStart, mEnd);
        for (std::size_t i = 0; i < mEnd.size(); ++i) mEnd[i] -= common * mStart[i];
        Scale(mEnd, 1.0 / std::sqrt(Product(mEnd, mEnd)));
    }

    // The least sum of squares by which it misses samples.
    double MissOf(const Samples& values, double rise) const
    {
        Samples rest;
        for (std::size_t i = 0; i < rest.size(); ++i) rest[i] = values[i] - rise * mBase[i];
        const double byStart = Product(rest, mStart);
        const double byEnd = Product(rest, mEnd);
        return Product(rest, rest) - byStart * byStart - byEnd * byEnd;
    }

  private:
    Samples mBase;
    Samples mStart;
    Samples mEnd;
};

const std::array<PairFit, kPairCount>& PairFits()
{
    static const std::array<PairFit, kPairCount> fits = [] {
        std::array<PairFit, kPairCount> all;
        for (int i = 0; i < kPairCount; ++i) all[static_cast<std::size_t>(i)] = PairFit(WeightsOf(i));
        return all;
    }();
    return fits;
}

}  // namespace

void ServingSegments::Try(const SegmentFit& segments, int from, int to, const TangentWeights& weights)
{
    const auto next = static_cast<std::size_t>(mCount);
    mWeights[next] = weights;
    if (segments.Find(from, to, weights, mSlopes[next])) ++mCount;
}

bool ServingSegments::Find(const SegmentFit& segments, int from, int to, bool weighted)
{
    mCount = 0;
    Try(segments, from, to, {});
    if (weighted) {
        const TangentWeights own = segments.OwnWeights(from, to);
        if (!own.AreDefault()) Try(segments, from, to, own);
        TryGuesses(segments, from, to);
    }
    return mCount > 0;
}

void ServingSegments::TryGuesses(const SegmentFit& segments, int from, int to)
{
    struct Guess
    {
        double miss;
        int pair;
    };
    const SegmentFit::Sampling sampling = segments.Sample(from, to);
    const std::array<PairFit, kPairCount>& fits = PairFits();
    std::array<Guess, kGuesses> best;
    best.fill({sampling.mostMiss, 0});
    for (int pair = 1; pair < kPairCount; ++pair) {
        Guess guess{fits[static_cast<std::size_t>(pair)].MissOf(sampling.values, sampling.rise), pair};
        for (Guess& other : best) {
            if (guess.miss < other.miss) std::swap(guess, other);
        }
    }
    for (const Guess& guess : best) {
        if (guess.pair != 0) Try(segments, from, to, WeightsOf(guess.pair));
    }
}

}  // namespace yfc
