#pragma once

#include "yfcurve/yfcurve.h"

/// \file
/// What a curve keeps its keys in, for edits that must not run out of it.

/// A friend of the curve.
class YFCurveStorage
{
  public:
    /// Makes room for so many keys, and changes nothing else. Throws `std::bad_alloc`.
    static void MakeRoom(YFCurve& curve, int keyCount);

    /// Whether the end of a bracket shares equal records (see `YFCurve::KeySetOptimizeEnable`); returns what
    /// was set before. Sharing takes zeros of either sign for equal, and so may change a bit.
    static bool SetSharing(YFCurve& curve, bool on);
};
