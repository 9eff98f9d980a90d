// An operation of a drag starts from the keys as they were at its beginning and never from the curve, which
// is why an amount replaces the one before. `placing.cpp` gives the marked keys their new times and values,
// finds what ripples, and merges the keys that move, ripple and stay: only those that the change touches are
// looked at, and those that the last call touched. `composing.cpp` writes what they store. The exchange
// (`exchange.h`) compares with what is in the curve and writes what differs, in one bracket. Where the
// curve's update id tells that it was edited since by other means, all keys are written.

#include "yfcurve/manipulator/manipulation.h"

#include <algorithm>
#include <new>

#include "yfcurve/curve/edit/exchange.h"
#include "yfcurve/curve/edit/pieces.h"
#include "yfcurve/curve/edit/storage.h"
#include "yfcurve/curve/pool/keyattributes.h"
#include "yfcurve/yfcurvemanipulator.h"

namespace yfc {

namespace {

// An empty curve with the settings of another one.
YFCurvePtr Emptied(const YFCurve& curve)
{
    YFCurvePtr emptied(new YFCurve());
    emptied->CopyFrom(curve, false);
    return emptied;
}

// The keys of a run that `takes` says, each with both its tangents.
template<class Takes>
YFCurvePtr Picked(const YFCurve& curve, KeyRun run, const Takes& takes)
{
    YFCurvePtr picked = Emptied(curve);
    const YFCurveModify modify(*picked);
    for (int i = run.begin; i < run.end;) {
        int end = i;
        while (end < run.end && takes(end)) ++end;
        if (end > i) {
            const int first = YFCurvePieces::Append(*picked, {&curve, i, end - 1});
            if (first > 0) CarryLeftTangent(*picked, first, curve.KeyGetLeftDerivativeInfo(i));
        }
        i = std::max(end, i + 1);
    }
    return picked;
}

YTime StartOf(const YFCurve& curve)
{
    return curve.KeyGetCount() > 0 ? curve.KeyGetTime(0) : YTIME_INFINITE;
}

// The editing state of the copy of a key that stays behind.
std::uint32_t StateOfCopy(std::uint32_t state)
{
    if ((state & YFCURVE_SELECTED) != 0) state &= ~(YFCURVE_SELECTED | YFCURVE_SELECTED_COMPANIONS);
    return state & ~std::uint32_t{YFCURVE_MARKED_FOR_MANIPULATION};
}

// Takes over the editing states of `count` keys of the curve, from `first` on. Others may have added and
// removed keys since the last operation, so keys are told by their times.
void TakeOverStates(ManipulatedNode& manipulated, int first, int count)
{
    const YFCurve& curve = *manipulated.curve;
    const int expectedCount = manipulated.CurveCount();
    int at = first;
    for (int i = first; i < first + count; ++i) {
        const YTime time = curve.KeyGetTime(i);
        while (at < expectedCount && manipulated.At(at).time < time) ++at;
        if (at == expectedCount) return;
        const PlacedKey expected = manipulated.At(at);
        if (expected.time != time) continue;
        const YFCurveKeyAttrReference attr = curve.InternalPriKeyGetPtr(i)->GetAttr();
        manipulated.State(expected) = Attribute(attr).GetFlags() & kEditingState;
    }
}

// The next operation has to write all keys.
void RememberAllAsWritten(ManipulatedNode& manipulated)
{
    std::vector<PlacedKey>& placed = manipulated.placed;  // which has room for all
    const int keyCount = static_cast<int>(manipulated.keys.size());
    for (int i = manipulated.written.end; i < keyCount; ++i) placed.push_back(manipulated.Original(i));
    const auto before = static_cast<std::ptrdiff_t>(placed.size());
    for (int i = 0; i < manipulated.written.begin; ++i) placed.push_back(manipulated.Original(i));
    std::rotate(placed.begin(), placed.begin() + before, placed.end());
    manipulated.written = {0, keyCount};
}

}  // namespace

// --- One node ------------------------------------------------------------------------------------------

PlacedKey ManipulatedNode::At(int index) const
{
    const int behind = index - written.begin - WrittenCount();
    if (index >= written.begin && behind < 0) return placed[static_cast<std::size_t>(index - written.begin)];
    return Original(index < written.begin ? index : written.end + behind);
}

PlacedKey ManipulatedNode::Original(int source) const
{
    const YFCurveKey& key = keys[static_cast<std::size_t>(source)];
    return {source, key.GetTime(), key.GetValue()};
}

bool ManipulatedNode::IsManipulated() const
{
    if (!node || First() < 0) return false;
    const YFCurve* taken = curve.Get();
    return taken != nullptr && node->FCurveGet() == taken && !node->IsNodeLocked() && !taken->IsLocked();
}

// --- Taking up -----------------------------------------------------------------------------------------

void Manipulation::Add(YFCurveNode& node)
{
    ManipulatedNode& manipulated = mNodes.emplace_back();
    YFCurve& curve = *node.FCurveGet();
    manipulated.node = &node;
    manipulated.curve = &curve;
    if (manipulated.curve.Get() == nullptr) throw std::bad_alloc();
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        manipulated.keys.push_back(curve.KeyGet(i));
        manipulated.states.push_back(manipulated.keys.back().GetFlags() & kEditingState);
        if (mKeepMarkedInside) manipulated.copyStates.push_back(StateOfCopy(manipulated.states.back()));
    }
    TakeSets(manipulated);
    TakeSpan(manipulated);
    TakeOutside(manipulated);
    Recompose(manipulated);
    if (manipulated.First() >= 0) manipulated.written = {manipulated.First(), manipulated.Last() + 1};
    for (int i = manipulated.written.begin; i < manipulated.written.end; ++i) {
        const YFCurveKey& key = manipulated.keys[static_cast<std::size_t>(i)];
        manipulated.placed.push_back({i, key.GetTime(), key.GetValue(), key.GetMarkedForManipulation()});
    }
    manipulated.updateId = curve.GetValuesUpdateId();
}

