#include <cmath>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <emscripten/bind.h>
#include <emscripten/heap.h>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "web/engine/document.h"
#include "web/engine/dragging.h"
#include "web/engine/drawing.h"
#include "web/engine/filtering.h"
#include "web/engine/keys.h"
#include "web/engine/layers.h"
#include "web/engine/versions.h"
#include "ymotion/clipping/scene_copy.h"
#include "ymotion/filtering/layer_plot.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/scene/time_text.h"
#include "ymotion/scene/world_pose.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

/// \file
/// The engine for the page: web/src/engine/load.ts is the other side. Texts with structure cross as JSON, numbers in
/// bulk as typed arrays. A call that fails gives nothing, and `takeError` the message.

namespace {

using emscripten::val;
using Json = nlohmann::ordered_json;
using namespace editor;

std::string lastError;

/// The result of `act`, or one without content where it fails.
template<class Act>
auto Guarded(const Act& act) -> decltype(act())
{
    using Result = decltype(act());
    try {
        return act();
    } catch (const std::bad_alloc&) {
        lastError = "the browser has no memory left for that; close other pages, or take a smaller file";
    } catch (const std::exception& failure) {
        lastError = failure.what();
    }
    if constexpr (std::is_same_v<Result, val>) {
        return val::undefined();
    } else if constexpr (!std::is_void_v<Result>) {
        return Result();
    }
}

std::string TakeError()
{
    return std::exchange(lastError, {});
}

template<class Number>
val ArrayOf(const std::vector<Number>& numbers)
{
    return val(emscripten::typed_memory_view(numbers.size(), numbers.data())).template call<val>("slice");
}

template<class Number>
std::vector<Number> NumbersOf(const val& array)
{
    return emscripten::convertJSArrayToNumberVector<Number>(array);
}

std::vector<YTime> TimesOf(const val& array)
{
    std::vector<YTime> times;
    for (const double ticks : NumbersOf<double>(array)) times.push_back(TimeOf(ticks));
    return times;
}

double TicksOf(YTime time)
{
    return static_cast<double>(time.Get());
}

std::vector<std::string> TextsOf(const Json& json)
{
    return json.is_array() ? json.get<std::vector<std::string>>() : std::vector<std::string>();
}

/// A track, how many indices, and these; then the next one.
std::vector<TrackKeys> KeysOf(const val& array)
{
    std::vector<TrackKeys> keys;
    const std::vector<int> numbers = NumbersOf<int>(array);
    for (std::size_t i = 0; i + 1 < numbers.size();) {
        const auto count = static_cast<std::size_t>(numbers[i + 1]);
        const auto first = numbers.begin() + static_cast<std::ptrdiff_t>(i) + 2;
        keys.push_back({numbers[i], {first, first + static_cast<std::ptrdiff_t>(count)}});
        i += count + 2;
    }
    return keys;
}

val NumbersOfKeys(const std::vector<TrackKeys>& keys)
{
    std::vector<int> numbers;
    for (const TrackKeys& each : keys) {
        numbers.push_back(each.track);
        numbers.push_back(static_cast<int>(each.indices.size()));
        numbers.insert(numbers.end(), each.indices.begin(), each.indices.end());
    }
    return ArrayOf(numbers);
}

std::string TextOf(const KeyRange& range)
{
    return Json{{"count", range.count},
                {"start", TicksOf(range.start)},
                {"stop", TicksOf(range.stop)},
                {"least", range.least},
                {"greatest", range.greatest}}
        .dump();
}

Window WindowOf(const val& numbers)
{
    const std::vector<double> all = NumbersOf<double>(numbers);
    return {TimeOf(all.at(0)), TimeOf(all.at(1)), all.at(2), all.at(3), all.at(4), all.at(5)};
}

val DrawingOf(const CurveDrawing& drawing)
{
    val result = val::object();
    result.set("first", ArrayOf(drawing.first));
    result.set("points", ArrayOf(drawing.points));
    return result;
}

Json PlottedJson(const std::vector<ymotion::PlottedProperty>& properties)
{
    Json json = Json::array();
    for (const ymotion::PlottedProperty& property : properties) {
        json.push_back({{"path", ymotion::PathOf(*property.node)},
                        {"unit", ymotion::UnitOf(*property.node)},
                        {"isResampled", property.resampled},
                        {"keysBefore", property.keysBefore},
                        {"keysAfter", property.keysAfter},
                        {"largest", property.largest},
                        {"time", TicksOf(property.when)}});
    }
    return json;
}

template<class Value>
std::optional<Value> Given(const Json& json, const char* name)
{
    const auto found = json.find(name);
    if (found == json.end() || found->is_null()) return std::nullopt;
    if constexpr (std::is_enum_v<Value>) {
        return static_cast<Value>(found->get<int>());
    } else {
        return found->get<Value>();
    }
}

/// \param text  members of `KeyChange`; interpolation and tangent as numbers
KeyChange KeyChangeOf(const std::string& text)
{
    const Json json = Json::parse(text);
    KeyChange change;
    change.value = Given<float>(json, "value");
    change.interpolation = Given<Interpolation>(json, "interpolation");
    change.tangent = Given<TangentMode>(json, "tangent");
    change.clamped = Given<bool>(json, "clamped");
    change.leftSlope = Given<float>(json, "leftSlope");
    change.rightSlope = Given<float>(json, "rightSlope");
    change.leftWeight = Given<float>(json, "leftWeight");
    change.rightWeight = Given<float>(json, "rightWeight");
    change.tension = Given<float>(json, "tension");
    change.continuity = Given<float>(json, "continuity");
    change.bias = Given<float>(json, "bias");
    return change;
}

LayerChange LayerChangeOf(const std::string& text)
{
    const Json json = Json::parse(text);
    LayerChange change;
    change.name = Given<std::string>(json, "name");
    change.muted = Given<bool>(json, "muted");
    change.solo = Given<bool>(json, "solo");
    change.locked = Given<bool>(json, "locked");
    change.mode = Given<eLayerMode>(json, "mode");
    change.rotationMode = Given<eWeightRotationAccumulationMode>(json, "rotationMode");
    change.scalingMode = Given<eAnimLayerScaleAccumulationMode>(json, "scalingMode");
    return change;
}

PlotRequest PlotRequestOf(const std::string& text)
{
    const Json json = Json::parse(text);
    PlotRequest request;
    if (const auto layers = Given<std::vector<int>>(json, "layers")) request.layers = *layers;
    if (const auto nodes = Given<std::vector<std::string>>(json, "nodes")) request.nodes = *nodes;
    request.target = Given<int>(json, "target").value_or(request.target);
    request.tolerance = Given<double>(json, "tolerance").value_or(request.tolerance);
    request.everyFrame = Given<bool>(json, "everyFrame").value_or(false);
    return request;
}

DragOptions DragOptionsOf(const std::string& text)
{
    const Json json = Json::parse(text);
    DragOptions options;
    options.mode = Given<eFCurveManipulationMode>(json, "mode").value_or(options.mode);
    options.copy = Given<bool>(json, "copy").value_or(false);
    options.rippleTime = Given<bool>(json, "rippleTime").value_or(false);
    options.rippleValue = Given<bool>(json, "rippleValue").value_or(false);
    options.rippleAllValues = Given<bool>(json, "rippleAllValues").value_or(false);
    options.scaleCentre = Given<double>(json, "scaleCentre").value_or(0.0);
    return options;
}

const char* ExtensionOf(ymotion::SceneFormat format)
{
    switch (format) {
        case ymotion::SceneFormat::Bvh:
            return "bvh";
        case ymotion::SceneFormat::SceneFile:
            return "ytalo";
        case ymotion::SceneFormat::Glb:
            return "glb";
        case ymotion::SceneFormat::Gltf:
            return "gltf";
    }
    return "ytalo";
}

/// An open document, with what the page asks of it.
class PageDocument
{
  public:
    PageDocument(std::string bytes, std::string name)
        : mDocument(bytes, name), mCurrent(mDocument.GetScene()), mOriginal(mDocument.Original())
    {}

