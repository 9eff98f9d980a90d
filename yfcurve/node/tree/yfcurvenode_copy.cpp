#include <new>
#include <vector>

#include "yfcurve/node/tree/animationkeep.h"
#include "yfcurve/node/tree/nodedata.h"
#include "yfcurve/node/tree/treewalk.h"

// Copies of a node's animation, whole or in part, into a new tree or into one that is there.

using yfc::EWalk;
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

// A copy that was just made leads back to nothing.
YFCurveNode& Append(YFCurveNode& parent, YFCurveNodePtr child)
{
    YArrayTemplate<YFCurveNode*>& children = NodeData::Of(parent).children;
    yfc::List(*child, children, children.GetCount());
    child->SetParent(&parent);
    return *child.release();  // the parent's from here on
}

// Puts a layer between a node and its next one.
void InsertLayer(YFCurveNode& node, YFCurveNodePtr layer)
{
    YFCurveNode* successor = yfc::LinkLayer(node, layer.get(), false);
    YFCurveNode* inserted = layer.release();
    if (successor != nullptr) yfc::LinkLayer(*inserted, successor, false);
}

// A node without its children and links; the children of a container are listed.
YFCurveNodePtr CopyNode(const YFCurveNode& source, const Extent& extent)
{
    YFCurveNodePtr copy(new YFCurveNode(source));
    CopySettings(*copy, source);
    copy->SetLayerInfo(extent.layerInfo != nullptr ? *extent.layerInfo : source.GetLayerInfo());
    NodeData& data = NodeData::Of(*copy);
    if (extent.keys == Keys::None) data.ClearCandidate();
    if (const YFCurve* curve = source.FCurveGet()) data.curve.reset(CopyCurve(*curve, extent));
    copy->SetContainerType(source.GetContainerType() != 0);
    if (copy->GetContainerType() == 0) return copy;
    for (int i = 0; i < source.GetCount(); ++i) {
        yfc::List(*source.Get(i), data.children, data.children.GetCount());
    }
    return copy;
}

// A node with all below it, whose layers and time warps are still to be copied.
template<class CopyLinks>
YFCurveNodePtr CopyBelow(const YFCurveNode& top, const Extent& extent, const CopyLinks& copyLinks)
{
    YFCurveNodePtr copyOfTop;
    YFCurveNode* parent = nullptr;  // the copy that the walk is in
    yfc::WalkBelow(
        top, yfc::ChildOf,
        [&](const YFCurveNode& source) {
            YFCurveNodePtr copy = CopyNode(source, extent);
            if (source.GetContainerType() != 0) {
                copyLinks(source, *copy);
            }
            YFCurveNode* const made = copy.get();
            if (parent == nullptr) {
                copyOfTop = std::move(copy);
            } else {
                Append(*parent, std::move(copy));
            }
            if (source.GetContainerType() != 0) return EWalk::Past;
            parent = made;
            return EWalk::Into;
        },
        [&](const YFCurveNode& source) {
            YFCurveNode& copy = *parent;
            parent = copy.GetParent();
            copyLinks(source, copy);
        });
    return copyOfTop;
}

void CopyTimeWarp(const YFCurveNode& source, YFCurveNode& copy, const Extent& extent)
{
    if (extent.timeWarp) NodeData::Of(copy).timeWarp.Relink(source.TimeWarpGet(), true);
}

YFCurveNodePtr CopyOneLayer(const YFCurveNode& source, const Extent& extent)
{
    return CopyBelow(source, extent,
                     [&](const YFCurveNode& node, YFCurveNode& copy) { CopyTimeWarp(node, copy, extent); });
}

YFCurveNodePtr CopyTree(const YFCurveNode& source, const Extent& extent)
{
    if (!extent.layers) return CopyOneLayer(source, extent);
    return CopyBelow(source, extent, [&](const YFCurveNode& node, YFCurveNode& copy) {
        CopyTimeWarp(node, copy, extent);
        YFCurveNode* tail = &copy;
        for (const YFCurveNode* layer = node.LayerGet(); layer != nullptr; layer = layer->LayerGet()) {
            InsertLayer(*tail, CopyOneLayer(*layer, extent));
            tail = tail->LayerGet();
        }
    });
}

YFCurveNode* CopyOf(const YFCurveNode& source, const Extent& extent)
{
    return Guarded([&] { return CopyTree(source, extent).release(); });
}

