// The end of what a node owns.

#include "yfcurve/node/tree/nodedata.h"

namespace yfc {

void EndQueue::Add(YFCurveNode& node, bool isOwned)
{
    NodeData& data = NodeData::Of(node);
    if (data.ending || data.endState == EEndState::Begun) return;
    if (data.endState == EEndState::WaitsOwned || data.endState == EEndState::WaitsUnused) {
        if (isOwned) data.endState = EEndState::WaitsOwned;
        return;
    }
    YFCurveNode*& place = mLastOfGroup != nullptr ? NodeData::Of(*mLastOfGroup).nextToEnd : mFirst;
    data.nextToEnd = place;
    place = &node;
    mLastOfGroup = &node;
    data.endQueue = this;
    data.endState = isOwned ? EEndState::WaitsOwned : EEndState::WaitsUnused;
}

void EndQueue::EndAll()
{
    while (mFirst != nullptr) {
        YFCurveNode& node = *mFirst;
        NodeData& data = NodeData::Of(node);
        const bool isUsedAgain = data.endState == EEndState::WaitsUnused && data.referenceCount > 0;
        Leave(node);
        if (isUsedAgain) continue;
        data.endQueue = this;
        data.endState = EEndState::Begun;
        mBegun = &node;
        node.Destroy();
        if (mBegun != nullptr) Leave(*mBegun);
    }
}

EndQueue* EndQueue::Leave(YFCurveNode& node)
{
    NodeData& data = NodeData::Of(node);
    EndQueue* const queue = data.endQueue;
    const bool isBegun = data.endState == EEndState::Begun;
    if (isBegun) {
        queue->mBegun = nullptr;
    } else if (queue != nullptr) {
        queue->Unlink(node);
    }
    data.endQueue = nullptr;
    data.endState = EEndState::None;
    return isBegun ? queue : nullptr;
}

void EndQueue::Unlink(YFCurveNode& node)
{
    YFCurveNode* before = nullptr;
    for (YFCurveNode* at = mFirst; at != &node; at = NodeData::Of(*at).nextToEnd) {
        if (at == nullptr) return;
        before = at;
    }
    YFCurveNode*& place = before != nullptr ? NodeData::Of(*before).nextToEnd : mFirst;
    place = NodeData::Of(node).nextToEnd;
    if (mLastOfGroup == &node) mLastOfGroup = before;
}

EndScope::EndScope(YFCurveNode& node)
    : mNode(node), mFormerQueue(NodeData::Of(node).endQueue), mFormerState(NodeData::Of(node).endState)
{
    NodeData& data = NodeData::Of(mNode);
    if (mFormerState != EEndState::Begun) data.endQueue = &mOwn;
    data.endState = EEndState::Clearing;
    data.endQueue->BeginGroup();
}

EndScope::~EndScope()
{
    NodeData& data = NodeData::Of(mNode);
    data.endQueue = mFormerQueue;
    data.endState = mFormerState;
    mOwn.EndAll();
}

void List(YFCurveNode& child, YArrayTemplate<YFCurveNode*>& children, int index)
{
    children.InsertAt(index, &child);
    NodeData& data = NodeData::Of(child);
    data.wasListed = true;
    if (data.endState == EEndState::WaitsOwned || data.endState == EEndState::WaitsUnused) {
        EndQueue::Leave(child);  // it has found another place
    }
}

}  // namespace yfc
