#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <unordered_map>
#include <unordered_set>

#include "yfcurve/undo/step.h"
#include "yfcurve/yfcurveptr.h"

/// \file
/// The watched nodes with what they were at the end of the last step, and the steps.

namespace yfc {

class UndoHistory
{
  public:
    explicit UndoHistory(std::size_t memory) : mMemory(memory) {}
    ~UndoHistory() { Forget(); }
    UndoHistory(const UndoHistory&) = delete;
    UndoHistory& operator=(const UndoHistory&) = delete;

    bool Watch(YFCurveNode& root);
    void Forget();

    void StepBegin(const char* name);
    void StepEnd();
    void StepCancel();
    bool IsStepOpen() const { return mDepth > 0; }
    bool Add(std::unique_ptr<YFCurveUndoAction> action);
    void Touch(YFCurveNode& node);

    bool Go(EUndo direction);
    int GetCount(EUndo direction) const;
    const char* GetName(EUndo direction, int index) const;
    void Clear();

    std::uint64_t GetChangeCount() const { return mChangeCount; }
    std::size_t GetByteCount() const { return mBytes; }
    std::size_t GetMemory() const { return mMemory; }
    void SetMemory(std::size_t memory);

  private:
    /// A node as it was at the end of the last step.
    struct Watched
    {
        YFCurvePtr curve;  // null where the node had none
        NodeLinks links;
        NodeSettings settings;
    };

    static void OnEvent(YFCurveNode* node, YFCurveNodeEvent* event, void* object);
    void OnEnd(YFCurveNode& node);

    void WatchNew(YFCurveNode& root);
    void WatchOne(YFCurveNode& node);
    void Unwatch(YFCurveNode& node);
    bool CloseStep(UndoStep& step, bool isOfAll);
    void FindUnseen();
    void GatherLinks(YFCurveNode& base, UndoStep& step);
    void NoteLinks(YFCurveNode& node, UndoStep& step);
    void NoteSettings(YFCurveNode& node, UndoStep& step);
    void NoteCurve(YFCurveNode& node, UndoStep& step);
    void TakeOver(const UndoStep& step);
    void Push(UndoStep step);
    void Trim();

    bool FitsTree(const UndoStep& step, EUndo direction) const;
    bool Apply(UndoStep& step, EUndo direction);
    void ApplyCurve(const StepPart::Curve& part, EUndo direction);
    void ApplyLinks(const StepPart::Links& part, EUndo direction);
    void ApplySettings();
    void GiveUp();

    std::unordered_map<YFCurveNode*, Watched> mWatched;
    std::unordered_set<YFCurveNode*> mChanged;  // since the last step
    std::deque<UndoStep> mSteps;
    std::size_t mDone = 0;  // how many of the steps are done; those behind them can be redone
    std::size_t mBytes = 0;
    std::uint64_t mChangeCount = 0;  // steps that were made, and times that they were given up
    std::size_t mMemory;
    UndoStep mOpen;
    int mDepth = 0;
    bool mApplying = false;   // events are of our own making
    bool mReleasing = false;  // nodes that end do so because no step needs them
};

}  // namespace yfc