void Manipulation::TakeSets(ManipulatedNode& manipulated)
{
    for (auto* set : {&manipulated.marked, &manipulated.inside, &manipulated.before, &manipulated.after,
                      &manipulated.all}) {
        *set = std::make_unique<KeySnapshotSet>(*mPool);
    }
    const YFCurve& curve = *manipulated.curve;
    const int count = curve.KeyGetCount();
    int first = -1;
    int last = -1;
    for (int i = 0; i < count; ++i) {
        if (!curve.KeyGetMarkedForManipulation(i)) continue;
        if (first < 0) first = i;
        last = i;
    }
    for (int i = 0; i < count; ++i) {
        KeySnapshot* snapshot = manipulated.all->Add(TakeSnapshot(*manipulated.node, curve, i));
        if (i < first) {
            manipulated.before->Share(snapshot);
        } else if (i > last) {
            manipulated.after->Share(snapshot);
        } else {
            KeySnapshotSet& inSpan = snapshot->marked ? *manipulated.marked : *manipulated.inside;
            inSpan.Share(snapshot);
        }
    }
}

void Manipulation::TakeSpan(ManipulatedNode& manipulated) const
{
    const YFCurve& curve = *manipulated.curve;
    const int first = manipulated.First();
    const int last = manipulated.Last();
    const KeyRun span{std::max(first, 0), last + 1};
    const auto isMarked = [&](int index) { return curve.KeyGetMarkedForManipulation(index); };
    manipulated.markedCurve = Picked(curve, span, isMarked);
    manipulated.insideCurve =
        Picked(curve, span, [&](int index) { return mKeepMarkedInside || !isMarked(index); });
    if (first < 0) return;
    if (mKeepMarkedInside) {
        YFCurve& inside = *manipulated.insideCurve;
        const YFCurveModify modify(inside);
        for (int i = 0; i < inside.KeyGetCount(); ++i) {
            if (!inside.KeyGetMarkedForManipulation(i)) continue;
            inside.KeySetMarkedForManipulation(i, false);
            inside.KeySetSelected(i, false);
        }
    }
    manipulated.spanStart = curve.KeyGetLeftDerivativeInfo(first);
    for (int i = last; i >= first; --i) {
        if (!mKeepMarkedInside && isMarked(i)) continue;
        manipulated.spanEnd = curve.KeyGetLeftDerivativeInfo(i);
        break;
    }
}

