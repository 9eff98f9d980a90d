#include "yfcurve/yfcurvemanipulator.h"

#include <algorithm>
#include <new>
#include <unordered_set>
#include <vector>

#include "yfcurve/curve/pool/keyattributes.h"
#include "yfcurve/manipulator/manipulation.h"
#include "yfcurve/manipulator/try.h"
#include "yfcurve/node/tree/treewalk.h"
#include "yfcurve/yfcurvenode.h"

namespace {

// Some nodes, to be asked for by address: the few of a property one by one, those of a scene by a table.
class NodeSet
{
  public:
    void Add(const YFCurveNode* node)
    {
        if (mFew.size() < kMostInList) {
            mFew.push_back(node);
        } else {
            mMany.insert(node);
        }
    }

    bool Has(const YFCurveNode* node) const
    {
        return std::find(mFew.begin(), mFew.end(), node) != mFew.end() || mMany.contains(node);
    }

  private:
    static constexpr std::size_t kMostInList = 8;

    std::vector<const YFCurveNode*> mFew;
    std::unordered_set<const YFCurveNode*> mMany;
};

// The nodes of a tree that have curves and are not in a list, each once. Throws when memory runs out.
std::vector<YSpObject<YFCurveNode>> UnknownNodes(YFCurveNode* top,
                                                 const YArrayTemplate<YSpObject<YFCurveNode>>& list)
{
    std::vector<YSpObject<YFCurveNode>> unknown;
    if (top == nullptr) return unknown;
    NodeSet wanted;
    NodeSet known;
    yfc::WalkTree(*top, [&](const YFCurveNode& visited) {
        if (visited.FCurveGet() != nullptr) wanted.Add(&visited);
        return yfc::EWalk::Into;
    });
    for (const YSpObject<YFCurveNode>& listed : list) {
        if (wanted.Has(listed.Get())) known.Add(listed.Get());
    }
    yfc::WalkTree(*top, [&](YFCurveNode& visited) {
        if (visited.FCurveGet() != nullptr && !known.Has(&visited)) {
            known.Add(&visited);
            unknown.emplace_back(&visited);
            if (!unknown.back()) throw std::bad_alloc();
        }
        return yfc::EWalk::Into;
    });
    return unknown;
}

// The nodes that are left of a list; the others stand behind them no more.
template<class List, class Keeps>
void KeepThose(List& nodes, const Keeps& keeps)
{
    int kept = 0;
    for (int i = 0; i < nodes.GetCount(); ++i) {
        if (!keeps(i)) continue;
        if (kept < i) nodes[kept] = nodes[i];
        ++kept;
    }
    nodes.SetCount(kept);
}

void SetMark(YBitSet& marks, int index, bool isMarked)
{
    if (isMarked) {
        marks.SetBit(index);
    } else {
        marks.ClearBit(index);
    }
}

}  // namespace

YFCurveManipulator::YFCurveManipulator() = default;
YFCurveManipulator::YFCurveManipulator(const YFCurveManipulator& source)
{
    TakeOver(source);
}

YFCurveManipulator& YFCurveManipulator::operator=(const YFCurveManipulator& source)
{
    Try([&] {
        MakeRoom(source.mNodes.GetCount());
        mMarkedNodes.Reserve(source.mRelatedNodes.GetCount());
        mRelatedNodes.Reserve(source.mRelatedNodes.GetCount());
        TakeOver(source);  // takes no memory now
    });
    return *this;
}

void YFCurveManipulator::TakeOver(const YFCurveManipulator& source)
{
    mAddRemoveDepth = source.mAddRemoveDepth;
    mNodes = source.mNodes;
    mRelatedNodes = source.mRelatedNodes;
    mMarkedNodes = source.mMarkedNodes;
    mManipulation = source.mManipulation;
    mPool = source.mPool;
    mSelection = source.mSelection;
    mOriginalSelection = source.mOriginalSelection;
    mMode = source.mMode;
    mParameter = source.mParameter;
    mLastSelectedNode = source.mLastSelectedNode;
    mLastSelectedIndex = source.mLastSelectedIndex;
    mShowManyTangents = source.mShowManyTangents;
    mRippleMoveX = source.mRippleMoveX;
    mRippleMoveY = source.mRippleMoveY;
    mRippleStretchX = source.mRippleStretchX;
    mRippleStretchY = source.mRippleStretchY;
    mRippleAllY = source.mRippleAllY;
}

YFCurveManipulator::~YFCurveManipulator()
{
    EndManipulation();
}

