#include "yfcurve/curve/edit/ascendingedit.h"

#include <algorithm>
#include <new>

#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/curve/keysearch.h"

namespace {

// How many keys behind a segment's end an insertion reads: where the end becomes a user key, it takes over
// the slope with which the next key is reached, which depends on the one after that.
constexpr int kAhead = 2;

}  // namespace

YFCurveAscendingEdit::YFCurveAscendingEdit(YFCurve& curve) : mCurve(curve)
{
    mCurve.KeyModifyBegin();
}

YFCurveAscendingEdit::~YFCurveAscendingEdit()
{
    const int room = (mCurve.mLastBlock + 1) * yfc::kKeysPerBlock;
    PutBack(std::min(AsideCount(), room - mCurve.mKeyCount));
    while (AsideCount() > 0) yfc::ReleaseAttribute(mAside[mNext++].GetAttr());
    mCurve.KeyModifyEnd();
}

bool YFCurveAscendingEdit::HasReached(YTime time) const
{
    const int index = mCurve.mKeyCount - 1 - kAhead;
    return index >= 0 && mCurve.KeyGetTime(index) > time;
}

void YFCurveAscendingEdit::Reach(YTime time)
{
    if (mCurve.mKeyCount == 0 || time < mCurve.KeyGetTime(0)) {
        PutBack(AsideCount());
        mIsWhole = true;
        return;
    }
    if (mIsWhole) PutAside(std::min(yfc::LastKeyUntil(mCurve, time) + 2 + kAhead, mCurve.mKeyCount));
    while (AsideCount() > 0 && !HasReached(time)) PutBack(1);
}

// Listeners are not told of keys that are taken away and put back.
void YFCurveAscendingEdit::PutAside(int first)
{
    mNext = 0;
    mAside.clear();
    try {
        mAside.reserve(static_cast<std::size_t>(mCurve.mKeyCount - first));
    } catch (const std::bad_alloc&) {
        return;
    }
    for (int i = first; i < mCurve.mKeyCount; ++i) {
        mAside.push_back(mCurve.Key(i));
        mCurve.Key(i) = YPriFCurveKey();
    }
    mCurve.mKeyCount = first;
    mIsWhole = false;
}

void YFCurveAscendingEdit::PutBack(int count)
{
    if (count == 0) return;
    mCurve.InitBuffers(mCurve.mKeyCount + count, false);
    for (int i = 0; i < count; ++i) mCurve.Key(mCurve.mKeyCount++) = mAside[mNext++];
}

int YFCurveAscendingEdit::KeyInsert(YTime time, int* last)
{
    Reach(time);
    return mCurve.KeyInsert(time, last);
}
