#include <utility>

#include "yfcurve/curve/guarded.h"
#include "yfcurve/node/tree/nodedata.h"

// The events of a node and their delivery.

using yfc::Guarded;
using yfc::NodeCallbacks;
using yfc::NodeData;

namespace yfc {
namespace {

bool IsUnregistered(const NodeCallbacks::Listener& listener)
{
    return listener.callback == nullptr;
}

// Listeners get the event as a copy: one that changes the node starts an event of its own. The callback
// state is held here, since a listener may destroy the node.
void Deliver(YFCurveNode& node)
{
    const HostCall hostCall;
    const std::shared_ptr<NodeCallbacks> callbacks = NodeData::Of(node).callbacks;
    YFCurveNodeEvent event = callbacks->pending;
    callbacks->pending.Clear();
    ++callbacks->deliveries;
    for (std::size_t i = callbacks->listeners.size(); i-- > 0 && !callbacks->nodeEnded;) {
        const NodeCallbacks::Listener listener = callbacks->listeners[i];
        if (!IsUnregistered(listener)) listener.callback(&node, &event, listener.object);
    }
    callbacks->pending.mark = event.mark;
    if (--callbacks->deliveries == 0) std::erase_if(callbacks->listeners, IsUnregistered);
}

void OnCurveEvent(YFCurve*, YFCurveEvent*, void* node)
{
    SendEvent(*static_cast<YFCurveNode*>(node), YFCURVENODEEVENT_CURVE);
}

// Made with the first listener, or when callbacks are first enabled or disabled; until then the curve is not
// listened to. Has room for one more listener. Throws when memory runs out, with everything as it was.
NodeCallbacks& CallbacksOf(YFCurveNode& node)
{
    NodeData& data = NodeData::Of(node);
    if (data.callbacks) {
        std::vector<NodeCallbacks::Listener>& listeners = data.callbacks->listeners;
        if (listeners.size() == listeners.capacity()) listeners.reserve(2 * listeners.size() + 1);
        return *data.callbacks;
    }
    auto made = std::make_shared<NodeCallbacks>();
    made->listeners.reserve(1);
    if (data.curve) ListenToCurve(node, *data.curve);
    data.callbacks = std::move(made);
    return *data.callbacks;
}

}  // namespace

void ListenToCurve(YFCurveNode& node, YFCurve& curve)
{
    if (!curve.CallbackRegister(OnCurveEvent, &node)) throw std::bad_alloc();
}

void StopListeningTo(YFCurve& curve, YFCurveNode* node)
{
    curve.CallbackUnregister(OnCurveEvent, node);
}

void StopListeningToCurve(YFCurveNode& node)
{
    const NodeData& data = NodeData::Of(node);
    if (data.callbacks && data.curve) StopListeningTo(*data.curve, &node);
}

void SendEvent(YFCurveNode& node, EYFCurveNodeEvent type)
{
    NodeData& data = NodeData::Of(node);
    if (!data.callbacks) return;
    data.callbacks->pending.Add(type);
    ++data.updateId;
    if (data.callbacks->enabled) Deliver(node);
}

}  // namespace yfc

bool YFCurveNode::CallbackRegister(YFCurveNodeCallback callback, void* object)
{
    if (callback == nullptr) return false;
    return Guarded([&] {
        yfc::CallbacksOf(*this).listeners.push_back({callback, object});
        return true;
    });
}

void YFCurveNode::CallbackUnregister(YFCurveNodeCallback callback, void* object)
{
    if (!mData->callbacks || callback == nullptr) return;
    NodeCallbacks& callbacks = *mData->callbacks;
    for (std::size_t i = callbacks.listeners.size(); i-- > 0;) {
        NodeCallbacks::Listener& listener = callbacks.listeners[i];
        if (listener.callback != callback || listener.object != object) continue;
        listener.callback = nullptr;
        if (callbacks.deliveries == 0) std::erase_if(callbacks.listeners, yfc::IsUnregistered);
        return;
    }
}

void YFCurveNode::CallbackEnable(bool enable)
{
    const bool changed =
        Guarded([&] { return std::exchange(yfc::CallbacksOf(*this).enabled, enable) != enable; });
    if (changed && enable && mData->callbacks->pending.count > 0) yfc::Deliver(*this);
}

bool YFCurveNode::CallbackIsEnable() const
{
    return mData->callbacks && mData->callbacks->enabled;
}

void YFCurveNode::CallbackClear()
{
    if (mData->callbacks) mData->callbacks->pending.Clear();
}

int YFCurveNode::GetNodeUpdateId() const
{
    return mData->updateId;
}
