#include <new>
#include <unordered_set>
#include <utility>
#include <vector>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/node/tree/nodedata.h"
#include "yfcurve/node/tree/steadywalk.h"

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
    const auto baseOf = [=](const YFCurveNode& node, YFCurveNode* parent) -> YFCurveNode* {
        if (parent == nullptr) return topBase;
        const YFCurveNode* const base = parent->ObjectLayerGet();
        return base != parent ? base->Get(base->Find(node.GetName())) : nullptr;
    };
    WalkSteadily(top, ChildOf, [=](YFCurveNode& node, YFCurveNode* parent) {
        node.ObjectLayerSet(baseOf(node, parent));
        return node.GetContainerType() == 0 ? EWalk::Into : EWalk::Past;
    });
}

// A weak reference takes memory with the first one only.
void PrepareReference(YFCurveNode& node)
{
    const YSpObject<YFCurveNode> reference(&node);
    if (!reference) throw std::bad_alloc();
}

struct NodeAndBase
{
    YFCurveNode* node;
    YFCurveNode* base;
};

// Those children of a node that its base has by the same names.
void PushChildren(const NodeAndBase& pair, WalkStack<NodeAndBase>& waiting)
{
    for (int i = 0; i < pair.node->GetCount(); ++i) {
        YFCurveNode* const child = pair.node->Get(i);
        YFCurveNode* const childBase = pair.base->Get(pair.base->Find(child->GetName()));
        if (childBase != nullptr) waiting.Push({child, childBase});
    }
}

void PrepareObjectLayers(YFCurveNode& topBase, YFCurveNode& top)
{
    WalkStack<NodeAndBase> waiting;
    waiting.Push({&top, &topBase});
    while (!waiting.IsEmpty()) {
        const NodeAndBase pair = waiting.Take();
        PrepareReference(*pair.base);
        if (pair.node->GetContainerType() == 0) PushChildren(pair, waiting);
    }
}

}  // namespace

void PrepareChain(YFCurveNode& base, YFCurveNode& node)
{
    PrepareReference(node);
    for (YFCurveNode* next = &node; next != nullptr; next = next->LayerGet())
        PrepareObjectLayers(base, *next);
}

void JoinBase(YFCurveNode& top, YFCurveNode& topBase)
{
    WalkStack<NodeAndBase> waiting;
    waiting.Push({&top, &topBase});
    while (!waiting.IsEmpty()) {
        const NodeAndBase pair = waiting.Take();
        PrepareReference(*pair.base);
        pair.node->ObjectLayerSet(pair.base);
        NodeData::Of(*pair.node).names = NodeData::Of(*pair.base).names;
        PushChildren(pair, waiting);
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
    if (layer != nullptr) PrepareChain(*base, *layer);
    YFCurveNode* const former = node.LayerGet();
    const bool formerStays = former != nullptr && !(destroyOld && former->GetReferenceCount() <= 1);
    YFCurveNode* const behind = layer != nullptr && formerStays ? former->LayerGet() : nullptr;
    for (YFCurveNode* next = behind; next != nullptr && next != layer; next = next->LayerGet())
        PrepareObjectLayers(*former, *next);
    return LinkPrepared(node, layer, destroyOld);
}

YFCurveNode* LinkPrepared(YFCurveNode& node, YFCurveNode* layer, bool destroyOld)
{
    YFCurveNode* const base = node.ObjectLayerGet();
    NodeData& data = NodeData::Of(node);
    YFCurveNode* const left = data.layer.Relink(layer, destroyOld, data.QueueOfClear());
    // What was left behind is a stack of its own, up to the new layer if that stands there further on.
    for (YFCurveNode* next = left; next != nullptr && next != layer && next->ObjectLayerGet() == base;
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

// A curve that a leaf is to have, and that the leaf listens to already.
struct NewCurve
{
    explicit NewCurve(YFCurveNode& made) : leaf(&made), node(&made), curve(new YFCurve())
    {
        if (!node) throw std::bad_alloc();
        if (NodeData::Of(made).callbacks) yfc::ListenToCurve(made, *curve);
    }
    // A curve that the leaf did not get must not tell it that it ends: the leaf may have ended itself.
    ~NewCurve()
    {
        if (curve) yfc::StopListeningTo(*curve, leaf);
    }
    NewCurve(NewCurve&&) = default;
    NewCurve& operator=(NewCurve&&) = delete;

    void Set()
    {
        if (!node || node->FCurveGet() != nullptr) return;  // a listener has been there before
        NodeData::Of(*node).curve = std::move(curve);
        yfc::SendEvent(*node, YFCURVENODEEVENT_CURVE);
    }

    YFCurveNode* leaf;  // for comparing alone: it may have ended
    YSpObject<YFCurveNode> node;
    YFCurvePtr curve;
};

void MakeCurves(YFCurveNode& top, std::vector<NewCurve>& curves)
{
    yfc::WalkTree(top, [&](YFCurveNode& node) {
        if (node.GetCount() == 0 && node.FCurveGet() == nullptr) curves.emplace_back(node);
        return EWalk::Into;
    });
}

}  // namespace

// --- Curve ---------------------------------------------------------------------------------------------

YFCurve* YFCurveNode::FCurveGet() const
{
    return mData->curve.get();
}

YFCurve* YFCurveNode::FCurveSet(YFCurve* curve, bool destroyOld)
{
    if (curve == FCurveGet()) return nullptr;
    return Guarded([&] {
        if (curve != nullptr && mData->callbacks) yfc::ListenToCurve(*this, *curve);
        yfc::StopListeningToCurve(*this);
        YFCurve* old = mData->curve.release();
        mData->curve.reset(curve);
        if (destroyOld && old != nullptr) {
            old->Destroy();
            old = nullptr;
        }
        yfc::SendEvent(*this, YFCURVENODEEVENT_CURVE);
        return old;
    });
}

YFCurvePtr yfc::TakeCurve(YFCurveNode& node, YFCurvePtr curve)
{
    const GuardScope scope;
    YFCurvePtr former(node.FCurveSet(curve.get()));
    static_cast<void>(curve.release());  // the node's from here on
    return former;
}

void YFCurveNode::FCurveReplace(YFCurve* curve)
{
    FCurveSet(curve, true);
}

void YFCurveNode::CreateFCurve()
{
    Guarded([&] {
        std::vector<NewCurve> curves;
        MakeCurves(*this, curves);
        for (NewCurve& made : curves) made.Set();
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
    const YSpObject<YFCurveNode> reference(node != this ? node : nullptr);
    if (node == nullptr || node == this || reference) mData->objectLayer = reference;
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
    const YSpObject<YFCurveNode> reference(node);
    if (node == nullptr || reference) mData->dataNode = reference;
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
