#pragma once

#include <cstddef>
#include <cstdint>

#include "ybaselib/ytime.h"

/// \file
/// The one formula that all players evaluate, and its loops over many channels or many times.
///
/// Sums and products stand in one order and are never fused, so that vectors of any width and single values
/// agree in every bit. It is worked out in double precision from what keys store in single precision: values,
/// and slopes in units per second. That takes 8 bytes a key where coefficients would take 16, and loses
/// nothing where these would cancel.

namespace yfc {

/// What the ends of a segment count for at a moment.
struct HermiteWeights
{
    double startValue;
    double endValue;
    double startSlope;
    double endSlope;
};

/// \param fraction  of the segment that has passed.
/// \param seconds   its duration.
[[gnu::always_inline]] inline HermiteWeights WeightsAt(double fraction, double seconds)
{
    const double rest = 1.0 - fraction;
    const double endValue = (fraction * fraction) * (3.0 - 2.0 * fraction);
    const double both = (fraction * rest) * seconds;
    return {1.0 - endValue, endValue, both * rest, both * fraction};
}

[[gnu::always_inline]] inline float Blended(const HermiteWeights& weights, double startValue,
                                            double startSlope, double endValue, double endSlope)
{
    const double values = weights.startValue * startValue + weights.endValue * endValue;
    const double slopes = weights.startSlope * startSlope - weights.endSlope * endSlope;
    return static_cast<float>(values + slopes);
}

[[gnu::always_inline]] inline float OnLine(double value, double slope, double seconds)
{
    return static_cast<float>(value + slope * seconds);
}

/// Stands for the slope behind a key whose value holds until the next key.
inline constexpr float kHolds = __builtin_inff();

/// Neighbouring keys of many channels, in single or in double precision; the latter saves the loop the
/// conversion.
template<class Number>
struct RowPairOf
{
    const Number* startValues;
    const Number* startSlopes;
    const Number* endValues;
    const Number* endSlopes;
};
using RowPair = RowPairOf<float>;
using WideRowPair = RowPairOf<double>;

void BlendRows(const RowPair& rows, std::size_t count, const HermiteWeights& weights, float* values);
void BlendWideRows(const WideRowPair& rows, std::size_t count, const HermiteWeights& weights, float* values);
/// The same where a start slope may be `kHolds`.
void BlendRowsThatHold(const RowPair& rows, std::size_t count, const HermiteWeights& weights, float* values);

void ExtendRow(const float* ends, const float* slopes, std::size_t count, double seconds, float* values);

/// The current segments of many channels, each with times of its own. Times are in ticks, exact.
struct SegmentArrays
{
    float* startValues;
    float* endValues;
    float* startSlopes;
    float* endSlopes;
    double* starts;
    double* perTick;  ///< the reciprocal of the duration; 0 where the start value holds
    double* seconds;
};

void BlendSegments(const SegmentArrays& segments, std::size_t count, double time, float* values);

/// How many of some ascending times are not later than a time. Few of them are counted in less time than it
/// takes to guess wrongly in a search.
std::size_t CountUntil(const std::int64_t* times, std::size_t count, std::int64_t time);

/// One segment at many times in it.
struct OneSegment
{
    float startValue;
    float endValue;
    float startSlope;
    float endSlope;
    double perTick;
    double seconds;
    YTime start;
};

/// The longest segment, in ticks, whose times can be told in vectors.
inline constexpr std::int64_t kLongestSampled = std::int64_t{1} << 52;

void SampleSegment(const OneSegment& segment, const YTime* times, std::size_t count, float* values);

}  // namespace yfc
