#include "ymotion/clipping/clip_curves.h"

#include <algorithm>
#include <cmath>
#include <new>

#include <fmt/format.h>

#include "yfcurve/yfcurveptr.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/node_walk.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/shell_word.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

struct Slopes
{
    float left = 0;
    float right = 0;
};

std::vector<Slopes> SlopesOf(const YFCurve& curve)
{
    std::vector<Slopes> slopes;
    for (int i = 0; i < curve.KeyGetCount(); ++i)
        slopes.push_back({curve.KeyGetLeftDerivative(i), curve.KeyGetRightDerivative(i)});
    return slopes;
}

void GiveSlopes(YFCurve& curve, const std::vector<Slopes>& wanted)
{
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const bool isAuto = curve.KeyGetInterpolation(i) == YFCURVE_INTERP_CUBIC &&
                            (curve.KeyGetTangeantMode(i) & YFCURVE_TANGENT_AUTO) != 0;
        if (isAuto) continue;
        curve.KeySetRightDerivative(i, wanted[static_cast<std::size_t>(i)].right);
        curve.KeySetLeftDerivative(i, wanted[static_cast<std::size_t>(i)].left);
    }
}

bool IsCubicBehind(const YFCurve& curve, int key)
{
    return key >= 0 && key + 1 < curve.KeyGetCount() &&
           curve.KeyGetInterpolation(key) == YFCURVE_INTERP_CUBIC;
}

/// Whether cubic segments have the slopes at their ends, to what single precision leaves of them. Straight ones have
/// none of their own.
bool HasSlopes(const YFCurve& curve, const std::vector<Slopes>& wanted)
{
    float steepest = 0;
    const auto isNear = [&steepest](float slope, float goal) {
        return !std::isfinite(goal) || std::abs(slope - goal) <= 1e-5f * std::abs(goal) + 1e-6f * steepest;
    };
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const auto [left, right] = wanted[static_cast<std::size_t>(i)];
        if (IsCubicBehind(curve, i - 1) && std::isfinite(left)) steepest = std::max(steepest, std::abs(left));
        if (IsCubicBehind(curve, i) && std::isfinite(right)) steepest = std::max(steepest, std::abs(right));
    }
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const auto [left, right] = wanted[static_cast<std::size_t>(i)];
        if (IsCubicBehind(curve, i - 1) && !isNear(curve.KeyGetLeftDerivative(i), left)) return false;
        if (IsCubicBehind(curve, i) && !isNear(curve.KeyGetRightDerivative(i), right)) return false;
    }
    return true;
}

/// Changes keys so that all slopes become a multiple of what they are. Auto and TCB keys make theirs of the new
/// neighbours; where one comes to something else, all keys become user keys, which store theirs.
template<class Change>
void ChangeWithSlopes(YFCurve& curve, float factor, const Change& change)
{
    std::vector<Slopes> slopes = SlopesOf(curve);
    for (Slopes& slope : slopes) slope = {slope.left * factor, slope.right * factor};
    const YFCurvePtr before(curve.Copy());
    if (before == nullptr) throw std::bad_alloc();
    const YFCurveModify bracket(curve);
    change();
    GiveSlopes(curve, slopes);
    if (HasSlopes(curve, slopes)) return;
    curve.CopyFrom(*before);
    curve.KeyTangeantSetMode(false, YFCURVE_TANGENT_USER_BREAK);
    change();
    GiveSlopes(curve, slopes);
    if (!HasSlopes(curve, slopes)) throw std::bad_alloc();
}

bool IsLocked(const YFCurveNode& node)
{
    return node.IsNodeLocked() || (node.FCurveGet() != nullptr && node.FCurveGet()->IsLocked());
}

[[noreturn]] void FailLocked(const Scene& scene, const Layer& layer)
{
    throw Failure(
        fmt::format("{}: the layer {} is locked, and would not change with the rest; unlock it with 'yfcurve "
                    "layer lock {} {} off'",
                    scene.file, Quoted(layer.Name()), ShellWord(scene.file), layer.GetLayerID()));
}

