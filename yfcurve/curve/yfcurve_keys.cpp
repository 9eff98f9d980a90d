// Finding, adding, replacing and removing keys.
//
// Finding tries the segments beside the hint first, since that is where playback goes on; then a guess,
// around which four keys are compared without branches. In a large curve a search costs mispredicted branches
// and the cache misses of its probes, so it makes few probes.

#include <algorithm>
#include <cmath>
#include <vector>

#include "yfcurve/curve/edit/descendingedit.h"
#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/yfcurve.h"

// --- Finding -------------------------------------------------------------------------------------------

namespace {

// Steps from the hint grow by this factor: a probe far away costs a cache miss, so that few of them and a
// wider bracket win.
constexpr int kReachFactor = 64;

// Motion is sampled evenly, give or take: the first guess is next to the key or, where the steps add up like
// a random walk, off by the root of the bracket. It is followed up that far, by steps that grow by a factor,
// and repeated in what is left; more would only help an adversary.
constexpr int kGuessFactor = 8;
constexpr int kGuessReach = 512;
constexpr int kGuesses = 2;
constexpr int kSmallBracket = 8;

}  // namespace

// Narrows a bracket, time of key low <= time < time of key high, around the place that the key would have if
// those between were evenly spaced.
void YFCurve::NarrowByGuess(YTime time, int& low, int& high) const
{
    const double share =
        yfc::Ticks(Key(low).GetTime(), time) / yfc::Ticks(Key(low).GetTime(), Key(high).GetTime());
    const int guess = std::clamp(low + static_cast<int>(share * (high - low)), low, high - 1);
    if (time < Key(guess).GetTime()) {
        high = guess;
        for (int step = 1; step <= kGuessReach && high - step > low; step *= kGuessFactor) {
            if (Key(high - step).GetTime() <= time) {
                low = high - step;
                return;
            }
            high -= step;
        }
    } else {
        low = guess;
        for (int step = 1; step <= kGuessReach && low + step < high; step *= kGuessFactor) {
            if (time < Key(low + step).GetTime()) {
                high = low + step;
                return;
            }
            low += step;
        }
    }
}

// The last key at or before a time that lies in such a bracket.
int YFCurve::FindInBracket(YTime time, int low, int high) const
{
    for (int i = 0; i < kGuesses && high - low > kSmallBracket; ++i) NarrowByGuess(time, low, high);
    while (high - low > 1) {
        const int middle = low + (high - low) / 2;
        int& bound = time < Key(middle).GetTime() ? high : low;
        bound = middle;
    }
    return low;
}

// The following find the last key at or before a time; -1 where they do not get that far.

// Among the two segments on the time's side of key `from`.
int YFCurve::FindNear(YTime time, int from, bool after) const
{
    if (after) {
        for (int i = from; i < std::min(from + 2, mKeyCount - 1); ++i) {
            if (time < Key(i + 1).GetTime()) return i;
        }
    } else {
        for (int i = from - 1; i >= std::max(from - 2, 0); --i) {
            if (Key(i).GetTime() <= time) return i;
        }
    }
    return -1;
}

// Where the key would be if all were evenly spaced, or one beside it. Compared without branches, which would
// be mispredicted every other time, each time for a cache miss.
int YFCurve::FindByGuess(YTime time) const
{
    const int lastKey = mKeyCount - 1;
    const double share =
        yfc::Ticks(Key(0).GetTime(), time) / yfc::Ticks(Key(0).GetTime(), Key(lastKey).GetTime());
    const int guess = static_cast<int>(share * lastKey);
    if (guess < 1 || guess + 2 > lastKey) return -1;
    const bool beyondFirst = Key(guess - 1).GetTime() <= time;
    const bool beyondLast = Key(guess + 2).GetTime() <= time;
    const int beyondInner =
        (Key(guess).GetTime() <= time ? 1 : 0) + (Key(guess + 1).GetTime() <= time ? 1 : 0);
    return beyondFirst && !beyondLast ? guess - 1 + beyondInner : -1;
}

