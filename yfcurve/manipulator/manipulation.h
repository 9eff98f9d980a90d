#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "ybaselib/yarraytemplate.h"
#include "ybaselib/yspobjectholder.h"
#include "yfcurve/curve/pool/keyattributes.h"
#include "yfcurve/manipulator/composing.h"
#include "yfcurve/manipulator/placing.h"
#include "yfcurve/manipulator/snapshots.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"

/// \file
/// What a manipulator holds between the beginning and the end of a manipulation.

namespace yfc {

/// What is selected, shown and marked of a key: for editing alone, and no operation's business.
inline constexpr std::uint32_t kEditingState =
    YFCURVE_SELECTED | YFCURVE_SELECTED_COMPANIONS | YFCURVE_MARKED_FOR_MANIPULATION | YFCURVE_SHOW_BOTH;

/// One node's keys as they were, in one piece and cut up by the role that they play. A node that takes no
/// part has no sets and no curves.
struct ManipulatedNode
{
    YSpObject<YFCurveNode> node;  ///< null when it takes no part
    YSpObject<YFCurve> curve;

    std::unique_ptr<KeySnapshotSet> marked;
    std::unique_ptr<KeySnapshotSet> inside;  ///< unmarked ones between the first and the last marked key
    std::unique_ptr<KeySnapshotSet> before;
    std::unique_ptr<KeySnapshotSet> after;
    std::unique_ptr<KeySnapshotSet> all;

    YFCurvePtr markedCurve;
    YFCurvePtr insideCurve;
    YFCurvePtr beforeCurve;
    YFCurvePtr afterCurve;
    YFCurvePtr wholeCurve;

    YFCurveTangeantInfo spanStart;  ///< left of the first marked key
    YFCurveTangeantInfo spanEnd;    ///< left of the last key that stays inside the span
    YFCurveTangeantInfo afterLeft;  ///< left of the key after the span

    std::vector<YFCurveKey> keys;  ///< all of them, to the bit
    /// Their editing states as they were found last, and those of the copies that stay behind.
    std::vector<std::uint32_t> states;
    std::vector<std::uint32_t> copyStates;

    // What the last operation left in the curve: the keys `placed` where `written` were.
    KeyRun written;
    std::vector<PlacedKey> placed;
    std::uint32_t updateId = 0;

    int First() const { return marked->GetCount() > 0 ? (*marked)[0].index : -1; }
    int Last() const { return marked->GetCount() > 0 ? marked->GetLast().index : -1; }
    int WrittenCount() const { return static_cast<int>(placed.size()); }
    /// How many keys the last operation left.
    int CurveCount() const { return static_cast<int>(keys.size()) + WrittenCount() - written.GetCount(); }
    /// The key that the last operation left at an index.
    PlacedKey At(int index) const;
    /// A key where it was when the manipulation began.
    PlacedKey Original(int source) const;
    std::uint32_t& State(const PlacedKey& key)
    {
        return (key.copy ? copyStates : states)[static_cast<std::size_t>(key.source)];
    }
    std::uint32_t State(const PlacedKey& key) const
    {
        return (key.copy ? copyStates : states)[static_cast<std::size_t>(key.source)];
    }
    /// Whether operations act on it: its curve is the one that was taken up, and not locked.
    bool IsManipulated() const;
};

/// The snapshots, work curves and originals of all nodes, and the operations on them.
class Manipulation
{
  public:
    Manipulation(std::shared_ptr<KeySnapshotPool> pool, bool keepMarkedInside)
        : mPool(std::move(pool)), mKeepMarkedInside(keepMarkedInside)
    {}

    /// Adds a node that takes no part.
    void AddPlaceholder() { mNodes.emplace_back(); }
    /// Adds a node with a curve.
    void Add(YFCurveNode& node);
    /// Makes room for what the operations need, so that they take no memory.
    void Reserve();

    const std::vector<ManipulatedNode>& GetNodes() const { return mNodes; }
    /// What was taken up of a node; null when it takes no part.
    const ManipulatedNode* Find(const YFCurveNode* node) const;

    /// Lets go of the nodes that are not among `nodes` any more.
    void KeepOnly(const YArrayTemplate<YSpObject<YFCurveNode>>& nodes);
    /// Follows the key that stands at an index now; null for none.
    void Follow(YFCurveNode* node, int index);
    YFCurveNode* GetFollowedNode() const { return mFollowedNode.Get(); }
    /// Where the followed key is now, -1 when another one stands in its place.
    int GetFollowedIndex() const { return mFollowedNow; }

    /// Makes room in the curves for all that an operation may put there. Throws when there is no memory.
    /// \return  how many attribute records that takes at most.
    std::int64_t MakeRoom() const;
    /// Gives all nodes the keys that a change makes of the originals.
    void Apply(const KeyChange& change);
    /// Keeps an `Apply` that a listener was called from off the nodes that it has not come to yet.
    void Interrupt() { ++mCalls; }

  private:
    void TakeSets(ManipulatedNode& manipulated);
    void TakeSpan(ManipulatedNode& manipulated) const;
    void TakeOutside(ManipulatedNode& manipulated) const;
    void Recompose(ManipulatedNode& manipulated) const;
    void Apply(ManipulatedNode& manipulated, const KeyChange& change);
    void Exchange(ManipulatedNode& manipulated, const KeyChange& change, KeyRun run, int replaced);
    void FollowKey(KeyRun run);

    std::shared_ptr<KeySnapshotPool> mPool;  // outlives the sets below
    AttributeStock mStock;  // keeps what operations reserve, so that each but the first finds it
    bool mKeepMarkedInside;
    YSpObject<YFCurveNode> mFollowedNode;
    PlacedKey mFollowedKey;
    int mFollowedNow = -1;
    unsigned mCalls = 0;  // of Apply
    std::vector<ManipulatedNode> mNodes;
    KeyPlacing mPlacing;
    std::vector<YFCurveKey> mComposed;
};

}  // namespace yfc
