#include <algorithm>
#include <new>

#include <fmt/format.h>

#include "yfcurve/yfcurveptr.h"
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

/// The part of the scene's span that is wanted, from frame to frame where its ends are no more than rounding beside
/// them.
TimeSpan PartToKeep(const Scene& scene, const WrittenRange& range, const TimeSpan& whole,
                    const SceneFrames& frames)
{
    const TimeRange wanted = range.At(scene.rate);
    const TimeSpan part{std::max(whole.start, frames.Onto(wanted.start.value_or(whole.start))),
                        std::min(whole.stop, frames.Onto(wanted.stop.value_or(whole.stop)))};
    if (part.start <= part.stop) return part;
    throw Failure(
        fmt::format("{}: nothing plays from {}, as all keys are from {} to {} s; choose other times",
                    scene.file, range.text, ShortSecondsText(whole.start), ShortSecondsText(whole.stop)));
}

void Keep(YFCurve& curve, const TimeSpan& part)
{
    if (curve.KeyGetCount() == 0) return;
    const YFCurvePtr kept(curve.Copy(part.start, part.stop));
    if (kept == nullptr) throw std::bad_alloc();
    const std::uint32_t before = curve.GetUpdateId();
    curve.CopyFrom(*kept);
    if (curve.GetUpdateId() == before) throw std::bad_alloc();
}

ClipChange Trim(Scene& scene, const WrittenRange& range, bool keepTimes)
{
    const std::vector<YFCurve*> curves = CurvesToMove(scene);
    const TimeSpan whole = SpanOf(scene);
    const SceneFrames frames{whole.start, scene.rate};
    const TimeSpan part = PartToKeep(scene, range, whole, frames);
    const bool moves = !keepTimes && part.start != YTIME_ZERO;
    if (part.start == whole.start && part.stop == whole.stop && !moves)
        return {false, "nothing to cut: that is all that plays"};
    const bool betweenFrames = !frames.Has(part.start) || (part.stop != whole.stop && !frames.Has(part.stop));
    const std::string unrolled = betweenFrames ? UnrollRecordings(scene) : std::string();
    for (const NamedProperty& property : NamedProperties(scene)) SetKeysAtEnds(scene, *property.node, part);
    for (const auto& layer : scene.layers.Layers()) {
        if (layer->WeightCurve() != nullptr) SetKeysAtEnds(scene, *layer->WeightCurve(), part);
    }
    const YTime shift = moves ? part.start : YTIME_ZERO;
    const SceneFrames newFrames{part.start - shift, scene.rate};
    const auto newTime = [&](YTime time) { return newFrames.Onto(time - shift); };
    for (YFCurve* curve : curves) {
        StopIfAsked();
        Keep(*curve, part);
        Retime(*curve, frames, newTime);
    }
    const std::string text =
        fmt::format("keeps {} to {} s of {} to {} s{}{}{}", ShortSecondsText(part.start),
                    ShortSecondsText(part.stop), ShortSecondsText(whole.start), ShortSecondsText(whole.stop),
                    moves ? ", which now starts at 0 s" : "", unrolled.empty() ? "" : "; ", unrolled);
    return {true, text, {[shift](YTime time) { return time + shift; }, {}}};
}

}  // namespace

ClipWork ParseTrim(const std::string& value, const ClipSettings& settings)
{
    const std::optional<WrittenRange> range = ParseTimeRange(value);
    if (!range) throw Failure(fmt::format("trim: {} is not {}", Quoted(value), kRangeForms), kExitUsage);
    return [range = *range, keepTimes = settings.keepTimes](Scene& scene) {
        return Trim(scene, range, keepTimes);
    };
}

}  // namespace ymotion
