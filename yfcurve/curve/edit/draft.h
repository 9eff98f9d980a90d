#pragma once

#include "yfcurve/yfcurve.h"

/// \file
/// Edits that are made whole or not at all.

/// A copy of a curve to be edited in its place. The curve changes when the copy is exchanged for it, which
/// takes no memory: until then an edit may run out of memory half way.
///
/// Or the other way round: the copy is kept while the curve itself is edited, and `PutBack` restores the
/// curve from it.
class YFCurveDraft
{
  public:
    /// Throws `std::bad_alloc`. \param withKeys  false: the copy has no keys yet.
    explicit YFCurveDraft(YFCurve& curve, bool withKeys = true);
    YFCurveDraft(const YFCurveDraft&) = delete;
    YFCurveDraft& operator=(const YFCurveDraft&) = delete;

    /// The copy. Events of edits on it reach no listener; `Commit` sends one for all of them.
    YFCurve& Get() { return mCopy; }

    /// Which keys of the curve an event of the copy says something about: those that it names, or all, as
    /// other keys have come in their place.
    enum class EKeys
    {
        Edited,
        Exchanged
    };

    /// Gives the curve the keys and settings of the copy, with one event for all that has been done to that.
    /// The event waits where the host has disabled callbacks.
    void Commit() { Commit(mHasAllKeys ? EKeys::Edited : EKeys::Exchanged); }
    void Commit(EKeys keys);

    /// Gives the curve back what it had when the copy, which has not been edited, was made, after an edit
    /// that broke off: it may have left brackets open. A copy without keys gives back the rest.
    void PutBack();

  private:
    YFCurve& mCurve;
    YFCurve mCopy;
    bool mHasAllKeys;
    YTime mCandidateTime;
    double mCandidateValue;
    YFCurveEvent mPendingEvent;
    std::uint32_t mUpdateId;
    std::int32_t mModifyDepth;
    std::uint32_t mOptions;
};
