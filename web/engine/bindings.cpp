#include <cstdint>
#include <memory>
#include <string>

#include <emscripten/bind.h>
#include <emscripten/heap.h>

#include "web/engine/filtering.h"
#include "web/engine/page_document.h"
#include "web/engine/page_values.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/scene/layer_text.h"

/// \file
/// The engine for the page: web/src/engine/load.ts is the other side. Texts with structure cross as JSON, numbers in
/// bulk as typed arrays. A call that fails gives nothing, and `takeError` the message.

namespace {

using emscripten::val;
using namespace editor;

/// \return  null where it cannot be read
std::unique_ptr<PageDocument> Open(const val& bytes, const std::string& name)
{
    return Guarded([&] {
        std::string text(bytes["length"].as<std::size_t>(), '\0');
        val(emscripten::typed_memory_view(text.size(), reinterpret_cast<std::uint8_t*>(text.data())))
            .call<void>("set", bytes);
        return std::make_unique<PageDocument>(text, name);
    });
}

PageDocument* OpenRaw(val bytes, std::string name)
{
    return Open(bytes, name).release();
}

std::string Filters()
{
    return Guarded([] { return FiltersJson().dump(); });
}

std::string Formats()
{
    return Guarded([] {
        Json formats = Json::array();
        for (const ymotion::FormatFacts& format : ymotion::KnownFormats()) {
            formats.push_back(
                {{"name", format.name}, {"ending", format.extension}, {"holdsLayers", format.holdsLayers}});
        }
        return formats.dump();
    });
}

std::string LayerModes()
{
    return Guarded([] { return Json(ymotion::ModeTexts()).dump(); });
}

std::string LibraryVersion()
{
    return YFCURVE_VERSION;
}

double MemoryBytes()
{
    return static_cast<double>(emscripten_get_heap_size());
}

}  // namespace

EMSCRIPTEN_BINDINGS(engine)
{
    emscripten::function("takeError", &TakeError);
    emscripten::function("open", &OpenRaw, emscripten::allow_raw_pointers());
    emscripten::function("filters", &Filters);
    emscripten::function("formats", &Formats);
    emscripten::function("layerModes", &LayerModes);
    emscripten::function("version", &LibraryVersion);
    emscripten::function("memory", &MemoryBytes);
    emscripten::class_<PageDocument>("PageDocument")
        .function("describe", &PageDocument::Describe)
        .function("save", &PageDocument::Save)
        .function("saveNotes", &PageDocument::SaveNotes)
        .function("revision", &PageDocument::Revision)
        .function("isDirty", &PageDocument::IsDirty)
        .function("markSaved", &PageDocument::MarkSaved)
        .function("frameRate", &PageDocument::FrameRate)
        .function("setFrameRate", &PageDocument::SetFrameRate)
        .function("span", &PageDocument::Span)
        .function("frameTime", &PageDocument::FrameTime)
        .function("nearestFrame", &PageDocument::NearestFrame)
        .function("parseTime", &PageDocument::ParseTime)
        .function("framesText", &PageDocument::FramesText)
        .function("timeCode", &PageDocument::TimeCode)
        .function("tracks", &PageDocument::Tracks)
        .function("trackRevisions", &PageDocument::TrackRevisions)
        .function("setColor", &PageDocument::SetColor)
        .function("keys", &PageDocument::Keys)
        .function("evaluate", &PageDocument::Evaluate)
        .function("drawCurves", &PageDocument::DrawCurves)
        .function("drawPlayed", &PageDocument::DrawPlayed)
        .function("paintCurves", &PageDocument::PaintCurves)
        .function("drawKeys", &PageDocument::DrawKeys)
        .function("range", &PageDocument::Range)
        .function("select", &PageDocument::Select)
        .function("selectBox", &PageDocument::SelectBox)
        .function("selectAll", &PageDocument::SelectAll)
        .function("clearSelection", &PageDocument::ClearSelection)
        .function("selectedKeys", &PageDocument::SelectedKeys)
        .function("selectionRange", &PageDocument::SelectionRange)
        .function("insertKeys", &PageDocument::InsertKeys)
        .function("addKey", &PageDocument::AddKey)
        .function("deleteKeys", &PageDocument::DeleteKeys)
        .function("setKeys", &PageDocument::SetKeys)
        .function("setKeyTime", &PageDocument::SetKeyTime)
        .function("setValues", &PageDocument::SetValues)
        .function("extrapolation", &PageDocument::Extrapolation)
        .function("setExtrapolation", &PageDocument::SetExtrapolation)
        .function("snapKeysToFrames", &PageDocument::SnapKeysToFrames)
        .function("copyKeys", &PageDocument::CopyKeys)
        .function("pasteKeys", &PageDocument::PasteKeys)
        .function("beginDrag", &PageDocument::BeginDrag)
        .function("dragOffset", &PageDocument::DragOffset)
        .function("dragStretch", &PageDocument::DragStretch)
        .function("dragScale", &PageDocument::DragScale)
        .function("dragSetValue", &PageDocument::DragSetValue)
        .function("dragSnapValue", &PageDocument::DragSnapValue)
        .function("dragRange", &PageDocument::DragRange)
        .function("endDrag", &PageDocument::EndDrag)
        .function("cancelDrag", &PageDocument::CancelDrag)
        .function("beginTangents", &PageDocument::BeginTangents)
        .function("dragTangents", &PageDocument::DragTangents)
        .function("endTangents", &PageDocument::EndTangents)
        .function("cancelTangents", &PageDocument::CancelTangents)
        .function("beginStep", &PageDocument::BeginStep)
        .function("endStep", &PageDocument::EndStep)
        .function("cancelStep", &PageDocument::CancelStep)
        .function("undo", &PageDocument::Undo)
        .function("redo", &PageDocument::Redo)
        .function("undoState", &PageDocument::UndoState)
        .function("layers", &PageDocument::Layers)
        .function("addLayer", &PageDocument::AddLayer)
        .function("addToLayer", &PageDocument::AddToLayer)
        .function("removeLayer", &PageDocument::RemoveLayer)
        .function("setLayer", &PageDocument::SetLayer)
        .function("setLayerWeight", &PageDocument::SetLayerWeight)
        .function("layerWeight", &PageDocument::LayerWeight)
        .function("mergeLayers", &PageDocument::MergeLayers)
        .function("bakeIntoLayer", &PageDocument::BakeIntoLayer)
        .function("applyFilters", &PageDocument::ApplyFilters)
        .function("previewFilters", &PageDocument::PreviewFilters)
        .function("closePreview", &PageDocument::ClosePreview)
        .function("patterns", &PageDocument::Patterns)
        .function("positions", &PageDocument::Positions)
        .function("trail", &PageDocument::Trail)
        .function("footContacts", &PageDocument::FootContacts);
}
