#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "ybaselib/yspobjectholder.h"
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
};

struct UndoStep
{
    std::string name;
    std::vector<StepPart::Links> links;
    std::vector<StepPart::Curve> curves;
    std::vector<std::unique_ptr<YFCurveUndoAction>> actions;

    bool IsNone() const
    {
        const auto isSelectionAlone = [](const StepPart::Curve& part) {
            return part.change.IsSelectionAlone();
        };
        return links.empty() && actions.empty() &&
               std::all_of(curves.begin(), curves.end(), isSelectionAlone);
    }

    std::size_t GetByteCount() const
    {
        std::size_t bytes = sizeof *this + links.size() * sizeof(StepPart::Links);
        for (const StepPart::Curve& part : curves) bytes += part.change.GetByteCount();
        for (const auto& action : actions) bytes += action->GetByteCount();
        return bytes;
    }
};

}  // namespace yfc
