// Reading and changing one key's value, time and attributes.

#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/yfcurve.h"

float YFCurve::KeyGetValue(int index) const
{
    return Key(index).GetValue();
}
YTime YFCurve::KeyGetTime(int index) const
{
    return Key(index).GetTime();
}
unsigned YFCurve::KeyGetInterpolation(int index) const
{
    return Attr(index).GetInterpolation();
}
unsigned YFCurve::KeyGetConstantMode(int index) const
{
    return Attr(index).GetConstantMode();
}
unsigned YFCurve::KeyGetTangeantMode(int index, bool includeOverrides) const
{
    return Attr(index).GetTangeantMode(includeOverrides);
}
unsigned YFCurve::KeyGetTangeantWeightMode(int index) const
{
    return Attr(index).GetTangeantWeightMode();
}
unsigned YFCurve::KeyGetTangeantVelocityMode(int index) const
{
    return Attr(index).GetTangeantVelocityMode();
}
unsigned YFCurve::KeyGetTangeantVisibility(int index) const
{
    return Attr(index).GetTangeantVisibility();
}
bool YFCurve::KeyGetSelected(int index) const
{
    return Attr(index).GetSelected();
}
bool YFCurve::KeyGetMarkedForManipulation(int index) const
{
    return Attr(index).GetMarkedForManipulation();
}
bool YFCurve::KeyGetBreak(int index) const
{
    return Attr(index).GetBreak();
}
float YFCurve::KeyGetDataDouble(int index, EYFCurveDataIndex dataIndex) const
{
    return Attr(index).GetDataDouble(dataIndex);
}
float YFCurve::KeyGetDataFloat(int index, EYFCurveDataIndex word) const
{
    return Attr(index).GetDataFloat(word);
}
const float* YFCurve::KeyGetDataPtr(int index) const
{
    return Attr(index).GetDataPtr();
}

// --- Value and time ------------------------------------------------------------------------------------

void YFCurve::KeySetValue(int index, float value)
{
    mCandidateTime = YTIME_INFINITE;
    Key(index).SetValue(value);
    CallbackAddEvent(YFCURVEEVENT_KEY_VALUE_CHANGED, index);
}

void YFCurve::KeyIncValue(int index, float amount)
{
    KeySetValue(index, KeyGetValue(index) + amount);
}
void YFCurve::KeyMultValue(int index, float factor)
{
    KeySetValue(index, KeyGetValue(index) * factor);
}

void YFCurve::KeySetTime(int index, YTime time)
{
    mCandidateTime = YTIME_INFINITE;
    Key(index).SetTime(time);
    CallbackAddEvent(YFCURVEEVENT_KEY_TIME_CHANGED, index);
}

void YFCurve::KeyIncTime(int index, YTime amount)
{
    KeySetTime(index, KeyGetTime(index) + amount);
}

// --- Attributes ----------------------------------------------------------------------------------------

void YFCurve::KeySetInterpolation(int index, unsigned interpolation)
{
    if (KeyGetInterpolation(index) == (interpolation & YFCURVE_INTERP_ALL)) return;
    ChangeAttr(index, YFCURVEEVENT_KEY_ATTR_CHANGED,
               [&](YPriFCurveKeyAttr& attr) { attr.SetInterpolation(interpolation); });
}

void YFCurve::KeySetConstantMode(int index, unsigned mode)
{
    if (KeyGetConstantMode(index) == (mode & YFCURVE_CONSTANT_ALL)) return;
    ChangeAttr(index, YFCURVEEVENT_KEY_ATTR_CHANGED,
               [&](YPriFCurveKeyAttr& attr) { attr.SetConstantMode(mode); });
}

void YFCurve::KeySetTangeantMode(int index, unsigned mode, bool noConversion)
{
    const std::uint32_t flags = Attr(index).GetFlags();
    const std::uint32_t changed = YPriFCurveKeyAttr::FlagsWithTangeantMode(flags, mode, noConversion);
    if (changed == flags) return;
    ChangeAttr(index, YFCURVEEVENT_KEY_ATTR_CHANGED,
               [&](YPriFCurveKeyAttr& attr) { attr.SetFlags(changed); });
}

void YFCurve::KeySetTangeantWeightMode(int index, unsigned mode, unsigned mask)
{
    if (((KeyGetTangeantWeightMode(index) ^ mode) & mask & YFCURVE_WEIGHT_ALL) == 0) return;
    ChangeAttr(index, YFCURVEEVENT_KEY_ATTR_CHANGED,
               [&](YPriFCurveKeyAttr& attr) { attr.SetTangeantWeightMode(mode, mask); });
}

