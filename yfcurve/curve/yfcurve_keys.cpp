// Finding, adding, replacing and removing keys.

#include <algorithm>
#include <cmath>
#include <cstring>

#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/yfcurve.h"

// --- Finding -------------------------------------------------------------------------------------------

namespace {

// A distance of two times as a double; the difference of any two fits into 64 bits without sign.
double Distance(YTime from, YTime to)
{
    return static_cast<double>(static_cast<std::uint64_t>(to.Get()) - static_cast<std::uint64_t>(from.Get()));
}

// How much further each galloping probe reaches. A probe far away costs a cache miss, an inner one does
// not, so few far probes and a wider bracket win.
constexpr std::int64_t kReachFactor = 16;

// Below that many keys a bracket is halved; above, the key's place is first guessed from the times.
constexpr int kSmallBracket = 8;

}  // namespace

// The last key at or before a time that lies in [time of key low, time of key high): from a guess by
// linear interpolation outwards, since motion is mostly sampled evenly, and then by halving.
int YFCurve::FindInBracket(YTime time, int low, int high) const
{
    if (high - low > kSmallBracket) {
        const double span = Distance(Key(low).GetTime(), Key(high).GetTime());
        const double share = Distance(Key(low).GetTime(), time) / span;
        const int guess = std::clamp(low + static_cast<int>(share * (high - low)), low, high - 1);
        if (time < Key(guess).GetTime()) {
            high = guess;
            for (int reach = 1; high - reach > low; reach *= 2) {
                if (Key(high - reach).GetTime() <= time) {
                    low = high - reach;
                    break;
                }
                high -= reach;
            }
        } else {
            low = guess;
            for (int reach = 1; low + reach < high; reach *= 2) {
                if (time < Key(low + reach).GetTime()) {
                    high = low + reach;
                    break;
                }
                low += reach;
            }
        }
    }
    while (high - low > 1) {
        const int middle = low + (high - low) / 2;
        (time < Key(middle).GetTime() ? high : low) = middle;
    }
    return low;
}

// `time` is after key `from`.
YFCurve::FoundSegment YFCurve::FindAfter(YTime time, int from) const
{
    const int lastKey = mKeyCount - 1;
    int low = from;
    int high = from;
    for (std::int64_t reach = 1; low < lastKey; reach *= kReachFactor) {
        high = static_cast<int>(std::min<std::int64_t>(from + reach, lastKey));
        if (time < Key(high).GetTime()) {
            const int index = FindInBracket(time, low, high);
            if (Key(index).GetTime() == time) return {FoundSegment::kOnKey, index, index};
            return {FoundSegment::kInside, index, index + 1};
        }
        low = high;
        if (Key(low).GetTime() == time) return {FoundSegment::kOnKey, low, low};
    }
    return {FoundSegment::kAfter, lastKey, mKeyCount};
}

// `time` is before key `from`.
YFCurve::FoundSegment YFCurve::FindBefore(YTime time, int from) const
{
    int high = from;
    for (std::int64_t reach = 1; high > 0; reach *= kReachFactor) {
        const int low = static_cast<int>(std::max<std::int64_t>(from - reach, 0));
        if (Key(low).GetTime() <= time) {
            const int index = FindInBracket(time, low, high);
            const bool onKey = Key(index).GetTime() == time;
            return {onKey ? FoundSegment::kOnKey : FoundSegment::kInside, index, index};
        }
        high = low;
    }
    return {FoundSegment::kBefore, 0, 0};
}

YFCurve::FoundSegment YFCurve::FindSegment(YTime time, int hint) const
{
    const int from = std::clamp(hint, 0, mKeyCount - 1);
    const YTime fromTime = Key(from).GetTime();
    if (time == fromTime) return {FoundSegment::kOnKey, from, from};
    return fromTime < time ? FindAfter(time, from) : FindBefore(time, from);
}

double YFCurve::PositionIn(const FoundSegment& found, YTime time) const
{
    if (found.place == FoundSegment::kBefore) return -0.5;
    if (found.place == FoundSegment::kAfter) return mKeyCount - 0.5;
    if (found.place == FoundSegment::kOnKey) return found.index;
    const YTime start = Key(found.index).GetTime();
    const YTime stop = Key(found.index + 1).GetTime();
    return found.index + Distance(start, time) / Distance(start, stop);
}

double YFCurve::KeyFind(YTime time, int* last) const
{
    if (mKeyCount == 0) return -1.0;
    int& hint = last ? *last : mLastFound;
    const FoundSegment found = FindSegment(time, hint);
    hint = found.hint;
    return PositionIn(found, time);
}

// --- Reading and replacing -----------------------------------------------------------------------------

int YFCurve::KeyGetSelectionCount() const
{
    int count = 0;
    for (int i = 0; i < mKeyCount; ++i) count += KeyGetSelected(i);
    return count;
}

YFCurveKey YFCurve::KeyGet(int index) const { return YFCurveKey(Key(index), Attr(index)); }

bool YFCurve::KeySet(int index, const YFCurveKey& key)
{
    mCandidateTime = YTIME_INFINITE;
    if (index < 0 || index > mKeyCount) return false;
    const YTime time = key.GetTime();
    if (index >= 1 && time <= KeyGetTime(index - 1)) return false;
    if (index < mKeyCount - 1 && time >= KeyGetTime(index + 1)) return false;
    if (index == mKeyCount) InitBuffers(mKeyCount + 1, false);
    YPriFCurveKey& packed = Key(index);
    const bool added = index == mKeyCount;
    const bool moved = packed.GetTime() != time || packed.GetValue() != key.GetValue();
    const std::uint32_t updateId = mUpdateId;
    packed.SetTime(time);
    packed.SetValue(key.GetValue());
    KeyAttrSet(index, key.GetKeyAttr());
    // Equal attributes raise nothing by themselves, but listeners want to know of the rest.
    if (!added && moved && mUpdateId == updateId) CallbackAddEvent(YFCURVEEVENT_KEY_REPLACED, index);
    return true;
}

