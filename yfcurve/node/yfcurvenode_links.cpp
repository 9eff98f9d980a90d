#include <new>

#include "yfcurve/node/nodedata.h"

// What a node owns besides its children, or links: its curve, layers, time warp and the host's objects.

using yfc::Guarded;
using yfc::NodeData;

namespace yfc {

YFCurveNode* CountedLink::Relink(YFCurveNode* node, bool destroyUnused)
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
    former->Destroy();
    return nullptr;
}

namespace {

// Gives a layer node, and its children by name, their places in the stack of a base node. A null base takes
// them out of any stack.
void SetObjectLayers(YFCurveNode& node, YFCurveNode* base)
{
    node.ObjectLayerSet(base);
    if (node.GetContainerType() != 0) return;
    for (int i = 0; i < node.GetCount(); ++i) {
        YFCurveNode& child = *node.Get(i);
        SetObjectLayers(child, base != nullptr ? base->Get(base->Find(child.GetName())) : nullptr);
    }
}

// Whether a node reaches another one through its children and links.
bool DependsOn(const YFCurveNode& node, const YFCurveNode& other)
{
    if (&node == &other) return true;
    const YFCurveNode* layer = node.LayerGet();
    const YFCurveNode* timeWarp = node.TimeWarpGet();
    if ((layer != nullptr && DependsOn(*layer, other)) ||
        (timeWarp != nullptr && DependsOn(*timeWarp, other))) {
        return true;
    }
    for (int i = 0; i < node.GetCount(); ++i) {
        if (DependsOn(*node.Get(i), other)) return true;
    }
    return false;
}

}  // namespace

YFCurveNode* LinkLayer(YFCurveNode& node, YFCurveNode* layer, bool destroyOld)
{
    YFCurveNode* const base = node.ObjectLayerGet();
    YFCurveNode* const left = NodeData::Of(node).layer.Relink(layer, destroyOld);
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
    for (int i = 0; i < GetCount(); ++i) Get(i)->CreateFCurve();
    if (GetCount() > 0 || FCurveGet() != nullptr) return;
    if (YFCurve* curve = YFCurveCreate()) FCurveSet(curve);
}

bool YFCurveNode::FCurveCreated() const
{
    const int count = GetCount();
    if (count == 0) return FCurveGet() != nullptr;
    for (int i = 0; i < count; ++i) {
        if (!Get(i)->FCurveCreated()) return false;
    }
    return true;
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
    if (layer == LayerGet() || (layer != nullptr && yfc::DependsOn(*layer, *this))) return nullptr;
    YFCurveNode* former = nullptr;
    const bool linked = Guarded([&] {
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
    if (timeWarp == TimeWarpGet() || (timeWarp != nullptr && yfc::DependsOn(*timeWarp, *this))) return;
    const bool linked = Guarded([&] {
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
