#include "web/engine/layers.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>
#include <utility>

#include <fmt/format.h>

#include "web/engine/keys.h"
#include "ymotion/filtering/layer_merge.h"
#include "ymotion/filtering/plot_into_layer.h"
#include "ymotion/scene/layer_failure.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

namespace editor {

using namespace ymotion;

namespace {

/// A layer that was added or removed; owns it while it is out of the scene.
class LayerAction final : public YFCurveUndoAction
{
  public:
    LayerAction(Document& document, int id, int highestBefore)
        : mDocument(document), mId(id), mHighestBefore(highestBefore), mIsAdded(true)
    {}
    LayerAction(Document& document, std::unique_ptr<Layer> removed)
        : mDocument(document), mId(removed->GetLayerID()), mLayer(std::move(removed)), mIsAdded(false)
    {}

    void Undo() override { Set(!mIsAdded); }
    void Redo() override { Set(mIsAdded); }
    std::size_t GetByteCount() const override { return sizeof *this + sizeof(Layer); }

  private:
    void Set(bool isThere)
    {
        Scene& scene = mDocument.GetScene();
        if (isThere) {
            scene.layers.Put(mLayer);
            return;
        }
        mLayer = scene.layers.Remove(mId, *scene.root);
        if (mIsAdded) scene.layers.FreeIds(mHighestBefore);
    }

