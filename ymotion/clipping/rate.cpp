#include <algorithm>
#include <new>

#include <fmt/format.h>

#include "yfcurve/yfcurveptr.h"
#include "ymotion/clipping/bake.h"
#include "ymotion/clipping/clip_curves.h"
#include "ymotion/clipping/clip_tools.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/whole_turns.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

/// A key of the kind that the segment has in which a time lies. Keys within constant segments are constant, so that
/// steps stay steps, and show the value at the same end of their segment as before, so that no step comes a frame
/// later.
YFCurveKey KeyLike(const YFCurve& curve, YTime time, float value, int& hint)
{
    YFCurveKey key;
    const double place = curve.KeyFind(time, &hint);
    const int index = static_cast<int>(place);
    if (place < 0 || index >= curve.KeyGetCount() - 1 ||
        curve.KeyGetInterpolation(index) == YFCURVE_INTERP_CUBIC) {
        key.Set(time, value, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_AUTO);
        return key;
    }
    key.Set(time, value, curve.KeyGetInterpolation(index), 0);
    if (curve.KeyGetInterpolation(index) == YFCURVE_INTERP_CONSTANT)
        key.SetConstantMode(curve.KeyGetConstantMode(index));
    return key;
}

/// A key for each of the times.
void Resample(YFCurve& curve, const std::vector<YTime>& times, const std::vector<float>& values)
{
    YFCurvePtr sampled(YFCurveCreate());
    if (sampled == nullptr) throw std::bad_alloc();
    {
        const YFCurveModify bracket(*sampled, static_cast<int>(times.size()));
        int hint = 0;
        for (std::size_t i = 0; i < times.size(); ++i) {
            StopIfAsked();
            const YFCurveKey key = KeyLike(curve, times[i], values[i], hint);
            if (!sampled->KeySet(sampled->KeyGetCount(), key)) throw std::bad_alloc();
        }
    }
    const YFCurveModify bracket(curve);
    curve.KeyClear();
    for (int i = 0; i < sampled->KeyGetCount(); ++i) {
        if (!curve.KeySet(i, sampled.get(), i)) throw std::bad_alloc();
    }
}

void ResampleAlone(YFCurve& curve, const std::vector<YTime>& times)
{
    if (curve.KeyGetCount() == 0) return;
    std::vector<float> values;
    int hint = 0;
    for (const YTime time : times) values.push_back(curve.Evaluate(time, &hint));
    Resample(curve, times, values);
}

/// Resamples a rotation that turns as quaternions do: between keys it plays other angles than its curves show.
void ResampleTurns(const YFCurveNode& rotation, const std::vector<YTime>& times)
{
    std::array<std::vector<float>, 3> values;
    for (const YTime time : times) {
        StopIfAsked();
        const YgeRVector angles = OwnAngles(rotation, time);
        for (int i = 0; i < 3; ++i)
            values[static_cast<std::size_t>(i)].push_back(static_cast<float>(angles[i]));
    }
    for (int i = 0; i < 3; ++i)
        Resample(*rotation.Get(i)->FCurveGet(), times, values[static_cast<std::size_t>(i)]);
}

void ResampleLayer(const YFCurveNode& layer, const std::vector<YTime>& times)
{
    if (TurnsAsQuaternions(layer) && layer.KeyGetCount() > 0) return ResampleTurns(layer, times);
    for (YFCurve* curve : CurvesOf(layer)) ResampleAlone(*curve, times);
}

std::int64_t CountKeys(const std::vector<YFCurve*>& curves)
{
    std::int64_t count = 0;
    for (const YFCurve* curve : curves) count += curve->KeyGetCount();
    return count;
}

/// The frames of a scene's span, and its end where that is between two.
struct FrameTimes
{
    std::vector<YTime> times;
    bool endsBetweenFrames = false;
};

FrameTimes FrameTimesOf(const Scene& scene)
{
    const TimeSpan span = SpanOf(scene);
    constexpr std::int64_t kMostFrames = 1 << 22;
    const std::int64_t last = LastFrame(span.Length(), scene.rate);
    if (last >= kMostFrames) {
        throw Failure(fmt::format("{}: {} frames are too many keys for a curve; choose a lower rate, or trim",
                                  scene.file, GroupedText(last + 1)));
    }
    FrameTimes frames;
    for (std::int64_t frame = 0; frame <= last; ++frame)
        frames.times.push_back(TimeOfFrame(span.start, frame, scene.rate));
    frames.endsBetweenFrames = span.stop - frames.times.back() > YTIME_ONE_TICK;
    if (frames.endsBetweenFrames) frames.times.push_back(span.stop);
    return frames;
}

