// One curve's keys in place of those of another.

#include "yfcurve/curve/edit/draft.h"
#include "yfcurve/curve/edit/pieces.h"
#include "yfcurve/curve/guarded.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/yfcurveutils.h"

namespace {

// Whether the segment that starts at a key keeps explicit slopes for both its ends, so that it can be cut.
bool HasUserTangents(const YFCurve& curve, int index)
{
    return yfc::KeyKind(curve, index).IsUser();
}

// The segment of `base` before the seam now ends there, with the slope that it has on the way.
void TrimBefore(const YFCurve& base, YTime seam, YFCurve& result, int keyBefore)
{
    int hint = keyBefore;
    result.KeySetDataFloat(keyBefore, YFCURVEKEY_NEXT_LEFT_DERIVATIVE,
                           base.EvaluateRightDerivative(seam, &hint));
}

// The segment of `base` that runs on behind the seam now starts at the key that stands there.
void TrimAfter(const YFCurve& base, int segment, YTime seam, YFCurve& result, int keyAtSeam)
{
    int hint = segment;
    result.KeySetInterpolation(keyAtSeam, YFCURVE_INTERP_CUBIC);
    result.KeySetTangeantMode(keyAtSeam, YFCURVE_TANGENT_USER_BREAK, true);
    result.KeySetDataFloat(keyAtSeam, YFCURVEKEY_RIGHT_DERIVATIVE, base.EvaluateLeftDerivative(seam, &hint));
    result.KeySetDataFloat(keyAtSeam, YFCURVEKEY_NEXT_LEFT_DERIVATIVE,
                           base.KeyGetDataFloat(segment, YFCURVEKEY_NEXT_LEFT_DERIVATIVE));
}

// The keys of `base` around those of `insert`.
void PutTogether(const YFCurve& base, const YFCurve& insert, YFCurve& result)
{
    const int baseCount = base.KeyGetCount();
    const int insertCount = insert.KeyGetCount();
    const YTime start = insert.KeyGetTime(0);
    const YTime stop = insert.KeyGetTime(insertCount - 1);
    const int firstReplaced = yfc::FirstKeyFrom(base, start);
    const int lastReplaced = yfc::LastKeyUntil(base, stop);
    const int lastInserted = firstReplaced + insertCount - 1;
    YFCurvePieces::Append(result, {&base, 0, firstReplaced - 1});
    YFCurvePieces::Append(result, {&insert, 0, insertCount - 1});
    YFCurvePieces::Append(result, {&base, lastReplaced + 1, baseCount - 1});
    if (firstReplaced > 0 && firstReplaced < baseCount && HasUserTangents(base, firstReplaced - 1)) {
        TrimBefore(base, start, result, firstReplaced - 1);
    }
    if (lastReplaced >= 0 && lastReplaced < baseCount - 1 && HasUserTangents(base, lastReplaced)) {
        TrimAfter(base, lastReplaced, stop, result, lastInserted);
    }
}

}  // namespace

void YFCurveUtils::Merge(const YFCurve& base, const YFCurve& insert, YFCurve& result)
{
    const int baseCount = base.KeyGetCount();
    const int insertCount = insert.KeyGetCount();
    if (insertCount == 0) {
        if (baseCount > 0) result.CopyFrom(base);
        return;
    }
    const YTime start = insert.KeyGetTime(0);
    const YTime stop = insert.KeyGetTime(insertCount - 1);
    if (baseCount == 0 || (start <= base.KeyGetTime(0) && stop >= base.KeyGetTime(baseCount - 1))) {
        result.CopyFrom(insert);
        return;
    }
    yfc::Guarded([&] {
        YFCurveDraft draft(result, false);
        PutTogether(base, insert, draft.Get());
        result.KeyClear();
        draft.Commit();
    });
}
