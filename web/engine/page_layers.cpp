#include "web/engine/filtering.h"
#include "web/engine/layers.h"
#include "web/engine/page_document.h"
#include "web/engine/page_values.h"
#include "ymotion/scene/layer_text.h"
#include "ymotion/scene/scene_copy.h"
#include "ymotion/text/failure.h"

namespace editor {

using namespace ymotion;
using emscripten::val;

// --- Layers --------------------------------------------------------------------------------------------

std::string PageDocument::Layers()
{
    return Guarded([&] {
        Json layers = Json::array();
        for (const auto& layer : mDocument.GetScene().layers.Layers()) {
            int weight = -1;
            for (const Track& track : mDocument.Tracks())
                if (track.isWeight && track.layer == layer->GetLayerID()) weight = track.id;
            layers.push_back({{"id", layer->GetLayerID()},
                              {"name", layer->Name()},
                              {"muted", layer->IsMuteOn()},
                              {"solo", layer->IsSolo()},
                              {"locked", layer->IsLocked()},
                              {"mode", ModeText(layer->GetLayerMode())},
                              {"rotationMode", RotationModeText(layer->GetLayerRotationMode())},
                              {"scalingMode", ScalingModeText(layer->GetLayerScalingMode())},
                              {"weightTrack", weight}});
        }
        return Dump(layers);
    });
}

int PageDocument::AddLayer(std::string name, std::string nodes)
{
    return Guarded([&] { return editor::AddLayer(mDocument, name, TextsOf(nodes)); });
}

void PageDocument::AddToLayer(int layer, std::string nodes)
{
    Guarded([&] { editor::AddToLayer(mDocument, layer, TextsOf(nodes)); });
}

void PageDocument::RemoveLayer(int layer)
{
    Guarded([&] { editor::RemoveLayer(mDocument, layer); });
}

void PageDocument::SetLayer(int layer, std::string change)
{
    Guarded([&] {
        const Json json = Json::parse(change);
        editor::SetLayer(mDocument, layer, [&](LayerSettings& settings) {
            Take(json, "name", settings.name);
            Take(json, "muted", settings.muted);
            Take(json, "solo", settings.solo);
            Take(json, "locked", settings.locked);
            TakeWord(json, "mode", ParseMode, settings.mode);
            TakeWord(json, "rotationMode", ParseRotationMode, settings.rotationMode);
            TakeWord(json, "scalingMode", ParseScalingMode, settings.scalingMode);
        });
    });
}

void PageDocument::SetLayerWeight(int layer, double weight, bool atTime, double time)
{
    Guarded([&] {
        editor::SetLayerWeight(mDocument, layer, weight, atTime ? std::optional(TimeOf(time)) : std::nullopt);
    });
}

double PageDocument::LayerWeight(int layer, double time)
{
    return Guarded([&] { return LayerOf(mDocument.GetScene(), layer).GetWeight(TimeOf(time)); });
}

std::string PageDocument::MergeLayers(std::string options)
{
    return Guarded([&] { return TextOf(editor::MergeLayers(mDocument, PlotRequestOf(options))); });
}

std::string PageDocument::BakeIntoLayer(std::string options)
{
    return Guarded([&] { return TextOf(editor::BakeIntoLayer(mDocument, PlotRequestOf(options))); });
}

// --- Filters -------------------------------------------------------------------------------------------

std::string PageDocument::ApplyFilters(std::string request)
{
    return Guarded([&] { return Dump(editor::ApplyFilters(mDocument, FilterRequestOf(request))); });
}

std::string PageDocument::PreviewFilters(std::string request)
{
    return Guarded([&] {
        auto scene = std::make_unique<Scene>(CopyOf(mDocument.GetScene()));
        const Json report = FilterScene(*scene, FilterRequestOf(request));
        ClosePreview();
        mPreviewScene = std::move(scene);
        mPreview.emplace(*mPreviewScene);
        return Dump(report);
    });
}

void PageDocument::ClosePreview()
{
    mPreview.reset();
    mPreviewScene.reset();
}

std::string PageDocument::Patterns(val tracks)
{
    return Guarded([&] { return Dump(Json(mDocument.PatternsOf(NumbersOf<int>(tracks)))); });
}

}  // namespace editor