void YFCurve::KeySetTangeantVelocityMode(int index, unsigned mode, unsigned mask)
{
    if (((KeyGetTangeantVelocityMode(index) ^ mode) & mask & YFCURVE_VELOCITY_ALL) == 0) return;
    ChangeAttr(index, YFCURVEEVENT_KEY_ATTR_CHANGED,
               [&](YPriFCurveKeyAttr& attr) { attr.SetTangeantVelocityMode(mode, mask); });
}

// A weight is compared as it would be read back, so one that the fixed point cannot hold exactly counts
// as a change each time it is set.
void YFCurve::KeySetDataDouble(int index, EYFCurveDataIndex dataIndex, float value)
{
    if (KeyGetDataDouble(index, dataIndex) == value) return;
    ChangeAttr(index, YFCURVEEVENT_KEY_ATTR_CHANGED,
               [&](YPriFCurveKeyAttr& attr) { attr.SetDataDouble(dataIndex, value); });
}

void YFCurve::KeySetDataFloat(int index, EYFCurveDataIndex word, float value)
{
    if (KeyGetDataFloat(index, word) == value) return;
    ChangeAttr(index, YFCURVEEVENT_KEY_ATTR_CHANGED,
               [&](YPriFCurveKeyAttr& attr) { attr.SetDataFloat(word, value); });
}

void YFCurve::KeySetBreak(int index, bool broken)
{
    if (KeyGetBreak(index) == broken) return;
    ChangeAttr(index, YFCURVEEVENT_KEY_ATTR_CHANGED, [&](YPriFCurveKeyAttr& attr) { attr.SetBreak(broken); });
}

void YFCurve::KeySetSelected(int index, bool selected)
{
    if (KeyGetSelected(index) == selected) return;
    ChangeAttr(index, YFCURVEEVENT_SELECTION, [&](YPriFCurveKeyAttr& attr) { attr.SetSelected(selected); });
}

void YFCurve::KeySetTangeantVisibility(int index, unsigned visibility)
{
    if (KeyGetTangeantVisibility(index) == (visibility & YFCURVE_SHOW_BOTH)) return;
    ChangeAttr(index, YFCURVEEVENT_SELECTION,
               [&](YPriFCurveKeyAttr& attr) { attr.SetTangeantVisibility(visibility); });
}

void YFCurve::KeySetMarkedForManipulation(int index, bool marked)
{
    if (KeyGetMarkedForManipulation(index) == marked) return;
    ChangeAttr(index, 0, [&](YPriFCurveKeyAttr& attr) { attr.SetMarkedForManipulation(marked); });
}

// --- All keys ------------------------------------------------------------------------------------------

void YFCurve::KeySetSelectedAll(bool selected)
{
    Editing(mKeyCount, [&] { SelectAll(selected); });
}

// Changes the record of a run of keys at once, in place where no other key shares it.
void YFCurve::SelectAll(bool selected)
{
    KeyModifyBegin();
    YFCurveKeyAttrReference next = mKeyCount > 0 ? Key(0).GetAttr() : 0;
    for (int first = 0, end = 0; first < mKeyCount; first = end) {
        const YFCurveKeyAttrReference record = next;
        while (++end < mKeyCount && (next = Key(end).GetAttr()) == record) {
        }
        YPriFCurveKeyAttr& held = yfc::Attribute(record);
        if (held.GetSelected() == selected) continue;
        const bool hasOwn = record != 0 && record != yfc::kDefaultAttribute;
        const bool shared = !hasOwn || held.GetRefCount() > static_cast<unsigned>(end - first);
        YPriFCurveKeyAttr& attr = shared ? KeyAttrSeparate(first) : held;
        attr.SetSelected(selected);
        for (int i = first + 1; shared && i < end; ++i) {
            yfc::ReleaseAttribute(record);
            Key(i).SetAttr(Key(first).GetAttr());
            attr.IncRefCount();
        }
        CallbackAddEvent(YFCURVEEVENT_SELECTION, first);
        if (end > first + 1) CallbackAddEvent(YFCURVEEVENT_SELECTION, end - 1);
    }
    KeyModifyEnd();
}

void YFCurve::KeySelectAll()
{
    KeyModifyBegin();
    for (int i = mKeyCount - 1; i >= 0; --i) Attr(i).SetSelected(true);
    CallbackAddEvent(YFCURVEEVENT_SELECTION, -1);
    KeyModifyEnd();
}

void YFCurve::KeyUnselectAll()
{
    KeyModifyBegin();
    for (int i = mKeyCount - 1; i >= 0; --i) Attr(i).SetSelected(false);
    CallbackAddEvent(YFCURVEEVENT_SELECTION, -1);
    KeyModifyEnd();
}

void YFCurve::KeyTangeantHide()
{
    Editing(mKeyCount, [&] {
        KeyModifyBegin();
        for (int i = 0; i < mKeyCount; ++i) KeySetTangeantVisibility(i, YFCURVE_SHOW_NONE);
        KeyModifyEnd();
    });
}
