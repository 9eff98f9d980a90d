#include "web/engine/document.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <new>
#include <utility>

#include <fmt/format.h>

#include "ymotion/clipping/scene_copy.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/scene/playback.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

namespace editor {

using namespace ymotion;

namespace {

/// Undo has no end as far as memory goes: a browser gives a page 4 GiB.
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

std::string Document::Save(const std::string& extension) const
{
    return SceneText(mScene, extension);
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

YFCurve& Document::EditableCurve(int id)
{
    CheckNotDragging();
    const Track& track = TrackOf(id);
    const Layer* layer = mScene.layers.Find(track.layer);
    if (layer != nullptr && layer->IsLocked())
        throw Failure(fmt::format("the layer {} is locked; unlock it first", Quoted(layer->Name())));
    if (track.Curve().IsLocked()) throw Failure(Quoted(track.path) + " is locked; edit another curve");
    return track.Curve();
}

void Document::GatherTracks()
{
    mTracks.clear();
    mPlaces.clear();
    mSeen.clear();
    for (const SelectedCurve& selected : SelectCurves(mScene, {})) {
        for (const auto& layer : mScene.layers.Layers()) {
            YFCurveNode* node = NodeOnLayer(selected, *layer);
            if (node == nullptr || node->FCurveGet() == nullptr) continue;
            Number(TrackOfNode(selected, *node, layer->GetLayerID()));
        }
    }
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

Track Document::TrackOfNode(const SelectedCurve& selected, YFCurveNode& node, int layer) const
{
    Track track;
    track.path = PathOf(*selected.node);
    track.joint = PathAbove(*selected.property);
    const auto joint = mJoints.find(selected.property->GetParent());
    if (joint != mJoints.end()) track.jointIndex = joint->second;
    track.property = selected.property->GetName();
    if (selected.node != selected.property) track.component = selected.node->GetName();
    track.unit = UnitOf(*selected.property);
    track.layer = layer;
    track.node = &node;
    track.base = selected;
    track.componentIndex = ComponentOf(selected);
    return track;
}

/// Weights go by their layer alone, which may be renamed.
void Document::Number(Track track)
{
    std::string key;
    do {
        key =
            fmt::format("{}\n{}\n{}", track.isWeight ? std::string() : track.path, track.layer, track.place);
    } while (!mSeen.insert(key).second && ++track.place > 0);
    const int next = static_cast<int>(mIds.size());
    track.id = mIds.emplace(std::move(key), next).first->second;
    mPlaces[track.id] = mTracks.size();
    mTracks.push_back(std::move(track));
}

std::string Document::ColorOf(const Track& track) const
{
    const YFCurve& curve = track.Curve();
    YFCurveColor color{curve.GetColor()[0], curve.GetColor()[1], curve.GetColor()[2]};
    if (color == YFCurveColor{1.0f, 1.0f, 1.0f}) {
        YDataType* type = track.isWeight ? YDataType::Find("Number") : track.base.property->GetDataType();
        color = YFCurveColorManager().GetColor(type, static_cast<int>(track.componentIndex));
    }
    const auto byte = [](float part) { return std::lround(255.0f * std::clamp(part, 0.0f, 1.0f)); };
    return fmt::format("#{:02x}{:02x}{:02x}", byte(color.red), byte(color.green), byte(color.blue));
}

void Document::SetColor(int id, const std::string& color)
{
    unsigned rgb = 0;
    char behind = '\0';
    if (color.size() != 7 || std::sscanf(color.c_str(), "#%6x%c", &rgb, &behind) != 1)
        throw Failure(Quoted(color) + " is no colour; write it as #rrggbb");
    YFCurveNode* node = TrackOf(id).node;
    Run("Change colour", [&] {
        float parts[3];
        // White is what curves have that were given no colour.
        if (rgb == 0xFFFFFF) rgb = 0xFFFFFE;
        for (unsigned i = 0; i < 3; ++i) parts[i] = static_cast<float>((rgb >> (16 - 8 * i)) & 0xFF) / 255.0f;
        node->FCurveGet()->SetColor(parts);
        mUndo.Touch(node);
    });
}

std::vector<std::string> Document::PatternsOf(const std::vector<int>& tracks)
{
    std::vector<std::string> patterns;
    for (const int id : tracks) {
        const Track& track = TrackOf(id);
        if (track.isWeight) continue;
        const bool hasWildcard = track.path.find_first_of("*?") != std::string::npos;
        const std::string pattern = (hasWildcard ? "" : "/") + track.path;
        if (std::find(patterns.begin(), patterns.end(), pattern) == patterns.end())
            patterns.push_back(pattern);
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
    if (mDepth++ == 0) mBefore = mUndo.GetChangeCount();
    mUndo.StepBegin(name);
}

void Document::EndStep()
{
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
    if (mDepth == 0) throw Failure("no step is open");
    mDepth = 0;
    mIsDragging = false;
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
