#include <algorithm>
#include <cmath>
#include <optional>
#include <unordered_set>

#include <pybind11/stl.h>

#include "python/bindings/arrays.h"
#include "python/bindings/bindings.h"
#include "python/bindings/locks.h"
#include "yfcurve/yfcurveclip.h"
#include "yfcurve/yfcurveplayer.h"
#include "ymotion/scene/curve_samples.h"

namespace yfpy {
namespace {

/// So many rows are worked on between two looks at whether the user wants to stop.
constexpr std::size_t kRowsBetweenSignals = 1024;

using Rate = std::pair<std::int32_t, std::int32_t>;

std::optional<Rate> RateOf(const std::string& text)
{
    const YFrameRate rate = YMotion::ParseFrameRate(text.c_str());
    if (!rate.IsValid()) return std::nullopt;
    return Rate(rate.numerator, rate.denominator);
}

constexpr std::int64_t kMostRows = 100'000'000;

/// The times of frames from one on. Raises `yfcurve.Refused` where these go beyond what can be counted.
TickArray FrameTimes(const Rate& given, std::int64_t start, std::int64_t count)
{
    const YFrameRate rate{given.first, given.second};
    constexpr std::int64_t kMostTicks = INT64_MAX / 2;
    if (!rate.IsValid()) throw py::value_error("the rate has to be above 0");
    if (count < 0 || count > kMostRows)
        Raise("Refused", "there are too many frames; take a lower rate or less time");
    const bool isLong = start < -kMostTicks || start > kMostTicks ||
                        (count > 0 && YMotion::GetFrameTime(count - 1, rate).Get() > kMostTicks);
    if (isLong) Raise("Refused", "the times of frames are too far away; take a shorter span");
    TickArray ticks(count);
    std::int64_t* const out = ticks.mutable_data();
    const YTime frame = YMotion::GetFrameTime(1, rate);
    // So many frames are a whole number of seconds; where that is as many times the first one, none is rounded.
    const bool isWhole = YMotion::GetFrameTime(rate.numerator, rate) == frame * rate.numerator;
    for (std::int64_t i = 0; i < count; ++i)
        out[i] = isWhole ? start + i * frame.Get() : YMotion::GetFrameTime(YTime(start), i, rate).Get();
    return ticks;
}

TickArray RowTimes(const Rate& given, std::int64_t start, std::int64_t stop)
{
    const YFrameRate rate{given.first, given.second};
    if (!rate.IsValid()) throw py::value_error("the rate has to be above 0");
    if (stop < start) Raise("Refused", "the span ends before it starts; choose another");
    const bool isInfinite =
        YTime(start).IsInfinite() || YTime(stop).IsInfinite() || (start < 0 && stop > INT64_MAX + start);
    if (isInfinite) Raise("Refused", "the span is too long to be sampled; choose a shorter one");
    return FrameTimes(given, start, YMotion::GetLastFrame(YTime(stop - start), rate) + 1);
}

TickArray TicksOfSeconds(const DoubleArray& seconds)
{
    TickArray ticks(std::vector<py::ssize_t>(seconds.shape(), seconds.shape() + seconds.ndim()));
    std::transform(seconds.data(), seconds.data() + seconds.size(), ticks.mutable_data(),
                   [](double second) { return YTime::FromSeconds(second).Get(); });
    return ticks;
}

// --- Values --------------------------------------------------------------------------------------------

/// A scene made ready to be sampled.
struct ReadyScene
{
    std::unique_ptr<YFCurveClip> clip;
    std::vector<YMotionCurve> curves;
    /// Which channel of the clip a curve is; empty where the two do not go together.
    std::vector<int> channels;
};

/// Both are in the order of the tree, but a clip has a channel for a component without a curve as well.
std::vector<int> ChannelsOf(const YFCurveClip& clip, const std::vector<YMotionCurve>& curves)
{
    std::vector<int> channels;
    int channel = 0;
    for (const YMotionCurve& curve : curves) {
        while (channel < clip.GetChannelCount() && curve.path != clip.GetChannelName(channel)) ++channel;
        if (channel == clip.GetChannelCount()) return {};
        channels.push_back(channel++);
    }
    return channels;
}

/// Makes the scene ready to be sampled many times, for as long as it is not edited.
void Prepare(Owner& owner)
{
    const Use use(owner);
    WithoutInterpreter([&] {
        auto ready = std::make_shared<ReadyScene>();
        owner.Scene()->GetCurves(ready->curves);
        ready->clip = YFCurveClip::Create(*owner.Root());
        if (ready->clip != nullptr) ready->channels = ChannelsOf(*ready->clip, ready->curves);
        owner.cache = ready;
        owner.cacheEdits = owner.EditCount();
    });
}

/// Null where the scene is not ready, or goes by in other ways than a clip.
const ReadyScene* ReadyOf(const Owner& owner)
{
    const auto* ready = static_cast<const ReadyScene*>(owner.cache.get());
    if (ready == nullptr || owner.cacheEdits != owner.EditCount() || ready->channels.empty()) return nullptr;
    return ready;
}

/// The places of chosen curves among all.
std::vector<std::size_t> PlacesOf(const std::vector<YMotionCurve>& chosen,
                                  const std::vector<YMotionCurve>& all)
{
    std::vector<std::size_t> places;
    std::size_t place = 0;
    for (const YMotionCurve& curve : chosen) {
        while (all[place].curve != curve.curve) ++place;
        places.push_back(place);
    }
    return places;
}

/// Evaluates rows with a player, and looks for signals in between.
void Play(YFCurvePlayer& player, std::span<const YTime> times, const std::vector<int>& channels, bool isWhole,
          float* row)
{
    for (std::size_t i = 0; i < times.size(); ++i, row += channels.size()) {
        if (i % kRowsBetweenSignals == 0) CheckSignals();
        const std::span<float> out(row, channels.size());
        if (isWhole) {
            player.Evaluate(times[i], out);
        } else {
            player.Evaluate(times[i], channels, out);
        }
    }
}

/// Rows of chosen curves out of a clip.
void PlayChosen(const ReadyScene& ready, const std::vector<YMotionCurve>& chosen,
                std::span<const YTime> times, float* rows)
{
    const auto player = YFCurvePlayer::Create(*ready.clip);
    if (player == nullptr) throw std::bad_alloc();
    std::vector<int> channels;
    for (const std::size_t place : PlacesOf(chosen, ready.curves)) channels.push_back(ready.channels[place]);
    Play(*player, times, channels, static_cast<int>(channels.size()) == ready.clip->GetChannelCount(), rows);
}

/// Rows of chosen curves out of the scene itself.
bool SampleScene(const YMotion& scene, const std::vector<std::string>& patterns, std::span<const YTime> times,
                 float* rows)
{
    std::vector<float> some;
    for (std::size_t first = 0; first < times.size(); first += kRowsBetweenSignals) {
        CheckSignals();
        const auto part = times.subspan(first, std::min(kRowsBetweenSignals, times.size() - first));
        if (!scene.Sample(some, {part.begin(), part.end()}, patterns)) return false;
        rows = std::copy(some.begin(), some.end(), rows);
    }
    return true;
}

std::pair<FloatArray, py::list> Sample(Owner& owner, const TickArray& ticks, const Choices& chosenNodes)
{
    const Use use(owner);
    const YMotion& scene = *owner.Scene();
    const auto times = TimesOf(ticks);
    const std::vector<std::string> nodes = PatternsOf(owner, chosenNodes);
    const ReadyScene* const ready = ReadyOf(owner);
    std::vector<YMotionCurve> found;
    const bool isKnown = ready != nullptr && nodes.empty();
    if (!isKnown && !scene.GetCurves(found, nodes)) RaiseErrorOf(scene, "Refused");
    const std::vector<YMotionCurve>& chosen = isKnown ? ready->curves : found;
    FloatArray values({times.size(), chosen.size()});
    float* const rows = values.mutable_data();
    const bool isDone = WithoutInterpreter([&] {
        if (ready == nullptr) return SampleScene(scene, nodes, times, rows);
        PlayChosen(*ready, chosen, times, rows);
        return true;
    });
    if (!isDone) RaiseErrorOf(scene, "Refused");
    py::list names(chosen.size());
    for (std::size_t i = 0; i < chosen.size(); ++i) names[i] = Text{chosen[i].path};
    return {values, names};
}

/// Positions and quaternions, of each time and joint.
std::pair<DoubleArray, DoubleArray> Poses(Owner& owner, const TickArray& ticks)
{
    const Use use(owner);
    const YMotion& scene = *owner.Scene();
    const auto times = TimesOf(ticks);
    const std::size_t joints = scene.GetJoints().size();
    DoubleArray positions({times.size(), joints, std::size_t{3}});
    DoubleArray rotations({times.size(), joints, std::size_t{4}});
    double* position = positions.mutable_data();
    double* rotation = rotations.mutable_data();
    const bool isDone = WithoutInterpreter([&] {
        std::vector<YMotionPose> poses;
        for (std::size_t first = 0; first < times.size() || first == 0; first += kRowsBetweenSignals) {
            CheckSignals();
            const auto some = times.subspan(first, std::min(kRowsBetweenSignals, times.size() - first));
            if (!scene.GetPoses(poses, {some.begin(), some.end()})) return false;
            for (const YMotionPose& pose : poses) {
                position = std::copy(std::begin(pose.position), std::end(pose.position), position);
                rotation = std::copy(std::begin(pose.rotation), std::end(pose.rotation), rotation);
            }
        }
        return true;
    });
    if (!isDone) RaiseErrorOf(scene, "Refused");
    return {positions, rotations};
}

// --- The way back --------------------------------------------------------------------------------------

void CheckSamples(const TickArray& ticks, const FloatArray& values, const std::vector<CurvePartPtr>& curves)
{
    const auto times = TimesOf(ticks);
    if (values.ndim() != 2 || static_cast<std::size_t>(values.shape(0)) != times.size() ||
        static_cast<std::size_t>(values.shape(1)) != curves.size()) {
        throw py::value_error("the samples have to be an array of " + std::to_string(times.size()) +
                              " frames and " + std::to_string(curves.size()) + " channels");
    }
    for (std::size_t i = 0; i < times.size(); ++i) {
        if (times[i].IsInfinite() || (i > 0 && times[i] <= times[i - 1]))
            throw py::value_error("the times of samples have to ascend, none twice");
    }
    const float* first = values.data();
    if (!std::all_of(first, first + values.size(), [](float value) { return std::isfinite(value); }))
        throw py::value_error("samples have to be finite");
}

/// Curves whose keys are three angles of an orientation: between keys these turn whatever the curves show.
std::unordered_set<const YFCurve*> TurningCurves(const Owner& owner)
{
    std::vector<YMotionCurve> all;
    owner.Scene()->GetCurves(all);
    std::unordered_set<const YFCurve*> turning;
    for (const YMotionCurve& curve : all) {
        if (curve.property->IsRotationLayerType() && curve.property->GetUseQuaternion())
            turning.insert(curve.curve);
    }
    return turning;
}

/// Gives curves of a scene keys with auto tangents at the times, in place of what they had there.
/// \param whole  in place of all their keys
void SetSamples(Owner& owner, const std::vector<CurvePartPtr>& curves, const TickArray& ticks,
                const FloatArray& values, bool whole)
{
    const Use use(owner, Purpose::Edit, "set samples");
    CheckSamples(ticks, values, curves);
    const auto times = TimesOf(ticks);
    for (const CurvePartPtr& curve : curves) {
        if (curve->Of().get() != &owner) throw py::value_error("a curve belongs to another scene");
        CheckUnlocked(owner, curve->Get());
    }
    const auto turning = TurningCurves(owner);
    for (std::size_t column = 0; column < curves.size(); ++column) {
        YFCurve& curve = curves[column]->Get();
        const YFCurveModify bracket(curve);
        if (whole) curve.KeyClear();
        if (times.empty()) continue;
        ymotion::SetSamples(curve,
                            {{times.front(), times.back()}, times, values.data() + column, curves.size()},
                            turning.contains(&curve));
    }
}

}  // namespace

void AddSampling(py::module_& module)
{
    module.attr("TICKS_PER_SECOND") = YTIME_TICKS_PER_SECOND;
    module.def("rate_of", RateOf);
    module.def("frame_times", FrameTimes);
    module.def("row_times", RowTimes);
    module.def("ticks_of_seconds", TicksOfSeconds);
    module.def("prepare", Prepare);
    module.def("sample", Sample);
    module.def("poses", Poses);
    module.def("set_samples", SetSamples);
}

}  // namespace yfpy
