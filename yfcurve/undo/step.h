#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "ybaselib/yspobjectholder.h"
#include "yfcurve/node/tree/nodedata.h"
#include "yfcurve/undo/curvechange.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveundo.h"

/// \file
/// What can be undone at once.

namespace yfc {

/// A link to a layer or a time warp that keeps it alive as links between nodes do. Reads null once the node
/// has been ended in spite of it.
class NodeLink
{
  public:
    NodeLink() = default;
    /// Throws `std::bad_alloc`.
    explicit NodeLink(YFCurveNode* node) : mNode(node)
    {
        if (mNode.Get() != node) throw std::bad_alloc();
        if (node != nullptr) node->IncReferenceCount();
    }
    NodeLink(const NodeLink& other) : NodeLink(other.Get()) {}
    NodeLink(NodeLink&& other) noexcept : mNode(std::exchange(other.mNode, {})) {}
    NodeLink& operator=(NodeLink other) noexcept
    {
        std::swap(mNode, other.mNode);
        return *this;
    }
    ~NodeLink()
    {
        YFCurveNode* const node = mNode.Get();
        if (node != nullptr && node->DecReferenceCount() < 1) node->Destroy();
    }

    YFCurveNode* Get() const { return mNode.Get(); }

  private:
    YSpObject<YFCurveNode> mNode;
};

/// What hangs on a node.
struct NodeLinks
{
    NodeLinks() = default;
    explicit NodeLinks(const YFCurveNode& node) : layer(node.LayerGet()), timeWarp(node.TimeWarpGet()) {}

    bool AreThoseOf(const YFCurveNode& node) const
    {
        return layer.Get() == node.LayerGet() && timeWarp.Get() == node.TimeWarpGet();
    }

    NodeLink layer;
    NodeLink timeWarp;
};

/// How a node has its curves play. The nodes of a property on other layers have settings of their own.
struct NodeSettings
{
    NodeSettings() = default;
    explicit NodeSettings(const YFCurveNode& node)
        : state(NodeData::Of(node).stateFlags & kStateSettings),
          rotationOrder(NodeData::Of(node).rotationOrder)
    {}

    void ApplyTo(YFCurveNode& node) const
    {
        NodeData& data = NodeData::Of(node);
        data.stateFlags = (data.stateFlags & ~kStateSettings) | state;
        data.rotationOrder = rotationOrder;
    }
    bool operator==(const NodeSettings&) const = default;

    std::uint32_t state = 0;
    std::int32_t rotationOrder = 0;
};

enum class EUndo
{
    Undo,
    Redo
};

/// One part of a step. Nodes live as long as they are watched, or the step is given up.
struct StepPart
{
    struct Curve
    {
        YFCurveNode* node;
        CurveChange change;
    };
    struct Links
    {
        YFCurveNode* node;
        NodeLinks before;
        NodeLinks after;
    };
    struct Settings
    {
        YFCurveNode* node;
        NodeSettings before;
        NodeSettings after;
    };
};

struct UndoStep
{
    std::string name;
    std::vector<StepPart::Links> links;
    std::vector<StepPart::Curve> curves;
    std::vector<StepPart::Settings> settings;
    std::vector<std::unique_ptr<YFCurveUndoAction>> actions;

    bool IsNone() const
    {
        const auto isSelectionAlone = [](const StepPart::Curve& part) {
            return part.change.IsSelectionAlone();
        };
        return links.empty() && settings.empty() && actions.empty() &&
               std::all_of(curves.begin(), curves.end(), isSelectionAlone);
    }

    std::size_t GetByteCount() const
    {
        std::size_t bytes = sizeof *this + links.size() * sizeof(StepPart::Links) +
                            settings.size() * sizeof(StepPart::Settings);
        for (const StepPart::Curve& part : curves) bytes += part.change.GetByteCount();
        for (const auto& action : actions) bytes += action->GetByteCount();
        return bytes;
    }
};

}  // namespace yfc
