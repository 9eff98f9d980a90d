#include "ymotion/clipping/node_edit.h"

#include <new>

namespace ymotion {
namespace {

std::vector<YFCurveNode*> TakeChildrenFrom(YFCurveNode& node, int first)
{
    std::vector<YFCurveNode*> children;
    for (int i = first; i < node.GetCount(); ++i) children.push_back(node.Get(i));
    for (int i = node.GetCount(); i-- > first;) node.Remove(i);
    return children;
}

void AddAll(YFCurveNode& parent, const std::vector<YFCurveNode*>& nodes)
{
    for (YFCurveNode* node : nodes) {
        if (parent.Add(node) < 0) throw std::bad_alloc();
    }
}

}  // namespace

YFCurveNodePtr ReplaceChild(YFCurveNode& child, const std::vector<YFCurveNode*>& nodes)
{
    YFCurveNode& parent = *child.GetParent();
    std::vector<YFCurveNode*> behind = TakeChildrenFrom(parent, parent.Find(&child));
    behind.erase(behind.begin());
    child.SetParent(nullptr);
    AddAll(parent, nodes);
    AddAll(parent, behind);
    return YFCurveNodePtr(&child);
}

std::vector<YFCurveNode*> TakeChildren(YFCurveNode& node)
{
    return TakeChildrenFrom(node, 0);
}

}  // namespace ymotion
