// Edits of many keys at once, and edits that keep the shape.

#include <algorithm>
#include <numeric>

#include "yfcurve/curve/edit/ascendingedit.h"
#include "yfcurve/curve/edit/draft.h"
#include "yfcurve/curve/edit/pieces.h"
#include "yfcurve/curve/edit/replace.h"
#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/curve/keyside.h"
#include "yfcurve/curve/ticks.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurveptr.h"

int YFCurve::KeyInsert(YTime time, int* last)
{
    int hint = last ? *last : mLastFound;
    int index = KeyAt(time, &hint);
    if (index < 0) {
        index = yfc::GuardedOr(-1, [&] { return YFCurveShape::Insert(*this, time); });
        if (index >= 0) hint = index;
    }
    if (last) *last = hint;
    return index;
}

int YFCurve::KeyInsert(const YTime* times, int count)
{
    return yfc::GuardedOr(-1, [&] {
        YFCurveDraft draft(*this);
        {
            YFCurveAscendingEdit edit(draft.Get());
            int hint = 0;
            for (int i = 0; i < count; ++i) edit.KeyInsert(times[i], &hint);
            edit.Finish();
        }
        const int added = draft.Get().mKeyCount - mKeyCount;
        draft.Commit();
        return added;
    });
}

void YFCurve::KeyTangeantSetMode(bool selectedOnly, unsigned mode)
{
    Editing(mKeyCount, [&] {
        KeyModifyBegin();
        for (int i = 0; i < mKeyCount; ++i) {
            if (!selectedOnly || KeyGetSelected(i)) KeyTurnTo(i, mode);
        }
        KeyModifyEnd();
    });
}

void YFCurve::KeyTurnTo(int index, unsigned mode)
{
    // A constant key has its constant mode where others have the tangent mode.
    const yfc::KeyKind kind(Attr(index));
    if (kind.IsConstant()) return;
    const YFCurveModify bracket(*this);
    const bool cubic = kind.IsCubic();
    if (cubic && (mode & YFCURVE_TANGENT_USER) != 0) {
        YFCurveShape::TurnToUser(*this, index, YFCurveShape::SlopesAt(*this, index));
    } else if (cubic && KeyGetTangeantMode(index) != (mode & YFCURVE_TANGENT_ALL)) {
        ResetTangeants(index, mode);
    }
    KeySetTangeantMode(index, mode);
}

// Turns a cubic key to auto or TCB with parameters of 0 on both sides: slopes mean nothing as parameters.
// The key after it keeps its in-tangent as far as there is room for it.
void YFCurve::ResetTangeants(int index, unsigned mode)
{
    const bool hasNext = index < mKeyCount - 1;
    const YFCurveTangeantInfo next = hasNext ? KeyGetLeftDerivativeInfo(index + 1) : YFCurveTangeantInfo();
    if (CanStore(yfc::LeftOf(index))) KeySetDataFloat(index - 1, YFCURVEKEY_NEXT_LEFT_DERIVATIVE, 0.0f);
    ChangeAttr(index, YFCURVEEVENT_KEY_ATTR_CHANGED, [&](YPriFCurveKeyAttr& attr) {
        const bool tcb = (mode & YFCURVE_TANGENT_TCB) != 0;
        const bool wasTCB = yfc::KeyKind(attr).IsTCB();
        if (tcb || wasTCB) attr.ResetCubic();  // weights and bias share their place
        if (tcb) attr.SetDataFloat(YFCURVEKEY_TCB_BIAS, 0.0f);
        attr.SetTangeantMode(mode);
        attr.SetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE, 0.0f);
        attr.SetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE, 0.0f);
    });
    if (hasNext) KeySetLeftDerivativeInfo(index + 1, yfc::StoredAgain(next));
}

// --- Moving and scaling --------------------------------------------------------------------------------