// By steps of growing reach from key `from`, so that the cost grows with the logarithm of the distance at
// most, helped by a guess at the rest.
int YFCurve::Gallop(YTime time, int from, bool after) const
{
    int low = after ? from : 0;
    int high = after ? mKeyCount - 1 : from;
    NarrowByGuess(time, low, high);
    for (std::int64_t reach = kReachFactor; high - low > kGuessReach && reach < mKeyCount;
         reach *= kReachFactor) {
        const int probe = after ? from + static_cast<int>(reach) : from - static_cast<int>(reach);
        if (probe <= low || probe >= high) continue;
        const bool below = Key(probe).GetTime() <= time;
        int& bound = below ? low : high;
        bound = probe;
        if (below != after) break;
    }
    return FindInBracket(time, low, high);
}

YFCurve::FoundSegment YFCurve::FindSegment(YTime time, int hint) const
{
    const int lastKey = mKeyCount - 1;
    const int from = std::clamp(hint, 0, lastKey);
    const YTime fromTime = Key(from).GetTime();
    if (time == fromTime) return {FoundSegment::kOnKey, from, from};
    const bool after = fromTime < time;
    int index = FindNear(time, from, after);
    if (index < 0) {
        if (time < Key(0).GetTime()) return {FoundSegment::kBefore, 0, 0};
        const YTime end = Key(lastKey).GetTime();
        if (time == end) return {FoundSegment::kOnKey, lastKey, lastKey};
        if (time > end) return {FoundSegment::kAfter, lastKey, mKeyCount};
        index = FindByGuess(time);
        if (index < 0) index = Gallop(time, from, after);
    }
    if (Key(index).GetTime() == time) return {FoundSegment::kOnKey, index, index};
    return {FoundSegment::kInside, index, after ? index + 1 : index};
}

double YFCurve::PositionIn(const FoundSegment& found, YTime time) const
{
    if (found.place == FoundSegment::kBefore) return -0.5;
    if (found.place == FoundSegment::kAfter) return mKeyCount - 0.5;
    if (found.place == FoundSegment::kOnKey) return found.index;
    const YTime start = Key(found.index).GetTime();
    const YTime stop = Key(found.index + 1).GetTime();
    return found.index + yfc::Ticks(start, time) / yfc::Ticks(start, stop);
}

double YFCurve::KeyFind(YTime time, int* last) const
{
    if (mKeyCount == 0) return -1.0;
    int& hint = last ? *last : mLastFound;
    const FoundSegment found = FindSegment(time, hint);
    hint = found.hint;
    return PositionIn(found, time);
}

// The key exactly at a time, else -1.
int YFCurve::KeyAt(YTime time, int* last) const
{
    if (mKeyCount == 0) return -1;
    const FoundSegment found = FindSegment(time, *last);
    *last = found.hint;
    return found.place == FoundSegment::kOnKey ? found.index : -1;
}

// A position may round to a key that is a tick away, hence the second look.
int yfc::FirstKeyFrom(const YFCurve& curve, YTime time)
{
    int hint = 0;
    const int index = std::max(static_cast<int>(std::ceil(curve.KeyFind(time, &hint))), 0);
    return index < curve.KeyGetCount() && curve.KeyGetTime(index) < time ? index + 1 : index;
}

int yfc::LastKeyUntil(const YFCurve& curve, YTime time)
{
    int hint = 0;
    const int index =
        std::min(static_cast<int>(std::floor(curve.KeyFind(time, &hint))), curve.KeyGetCount() - 1);
    return index >= 0 && curve.KeyGetTime(index) > time ? index - 1 : index;
}

yfc::OuterKeys::OuterKeys(std::initializer_list<const YFCurve*> curves)
{
    for (const YFCurve* curve : curves) {
        if (curve->KeyGetCount() == 0) continue;
        first = std::min(first, curve->KeyGetTime(0));
        last = std::max(last, curve->KeyGetTime(curve->KeyGetCount() - 1));
    }
}

// --- Reading and replacing -----------------------------------------------------------------------------

