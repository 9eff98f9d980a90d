#pragma once

#include <cstdint>

#include "ybaselib/ytime.h"

/// \file
/// Sums and differences of times, which may be more than a signed count of ticks holds.

namespace yfc {

inline bool SumOverflows(YTime a, YTime b)
{
    std::int64_t sum;
    return __builtin_add_overflow(a.Get(), b.Get(), &sum);
}

inline bool DifferenceOverflows(YTime a, YTime b)
{
    std::int64_t difference;
    return __builtin_sub_overflow(a.Get(), b.Get(), &difference);
}

/// The ticks from one time to a later one, which may be more than a signed count holds.
inline double Ticks(YTime from, YTime to)
{
    return static_cast<double>(static_cast<std::uint64_t>(to.Get()) - static_cast<std::uint64_t>(from.Get()));
}

/// From one time to another that may be earlier, below zero then: hosts may put keys out of order.
inline double SignedTicks(YTime from, YTime to)
{
    std::int64_t ticks;
    if (!__builtin_sub_overflow(to.Get(), from.Get(), &ticks)) return static_cast<double>(ticks);
    return to < from ? -Ticks(to, from) : Ticks(from, to);
}

/// The same in seconds.
inline double SecondsBetween(YTime from, YTime to)
{
    return SignedTicks(from, to) / static_cast<double>(YTIME_TICKS_PER_SECOND);
}

}  // namespace yfc
