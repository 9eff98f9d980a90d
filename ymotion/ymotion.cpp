#include "ymotion/ymotion.h"

#include <cmath>
#include <exception>
#include <iterator>
#include <memory>
#include <numeric>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "ymotion/formats/scene_file.h"
#include "ymotion/motiondata.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/playback.h"
#include "ymotion/scene/scene_copy.h"
#include "ymotion/scene/time_text.h"
#include "ymotion/scene/world_pose.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/stopping.h"

using namespace ymotion;

namespace {

constexpr const char* kMessages[] = {nullptr, nullptr, "stopped; nothing is changed",
                                     "out of memory; free some, or take a smaller scene", nullptr};

void CheckGltfTolerance(double tolerance)
{
    if (tolerance > 0.0 && std::isfinite(tolerance)) return;
    throw Failure("the tolerance is no number of degrees above 0; choose another one", kExitUsage);
}

/// The way files are read, with what there is to tell kept.
GltfReading NotingIn(std::vector<std::string>& notes, const YMotionReading& wanted)
{
    CheckGltfTolerance(wanted.tolerance);
    if (wanted.rotationOrder < 0 || wanted.rotationOrder > 5)
        throw Failure("there are the rotation orders 0 to 5; choose one of them", kExitUsage);
    GltfReading reading;
    reading.animation = wanted.animation;
    reading.rotationOrder = wanted.rotationOrder;
    reading.tolerance = wanted.tolerance;
    reading.note = [&notes](const std::string& note) { notes.push_back(note); };
    return reading;
}

GltfWriting WritingOf(const YMotionWriting& wanted)
{
    CheckGltfTolerance(wanted.tolerance);
    return {wanted.sampled, wanted.mesh, wanted.tolerance, {}};
}

/// What plays, row by row. A curve that nothing is combined with is evaluated at all times at once.
void FillRows(std::vector<float>& rows, const std::vector<YTime>& times,
              const std::vector<SelectedCurve>& curves)
{
    std::vector<PlayedCurve> played = PlayedCurves(curves);
    std::vector<float> column(times.size());
    for (std::size_t i = 0; i < curves.size(); ++i) {
        if (!played[i].IsCurveAlone()) continue;
        StopIfAsked();
        curves[i].curve->Evaluate(times, column);
        for (std::size_t row = 0; row < times.size(); ++row) rows[row * curves.size() + i] = column[row];
    }
    auto value = rows.begin();
    for (const YTime time : times) {
        StopIfAsked();
        for (PlayedCurve& curve : played) {
            if (!curve.IsCurveAlone()) *value = curve.At(time);
            ++value;
        }
    }
}

}  // namespace

void ymotion::CheckTolerance(double tolerance)
{
    if (tolerance >= 0.0) return;
    throw Failure("the tolerance is no number from 0 up; choose another one", kExitUsage);
}

Layer& ymotion::LayerOf(const Scene& scene, int id)
{
    if (Layer* layer = scene.layers.Find(id)) return *layer;
    throw Failure(fmt::format("there is no layer of the id {}; choose one that there is", id));
}

TimeSpan ymotion::SpanBetween(const Scene& scene, YTime start, YTime stop)
{
    const bool isOpen = start == YTIME_MINUS_INFINITE || stop == YTIME_INFINITE;
    const std::optional<TimeSpan> keys = KeySpan(scene);
    if (isOpen && !keys) throw Failure(fmt::format("{}: the curves have no keys; give a span", scene.file));
    TimeSpan span{start, stop};
    if (span.start == YTIME_MINUS_INFINITE) span.start = keys->start;
    if (span.stop == YTIME_INFINITE) span.stop = keys->stop;
    if (span.stop < span.start) throw Failure("the span ends before it starts; choose another", kExitUsage);
    return span;
}

YMotionStopping::YMotionStopping(bool (*goesOn)(void* object), void* object, int pause)
{
    const StopQuestion outer = SetStopQuestion({goesOn, object, pause});
    mOuter = outer.goesOn;
    mObjectOfOuter = outer.object;
    mPauseOfOuter = outer.pause;
}

YMotionStopping::~YMotionStopping()
{
    SetStopQuestion({mOuter, mObjectOfOuter, mPauseOfOuter});
}

YMotion::Data& YMotion::Get() const
{
    if (mData == nullptr) throw std::bad_alloc();
    return *mData;
}