    // --- What it is ------------------------------------------------------------------------------------

    std::string Describe()
    {
        return Guarded([&] { return DescribeScene(); });
    }
    std::string DescribeScene()
    {
        const Scene& scene = mDocument.GetScene();
        const ymotion::StandingFigure& figure = mOriginal.Figure();
        Json joints = Json::array();
        for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
            const ymotion::Joint& joint = scene.skeleton.joints[i];
            const YFCurveNode* node = scene.jointNodes[i];
            joints.push_back({{"name", joint.name},
                              {"title", ymotion::JointTitle(scene.skeleton, i)},
                              {"path", node == nullptr ? std::string() : ymotion::PathOf(*node)},
                              {"parent", joint.parent},
                              {"isEndSite", joint.endSite}});
        }
        return Dump({{"format", ExtensionOf(scene.format)},
                     {"notes", mDocument.Notes()},
                     {"joints", joints},
                     {"up", ymotion::kAxisNames[static_cast<std::size_t>(figure.up)]},
                     {"height", figure.height}});
    }

    val Save(std::string extension)
    {
        return Guarded([&]() -> val {
            const std::string text = mDocument.Save(extension);
            const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
            return val(emscripten::typed_memory_view(text.size(), bytes)).call<val>("slice");
        });
    }

    double Revision() { return static_cast<double>(mDocument.Revision()); }
    bool IsDirty() { return mDocument.IsDirty(); }
    void MarkSaved() { mDocument.MarkSaved(); }

