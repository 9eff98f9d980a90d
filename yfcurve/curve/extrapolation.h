#pragma once

#include <algorithm>
#include <cstdint>

#include "ybaselib/ytime.h"
#include "yfcurve/yfcurve.h"

/// \file
/// What times outside the keys show, for all that evaluates curves.

namespace yfc {

__extension__ using Wide = __int128;  // products of times and counts leave 64 bits

inline bool Repeats(std::uint32_t mode)
{
    return mode == YFCURVE_EXTRAPOLATION_REPETITION || mode == YFCURVE_EXTRAPOLATION_MIRROR_REPETITION;
}

/// Whether the copy so many periods from the keys, negative before them, runs backwards.
inline bool IsMirrored(std::uint32_t mode, Wide copy)
{
    return mode == YFCURVE_EXTRAPOLATION_MIRROR_REPETITION && copy % 2 != 0;
}

/// Whether that copy of a curve's keys does.
inline bool IsMirrored(const YFCurve& curve, Wide copy)
{
    return IsMirrored(copy < 0 ? curve.GetPreExtrapolation() : curve.GetPostExtrapolation(), copy);
}

/// Whether a curve with a mode and a count on one side of its keys goes on moving there, see
/// `YFCurve::MovesOutside`.
inline bool MovesOutside(std::uint32_t mode, std::uint32_t count)
{
    return count != 0 && (Repeats(mode) || mode == YFCURVE_EXTRAPOLATION_KEEP_SLOPE);
}

/// Whether what a curve shows there depends on more than the end of its keys on that side: it repeats them, or
/// stops after some lengths of them.
inline bool RepeatsOutside(const YFCurve& curve, bool before)
{
    const std::uint32_t mode = before ? curve.GetPreExtrapolation() : curve.GetPostExtrapolation();
    const std::uint32_t count = before ? curve.GetPreExtrapolationCount() : curve.GetPostExtrapolationCount();
    return curve.MovesOutside(before) && (Repeats(mode) || count != YFCURVE_EXTRAPOLATION_UNLIMITED);
}

/// How far an extrapolation reaches: its count of periods, or without limit. A limit beyond the range of
/// time is the last whole period that fits into `room`, the time left on that side.
inline Wide ReachOf(std::uint32_t count, Wide period, Wide room)
{
    constexpr Wide never = Wide{1} << 100;
    if (count == YFCURVE_EXTRAPOLATION_UNLIMITED) return never;
    return std::min(Wide{count}, room / period) * period;
}

inline Wide RoomBefore(YTime time)
{
    return Wide{time.Get()} - INT64_MIN;
}
inline Wide RoomAfter(YTime time)
{
    return Wide{INT64_MAX} - time.Get();
}

/// The first and the last key's time, and how a curve goes on outside them on one side.
struct Outside
{
    YTime first;
    YTime last;
    std::uint32_t mode;
    std::uint32_t count;

    Wide Period() const { return Wide{last.Get()} - first.Get(); }
    friend bool operator==(const Outside&, const Outside&) = default;
};

/// Of a curve with keys, before or after them.
inline Outside OutsideOf(const YFCurve& curve, bool before)
{
    return {curve.KeyGetTime(0), curve.KeyGetTime(curve.KeyGetCount() - 1),
            before ? curve.GetPreExtrapolation() : curve.GetPostExtrapolation(),
            before ? curve.GetPreExtrapolationCount() : curve.GetPostExtrapolationCount()};
}

/// Brings a time outside the keys into their range where the curve repeats them there.
/// \return  false when it does not, or no longer: then the value is that of the end key.
inline bool RepeatedTime(const Outside& outside, YTime& time)
{
    const bool before = time < outside.first;
    const Wide period = outside.Period();
    if (period <= 0 || !Repeats(outside.mode)) return false;
    const Wide distance =
        before ? Wide{outside.first.Get()} - time.Get() : Wide{time.Get()} - outside.last.Get();
    const Wide room = before ? RoomBefore(outside.first) : RoomAfter(outside.last);
    if (distance >= ReachOf(outside.count, period, room)) return false;
    // Whole periods between the time and the nearer end: 0 in the copy next to the keys, which is the first
    // mirrored one.
    const Wide copies = distance / period;
    const Wide shift = (copies + 1) * period;
    const Wide repeated = before ? time.Get() + shift : time.Get() - shift;
    const bool mirrored = IsMirrored(outside.mode, copies + 1);
    const Wide mapped = mirrored ? Wide{outside.first.Get()} + outside.last.Get() - repeated : repeated;
    time = YTime(static_cast<std::int64_t>(mapped));
    return true;
}

/// How many seconds a straight line outside the keys has gone on at a time; below 0 before them.
inline double SecondsBeyond(const Outside& outside, YTime time)
{
    const bool before = time < outside.first;
    const Wide period = outside.Period();
    const Wide room = before ? RoomBefore(outside.first) : RoomAfter(outside.last);
    const Wide reach = period > 0 ? ReachOf(outside.count, period, room) : 0;
    const Wide distance = Wide{time.Get()} - (before ? outside.first : outside.last).Get();
    return static_cast<double>(std::clamp(distance, -reach, reach)) /
           static_cast<double>(YTIME_TICKS_PER_SECOND);
}

}  // namespace yfc
