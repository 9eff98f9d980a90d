#pragma once

#include <cstddef>
#include <vector>

#include "yfcurve/yfcurve.h"

/// \file
/// Keys added all along a curve in time that grows with the keys, not with their square.

/// One bracket of edits on a curve, from its front to its back. The keys far behind the place of work are put
/// aside, records and all, so that a key that is added there moves only the few that are near. Meanwhile the
/// curve has no more keys than were reached: indices are as ever, counts are not, and neither is what it
/// evaluates to behind them. They are back when the edit ends.
///
/// One edit at a time on a curve, and nothing that looks at all its keys meanwhile. Where memory runs out,
/// the keys aside may be lost: the curve has to be a copy, or one that is put back then (`YFCurveDraft`).
class YFCurveAscendingEdit
{
  public:
    explicit YFCurveAscendingEdit(YFCurve& curve);
    /// Ends the edit, unless `Finish` has done so.
    ~YFCurveAscendingEdit();
    YFCurveAscendingEdit(const YFCurveAscendingEdit&) = delete;
    YFCurveAscendingEdit& operator=(const YFCurveAscendingEdit&) = delete;

    /// Goes on to a time: keys up to the first one behind it, and what their slopes depend on, are there
    /// afterwards. Any key in the segment that the time is in can then be read, set and inserted as if none
    /// were missing. At a time outside the keys all of them are there, since extrapolation may look at them.
    /// Times that go back are all right. Without memory for the keys aside they stay, and work is slow.
    void Reach(YTime time);

    /// Puts back what is aside. Throws `std::bad_alloc` when there is no room for it.
    void Finish() { PutBack(AsideCount()); }

    /// `YFCurve::KeyInsert`, to the bit; quick for times that ascend.
    int KeyInsert(YTime time, int* last = nullptr);

  private:
    void PutAside(int first);
    void PutBack(int count);
    bool HasReached(YTime time) const;
    int AsideCount() const { return static_cast<int>(mAside.size() - mNext); }

    YFCurve& mCurve;
    std::vector<YPriFCurveKey> mAside;
    std::size_t mNext = 0;  // of those aside, the first that is not back
    bool mIsWhole = true;
};
