#include "web/engine/document.h"

#include <algorithm>
#include <new>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "ymotion/formats/scene_file.h"
#include "ymotion/plots/plot_colours.h"
#include "ymotion/scene/scene_copy.h"
#include "ymotion/text/ascii.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

namespace editor {

using namespace ymotion;

namespace {

/// A browser gives a page 4 GiB. The oldest steps are forgotten beyond that.
constexpr std::size_t kUndoBytes = std::size_t{1} << 30;

Scene Read(std::string_view bytes, const std::string& name, std::vector<std::string>& notes)
{
    GltfReading reading;
    reading.note = [&notes](const std::string& note) { notes.push_back(note); };
    Scene scene = ReadSceneText(bytes, Printable(name), reading);
    if (!scene.leftOut.empty()) notes.push_back(LeftOutText(scene));
    return scene;
}

/// The groups above a property, as its path names them.
std::string PathAbove(const YFCurveNode& property)
{
    const YFCurveNode* parent = property.GetParent();
    return parent == nullptr || parent->GetParent() == nullptr ? std::string() : PathOf(*parent);
}

}  // namespace

void ForEachCurve(Scene& scene, const std::function<void(const PlacedCurve&)>& act)
{
    std::unordered_map<std::string, std::unordered_map<int, int>> counts;  // by path and layer
    for (const SelectedCurve& selected : SelectCurves(scene, {})) {
        PlacedCurve curve{selected, nullptr, PathOf(*selected.node)};
        std::unordered_map<int, int>& countOfLayer = counts[curve.path];
        for (const auto& layer : scene.layers.Layers()) {
            curve.node = NodeOnLayer(selected, *layer);
            if (curve.node == nullptr || curve.node->FCurveGet() == nullptr) continue;
            curve.layer = layer->GetLayerID();
            curve.place = countOfLayer[curve.layer]++;
            act(curve);
        }
    }
}

Document::Document(std::string_view bytes, const std::string& name)
    : mScene(Read(bytes, name, mNotes)), mOriginal(CopyOf(mScene)), mUndo(kUndoBytes)
{
    for (std::size_t i = 0; i < mScene.jointNodes.size(); ++i)
        if (mScene.jointNodes[i] != nullptr) mJoints[mScene.jointNodes[i]] = static_cast<int>(i);
    if (!mUndo.Watch(mScene.root.get())) throw std::bad_alloc();
    for (const auto& layer : mScene.layers.Layers())
        if (!layer->IsBase() && !mUndo.Watch(layer->WeightNode())) throw std::bad_alloc();
    AllMayHaveSelection();
}

Document::~Document()
{
    mUndo.Forget();
}

std::string Document::Save(const std::string& extension, const NoteTaker& note) const
{
    GltfWriting writing;
    writing.note = note;
    return SceneText(mScene, extension, writing);
}

// --- Tracks --------------------------------------------------------------------------------------------

const std::vector<Track>& Document::Tracks()
{
    if (!mHasTracks) GatherTracks();
    return mTracks;
}

const Track& Document::TrackOf(int id)
{
    const std::vector<Track>& tracks = Tracks();
    const auto found = mPlaces.find(id);
    if (found == mPlaces.end()) throw Failure("the curve is not there any more; choose another one");
    return tracks[found->second];
}

bool Document::HasTrack(int id)
{
    Tracks();
    return mPlaces.contains(id);
}

YFCurve& Document::EditableCurve(int id)
{
    CheckNotDragging();
    const Track& track = TrackOf(id);
    const Layer* layer = mScene.layers.Find(track.layer);
    if (layer != nullptr && layer->IsLocked())
        throw Failure(fmt::format("the layer {} is locked; unlock it first", Quoted(layer->Name())));
    if (track.Curve().IsLocked()) throw Failure(QuotedName(track.path) + " is locked; edit another curve");
    return track.Curve();
}

void Document::GatherTracks()
{
    mTracks.clear();
    mPlaces.clear();
    ForEachCurve(mScene, [&](const PlacedCurve& curve) { Number(TrackOf(curve)); });
    for (const auto& layer : mScene.layers.Layers()) {
        if (layer->IsBase()) continue;
        Track track;
        track.path = layer->Name() + "/Weight";
        track.property = "Weight";
        track.layer = layer->GetLayerID();
        track.isWeight = true;
        track.node = layer->WeightNode();
        Number(std::move(track));
    }
    mHasTracks = true;
}

Track Document::TrackOf(const PlacedCurve& curve) const
{
    const auto& [base, node, path, layer, place] = curve;
    Track track;
    track.path = path;
    track.joint = PathAbove(*base.property);
    const auto joint = mJoints.find(base.property->GetParent());
    if (joint != mJoints.end()) track.jointIndex = joint->second;
    track.property = base.property->GetName();
    if (base.node != base.property) track.component = base.node->GetName();
    track.unit = UnitOf(*base.property);
    track.layer = layer;
    track.place = place;
    track.node = node;
    track.base = base;
    return track;
}

/// Weights go by their layer alone, which may be renamed.
void Document::Number(Track track)
{
    std::string key =
        fmt::format("{}\n{}\n{}", track.isWeight ? std::string() : track.path, track.layer, track.place);
    const int next = static_cast<int>(mIds.size());
    track.id = mIds.emplace(std::move(key), next).first->second;
    mPlaces[track.id] = mTracks.size();
    mTracks.push_back(std::move(track));
}

std::string Document::ColorOf(const Track& track) const
{
    SelectedCurve curve = track.base;
    if (track.isWeight) curve = {nullptr, track.node, track.node};
    curve.curve = &track.Curve();
    std::string text = ColourText(PlotColours().Of(curve));
    std::transform(text.begin(), text.end(), text.begin(), LowerCase);
    return text;
}

void Document::SetColor(int id, const std::string& color)
{
    std::optional<YFCurveColor> parsed;
    if (color.size() == std::string_view("#rrggbb").size() && color.starts_with('#'))
        parsed = ParseColour(color);
    if (!parsed) throw Failure(Quoted(color) + " is no colour; write it as #rrggbb");
    // White is what curves have that were given no colour.
    if (*parsed == YFCurveColor{1.0f, 1.0f, 1.0f}) parsed->blue = 254.0f / 255.0f;
    YFCurveNode* node = TrackOf(id).node;
    Run("Change colour", [&] {
        const float parts[3] = {parsed->red, parsed->green, parsed->blue};
        node->FCurveGet()->SetColor(parts);
    });
}

std::vector<std::string> Document::PatternsOf(const std::vector<int>& tracks)
{
    std::vector<std::string> patterns;
    for (const int id : tracks) {
        const Track& track = TrackOf(id);
        if (track.isWeight) continue;
        std::string pattern = PatternOf(*track.base.node);
        if (std::find(patterns.begin(), patterns.end(), pattern) == patterns.end())
            patterns.push_back(std::move(pattern));
    }
    return patterns;
}

// --- Steps ---------------------------------------------------------------------------------------------

void Document::CheckNotDragging() const
{
    if (mIsDragging) throw Failure("keys are being dragged; end that first");
}

void Document::BeginStep(const char* name)
{
    CheckNotDragging();
    if (mDepth++ == 0) {
        TellOfSelection();
        mBefore = mUndo.GetChangeCount();
    }
    mUndo.StepBegin(name);
}

void Document::EndStep()
{
    CheckNotDragging();
    if (mDepth == 0) throw Failure("no step is open");
    mUndo.StepEnd();
    if (--mDepth > 0 || mUndo.GetChangeCount() == mBefore) return;
    mUndoStates.push_back(mState);
    mRedoStates.clear();
    mState = ++mLastState;
    NoteChange();
}

void Document::CancelStep()
{
    mIsDragging = false;
    if (mDepth == 0) return;
    mDepth = 0;
    mUndo.StepCancel();
    NoteChange();
    ForgetTracks();
    AllMayHaveSelection();
}

/// Of a step inside another one the caller has to cancel the whole.
void Document::AbandonStep()
{
    if (mDepth == 1) return CancelStep();
    --mDepth;
    mUndo.StepEnd();
}

void Document::NoteChange()
{
    ++mRevision;
}

bool Document::Undo()
{
    return Go(true);
}

bool Document::Redo()
{
    return Go(false);
}

bool Document::Go(bool undo)
{
    CheckNotDragging();
    if (!(undo ? mUndo.Undo() : mUndo.Redo())) return false;
    std::vector<std::int64_t>& from = undo ? mUndoStates : mRedoStates;
    std::vector<std::int64_t>& to = undo ? mRedoStates : mUndoStates;
    to.push_back(mState);
    mState = from.back();
    from.pop_back();
    NoteChange();
    ForgetTracks();
    AllMayHaveSelection();
    return true;
}

std::uint64_t Document::PlayedState() const
{
    std::uint64_t state = mScene.root->GetValuesUpdateId();
    for (const auto& layer : mScene.layers.Layers())
        if (!layer->IsBase()) state += layer->WeightCurve()->GetValuesUpdateId();
    return (static_cast<std::uint64_t>(mRevision) << 32) + state;
}

// --- Selection -----------------------------------------------------------------------------------------

void Document::SelectionChanges(int track)
{
    mSelected.insert(track);
    mUntold.insert(track);
}

void Document::TellOfSelection()
{
    for (const int track : std::exchange(mUntold, {}))
        if (HasTrack(track)) mUndo.Touch(TrackOf(track).node);
}

void Document::AllMayHaveSelection()
{
    mSelected.clear();
    for (const Track& track : Tracks()) mSelected.insert(track.id);
}

std::vector<TrackKeys> Document::SelectedKeys()
{
    std::vector<TrackKeys> selected;
    Tracks();
    for (auto each = mSelected.begin(); each != mSelected.end();) {
        TrackKeys keys{*each, {}};
        if (mPlaces.contains(*each)) {
            const YFCurve& curve = CurveOf(*each);
            for (int i = 0; i < curve.KeyGetCount(); ++i)
                if (curve.KeyGetSelected(i)) keys.indices.push_back(i);
        }
        each = keys.indices.empty() ? mSelected.erase(each) : std::next(each);
        if (!keys.indices.empty()) selected.push_back(std::move(keys));
    }
    return selected;
}

}  // namespace editor
