#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <emscripten/val.h>

#include "web/engine/document.h"
#include "web/engine/dragging.h"
#include "web/engine/drawing.h"
#include "web/engine/tangents.h"
#include "web/engine/versions.h"

namespace editor {

/// An open document, with what the page asks of it. web/src/engine/engine.ts says what the functions do.
class PageDocument
{
  public:
    using val = emscripten::val;

    PageDocument(const std::string& bytes, const std::string& name);

    // --- What it is ------------------------------------------------------------------------------------

    std::string Describe();
    val Save(std::string extension);
    std::string SaveNotes();
    double Revision();
    bool IsDirty();
    void MarkSaved();
    std::string FrameRate();
    void SetFrameRate(std::string text);
    std::string Span();
    double FrameTime(double frame);
    double NearestFrame(double ticks);
    double ParseTime(std::string text);
    std::string FramesText(double ticks);
    std::string TimeCode(double ticks);

    // --- Steps -----------------------------------------------------------------------------------------

    void BeginStep(std::string name);
    void EndStep();
    void CancelStep();
    bool Undo();
    bool Redo();
    std::string UndoState();

    // --- Motion ----------------------------------------------------------------------------------------

    val Positions(double time, int version);
    val Trail(int joint, val times, int version);
    std::string FootContacts(int version);

    // --- Tracks and keys -------------------------------------------------------------------------------

    std::string Tracks();
    val TrackRevisions(val tracks);
    void SetColor(int track, std::string color);
    val Keys(int track);
    val Evaluate(int track, val ticks, bool played);
    val DrawCurves(val tracks, val window, int version);
    val DrawPlayed(val tracks, val window, int version);
    /// Undefined where lines show the curves better.
    val PaintCurves(val tracks, val window, val colors, int version);
    val DrawKeys(val tracks, val window, double leastGap);
    std::string Range(val tracks, double start, double stop);

    // --- Selection -------------------------------------------------------------------------------------

    void Select(int mode, val keys);
    void SelectBox(int mode, val tracks, double start, double stop, double low, double high);
    void SelectAll(val tracks);
    void ClearSelection();
    val SelectedKeys();
    std::string SelectionRange();

    // --- Edits -----------------------------------------------------------------------------------------

    val InsertKeys(val tracks, double time);
    int AddKey(int track, double time, float value);
    void DeleteKeys(val keys);
    void SetKeys(val keys, std::string change);
    void SetKeyTime(int track, int index, double time);
    void SetValues(int track, val indices, val values);
    std::string Extrapolation(int track);
    void SetExtrapolation(val tracks, std::string text);
    void SnapKeysToFrames(val keys);
    std::string CopyKeys(val keys);
    void PasteKeys(std::string json, double time, val tracks);

    // --- Dragging --------------------------------------------------------------------------------------

    void BeginDrag(std::string options);
    void DragOffset(double time, double value, bool snap);
    void DragStretch(double timeFactor, double valueFactor, double timePivot, double valuePivot);
    void DragScale(double factor);
    void DragSetValue(double value);
    double DragSnapValue(double offset, double tolerance);
    std::string DragRange();
    void EndDrag();
    void CancelDrag();
    void BeginTangents(std::string handle);
    void DragTangents(std::string target);
    void EndTangents();
    void CancelTangents();

    // --- Layers ----------------------------------------------------------------------------------------

    std::string Layers();
    int AddLayer(std::string name, std::string nodes);
    void AddToLayer(int layer, std::string nodes);
    void RemoveLayer(int layer);
    void SetLayer(int layer, std::string change);
    void SetLayerWeight(int layer, double weight, bool atTime, double time);
    double LayerWeight(int layer, double time);
    std::string MergeLayers(std::string options);
    std::string BakeIntoLayer(std::string options);

    // --- Filters ---------------------------------------------------------------------------------------

    std::string ApplyFilters(std::string request);
    std::string PreviewFilters(std::string request);
    void ClosePreview();
    std::string Patterns(val tracks);

  private:
    SceneVersion& VersionOf(int version);
    /// The curves of a version, null where it has none.
    std::vector<const YFCurve*> CurvesOf(const val& tracks, int version);
    Drag& Dragging();
    TangentDrag& DraggingTangents();

    Document mDocument;
    std::vector<std::string> mSaveNotes;
    SceneVersion mCurrent;
    SceneVersion mOriginal;
    std::unique_ptr<Scene> mPreviewScene;
    std::optional<SceneVersion> mPreview;
    CurveDrawer mDrawer;
    // Are ended before the document.
    std::unique_ptr<Drag> mDrag;
    std::unique_ptr<TangentDrag> mTangentDrag;
};

}  // namespace editor