void Manipulation::TakeOutside(ManipulatedNode& manipulated) const
{
    const YFCurve& curve = *manipulated.curve;
    const auto all = [](int) { return true; };
    const int after = manipulated.Last() + 1;
    manipulated.beforeCurve = Picked(curve, {0, manipulated.First()}, all);
    manipulated.afterCurve = Picked(curve, {after, curve.KeyGetCount()}, all);
    if (after < curve.KeyGetCount()) manipulated.afterLeft = curve.KeyGetLeftDerivativeInfo(after);
}

void Manipulation::Recompose(ManipulatedNode& manipulated) const
{
    manipulated.wholeCurve = Emptied(*manipulated.curve);
    if (!mKeepMarkedInside) {
        manipulated.wholeCurve->CopyFrom(*manipulated.curve);
        return;
    }
    const YFCurve& before = *manipulated.beforeCurve;
    const YFCurve& inside = *manipulated.insideCurve;
    const YFCurve& after = *manipulated.afterCurve;
    const YFCurve& marked = *manipulated.markedCurve;
    YFCurveManipulator::RecomposeFCurve(manipulated.wholeCurve.get(), &before, StartOf(before), {}, &inside,
                                        StartOf(inside), manipulated.spanEnd, &after, StartOf(after),
                                        manipulated.afterLeft, &marked, StartOf(marked),
                                        manipulated.spanStart);
}

void Manipulation::Reserve()
{
    std::size_t most = 0;
    for (ManipulatedNode& manipulated : mNodes) {
        if (!manipulated.node) continue;
        const auto copies = static_cast<std::size_t>(manipulated.marked->GetCount());
        manipulated.placed.reserve(manipulated.keys.size() + copies);
        most = std::max(most, manipulated.placed.capacity());
    }
    mPlacing.Reserve(most);
    mComposed.reserve(most);
}

std::int64_t Manipulation::MakeRoom() const
{
    std::int64_t records = 0;
    for (const ManipulatedNode& manipulated : mNodes) {
        if (!manipulated.IsManipulated()) continue;
        const int most = static_cast<int>(manipulated.keys.size()) + manipulated.marked->GetCount();
        YFCurve& curve = *manipulated.curve;
        YFCurveStorage::MakeRoom(curve, std::max(most, curve.KeyGetCount()));
        records += most;
    }
    return records;
}

void Manipulation::KeepOnly(const YArrayTemplate<YSpObject<YFCurveNode>>& nodes)
{
    for (ManipulatedNode& manipulated : mNodes) {
        if (manipulated.node && nodes.Find(manipulated.node) < 0) manipulated = ManipulatedNode();
    }
    if (mFollowedNode && nodes.Find(mFollowedNode) < 0) Follow(nullptr, -1);
}

const ManipulatedNode* Manipulation::Find(const YFCurveNode* node) const
{
    const auto found = std::find_if(mNodes.begin(), mNodes.end(), [&](const ManipulatedNode& manipulated) {
        return node != nullptr && manipulated.node == node;
    });
    return found == mNodes.end() ? nullptr : &*found;
}

