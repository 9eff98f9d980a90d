#include <cstring>
#include <utility>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/node/tree/nodedata.h"
#include "yfcurve/node/tree/treewalk.h"

// The children of a node, and the search among them.

using yfc::EWalk;
using yfc::Guarded;
using yfc::NodeData;

namespace {

struct LetterType
{
    const char* letter;
    eDataType type;
};

constexpr LetterType kLetterTypes[] = {
    {"T", eDataType::LocalTranslation}, {"R", eDataType::LocalRotation}, {"S", eDataType::LocalScaling}};

}  // namespace

namespace yfc {

YDataType* TypeOfLetter(const char* name)
{
    if (name == nullptr) return nullptr;
    for (const auto& [letter, type] : kLetterTypes) {
        if (std::strcmp(name, letter) == 0) return YDataType::Get(type);
    }
    return nullptr;
}

const char* LetterOfType(const YDataType* type)
{
    for (const auto& [letter, lettered] : kLetterTypes) {
        if (type == YDataType::Get(lettered)) return letter;
    }
    return nullptr;
}

}  // namespace yfc

namespace {

bool HasName(const YFCurveNode& node, const char* name)
{
    return YStringCompareNoCase(node.GetName(), name) == 0;
}

// The first node below another one that a condition holds for, each child before its own children.
template<class Condition>
YFCurveNode* FindBelow(const YFCurveNode& node, const Condition& condition)
{
    return Guarded([&] {
        YFCurveNode* found = nullptr;
        yfc::WalkTree(node, [&](const YFCurveNode& at) {
            if (&at == &node || !condition(at)) return EWalk::Into;
            found = const_cast<YFCurveNode*>(&at);
            return EWalk::Stop;
        });
        return found;
    });
}

bool IsEmpty(const YFCurveNode& node)
{
    return node.GetCount() == 0 && node.LayerGet() == nullptr && node.TimeWarpGet() == nullptr;
}

// Whether a node that becomes a child of another one would lead back to it. Trees are mostly built by adding
// what is empty, or to what nothing leads to yet: neither needs a search.
bool WouldMakeRing(const YFCurveNode& parent, const YFCurveNode& child)
{
    if (&child == &parent) return true;
    const NodeData& data = NodeData::Of(parent);
    const bool isReached = data.wasListed || data.parent != nullptr || data.referenceCount > 0;
    return isReached && !IsEmpty(child) && yfc::DependsOn(child, parent);
}

}  // namespace

void YFCurveNode::Clear()
{
    const yfc::EndScope scope(*this);
    const bool container = mData->Has(yfc::kNodeContainer);
    for (int i = GetCount() - 1; i >= 0; --i) {
        if (container) {
            Remove(i);
        } else {
            Delete(i);
        }
    }
    mData->children.Clear();
    yfc::StopListeningToCurve(*this);
    mData->curve.reset();
    yfc::LinkLayer(*this, nullptr, true);
    ObjectLayerSet(this);
    mData->timeWarp.Relink(nullptr, true, mData->QueueOfClear());
}

int YFCurveNode::Add(YFCurveNode* child)
{
    const bool added = Guarded([&] {
        if (child == nullptr || WouldMakeRing(*this, *child)) return false;
        yfc::List(*child, mData->children, mData->children.GetCount());
        return true;
    });
    if (!added) return -1;
    if (!mData->Has(yfc::kNodeContainer)) child->SetParent(this);
    return GetCount() - 1;
}

void YFCurveNode::Remove(int index)
{
    if (!mData->Has(yfc::kNodeContainer)) {
        if (YFCurveNode* child = Get(index)) child->SetParent(nullptr);
    }
    mData->children.RemoveAt(index);
}

void YFCurveNode::Delete(int index)
{
    const bool container = mData->Has(yfc::kNodeContainer);
    YFCurveNode* child = container ? nullptr : Get(index);
    Remove(index);
    if (child == nullptr) return;
    if (mData->endState == yfc::EEndState::Clearing) {
        mData->endQueue->Add(*child, true);
    } else {
        child->Destroy();
    }
}

void YFCurveNode::Delete(YFCurveNode* child)
{
    const int index = Find(child);
    if (index >= 0) Delete(index);
}

int YFCurveNode::GetCount() const
{
    return mData->children.GetCount();
}

YFCurveNode* YFCurveNode::Get(int index) const
{
    return index >= 0 && index < mData->children.GetCount() ? mData->children[index] : nullptr;
}

bool YFCurveNode::IsChild(const YFCurveNode* node, bool recursive) const
{
    return Guarded([&] {
        return !yfc::WalkTree(*this, [&](const YFCurveNode& at) {
            if (&at == node && &at != this) return EWalk::Stop;
            return recursive || &at == this ? EWalk::Into : EWalk::Past;
        });
    });
}

YFCurveNode* YFCurveNode::Find(YDataType* type) const
{
    const int count = GetCount();
    for (int i = 0; i < count; ++i) {
        YFCurveNode* child = Get(i);
        if (child->GetDataType() == type) return child;
    }
    return nullptr;
}

int YFCurveNode::Find(const YFCurveNode* child) const
{
    const int count = GetCount();
    for (int i = 0; i < count; ++i) {
        if (Get(i) == child) return i;
    }
    return -1;
}

int YFCurveNode::Find(const char* name) const
{
    const int count = GetCount();
    for (int i = 0; i < count; ++i) {
        if (HasName(*Get(i), name)) return i;
    }
    return -1;
}

void YFCurveNode::SetParent(YFCurveNode* parent)
{
    mData->parent = parent;
}
YFCurveNode* YFCurveNode::GetParent() const
{
    return mData->parent;
}

int YFCurveNode::SortedAdd(YFCurveNode* child)
{
    if (child == nullptr) return -1;
    const int count = GetCount();
    int index = 0;
    while (index < count && YStringCompareNoCase(Get(index)->GetName(), child->GetName()) < 0) ++index;
    const bool added = Guarded([&] {
        if (WouldMakeRing(*this, *child)) return false;
        yfc::List(*child, mData->children, index);
        return true;
    });
    return added ? index : -1;
}

YFCurveNode* YFCurveNode::FindOrCreate(const char* name, bool createCurve)
{
    return Guarded([&]() -> YFCurveNode* {
        YFCurveNode* child = Get(Find(name));
        YFCurvePtr curve(createCurve && (child == nullptr || child->FCurveGet() == nullptr) ? new YFCurve()
                                                                                            : nullptr);
        if (child == nullptr) {
            YFCurveNodePtr created(YFCurveNodeCreate(name, nullptr, YFCURVE_LAYERTYPE_COMPONENT));
            if (!created || Add(created.get()) < 0) return nullptr;
            child = created.release();
        }
        if (curve)
            yfc::TakeCurve(*child, std::move(curve));  // a new child has no callbacks to take memory for
        return child;
    });
}

YFCurveNode* YFCurveNode::FindRecursive(const char* name) const
{
    YDataType* const type = yfc::TypeOfLetter(name);
    return FindBelow(*this, [=](const YFCurveNode& node) {
        return (type != nullptr && node.GetDataType() == type) || HasName(node, name);
    });
}

YFCurveNode* YFCurveNode::FindRecursive(YDataType* type) const
{
    return FindBelow(*this, [=](const YFCurveNode& node) { return node.GetDataType() == type; });
}
