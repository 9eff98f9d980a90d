#include <new>
#include <unordered_set>

#include "yfcurve/node/tree/nodedata.h"
#include "yfcurve/node/tree/treewalk.h"

// What a node owns besides its children, or links: its curve, layers, time warp and the host's objects.

using yfc::EWalk;
using yfc::Guarded;
using yfc::NodeData;

namespace yfc {

YFCurveNode* CountedLink::Relink(YFCurveNode* node, bool destroyUnused, EndQueue* queue)
{
    YSpObject<YFCurveNode> reference(node);
    if (reference.Get() != node) throw std::bad_alloc();
    YFCurveNode* const former = Get();
    mNode = reference;
    mLinked = node != nullptr;
    if (node != nullptr) node->IncReferenceCount();
    if (former == nullptr) return nullptr;

    const bool unused = former->DecReferenceCount() < 1;
    if (!unused || !destroyUnused || NodeData::Of(*former).ending) return former;
    if (queue != nullptr) {
        queue->Add(*former, false);
    } else {
        former->Destroy();
    }
    return nullptr;
}

namespace {

// Gives a layer node, and its children by name, their places in the stack of a base node. A null base takes
// them out of any stack.
void SetObjectLayers(YFCurveNode& top, YFCurveNode* topBase)
{
    using Pair = NodePair<YFCurveNode, YFCurveNode>;
    WalkStack<Pair> waiting;
    waiting.Push({&top, topBase});
    while (!waiting.IsEmpty()) {
        const auto [node, base] = waiting.Take();
        node->ObjectLayerSet(base);
        if (node->GetContainerType() != 0) continue;
        for (int i = 0; i < node->GetCount(); ++i) {
            YFCurveNode* const child = node->Get(i);
            waiting.Push({child, base != nullptr ? base->Get(base->Find(child->GetName())) : nullptr});
        }
    }
}

}  // namespace

void JoinBase(YFCurveNode& top, YFCurveNode& topBase)
{
    using Pair = NodePair<YFCurveNode, YFCurveNode>;
    WalkStack<Pair> waiting;
    waiting.Push({&top, &topBase});
    while (!waiting.IsEmpty()) {
        const auto [node, base] = waiting.Take();
        node->ObjectLayerSet(base);
        NodeData::Of(*node).names = NodeData::Of(*base).names;
        for (int i = 0; i < node->GetCount(); ++i) {
            YFCurveNode* const child = node->Get(i);
            YFCurveNode* const childBase = base->Get(base->Find(child->GetName()));
            if (childBase != nullptr) waiting.Push({child, childBase});
        }
    }
}

bool DependsOn(const YFCurveNode& node, const YFCurveNode& other)
{
    std::unordered_set<const YFCurveNode*> shared;  // what several ways may lead to is looked at once
    WalkStack<const YFCurveNode*> waiting;
    const auto reach = [&](const YFCurveNode* next, bool hasOneWay) {
        if (next != nullptr && (hasOneWay || shared.insert(next).second)) waiting.Push(next);
    };
    const auto hasOneLink = [](const YFCurveNode* next) {
        return next != nullptr && next->GetParent() == nullptr && next->GetReferenceCount() == 1;
    };
    waiting.Push(&node);
    while (!waiting.IsEmpty()) {
        const YFCurveNode* const at = waiting.Take();
        if (at == &other) return true;
        reach(at->LayerGet(), hasOneLink(at->LayerGet()));
        reach(at->TimeWarpGet(), hasOneLink(at->TimeWarpGet()));
        const bool ownsChildren = at->GetContainerType() == 0;
        for (int i = 0; i < at->GetCount(); ++i) {
            const YFCurveNode* const child = at->Get(i);
            reach(child, ownsChildren && child->GetReferenceCount() == 0);
        }
    }
    return false;
}

YFCurveNode* LinkLayer(YFCurveNode& node, YFCurveNode* layer, bool destroyOld)
{
    YFCurveNode* const base = node.ObjectLayerGet();
    NodeData& data = NodeData::Of(node);
    YFCurveNode* const left = data.layer.Relink(layer, destroyOld, data.QueueOfClear());
    // What was left behind is a stack of its own. It may hold the new layer further on: that comes after.
    for (YFCurveNode* next = left; next != nullptr && next->ObjectLayerGet() == base;
         next = next->LayerGet()) {
        SetObjectLayers(*next, next == left ? nullptr : left);
    }
    for (YFCurveNode* next = layer; next != nullptr; next = next->LayerGet()) SetObjectLayers(*next, base);
    if (layer != nullptr) layer->SetUseQuaternion(node.GetUseQuaternion());
    return left;
}

}  // namespace yfc

namespace {

constexpr float kBlack[3] = {0.0f, 0.0f, 0.0f};

}  // namespace

// --- Curve ---------------------------------------------------------------------------------------------

