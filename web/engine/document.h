#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "yfcurve/yfcurvecolormanager.h"
#include "yfcurve/yfcurveundo.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/scene.h"
#include "ymotion/text/note.h"

/// \file
/// The document of the editor: a scene with undo, and its curves by numbers that last.
///
/// Everything below web/engine throws `ymotion::Failure` with a sentence for people, or `std::bad_alloc`.
/// What an edit has done by then is taken back, unless a step of the caller's is open, which the caller has
/// to cancel.

namespace editor {

using ymotion::Scene;

/// A curve on a layer, or the weight of a layer.
struct Track
{
    int id =
        0;  ///< the same for the same path, layer and place among equal paths, for as long as the document
    std::string path;       ///< "Hips/Lcl Rotation/X"; "Breathing/Weight"
    std::string joint;      ///< "Hips": the groups above the property
    int jointIndex = -1;    ///< of the skeleton
    std::string property;   ///< "Lcl Rotation"
    std::string component;  ///< "X"; empty where the property is a single number
    std::string unit;
    int layer = 0;
    bool isWeight = false;
    int place = 0;                ///< of `PlacedCurve`
    YFCurveNode* node = nullptr;  ///< that holds the curve
    ymotion::SelectedCurve base;  ///< the component on the base layer; empty for a weight

    YFCurve& Curve() const { return *node->FCurveGet(); }
};

/// Indices of keys on a track, ascending.
struct TrackKeys
{
    int track = 0;
    std::vector<int> indices;
};

/// A curve of a property on a layer.
struct PlacedCurve
{
    ymotion::SelectedCurve base;  ///< the component on the base layer
    YFCurveNode* node = nullptr;  ///< that holds the curve
    std::string path;
    int layer = 0;
    int place = 0;  ///< how many curves of that path and layer come before it
};

/// In the order of the tree, and of the layers for each component. Weights are none of them.
void ForEachCurve(Scene& scene, const std::function<void(const PlacedCurve&)>& act);

class Document
{
  public:
    /// Reads a file of any format, not packed.
    Document(std::string_view bytes, const std::string& name);
    ~Document();
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    Scene& GetScene() { return mScene; }
    /// As it was read.
    Scene& Original() { return mOriginal; }
    /// What reading had to tell, and what was left out.
    const std::vector<std::string>& Notes() const { return mNotes; }
    /// \param extension  of a format, without the point; empty for that of the file
    /// \param note  is told what the format cannot hold as it is
    std::string Save(const std::string& extension, const ymotion::NoteTaker& note = {}) const;

    // --- Tracks ----------------------------------------------------------------------------------------

    const std::vector<Track>& Tracks();
    const Track& TrackOf(int id);
    bool HasTrack(int id);
    YFCurve& CurveOf(int id) { return TrackOf(id).Curve(); }
    /// Throws for a locked one.
    YFCurve& EditableCurve(int id);
    /// To be called when nodes came or went, or layers changed.
    void ForgetTracks() { mHasTracks = false; }
    /// "#rrggbb".
    std::string ColorOf(const Track& track) const;
    void SetColor(int track, const std::string& color);
    /// Patterns that match the curves of the tracks alone.
    std::vector<std::string> PatternsOf(const std::vector<int>& tracks);

    // --- Steps -----------------------------------------------------------------------------------------

    /// Makes one step of what `act` does, or a part of the open one.
    template<class Act>
    void Run(const char* name, const Act& act)
    {
        BeginStep(name);
        try {
            act();
        } catch (...) {
            AbandonStep();
            throw;
        }
        EndStep();
    }
    void BeginStep(const char* name);
    void EndStep();
    /// With all steps around it. Without an open step it does nothing. A drag has to be given up before.
    void CancelStep();
    bool Undo();
    bool Redo();
    YFCurveUndo& History() { return mUndo; }
    /// Grows with every change, undo and redo included.
    std::int64_t Revision() const { return mRevision; }
    bool IsDirty() const { return mState != mSavedState; }
    void MarkSaved() { mSavedState = mState; }
    /// Another number whenever something else plays than before, within a step too.
    std::uint64_t PlayedState() const;
    /// While keys are dragged other edits are refused.
    void SetDragging(bool dragging) { mIsDragging = dragging; }
    void CheckNotDragging() const;

    // --- Selection, which is no edit -------------------------------------------------------------------

    std::vector<TrackKeys> SelectedKeys();
    /// To be called when keys of a track are selected or deselected.
    void SelectionChanges(int track);
    void AllMayHaveSelection();

  private:
    void AbandonStep();
    void TellOfSelection();
    void NoteChange();
    bool Go(bool undo);
    void GatherTracks();
    Track TrackOf(const PlacedCurve& curve) const;
    void Number(Track track);

    std::vector<std::string> mNotes;
    Scene mScene;
    Scene mOriginal;
    YFCurveUndo mUndo;
    std::vector<Track> mTracks;
    std::unordered_map<int, std::size_t> mPlaces;         ///< of the tracks by id
    std::unordered_map<std::string, int> mIds;            ///< of all tracks that ever were
    std::unordered_map<const YFCurveNode*, int> mJoints;  ///< by node
    std::set<int> mSelected;                              ///< tracks that may have selected keys
    std::set<int> mUntold;  ///< and those of whose selection undo has not been told
    bool mHasTracks = false;
    bool mIsDragging = false;
    int mDepth = 0;
    std::uint64_t mBefore = 0;  ///< changes that undo knew of when the step began
    std::int64_t mRevision = 0;
    std::int64_t mLastState = 0;
    std::int64_t mState = 0;       ///< a number for what the document holds now
    std::int64_t mSavedState = 0;  ///< and for what was opened or saved last
    std::vector<std::int64_t> mUndoStates;
    std::vector<std::int64_t> mRedoStates;
};

/// An action for settings: swaps a value that `set` takes.
template<class Value, class Set>
class SettingAction final : public YFCurveUndoAction
{
  public:
    SettingAction(Value before, Value after, Set set)
        : mBefore(std::move(before)), mAfter(std::move(after)), mSet(std::move(set))
    {}
    void Undo() override { mSet(mBefore); }
    void Redo() override { mSet(mAfter); }
    std::size_t GetByteCount() const override { return sizeof *this; }

  private:
    Value mBefore;
    Value mAfter;
    Set mSet;
};

}  // namespace editor
