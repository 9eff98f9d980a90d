#pragma once

#include <vector>

#include "yfcurve/yfcurve.h"

/// \file
/// Curves put together from keys of others.

/// One stretch of keys of a curve that is put together from several.
struct YFCurvePiece
{
    const YFCurve* source;
    int first;  ///< indices in the source, inclusive; empty when last < first
    int last;
    YTime timeShift = YTIME_ZERO;
    float valueShift = 0.0f;
    /// `Assemble` leaves the slopes of the first key alone, as its left side belongs to the piece before: the
    /// caller sets them.
    bool joint = false;
};

/// A friend of the curve.
class YFCurvePieces
{
  public:
    /// Exchanges all keys for the pieces, one behind the other. With `holdSlopes` the outer keys of each
    /// keep the slopes that they have in its source.
    static void Assemble(YFCurve& curve, const std::vector<YFCurvePiece>& pieces, bool holdSlopes);
    /// Adds a piece behind the last key, which has to be earlier. Returns the index of its first key.
    static int Append(YFCurve& curve, const YFCurvePiece& piece);
};