/// Whether a curve has a key at each of the times and no others, but for rounding, or none at all.
bool HasKeysAt(const YFCurve& curve, const std::vector<YTime>& times)
{
    const int count = curve.KeyGetCount();
    if (count == 0) return true;
    if (static_cast<std::size_t>(count) != times.size()) return false;
    for (int i = 0; i < count; ++i) {
        const YTime apart = curve.KeyGetTime(i) - times[static_cast<std::size_t>(i)];
        if (apart >= kFewTicks || -apart >= kFewTicks) return false;
    }
    return true;
}

bool HasKeysAtFrames(const Scene& scene)
{
    const std::vector<YFCurve*> curves = CurvesToMove(scene);
    const std::vector<YTime> times = FrameTimesOf(scene).times;
    return std::all_of(curves.begin(), curves.end(),
                       [&times](const YFCurve* curve) { return HasKeysAt(*curve, times); });
}

/// Whether a curve repeats its keys or runs on beyond them within a span. With keys over the whole span, it does so
/// beyond the span.
bool MovesBesideItsKeys(const YFCurve& curve, const TimeSpan& span)
{
    const std::optional<TimeSpan> keys = KeySpan(curve);
    const auto isOff = [&curve](YTime apart, bool before) {
        return apart >= kFewTicks && curve.MovesOutside(before);
    };
    return keys && (isOff(keys->start - span.start, true) || isOff(span.stop - keys->stop, false));
}

std::string ResampleAll(Scene& scene)
{
    const std::vector<YFCurve*> curves = CurvesToMove(scene);
    const std::int64_t before = CountKeys(curves);
    const auto [times, endsBetweenFrames] = FrameTimesOf(scene);
    const TimeSpan span{times.front(), times.back()};
    const auto changes = std::count_if(curves.begin(), curves.end(), [&span](const YFCurve* curve) {
        return MovesBesideItsKeys(*curve, span);
    });
    for (const NamedProperty& property : NamedProperties(scene)) {
        for (const YFCurveNode* layer : LayersOf(*property.node)) ResampleLayer(*layer, times);
    }
    for (const auto& layer : scene.layers.Layers()) {
        if (layer->WeightCurve() != nullptr) ResampleAlone(*layer->WeightCurve(), times);
    }
    std::string text =
        fmt::format("{} keys, one for each frame{}, instead of {}", GroupedText(CountKeys(curves)),
                    endsBetweenFrames ? " and one for the end" : "", GroupedText(before));
    if (changes > 0) {
        text +=
            fmt::format("; {} that repeated keys or ran on within the new ones now {} so outside of these",
                        Counted(changes, "curve"), changes == 1 ? "does" : "do");
    }
    return text;
}

ClipChange SetRate(Scene& scene, FrameRate rate, bool resample)
{
    const FrameRate before = scene.rate;
    if (rate == before && (!resample || HasKeysAtFrames(scene))) {
        return {false, fmt::format("nothing to do: {} frames a second already{}", RateText(rate),
                                   resample ? ", with keys at exactly these frames" : "")};
    }
    const std::string unrolled = UnrollRecordings(scene);
    if (rate != before) scene.frameTime.clear();
    scene.rate = rate;
    std::string text = fmt::format("{} frames a second instead of {}", RateText(rate), RateText(before));
    if (!unrolled.empty()) text += "; " + unrolled;
    if (resample) text += "; " + ResampleAll(scene);
    return {true, text};
}

}  // namespace

ClipWork ParseRate(const std::string& value, const ClipSettings& settings)
{
    const std::optional<FrameRate> rate = ParseRate(value);
    if (!rate)
        throw Failure(fmt::format("rate: {} is not a frame rate; give 30, 12.5 or 24000/1001", Quoted(value)),
                      kExitUsage);
    return
        [rate = *rate, resample = settings.resample](Scene& scene) { return SetRate(scene, rate, resample); };
}

}  // namespace ymotion
