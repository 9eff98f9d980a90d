#pragma once

#include <cstdint>
#include <memory>

#include "ybaselib/yarraytemplate.h"
#include "ybaselib/ybitset.h"
#include "ybaselib/yspobjectholder.h"
#include "ybaselib/ytime.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvenode.h"

/// \file
/// Interactive editing of the selected keys of many curves, as a curve editor does it.
///
///     YFCurveManipulator manipulator;
///     manipulator.Add(root);                                  // every node with a curve below it
///     manipulator.MarkCurveNodeForManip(true, nullptr);       // all of them take part
///     manipulator.SelectKeys(kSelectionReplace, from, to, -1.0, 1.0);
///     manipulator.MarkKeysForManipFromSelection();
///     manipulator.BeginManipulation(kManipulationMove);
///     while (dragging) manipulator.Offset(timeSinceStart, valueSinceStart);
///     manipulator.EndManipulation();
///
/// Times are global times: what a node's external time information (`IYFCurveETI`) makes of the times of its
/// keys; without such information the two are one.
///
/// The manipulator owns none of the nodes. One that is destroyed, as layers are by merging or `CopyFrom`,
/// takes part in nothing any more: its place reads null until the next operation drops it. Listeners may take
/// nodes out and destroy them in the middle of an operation (not the one whose curve raises the event), but
/// must not destroy the manipulator there. One manipulator is used by one thread.
///
/// An operation that runs out of memory does nothing.

namespace yfc {
class KeySnapshotPool;
class Manipulation;
struct KeyChange;
}  // namespace yfc

/// What a manipulation is for. The host's choice: every operation is there in every mode, and only values
/// outside 1 to 6 make a difference: such a manipulation takes up no key.
enum eFCurveManipulationMode : int
{
    kManipulationNone = 0,  ///< none under way
    kManipulationMove = 1,
    kManipulationStretchX = 2,
    kManipulationStretchY = 3,
    kManipulationStretchXY = 4,
    kManipulationScale = 5,
    kManipulationSetValue = 6
};

/// What a selection rectangle does to the keys inside it.
enum eSelectionMode : int
{
    kSelectionReplace = 0,  ///< selects them, and deselects all others
    kSelectionAdd = 1,
    kSelectionRemove = 2,
    kSelectionToggle = 3
};

class YFCURVE_EXPORT YFCurveManipulator
{
  public:
    /// Operations leave no key before or behind these times: one that would go beyond stops there.
    static constexpr YTime FirstTime = YTIME_MINUS_INFINITE + YTIME_ONE_TICK;
    static constexpr YTime LastTime = YTIME_INFINITE - YTIME_ONE_TICK;
    /// Stretches take keys at most so many ticks from their pivot, to within what doubles round off at that size.
    static constexpr double FarthestStretch = 9.2e18;

    YFCurveManipulator();
    /// As by assignment, but throws `std::bad_alloc` when memory runs out.
    YFCurveManipulator(const YFCurveManipulator& source);
    /// Takes over nodes, marks, ranges, options, and the manipulation under way, which both then share with
    /// all its work curves: an operation of either replaces what the other one did. End it in one of the
    /// two; the work curves stay until the other one is done with them. A manipulation that this one had
    /// under way itself is given up, with the keys as they are.
    YFCurveManipulator& operator=(const YFCurveManipulator& source);
    /// Ends the manipulation.
    virtual ~YFCurveManipulator();

    /// Whether one of the functions below that return nothing has changed nothing because memory ran out,
    /// since this manipulator was made. Ask at the end, before the result is kept.
    bool HasRunOutOfMemory() const { return mHasRunOutOfMemory; }

    // --- Nodes -----------------------------------------------------------------------------------------

    /// Registers the nodes with a curve of a tree, each once, parents first. Null is ignored.
    void Add(YFCurveNode* node);
    /// Takes the nodes with a curve of a tree out.
    void Remove(YFCurveNode* node);
    /// Takes all nodes out.
    void ClearFCurveNodes();
    /// Between these (they nest) nodes are registered and taken out without effect on the list that
    /// everything else works on; the outermost end brings it up to date. Every such update, also the one that
    /// follows each single change outside these, clears the marks of all nodes. An end without a beginning
    /// does nothing.
    void BeginAddRemoveCurveNode();
    void EndAddRemoveCurveNode();

