#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "yfcurve/yfcurveexport.h"

/// \file
/// Undo and redo for trees of curves.
///
///     YFCurveUndo undo;
///     undo.Watch(root);
///     {
///         const YFCurveUndoStep step(undo, "Smooth");
///         filter->Apply(...);
///     }
///     undo.Undo();  // every key as it was, to the bit

class YFCurveNode;

/// A change of the host's own that a step takes along, such as the settings of a layer. Both operations are
/// called with the curves in the state of before or after the whole step, in no particular order to them.
class YFCURVE_EXPORT YFCurveUndoAction
{
  public:
    virtual ~YFCurveUndoAction() = default;
    virtual void Undo() = 0;
    virtual void Redo() = 0;
    /// What it takes of the memory that the steps may have together.
    virtual std::size_t GetByteCount() const { return 0; }
};

/// Remembers what happens to the curves of a tree, and takes it back.
///
/// It listens to the tree's nodes and compares each curve that changed with a copy of its own, and the
/// settings of all nodes. So it knows nothing of what made the change: edits of keys, filters, the
/// manipulator, plotting and merging are all the same to it. A step keeps the run of keys that differ, 32
/// bytes for each key before and after; the copies take as much memory as the keys of the tree.
///
/// What a step takes back:
/// - keys with all their attributes; default value, extrapolation, colour and was-data of curves; whether a
///   node has a curve at all (which is another object when it comes back),
/// - how nodes have their curves play: quaternion form, rotation order, layer type and how weighted rotations
///   add up, of each layer,
/// - layers that were put behind a node or taken away, and links to time warps. The nodes are the same ones
///   when they come back: as long as a step needs them they are kept alive, counted as a link.
///
/// Settings of nodes, and colours, raise no event. They are found at the end of a step, which looks at all
/// nodes. Outside of steps `Touch` tells of them; without it they are part of the next step that is opened, or
/// a step of their own once there is an undo or redo.
///
/// It does not see children, names, locks, candidates, and what the host keeps, such as the settings of its
/// layers: for these there is `Add`. Selection and visible handles are no edits: a step in which nothing else
/// changed is none, but where a step puts keys back these have the selection that they had.
///
/// Whoever ends a watched node ends the steps as well, unless it is a layer that a step still holds. Steps
/// are also given up where memory runs out while one is made, and where keys were edited behind its back. An
/// undo belongs to the thread of its tree.
class YFCURVE_EXPORT YFCurveUndo
{
  public:
    static constexpr std::size_t kDefaultMemory = std::size_t{64} << 20;

    /// \param memory  bytes that the steps may take together. The oldest are forgotten beyond that, and a
    ///                single step that is larger cannot be undone.
    explicit YFCurveUndo(std::size_t memory = kDefaultMemory);
    ~YFCurveUndo();
    YFCurveUndo(const YFCurveUndo&) = delete;
    YFCurveUndo& operator=(const YFCurveUndo&) = delete;

    /// Watches a node and all that is below and behind it, in addition to what is watched already. Time warps
    /// are shared between trees, so watch their nodes, too, if they are edited. A step that is open takes
    /// back what happens from here on.
    /// \return  false for null, and when memory runs out: the tree is not watched then
    bool Watch(YFCurveNode* root);
    /// Watches nothing any more, and forgets all steps.
    void Forget();

    /// Opens a step: all changes until its end are undone together. Steps inside others are parts of these.
    /// Outside of steps each event of a curve, that is each bracket of edits, is a step without a name.
    void StepBegin(const char* name);
    /// Closes the outermost step. If something was changed it can be undone now, and no other be redone.
    void StepEnd();
    /// Closes the outermost step and takes back what it has changed.
    void StepCancel();
    bool IsStepOpen() const;

    /// Takes a change of the host's own into the open step or, without one, makes a step of it. It has been
    /// made already.
    /// \return  false, with all steps given up, when memory runs out
    bool Add(std::unique_ptr<YFCurveUndoAction> action);
    /// Says that a watched node or its curve was changed in a way that raises no event, outside of a step.
    void Touch(YFCurveNode* node);

    /// Takes back the last step, or makes the one that was taken back last again. Listeners of the curves and
    /// nodes are told as of other edits.
    /// \return  false when there is none, while a step is open, and when memory runs out: all is as it was
    ///          then
    bool Undo();
    bool Redo();
    int GetUndoCount() const;
    int GetRedoCount() const;
    /// The name of a step, 0 being the one that would be next. Empty out of range.
    const char* GetUndoName(int index = 0) const;
    const char* GetRedoName(int index = 0) const;
    /// Forgets all steps; what is watched stays so.
    void Clear();
    /// Grows with every step that is made, also one that is forgotten at once, and each time the steps are
    /// given up. While it is unchanged no step was made and none given up since; undo and redo leave it.
    std::uint64_t GetChangeCount() const;

    /// What the steps take, and may take.
    std::size_t GetByteCount() const;
    std::size_t GetMemory() const;
    void SetMemory(std::size_t memory);

  private:
    struct Data;

    std::unique_ptr<Data> mData;
};

/// A step from here to the end of the scope. The undo has to outlive it.
class [[nodiscard]] YFCurveUndoStep
{
  public:
    YFCurveUndoStep(YFCurveUndo& undo, const char* name) : mUndo(undo) { mUndo.StepBegin(name); }
    ~YFCurveUndoStep() { mUndo.StepEnd(); }
    YFCurveUndoStep(const YFCurveUndoStep&) = delete;
    YFCurveUndoStep& operator=(const YFCurveUndoStep&) = delete;

  private:
    YFCurveUndo& mUndo;
};
