#include "web/engine/page_document.h"

#include <cmath>
#include <cstdint>
#include <utility>

#include <fmt/format.h>

#include "web/engine/keys.h"
#include "web/engine/layers.h"
#include "web/engine/page_values.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/scene/time_text.h"
#include "ymotion/scene/world_pose.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

namespace editor {

using namespace ymotion;
using emscripten::val;

namespace {

std::string DescriptionOf(Document& document, const StandingFigure& figure)
{
    const Scene& scene = document.GetScene();
    Json joints = Json::array();
    for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
        const Joint& joint = scene.skeleton.joints[i];
        const YFCurveNode* node = scene.jointNodes[i];
        joints.push_back({{"name", joint.name},
                          {"title", JointTitle(scene.skeleton, i)},
                          {"path", node == nullptr ? std::string() : PathOf(*node)},
                          {"parent", joint.parent},
                          {"isEndSite", joint.endSite}});
    }
    return Dump({{"format", FactsOf(scene.format).extension},
                 {"notes", document.Notes()},
                 {"joints", joints},
                 {"up", kAxisNames[static_cast<std::size_t>(figure.up)]},
                 {"height", figure.height}});
}

}  // namespace

PageDocument::PageDocument(const std::string& bytes, const std::string& name)
    : mDocument(bytes, name), mCurrent(mDocument.GetScene()), mOriginal(mDocument.Original())
{}

SceneVersion& PageDocument::VersionOf(int version)
{
    if (version == static_cast<int>(Version::Original)) return mOriginal;
    if (version == static_cast<int>(Version::Preview)) {
        if (mPreview) return *mPreview;
        throw Failure("no filter is being tried; preview one first");
    }
    mCurrent.Changed(mDocument.PlayedState());
    return mCurrent;
}

// --- What it is ----------------------------------------------------------------------------------------

std::string PageDocument::Describe()
{
    return Guarded([&] { return DescriptionOf(mDocument, mOriginal.Figure()); });
}

val PageDocument::Save(std::string extension)
{
    return Guarded([&]() -> val {
        mSaveNotes.clear();
        const auto note = [this](const std::string& text) { mSaveNotes.push_back(text); };
        const std::string text = mDocument.Save(extension, note);
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
        return val(emscripten::typed_memory_view(text.size(), bytes)).call<val>("slice");
    });
}

std::string PageDocument::SaveNotes()
{
    return Dump(mSaveNotes);
}

double PageDocument::Revision()
{
    return static_cast<double>(mDocument.Revision());
}

bool PageDocument::IsDirty()
{
    return mDocument.IsDirty();
}

void PageDocument::MarkSaved()
{
    mDocument.MarkSaved();
}

std::string PageDocument::FrameRate()
{
    const ymotion::FrameRate rate = mDocument.GetScene().rate;
    return Dump({{"numerator", rate.numerator},
                 {"denominator", rate.denominator},
                 {"text", RateText(rate)},
                 {"framesInSecond", FramesInNamedSecond(rate)}});
}

void PageDocument::SetFrameRate(std::string text)
{
    Guarded([&] { editor::SetFrameRate(mDocument, text); });
}

std::string PageDocument::Span()
{
    const auto span = KeySpan(mDocument.GetScene());
    if (!span) return "null";
    return Dump({{"start", TicksOf(span->start)}, {"stop", TicksOf(span->stop)}});
}

double PageDocument::FrameTime(double frame)
{
    return Guarded([&] {
        if (!(std::abs(frame) < 0x1p53)) throw Failure("the frame is no whole number");
        return TicksOf(TimeOfFrame(std::llround(frame), mDocument.GetScene().rate));
    });
}

double PageDocument::NearestFrame(double ticks)
{
    return Guarded(
        [&] { return static_cast<double>(ymotion::NearestFrame(TimeOf(ticks), mDocument.GetScene().rate)); });
}

double PageDocument::ParseTime(std::string text)
{
    return Guarded([&] {
        const auto written = ymotion::ParseTime(text);
        if (!written) throw Failure(fmt::format("{} is not {}", Quoted(text), kTimeForms));
        return TicksOf(written->At(mDocument.GetScene().rate));
    });
}

std::string PageDocument::FramesText(double ticks)
{
    return Guarded([&] { return ymotion::FramesText(TimeOf(ticks), mDocument.GetScene().rate); });
}

std::string PageDocument::TimeCode(double ticks)
{
    return Guarded([&] { return TimeCodeText(TimeOf(ticks), mDocument.GetScene().rate); });
}

// --- Steps ---------------------------------------------------------------------------------------------

void PageDocument::BeginStep(std::string name)
{
    Guarded([&] { mDocument.BeginStep(name.c_str()); });
}

void PageDocument::EndStep()
{
    Guarded([&] { mDocument.EndStep(); });
}

void PageDocument::CancelStep()
{
    Guarded([&] {
        mDrag.reset();
        mTangentDrag.reset();
        mDocument.CancelStep();
    });
}

bool PageDocument::Undo()
{
    return Guarded([&] { return mDocument.Undo(); });
}

bool PageDocument::Redo()
{
    return Guarded([&] { return mDocument.Redo(); });
}

std::string PageDocument::UndoState()
{
    const YFCurveUndo& history = mDocument.History();
    Json state{{"undoCount", history.GetUndoCount()},
               {"redoCount", history.GetRedoCount()},
               {"isStepOpen", history.IsStepOpen()}};
    if (history.GetUndoCount() > 0) state["undo"] = history.GetUndoName();
    if (history.GetRedoCount() > 0) state["redo"] = history.GetRedoName();
    return Dump(state);
}

// --- Motion --------------------------------------------------------------------------------------------

val PageDocument::Positions(double time, int version)
{
    return Guarded([&]() -> val { return ArrayOf(VersionOf(version).Positions(TimeOf(time))); });
}

val PageDocument::Trail(int joint, val times, int version)
{
    return Guarded([&]() -> val { return ArrayOf(VersionOf(version).Trail(joint, TimesOf(times))); });
}

std::string PageDocument::FootContacts(int version)
{
    return Guarded([&] {
        Json feet = Json::array();
        for (const Foot& foot : VersionOf(version).Figure().feet) {
            Json contacts = Json::array();
            for (const Contact& contact : foot.contacts)
                contacts.push_back({{"start", TicksOf(contact.start)}, {"stop", TicksOf(contact.stop)}});
            feet.push_back({{"joint", foot.joint}, {"contacts", contacts}});
        }
        return Dump(feet);
    });
}

}  // namespace editor