    std::string GetFrameRate()
    {
        const ymotion::FrameRate rate = mDocument.GetScene().rate;
        return Dump({{"numerator", rate.numerator},
                     {"denominator", rate.denominator},
                     {"text", ymotion::RateText(rate)}});
    }
    void SetRate(std::string text)
    {
        Guarded([&] { SetFrameRate(mDocument, text); });
    }
    std::string Span()
    {
        const auto span = ymotion::KeySpan(mDocument.GetScene());
        if (!span) return "null";
        return Dump({{"start", TicksOf(span->start)}, {"stop", TicksOf(span->stop)}});
    }
    double FrameTime(double frame)
    {
        return Guarded([&] {
            if (!(std::abs(frame) < 0x1p53)) throw ymotion::Failure("the frame is no whole number");
            return TicksOf(ymotion::TimeOfFrame(std::llround(frame), mDocument.GetScene().rate));
        });
    }
    double FrameNear(double ticks)
    {
        return Guarded(
            [&] { return static_cast<double>(NearestFrame(TimeOf(ticks), mDocument.GetScene().rate)); });
    }
    double ParseTime(std::string text)
    {
        return Guarded([&] {
            const auto written = ymotion::ParseTime(text);
            if (!written)
                throw ymotion::Failure(
                    fmt::format("{} is not {}", ymotion::Quoted(text), ymotion::kTimeForms));
            return TicksOf(written->At(mDocument.GetScene().rate));
        });
    }

    // --- Tracks and keys -------------------------------------------------------------------------------