    /// The nodes that the manipulator works on, in the order of their registration; null for one that has
    /// been destroyed since the last operation.
    int GetNodeCount() const { return mRelatedNodes.GetCount(); }
    YFCurveNode* GetNode(int index) const { return mRelatedNodes[index].Get(); }

    // --- Marks -----------------------------------------------------------------------------------------
    // Marked keys of marked nodes are what a manipulation moves.

    /// Marks a node, or unmarks it; null stands for all nodes.
    void MarkCurveNodeForManip(bool mark, YFCurveNode* node);
    bool IsCurveNodeMarkedForManip(const YFCurveNode* node) const;
    /// Marks or unmarks the keys `first` to `last` (inclusive) of a node, or of every node for null. Nothing
    /// for a node that is not registered. Indices are not checked. No event.
    void MarkKeysForManip(bool mark, YFCurveNode* node, int first, int last);
    /// Marks the selected keys of all nodes and unmarks all others. No event.
    void MarkKeysForManipFromSelection();
    /// Unmarks all keys of all nodes. No event.
    void ClearMarkKeysForManip();

    // --- Selection -------------------------------------------------------------------------------------

    /// Selects by a rectangle, borders included, in the marked nodes whose curve is not locked. Keys outside
    /// the active span of their node are deselected, whatever the mode. One event for each curve that
    /// changes. Other modes than the four change no key inside the span.
    ///
    /// The last key inside, in the order of nodes and keys, becomes the last selected key (not in
    /// `kSelectionRemove`). It alone shows its tangents, or, with `SetShowManyTangents`, every key inside
    /// does.
    void SelectKeys(eSelectionMode mode, YTime start, YTime stop, double minValue, double maxValue);
    /// The same for curves whose values are times: the values are compared in seconds.
    void SelectKeys(eSelectionMode mode, YTime start, YTime stop, YTime minValue, YTime maxValue);

    /// Times and values of the selected keys, as `FrameSelection` found them last: every `SelectKeys` that
    /// changes something and every operation calls it. After `FrameManipulation`, those of the moved keys.
    /// Inverted (infinity to minus infinity, the largest double to its negative) when there were none.
    void GetSelectionRange(YTime& start, YTime& stop, double& minValue, double& maxValue) const;
    /// With the values as seconds made into times.
    void GetSelectionRange(YTime& start, YTime& stop, YTime& minValue, YTime& maxValue) const;
    /// That range when the manipulation began; inverted before the first one.
    void GetOriginalSelectionRange(YTime& start, YTime& stop, double& minValue, double& maxValue) const;
    void GetOriginalSelectionRange(YTime& start, YTime& stop, YTime& minValue, YTime& maxValue) const;

    /// The key that was selected last, by its node, curve and index; null, null and -1 when there is none.
    /// The index is that of the selection; a manipulation keeps it up to date, other edits do not. There is
    /// none while a moved key stands in its place.
    void GetLastSelectedKey(YFCurveNode*& node, YFCurve*& curve, int& index) const;

    // --- Options ---------------------------------------------------------------------------------------

    /// Whether all keys of a selection show their tangents, or the last one alone; on at first.
    void SetShowManyTangents(bool on) { mShowManyTangents = on; }
    /// Shows or hides the tangents of the selected keys.
    void SetTangentVisibility(bool show);

    // Rippling: what follows the last marked key of a curve moves along. All off at first.

    /// A move in time takes the keys after the last marked one along.
    void SetRippleMoveX(bool on) { mRippleMoveX = on; }
    /// A move in value (`OffsetY`, `Offset`) takes them along.
    void SetRippleMoveY(bool on) { mRippleMoveY = on; }
    /// A stretch in time moves them as far as the end of the stretched span moves, so that the distance
    /// to it stays; mirrored, a span ends with what was its first key.
    void SetRippleStretchX(bool on) { mRippleStretchX = on; }
    /// A stretch in value (`StretchY`, `StretchXY`, `ScaleY`) moves them as far as the last marked key moves.
    void SetRippleStretchY(bool on) { mRippleStretchY = on; }
    /// A move or a stretch in value takes all unmarked keys of the curve along, those before and between the
    /// marked ones as well, whatever the two options for values say.
    void SetRippleAllY(bool on) { mRippleAllY = on; }