YMotion::YMotion() : mError(kMessages, static_cast<int>(std::size(kMessages)))
{
    try {
        auto data = std::make_unique<Data>();
        data->scene.file = "new scene";
        data->scene.root = MakeGroupNode("Scene");
        data->scene.layers.Bind(*data->scene.root);
        mData = std::move(data);
    } catch (const std::exception&) {
        mError.SetLastErrorID(eErrorMemory);
    }
}

YMotion::~YMotion() = default;
YMotion::YMotion(YMotion&& other) noexcept = default;
YMotion& YMotion::operator=(YMotion&& other) noexcept = default;

// --- Files ---------------------------------------------------------------------------------------------

void YMotion::Take(std::unique_ptr<Data> data, std::vector<std::string> notes)
{
    if (!data->scene.leftOut.empty())
        notes.push_back(fmt::format("{}: {}", data->scene.file, LeftOutText(data->scene)));
    mNotes = std::move(notes);
    mData = std::move(data);
}

bool YMotion::Load(const char* path, const YMotionReading& reading)
{
    return Try([&] {
        auto data = std::make_unique<Data>();
        data->path = TextOf(path);
        mNotes.clear();
        std::vector<std::string> notes;
        data->scene = ReadSceneToCheck(data->path, data->age, NotingIn(notes, reading));
        Take(std::move(data), std::move(notes));
    });
}

bool YMotion::LoadText(const char* text, std::size_t size, const char* name, const YMotionReading& reading)
{
    return Try([&] {
        auto data = std::make_unique<Data>();
        mNotes.clear();
        std::vector<std::string> notes;
        data->scene =
            ReadTextToCheck({text, size}, Printable(TextOf(name)), data->age, NotingIn(notes, reading));
        Take(std::move(data), std::move(notes));
    });
}

bool YMotion::Save(const char* path, const char* format, bool repair, const YMotionWriting& writing)
{
    return Try([&] {
        mNotes.clear();
        Data& data = Get();
        const std::string to = TextOf(path);
        const bool isRepair = !data.path.empty() && WouldLoseLeftOut(data.scene, data.path, to);
        if (isRepair) CheckWhole(data.scene, data.path, to, repair, "save another file, or allow the repair");
        const auto note = [this](const std::string& told) { mNotes.push_back(told); };
        WriteSceneOrClip(data.scene, to, TextOf(format), note, WritingOf(writing));
        if (isRepair) data.scene.leftOut.clear();
    });
}

bool YMotion::SaveText(std::string& text, const char* format, const YMotionWriting& writing) const
{
    return Try([&] {
        mNotes.clear();
        GltfWriting how = WritingOf(writing);
        how.note = [this](const std::string& note) { mNotes.push_back(note); };
        text = SceneOrClipText(Get().scene, TextOf(format), how);
    });
}

std::vector<std::string> YMotion::GetAnimations() const
{
    std::vector<std::string> names;
    const bool isWhole = Try([&] { names = Get().scene.animations; });
    if (!isWhole) names.clear();
    return names;
}

bool YMotion::CopyFrom(const YMotion& other)
{
    return Try([&] {
        const Data& from = other.Get();
        mData = std::make_unique<Data>(CopyOf(from.scene), from.path, from.age);
        mNotes.clear();
    });
}

YMotionOrigin YMotion::GetOrigin() const
{
    YMotionOrigin origin;
    const bool isWhole = Try([&] {
        const Data& data = Get();
        origin = {data.path, data.scene.file, static_cast<int>(data.scene.format), data.scene.isPacked, {}};
        for (const LeftOut& each : data.scene.leftOut) origin.leftOut.push_back({each.count, each.line});
    });
    return isWhole ? origin : YMotionOrigin();
}

bool YMotion::SetOrigin(const YMotionOrigin& origin)
{
    return Try([&] {
        const auto format = static_cast<SceneFormat>(origin.format);
        if (format < SceneFormat::Bvh || format > SceneFormat::Gltf)
            throw Failure(origin.name + ": is of no known kind of file; load it anew");
        YMotionOrigin own = origin;
        std::vector<LeftOut> leftOut;
        for (const YMotionOrigin::LeftOut& each : own.leftOut)
            leftOut.push_back({each.count, "part left out", "parts left out", each.line});
        Data& data = Get();
        data.path = std::move(own.path);
        data.scene.file = std::move(own.name);
        data.scene.format = format;
        data.scene.isPacked = own.isPacked;
        data.scene.leftOut = std::move(leftOut);
    });
}

// --- What is in it -------------------------------------------------------------------------------------

YFCurveNode* YMotion::GetRoot() const
{
    return mData == nullptr ? nullptr : mData->scene.root.get();
}

