// A run of keys exchanged for another, for edits that are made again and again while somebody drags.

#include <algorithm>
#include <cstring>

#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/curve/shape.h"

namespace {

// To the bit: zeros of different sign, and values that are not numbers, count.
bool SameFloats(const float* a, const float* b, std::size_t count)
{
    return std::memcmp(a, b, count * sizeof(float)) == 0;
}

bool SameAttributes(const YPriFCurveKeyAttr& a, const YFCurveKey& b)
{
    return a.GetFlags() == b.GetFlags() && SameFloats(a.GetDataPtr(), b.GetDataPtr(), 4);
}

void SetAttributes(YPriFCurveKeyAttr& attr, const YFCurveKey& key)
{
    attr.SetFlags(key.GetFlags());
    std::copy_n(key.GetDataPtr(), 4, attr.GetDataPtr());
}

}  // namespace

// Keys without times and values, with records of their own.
void YFCurveShape::OpenSlots(YFCurve& curve, int index, int count)
{
    curve.InitBuffers(curve.mKeyCount + count, false);
    for (int i = curve.mKeyCount - 1; i >= index; --i) curve.Key(i + count) = curve.Key(i);
    curve.mKeyCount += count;
    for (int i = index; i < index + count; ++i) {
        curve.Key(i) = YPriFCurveKey();
        curve.KeyAttrSeparateCheck(i);
        curve.CallbackAddEvent(YFCURVEEVENT_KEY_ADDED, i);
    }
}

void YFCurveShape::Exchange(YFCurve& curve, int first, int count, const YFCurveKey* keys, int keyCount)
{
    curve.KeyModifyBegin();
    if (keyCount > count) OpenSlots(curve, first + count, keyCount - count);
    if (keyCount < count) {
        for (int i = keyCount; i < count; ++i) {
            yfc::ReleaseAttribute(curve.Key(first + i).GetAttr());
            curve.CallbackAddEvent(YFCURVEEVENT_KEY_REMOVED, first + i);
        }
        curve.CloseSlots(first + keyCount, count - keyCount);
    }
    for (int i = 0; i < keyCount; ++i) {
        YPriFCurveKey& key = curve.Key(first + i);
        const YFCurveKey& wanted = keys[i];
        const float oldValue = key.GetValue();
        const float newValue = wanted.GetValue();
        std::uint32_t event = 0;
        if (key.GetTime() != wanted.GetTime()) event |= YFCURVEEVENT_KEY_TIME_CHANGED;
        if (!SameFloats(&oldValue, &newValue, 1)) event |= YFCURVEEVENT_KEY_VALUE_CHANGED;
        const bool sameAttributes = SameAttributes(curve.Attr(first + i), wanted);
        if (!sameAttributes) event |= YFCURVEEVENT_KEY_ATTR_CHANGED;
        if (event == 0) continue;
        key.SetTime(wanted.GetTime());
        key.SetValue(newValue);
        if (!sameAttributes) SetAttributes(curve.KeyAttrSeparateCheck(first + i), wanted);
        curve.mCandidateTime = YTIME_INFINITE;
        curve.CallbackAddEvent(static_cast<int>(event), first + i);
    }
    curve.KeyModifyEnd();
}

bool YFCurveShape::SetSharing(YFCurve& curve, bool on)
{
    const bool before = (curve.mOptions & YFCurve::kMergeEnabled) != 0;
    curve.KeySetOptimizeEnable(on);
    return before;
}
