#include "yfcurve/curve/edit/draft.h"

#include <algorithm>

#include "yfcurve/curve/edit/quietmodify.h"

namespace {

void Merge(YFCurveEvent& event, const YFCurveEvent& other)
{
    event.type |= other.type;
    event.count += other.count;
    if (other.first >= 0 && (event.first < 0 || other.first < event.first)) event.first = other.first;
    event.last = std::max(event.last, other.last);
}

}  // namespace

YFCurveDraft::YFCurveDraft(YFCurve& curve, bool withKeys)
    : mCurve(curve),
      mHasAllKeys(withKeys),
      mCandidateTime(curve.mCandidateTime),
      mCandidateValue(curve.mCandidateValue),
      mPendingEvent(curve.mPendingEvent),
      mUpdateId(curve.mUpdateId),
      mModifyDepth(curve.mModifyDepth),
      mOptions(curve.mOptions)
{
    mCopy.KeyModifyBegin();
    mCopy.CopySettings(curve);
    if (withKeys) mCopy.ShareKeys(curve);
    mCopy.mPendingEvent.Clear();
    mCopy.mUpdateId = 0;
}

void YFCurveDraft::Commit(EKeys keys)
{
    YFCurveEvent event = mCopy.mPendingEvent;
    if (keys == EKeys::Exchanged) event.last = std::max(event.last, mCurve.mKeyCount);
    const yfc::QuietModify modify(mCurve);
    mCurve.CopySettings(mCopy);
    mCurve.ExchangeKeys(mCopy);
    Merge(mCurve.mPendingEvent, event);
    mCurve.mUpdateId += mCopy.mUpdateId;
}

void YFCurveDraft::PutBack()
{
    const bool changed = mCurve.mUpdateId != mUpdateId;
    mCurve.CopySettings(mCopy);
    if (mHasAllKeys) mCurve.ExchangeKeys(mCopy);
    mCurve.CandidateSet(mCandidateTime, mCandidateValue);
    mCurve.mModifyDepth = mModifyDepth;
    mCurve.mOptions = mOptions;
    mCurve.mPendingEvent = mPendingEvent;
    if (!changed) return;
    constexpr std::uint32_t all = YFCURVEEVENT_KEY_REPLACED | YFCURVEEVENT_CURVE_VALUE;
    mCurve.CallbackAddEvent(static_cast<int>(all), -1);
}