int YFCurve::KeyGetSelectionCount() const
{
    int count = 0;
    for (int i = 0; i < mKeyCount; ++i) count += KeyGetSelected(i);
    return count;
}

YFCurveKey YFCurve::KeyGet(int index) const
{
    return YFCurveKey(Key(index), Attr(index));
}

bool YFCurve::KeySet(int index, const YFCurveKey& key)
{
    if (index < 0 || index > mKeyCount) return false;
    const YTime time = key.GetTime();
    if (index >= 1 && time <= KeyGetTime(index - 1)) return false;
    if (index < mKeyCount - 1 && time >= KeyGetTime(index + 1)) return false;
    return yfc::Guarded([&] {
        const yfc::AttributeReserve reserve(1);
        if (index == mKeyCount) InitBuffers(mKeyCount + 1, false);
        ReplaceKey(index, key);
        return true;
    });
}

void YFCurve::ReplaceKey(int index, const YFCurveKey& key)
{
    mCandidateTime = YTIME_INFINITE;
    const YTime time = key.GetTime();
    YPriFCurveKey& packed = Key(index);
    const bool added = index == mKeyCount;
    const bool moved = packed.GetTime() != time || packed.GetValue() != key.GetValue();
    const std::uint32_t updateId = mUpdateId;
    packed.SetTime(time);
    packed.SetValue(key.GetValue());
    KeyAttrSet(index, key.GetKeyAttr());
    // Equal attributes raise nothing by themselves, but listeners want to know of the rest.
    if (!added && moved && mUpdateId == updateId) CallbackAddEvent(YFCURVEEVENT_KEY_REPLACED, index);
}

bool YFCurve::KeySet(int index, const YFCurve* source, int sourceIndex)
{
    return source != nullptr && KeySet(index, source->KeyGet(sourceIndex));
}

bool YFCurve::KeySet(int index, YTime time, float value, unsigned interpolation, unsigned tangentMode,
                     float data0, float data1, unsigned weightMode, float weight0, float weight1,
                     float velocity0, float velocity1)
{
    YFCurveKey key = index >= 0 && index < mKeyCount ? KeyGet(index) : YFCurveKey();
    key.Set(time, value, interpolation, tangentMode, data0, data1, weightMode, weight0, weight1, velocity0,
            velocity1);
    return KeySet(index, key);
}

// --- Adding --------------------------------------------------------------------------------------------

// Listeners to replaced keys alone hear of it too.
void YFCurve::ReportAdded(int index)
{
    if (!IsHeard()) {
        mUpdateId += 2;
        return;
    }
    CallbackAddEvent(YFCURVEEVENT_KEY_REPLACED, index);
    CallbackAddEvent(YFCURVEEVENT_KEY_ADDED, index);
}

// Makes a key of a slot that is free for it. The hint, which may be null, is left at the key.
inline int YFCurve::FillSlot(int index, YTime time, const YFCurveKey& key, int* last)
{
    YPriFCurveKey& packed = Key(index);
    packed.SetTime(time);
    packed.SetValue(key.GetValue());
    packed.SetAttr(yfc::MakeAttribute(key.GetKeyAttr()));
    if (last) *last = index;
    ReportAdded(index);
    return index;
}

int YFCurve::KeyAdd(YTime time, const YFCurveKey& key, int* last)
{
    const auto index = static_cast<unsigned>(mKeyCount);
    const bool hasRoom = static_cast<int>(index / yfc::kKeysPerBlock) <= mLastBlock;
    // Behind the last key, with a slot and a record at hand: nothing here can run out of memory.
    if (hasRoom && yfc::KeptCount() > 0 && (index == 0 || Key(mKeyCount - 1).GetTime() < time)) {
        mCandidateTime = YTIME_INFINITE;
        ++mKeyCount;
        return FillSlot(static_cast<int>(index), time, key, last ? last : &mLastFound);
    }
    return yfc::GuardedOr(-1, [&] {
        const yfc::AttributeReserve reserve(1);
        if (!hasRoom) InitBuffers(mKeyCount + 1, false);
        mCandidateTime = YTIME_INFINITE;
        return AddKey(time, key, last);
    });
}