    // --- Manipulation ----------------------------------------------------------------------------------

    /// Takes up the marked keys of the marked nodes that are not locked, after ending what was under way.
    /// From here to `EndManipulation` their curves belong to the manipulator. A change to the keys that is
    /// not its own is undone by the next operation on that curve; a node whose curve is exchanged or
    /// destroyed is left alone. What is selected, marked and shown of the keys can be changed meanwhile and
    /// stays so, but marks that are set now count from the next beginning. Nothing is taken up, and the mode
    /// stays `kManipulationNone`, when memory runs out.
    /// \param keepMarkedInside  leave copies of the marked keys, unmarked and unselected, where they were:
    ///                          the operations move duplicates. One that comes back to its place is the
    ///                          original again.
    /// \param parameter         the value that stays in place under `ScaleY`.
    void BeginManipulation(eFCurveManipulationMode mode, bool keepMarkedInside = false,
                           double parameter = 0.0);
    /// Leaves the keys as the operations have made them.
    void EndManipulation();
    eFCurveManipulationMode GetManipulationMode() const { return mMode; }

    // Each operation starts from the keys as they were when the manipulation began, so its amounts count from
    // there, and every call replaces the effect of the one before: an amount of nothing (0, a factor of 1)
    // restores every key to the bit. Each raises one event for each curve that changes, and brings the
    // selection range up to date. Without a manipulation, or with amounts that are not finite, they do
    // nothing. A listener that ends the manipulation or calls an operation itself has the last word: the
    // operation that it was called from leaves the nodes alone that it has not come to.
    //
    // Key times stay strictly ascending. A moved key replaces what it lands on; of keys that come together,
    // as under a factor of 0, the last one remains. All of them are back as soon as they part again. A key
    // that passes others takes both its tangents along. Times and values stop short of the infinities (`LastTime`).
    //
    // Slopes are stretched as the axes are, around marked keys alone; auto and TCB parameters give stretched
    // tangents by themselves and stay. A negative factor in time mirrors: a key's tangents exchange sides,
    // segments take their interpolation, weights and velocities along, and the bias of TCB keys turns around.

    /// Moves the marked keys.
    void Offset(YTime time, double value);
    void OffsetX(YTime time);
    void OffsetY(double value);
    /// Multiplies distances in time from `pivot`. Times are rounded to the tick.
    void StretchX(double factor, YTime pivot);
    /// Multiplies distances in value from `pivot`.
    void StretchY(double factor, double pivot);
    void StretchXY(double timeFactor, double valueFactor, YTime timePivot, double valuePivot);
    /// Multiplies distances in value from the parameter of `BeginManipulation`.
    void ScaleY(double factor);
    /// Gives the marked keys one value. Slopes stay.
    void SetY(double value);

    /// Makes the selection range that of all selected keys of all nodes.
    void FrameSelection();
    /// Makes it that of the keys which the manipulation moves, where the last operation has put them. Without
    /// a manipulation, that of the marked keys of the marked nodes that are not locked.
    void FrameManipulation();

    /// Finds an amount for `OffsetY` near `offset` that brings a marked key to the value of an unmarked
    /// neighbour: the key before the first one of a run of marked keys, or the key after its last one.
    /// \param offset  set to the nearest such amount within `tolerance`, the first of equally near ones.
    /// \param tolerance  in value units; a negative one finds nothing.
    /// \return  whether there is one; `offset` stays when there is not.
    bool AdjustYOffsetToSnapOnNeighbor(double& offset, double tolerance) const;

    /// Puts a curve together from the keys of four. Each piece is moved in time so that its first key is at
    /// its start time; where keys meet, that of the later piece remains. Keys keep both their tangents, the
    /// first key of a piece gets the given one on its left. Settings of the target stay. Pieces that are
    /// null, without keys or start at an infinity add nothing, and keys that would lie beyond the last time
    /// are left out. None of the pieces may be the target.
    static void RecomposeFCurve(YFCurve* target, const YFCurve* first, YTime firstStart,
                                const YFCurveTangeantInfo& firstLeft, const YFCurve* second,
                                YTime secondStart, const YFCurveTangeantInfo& secondLeft,
                                const YFCurve* third, YTime thirdStart, const YFCurveTangeantInfo& thirdLeft,
                                const YFCurve* fourth, YTime fourthStart,
                                const YFCurveTangeantInfo& fourthLeft);

