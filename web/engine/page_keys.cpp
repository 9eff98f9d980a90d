#include <utility>

#include "web/engine/keys.h"
#include "web/engine/page_document.h"
#include "web/engine/page_values.h"
#include "ymotion/scene/playback.h"
#include "ymotion/text/failure.h"

namespace editor {

using namespace ymotion;
using emscripten::val;

// --- Tracks and keys -----------------------------------------------------------------------------------

std::string PageDocument::Tracks()
{
    return Guarded([&] {
        Json tracks = Json::array();
        for (const Track& track : mDocument.Tracks()) {
            const Layer* layer = mDocument.GetScene().layers.Find(track.layer);
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

val PageDocument::TrackRevisions(val tracks)
{
    return Guarded([&]() -> val {
        std::vector<double> revisions;
        for (const int id : NumbersOf<int>(tracks)) {
            const YFCurve& curve = mDocument.CurveOf(id);
            revisions.push_back(static_cast<double>(curve.GetSerial()) * 65536.0 + curve.GetValuesUpdateId());
        }
        return ArrayOf(revisions);
    });
}

void PageDocument::SetColor(int track, std::string color)
{
    Guarded([&] { mDocument.SetColor(track, color); });
}

val PageDocument::Keys(int track)
{
    return Guarded([&]() -> val { return ValueOf(TableOf(mDocument.CurveOf(track))); });
}

val PageDocument::Evaluate(int track, val ticks, bool played)
{
    return Guarded([&]() -> val {
        const std::vector<YTime> times = TimesOf(ticks);
        std::vector<float> values(times.size());
        const Track& found = mDocument.TrackOf(track);
        if (!played || found.isWeight) {
            found.Curve().Evaluate(times, values);
        } else {
            PlayedCurve curve = PlayedCurves({found.base}).front();
            for (std::size_t i = 0; i < times.size(); ++i) values[i] = curve.At(times[i]);
        }
        return ArrayOf(values);
    });
}

val PageDocument::DrawCurves(val tracks, val window, int version)
{
    return Guarded(
        [&]() -> val { return ValueOf(mDrawer.Draw(CurvesOf(tracks, version), WindowOf(window))); });
}

val PageDocument::PaintCurves(val tracks, val window, val colors, int version)
{
    return Guarded([&]() -> val {
        const Picture& picture =
            mDrawer.Paint(CurvesOf(tracks, version), NumbersOf<std::uint32_t>(colors), WindowOf(window));
        return picture.pixels.empty() ? val::undefined() : ValueOf(picture);
    });
}

std::vector<const YFCurve*> PageDocument::CurvesOf(const val& tracks, int version)
{
    SceneVersion& scene = VersionOf(version);
    std::vector<const YFCurve*> curves;
    for (const int id : NumbersOf<int>(tracks)) {
        const Track& track = mDocument.TrackOf(id);
        curves.push_back(&scene == &mCurrent ? &track.Curve() : scene.CurveOf(track));
    }
    return curves;
}

val PageDocument::DrawPlayed(val tracks, val window, int version)
{
    return Guarded([&]() -> val {
        SceneVersion& scene = VersionOf(version);
        std::vector<std::optional<SelectedCurve>> curves;
        for (const int id : NumbersOf<int>(tracks)) {
            const Track& track = mDocument.TrackOf(id);
            if (&scene != &mCurrent) {
                curves.push_back(scene.BaseOf(track));
            } else if (track.isWeight) {
                curves.emplace_back();
            } else {
                curves.emplace_back(track.base);
            }
        }
        return ValueOf(CurveDrawer::DrawPlayed(curves, WindowOf(window)));
    });
}

val PageDocument::DrawKeys(val tracks, val window, double leastGap)
{
    return Guarded([&]() -> val {
        std::vector<const YFCurve*> curves;
        for (const int id : NumbersOf<int>(tracks)) curves.push_back(&mDocument.CurveOf(id));
        return ValueOf(mDrawer.DrawKeys(curves, WindowOf(window), leastGap));
    });
}

std::string PageDocument::Range(val tracks, double start, double stop)
{
    return Guarded([&] {
        KeyRange range;
        for (const int id : NumbersOf<int>(tracks))
            IncludeCurve(mDocument.CurveOf(id), TimeOf(start), TimeOf(stop), range);
        return TextOf(range);
    });
}

// --- Selection -----------------------------------------------------------------------------------------

void PageDocument::Select(int mode, val keys)
{
    Guarded([&] { editor::SelectKeys(mDocument, static_cast<SelectionMode>(mode), KeysOf(keys)); });
}

void PageDocument::SelectBox(int mode, val tracks, double start, double stop, double low, double high)
{
    Guarded([&] {
        editor::SelectBox(mDocument, static_cast<SelectionMode>(mode), NumbersOf<int>(tracks),
                          {TimeOf(start), TimeOf(stop), low, high});
    });
}

void PageDocument::SelectAll(val tracks)
{
    Guarded([&] { editor::SelectAll(mDocument, NumbersOf<int>(tracks)); });
}

void PageDocument::ClearSelection()
{
    Guarded([&] { editor::ClearSelection(mDocument); });
}

val PageDocument::SelectedKeys()
{
    return Guarded([&]() -> val { return NumbersOfKeys(mDocument.SelectedKeys()); });
}

std::string PageDocument::SelectionRange()
{
    return Guarded([&] { return TextOf(editor::SelectionRange(mDocument)); });
}

// --- Edits ---------------------------------------------------------------------------------------------

val PageDocument::InsertKeys(val tracks, double time)
{
    return Guarded([&]() -> val {
        return NumbersOfKeys(editor::InsertKeys(mDocument, NumbersOf<int>(tracks), TimeOf(time)));
    });
}

int PageDocument::AddKey(int track, double time, float value)
{
    return Guarded([&] { return editor::AddKey(mDocument, track, TimeOf(time), value); });
}

void PageDocument::DeleteKeys(val keys)
{
    Guarded([&] { editor::DeleteKeys(mDocument, KeysOf(keys)); });
}

void PageDocument::SetKeys(val keys, std::string change)
{
    Guarded([&] { editor::SetKeys(mDocument, KeysOf(keys), KeyChangeOf(change)); });
}

void PageDocument::SetKeyTime(int track, int index, double time)
{
    Guarded([&] { editor::SetKeyTime(mDocument, track, index, TimeOf(time)); });
}

void PageDocument::SetValues(int track, val indices, val values)
{
    Guarded([&] { editor::SetValues(mDocument, track, NumbersOf<int>(indices), NumbersOf<float>(values)); });
}

std::string PageDocument::Extrapolation(int track)
{
    return Guarded([&] {
        const editor::Extrapolation settings = ExtrapolationOf(mDocument.CurveOf(track));
        return Dump({{"before", settings.before},
                     {"after", settings.after},
                     {"beforeCount", settings.beforeCount},
                     {"afterCount", settings.afterCount}});
    });
}

void PageDocument::SetExtrapolation(val tracks, std::string text)
{
    Guarded([&] {
        const Json json = Json::parse(text);
        editor::SetExtrapolation(mDocument, NumbersOf<int>(tracks), [&](editor::Extrapolation& settings) {
            Take(json, "before", settings.before);
            Take(json, "after", settings.after);
            Take(json, "beforeCount", settings.beforeCount);
            Take(json, "afterCount", settings.afterCount);
        });
    });
}

void PageDocument::SnapKeysToFrames(val keys)
{
    Guarded([&] { editor::SnapKeysToFrames(mDocument, KeysOf(keys)); });
}

std::string PageDocument::CopyKeys(val keys)
{
    return Guarded([&] { return editor::CopyKeys(mDocument, KeysOf(keys)); });
}

void PageDocument::PasteKeys(std::string json, double time, val tracks)
{
    Guarded([&] { editor::PasteKeys(mDocument, json, TimeOf(time), NumbersOf<int>(tracks)); });
}

// --- Dragging ------------------------------------------------------------------------------------------

Drag& PageDocument::Dragging()
{
    if (mDrag == nullptr) throw Failure("no keys are being dragged; begin first");
    return *mDrag;
}

void PageDocument::BeginDrag(std::string options)
{
    Guarded([&] {
        mDocument.CheckNotDragging();
        mDrag = std::make_unique<Drag>(mDocument, DragOptionsOf(options));
    });
}

void PageDocument::DragOffset(double time, double value, bool snap)
{
    Guarded([&] { Dragging().Offset(TimeOf(time), value, snap); });
}

void PageDocument::DragStretch(double timeFactor, double valueFactor, double timePivot, double valuePivot)
{
    Guarded([&] { Dragging().Stretch(timeFactor, valueFactor, TimeOf(timePivot), valuePivot); });
}

void PageDocument::DragScale(double factor)
{
    Guarded([&] { Dragging().Scale(factor); });
}

void PageDocument::DragSetValue(double value)
{
    Guarded([&] { Dragging().SetValue(value); });
}

double PageDocument::DragSnapValue(double offset, double tolerance)
{
    return Guarded([&] { return Dragging().SnapValueOffset(offset, tolerance); });
}

std::string PageDocument::DragRange()
{
    return Guarded([&] { return TextOf(Dragging().Range()); });
}

void PageDocument::EndDrag()
{
    Guarded([&] {
        Dragging();
        std::exchange(mDrag, nullptr)->End();
    });
}

void PageDocument::CancelDrag()
{
    Guarded([&] {
        Dragging();
        std::exchange(mDrag, nullptr)->Cancel();
    });
}

TangentDrag& PageDocument::DraggingTangents()
{
    if (mTangentDrag == nullptr) throw Failure("no tangents are being dragged; begin first");
    return *mTangentDrag;
}

void PageDocument::BeginTangents(std::string handle)
{
    Guarded([&] {
        mDocument.CheckNotDragging();
        mTangentDrag = std::make_unique<TangentDrag>(mDocument, TangentHandleOf(handle));
    });
}

void PageDocument::DragTangents(std::string target)
{
    Guarded([&] { DraggingTangents().MoveTo(TangentTargetOf(target)); });
}

void PageDocument::EndTangents()
{
    Guarded([&] {
        DraggingTangents();
        std::exchange(mTangentDrag, nullptr)->End();
    });
}

void PageDocument::CancelTangents()
{
    Guarded([&] {
        DraggingTangents();
        std::exchange(mTangentDrag, nullptr)->Cancel();
    });
}

}  // namespace editor