// Gives every key its new time and value; keys that pass others take both their tangents along. Refused
// when two keys would share a time.
bool YFCurve::SetTimesAndValues(const std::vector<YTime>& times, const std::vector<float>& values)
{
    std::vector<int> order(times.size());
    std::iota(order.begin(), order.end(), 0);
    const auto timeOf = [&](int key) { return times[static_cast<std::size_t>(key)]; };
    const auto valueOf = [&](int key) { return values[static_cast<std::size_t>(key)]; };
    const bool inOrder = std::is_sorted(times.begin(), times.end());
    if (!inOrder) std::sort(order.begin(), order.end(), [&](int a, int b) { return timeOf(a) < timeOf(b); });
    for (std::size_t i = 1; i < order.size(); ++i) {
        if (timeOf(order[i]) == timeOf(order[i - 1])) return false;
    }
    if (!inOrder) {
        SetInOrder(order, times, values);
        return true;
    }
    KeyModifyBegin();
    for (int i = 0; i < mKeyCount; ++i) {
        if (KeyGetTime(i) != timeOf(i)) KeySetTime(i, timeOf(i));
        if (KeyGetValue(i) != valueOf(i)) KeySetValue(i, valueOf(i));
    }
    KeyModifyEnd();
    return true;
}

void YFCurve::SetInOrder(const std::vector<int>& order, const std::vector<YTime>& times,
                         const std::vector<float>& values)
{
    const YFCurve old(*this);
    const yfc::AttributeReserve reserve(mKeyCount);
    std::vector<YFCurveTangeantInfo> lefts;
    lefts.reserve(order.size());
    for (int i = 0; i < mKeyCount; ++i) lefts.push_back(KeyGetLeftDerivativeInfo(i));
    KeyModifyBegin();
    for (int i = 0; i < mKeyCount; ++i) {
        const auto from = static_cast<std::size_t>(order[static_cast<std::size_t>(i)]);
        const YPriFCurveKeyAttr attr = old.KeyGet(static_cast<int>(from)).GetKeyAttr();
        Key(i).SetTime(times[from]);
        Key(i).SetValue(values[from]);
        KeyAttrSeparateCheck(i).SetWords(attr);
        CallbackAddEvent(YFCURVEEVENT_KEY_REPLACED, i);
    }
    for (int i = 1; i < mKeyCount; ++i) {
        const auto from = static_cast<std::size_t>(order[static_cast<std::size_t>(i)]);
        KeySetLeftDerivativeInfo(i, yfc::StoredAgain(lefts[from]));
    }
    // The last key showed no right slope; where it gets a segment there and is unbroken, its left slope goes on.
    const auto last = std::find(order.begin(), order.end(), mKeyCount - 1);
    const auto lastNow = static_cast<int>(last - order.begin());
    const bool goesOn =
        lastNow < mKeyCount - 1 && yfc::KeyKind(Attr(lastNow)).IsUser() && !KeyGetBreak(lastNow);
    if (goesOn) KeySetRightDerivative(lastNow, lefts.back().Derivative);
    KeyModifyEnd();
}

int YFCurve::KeyMove(int index, YTime time)
{
    if (index < 0 || index >= mKeyCount) return -1;
    return yfc::GuardedOr(-1, [&] {
        std::vector<YTime> times;
        std::vector<float> values;
        int newIndex = 0;
        for (int i = 0; i < mKeyCount; ++i) {
            times.push_back(i == index ? time : KeyGetTime(i));
            values.push_back(KeyGetValue(i));
            newIndex += i != index && KeyGetTime(i) < time;
        }
        return SetTimesAndValues(times, values) ? newIndex : -1;
    });
}

bool YFCurve::KeyMoveOf(bool selectedOnly, YTime deltaTime, float deltaValue)
{
    return yfc::Guarded([&] {
        std::vector<YTime> times;
        std::vector<float> values;
        for (int i = 0; i < mKeyCount; ++i) {
            const bool moves = !selectedOnly || KeyGetSelected(i);
            const YTime shift = moves ? deltaTime : YTIME_ZERO;
            if (yfc::SumOverflows(KeyGetTime(i), shift)) return false;
            times.push_back(KeyGetTime(i) + shift);
            const bool isFinite = times.back() > YTIME_MINUS_INFINITE && times.back() < YTIME_INFINITE;
            if (shift != YTIME_ZERO && !isFinite) return false;
            values.push_back(moves ? KeyGetValue(i) + deltaValue : KeyGetValue(i));
        }
        return SetTimesAndValues(times, values);
    });
}