bool YFCurve::KeySet(int index, const YFCurve* source, int sourceIndex)
{
    return KeySet(index, source->KeyGet(sourceIndex));
}

// --- Adding --------------------------------------------------------------------------------------------

int YFCurve::KeyAdd(YTime time, const YFCurveKey& key, int* last)
{
    YFCurveKey added = key;
    added.SetTime(time);
    InitBuffers(mKeyCount + 1, false);
    int index = 0;
    if (mKeyCount > 0) {
        const double position = KeyFind(time, last);
        index = static_cast<int>(std::ceil(position));
        if (position == index && position >= 0.0) {
            KeySet(index, added);
            return index;
        }
    }
    OpenSlot(index);
    Key(index).SetTime(time);
    Key(index).SetValue(added.GetValue());
    KeyAttrSet(index, added.GetKeyAttr());
    if (last) *last = index;
    CallbackAddEvent(YFCURVEEVENT_KEY_ADDED, index);
    return index;
}

int YFCurve::KeyAdd(YTime time, const YFCurve* source, int sourceIndex, int* last)
{
    return KeyAdd(time, source->KeyGet(sourceIndex), last);
}

int YFCurve::KeyAdd(YTime time, int* last)
{
    int hint = last ? *last : mLastFound;
    const double position = KeyFind(time, &hint);
    if (position >= 0.0 && position == std::floor(position)) {
        if (last) *last = hint;
        return static_cast<int>(position);
    }
    YFCurveKey key;
    key.Set(time, Evaluate(time, &hint));
    return KeyAdd(time, key, last);
}

int YFCurve::KeyAppend(YTime time, const YFCurve* source, int sourceIndex)
{
    if (mKeyCount > 0 && time <= KeyGetTime(mKeyCount - 1)) return -1;
    return KeyAdd(time, source, sourceIndex);
}

int YFCurve::KeyAppendFast(YTime time, float value)
{
    const int index = mKeyCount;
    if (index > 0 && time <= Key(index - 1).GetTime()) return -1;
    InitBuffers(index + 1, false);
    YPriFCurveKey& key = Key(index);
    key.SetTime(time);
    key.SetValue(value);
    key.SetAttr(yfc::kDefaultAttribute);
    yfc::Attribute(yfc::kDefaultAttribute).IncRefCount();
    ++mKeyCount;
    CallbackAddEvent(YFCURVEEVENT_KEY_ADDED, index);
    return index;
}

// --- Removing ------------------------------------------------------------------------------------------

bool YFCurve::KeyRemove(int index) { return Delete(index, index); }

bool YFCurve::Delete(int first, int last)
{
    if (first < 0 || last >= mKeyCount || last < first) return false;
    const int count = last - first + 1;
    KeyModifyBegin();
    mCandidateTime = YTIME_INFINITE;
    if (count == mKeyCount) {
        mValue = KeyGetValue(last);
        CallbackAddEvent(YFCURVEEVENT_CURVE_VALUE, -1);
    }
    // The in-tangent of the key that follows is stored on a key that goes away.
    const bool following = last < mKeyCount - 1;
    const YFCurveTangeantInfo left = following ? KeyGetLeftDerivativeInfo(last + 1) : YFCurveTangeantInfo();
    for (int i = first; i <= last; ++i) yfc::ReleaseAttribute(Key(i).GetAttr());
    CloseSlots(first, count);
    if (following && first > 0) KeySetLeftDerivativeInfo(first, left);
    CallbackAddEvent(YFCURVEEVENT_KEY_REMOVED, first);
    if (count > 1) CallbackAddEvent(YFCURVEEVENT_KEY_REMOVED, last);
    KeyModifyEnd();
    return true;
}

bool YFCurve::Delete(YTime start, YTime stop, bool inclusive)
{
    if (mKeyCount == 0 || start > stop) return false;
    const auto outside = [&](YTime time) {
        return inclusive ? time < start || time > stop : time <= start || time >= stop;
    };
    int first = std::max(static_cast<int>(std::ceil(KeyFind(start))), 0);
    int last = std::min(static_cast<int>(std::floor(KeyFind(stop))), mKeyCount - 1);
    if (first < mKeyCount && outside(KeyGetTime(first))) ++first;
    if (last >= 0 && outside(KeyGetTime(last))) --last;
    return Delete(first, last);
}

bool YFCurve::DeleteSelected()
{
    bool deleted = false;
    KeyModifyBegin();
    for (int last = mKeyCount - 1; last >= 0; --last) {
        if (!KeyGetSelected(last)) continue;
        int first = last;
        while (first > 0 && KeyGetSelected(first - 1)) --first;
        deleted |= Delete(first, last);
        last = first;
    }
    KeyModifyEnd();
    return deleted;
}

void YFCurve::KeyClear()
{
    KeyModifyBegin();
    mCandidateTime = YTIME_INFINITE;
    const int oldCount = mKeyCount;
    for (int i = 0; i < mKeyCount; ++i) yfc::ReleaseAttribute(Key(i).GetAttr());
    ReleaseStorage();
    mKeyCount = 0;
    CallbackAddEvent(YFCURVEEVENT_KEY_REMOVED, 0);
    CallbackAddEvent(YFCURVEEVENT_KEY_REMOVED, oldCount);
    KeyModifyEnd();
}