YFCurve* YFCurveNode::FCurveGet() const
{
    return mData->curve.get();
}

YFCurve* YFCurveNode::FCurveSet(YFCurve* curve, bool destroyOld)
{
    if (curve == FCurveGet()) return nullptr;
    yfc::StopListeningToCurve(*this);
    YFCurve* old = mData->curve.release();
    mData->curve.reset(curve);
    Guarded([&] {
        yfc::ListenToCurve(*this);
        return true;
    });
    if (destroyOld && old != nullptr) {
        old->Destroy();
        old = nullptr;
    }
    yfc::SendEvent(*this, YFCURVENODEEVENT_CURVE);
    return old;
}

void YFCurveNode::FCurveReplace(YFCurve* curve)
{
    FCurveSet(curve, true);
}

void YFCurveNode::CreateFCurve()
{
    const auto into = [](const YFCurveNode&) { return EWalk::Into; };
    Guarded([&] {
        return yfc::WalkBelow(*this, yfc::ChildOf, into, [](YFCurveNode& node) {
            if (node.GetCount() > 0 || node.FCurveGet() != nullptr) return;
            if (YFCurve* curve = YFCurveCreate()) node.FCurveSet(curve);
        });
    });
}

bool YFCurveNode::FCurveCreated() const
{
    return Guarded([&] {
        return yfc::WalkTree(*this, [](const YFCurveNode& node) {
            const bool isMissing = node.GetCount() == 0 && node.FCurveGet() == nullptr;
            return isMissing ? EWalk::Stop : EWalk::Into;
        });
    });
}

const float* YFCurveNode::GetColor() const
{
    return mData->curve ? mData->curve->GetColor() : kBlack;
}

void YFCurveNode::SetColor(const float* color)
{
    if (mData->curve) mData->curve->SetColor(color);
}

// --- Layers --------------------------------------------------------------------------------------------

YFCurveNode* YFCurveNode::LayerGet() const
{
    return mData->layer.Get();
}

YFCurveNode* YFCurveNode::LayerGet(int layerId)
{
    YFCurveNode* node = this;
    while (node != nullptr && node->GetLayerID() < layerId) node = node->LayerGet();
    return node != nullptr && node->GetLayerID() == layerId ? node : nullptr;
}

YFCurveNode* YFCurveNode::LayerSet(YFCurveNode* layer, bool destroyOld)
{
    if (layer == LayerGet()) return nullptr;
    YFCurveNode* former = nullptr;
    const bool linked = Guarded([&] {
        if (layer != nullptr && yfc::DependsOn(*layer, *this)) return false;
        former = yfc::LinkLayer(*this, layer, destroyOld);
        return true;
    });
    if (linked) yfc::SendEvent(*ObjectLayerGet(), YFCURVENODEEVENT_LAYER);
    return former;
}

YFCurveNode* YFCurveNode::ObjectLayerGet()
{
    YFCurveNode* node = mData->objectLayer.Get();
    return node != nullptr ? node : this;
}

void YFCurveNode::ObjectLayerSet(YFCurveNode* node)
{
    mData->objectLayer = node != this ? node : nullptr;
}

// --- Time warp and the host's objects ------------------------------------------------------------------

YFCurveNode* YFCurveNode::TimeWarpGet() const
{
    return mData->timeWarp.Get();
}

void YFCurveNode::TimeWarpSet(YFCurveNode* timeWarp)
{
    if (timeWarp == TimeWarpGet()) return;
    const bool linked = Guarded([&] {
        if (timeWarp != nullptr && yfc::DependsOn(*timeWarp, *this)) return false;
        mData->timeWarp.Relink(timeWarp, true);
        return true;
    });
    if (linked) yfc::SendEvent(*this, YFCURVENODEEVENT_TIMEWARP);
}

YFCurveNode* YFCurveNode::TemplateGet() const
{
    return mData->copiedFrom.Get();
}
YFCurveNode* YFCurveNode::DataNodeGet() const
{
    return mData->dataNode.Get();
}
void YFCurveNode::DataNodeSet(YFCurveNode* node)
{
    mData->dataNode = node;
}
IConnector* YFCurveNode::GetConnector() const
{
    return mData->connector;
}
void YFCurveNode::SetConnector(IConnector* connector)
{
    mData->connector = connector;
}
IYFCurveETI* YFCurveNode::GetETI() const
{
    return mData->externalTime.get();
}

void YFCurveNode::SetETI(IYFCurveETI* information)
{
    if (information != GetETI()) mData->externalTime.reset(information);
}

int YFCurveNode::GetReferenceCount() const
{
    return mData->referenceCount;
}
int YFCurveNode::IncReferenceCount()
{
    return ++mData->referenceCount;
}
int YFCurveNode::DecReferenceCount()
{
    return --mData->referenceCount;
}