// --- Nodes ---------------------------------------------------------------------------------------------

void YFCurveManipulator::Add(YFCurveNode* node)
{
    Try([&] {
        DropEndedNodes();
        const std::vector<YSpObject<YFCurveNode>> added = UnknownNodes(node, mNodes);
        MakeRoom(mNodes.GetCount() + static_cast<int>(added.size()));
        for (const YSpObject<YFCurveNode>& one : added) mNodes.Add(one);
        if (mAddRemoveDepth == 0) GetRelatedNodes();
    });
}

// Room for so many nodes, in the list that everything works on as well, so that bringing that up to date and
// marking its nodes take no memory. Throws when there is none.
void YFCurveManipulator::MakeRoom(int nodeCount)
{
    mNodes.Reserve(nodeCount);
    mRelatedNodes.Reserve(nodeCount);
    mMarkedNodes.Reserve(nodeCount);
}

void YFCurveManipulator::Remove(YFCurveNode* node)
{
    Try([&] {
        DropEndedNodes();
        if (node != nullptr) {
            // Also those whose curve has gone since, which would stay for good.
            NodeSet removed;
            yfc::WalkTree(*node, [&](const YFCurveNode& visited) {
                removed.Add(&visited);
                return yfc::EWalk::Into;
            });
            KeepThose(mNodes, [&](int i) { return !removed.Has(mNodes[i].Get()); });
        }
        if (mAddRemoveDepth == 0) GetRelatedNodes();
    });
}

void YFCurveManipulator::ClearFCurveNodes()
{
    mNodes.Clear();
    if (mAddRemoveDepth == 0) GetRelatedNodes();
}

void YFCurveManipulator::BeginAddRemoveCurveNode()
{
    ++mAddRemoveDepth;
}

void YFCurveManipulator::EndAddRemoveCurveNode()
{
    if (mAddRemoveDepth == 0) return;  // nothing was begun
    if (--mAddRemoveDepth == 0) GetRelatedNodes();
}

void YFCurveManipulator::GetRelatedNodes()
{
    mMarkedNodes.ClearAll();
    mRelatedNodes = mNodes;  // where each is once
    if (mManipulation) mManipulation->KeepOnly(mRelatedNodes);
    if (mRelatedNodes.Find(mLastSelectedNode) < 0) {
        mLastSelectedNode.Reset();
        mLastSelectedIndex = -1;
    }
}

// The marks stay with the nodes that are left.
void YFCurveManipulator::DropEndedNodes()
{
    const auto isThere = [](const NodeList& nodes) {
        return [&nodes](int i) { return nodes[i].Get() != nullptr; };
    };
    KeepThose(mNodes, isThere(mNodes));
    int left = 0;
    for (int i = 0; i < mRelatedNodes.GetCount(); ++i) {
        if (mRelatedNodes[i].Get() == nullptr) continue;
        const bool marked = mMarkedNodes.GetBit(i);
        SetMark(mMarkedNodes, left++, marked);
    }
    for (int i = left; i < mRelatedNodes.GetCount(); ++i) mMarkedNodes.ClearBit(i);
    KeepThose(mRelatedNodes, isThere(mRelatedNodes));
}

void YFCurveManipulator::GetRelatedNodes(YFCurveNode* node, YArrayTemplate<YFCurveNode*>& related) const
{
    related.Clear();
    related.Add(node);
}

// --- Marks ---------------------------------------------------------------------------------------------

void YFCurveManipulator::MarkCurveNodeForManip(bool mark, YFCurveNode* node)
{
    DropEndedNodes();
    const auto set = [&](int index) { SetMark(mMarkedNodes, index, mark); };
    if (node == nullptr) {
        if (!mark) mMarkedNodes.ClearAll();
        for (int i = 0; mark && i < mRelatedNodes.GetCount(); ++i) set(i);
        return;
    }
    Try([&] {
        YArrayTemplate<YFCurveNode*> group;
        GetRelatedNodes(node, group);
        for (YFCurveNode* member : group) set(mRelatedNodes.Find(member));
    });
}

bool YFCurveManipulator::IsCurveNodeMarkedForManip(const YFCurveNode* node) const
{
    for (int i = 0; i < mRelatedNodes.GetCount(); ++i) {
        if (node != nullptr && mRelatedNodes[i] == node) return mMarkedNodes.GetBit(i);
    }
    return false;
}