    std::string Tracks()
    {
        return Guarded([&] {
            Json tracks = Json::array();
            for (const Track& track : mDocument.Tracks()) {
                const ymotion::Layer* layer = mDocument.GetScene().layers.Find(track.layer);
                tracks.push_back({{"id", track.id},
                                  {"path", track.path},
                                  {"joint", track.joint},
                                  {"jointIndex", track.jointIndex},
                                  {"property", track.property},
                                  {"component", track.component},
                                  {"unit", track.unit},
                                  {"layer", track.layer},
                                  {"isWeight", track.isWeight},
                                  {"color", mDocument.ColorOf(track)},
                                  {"locked", track.Curve().IsLocked() || layer->IsLocked()},
                                  {"keyCount", track.Curve().KeyGetCount()}});
            }
            return Dump(tracks);
        });
    }
    val TrackRevisions(val tracks)
    {
        return Guarded([&]() -> val {
            std::vector<double> revisions;
            for (const int id : NumbersOf<int>(tracks)) {
                const YFCurve& curve = mDocument.CurveOf(id);
                revisions.push_back(static_cast<double>(curve.GetSerial()) * 65536.0 +
                                    curve.GetValuesUpdateId());
            }
            return ArrayOf(revisions);
        });
    }
    void SetColor(int track, std::string color)
    {
        Guarded([&] { mDocument.SetColor(track, color); });
    }
    val Keys(int track)
    {
        return Guarded([&]() -> val {
            const KeyTable table = TableOf(mDocument.CurveOf(track));
            val keys = val::object();
            keys.set("time", ArrayOf(table.time));
            keys.set("value", ArrayOf(table.value));
            keys.set("interpolation", ArrayOf(table.interpolation));
            keys.set("tangent", ArrayOf(table.tangent));
            keys.set("clamped", ArrayOf(table.clamped));
            keys.set("selected", ArrayOf(table.selected));
            keys.set("leftSlope", ArrayOf(table.leftSlope));
            keys.set("rightSlope", ArrayOf(table.rightSlope));
            keys.set("leftWeight", ArrayOf(table.leftWeight));
            keys.set("rightWeight", ArrayOf(table.rightWeight));
            keys.set("leftWeighted", ArrayOf(table.leftWeighted));
            keys.set("rightWeighted", ArrayOf(table.rightWeighted));
            keys.set("tension", ArrayOf(table.tension));
            keys.set("continuity", ArrayOf(table.continuity));
            keys.set("bias", ArrayOf(table.bias));
            return keys;
        });
    }
    val Evaluate(int track, val ticks, bool played)
    {
        return Guarded([&]() -> val {
            const std::vector<YTime> times = TimesOf(ticks);
            std::vector<float> values(times.size());
            const Track& found = mDocument.TrackOf(track);
            if (!played || found.isWeight) {
                found.Curve().Evaluate(times, values);
            } else {
                ymotion::PlayedCurve curve = ymotion::PlayedCurves({found.base}).front();
                for (std::size_t i = 0; i < times.size(); ++i) values[i] = curve.At(times[i]);
            }
            return ArrayOf(values);
        });
    }

    val DrawCurves(val tracks, val window, int version)
    {
        return Guarded([&]() -> val {
            static const YFCurve none;
            std::vector<const YFCurve*> curves;
            for (const int id : NumbersOf<int>(tracks)) {
                const Track& track = mDocument.TrackOf(id);
                const bool isCurrent = version == static_cast<int>(Version::Current);
                const YFCurve* curve = isCurrent ? &track.Curve() : VersionOf(version).CurveOf(track);
                curves.push_back(curve == nullptr ? &none : curve);
            }
            return DrawingOf(mDrawer.Draw(curves, WindowOf(window)));
        });
    }
    val DrawPlayed(val tracks, val window, int version)
    {
        return Guarded([&]() -> val {
            std::vector<ymotion::SelectedCurve> curves;
            std::vector<std::size_t> places;
            const std::vector<int> ids = NumbersOf<int>(tracks);
            for (const int id : ids) {
                const auto base = VersionOf(version).BaseOf(mDocument.TrackOf(id));
                places.push_back(curves.size());
                if (base) curves.push_back(*base);
            }
            places.push_back(curves.size());
            CurveDrawing drawing = CurveDrawer::DrawPlayed(curves, WindowOf(window));
            std::vector<std::uint32_t> first;
            for (const std::size_t place : places) first.push_back(drawing.first[place]);
            drawing.first = std::move(first);
            return DrawingOf(drawing);
        });
    }
    val DrawKeys(val tracks, val window)
    {
        return Guarded([&]() -> val {
            std::vector<const YFCurve*> curves;
            for (const int id : NumbersOf<int>(tracks)) curves.push_back(&mDocument.CurveOf(id));
            const KeyDrawing drawing = mDrawer.DrawKeys(curves, WindowOf(window));
            val result = val::object();
            result.set("first", ArrayOf(drawing.first));
            result.set("points", ArrayOf(drawing.points));
            result.set("index", ArrayOf(drawing.index));
            result.set("selected", ArrayOf(drawing.selected));
            return result;
        });
    }
    std::string Range(val tracks, double start, double stop)
    {
        return Guarded([&] {
            KeyRange range;
            for (const int id : NumbersOf<int>(tracks))
                IncludeCurve(mDocument.CurveOf(id), TimeOf(start), TimeOf(stop), range);
            return TextOf(range);
        });
    }

