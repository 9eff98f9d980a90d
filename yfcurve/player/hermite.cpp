// Loops that the compiler makes vectors of: one source, and a copy for each width that processors have, of
// which the loader takes the widest.
//
// The loop over common key times waits for keys in single precision to be converted, which is most of what a
// channel costs. So `clippacking.cpp` keeps such keys in double precision where they are few enough for the
// caches.

#include "yfcurve/player/hermite.h"

#include "ybaselib/core/standardlibrary.h"

// Not under sanitizers: the loader chooses a copy before their runtime is set up, which would crash.
#if defined(__x86_64__) && defined(__ELF__) && !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__) && !defined(__clang__)
#define YFC_ANY_WIDTH __attribute__((target_clones("avx512f", "avx2", "default")))
#else
#define YFC_ANY_WIDTH
#endif

namespace yfc {

namespace {

// Copies of the pointers and of the weights, or else writing the values might change them.
template<class Number, class Choice>
[[gnu::always_inline]] inline void Blend(const RowPairOf<Number>& rows, std::size_t count,
                                         const HermiteWeights& weights, float* values, const Choice& choose)
{
    const Number* __restrict startValues = rows.startValues;
    const Number* __restrict startSlopes = rows.startSlopes;
    const Number* __restrict endValues = rows.endValues;
    const Number* __restrict endSlopes = rows.endSlopes;
    float* __restrict result = values;
    const HermiteWeights w = weights;
    for (std::size_t i = 0; i < count; ++i) {
        const float value = Blended(w, startValues[i], startSlopes[i], endValues[i], endSlopes[i]);
        result[i] = choose(value, startValues[i], startSlopes[i]);
    }
}

constexpr auto kAsBlended = [](float value, auto, auto) { return value; };

// By bits: a choice between floats would be a branch.
constexpr auto kStartWhereHeld = [](float value, float startValue, float startSlope) {
    constexpr auto holds = ybase::bit_cast<std::uint32_t>(kHolds);
    const auto isHeld = std::uint32_t{ybase::bit_cast<std::uint32_t>(startSlope) == holds};
    const std::uint32_t mask = 0u - isHeld;
    return ybase::bit_cast<float>((ybase::bit_cast<std::uint32_t>(startValue) & mask) |
                                  (ybase::bit_cast<std::uint32_t>(value) & ~mask));
};

}  // namespace

YFC_ANY_WIDTH void BlendRows(const RowPair& rows, std::size_t count, const HermiteWeights& weights,
                             float* values)
{
    Blend(rows, count, weights, values, kAsBlended);
}

YFC_ANY_WIDTH void BlendWideRows(const WideRowPair& rows, std::size_t count, const HermiteWeights& weights,
                                 float* values)
{
    Blend(rows, count, weights, values, kAsBlended);
}

YFC_ANY_WIDTH void BlendRowsThatHold(const RowPair& rows, std::size_t count, const HermiteWeights& weights,
                                     float* values)
{
    Blend(rows, count, weights, values, kStartWhereHeld);
}

YFC_ANY_WIDTH void ExtendRow(const float* ends, const float* slopes, std::size_t count, double seconds,
                             float* values)
{
    const float* __restrict from = ends;
    const float* __restrict by = slopes;
    float* __restrict result = values;
    for (std::size_t i = 0; i < count; ++i) result[i] = OnLine(from[i], by[i], seconds);
}

YFC_ANY_WIDTH void BlendSegments(const SegmentArrays& segments, std::size_t count, double time, float* values)
{
    const float* __restrict startValues = segments.startValues;
    const float* __restrict endValues = segments.endValues;
    const float* __restrict startSlopes = segments.startSlopes;
    const float* __restrict endSlopes = segments.endSlopes;
    const double* __restrict starts = segments.starts;
    const double* __restrict perTick = segments.perTick;
    const double* __restrict seconds = segments.seconds;
    float* __restrict result = values;
    for (std::size_t i = 0; i < count; ++i) {
        const HermiteWeights weights = WeightsAt((time - starts[i]) * perTick[i], seconds[i]);
        result[i] = Blended(weights, startValues[i], startSlopes[i], endValues[i], endSlopes[i]);
    }
}

YFC_ANY_WIDTH std::size_t CountUntil(const std::int64_t* times, std::size_t count, std::int64_t time)
{
    std::int64_t found = 0;
    for (std::size_t i = 0; i < count; ++i) found += std::int64_t{times[i] <= time};
    return static_cast<std::size_t>(found);
}

// Whole numbers below 2 to the 52nd become doubles by standing in the fraction of one: not every width has
// an instruction for it.
YFC_ANY_WIDTH void SampleSegment(const OneSegment& segment, const YTime* times, std::size_t count,
                                 float* values)
{
    static_assert(sizeof(YTime) == sizeof(std::int64_t));
    constexpr std::uint64_t exponent = 0x4330000000000000u;
    float* __restrict result = values;
    const YTime* __restrict at = times;
    const OneSegment s = segment;
    const auto start = static_cast<std::uint64_t>(s.start.Get());
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint64_t ticks = static_cast<std::uint64_t>(at[i].Get()) - start;
        const double elapsed = ybase::bit_cast<double>(ticks | exponent) - 0x1p52;
        const HermiteWeights weights = WeightsAt(elapsed * s.perTick, s.seconds);
        result[i] = Blended(weights, s.startValue, s.startSlope, s.endValue, s.endSlope);
    }
}

}  // namespace yfc