void Manipulation::Follow(YFCurveNode* node, int index)
{
    mFollowedNode = node;
    mFollowedNow = index;
    const ManipulatedNode* manipulated = Find(node);
    if (manipulated == nullptr) return;
    mFollowedNode.Reset();  // as long as it may be a key that the host has added
    const YFCurve* curve = manipulated->curve.Get();
    if (curve == nullptr || index < 0 || index >= curve->KeyGetCount()) return;
    for (int i = 0; i < manipulated->CurveCount(); ++i) {
        if (manipulated->At(i).time != curve->KeyGetTime(index)) continue;
        mFollowedKey = manipulated->At(i);
        mFollowedNode = node;
        return;
    }
}

// --- Applying ------------------------------------------------------------------------------------------

void Manipulation::Apply(const KeyChange& change)
{
    const unsigned call = ++mCalls;
    for (ManipulatedNode& manipulated : mNodes) {
        if (!manipulated.IsManipulated()) continue;
        Apply(manipulated, change);
        if (mCalls != call) return;  // a listener has ended it, or given all nodes another change
    }
}

void Manipulation::Apply(ManipulatedNode& manipulated, const KeyChange& change)
{
    const YFCurve& curve = *manipulated.curve;
    const bool untouched =
        curve.KeyGetCount() == manipulated.CurveCount() && curve.GetValuesUpdateId() == manipulated.updateId;
    KeyRun written = manipulated.written;
    int writtenCount = manipulated.WrittenCount();
    if (!untouched) {  // other code has changed the keys: all of them are written
        written = {0, static_cast<int>(manipulated.keys.size())};
        writtenCount = curve.KeyGetCount();
    }
    const KeyRun run = mPlacing.Place(manipulated, change, mKeepMarkedInside, written);
    const int replaced = writtenCount + run.GetCount() - written.GetCount();
    TakeOverStates(manipulated, run.begin, replaced);
    ComposeKeys(manipulated, change, mPlacing.GetKeys(), run, mComposed);
    const KeyRun needed = mPlacing.GetNeeded();
    const std::vector<PlacedKey>& placed = mPlacing.GetKeys();
    manipulated.written = needed;
    manipulated.placed.assign(placed.begin() + (needed.begin - run.begin),
                              placed.end() - (run.end - needed.end));
    if (mFollowedNode && manipulated.node == mFollowedNode) FollowKey(run);
    if (YFCurveExchange::Differs(curve, run.begin, replaced, mComposed) || change.Mirrors()) {
        Exchange(manipulated, change, run, replaced);
    }
}

void Manipulation::Exchange(ManipulatedNode& manipulated, const KeyChange& change, KeyRun run, int replaced)
{
    const YSpObject<YFCurve> curve = manipulated.curve;
    const bool sharing = YFCurveStorage::SetSharing(*curve, false);  // originals are restored to the bit
    {
        const YFCurveModify modify(*curve);
        YFCurveExchange::Apply(*curve, run.begin, replaced, mComposed);
        if (HoldMirroredSlopes(*curve, run.begin, manipulated, change, mPlacing.GetKeys())) {
            RememberAllAsWritten(manipulated);
        }
        manipulated.updateId = curve->GetValuesUpdateId();
    }
    if (curve) YFCurveStorage::SetSharing(*curve, sharing);  // a listener may have destroyed it
}

void Manipulation::FollowKey(KeyRun run)
{
    const std::vector<PlacedKey>& keys = mPlacing.GetKeys();
    mFollowedNow = mFollowedKey.source;
    if (mFollowedKey.source < run.begin) return;
    if (mFollowedKey.source >= run.end) {
        mFollowedNow += static_cast<int>(keys.size()) - run.GetCount();
        return;
    }
    const auto found = std::find_if(keys.begin(), keys.end(), [&](const PlacedKey& key) {
        return key.source == mFollowedKey.source && key.copy == mFollowedKey.copy;
    });
    mFollowedNow = found == keys.end() ? -1 : run.begin + static_cast<int>(found - keys.begin());
}

}  // namespace yfc