    // --- Selection -------------------------------------------------------------------------------------

    void Select(int mode, val keys)
    {
        Guarded([&] { SelectKeys(mDocument, static_cast<SelectionMode>(mode), KeysOf(keys)); });
    }
    void SelectInBox(int mode, val tracks, double start, double stop, double low, double high)
    {
        Guarded([&] {
            SelectBox(mDocument, static_cast<SelectionMode>(mode), NumbersOf<int>(tracks),
                      {TimeOf(start), TimeOf(stop), low, high});
        });
    }
    void SelectEvery(val tracks)
    {
        Guarded([&] { SelectAll(mDocument, NumbersOf<int>(tracks)); });
    }
    void SelectNone()
    {
        Guarded([&] { ClearSelection(mDocument); });
    }
    val Selected()
    {
        return Guarded([&]() -> val { return NumbersOfKeys(mDocument.SelectedKeys()); });
    }
    std::string SelectedRange()
    {
        return Guarded([&] { return TextOf(SelectionRange(mDocument)); });
    }

    // --- Edits -----------------------------------------------------------------------------------------

    val Insert(val tracks, double time)
    {
        return Guarded([&]() -> val {
            return NumbersOfKeys(InsertKeys(mDocument, NumbersOf<int>(tracks), TimeOf(time)));
        });
    }
    int Add(int track, double time, float value)
    {
        return Guarded([&] { return AddKey(mDocument, track, TimeOf(time), value); });
    }
    void Delete(val keys)
    {
        Guarded([&] { DeleteKeys(mDocument, KeysOf(keys)); });
    }
    void Set(val keys, std::string change)
    {
        Guarded([&] { SetKeys(mDocument, KeysOf(keys), KeyChangeOf(change)); });
    }
    void SetTime(int track, int index, double time)
    {
        Guarded([&] { SetKeyTime(mDocument, track, index, TimeOf(time)); });
    }
    void SetAllValues(int track, val indices, val values)
    {
        Guarded([&] { SetValues(mDocument, track, NumbersOf<int>(indices), NumbersOf<float>(values)); });
    }
    std::string GetExtrapolation(int track)
    {
        return Guarded([&] {
            const Extrapolation settings = ExtrapolationOf(mDocument.CurveOf(track));
            return Dump({{"before", settings.before},
                         {"after", settings.after},
                         {"beforeCount", settings.beforeCount},
                         {"afterCount", settings.afterCount}});
        });
    }
    void ChangeExtrapolation(val tracks, std::string text)
    {
        Guarded([&] {
            const Json json = Json::parse(text);
            SetExtrapolation(mDocument, NumbersOf<int>(tracks), [&](Extrapolation& settings) {
                settings.before = Given<unsigned>(json, "before").value_or(settings.before);
                settings.after = Given<unsigned>(json, "after").value_or(settings.after);
                settings.beforeCount =
                    Given<std::uint32_t>(json, "beforeCount").value_or(settings.beforeCount);
                settings.afterCount = Given<std::uint32_t>(json, "afterCount").value_or(settings.afterCount);
            });
        });
    }
    void Snap(val keys)
    {
        Guarded([&] { SnapKeysToFrames(mDocument, KeysOf(keys)); });
    }
    std::string Copy(val keys)
    {
        return Guarded([&] { return CopyKeys(mDocument, KeysOf(keys)); });
    }
    void Paste(std::string json, double time, val tracks)
    {
        Guarded([&] { PasteKeys(mDocument, json, TimeOf(time), NumbersOf<int>(tracks)); });
    }

