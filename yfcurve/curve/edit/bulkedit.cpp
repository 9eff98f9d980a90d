// Edits of many keys in one call, in any order.

#include <algorithm>
#include <climits>
#include <new>

#include "yfcurve/curve/edit/descendingedit.h"
#include "yfcurve/curve/edit/draft.h"
#include "yfcurve/curve/edit/quietmodify.h"
#include "yfcurve/curve/keyaccess.h"

namespace {

// In the order of their times; of several for one time, the one given last.
std::vector<YFCurveKey> InOrder(std::span<const YFCurveKey> keys)
{
    std::vector<YFCurveKey> ordered(keys.begin(), keys.end());
    const auto isEarlier = [](const YFCurveKey& a, const YFCurveKey& b) { return a.GetTime() < b.GetTime(); };
    if (!std::is_sorted(ordered.begin(), ordered.end(), isEarlier)) {
        std::stable_sort(ordered.begin(), ordered.end(), isEarlier);
    }
    std::size_t count = 0;
    for (const YFCurveKey& key : ordered) {
        if (count > 0 && ordered[count - 1].GetTime() == key.GetTime()) --count;
        ordered[count++] = key;
    }
    ordered.resize(count);
    return ordered;
}

// A record for one key more: the default one where that is equal.
YFCurveKeyAttrReference RecordFor(const YPriFCurveKeyAttr& attr)
{
    if (!(attr == yfc::Attribute(yfc::kDefaultAttribute))) return yfc::MakeAttribute(attr);
    yfc::CountDefaultKeys(1);
    return yfc::kDefaultAttribute;
}

bool AreKeysOf(const YFCurve& curve, std::span<const int> indices)
{
    return std::all_of(indices.begin(), indices.end(),
                       [&](int index) { return index >= 0 && index < curve.KeyGetCount(); });
}

}  // namespace

// How many keys a curve has once others, in order of time, are added.
int YFCurve::CountWith(const std::vector<YFCurveKey>& added) const
{
    auto count = added.size() + static_cast<std::size_t>(mKeyCount);
    int next = 0;
    for (const YFCurveKey& key : added) {
        while (next < mKeyCount && Key(next).GetTime() < key.GetTime()) ++next;
        if (next == mKeyCount) break;
        if (Key(next).GetTime() == key.GetTime()) --count;
    }
    if (count > static_cast<std::size_t>(INT_MAX)) throw std::bad_alloc();
    return static_cast<int>(count);
}

// Gives a curve without keys those of another one and others that come in order of time, which replace keys at
// the same times; and the room of the other one. Records are shared with the source, whose end is near.
void YFCurve::MergeKeys(const YFCurve& source, const std::vector<YFCurveKey>& added)
{
    const int room = (source.mLastBlock + 1) * yfc::kKeysPerBlock;
    InitBuffers(std::max(source.CountWith(added), room), false);
    int next = 0;  // of the source
    int newKeys = 0;
    int firstNew = -1;
    int lastNew = -1;
    const auto keepNext = [&] {
        yfc::RetainAttribute(source.Key(next).GetAttr());
        Key(mKeyCount++) = source.Key(next++);
    };
    for (const YFCurveKey& key : added) {
        while (next < source.mKeyCount && source.Key(next).GetTime() < key.GetTime()) keepNext();
        const int index = mKeyCount;
        if (next < source.mKeyCount && source.Key(next).GetTime() == key.GetTime()) {
            keepNext();
            ReplaceKey(index, key);
            continue;
        }
        Key(index).SetAttr(RecordFor(key.GetKeyAttr()));
        Key(index).SetTime(key.GetTime());
        Key(index).SetValue(key.GetValue());
        ++mKeyCount;
        if (newKeys++ == 0) firstNew = index;
        lastNew = index;
    }
    while (next < source.mKeyCount) keepNext();
    if (newKeys > 0) ReportAdded(firstNew);
    if (newKeys < 2) return;
    ReportAdded(lastNew);
    const int between = 2 * (newKeys - 2);  // two changes a key, as where each is added alone
    mPendingEvent.count += between;
    IncrementUpdateId(between);
}

bool YFCurve::KeyAdd(std::span<const YFCurveKey> keys)
{
    if (keys.empty()) return true;
    return yfc::Guarded([&] {
        YFCurveDraft draft(*this, false);
        draft.Get().MergeKeys(*this, InOrder(keys));
        draft.Commit(YFCurveDraft::EKeys::Edited);
        return true;
    });
}

bool YFCurve::KeyAdd(std::span<const YTime> times, std::span<const float> values)
{
    return yfc::Guarded([&] {
        std::vector<YFCurveKey> keys(std::min(times.size(), values.size()));
        for (std::size_t i = 0; i < keys.size(); ++i) keys[i].Set(times[i], values[i]);
        return KeyAdd(keys);
    });
}

bool YFCurve::KeySet(std::span<const int> indices, std::span<const float> values)
{
    const std::size_t count = std::min(indices.size(), values.size());
    if (!AreKeysOf(*this, indices.first(count))) return false;
    if (count == 0) return true;
    const yfc::QuietModify modify(*this);
    for (std::size_t i = 0; i < count; ++i) KeySetValue(indices[i], values[i]);
    return true;
}

bool YFCurve::KeyRemove(std::span<const int> indices)
{
    if (!AreKeysOf(*this, indices)) return false;
    if (indices.empty()) return true;
    return yfc::Guarded([&] {
        std::vector<int> ordered(indices.begin(), indices.end());
        std::sort(ordered.begin(), ordered.end());
        ordered.erase(std::unique(ordered.begin(), ordered.end()), ordered.end());
        const yfc::AttributeReserve reserve(static_cast<std::int64_t>(ordered.size()));
        YFCurveDescendingEdit(*this).Delete(ordered);
        return true;
    });
}
