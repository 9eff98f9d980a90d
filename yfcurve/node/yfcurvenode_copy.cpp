#include "yfcurve/node/nodedata.h"

// Copies of a node's animation, whole or in part, into a new tree or into one that is there.

using yfc::Guarded;
using yfc::NodeData;

namespace {

enum class Keys
{
    All,
    Span,
    None
};

// What a copy takes over.
struct Extent
{
    Keys keys = Keys::All;
    YTime start = YTIME_MINUS_INFINITE;
    YTime stop = YTIME_INFINITE;
    bool layers = true;
    bool timeWarp = true;
    const YFCurveLayerInfo* layerInfo = nullptr;  // null: each node's own
};

YFCurve* CopyCurve(const YFCurve& source, const Extent& extent)
{
    if (extent.keys == Keys::All) return new YFCurve(source);
    if (extent.keys == Keys::Span) return source.Copy(extent.start, extent.stop);
    auto* curve = new YFCurve();
    curve->CopyFrom(source, false);
    curve->SetWasData(0);  // keys to come are not the samples that the source's are
    return curve;
}

// What makes a node animate as another one, its curve, children and layers aside.
void CopySettings(YFCurveNode& to, const YFCurveNode& from)
{
    constexpr std::uint32_t copiedFlags = ~std::uint32_t{yfc::kNodeContainer};
    NodeData& data = NodeData::Of(to);
    const NodeData& source = NodeData::Of(from);
    data.nodeFlags = (data.nodeFlags & ~copiedFlags) | (source.nodeFlags & copiedFlags);
    data.stateFlags = (data.stateFlags & ~yfc::kStateSettings) | (source.stateFlags & yfc::kStateSettings);
    data.rotationOrder = source.rotationOrder;
}

void Append(YFCurveNode& parent, YFCurveNodePtr child)
{
    if (parent.Add(child.get()) < 0) throw std::bad_alloc();
    static_cast<void>(child.release());  // the parent's from here on
}

// Puts a layer between a node and its next one.
void InsertLayer(YFCurveNode& node, YFCurveNodePtr layer)
{
    YFCurveNode* successor = yfc::LinkLayer(node, layer.get(), false);
    YFCurveNode* inserted = layer.release();
    if (successor != nullptr) yfc::LinkLayer(*inserted, successor, false);
}

YFCurveNodePtr CopyTree(const YFCurveNode& source, const Extent& extent);

void CopyChildren(YFCurveNode& to, const YFCurveNode& from, const Extent& extent)
{
    const bool container = from.GetContainerType() != 0;
    to.SetContainerType(container);
    for (int i = 0; i < from.GetCount(); ++i) {
        YFCurveNode* child = from.Get(i);
        if (!container) {
            Append(to, CopyTree(*child, extent));
        } else if (to.Add(child) < 0) {
            throw std::bad_alloc();
        }
    }
}

YFCurveNodePtr CopyTree(const YFCurveNode& source, const Extent& extent)
{
    YFCurveNodePtr copy(new YFCurveNode(source));
    CopySettings(*copy, source);
    copy->SetLayerInfo(extent.layerInfo != nullptr ? *extent.layerInfo : source.GetLayerInfo());
    if (extent.keys == Keys::None) NodeData::Of(*copy).ClearCandidate();
    if (const YFCurve* curve = source.FCurveGet()) NodeData::Of(*copy).curve.reset(CopyCurve(*curve, extent));
    CopyChildren(*copy, source, extent);
    if (extent.timeWarp) NodeData::Of(*copy).timeWarp.Relink(source.TimeWarpGet(), true);
    if (!extent.layers) return copy;

    Extent oneLayer = extent;
    oneLayer.layers = false;
    YFCurveNode* tail = copy.get();
    for (const YFCurveNode* layer = source.LayerGet(); layer != nullptr; layer = layer->LayerGet()) {
        InsertLayer(*tail, CopyTree(*layer, oneLayer));
        tail = tail->LayerGet();
    }
    return copy;
}

YFCurveNode* CopyOf(const YFCurveNode& source, const Extent& extent)
{
    return Guarded([&] { return CopyTree(source, extent).release(); });
}

bool HasSameShape(const YFCurveNode& a, const YFCurveNode& b)
{
    if (a.GetCount() != b.GetCount()) return false;
    for (int i = 0; i < a.GetCount(); ++i) {
        const YFCurveNode& childA = *a.Get(i);
        const YFCurveNode& childB = *b.Get(i);
        if (YStringCompareNoCase(childA.GetName(), childB.GetName()) != 0 || !HasSameShape(childA, childB)) {
            return false;
        }
    }
    return true;
}

// Whether the nodes have the same shape, and so have the layers of the same ids behind them.
bool ChainsHaveSameShape(YFCurveNode& node, const YFCurveNode& source)
{
    if (!HasSameShape(node, source)) return false;
    for (const YFCurveNode* from = source.LayerGet(); from != nullptr; from = from->LayerGet()) {
        const YFCurveNode* layer = node.LayerGet(from->GetLayerID());
        if (layer != nullptr && !HasSameShape(*layer, *from)) return false;
    }
    return true;
}

bool AreOfOneChain(YFCurveNode& node, const YFCurveNode& source)
{
    YFCurveNode* base = NodeData::Of(source).objectLayer.Get();
    return node.ObjectLayerGet() == (base != nullptr ? base : &source);
}

void TakeOverCurve(YFCurveNode& to, const YFCurveNode& from)
{
    const YFCurve* source = from.FCurveGet();
    YFCurve* curve = to.FCurveGet();
    if (source == nullptr) {
        to.FCurveReplace(nullptr);
    } else if (curve == nullptr) {
        to.FCurveSet(new YFCurve(*source));
    } else {
        curve->CopyFrom(*source);
    }
}

// One layer, for nodes of the same shape.
void TakeOver(YFCurveNode& to, const YFCurveNode& from, bool withLayerInfo)
{
    CopySettings(to, from);
    if (withLayerInfo) to.SetLayerInfo(from.GetLayerInfo());
    for (int i = 0; i < to.GetCount(); ++i) TakeOver(*to.Get(i), *from.Get(i), withLayerInfo);
    to.TimeWarpSet(from.TimeWarpGet());
    TakeOverCurve(to, from);
}

// Destroys the layers behind a node up to one of at least the given id.
bool DropLayersBelow(YFCurveNode& node, int layerId)
{
    bool dropped = false;
    while (YFCurveNode* layer = node.LayerGet()) {
        if (layer->GetLayerID() >= layerId) break;
        yfc::LinkLayer(node, layer->LayerGet(), true);
        dropped = true;
    }
    return dropped;
}

// Makes the chain behind a node equal to the one behind another. Answers whether layers came or went.
bool TakeOverLayers(YFCurveNode& node, const YFCurveNode& source)
{
    Extent oneLayer;
    oneLayer.layers = false;
    bool changed = false;
    YFCurveNode* tail = &node;
    for (const YFCurveNode* from = source.LayerGet(); from != nullptr; from = from->LayerGet()) {
        changed |= DropLayersBelow(*tail, from->GetLayerID());
        YFCurveNode* layer = tail->LayerGet();
        if (layer != nullptr && layer->GetLayerID() == from->GetLayerID()) {
            TakeOver(*layer, *from, false);
        } else {
            InsertLayer(*tail, CopyTree(*from, oneLayer));
            changed = true;
        }
        tail = tail->LayerGet();
    }
    if (tail->LayerGet() == nullptr) return changed;
    yfc::LinkLayer(*tail, nullptr, true);
    return true;
}

struct ReplaceArguments
{
    YTime start;
    YTime stop;
    bool exactSpan;
    bool keyAtEnds;
    YTime offset;
};

void ReplaceSpan(YFCurveNode& node, const YFCurveNode& source, const ReplaceArguments& arguments)
{
    YFCurve* curve = node.FCurveGet();
    const YFCurve* from = source.FCurveGet();
    if (curve != nullptr && from != nullptr) {
        curve->Replace(*from, arguments.start, arguments.stop, arguments.exactSpan, arguments.keyAtEnds,
                       arguments.offset);
    }
    for (int i = 0; i < node.GetCount(); ++i) ReplaceSpan(*node.Get(i), *source.Get(i), arguments);
}

}  // namespace