    // --- Dragging --------------------------------------------------------------------------------------

    void BeginDrag(std::string options)
    {
        Guarded([&] {
            mDocument.CheckNotDragging();
            mDrag = std::make_unique<Drag>(mDocument, DragOptionsOf(options));
        });
    }
    void DragOffset(double time, double value, bool snap)
    {
        Guarded([&] { Dragging().Offset(TimeOf(time), value, snap); });
    }
    void DragStretch(double timeFactor, double valueFactor, double timePivot, double valuePivot)
    {
        Guarded([&] { Dragging().Stretch(timeFactor, valueFactor, TimeOf(timePivot), valuePivot); });
    }
    void DragScale(double factor)
    {
        Guarded([&] { Dragging().Scale(factor); });
    }
    void DragSetValue(double value)
    {
        Guarded([&] { Dragging().SetValue(value); });
    }
    double DragSnapValue(double offset, double tolerance)
    {
        return Guarded([&] { return Dragging().SnapValueOffset(offset, tolerance); });
    }
    std::string DragRange()
    {
        return Guarded([&] { return TextOf(Dragging().Range()); });
    }
    void EndDrag()
    {
        Guarded([&] {
            Dragging();
            std::exchange(mDrag, nullptr)->End();
        });
    }
    void CancelDrag()
    {
        Guarded([&] {
            Dragging();
            std::exchange(mDrag, nullptr)->Cancel();
        });
    }

    // --- Steps -----------------------------------------------------------------------------------------

    void BeginStep(std::string name)
    {
        Guarded([&] { mDocument.BeginStep(name.c_str()); });
    }
    void EndStep()
    {
        Guarded([&] { mDocument.EndStep(); });
    }
    void CancelStep()
    {
        Guarded([&] {
            // A drag that is given up takes its step along.
            mDrag.reset();
            if (mDocument.History().IsStepOpen()) mDocument.CancelStep();
        });
    }
    bool Undo()
    {
        return Guarded([&] { return mDocument.Undo(); });
    }
    bool Redo()
    {
        return Guarded([&] { return mDocument.Redo(); });
    }
    std::string UndoState()
    {
        const YFCurveUndo& history = mDocument.History();
        Json undo = Json::array();
        Json redo = Json::array();
        for (int i = 0; i < history.GetUndoCount(); ++i) undo.push_back(history.GetUndoName(i));
        for (int i = 0; i < history.GetRedoCount(); ++i) redo.push_back(history.GetRedoName(i));
        return Dump({{"undo", undo}, {"redo", redo}, {"isStepOpen", history.IsStepOpen()}});
    }

    // --- Layers ----------------------------------------------------------------------------------------

