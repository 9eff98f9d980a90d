#pragma once

#include <cstdint>

#include "yfcurve/yfcurvenode.h"

/// \file
/// How nodes end: one after the other, however deep the tree, and what a reference to one keeps.

namespace yfc {

/// Nodes that end one after the other, so that the end of a deep tree or a long chain takes no deep stack,
/// and no memory. Each that ends adds what it owned; that goes before what was waiting already.
class EndQueue
{
  public:
    EndQueue() = default;
    EndQueue(const EndQueue&) = delete;
    EndQueue& operator=(const EndQueue&) = delete;

    /// What is added from now on stands before the rest, in its order.
    void BeginGroup() { mLastOfGroup = nullptr; }
    /// \param isOwned  false: ends only if no link to it has been made by then.
    void Add(YFCurveNode& node, bool isOwned);
    void EndAll();

    /// Takes a node out that does not have to wait any more.
    /// \return  the queue that is ending it, else null.
    static EndQueue* Leave(YFCurveNode& node);

  private:
    void Unlink(YFCurveNode& node);

    YFCurveNode* mFirst = nullptr;
    YFCurveNode* mLastOfGroup = nullptr;
    YFCurveNode* mBegun = nullptr;  // as long as it may be that its class does something else than end it
};

/// What a node has to do with an `EndQueue`.
enum class EEndState : std::uint8_t
{
    None,
    WaitsOwned,
    WaitsUnused,
    Begun,    ///< the queue is ending it
    Clearing  ///< what it owned is added to the queue
};

/// While a node is cleared: what it owns is gathered, and ends with the scope or, where a queue is ending the
/// node itself, by that one.
class EndScope
{
  public:
    explicit EndScope(YFCurveNode& node);
    ~EndScope();
    EndScope(const EndScope&) = delete;
    EndScope& operator=(const EndScope&) = delete;

  private:
    YFCurveNode& mNode;
    EndQueue* const mFormerQueue;
    const EEndState mFormerState;
    EndQueue mOwn;
};

/// A link to a layer or time-warp node, which counts as a reference to it. It reads null once the node has
/// been destroyed in another way. Links are given up with `Relink`, as that may end the node.
class CountedLink
{
  public:
    /// Links are asked for in every evaluation, and mostly there is none.
    YFCurveNode* Get() const { return mLinked ? mNode.Get() : nullptr; }

    /// True without a node as well once that has been destroyed.
    bool IsLinked() const { return mLinked; }

    /// Links another node, or none, and uncounts the former one. Throws when memory runs out, and then
    /// leaves everything as it was; linking none never does.
    /// \param destroyUnused  destroy the former node if this was the last reference to it.
    /// \param queue          where it waits for that; null: at once.
    /// \return  the former node, if there was one and it is not to be destroyed.
    YFCurveNode* Relink(YFCurveNode* node, bool destroyUnused, EndQueue* queue = nullptr);

  private:
    YSpObject<YFCurveNode> mNode;
    bool mLinked = false;
};

}  // namespace yfc
