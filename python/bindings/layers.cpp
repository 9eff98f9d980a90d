#include <algorithm>
#include <optional>
#include <tuple>

#include <pybind11/stl.h>

#include "python/bindings/bindings.h"

namespace yfpy {
namespace {

/// Id, name, muted, solo, locked, and the three modes.
using LayerRow = std::tuple<int, Text, bool, bool, bool, int, int, int>;

LayerRow RowOf(const YMotionLayer& layer)
{
    return {layer.id,     Text{layer.name}, layer.muted,        layer.solo,
            layer.locked, layer.mode,       layer.rotationMode, layer.scalingMode};
}

std::vector<LayerRow> LayersOf(Owner& owner)
{
    const Use use(owner);
    std::vector<LayerRow> rows;
    for (const YMotionLayer& layer : owner.Scene()->GetLayers()) rows.push_back(RowOf(layer));
    return rows;
}

int AddLayer(Owner& owner, const Text& name)
{
    const Use use(owner, Purpose::Edit);
    const int id = owner.Scene()->AddLayer(name.bytes.c_str());
    if (id < 0) RaiseErrorOf(*owner.Scene(), "Refused");
    return id;
}

/// The id of a layer, and what becomes of the rest of its row; null for what stays.
using LayerChange =
    std::tuple<int, std::optional<Text>, std::optional<bool>, std::optional<bool>, std::optional<bool>,
               std::optional<int>, std::optional<int>, std::optional<int>>;

/// How rotations and scalings of a layer add up, before and after a change.
class ModesAction final : public YFCurveUndoAction
{
  public:
    ModesAction(YMotion& scene, const YMotionLayer& before, const YMotionLayer& after)
        : mScene(scene), mBefore(before), mAfter(after)
    {}

    void Undo() override { Set(mBefore); }
    void Redo() override { Set(mAfter); }
    std::size_t GetByteCount() const override { return sizeof *this; }

  private:
    /// The rest of the layer stays what it is.
    void Set(const YMotionLayer& modes)
    {
        for (YMotionLayer& layer : mScene.GetLayers()) {
            if (layer.id != modes.id) continue;
            layer.rotationMode = modes.rotationMode;
            layer.scalingMode = modes.scalingMode;
            mScene.SetLayer(layer);
        }
    }

    YMotion& mScene;
    YMotionLayer mBefore;
    YMotionLayer mAfter;
};

void SetLayer(Owner& owner, const LayerChange& change)
{
    const auto& [id, name, muted, solo, locked, mode, rotationMode, scalingMode] = change;
    const Use use(owner, Purpose::Edit);
    const std::vector<YMotionLayer> layers = owner.Scene()->GetLayers();
    const auto found = std::find_if(layers.begin(), layers.end(),
                                    [wanted = id](const YMotionLayer& each) { return each.id == wanted; });
    if (found == layers.end()) Raise("NotFound", "the layer was removed from its scene");
    YMotionLayer layer = *found;
    if (name) layer.name = name->bytes;
    layer.muted = muted.value_or(layer.muted);
    layer.solo = solo.value_or(layer.solo);
    layer.locked = locked.value_or(layer.locked);
    if (mode) layer.mode = static_cast<eLayerMode>(*mode);
    if (rotationMode) layer.rotationMode = static_cast<eWeightRotationAccumulationMode>(*rotationMode);
    if (scalingMode) layer.scalingMode = static_cast<eAnimLayerScaleAccumulationMode>(*scalingMode);
    if (!owner.Scene()->SetLayer(layer)) RaiseErrorOf(*owner.Scene(), "Refused");
    const bool hasModes =
        layer.rotationMode != found->rotationMode || layer.scalingMode != found->scalingMode;
    if (hasModes && owner.History() != nullptr &&
        !owner.History()->Add(std::make_unique<ModesAction>(*owner.Scene(), *found, layer)))
        throw std::bad_alloc();
}

void RemoveLayer(Owner& owner, int id)
{
    const Use use(owner, Purpose::Edit);
    use.RefuseWithinStep();
    if (!owner.Scene()->RemoveLayer(id)) RaiseErrorOf(*owner.Scene(), "Refused");
    owner.RenewHistory();
}

/// Null for the base layer, and for one that is gone.
CurvePartPtr WeightOf(const OwnerPtr& owner, int id)
{
    const Use use(*owner);
    for (const YMotionLayer& layer : owner->Scene()->GetLayers()) {
        if (layer.id == id && layer.weight != nullptr)
            return std::make_shared<CurvePart>(owner, *layer.weight);
    }
    return nullptr;
}

/// Nodes, start, stop, period, tolerance, smart, exact, keep layers.
using PlottingRow = std::tuple<Choices, std::int64_t, std::int64_t, std::int64_t, double, bool, bool, bool>;

YMotionPlotting PlottingOf(const Owner& owner, const PlottingRow& row)
{
    YMotionPlotting options;
    options.nodes = PatternsOf(owner, std::get<0>(row));
    options.start = YTime(std::get<1>(row));
    options.stop = YTime(std::get<2>(row));
    options.period = YTime(std::get<3>(row));
    options.tolerance = std::get<4>(row);
    options.smart = std::get<5>(row);
    options.exact = std::get<6>(row);
    options.keepLayers = std::get<7>(row);
    return options;
}

py::list ListOf(const std::vector<YMotionPlottedProperty>& properties)
{
    using namespace py::literals;
    py::list list;
    for (const YMotionPlottedProperty& property : properties) {
        list.append(py::dict("path"_a = Text{property.path}, "unit"_a = property.unit,
                             "is_resampled"_a = property.isResampled, "keys_before"_a = property.keysBefore,
                             "keys_after"_a = property.keysAfter, "largest"_a = property.largest,
                             "ticks"_a = property.time.Get()));
    }
    return list;
}

py::list MergeLayers(Owner& owner, const std::vector<int>& ids, int target, const PlottingRow& row)
{
    std::vector<YMotionPlottedProperty> report;
    {
        const Use use(owner, Purpose::Edit, "merge layers");
        use.RefuseWithinStep();
        YMotion& scene = *owner.Scene();
        const std::size_t layers = scene.GetLayers().size();
        const YMotionPlotting options = PlottingOf(owner, row);
        const bool isDone =
            WithoutInterpreter([&] { return scene.MergeLayers(ids, target, options, &report); });
        if (!isDone) RaiseErrorOf(scene, "Refused");
        if (scene.GetLayers().size() < layers) owner.RenewHistory();
    }
    return ListOf(report);
}

py::list PlotIntoLayer(Owner& owner, int layer, const OwnerPtr& from, const PlottingRow& row)
{
    std::vector<YMotionPlottedProperty> report;
    {
        const Use use(owner, from == nullptr ? owner : *from, Purpose::Edit, "plot into layer");
        YMotion& scene = *owner.Scene();
        const YMotion* const other = from == nullptr ? nullptr : from->Scene();
        const YMotionPlotting options = PlottingOf(owner, row);
        const bool isDone =
            WithoutInterpreter([&] { return scene.PlotIntoLayer(layer, other, options, &report); });
        if (!isDone) RaiseErrorOf(scene, "Refused");
    }
    return ListOf(report);
}

}  // namespace

void AddLayers(py::module_& module)
{
    module.def("layers", LayersOf);
    module.def("add_layer", AddLayer);
    module.def("set_layer", SetLayer);
    module.def("remove_layer", RemoveLayer);
    module.def("layer_weight", WeightOf);
    module.def("merge_layers", MergeLayers);
    module.def("plot_into_layer", PlotIntoLayer);
}

}  // namespace yfpy
