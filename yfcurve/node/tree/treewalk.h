#pragma once

#include <algorithm>
#include <cstddef>
#include <optional>
#include <vector>

#include "yfcurve/yfcurvenode.h"

/// \file
/// Walks over trees of any depth: the way back is kept in memory, not on the stack of calls. Trees of a usual
/// depth take no memory; in deeper ones a walk throws `std::bad_alloc` when there is none.

namespace yfc {

/// Last in, first out. The first few places need no memory.
template<class Place>
class WalkStack
{
  public:
    /// So that so many places in all take no memory any more. Throws when there is none.
    void Reserve(std::size_t places)
    {
        if (places > kFew) mMore.reserve(places - kFew);
    }

    bool IsEmpty() const { return mCount == 0; }
    Place& Top() { return mCount <= kFew ? mFew[mCount - 1] : mMore.back(); }

    void Push(const Place& place)
    {
        if (mCount < kFew) {
            mFew[mCount] = place;
        } else {
            mMore.push_back(place);
        }
        ++mCount;
    }

    void Pop()
    {
        if (mCount > kFew) mMore.pop_back();
        --mCount;
    }

    Place Take()
    {
        const Place place = Top();
        Pop();
        return place;
    }

  private:
    static constexpr std::size_t kFew = 16;

    Place mFew[kFew];
    std::vector<Place> mMore;
    std::size_t mCount = 0;
};

/// How a walk goes on behind a node that it has come to.
enum class EWalk
{
    Into,  ///< with what is below it
    Past,  ///< with what comes after it
    Stop
};

/// Goes through a node and all below it, depth first and in order. Children are asked for one at a time: what
/// is called may add and remove some, but not end a node that the walk is in.
/// \param childOf  the child of a node at an index, null behind the last one.
/// \param enter    called with each node before what is below it.
/// \param leave    called with each node that was entered with `Into`, after what is below it.
/// \param levels   how many levels the walk has memory for before it calls anything, so that it cannot break
///                 off there.
/// \return  false when the walk was stopped.
template<class Node, class ChildOf, class Enter, class Leave>
bool WalkBelow(Node& top, const ChildOf& childOf, const Enter& enter, const Leave& leave, int levels = 0)
{
    struct Place
    {
        Node* node;
        int next;
    };
    WalkStack<Place> open;
    open.Reserve(static_cast<std::size_t>(levels));
    const EWalk start = enter(top);
    if (start != EWalk::Into) return start != EWalk::Stop;
    open.Push({&top, 0});
    while (!open.IsEmpty()) {
        Place& place = open.Top();
        Node* const child = childOf(*place.node, place.next++);
        if (child == nullptr) {
            Node& left = *place.node;
            open.Pop();
            leave(left);
            continue;
        }
        const EWalk further = enter(*child);
        if (further == EWalk::Stop) return false;
        if (further == EWalk::Into) open.Push({child, 0});
    }
    return true;
}

inline YFCurveNode* ChildOf(const YFCurveNode& node, int index)
{
    return index < node.GetCount() ? node.Get(index) : nullptr;
}

/// The layer behind a node counts as one more child, the last.
inline YFCurveNode* ChildOrLayerOf(const YFCurveNode& node, int index)
{
    const int count = node.GetCount();
    if (index < count) return node.Get(index);
    return index == count ? node.LayerGet() : nullptr;
}

template<class Node, class Enter>
bool WalkTree(Node& top, const Enter& enter, int levels = 0)
{
    return WalkBelow(
        top, ChildOf, enter, [](const YFCurveNode&) {}, levels);
}

/// As `WalkTree`, not to be stopped.
/// \return  how many levels of memory a walk over the same nodes takes, for one that must have it beforehand.
template<class Node, class Enter>
int LevelsOf(Node& top, const Enter& enter)
{
    int level = 0;
    int levels = 0;
    const auto count = [&](Node& node) {
        const EWalk further = enter(node);
        if (further == EWalk::Into) levels = std::max(levels, ++level);
        return further;
    };
    WalkBelow(top, ChildOf, count, [&](const YFCurveNode&) { --level; });
    return levels;
}

/// Goes through what is below a node, depth first and in order, with a state for each node that it goes
/// into, such as the node's time. Children are asked for one at a time.
/// \param meet   called with a node, its state and the index of a child. Returns the child's state to go into
///               it, or nothing to go on with what comes after it.
/// \param leave  called with the first node and each that was gone into, after what is below it.
template<class Node, class State, class Meet, class Leave>
void WalkWith(Node& top, const State& topState, const Meet& meet, const Leave& leave)
{
    struct Place
    {
        Node* node;
        State state;
        int next;
    };
    WalkStack<Place> open;
    open.Push({&top, topState, 0});
    while (!open.IsEmpty()) {
        Place& place = open.Top();
        Node& node = *place.node;
        const int index = place.next++;
        if (index >= node.GetCount()) {
            leave(node);
            open.Pop();
            continue;
        }
        const std::optional<State> below = meet(node, place.state, index);
        if (below) open.Push({node.Get(index), *below, 0});
    }
}

template<class Node, class State, class Meet>
void WalkWith(Node& top, const State& topState, const Meet& meet)
{
    WalkWith(top, topState, meet, [](const Node&) {});
}

/// Two nodes that belong together.
template<class First, class Second>
struct NodePair
{
    First* first;
    Second* second;
};

/// Goes through two trees of one shape, child by child: `WalkBelow` for pairs. The second tree has at least
/// the children of the first wherever `enter` says `Into`.
template<class First, class Second, class Enter, class Leave>
bool WalkPairs(First& first, Second& second, const Enter& enter, const Leave& leave)
{
    struct Place
    {
        NodePair<First, Second> pair;
        int next;
    };
    const EWalk start = enter(first, second);
    if (start != EWalk::Into) return start != EWalk::Stop;
    WalkStack<Place> open;
    open.Push({{&first, &second}, 0});
    while (!open.IsEmpty()) {
        Place& place = open.Top();
        const NodePair<First, Second> parents = place.pair;
        const int index = place.next++;
        if (index >= parents.first->GetCount()) {
            open.Pop();
            leave(*parents.first, *parents.second);
            continue;
        }
        const NodePair<First, Second> pair{parents.first->Get(index), parents.second->Get(index)};
        const EWalk further = enter(*pair.first, *pair.second);
        if (further == EWalk::Stop) return false;
        if (further == EWalk::Into) open.Push({pair, 0});
    }
    return true;
}

template<class First, class Second, class Enter>
bool WalkPairs(First& first, Second& second, const Enter& enter)
{
    return WalkPairs(first, second, enter, [](const YFCurveNode&, const YFCurveNode&) {});
}

/// Finds layers of a chain by ascending ids, each from where the one before it was found.
class LayerSearch
{
  public:
    explicit LayerSearch(YFCurveNode& base) : mBase(base) {}

    /// As `YFCurveNode::LayerGet` of the chain's base.
    YFCurveNode* Find(int layerId)
    {
        YFCurveNode* const from = mLast != nullptr && layerId > mLast->GetLayerID() ? mLast : &mBase;
        YFCurveNode* const found = from->LayerGet(layerId);
        if (found != nullptr) mLast = found;
        return found;
    }

  private:
    YFCurveNode& mBase;
    YFCurveNode* mLast = nullptr;
};

}  // namespace yfc
