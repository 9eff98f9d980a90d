#include "yfcurve/manipulator/placing.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "yfcurve/manipulator/manipulation.h"
#include "yfcurve/yfcurvemanipulator.h"

namespace yfc {

namespace {

// Keys stay off the infinities, which mean that there is no time.
constexpr YTime kFirstTime = YFCurveManipulator::FirstTime;
constexpr YTime kLastTime = YFCurveManipulator::LastTime;

YTime Shifted(YTime time, YTime shift)
{
    std::int64_t sum;
    if (__builtin_add_overflow(time.Get(), shift.Get(), &sum)) {
        return shift > YTIME_ZERO ? kLastTime : kFirstTime;
    }
    return std::clamp(YTime(sum), kFirstTime, kLastTime);
}

// Ticks from one time to another as a shift.
YTime Difference(YTime from, YTime to)
{
    std::int64_t difference;
    if (__builtin_sub_overflow(to.Get(), from.Get(), &difference)) return to > from ? kLastTime : kFirstTime;
    return YTime(difference);
}

YTime Stretched(YTime time, YTime pivot, double factor)
{
    constexpr double limit = YFCurveManipulator::FarthestStretch;
    const double distance = static_cast<double>(Difference(pivot, time).Get()) * factor;
    return Shifted(pivot, YTime(std::llround(std::clamp(distance, -limit, limit))));
}

float Finite(double value)
{
    constexpr double limit = std::numeric_limits<float>::max();
    return static_cast<float>(std::clamp(value, -limit, limit));
}

bool IsEarlier(const PlacedKey& a, const PlacedKey& b)
{
    return a.time != b.time ? a.time < b.time : a.source < b.source;
}

void SortByTime(std::vector<PlacedKey>& keys)
{
    if (!std::is_sorted(keys.begin(), keys.end(), IsEarlier)) std::sort(keys.begin(), keys.end(), IsEarlier);
}

int LowerBound(const std::vector<YFCurveKey>& keys, YTime time)
{
    const auto found = std::lower_bound(keys.begin(), keys.end(), time,
                                        [](const YFCurveKey& key, YTime t) { return key.GetTime() < t; });
    return static_cast<int>(found - keys.begin());
}

int UpperBound(const std::vector<YFCurveKey>& keys, YTime time)
{
    return LowerBound(keys, time + YTIME_ONE_TICK);
}

// A node's time after a move on the host's time line. What does not move there keeps its tick.
YTime NodeTime(const YFCurveNode& node, YTime oldTime, YTime oldGlobal, YTime newGlobal)
{
    if (newGlobal == oldGlobal) return oldTime;
    return std::clamp(node.ETIGlobalTime2NodeTime(newGlobal), kFirstTime, kLastTime);
}

}  // namespace

// --- Change --------------------------------------------------------------------------------------------

double KeyChange::SlopeFactor() const
{
    constexpr double limit = 1e300;
    if (timeFactor == 0.0) return valueFactor;  // the keys meet; there is no slope to speak of
    return std::clamp(valueFactor / timeFactor, -limit, limit);
}

YTime KeyChange::MovedTime(YTime globalTime) const
{
    const YTime stretched = timeFactor == 1.0 ? globalTime : Stretched(globalTime, timePivot, timeFactor);
    return timeShift == YTIME_ZERO ? stretched : Shifted(stretched, timeShift);
}

float KeyChange::MovedValue(float value) const
{
    if (setsValue) return Finite(valueShift);
    if (valueFactor == 1.0 && valueShift == 0.0) return value;
    const double stretched =
        valueFactor == 1.0 ? value : (static_cast<double>(value) - valuePivot) * valueFactor + valuePivot;
    return Finite(stretched + valueShift);
}

// --- Placing -------------------------------------------------------------------------------------------

void KeyPlacing::Reserve(std::size_t keyCount)
{
    for (std::vector<PlacedKey>* keys : {&mMoved, &mRippled, &mStaying, &mKeys}) keys->reserve(keyCount);
}

KeyRun KeyPlacing::Place(const ManipulatedNode& manipulated, const KeyChange& change, bool keepMarkedInside,
                         KeyRun written)
{
    PlaceMoved(manipulated, change);
    FindRipple(manipulated, change);
    PlaceRippled(manipulated);
    FindNeeded(manipulated);
    const KeyRun run{std::min(mNeeded.begin, written.begin), std::max(mNeeded.end, written.end)};
    PlaceStaying(manipulated, run, keepMarkedInside);
    Merge();
    return run;
}

void KeyPlacing::PlaceMoved(const ManipulatedNode& manipulated, const KeyChange& change)
{
    const KeySnapshotSet& marked = *manipulated.marked;
    mMoved.clear();
    for (int i = 0; i < marked.GetCount(); ++i) {
        const KeySnapshot& snapshot = marked[change.Mirrors() ? marked.GetCount() - 1 - i : i];
        const YFCurveKey& key = manipulated.keys[static_cast<std::size_t>(snapshot.index)];
        PlacedKey placed;
        placed.source = snapshot.index;
        placed.time = NodeTime(*manipulated.node, key.GetTime(), snapshot.globalTime,
                               change.MovedTime(snapshot.globalTime));
        placed.value = change.MovedValue(key.GetValue());
        placed.moved = true;
        mMoved.push_back(placed);
    }
    SortByTime(mMoved);
}

void KeyPlacing::FindRipple(const ManipulatedNode& manipulated, const KeyChange& change)
{
    const KeySnapshotSet& marked = *manipulated.marked;
    const KeySnapshot& last = marked.GetLast();
    mRippleTime = YTIME_ZERO;
    mRippleValue = 0.0;
    if (change.rippleX) {
        const KeySnapshot& end = change.Mirrors() ? marked[0] : last;
        mRippleTime = Difference(last.globalTime, change.MovedTime(end.globalTime));
    }
    if (change.rippleY) {
        const auto value = static_cast<float>(last.value);
        mRippleValue = static_cast<double>(change.MovedValue(value)) - value;
        // A move is handed on as it is; that of the last key has been rounded.
        if (change.valueFactor == 1.0) mRippleValue = change.valueShift;
    }
    mRipples = mRippleTime != YTIME_ZERO || mRippleValue != 0.0;
    mAllRipple = change.rippleAllY && mRippleValue != 0.0;
}

void KeyPlacing::PlaceRippled(const ManipulatedNode& manipulated)
{
    mRippled.clear();
    if (!mRipples) return;
    const int count = static_cast<int>(manipulated.keys.size());
    for (int i = manipulated.Last() + 1; i < count; ++i) {
        const YFCurveKey& key = manipulated.keys[static_cast<std::size_t>(i)];
        PlacedKey placed;
        placed.source = i;
        placed.time = key.GetTime();
        placed.value = Finite(key.GetValue() + mRippleValue);
        if (mRippleTime != YTIME_ZERO) {
            const YTime global = (*manipulated.all)[i].globalTime;
            placed.time = NodeTime(*manipulated.node, key.GetTime(), global, Shifted(global, mRippleTime));
        }
        mRippled.push_back(placed);
    }
    SortByTime(mRippled);
}

// The keys from one before those that a moved or rippled key leaves, passes or lands on. That one is not
// moved itself, but stores the tangent of the key that comes to follow it.
void KeyPlacing::FindNeeded(const ManipulatedNode& manipulated)
{
    const std::vector<YFCurveKey>& keys = manipulated.keys;
    mNeeded = {manipulated.First(), mRipples ? static_cast<int>(keys.size()) : manipulated.Last() + 1};
    for (const std::vector<PlacedKey>* placed : {&mMoved, &mRippled}) {
        if (placed->empty()) continue;
        mNeeded.begin = std::min(mNeeded.begin, LowerBound(keys, placed->front().time));
        mNeeded.end = std::max(mNeeded.end, UpperBound(keys, placed->back().time));
    }
    mNeeded.begin = mAllRipple ? 0 : std::max(mNeeded.begin - 1, 0);
}

void KeyPlacing::PlaceStaying(const ManipulatedNode& manipulated, KeyRun run, bool keepMarkedInside)
{
    mStaying.clear();
    const int end = mRipples ? std::min(run.end, manipulated.Last() + 1) : run.end;
    for (int i = run.begin; i < end; ++i) {
        const YFCurveKey& key = manipulated.keys[static_cast<std::size_t>(i)];
        const bool marked = key.GetMarkedForManipulation();
        if (marked && !keepMarkedInside) continue;
        PlacedKey placed;
        placed.source = i;
        placed.time = key.GetTime();
        placed.value = key.GetValue();
        placed.copy = marked;
        if (mAllRipple && !marked) placed.value = Finite(key.GetValue() + mRippleValue);
        mStaying.push_back(placed);
    }
}

// At one time moved keys go before rippled ones, and these before those that stay; of the moved ones the last
// remains.
void KeyPlacing::Merge()
{
    mKeys.clear();
    struct
    {
        const PlacedKey* next;
        const PlacedKey* end;
    } lists[] = {{mStaying.data(), mStaying.data() + mStaying.size()},
                 {mRippled.data(), mRippled.data() + mRippled.size()},
                 {mMoved.data(), mMoved.data() + mMoved.size()}};
    while (true) {
        const PlacedKey** earliest = nullptr;
        for (auto& list : lists) {
            if (list.next == list.end) continue;
            if (earliest == nullptr || list.next->time < (*earliest)->time) earliest = &list.next;
        }
        if (earliest == nullptr) return;
        if (!mKeys.empty() && mKeys.back().time == (*earliest)->time) mKeys.pop_back();
        mKeys.push_back(*(*earliest)++);
    }
}

}  // namespace yfc