int YFCurve::AddKey(YTime time, const YFCurveKey& key, int* last)
{
    const int end = mKeyCount;
    if (end == 0 || Key(end - 1).GetTime() < time) {
        ++mKeyCount;
        return FillSlot(end, time, key, last ? last : &mLastFound);
    }
    int& hint = last ? *last : mLastFound;
    const FoundSegment found = FindSegment(time, hint);
    hint = found.hint;
    if (found.place == FoundSegment::kOnKey) {
        YFCurveKey replacement = key;
        replacement.SetTime(time);
        KeySet(found.index, replacement);
        return found.index;
    }
    const int index = found.place == FoundSegment::kBefore ? 0 : found.index + 1;
    OpenSlot(index);
    return FillSlot(index, time, key, last);
}

int YFCurve::KeyAdd(YTime time, const YFCurve* source, int sourceIndex, int* last)
{
    return source != nullptr ? KeyAdd(time, source->KeyGet(sourceIndex), last) : -1;
}

int YFCurve::KeyAdd(YTime time, int* last)
{
    int hint = last ? *last : mLastFound;
    const int existing = KeyAt(time, &hint);
    YFCurveKey key;
    if (existing < 0) key.Set(time, Evaluate(time, &hint));
    const int index = existing < 0 ? KeyAdd(time, key, &hint) : existing;
    if (last) *last = hint;
    return index;
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
    if (index / yfc::kKeysPerBlock > mLastBlock && !MakeRoom(index + 1)) return -1;
    mCandidateTime = YTIME_INFINITE;
    YPriFCurveKey& key = Key(index);
    key.SetTime(time);
    key.SetValue(value);
    key.SetAttr(yfc::kDefaultAttribute);
    yfc::CountDefaultKeys(1);
    ++mKeyCount;
    CallbackAddEvent(YFCURVEEVENT_KEY_ADDED, index);
    return index;
}

// --- Removing ------------------------------------------------------------------------------------------

bool YFCurve::KeyRemove(int index)
{
    return Delete(index, index);
}

bool YFCurve::Delete(int first, int last)
{
    if (first < 0 || last >= mKeyCount || last < first) return false;
    return yfc::Guarded([&] {
        const yfc::AttributeReserve reserve(1);  // for the in-tangent that stays
        RemoveKeys(first, last);
        return true;
    });
}

void YFCurve::RemoveKeys(int first, int last)
{
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
    if (following && first > 0) KeySetLeftDerivativeInfo(first, yfc::StoredAgain(left));
    CallbackAddEvent(YFCURVEEVENT_KEY_REMOVED, first);
    if (count > 1) CallbackAddEvent(YFCURVEEVENT_KEY_REMOVED, last);
    KeyModifyEnd();
}

bool YFCurve::Delete(YTime start, YTime stop, bool inclusive)
{
    if (mKeyCount == 0 || start > stop) return false;
    int first = yfc::FirstKeyFrom(*this, start);
    int last = yfc::LastKeyUntil(*this, stop);
    if (!inclusive && first < mKeyCount && KeyGetTime(first) == start) ++first;
    if (!inclusive && last >= 0 && KeyGetTime(last) == stop) --last;
    return Delete(first, last);
}

bool YFCurve::DeleteSelected()
{
    return yfc::Guarded([&] {
        std::vector<int> selected;
        for (int i = 0; i < mKeyCount; ++i) {
            if (KeyGetSelected(i)) selected.push_back(i);
        }
        const yfc::AttributeReserve reserve(static_cast<std::int64_t>(selected.size()));
        YFCurveDescendingEdit(*this).Delete(selected);
        return !selected.empty();
    });
}

void YFCurve::KeyClear()
{
    KeyModifyBegin();
    mCandidateTime = YTIME_INFINITE;
    const int oldCount = mKeyCount;
    ReleaseKeys();
    CallbackAddEvent(YFCURVEEVENT_KEY_REMOVED, 0);
    CallbackAddEvent(YFCURVEEVENT_KEY_REMOVED, oldCount);
    KeyModifyEnd();
}
