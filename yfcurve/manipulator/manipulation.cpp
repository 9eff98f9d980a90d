#include "yfcurve/manipulator/manipulation.h"

#include <algorithm>

#include "yfcurve/curve/shape.h"
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
            const int first = YFCurveShape::Append(*picked, {&curve, i, end - 1});
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

}  // namespace

// --- Taking up -----------------------------------------------------------------------------------------

void Manipulation::Add(YFCurveNode& node)
{
    ManipulatedNode& manipulated = mNodes.emplace_back();
    YFCurve& curve = *node.FCurveGet();
    manipulated.node = &node;
    manipulated.curve = &curve;
    for (int i = 0; i < curve.KeyGetCount(); ++i) manipulated.keys.push_back(curve.KeyGet(i));
    TakeSets(manipulated);
    TakeSpan(manipulated);
    TakeOutside(manipulated);
    Recompose(manipulated);
    const int first = std::max(manipulated.First(), 0);
    manipulated.written = {first, first};
    manipulated.curveCount = curve.KeyGetCount();
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
        KeySnapshotSet& inSpan = snapshot->marked ? *manipulated.marked : *manipulated.inside;
        (i < first ? *manipulated.before : i > last ? *manipulated.after : inSpan).Share(snapshot);
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
    for (const ManipulatedNode& manipulated : mNodes) {
        if (manipulated.node == nullptr) continue;
        const auto copies = static_cast<std::size_t>(manipulated.marked->GetCount());
        most = std::max(most, manipulated.keys.size() + copies);
    }
    mPlacing.Reserve(most);
    mComposed.reserve(most);
}

void Manipulation::KeepOnly(const YArrayTemplate<YFCurveNode*>& nodes)
{
    for (ManipulatedNode& manipulated : mNodes) {
        if (nodes.Find(manipulated.node) < 0) manipulated = ManipulatedNode();
    }
    if (nodes.Find(mFollowedNode) < 0) Follow(nullptr, -1);
}

void Manipulation::Follow(YFCurveNode* node, int index)
{
    mFollowedNode = node;
    mFollowedKey = mFollowedNow = index;
}

// --- Applying ------------------------------------------------------------------------------------------

void Manipulation::Apply(const KeyChange& change)
{
    const unsigned call = ++mCalls;
    for (ManipulatedNode& manipulated : mNodes) {
        if (manipulated.node == nullptr || manipulated.First() < 0) continue;
        const bool exchanged = manipulated.node->FCurveGet() != manipulated.curve;
        if (exchanged || manipulated.node->IsNodeLocked() || manipulated.curve->IsLocked()) continue;
        Apply(manipulated, change);
        if (mCalls != call) return;  // a listener has ended it, or given all nodes another change
    }
}

void Manipulation::Apply(ManipulatedNode& manipulated, const KeyChange& change)
{
    YFCurve& curve = *manipulated.curve;
    const int originalCount = static_cast<int>(manipulated.keys.size());
    const bool untouched =
        curve.KeyGetCount() == manipulated.curveCount && curve.GetValuesUpdateId() == manipulated.updateId;
    if (!untouched) {  // somebody else was at the keys: all of them are written
        manipulated.written = {0, originalCount};
        manipulated.writtenCount = curve.KeyGetCount();
    }
    const KeyRun run = mPlacing.Place(manipulated, change, mKeepMarkedInside, manipulated.written);
    ComposeKeys(manipulated, change, mPlacing.GetKeys(), run, mComposed);
    const int replaced = manipulated.writtenCount + run.GetCount() - manipulated.written.GetCount();
    const int composedCount = static_cast<int>(mComposed.size());
    manipulated.written = mPlacing.GetNeeded();
    manipulated.writtenCount = composedCount - (run.GetCount() - manipulated.written.GetCount());
    if (manipulated.node == mFollowedNode) FollowKey(run);
    const bool sharing = YFCurveShape::SetSharing(curve, false);  // originals are restored to the bit
    {
        const YFCurveModify modify(curve);
        YFCurveShape::Exchange(curve, run.begin, replaced, mComposed.data(), composedCount);
        if (HoldMirroredSlopes(curve, run.begin, manipulated, change, mPlacing.GetKeys())) {
            manipulated.written = {0, originalCount};
            manipulated.writtenCount = curve.KeyGetCount();
        }
        manipulated.curveCount = curve.KeyGetCount();
        manipulated.updateId = curve.GetValuesUpdateId();
    }
    YFCurveShape::SetSharing(curve, sharing);
}

void Manipulation::FollowKey(KeyRun run)
{
    const std::vector<PlacedKey>& keys = mPlacing.GetKeys();
    mFollowedNow = mFollowedKey;
    if (mFollowedKey < run.begin) return;
    if (mFollowedKey >= run.end) {
        mFollowedNow += static_cast<int>(keys.size()) - run.GetCount();
        return;
    }
    const auto found = std::find_if(keys.begin(), keys.end(), [&](const PlacedKey& key) {
        return key.source == mFollowedKey && !key.copy;
    });
    mFollowedNow = found == keys.end() ? -1 : run.begin + static_cast<int>(found - keys.begin());
}

}  // namespace yfc