bool HasSameShape(const YFCurveNode& a, const YFCurveNode& b)
{
    return yfc::WalkPairs(a, b, [&](const YFCurveNode& nodeA, const YFCurveNode& nodeB) {
        const bool same = nodeA.GetCount() == nodeB.GetCount() &&
                          (&nodeA == &a || YStringCompareNoCase(nodeA.GetName(), nodeB.GetName()) == 0);
        return same ? EWalk::Into : EWalk::Stop;
    });
}

bool AreOfOneChain(YFCurveNode& node, const YFCurveNode& source)
{
    YFCurveNode* base = NodeData::Of(source).objectLayer.Get();
    return node.ObjectLayerGet() == (base != nullptr ? base : &source);
}

bool LayersHaveSameShape(YFCurveNode& node, const YFCurveNode& source)
{
    yfc::LayerSearch layers(node);
    for (const YFCurveNode* from = source.LayerGet(); from != nullptr; from = from->LayerGet()) {
        const YFCurveNode* layer = layers.Find(from->GetLayerID());
        if (layer != nullptr && !HasSameShape(*layer, *from)) return false;
    }
    return true;
}

// Whether two trees have the same shape, and so have the layers of the same ids behind each pair of nodes. No
// two nodes are layers of one chain; a child that two containers share is a pair with itself.
bool CanTakeOver(YFCurveNode& top, const YFCurveNode& topSource)
{
    const auto enter = [](YFCurveNode& node, const YFCurveNode& source) {
        if (&node == &source) return EWalk::Past;
        const bool fits = !AreOfOneChain(node, source) && LayersHaveSameShape(node, source);
        return fits ? EWalk::Into : EWalk::Stop;
    };
    return HasSameShape(top, topSource) && yfc::WalkPairs(top, topSource, enter);
}

// Nodes for what is to be done once nothing can fail any more. Listeners may have ended some by then.
using Nodes = std::vector<YSpObject<YFCurveNode>>;

void Note(Nodes& nodes, YFCurveNode& node)
{
    if (!nodes.emplace_back(&node)) throw std::bad_alloc();
}

void TakeOverCurve(YFCurveNode& to, const YFCurveNode& from, Nodes& losers)
{
    const YFCurve* source = from.FCurveGet();
    YFCurve* curve = to.FCurveGet();
    if (source == nullptr) {
        if (curve != nullptr) Note(losers, to);
    } else if (curve == nullptr) {
        yfc::TakeCurve(to, YFCurvePtr(new YFCurve(*source)));
    } else {
        curve->CopyFrom(*source);
    }
}

// One layer, for nodes of the same shape.
void TakeOver(YFCurveNode& topTo, const YFCurveNode& topFrom, bool withLayerInfo, Nodes& losers)
{
    yfc::WalkPairs(
        topTo, topFrom,
        [=](YFCurveNode& to, const YFCurveNode& from) {
            CopySettings(to, from);
            if (withLayerInfo) to.SetLayerInfo(from.GetLayerInfo());
            return EWalk::Into;
        },
        [&](YFCurveNode& to, const YFCurveNode& from) {
            to.TimeWarpSet(from.TimeWarpGet());
            TakeOverCurve(to, from, losers);
        });
}

void TakeCurves(const Nodes& losers)
{
    for (const YSpObject<YFCurveNode>& node : losers) {
        if (node) node->FCurveReplace(nullptr);
    }
}

// Destroys the layers behind a node up to one of at least the given id.
bool DropLayersBelow(YFCurveNode& node, int layerId)
{
    YFCurveNode* kept = node.LayerGet();
    while (kept != nullptr && kept->GetLayerID() < layerId) kept = kept->LayerGet();
    if (kept == node.LayerGet()) return false;
    yfc::LinkLayer(node, kept, true);
    return true;
}

// Time warps of a copy that lead back to the node which the copy is to hang on are left out.
void DropRings(YFCurveNode& copy, const YFCurveNode& node)
{
    yfc::WalkTree(copy, [&](YFCurveNode& at) {
        const YFCurveNode* const timeWarp = at.TimeWarpGet();
        if (timeWarp != nullptr && yfc::DependsOn(*timeWarp, node)) {
            NodeData::Of(at).timeWarp.Relink(nullptr, true);
        }
        return EWalk::Into;
    });
}