    std::string Layers()
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
                                  {"mode", static_cast<int>(layer->GetLayerMode())},
                                  {"rotationMode", static_cast<int>(layer->GetLayerRotationMode())},
                                  {"scalingMode", static_cast<int>(layer->GetLayerScalingMode())},
                                  {"weightTrack", weight}});
            }
            return Dump(layers);
        });
    }
    int AddNewLayer(std::string name, std::string nodes)
    {
        return Guarded([&] { return AddLayer(mDocument, name, TextsOf(Json::parse(nodes))); });
    }
    void PutOnLayer(int layer, std::string nodes)
    {
        Guarded([&] { AddToLayer(mDocument, layer, TextsOf(Json::parse(nodes))); });
    }
    void DropLayer(int layer)
    {
        Guarded([&] { RemoveLayer(mDocument, layer); });
    }
    void ChangeLayer(int layer, std::string change)
    {
        Guarded([&] { SetLayer(mDocument, layer, LayerChangeOf(change)); });
    }
    void SetWeight(int layer, double weight, bool atTime, double time)
    {
        Guarded([&] {
            SetLayerWeight(mDocument, layer, weight, atTime ? std::optional(TimeOf(time)) : std::nullopt);
        });
    }
    double Weight(int layer, double time)
    {
        return Guarded([&] { return LayerOf(mDocument, layer).GetWeight(TimeOf(time)); });
    }
    std::string Merge(std::string options)
    {
        return Guarded([&] { return Dump(PlottedJson(MergeLayers(mDocument, PlotRequestOf(options)))); });
    }
    std::string Bake(std::string options)
    {
        return Guarded([&] { return Dump(PlottedJson(BakeIntoLayer(mDocument, PlotRequestOf(options)))); });
    }

    // --- Filters ---------------------------------------------------------------------------------------

    std::string Filter(std::string steps, std::string nodes)
    {
        return Guarded([&] {
            return Dump(ApplyFilters(mDocument, TextsOf(Json::parse(steps)), TextsOf(Json::parse(nodes))));
        });
    }
    std::string Preview(std::string steps, std::string nodes)
    {
        return Guarded([&] {
            auto scene = std::make_unique<Scene>(ymotion::CopyOf(mDocument.GetScene()));
            const Json report = FilterScene(*scene, TextsOf(Json::parse(steps)), TextsOf(Json::parse(nodes)));
            ClosePreview();
            mPreviewScene = std::move(scene);
            mPreview.emplace(*mPreviewScene);
            return Dump(report);
        });
    }
    void ClosePreview()
    {
        mPreview.reset();
        mPreviewScene.reset();
    }
    std::string Patterns(val tracks)
    {
        return Guarded([&] { return Dump(Json(mDocument.PatternsOf(NumbersOf<int>(tracks)))); });
    }

    // --- Motion ----------------------------------------------------------------------------------------

    val Positions(double time, int version)
    {
        return Guarded([&]() -> val { return ArrayOf(VersionOf(version).Positions(TimeOf(time))); });
    }
    val Trail(int joint, val times, int version)
    {
        return Guarded([&]() -> val { return ArrayOf(VersionOf(version).Trail(joint, TimesOf(times))); });
    }
    std::string FootContacts(int version)
    {
        return Guarded([&] {
            Json feet = Json::array();
            for (const ymotion::Foot& foot : VersionOf(version).Figure().feet) {
                Json contacts = Json::array();
                for (const ymotion::Contact& contact : foot.contacts)
                    contacts.push_back({{"start", TicksOf(contact.start)}, {"stop", TicksOf(contact.stop)}});
                feet.push_back({{"joint", foot.joint}, {"contacts", contacts}});
            }
            return Dump(feet);
        });
    }

  private:
    /// Names may hold any bytes; what is no UTF-8 is replaced for the page.
    static std::string Dump(const Json& json)
    {
        return json.dump(-1, ' ', false, Json::error_handler_t::replace);
    }

    SceneVersion& VersionOf(int version)
    {
        if (version == static_cast<int>(Version::Original)) return mOriginal;
        if (version == static_cast<int>(Version::Preview)) {
            if (mPreview) return *mPreview;
            throw ymotion::Failure("no filter is being tried; preview one first");
        }
        mCurrent.Changed(mDocument.PlayedState());
        return mCurrent;
    }

    Drag& Dragging()
    {
        if (mDrag == nullptr) throw ymotion::Failure("no keys are being dragged; begin first");
        return *mDrag;
    }

    Document mDocument;
    SceneVersion mCurrent;
    SceneVersion mOriginal;
    std::unique_ptr<Scene> mPreviewScene;
    std::optional<SceneVersion> mPreview;
    CurveDrawer mDrawer;
    std::unique_ptr<Drag> mDrag;  ///< is ended before the document
};