void CheckNodeUnlocked(const Scene& scene, const YFCurveNode& node)
{
    if (!IsLocked(node)) return;
    const Layer* layer = scene.layers.Find(node.GetLayerID());
    if (layer != nullptr && layer->IsLocked()) FailLocked(scene, *layer);
    throw Failure(fmt::format("{}: {} is locked, and would not change with the rest; unlock it", scene.file,
                              QuotedName(PathOf(node))));
}

void CheckTimes(const Scene& scene, const YFCurve& curve)
{
    const std::optional<TimeSpan> span = KeySpan(curve);
    if (!span) return;
    CheckReach(scene, span->start.GetSecondDouble());
    CheckReach(scene, span->stop.GetSecondDouble());
}

/// Whether a key inserted at a time leaves the curve as it is.
bool TakesKey(const YFCurve& curve, YTime time)
{
    const std::optional<TimeSpan> span = KeySpan(curve);
    if (!span) return true;
    if (time < span->start) return !curve.MovesOutside(true);
    if (time > span->stop) return !curve.MovesOutside(false);
    return true;
}

void Insert(const Scene& scene, YFCurve& curve, YTime time, const std::string& name)
{
    if (!TakesKey(curve, time)) {
        throw Failure(fmt::format(
            "{}: {} has no key at {} s, where it repeats its keys or runs on; to have one at every frame, "
            "run 'yfcurve clip {} OUT --rate {} --resample' first",
            scene.file, name, ShortSecondsText(time), ShellWord(scene.file), RateText(scene.rate)));
    }
    if (curve.KeyInsert(time) < 0) throw std::bad_alloc();
}

/// Where a rotation that turns as quaternions gets a key, all three curves need one, of the angles that play there.
void CutTurns(const Scene& scene, YFCurveNode& rotation, const TimeSpan& span)
{
    ShareKeys(rotation);
    for (const YTime end : {span.start, span.stop}) {
        double angles[3] = {};
        rotation.RotationNodeEvaluate(angles, end);
        std::size_t component = 0;
        for (YFCurve* curve : CurvesOf(rotation)) {
            Insert(scene, *curve, end, QuotedName(PathOf(rotation)));
            const auto key = static_cast<int>(std::lround(curve->KeyFind(end)));
            curve->KeySetValue(key, static_cast<float>(angles[component++]));
        }
    }
}

/// The segment that a time lies in or starts; -1 outside of the keys.
int SegmentAt(const YFCurve& curve, YTime time)
{
    const auto key = static_cast<int>(std::floor(curve.KeyFind(time)));
    return key + 1 < curve.KeyGetCount() ? key : -1;
}

bool IsConstantFrom(const YFCurve& curve, YTime time)
{
    const int segment = SegmentAt(curve, time);
    return segment < 0 || curve.KeyGetInterpolation(segment) == YFCURVE_INTERP_CONSTANT;
}

/// The key of one curve where another curve of its rotation has one.
/// \param held  no curve of the rotation moves from there to the next key
YFCurveKey SharedKey(const YFCurve& curve, YTime time, bool held)
{
    YFCurveKey key;
    key.Set(time, curve.Evaluate(time), held ? YFCURVE_INTERP_CONSTANT : YFCURVE_INTERP_LINEAR, 0u);
    const int segment = SegmentAt(curve, time);
    if (held && segment >= 0) key.SetConstantMode(curve.KeyGetConstantMode(segment));
    return key;
}

bool HasKeys(const std::vector<YFCurve*>& curves)
{
    return std::any_of(curves.begin(), curves.end(),
                       [](const YFCurve* curve) { return curve->KeyGetCount() > 0; });
}

}  // namespace

std::vector<YFCurve*> CurvesOf(const YFCurveNode& property)
{
    if (property.FCurveGet() != nullptr) return {property.FCurveGet()};
    std::vector<YFCurve*> curves;
    for (int i = 0; i < property.GetCount(); ++i) {
        for (YFCurve* curve : CurvesOf(*property.Get(i))) curves.push_back(curve);
    }
    return curves;
}

bool IsStill(const YFCurve& curve)
{
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        if (curve.KeyGetValue(i) != curve.KeyGetValue(0)) return false;
        if (curve.KeyGetLeftDerivative(i) != 0 || curve.KeyGetRightDerivative(i) != 0) return false;
    }
    return true;
}

