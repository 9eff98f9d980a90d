#include "yfcurve/curve/edit/exchange.h"

#include <algorithm>
#include <cstring>

#include "yfcurve/curve/keyaccess.h"

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

// The events that making one key the other takes; 0 when they are the same.
std::uint32_t Difference(const YPriFCurveKey& key, const YPriFCurveKeyAttr& attr, const YFCurveKey& wanted)
{
    const float oldValue = key.GetValue();
    const float newValue = wanted.GetValue();
    std::uint32_t event = 0;
    if (key.GetTime() != wanted.GetTime()) event |= YFCURVEEVENT_KEY_TIME_CHANGED;
    if (!SameFloats(&oldValue, &newValue, 1)) event |= YFCURVEEVENT_KEY_VALUE_CHANGED;
    if (!SameAttributes(attr, wanted)) event |= YFCURVEEVENT_KEY_ATTR_CHANGED;
    return event;
}

void SetAttributes(YPriFCurveKeyAttr& attr, const YFCurveKey& key)
{
    attr.SetFlags(key.GetFlags());
    std::copy_n(key.GetDataPtr(), 4, attr.GetDataPtr());
}

}  // namespace

// Keys without times and values, with records of their own.
void YFCurveExchange::OpenSlots(YFCurve& curve, int index, int count)
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

bool YFCurveExchange::Differs(const YFCurve& curve, int first, int count, const std::vector<YFCurveKey>& keys)
{
    if (count != static_cast<int>(keys.size())) return true;
    int index = first;
    return std::any_of(keys.begin(), keys.end(), [&](const YFCurveKey& wanted) {
        const int i = index++;
        return Difference(curve.Key(i), curve.Attr(i), wanted) != 0;
    });
}

void YFCurveExchange::Apply(YFCurve& curve, int first, int count, const std::vector<YFCurveKey>& keys)
{
    const int keyCount = static_cast<int>(keys.size());
    curve.KeyModifyBegin();
    if (keyCount > count) OpenSlots(curve, first + count, keyCount - count);
    if (keyCount < count) {
        for (int i = keyCount; i < count; ++i) {
            yfc::ReleaseAttribute(curve.Key(first + i).GetAttr());
            curve.CallbackAddEvent(YFCURVEEVENT_KEY_REMOVED, first + i);
        }
        curve.CloseSlots(first + keyCount, count - keyCount);
    }
    int index = first;
    for (const YFCurveKey& wanted : keys) {
        const int i = index++;
        YPriFCurveKey& key = curve.Key(i);
        const std::uint32_t event = Difference(key, curve.Attr(i), wanted);
        if (event == 0) continue;
        key.SetTime(wanted.GetTime());
        key.SetValue(wanted.GetValue());
        if ((event & YFCURVEEVENT_KEY_ATTR) != 0) {
            SetAttributes(curve.KeyAttrSeparateCheck(i), wanted);
        }
        curve.mCandidateTime = YTIME_INFINITE;
        curve.CallbackAddEvent(static_cast<int>(event), i);
    }
    curve.KeyModifyEnd();
}
