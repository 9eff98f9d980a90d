#include "yfcurve/undo/history.h"

#include <algorithm>
#include <utility>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/node/tree/nodedata.h"
#include "yfcurve/node/tree/treewalk.h"

namespace yfc {
namespace {

// Sets a flag for the time of a scope.
class [[nodiscard]] Meanwhile
{
  public:
    explicit Meanwhile(bool& flag) : mFlag(flag), mBefore(std::exchange(flag, true)) {}
    ~Meanwhile() { mFlag = mBefore; }
    Meanwhile(const Meanwhile&) = delete;
    Meanwhile& operator=(const Meanwhile&) = delete;

  private:
    bool& mFlag;
    bool mBefore;
};

EUndo Opposite(EUndo direction)
{
    return direction == EUndo::Undo ? EUndo::Redo : EUndo::Undo;
}

// The side of a change of curves or links that a step leads to.
template<class Change>
const auto& To(const Change& change, EUndo direction)
{
    return direction == EUndo::Undo ? change.before : change.after;
}

template<class Change>
const auto& From(const Change& change, EUndo direction)
{
    return To(change, Opposite(direction));
}

// To the bit: a copy that shares equal records takes zeros of either sign for equal.
YFCurvePtr CopyOf(const YFCurve* curve)
{
    if (curve == nullptr) return nullptr;
    YFCurvePtr copy(new YFCurve);
    copy->KeySetOptimizeEnable(false);
    copy->CopyFrom(*curve);
    return copy;
}

}  // namespace

// --- What is watched -----------------------------------------------------------------------------------

bool UndoHistory::Watch(YFCurveNode& root)
{
    return HadMemoryFor([&] { WatchNew(root); });
}

// With all below and behind it that is not watched yet. All or nothing.
void UndoHistory::WatchNew(YFCurveNode& root)
{
    std::vector<YFCurveNode*> added;
    try {
        WalkBelow(
            root, ChildOrLayerOf,
            [&](YFCurveNode& node) {
                if (mWatched.contains(&node)) return EWalk::Into;
                added.push_back(&node);
                WatchOne(node);
                return EWalk::Into;
            },
            [](const YFCurveNode&) {});
    } catch (const std::bad_alloc&) {
        for (YFCurveNode* node : added) Unwatch(*node);
        throw;
    }
}

void UndoHistory::WatchOne(YFCurveNode& node)
{
    Watched watched{CopyOf(node.FCurveGet()), NodeLinks(node), NodeSettings(node)};
    mWatched.emplace(&node, std::move(watched));
    if (!node.CallbackRegister(OnEvent, this)) throw std::bad_alloc();
}

void UndoHistory::Unwatch(YFCurveNode& node)
{
    const auto found = mWatched.find(&node);
    if (found == mWatched.end()) return;
    node.CallbackUnregister(OnEvent, this);
    mChanged.erase(&node);
    const Watched last = std::move(found->second);
    mWatched.erase(found);
}

void UndoHistory::Forget()
{
    Clear();
    const Meanwhile releasing(mReleasing);
    mOpen = {};
    mDepth = 0;
    while (!mWatched.empty()) Unwatch(*mWatched.begin()->first);
}

void UndoHistory::OnEvent(YFCurveNode* node, YFCurveNodeEvent* event, void* object)
{
    auto& history = *static_cast<UndoHistory*>(object);
    if ((event->type & YFCURVENODEEVENT_DESTROY) != 0) return history.OnEnd(*node);
    if (!history.mApplying) history.Touch(*node);
}

// Steps may lead to the node, and so are void, unless it was kept for steps that are gone. Of an open step,
// its actions are, which may own watched nodes in turn; the changes of other nodes are gathered at its end.
void UndoHistory::OnEnd(YFCurveNode& node)
{
    if (!mReleasing) {
        Clear();
        const Meanwhile releasing(mReleasing);
        const auto actions = std::exchange(mOpen.actions, {});
    }
    Unwatch(node);
}

void UndoHistory::Touch(YFCurveNode& node)
{
    if (!mWatched.contains(&node)) return;
    if (!HadMemoryFor([&] { mChanged.insert(&node); })) return GiveUp();
    if (IsStepOpen()) return;
    UndoStep step;
    if (CloseStep(step, false)) Push(std::move(step));
}

// --- Making steps --------------------------------------------------------------------------------------

void UndoHistory::StepBegin(const char* name)
{
    if (mDepth++ > 0) return;
    HadMemoryFor([&] { mOpen.name = name != nullptr ? name : ""; });
}

void UndoHistory::StepEnd()
{
    if (mDepth == 0 || --mDepth > 0) return;
    UndoStep step = std::exchange(mOpen, {});
    if (CloseStep(step, true)) Push(std::move(step));
}

void UndoHistory::StepCancel()
{
    if (mDepth == 0) return;
    mDepth = 0;
    UndoStep step = std::exchange(mOpen, {});
    if (CloseStep(step, true)) Apply(step, EUndo::Undo);
    const Meanwhile releasing(mReleasing);
    step = {};
}

bool UndoHistory::Add(std::unique_ptr<YFCurveUndoAction> action)
{
    if (action == nullptr) return false;
    UndoStep single;
    UndoStep& step = IsStepOpen() ? mOpen : single;
    if (!HadMemoryFor([&] { step.actions.push_back(std::move(action)); })) {
        GiveUp();
        return false;
    }
    if (!IsStepOpen()) Push(std::move(single));
    return true;
}

// Gathers what has changed since the last step.
// \param isOfAll  also of nodes that told of nothing, which takes a look at each of them
// \return  whether there is something to undo.
bool UndoHistory::CloseStep(UndoStep& step, bool isOfAll)
{
    const bool kept = HadMemoryFor([&] {
        if (isOfAll) FindUnseen();
        const std::vector<YFCurveNode*> changed(mChanged.begin(), mChanged.end());
        for (YFCurveNode* node : changed) {
            GatherLinks(*node, step);
            NoteCurve(*node, step);
            NoteSettings(*node, step);
        }
        TakeOver(step);  // selection, too, which alone is no step
        mChanged.clear();
    });
    if (!kept) GiveUp();
    return kept && !step.IsNone();
}

// What raises no event: settings of nodes, and colours of curves.
void UndoHistory::FindUnseen()
{
    for (const auto& [node, watched] : mWatched) {
        const YFCurve* const curve = node->FCurveGet();
        const bool isOther = curve != nullptr && watched.curve != nullptr &&
                             CurveSettings(*watched.curve) != CurveSettings(*curve);
        if (isOther || watched.settings != NodeSettings(*node)) mChanged.insert(node);
    }
}

// The links of a whole chain, as it was and as it is: the event comes to its base alone.
void UndoHistory::GatherLinks(YFCurveNode& base, UndoStep& step)
{
    const auto layerBefore = [&](YFCurveNode* node) {
        const auto found = mWatched.find(node);
        return found != mWatched.end() ? found->second.links.layer.Get() : nullptr;
    };
    for (YFCurveNode* node = &base; node != nullptr; node = layerBefore(node)) NoteLinks(*node, step);
    for (YFCurveNode* node = base.LayerGet(); node != nullptr; node = node->LayerGet()) {
        if (!mWatched.contains(node)) WatchNew(*node);
        NoteLinks(*node, step);
    }
}

void UndoHistory::NoteLinks(YFCurveNode& node, UndoStep& step)
{
    const auto isOfNode = [&](const StepPart::Links& part) { return part.node == &node; };
    const auto found = mWatched.find(&node);
    if (found == mWatched.end() || found->second.links.AreThoseOf(node)) return;
    if (std::any_of(step.links.begin(), step.links.end(), isOfNode)) return;
    step.links.push_back({&node, found->second.links, NodeLinks(node)});
}

void UndoHistory::NoteCurve(YFCurveNode& node, UndoStep& step)
{
    const auto found = mWatched.find(&node);
    if (found == mWatched.end()) return;
    CurveChange change = CurveChange::Between(found->second.curve.get(), node.FCurveGet());
    if (!change.IsNone()) step.curves.push_back({&node, std::move(change)});
}

void UndoHistory::NoteSettings(YFCurveNode& node, UndoStep& step)
{
    const auto found = mWatched.find(&node);
    if (found == mWatched.end()) return;
    const NodeSettings now(node);
    if (found->second.settings != now) step.settings.push_back({&node, found->second.settings, now});
}

// The watched nodes are now as they are after the step.
void UndoHistory::TakeOver(const UndoStep& step)
{
    for (const StepPart::Links& part : step.links) mWatched.at(part.node).links = part.after;
    for (const StepPart::Settings& part : step.settings) mWatched.at(part.node).settings = part.after;
    for (const StepPart::Curve& part : step.curves) {
        YFCurvePtr& kept = mWatched.at(part.node).curve;
        const CurveChange& change = part.change;
        if (!change.before.settings || !change.after.settings) {
            kept = CopyOf(part.node->FCurveGet());
        } else {
            change.Apply(*kept, change.before, change.after);
        }
    }
}

void UndoHistory::Push(UndoStep step)
{
    ++mChangeCount;
    const bool kept = HadMemoryFor([&] {
        const Meanwhile releasing(mReleasing);
        while (mSteps.size() > mDone) {
            mBytes -= mSteps.back().GetByteCount();
            mSteps.pop_back();
        }
        const std::size_t bytes = step.GetByteCount();
        mSteps.push_back(std::move(step));
        mBytes += bytes;
        ++mDone;
    });
    if (kept) {
        Trim();
    } else {
        GiveUp();
    }
}

// Forgets the oldest steps, and then those that can be redone last.
void UndoHistory::Trim()
{
    const Meanwhile releasing(mReleasing);
    while (mBytes > mMemory && !mSteps.empty()) {
        const bool oldest = mDone > 0;
        mBytes -= (oldest ? mSteps.front() : mSteps.back()).GetByteCount();
        if (oldest) {
            mSteps.pop_front();
            --mDone;
        } else {
            mSteps.pop_back();
        }
    }
}

void UndoHistory::Clear()
{
    const Meanwhile releasing(mReleasing);
    const std::deque<UndoStep> steps = std::move(mSteps);
    mSteps.clear();
    mDone = 0;
    mBytes = 0;
}

void UndoHistory::SetMemory(std::size_t memory)
{
    mMemory = memory;
    Trim();
}

// --- Going back and forth ------------------------------------------------------------------------------

bool UndoHistory::Go(EUndo direction)
{
    if (IsStepOpen() || mApplying) return false;
    // What was changed without an event since the last step is a step of its own.
    UndoStep unseen;
    if (CloseStep(unseen, true)) Push(std::move(unseen));
    if (GetCount(direction) == 0) return false;
    const bool undo = direction == EUndo::Undo;
    UndoStep& step = mSteps[undo ? mDone - 1 : mDone];
    if (!FitsTree(step, direction)) {
        GiveUp();
        return false;
    }
    if (!Apply(step, direction)) return false;
    mDone = undo ? mDone - 1 : mDone + 1;
    return true;
}

// Whether the curves are as the step left them, which they are unless a host had events switched off.
bool UndoHistory::FitsTree(const UndoStep& step, EUndo direction) const
{
    return std::all_of(step.curves.begin(), step.curves.end(), [&](const StepPart::Curve& part) {
        return part.change.Fits(part.node->FCurveGet(), From(part.change, direction));
    });
}

// All parts, or none of them when memory runs out.
bool UndoHistory::Apply(UndoStep& step, EUndo direction)
{
    const Meanwhile applying(mApplying);
    const std::size_t links = step.links.size();
    const auto apply = [&](std::size_t part, EUndo way) {
        if (part < links) {
            ApplyLinks(step.links[part], way);
        } else {
            ApplyCurve(step.curves[part - links], way);
        }
    };
    std::size_t done = 0;
    const bool applied = HadMemoryFor([&] {
        for (; done < links + step.curves.size(); ++done) apply(done, direction);
    });
    if (!applied) {
        if (done < links) ++done;  // one of its two links may be set
        const bool isAsBefore = HadMemoryFor([&] {
            while (done > 0) apply(--done, Opposite(direction));
        });
        ApplySettings();
        if (!isAsBefore) GiveUp();
        return false;
    }
    for (const StepPart::Settings& part : step.settings)
        mWatched.at(part.node).settings = To(part, direction);
    if (direction == EUndo::Undo) {
        std::for_each(step.actions.rbegin(), step.actions.rend(), [](const auto& action) { action->Undo(); });
    } else {
        for (const auto& action : step.actions) action->Redo();
    }
    ApplySettings();  // whatever the actions have set
    return true;
}

void UndoHistory::ApplyCurve(const StepPart::Curve& part, EUndo direction)
{
    const CurveSide& from = From(part.change, direction);
    const CurveSide& to = To(part.change, direction);
    YFCurvePtr& kept = mWatched.at(part.node).curve;
    if (from.settings && to.settings) {
        part.change.Apply(*kept, *part.node->FCurveGet(), from, to);
        return;
    }
    YFCurvePtr made(to.settings ? new YFCurve : nullptr);
    if (made) part.change.Apply(*made, from, to);
    YFCurvePtr copy = CopyOf(made.get());
    if (made) {
        made->SetLockedByProperty(part.node->IsLockedByProperty());
        made->SetLockedByLayer(part.node->GetLayerInfo().IsLocked());
    }
    TakeCurve(*part.node, std::move(made));
    kept = std::move(copy);
}

void UndoHistory::ApplyLinks(const StepPart::Links& part, EUndo direction)
{
    const NodeLinks& to = To(part, direction);
    mWatched.at(part.node).links = to;
    part.node->LayerSet(to.layer.Get(), false);
    part.node->TimeWarpSet(to.timeWarp.Get());
}

// Of all nodes: a layer takes over settings of what it is put behind.
void UndoHistory::ApplySettings()
{
    for (const auto& [node, watched] : mWatched) watched.settings.ApplyTo(*node);
}

// Gives up all steps when memory runs out. Copies of watched nodes are renewed where memory allows; of a node
// whose copy is stale the next step also contains this change.
void UndoHistory::GiveUp()
{
    ++mChangeCount;
    Clear();
    const Meanwhile releasing(mReleasing);
    mOpen = {};
    for (auto& [node, watched] : mWatched) {
        HadMemoryFor([&, at = node, &kept = watched] {
            kept.settings = NodeSettings(*at);
            kept.links = NodeLinks(*at);
            kept.curve = CopyOf(at->FCurveGet());
        });
    }
    mChanged.clear();
}

int UndoHistory::GetCount(EUndo direction) const
{
    return static_cast<int>(direction == EUndo::Undo ? mDone : mSteps.size() - mDone);
}

const char* UndoHistory::GetName(EUndo direction, int index) const
{
    if (index < 0 || index >= GetCount(direction)) return "";
    const auto offset = static_cast<std::size_t>(index);
    return mSteps[direction == EUndo::Undo ? mDone - 1 - offset : mDone + offset].name.c_str();
}

}  // namespace yfc