void YFCurveManipulator::MarkKeysForManip(bool mark, YFCurveNode* node, int first, int last)
{
    DropEndedNodes();
    const std::int64_t inEach = std::max<std::int64_t>(0, std::int64_t{last} - first + 1);
    Try([&] {
        const yfc::AttributeReserve reserve(node != nullptr ? inEach : inEach * mRelatedNodes.GetCount());
        for (const YSpObject<YFCurveNode>& related : mRelatedNodes) {
            YFCurve* curve = related->FCurveGet();
            if (curve == nullptr || (node != nullptr && node != related.Get())) continue;
            for (int i = first; i <= last; ++i) curve->KeySetMarkedForManipulation(i, mark);
        }
    });
}

// Marks the keys that a condition holds for, and unmarks all others.
template<class Condition>
void YFCurveManipulator::MarkKeysIf(const Condition& condition)
{
    DropEndedNodes();
    Try([&] {
        const yfc::AttributeReserve reserve(KeyCount());
        for (const YSpObject<YFCurveNode>& node : mRelatedNodes) {
            YFCurve* curve = node->FCurveGet();
            const int count = curve != nullptr ? curve->KeyGetCount() : 0;
            for (int i = 0; i < count; ++i) curve->KeySetMarkedForManipulation(i, condition(*curve, i));
        }
    });
}

void YFCurveManipulator::MarkKeysForManipFromSelection()
{
    MarkKeysIf([](const YFCurve& curve, int index) { return curve.KeyGetSelected(index); });
}

void YFCurveManipulator::ClearMarkKeysForManip()
{
    MarkKeysIf([](const YFCurve&, int) { return false; });
}

std::int64_t YFCurveManipulator::KeyCount() const
{
    std::int64_t count = 0;
    for (const YSpObject<YFCurveNode>& node : mRelatedNodes) {
        const YFCurve* curve = node ? node->FCurveGet() : nullptr;
        if (curve != nullptr) count += curve->KeyGetCount();
    }
    return count;
}

// --- Lifecycle -----------------------------------------------------------------------------------------

void YFCurveManipulator::BeginManipulation(eFCurveManipulationMode mode, bool keepMarkedInside,
                                           double parameter)
{
    EndManipulation();
    DropEndedNodes();
    const bool known = mode >= kManipulationMove && mode <= kManipulationSetValue;
    if (known && !Try([&] { TakeUp(keepMarkedInside); })) {
        mManipulation.reset();
        return;
    }
    mParameter = parameter;
    mMode = mode;
    mOriginalSelection = mSelection;
}

void YFCurveManipulator::TakeUp(bool keepMarkedInside)
{
    // One that is a copy's too would tie the two together.
    if (!mPool || mPool.use_count() > 1) mPool = std::make_shared<yfc::KeySnapshotPool>();
    mManipulation = std::make_shared<yfc::Manipulation>(mPool, keepMarkedInside);
    for (int i = 0; i < mRelatedNodes.GetCount(); ++i) {
        YFCurveNode* node = mRelatedNodes[i].Get();
        if (mMarkedNodes.GetBit(i) && !node->IsNodeLocked() && node->FCurveGet() != nullptr) {
            mManipulation->Add(*node);
        } else {
            mManipulation->AddPlaceholder();
        }
    }
    mManipulation->Follow(mLastSelectedNode.Get(), mLastSelectedIndex);
    mManipulation->Reserve();
}

void YFCurveManipulator::EndManipulation()
{
    if (mManipulation) mManipulation->Interrupt();
    mManipulation.reset();
    mMode = kManipulationNone;
}

// --- What is under way ---------------------------------------------------------------------------------

const YFCurve* YFCurveManipulator::GetWorkCurve(const YFCurveNode* node, eWorkCurve part) const
{
    const yfc::ManipulatedNode* manipulated = mManipulation ? mManipulation->Find(node) : nullptr;
    if (manipulated == nullptr) return nullptr;
    switch (part) {
        case kWorkMarked:
            return manipulated->markedCurve.get();
        case kWorkInside:
            return manipulated->insideCurve.get();
        case kWorkBefore:
            return manipulated->beforeCurve.get();
        case kWorkAfter:
            return manipulated->afterCurve.get();
        case kWorkWhole:
            return manipulated->wholeCurve.get();
    }
    return nullptr;
}

bool YFCurveManipulator::GetWorkTangents(const YFCurveNode* node, WorkTangents& tangents) const
{
    const yfc::ManipulatedNode* manipulated = mManipulation ? mManipulation->Find(node) : nullptr;
    if (manipulated == nullptr) return false;
    tangents = {manipulated->spanStart, manipulated->spanEnd, manipulated->afterLeft};
    return true;
}