void YFCurve::KeyMoveValueTo(bool selectedOnly, float value)
{
    KeyModifyBegin();
    for (int i = 0; i < mKeyCount; ++i) {
        if (!selectedOnly || KeyGetSelected(i)) KeySetValue(i, value);
    }
    KeyModifyEnd();
}

void YFCurve::KeyScaleValue(bool selectedOnly, float factor)
{
    KeyModifyBegin();
    for (int i = 0; i < mKeyCount; ++i) {
        if (!selectedOnly || KeyGetSelected(i)) KeyMultValue(i, factor);
    }
    KeyModifyEnd();
}

void YFCurve::KeyScaleValueAndTangeant(bool selectedOnly, float factor)
{
    Editing(mKeyCount, [&] { ScaleSlopes(selectedOnly, factor); });
}

void YFCurve::ScaleSlopes(bool selectedOnly, float factor)
{
    KeyModifyBegin();
    KeyScaleValue(selectedOnly, factor);
    for (int i = 0; i < mKeyCount; ++i) {
        if (selectedOnly && !KeyGetSelected(i)) continue;
        if (yfc::KeyKind(Attr(i)).IsUser()) {
            KeySetDataFloat(i, YFCURVEKEY_RIGHT_DERIVATIVE,
                            KeyGetDataFloat(i, YFCURVEKEY_RIGHT_DERIVATIVE) * factor);
        }
        if (StoredAs(yfc::LeftOf(i)) == yfc::ETangents::User) {
            KeySetDataFloat(i - 1, YFCURVEKEY_NEXT_LEFT_DERIVATIVE,
                            KeyGetDataFloat(i - 1, YFCURVEKEY_NEXT_LEFT_DERIVATIVE) * factor);
        }
    }
    KeyModifyEnd();
}

// --- Copying and pasting spans -------------------------------------------------------------------------

YFCurve* YFCurve::Copy(YTime start, YTime stop) const
{
    return yfc::Guarded([&] {
        auto copy = std::make_unique<YFCurve>();
        copy->CopySettings(*this);
        if (mKeyCount > 0 && start <= stop) {
            YFCurvePieces::Assemble(
                *copy, {{this, yfc::FirstKeyFrom(*this, start), yfc::LastKeyUntil(*this, stop)}}, true);
        }
        return copy.release();
    });
}

bool YFCurve::Insert(const YFCurve& source, YTime time, YTime gap)
{
    const int count = source.mKeyCount;
    if (&source == this || count == 0 || gap < YTIME_ZERO) return false;
    const int split = mKeyCount > 0 ? yfc::FirstKeyFrom(*this, time) : 0;
    const bool ripples = split < mKeyCount;
    if (ripples && gap == YTIME_ZERO && KeyGetTime(split) == time) return false;
    const YTime first = source.KeyGetTime(0);
    const YTime last = source.KeyGetTime(count - 1);
    if (yfc::DifferenceOverflows(last, first) || yfc::SumOverflows(time, last - first)) return false;
    if (ripples && yfc::SumOverflows(last - first, gap)) return false;
    const YTime room = ripples ? last - first + gap : YTIME_ZERO;
    if (ripples && yfc::SumOverflows(KeyGetTime(mKeyCount - 1), room)) return false;
    const YTime shift = time - first;  // may wrap around, and then each key's sum wraps back
    return yfc::Guarded([&] {
        YFCurveDraft draft(*this, false);
        YFCurvePieces::Assemble(draft.Get(),
                                {{this, 0, split - 1, YTIME_ZERO, 0.0f},
                                 {&source, 0, count - 1, shift, 0.0f},
                                 {this, split, mKeyCount - 1, room, 0.0f}},
                                true);
        draft.Commit();
        return true;
    });
}

void YFCurve::Replace(const YFCurve& source, YTime start, YTime stop, bool exactSpan, bool keyAtEnds,
                      YTime offset)
{
    yfc::Guarded([&] {
        YFCurveReplace::Apply(*this, source, {start, stop, offset, exactSpan, keyAtEnds, false});
    });
}

void YFCurve::ReplaceForEulerXYZ(const YFCurve& source, YTime start, YTime stop, bool exactSpan,
                                 bool keyAtEnds, YTime offset)
{
    yfc::Guarded([&] {
        YFCurveReplace::Apply(*this, source, {start, stop, offset, exactSpan, keyAtEnds, true});
    });
}
