#pragma once

#include <vector>

#include "yfcurve/yfcurve.h"

/// \file
/// A run of keys exchanged for another, for edits that are made again and again during a drag.

/// A friend of the curve.
class YFCurveExchange
{
  public:
    /// Exchanges `count` keys from `first` on for others, which have to fit between their neighbours in time,
    /// tangents and all as they are. Keys that are what they are to be are left alone. Throws
    /// `std::bad_alloc` half way unless there is a reserve of records and room for all keys.
    static void Apply(YFCurve& curve, int first, int count, const std::vector<YFCurveKey>& keys);
    /// Whether such an exchange would change anything, to the bit.
    static bool Differs(const YFCurve& curve, int first, int count, const std::vector<YFCurveKey>& keys);

  private:
    static void OpenSlots(YFCurve& curve, int index, int count);
};
