#include "python/bindings/locks.h"

namespace yfpy {
namespace {

enum class Layers
{
    Own,
    AndAbove
};

/// The first node of a tree, parents first, of which something holds; null without one.
template<class Holds>
YFCurveNode* FirstOf(YFCurveNode& node, Layers layers, const Holds& holds)
{
    for (YFCurveNode* at = &node; at != nullptr; at = layers == Layers::AndAbove ? at->LayerGet() : nullptr) {
        if (holds(*at)) return at;
        for (int i = 0; i < at->GetCount(); ++i) {
            if (YFCurveNode* found = FirstOf(*at->Get(i), layers, holds)) return found;
        }
    }
    return nullptr;
}

/// Whether a node's layer is locked. Trees on their own have no layers that could be asked.
bool IsLayerLocked(const Owner& owner, const YFCurveNode& node)
{
    return owner.Scene() != nullptr && node.GetLayerInfo().IsLocked();
}

[[noreturn]] void RaiseLockedLayer(const Owner& owner, int id)
{
    std::string name;
    for (const YMotionLayer& layer : owner.Scene()->GetLayers()) {
        if (layer.id == id) name = layer.name;
    }
    Raise("Refused", "the layer '" + name + "' is locked; unlock it by layer.locked = False");
}

[[noreturn]] void RaiseLocked(const Owner& owner, YFCurveNode& node)
{
    if (IsLayerLocked(owner, node)) RaiseLockedLayer(owner, node.GetLayerID());
    const char* const what = node.IsLockedByProperty() ? "node" : "curve";
    // What is on a layer is called as the property is.
    Raise("Refused", "'" + PathOf(*node.ObjectLayerGet()).bytes + "' is locked; unlock it by " + what +
                         ".locked = False");
}

}  // namespace

bool IsLocked(const Owner& owner, const YFCurveNode& node)
{
    const YFCurve* const curve = node.FCurveGet();
    return node.IsLockedByProperty() || IsLayerLocked(owner, node) || (curve != nullptr && curve->IsLocked());
}

void CheckUnlocked(const Owner& owner, const YFCurve& curve)
{
    if (!curve.IsLocked()) return;
    const auto holds = [&](const YFCurveNode& node) { return node.FCurveGet() == &curve; };
    YFCurveNode* const root = owner.Root();
    YFCurveNode* const holder = root == nullptr ? nullptr : FirstOf(*root, Layers::AndAbove, holds);
    if (holder != nullptr) RaiseLocked(owner, *holder);
    Raise("Refused", "the curve is locked; unlock it by curve.locked = False");
}

void CheckNodeUnlocked(const Owner& owner, const YFCurveNode& node)
{
    if (node.IsLockedByProperty() || IsLayerLocked(owner, node))
        RaiseLocked(owner, const_cast<YFCurveNode&>(node));
}

void CheckTreeUnlocked(const Owner& owner, YFCurveNode& node)
{
    const auto isLocked = [&](const YFCurveNode& each) { return IsLocked(owner, each); };
    if (YFCurveNode* locked = FirstOf(node, Layers::Own, isLocked)) RaiseLocked(owner, *locked);
}

void CheckLayersUnlocked(const Owner& owner, YFCurveNode& node)
{
    const auto isLocked = [&](const YFCurveNode& each) { return IsLocked(owner, each); };
    if (YFCurveNode* locked = FirstOf(node, Layers::AndAbove, isLocked)) RaiseLocked(owner, *locked);
}

void CheckLayerUnlocked(const Owner& owner, YFCurveNode& node, const YFCurveLayerInfo& layer)
{
    if (layer.IsLocked()) RaiseLockedLayer(owner, layer.GetLayerID());
    FirstOf(node, Layers::Own, [&](YFCurveNode& each) {
        if (each.IsLockedByProperty()) RaiseLocked(owner, each);
        if (YFCurveNode* there = each.LayerGet(layer.GetLayerID())) CheckTreeUnlocked(owner, *there);
        return false;
    });
}

}  // namespace yfpy