YFCurveNode* YFCurveNode::Clone() const
{
    return CopyOf(*this, {});
}

YFCurveNode* YFCurveNode::Copy(YTime start, YTime stop) const
{
    Extent extent;
    extent.keys = Keys::Span;
    extent.start = start;
    extent.stop = stop;
    return CopyOf(*this, extent);
}

YFCurveNode* YFCurveNode::SingleLayerCopy() const
{
    Extent extent;
    extent.layers = false;
    return CopyOf(*this, extent);
}

YFCurveNode* YFCurveNode::CloneTemplate(const YFCurveLayerInfo& layerInfo) const
{
    Extent extent;
    extent.keys = Keys::None;
    extent.layers = false;
    extent.timeWarp = false;
    extent.layerInfo = &layerInfo;
    return CopyOf(*this, extent);
}

bool YFCurveNode::SingleLayerCopyFrom(const YFCurveNode* source, bool withLayerInfo)
{
    if (source == nullptr || !HasSameShape(*this, *source)) return false;
    if (source == this) return true;
    return Guarded([&] {
        TakeOver(*this, *source, withLayerInfo);
        return true;
    });
}

bool YFCurveNode::CopyFrom(const YFCurveNode* source)
{
    if (source == this) return true;
    if (source == nullptr || AreOfOneChain(*this, *source) || !ChainsHaveSameShape(*this, *source))
        return false;
    bool layersChanged = false;
    const bool copied = Guarded([&] {
        TakeOver(*this, *source, false);
        layersChanged = TakeOverLayers(*this, *source);
        return true;
    });
    if (layersChanged) yfc::SendEvent(*ObjectLayerGet(), YFCURVENODEEVENT_LAYER);
    return copied;
}

bool YFCurveNode::Replace(const YFCurveNode* source, YTime start, YTime stop, bool exactSpan, bool keyAtEnds,
                          YTime offset)
{
    if (source == nullptr) return false;
    if (source == this) {
        const YFCurveNodePtr copy(Clone());  // the span moves within the curves
        return Replace(copy.get(), start, stop, exactSpan, keyAtEnds, offset);
    }
    if (AreOfOneChain(*this, *source) || !ChainsHaveSameShape(*this, *source)) return false;
    const ReplaceArguments arguments = {start, stop, exactSpan, keyAtEnds, offset};
    return Guarded([&] {
        ReplaceSpan(*this, *source, arguments);
        for (const YFCurveNode* from = source->LayerGet(); from != nullptr; from = from->LayerGet()) {
            if (YFCurveNode* layer = LayerGet(from->GetLayerID())) ReplaceSpan(*layer, *from, arguments);
        }
        return true;
    });
}