std::vector<YMotionJoint> YMotion::GetJoints() const
{
    std::vector<YMotionJoint> joints;
    const bool isWhole = Try([&] {
        const Scene& scene = Get().scene;
        for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
            const Joint& joint = scene.skeleton.joints[i];
            const auto& [x, y, z] = joint.offset;
            joints.push_back({joint.name, joint.parent, joint.endSite, {x, y, z}, scene.jointNodes[i]});
        }
    });
    if (!isWhole) joints.clear();
    return joints;
}

bool YMotion::GetCurves(std::vector<YMotionCurve>& curves, const std::vector<std::string>& nodes) const
{
    return Try([&] {
        std::vector<YMotionCurve> chosen;
        for (const SelectedCurve& selected : SelectCurves(Get().scene, nodes))
            chosen.push_back({PathOf(*selected.node), selected.node->FCurveGet(), selected.property});
        curves = std::move(chosen);
    });
}

bool YMotion::GetNodes(std::vector<YFCurveNode*>& chosen, const std::vector<std::string>& nodes) const
{
    return Try([&] { chosen = SelectNodes(Get().scene, nodes); });
}

std::string YMotion::GetPattern(const YFCurveNode& node)
{
    return PatternOf(*const_cast<YFCurveNode&>(node).ObjectLayerGet());  // which changes nothing
}

bool YMotion::ParseTime(const char* text, YTime& time) const
{
    return Try([&] {
        const std::string written = TextOf(text);
        const std::optional<WrittenTime> parsed = ymotion::ParseTime(written);
        if (!parsed) throw Failure(fmt::format("{} is not {}", Quoted(written), kTimeForms), kExitUsage);
        time = parsed->At(Get().scene.rate);
    });
}

YFrameRate YMotion::GetFrameRate() const
{
    return mData == nullptr ? YFrameRate() : LibraryRate(mData->scene.rate);
}

bool YMotion::SetFrameRate(YFrameRate rate)
{
    return Try([&] {
        Scene& scene = Get().scene;
        const double seconds = static_cast<double>(rate.denominator) / static_cast<double>(rate.numerator);
        const bool isPositive = rate.numerator > 0 && rate.denominator > 0;
        if (!isPositive || seconds < kShortestFrame || seconds > kLongestFrame) {
            throw Failure(fmt::format("{}/{} is no rate; choose one with frames from a microsecond to a "
                                      "million seconds",
                                      rate.numerator, rate.denominator),
                          kExitUsage);
        }
        const std::int32_t common = std::gcd(rate.numerator, rate.denominator);
        scene.SetRate({rate.numerator / common, rate.denominator / common});
    });
}

bool YMotion::GetSpan(YTime& start, YTime& stop) const
{
    std::optional<TimeSpan> span;
    if (!Try([&] { span = KeySpan(Get().scene); }) || !span) return false;
    start = span->start;
    stop = span->stop;
    return true;
}

bool YMotion::Sample(std::vector<float>& values, const std::vector<YTime>& times,
                     const std::vector<std::string>& nodes) const
{
    return Try([&] {
        const std::vector<SelectedCurve> curves = SelectCurves(Get().scene, nodes);
        std::vector<float> rows(times.size() * curves.size());
        FillRows(rows, times, curves);
        values = std::move(rows);
    });
}

bool YMotion::GetPoses(std::vector<YMotionPose>& poses, const std::vector<YTime>& times) const
{
    return Try([&] {
        WorldPoses world(Get().scene);
        std::vector<YMotionPose> rows;
        for (const YTime time : times) {
            StopIfAsked();
            for (const JointPose& pose : world.At(time)) {
                const auto& [position, rotation] = pose;
                rows.push_back(
                    {{position.x, position.y, position.z}, {rotation.x, rotation.y, rotation.z, rotation.w}});
            }
        }
        poses = std::move(rows);
    });
}

YFrameRate YMotion::ParseFrameRate(const char* text)
{
    const std::optional<FrameRate> rate = ParseRate(TextOf(text));
    return rate ? LibraryRate(*rate) : YFrameRate{0, 1};
}

YTime YMotion::GetFrameTime(std::int64_t frame, YFrameRate rate)
{
    return TimeOfFrame(frame, {rate.numerator, rate.denominator});
}

YTime YMotion::GetFrameTime(YTime first, std::int64_t frame, YFrameRate rate)
{
    return TimeOfFrame(first, frame, {rate.numerator, rate.denominator});
}

std::int64_t YMotion::GetLastFrame(YTime time, YFrameRate rate)
{
    return LastFrame(time, {rate.numerator, rate.denominator});
}