// Makes the chain behind a node equal to the one behind another.
// \return  whether layers came or went.
bool TakeOverLayers(YFCurveNode& node, const YFCurveNode& source, Nodes& losers)
{
    bool changed = false;
    YFCurveNode* tail = &node;
    for (const YFCurveNode* from = source.LayerGet(); from != nullptr; from = from->LayerGet()) {
        changed |= DropLayersBelow(*tail, from->GetLayerID());
        YFCurveNode* layer = tail->LayerGet();
        if (layer != nullptr && layer->GetLayerID() == from->GetLayerID()) {
            TakeOver(*layer, *from, false, losers);
        } else {
            YFCurveNodePtr copy = CopyOneLayer(*from, {});
            DropRings(*copy, *tail);
            yfc::JoinBase(*copy, *node.ObjectLayerGet());
            InsertLayer(*tail, std::move(copy));
            changed = true;
        }
        tail = tail->LayerGet();
    }
    if (tail->LayerGet() == nullptr) return changed;
    yfc::LinkLayer(*tail, nullptr, true);
    return true;
}

// The same for every node of a tree. \param changed  receives the nodes behind which layers came or went.
void TakeOverAllLayers(YFCurveNode& top, const YFCurveNode& topSource, Nodes& losers, Nodes& changed)
{
    yfc::WalkPairs(top, topSource, [&](YFCurveNode& node, const YFCurveNode& source) {
        if (&node == &source) return EWalk::Past;
        if (TakeOverLayers(node, source, losers)) Note(changed, node);
        return EWalk::Into;
    });
}

struct ReplaceArguments
{
    YTime start;
    YTime stop;
    bool exactSpan;
    bool keyAtEnds;
    YTime offset;
};

void ReplaceSpan(YFCurveNode& top, const YFCurveNode& topSource, const ReplaceArguments& arguments)
{
    yfc::WalkPairs(top, topSource, [&](YFCurveNode& node, const YFCurveNode& source) {
        YFCurve* curve = node.FCurveGet();
        const YFCurve* from = source.FCurveGet();
        if (curve != nullptr && from != nullptr) {
            curve->Replace(*from, arguments.start, arguments.stop, arguments.exactSpan, arguments.keyAtEnds,
                           arguments.offset);
        }
        return EWalk::Into;
    });
}

void ReplaceSpanOfLayers(YFCurveNode& top, const YFCurveNode& topSource, const ReplaceArguments& arguments)
{
    yfc::WalkPairs(top, topSource, [&](YFCurveNode& node, const YFCurveNode& source) {
        yfc::LayerSearch layers(node);
        for (const YFCurveNode* from = source.LayerGet(); from != nullptr; from = from->LayerGet()) {
            if (YFCurveNode* layer = layers.Find(from->GetLayerID())) ReplaceSpan(*layer, *from, arguments);
        }
        return EWalk::Into;
    });
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
    if (source == nullptr) return false;
    if (source == this) return true;
    if (!yfc::Guarded([&] { return HasSameShape(*this, *source); })) return false;
    return yfc::Safely(*this, false, [&] {
        Nodes losers;
        TakeOver(*this, *source, withLayerInfo, losers);
        TakeCurves(losers);
        return true;
    });
}

bool YFCurveNode::CopyFrom(const YFCurveNode* source)
{
    if (source == this) return true;
    if (source == nullptr || !yfc::Guarded([&] { return CanTakeOver(*this, *source); })) return false;
    Nodes changed;
    const bool copied = yfc::Safely(*this, false, [&] {
        Nodes losers;
        TakeOver(*this, *source, false, losers);
        TakeOverAllLayers(*this, *source, losers, changed);
        TakeCurves(losers);
        return true;
    });
    if (!copied) return false;
    for (const YSpObject<YFCurveNode>& node : changed) {
        if (node) yfc::SendEvent(*node->ObjectLayerGet(), YFCURVENODEEVENT_LAYER);
    }
    return true;
}

bool YFCurveNode::Replace(const YFCurveNode* source, YTime start, YTime stop, bool exactSpan, bool keyAtEnds,
                          YTime offset)
{
    if (source == nullptr) return false;
    if (source == this) {
        const YFCurveNodePtr copy(Clone());  // the span moves within the curves
        return Replace(copy.get(), start, stop, exactSpan, keyAtEnds, offset);
    }
    const ReplaceArguments arguments = {start, stop, exactSpan, keyAtEnds, offset};
    if (!yfc::Guarded([&] { return CanTakeOver(*this, *source); })) return false;
    return yfc::Safely(*this, false, [&] {
        ReplaceSpan(*this, *source, arguments);
        ReplaceSpanOfLayers(*this, *source, arguments);
        return true;
    });
}
