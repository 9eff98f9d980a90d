#include <cstring>

#include "yfcurve/node/nodedata.h"

// The children of a node, and the search among them.

using yfc::Guarded;

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
    const int count = node.GetCount();
    for (int i = 0; i < count; ++i) {
        YFCurveNode* child = node.Get(i);
        if (condition(*child)) return child;
        if (YFCurveNode* found = FindBelow(*child, condition)) return found;
    }
    return nullptr;
}

}  // namespace

void YFCurveNode::Clear()
{
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
    mData->timeWarp.Relink(nullptr, true);
}

int YFCurveNode::Add(YFCurveNode* child)
{
    if (child == nullptr) return -1;
    const bool added = Guarded([&] { return mData->children.Add(child) >= 0; });
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
    if (child != nullptr) child->Destroy();
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
    const int count = GetCount();
    for (int i = 0; i < count; ++i) {
        const YFCurveNode* child = Get(i);
        if (child == node || (recursive && child->IsChild(node, true))) return true;
    }
    return false;
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
    const bool added = Guarded([&] { return mData->children.InsertAt(index, child) >= 0; });
    return added ? index : -1;
}

YFCurveNode* YFCurveNode::FindOrCreate(const char* name, bool createCurve)
{
    YFCurveNode* child = Get(Find(name));
    if (child == nullptr) {
        YFCurveNodePtr created(YFCurveNodeCreate(name, nullptr, 0));
        if (!created || Add(created.get()) < 0) return nullptr;
        child = created.release();
    }
    if (createCurve && child->FCurveGet() == nullptr) {
        if (YFCurve* curve = YFCurveCreate()) child->FCurveSet(curve);
    }
    return child;
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
