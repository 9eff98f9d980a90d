#pragma once

#include <initializer_list>

#include "ybaselib/ytime.h"

/// \file
/// Which keys stand at, before and after a time, and from where to where the keys go.

class YFCurve;

namespace yfc {

/// The first key at or after a time (the key count when there is none), and the last one at or before it
/// (-1 when there is none).
int FirstKeyFrom(const YFCurve& curve, YTime time);
int LastKeyUntil(const YFCurve& curve, YTime time);

/// The times of the outermost keys of curves. Without any key the first is behind the last.
struct OuterKeys
{
    explicit OuterKeys(std::initializer_list<const YFCurve*> curves);

    bool IsEmpty() const { return first > last; }

    YTime first = YTIME_INFINITE;
    YTime last = YTIME_MINUS_INFINITE;
};

}  // namespace yfc