    Document& mDocument;
    int mId;
    int mHighestBefore = 0;
    std::unique_ptr<Layer> mLayer;
    bool mIsAdded;
};

void Add(Document& document, std::unique_ptr<YFCurveUndoAction> action)
{
    if (!document.History().Add(std::move(action))) throw std::bad_alloc();
    document.ForgetTracks();
}

template<class Value, class Set>
void AddSetting(Document& document, Value before, Value after, Set set)
{
    Add(document,
        std::make_unique<SettingAction<Value, Set>>(std::move(before), std::move(after), std::move(set)));
}

LayerSettings SettingsOf(const Layer& layer)
{
    return {layer.Name(),
            layer.IsMuteOn(),
            layer.IsSolo(),
            layer.IsLocked(),
            layer.GetLayerMode(),
            layer.GetLayerRotationMode(),
            layer.GetLayerScalingMode()};
}

void Apply(Document& document, int id, const LayerSettings& settings)
{
    SceneLayers& layers = document.GetScene().layers;
    Layer* layer = layers.Find(id);
    if (layer == nullptr) return;
    layers.Rename(*layer, settings.name);
    layer->SetMute(settings.muted);
    layers.SetSolo(*layer, settings.solo);
    layer->SetLocked(settings.locked);
    layer->SetMode(settings.mode);
    layers.SetAccumulation(*layer, settings.rotationMode, settings.scalingMode, *document.GetScene().root);
    layers.Bind(*document.GetScene().root);
}

/// \param own  the layer that is to have the name; null for a new one
void CheckName(Document& document, const Layer* own, const std::string& name)
{
    if (name.empty()) throw Failure("a layer needs a name; type one");
    const Layer* other = document.GetScene().layers.Find(name);
    if (other == nullptr || other == own) return;
    throw Failure(fmt::format("there is a layer {} already; choose another name", Quoted(name)));
}

void PutOn(const Scene& scene, Layer& layer, const std::vector<YFCurveNode*>& properties)
{
    for (YFCurveNode* property : properties) {
        if (scene.layers.NodeOn(*property, layer) != nullptr) continue;
        throw Failure(fmt::format("{} cannot be on the layer {}; choose others",
                                  QuotedName(PathOf(*property)), Quoted(layer.Name())));
    }
}

YTime FrameOf(const Scene& scene)
{
    return TimeOfFrame(1, scene.rate);
}

void CheckTolerance(double tolerance)
{
    if (!(tolerance > 0.0 && std::isfinite(tolerance)))
        throw Failure("the tolerance is not above 0; choose another one");
}

}  // namespace

Layer& LayerOf(Scene& scene, int id)
{
    Layer* layer = scene.layers.Find(id);
    if (layer == nullptr) throw Failure("the layer is not there any more; choose another one");
    return *layer;
}

Layer& UnlockedLayer(Scene& scene, int id)
{
    Layer& layer = LayerOf(scene, id);
    if (layer.IsLocked())
        throw Failure(fmt::format("the layer {} is locked; unlock it first", Quoted(layer.Name())));
    return layer;
}

int AddLayer(Document& document, const std::string& name, const std::vector<std::string>& nodes)
{
    Scene& scene = document.GetScene();
    CheckName(document, nullptr, name);
    const std::vector<YFCurveNode*> properties =
        nodes.empty() ? std::vector<YFCurveNode*>() : PropertiesOf(scene, nodes);
    int id = -1;
    document.Run("Add layer", [&] {
        const int highest = scene.layers.HighestId();
        Layer* layer = scene.layers.Add(name);
        if (layer == nullptr) throw Failure("the layers' ids have run out; remove the one with the highest");
        id = layer->GetLayerID();
        Add(document, std::make_unique<LayerAction>(document, id, highest));
        if (!document.History().Watch(layer->WeightNode())) throw std::bad_alloc();
        PutOn(scene, *layer, properties);
    });
    return id;
}

void AddToLayer(Document& document, int id, const std::vector<std::string>& nodes)
{
    Layer& layer = UnlockedLayer(document.GetScene(), id);
    const std::vector<YFCurveNode*> properties = PropertiesOf(document.GetScene(), nodes);
    document.Run("Add to layer", [&] { PutOn(document.GetScene(), layer, properties); });
    document.ForgetTracks();
}

void RemoveLayer(Document& document, int id)
{
    const Layer& layer = UnlockedLayer(document.GetScene(), id);
    if (layer.IsBase()) throw Failure("the base layer cannot be removed; choose another one");
    Scene& scene = document.GetScene();
    document.Run("Remove layer", [&] {
        Add(document, std::make_unique<LayerAction>(document, scene.layers.Remove(id, *scene.root)));
    });
}

void SetLayer(Document& document, int id, const std::function<void(LayerSettings&)>& change)
{
    document.CheckNotDragging();
    const Layer& layer = LayerOf(document.GetScene(), id);
    const LayerSettings before = SettingsOf(layer);
    LayerSettings after = before;
    change(after);
    if (after == before) return;
    CheckName(document, &layer, after.name);
    if (layer.IsBase() && after.mode != YFCURVE_LAYER_ADDITIVE)
        throw Failure("the base layer is additive, as there is nothing below it; choose another layer");
    document.Run("Change layer", [&] {
        Apply(document, id, after);
        AddSetting(document, before, after,
                   [&document, id](const LayerSettings& settings) { Apply(document, id, settings); });
    });
}

void SetLayerWeight(Document& document, int id, double weight, std::optional<YTime> time)
{
    const Layer& layer = UnlockedLayer(document.GetScene(), id);
    if (layer.IsBase())
        throw Failure("the base layer has no weight, it counts in full; choose another layer");
    if (!(weight >= 0.0 && weight <= 1.0)) throw Failure("the weight is not from 0 to 1; choose another one");
    YFCurve& curve = *layer.WeightCurve();
    document.Run("Change layer weight", [&] {
        const auto value = static_cast<float>(weight);
        if (!time) return curve.SetValue(value);
        AddKey(curve, *time, value);
    });
}

std::vector<PlottedProperty> MergeLayers(Document& document, const PlotRequest& request)
{
    document.CheckNotDragging();
    CheckTolerance(request.tolerance);
    Scene& scene = document.GetScene();
    LayerMerge merge;
    for (const auto& layer : scene.layers.Layers()) {
        const std::vector<int>& ids = request.layers;
        const bool isNamed = std::find(ids.begin(), ids.end(), layer->GetLayerID()) != ids.end();
        if (isNamed || (ids.empty() && !layer->IsMuted())) merge.layers.push_back(layer.get());
    }
    if (merge.layers.empty()) throw Failure("no layer plays; let those play that are to be merged");
    for (const Layer* layer : merge.layers) CheckPlays(scene, *layer, "leave it out");
    merge.target = request.target < 0 ? merge.layers.front() : &LayerOf(scene, request.target);
    if (merge.layers.size() == 1 && merge.layers.front() == merge.target)
        throw Failure("there is no other layer to merge with; choose two at least");
    CheckMerge(scene, merge);
    merge.options.plot.tolerance = request.tolerance;
    merge.options.plot.period = FrameOf(scene);
    std::vector<PlottedProperty> merged;
    document.Run("Merge layers", [&] {
        merged = MergeProperties(scene, merge, PropertiesOf(scene, request.nodes));
        for (auto& layer : RemoveUnusedLayers(scene, merge).layers)
            Add(document, std::make_unique<LayerAction>(document, std::move(layer)));
        scene.layers.Bind(*scene.root);
        document.ForgetTracks();
    });
    return merged;
}

std::vector<PlottedProperty> BakeIntoLayer(Document& document, const PlotRequest& request)
{
    CheckTolerance(request.tolerance);
    Scene& scene = document.GetScene();
    LayerPlotting plotting;
    plotting.layer = &LayerOf(scene, request.target);
    plotting.plot.tolerance = request.tolerance;
    plotting.plot.period = FrameOf(scene);
    plotting.plot.smart = !request.everyFrame;
    std::vector<PlottedProperty> plotted;
    document.Run("Bake into layer", [&] {
        plotted = PlotIntoLayer(scene, plotting, nullptr, PropertiesOf(scene, request.nodes)).properties;
    });
    document.ForgetTracks();
    return plotted;
}

void SetFrameRate(Document& document, const std::string& text)
{
    struct Rate
    {
        FrameRate rate;
        std::string frameTime;
    };
    const std::optional<FrameRate> rate = ParseRate(text);
    if (!rate)
        throw Failure(Quoted(text) + " is no frame rate; write frames a second as 30, 29.97 or 24000/1001");
    Scene& scene = document.GetScene();
    if (*rate == scene.rate) return;
    const Rate before{scene.rate, scene.frameTime};
    document.Run("Change frame rate", [&] {
        scene.SetRate(*rate);
        AddSetting(document, before, Rate{*rate, {}}, [&scene](const Rate& set) {
            scene.rate = set.rate;
            scene.frameTime = set.frameTime;
        });
    });
}

}  // namespace editor