/// \return  null where it cannot be read
std::unique_ptr<PageDocument> Open(const val& bytes, const std::string& name)
{
    return Guarded([&] {
        std::string text(bytes["length"].as<std::size_t>(), '\0');
        val(emscripten::typed_memory_view(text.size(), reinterpret_cast<std::uint8_t*>(text.data())))
            .call<void>("set", bytes);
        return std::make_unique<PageDocument>(std::move(text), name);
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
    emscripten::function("version", &LibraryVersion);
    emscripten::function("memory", &MemoryBytes);
    emscripten::class_<PageDocument>("PageDocument")
        .function("describe", &PageDocument::Describe)
        .function("save", &PageDocument::Save)
        .function("revision", &PageDocument::Revision)
        .function("isDirty", &PageDocument::IsDirty)
        .function("markSaved", &PageDocument::MarkSaved)
        .function("frameRate", &PageDocument::GetFrameRate)
        .function("setFrameRate", &PageDocument::SetRate)
        .function("span", &PageDocument::Span)
        .function("frameTime", &PageDocument::FrameTime)
        .function("nearestFrame", &PageDocument::FrameNear)
        .function("parseTime", &PageDocument::ParseTime)
        .function("tracks", &PageDocument::Tracks)
        .function("trackRevisions", &PageDocument::TrackRevisions)
        .function("setColor", &PageDocument::SetColor)
        .function("keys", &PageDocument::Keys)
        .function("evaluate", &PageDocument::Evaluate)
        .function("drawCurves", &PageDocument::DrawCurves)
        .function("drawPlayed", &PageDocument::DrawPlayed)
        .function("drawKeys", &PageDocument::DrawKeys)
        .function("range", &PageDocument::Range)
        .function("select", &PageDocument::Select)
        .function("selectBox", &PageDocument::SelectInBox)
        .function("selectAll", &PageDocument::SelectEvery)
        .function("clearSelection", &PageDocument::SelectNone)
        .function("selectedKeys", &PageDocument::Selected)
        .function("selectionRange", &PageDocument::SelectedRange)
        .function("insertKeys", &PageDocument::Insert)
        .function("addKey", &PageDocument::Add)
        .function("deleteKeys", &PageDocument::Delete)
        .function("setKeys", &PageDocument::Set)
        .function("setKeyTime", &PageDocument::SetTime)
        .function("setValues", &PageDocument::SetAllValues)
        .function("extrapolation", &PageDocument::GetExtrapolation)
        .function("setExtrapolation", &PageDocument::ChangeExtrapolation)
        .function("snapKeysToFrames", &PageDocument::Snap)
        .function("copyKeys", &PageDocument::Copy)
        .function("pasteKeys", &PageDocument::Paste)
        .function("beginDrag", &PageDocument::BeginDrag)
        .function("dragOffset", &PageDocument::DragOffset)
        .function("dragStretch", &PageDocument::DragStretch)
        .function("dragScale", &PageDocument::DragScale)
        .function("dragSetValue", &PageDocument::DragSetValue)
        .function("dragSnapValue", &PageDocument::DragSnapValue)
        .function("dragRange", &PageDocument::DragRange)
        .function("endDrag", &PageDocument::EndDrag)
        .function("cancelDrag", &PageDocument::CancelDrag)
        .function("beginStep", &PageDocument::BeginStep)
        .function("endStep", &PageDocument::EndStep)
        .function("cancelStep", &PageDocument::CancelStep)
        .function("undo", &PageDocument::Undo)
        .function("redo", &PageDocument::Redo)
        .function("undoState", &PageDocument::UndoState)
        .function("layers", &PageDocument::Layers)
        .function("addLayer", &PageDocument::AddNewLayer)
        .function("addToLayer", &PageDocument::PutOnLayer)
        .function("removeLayer", &PageDocument::DropLayer)
        .function("setLayer", &PageDocument::ChangeLayer)
        .function("setLayerWeight", &PageDocument::SetWeight)
        .function("layerWeight", &PageDocument::Weight)
        .function("mergeLayers", &PageDocument::Merge)
        .function("bakeIntoLayer", &PageDocument::Bake)
        .function("applyFilters", &PageDocument::Filter)
        .function("previewFilters", &PageDocument::Preview)
        .function("closePreview", &PageDocument::ClosePreview)
        .function("patterns", &PageDocument::Patterns)
        .function("positions", &PageDocument::Positions)
        .function("trail", &PageDocument::Trail)
        .function("footContacts", &PageDocument::FootContacts);
}
