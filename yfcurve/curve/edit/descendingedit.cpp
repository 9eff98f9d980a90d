#include "yfcurve/curve/edit/descendingedit.h"

#include <new>

#include "yfcurve/curve/keyaccess.h"

namespace {

// How many keys behind removed ones the removal reads: the first keeps its in-tangent, which may depend on
// the second.
constexpr int kBehind = 2;

}  // namespace

YFCurveDescendingEdit::YFCurveDescendingEdit(YFCurve& curve) : mCurve(curve)
{
    mCurve.KeyModifyBegin();
}

YFCurveDescendingEdit::~YFCurveDescendingEdit()
{
    PutBack();
    mCurve.KeyModifyEnd();
}

bool YFCurveDescendingEdit::Delete(int first, int last)
{
    PutAside(last + 1 + kBehind);
    return mCurve.Delete(first, last);
}

void YFCurveDescendingEdit::Delete(std::span<const int> indices)
{
    for (std::size_t i = indices.size(); i > 0;) {
        const int last = indices[--i];
        int first = last;
        for (; i > 0 && indices[i - 1] == first - 1; --i) --first;
        Delete(first, last);
    }
}

// Listeners are not told of keys that are taken away and put back.
void YFCurveDescendingEdit::PutAside(int first)
{
    try {
        for (; mCurve.mKeyCount > first; --mCurve.mKeyCount) {
            YPriFCurveKey& key = mCurve.Key(mCurve.mKeyCount - 1);
            mAside.push_back(key);
            key = YPriFCurveKey();
        }
    } catch (const std::bad_alloc&) {
        return;
    }
}

// Their slots are still the curve's.
void YFCurveDescendingEdit::PutBack()
{
    for (; !mAside.empty(); mAside.pop_back()) mCurve.Key(mCurve.mKeyCount++) = mAside.back();
}