std::vector<YFCurveNode*> LayersOf(YFCurveNode& property)
{
    std::vector<YFCurveNode*> layers;
    for (YFCurveNode* node = &property; node != nullptr; node = node->LayerGet()) layers.push_back(node);
    return layers;
}

void CheckUnlocked(const Scene& scene, YFCurveNode& property)
{
    VisitNodesAndLayers(property, [&scene](const YFCurveNode& node) { CheckNodeUnlocked(scene, node); });
}

void CheckHasNoTimeWarp(const Scene& scene, const YFCurveNode& node)
{
    if (node.TimeWarpGet() == nullptr) return;
    throw Failure(fmt::format("{}: {} has a time warp, which cannot be moved along; take it away", scene.file,
                              QuotedName(PathOf(node))));
}

void CheckHoldsBeyondKeys(const Scene& scene, YFCurveNode& property)
{
    VisitNodesAndLayers(property, [&](const YFCurveNode& node) {
        const YFCurve* curve = node.FCurveGet();
        if (curve == nullptr || curve->KeyGetCount() == 0) return;
        if (!curve->MovesOutside(true) && !curve->MovesOutside(false)) return;
        const std::string advice =
            scene.HasSkeleton()
                ? fmt::format(
                      "'yfcurve convert {} OUT.bvh' makes a motion of what plays at each frame, "
                      "which holds still beyond",
                      ShellWord(scene.file))
                : "let it hold its values there";
        throw Failure(
            fmt::format("{}: {} repeats its keys or runs on beyond them, which could not be kept; {}",
                        scene.file, QuotedName(PathOf(node)), advice));
    });
}

std::vector<YFCurve*> CurvesToMove(const Scene& scene)
{
    std::vector<YFCurve*> curves;
    VisitNodesAndLayers(*scene.root, [&](const YFCurveNode& node) {
        CheckNodeUnlocked(scene, node);
        CheckHasNoTimeWarp(scene, node);
        if (node.FCurveGet() != nullptr) curves.push_back(node.FCurveGet());
    });
    for (const auto& layer : scene.layers.Layers()) {
        if (layer->WeightCurve() == nullptr) continue;
        if (layer->IsLocked()) FailLocked(scene, *layer);
        curves.push_back(layer->WeightCurve());
    }
    for (const YFCurve* curve : curves) CheckTimes(scene, *curve);
    return curves;
}

TimeSpan SpanOf(const Scene& scene)
{
    if (const std::optional<TimeSpan> span = KeySpan(scene)) return *span;
    throw Failure(fmt::format("{}: the curves have no keys, so there is no motion to work on", scene.file));
}

void CheckReach(const Scene& scene, double seconds)
{
    if (std::abs(seconds) <= kMostSeconds) return;
    throw Failure(fmt::format("{}: keys would be more than {} s from time 0; choose less", scene.file,
                              GroupedText(static_cast<long long>(kMostSeconds))));
}

void Retime(YFCurve& curve, const SceneFrames& frames, const std::function<YTime(YTime)>& newTime,
            double slopeFactor)
{
    const int count = curve.KeyGetCount();
    if (count == 0) return;
    StopIfAsked();
    std::vector<YTime> before;
    for (int i = 0; i < count; ++i) before.push_back(curve.KeyGetTime(i));
    std::vector<YTime> times;
    for (auto first = before.begin(); first != before.end();) {
        const auto end =
            std::adjacent_find(first, before.end(), [](YTime a, YTime b) { return b - a >= kFewTicks; });
        const auto last = end == before.end() ? end : end + 1;
        auto led = std::find_if(first, last, [&](YTime time) { return frames.Has(time); });
        if (led == last) led = first;
        const YTime to = newTime(*led);
        for (; first != last; ++first) times.push_back(to + (*first - *led));
    }
    for (std::size_t i = times.size() - 1; i-- > 0;)
        times[i] = std::min(times[i], times[i + 1] - YTIME_ONE_TICK);
    const auto setTimes = [&] {
        for (int i = 0; i < count; ++i) curve.KeySetTime(i, times[static_cast<std::size_t>(i)]);
    };
    if (slopeFactor != 1.0) return ChangeWithSlopes(curve, static_cast<float>(slopeFactor), setTimes);
    if (times == before) return;
    const YFCurveModify bracket(curve);
    setTimes();
}

