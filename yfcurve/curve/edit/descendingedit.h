#pragma once

#include <span>
#include <vector>

#include "yfcurve/yfcurve.h"

/// \file
/// Keys removed all along a curve in time that grows with the keys, not with their square.

/// One bracket of removals on a curve, from its back to its front. The keys far behind the place of work are
/// put aside, records and all, so that removing keys there moves only the few that are near. Meanwhile the
/// curve ends soon after what was removed last: indices are as ever, counts are not, and neither is what it
/// evaluates to behind. The keys are back when the edit ends.
///
/// One edit at a time on a curve, and no other change of its keys meanwhile.
class YFCurveDescendingEdit
{
  public:
    explicit YFCurveDescendingEdit(YFCurve& curve);
    ~YFCurveDescendingEdit();
    YFCurveDescendingEdit(const YFCurveDescendingEdit&) = delete;
    YFCurveDescendingEdit& operator=(const YFCurveDescendingEdit&) = delete;

    /// `YFCurve::Delete`, to the bit, of keys before those that went in earlier calls. Afterwards two keys
    /// behind them are there, if the curve has as many, so that the slopes of the first can be asked for.
    /// Without memory for the keys aside they stay, and work is slow.
    bool Delete(int first, int last);

    /// The same for keys in ascending order. Those in a row go together: stored weights are rounded, and an
    /// in-tangent that was handed on from key to key would be rounded each time.
    void Delete(std::span<const int> indices);

  private:
    void PutAside(int first);
    void PutBack();

    YFCurve& mCurve;
    std::vector<YPriFCurveKey> mAside;  // the last one first
};