  protected:
    /// Brings the list of nodes up to date with the registered ones, and clears the marks of nodes.
    void GetRelatedNodes();
    /// The nodes that are marked together with one: that node alone.
    virtual void GetRelatedNodes(YFCurveNode* node, YArrayTemplate<YFCurveNode*>& related) const;
    /// Shows or hides tangents of all unlocked curves, of the selected keys or of all.
    void SetTangentVisibility(bool show, bool selectedOnly);
    /// Shows or hides the tangents of one key.
    void SetTangentVisibility(bool show, YFCurve* curve, int index);

    /// The keys of a node when the manipulation began, by the part that they play.
    enum eWorkCurve
    {
        kWorkMarked,
        kWorkInside,  ///< between the first and the last marked one: those that stay in place
        kWorkBefore,  ///< before the first marked one
        kWorkAfter,   ///< after the last marked one
        kWorkWhole    ///< all of them
    };
    /// The left tangents at which a node's keys were cut up. Those of keys that there are not are the
    /// default.
    struct WorkTangents
    {
        YFCurveTangeantInfo spanStart;  ///< of the first marked key
        YFCurveTangeantInfo spanEnd;    ///< of the last one among those that stay inside
        YFCurveTangeantInfo after;      ///< of the key after the last marked one
    };
    /// For classes that draw what is under way or add operations. No operation changes these; they live as
    /// long as the manipulation.
    /// \return  null (false, and `tangents` as it was) for a node that takes no part, and when idle.
    const YFCurve* GetWorkCurve(const YFCurveNode* node, eWorkCurve part) const;
    bool GetWorkTangents(const YFCurveNode* node, WorkTangents& tangents) const;

  private:
    using NodeList = YArrayTemplate<YSpObject<YFCurveNode>>;

    struct Range
    {
        YTime start = YTIME_INFINITE;
        YTime stop = YTIME_MINUS_INFINITE;
        double minValue = 1.7976931348623157e308;
        double maxValue = -1.7976931348623157e308;
        YTime minTime = YTIME_INFINITE;
        YTime maxTime = YTIME_MINUS_INFINITE;

        void Include(YTime time, double value);
        void ValuesToTimes();
    };
    struct SelectionRectangle;

    template<class Operation>
    bool Try(const Operation& operation);
    void DropEndedNodes();
    bool SelectKeysOf(YFCurveNode& node, YFCurve& curve, const SelectionRectangle& rectangle);
    const YFCurveNode* LastNodeInside(const SelectionRectangle& rectangle) const;
    bool DeselectInactive(YFCurveNode& node, YFCurve& curve) const;
    void ShowOneTangent(YFCurve& curve, int index);
    bool SelectKey(YFCurveNode& node, YFCurve& curve, int index, eSelectionMode mode, bool inside);
    void TakeOver(const YFCurveManipulator& source);
    void MakeRoom(int nodeCount);
    std::int64_t KeyCount() const;
    template<class Condition>
    void MarkKeysIf(const Condition& condition);
    void Select(const SelectionRectangle& rectangle);
    void Apply(const yfc::KeyChange& change);
    void TakeUp(bool keepMarkedInside);
    void FrameMovedKeys();
    void FrameMarkedKeys();

    int mAddRemoveDepth = 0;
    NodeList mNodes;
    NodeList mRelatedNodes;
    YBitSet mMarkedNodes;
    std::shared_ptr<yfc::Manipulation> mManipulation;  // the pieces of every node, null when idle
    Range mSelection;
    Range mOriginalSelection;
    eFCurveManipulationMode mMode = kManipulationNone;
    double mParameter = 0.0;
    YSpObject<YFCurveNode> mLastSelectedNode;
    int mLastSelectedIndex = -1;
    bool mShowManyTangents = true;
    bool mRippleMoveX = false;
    bool mRippleMoveY = false;
    bool mRippleStretchX = false;
    bool mRippleStretchY = false;
    bool mRippleAllY = false;
    bool mHasRunOutOfMemory = false;
    std::shared_ptr<yfc::KeySnapshotPool> mPool;  // where the manipulation has its snapshots from
};