YTime SceneFrames::Nearest(YTime time) const
{
    return TimeOfFrame(start, NearestFrame(time - start, rate), rate);
}

YTime SceneFrames::Onto(YTime time, YTime rounding) const
{
    const YTime frame = Nearest(time);
    return frame - time < rounding && time - frame < rounding ? frame : time;
}

void MoveOntoFrames(Scene& scene)
{
    const std::optional<TimeSpan> span = KeySpan(scene);
    if (!span) return;
    const SceneFrames frames{span->start, scene.rate};
    const auto ontoFrame = [&](YTime time) { return frames.Onto(time); };
    for (YFCurve* curve : CurvesToMove(scene)) Retime(*curve, frames, ontoFrame);
}

void ReplaceSpan(YFCurve& curve, const YFCurve& source, YTime start, YTime stop, YTime offset)
{
    const std::uint32_t before = curve.GetUpdateId();
    curve.Replace(source, start, stop, true, true, offset);
    if (curve.GetUpdateId() == before) throw std::bad_alloc();
}

void ScaleValues(YFCurve& curve, double factor)
{
    const auto single = static_cast<float>(factor);
    const float value = curve.GetValue() * single;
    ChangeWithSlopes(curve, single, [&] {
        for (int i = 0; i < curve.KeyGetCount(); ++i) curve.KeyMultValue(i, single);
    });
    curve.SetValue(value);
}

void OffsetValues(YFCurve& curve, double offset)
{
    const YFCurveModify bracket(curve);
    curve.SetValue(static_cast<float>(double{curve.GetValue()} + offset));
    for (int i = 0; i < curve.KeyGetCount(); ++i)
        curve.KeySetValue(i, static_cast<float>(double{curve.KeyGetValue(i)} + offset));
}

void ShareKeys(YFCurveNode& rotation)
{
    const std::vector<YFCurve*> curves = CurvesOf(rotation);
    const std::vector<YTime> times = KeyTimesOf(curves, kAlways);
    std::vector<std::vector<YFCurveKey>> keys(curves.size());
    for (const YTime time : times) {
        StopIfAsked();
        const bool held = std::all_of(curves.begin(), curves.end(),
                                      [time](const YFCurve* curve) { return IsConstantFrom(*curve, time); });
        for (std::size_t i = 0; i < curves.size(); ++i) keys[i].push_back(SharedKey(*curves[i], time, held));
    }
    for (std::size_t i = 0; i < curves.size(); ++i) {
        const YFCurveModify bracket(*curves[i], static_cast<int>(times.size()));
        curves[i]->KeyClear();
        for (const YFCurveKey& key : keys[i]) {
            if (!curves[i]->KeySet(curves[i]->KeyGetCount(), key)) throw std::bad_alloc();
        }
    }
}

void SetKeysAtEnds(const Scene& scene, YFCurveNode& property, const TimeSpan& span)
{
    for (YFCurveNode* layer : LayersOf(property)) {
        const std::vector<YFCurve*> curves = CurvesOf(*layer);
        if (!HasKeys(curves)) continue;
        if (TurnsAsQuaternions(*layer)) {
            CutTurns(scene, *layer, span);
            continue;
        }
        for (YFCurve* curve : curves) {
            if (curve->KeyGetCount() == 0) continue;
            for (const YTime end : {span.start, span.stop})
                Insert(scene, *curve, end, QuotedName(PathOf(property)));
        }
    }
}

void SetKeysAtEnds(const Scene& scene, YFCurve& curve, const TimeSpan& span)
{
    if (curve.KeyGetCount() == 0) return;
    for (const YTime end : {span.start, span.stop}) Insert(scene, curve, end, "the weight of a layer");
}

std::vector<YTime> KeyTimesOf(const std::vector<YFCurve*>& curves, const TimeSpan& span)
{
    std::vector<YTime> times;
    const auto take = [&](YTime time) {
        if (time >= span.start && time <= span.stop && !time.IsInfinite()) times.push_back(time);
    };
    take(span.start);
    take(span.stop);
    for (const YFCurve* curve : curves) {
        for (int i = 0; i < curve->KeyGetCount(); ++i) take(curve->KeyGetTime(i));
    }
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    return times;
}

}  // namespace ymotion
