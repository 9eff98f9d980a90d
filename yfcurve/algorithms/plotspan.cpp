#include "yfcurve/algorithms/plotspan.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "yfcurve/algorithms/curvesum.h"
#include "yfcurve/curve/extrapolation.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/node/curves/resampledkey.h"
#include "yfcurve/node/layers/evaluationpass.h"
#include "yfcurve/node/tree/nodedata.h"

namespace yfc {

eYFCurvePlotStatus ResolveSpan(PlotSpan& span, YFCurveNode& property, const YFCurveNode& layer, YTime start,
                               YTime stop)
{
    span.openStart = start == YTIME_MINUS_INFINITE;
    span.openStop = stop == YTIME_INFINITE;
    if ((!span.openStart && start.IsInfinite()) || (!span.openStop && stop.IsInfinite())) {
        return eYFCurvePlotStatus::BadSpan;
    }
    if (span.openStart || span.openStop) {
        const std::vector<YTime> keys = KeyTimesOf(property, YTIME_MINUS_INFINITE, YTIME_INFINITE);
        if (keys.empty()) return eYFCurvePlotStatus::BadSpan;
        span.start = keys.front();
        span.stop = keys.back();
        const YFCurve* const weight = WeightCurveOf(layer);
        if (weight != nullptr && weight->KeyGetCount() > 0) {
            span.start = std::min(span.start, weight->KeyGetTime(0));
            span.stop = std::max(span.stop, weight->KeyGetTime(weight->KeyGetCount() - 1));
        }
    }
    const bool warped = property.TimeWarpGet() != nullptr;
    if (warped && !span.openStart && !span.openStop) {
        ForwardTime forward;
        if (start < stop && !forward.Read(property, start, stop, (stop - start) / 256)) {
            return eYFCurvePlotStatus::TimeWarp;
        }
    }
    if (!span.openStart) span.start = LocalTime(property, start, {});
    if (!span.openStop) span.stop = LocalTime(property, stop, {});
    const bool isEmpty = span.start > span.stop || (span.start == span.stop && !span.IsWhole());
    return isEmpty ? eYFCurvePlotStatus::BadSpan : eYFCurvePlotStatus::Done;
}

// --- Outside -------------------------------------------------------------------------------------------

namespace {

bool HasAllCurves(const YFCurveNode& property, const YFCurveNode& layer)
{
    for (int i = 0; i < ComponentCount(property); ++i) {
        if (CurveOf(property, layer, i) == nullptr) return false;
    }
    return true;
}

// The node of a component on a layer that has none for it, at its place among the others.
YFCurveNode* AddPart(YFCurveNode& property, YFCurveNode& layer, int component)
{
    YFCurveNode* const base = property.Get(component);
    if (base == nullptr || layer.FCurveGet() != nullptr) return nullptr;
    YFCurveNodePtr made(base->CloneTemplate(layer.GetLayerInfo()));
    if (!made || layer.Add(made.get()) < 0) throw std::bad_alloc();
    made->ObjectLayerSet(base);
    YArrayTemplate<YFCurveNode*>& children = NodeData::Of(layer).children;
    children.RemoveAt(children.Find(made.get()));
    children.InsertAt(component, made.get());
    return made.release();
}

// Gives a layer a neutral curve for each component that it has none for. Angles that were added one by one
// turn as the layer has it once all of them are there.
void CompleteCurves(YFCurveNode& property, YFCurveNode& layer)
{
    if (HasAllCurves(property, layer)) return;
    for (int i = 0; i < ComponentCount(property); ++i) {
        if (CurveOf(property, layer, i) != nullptr) continue;
        YFCurveNode* part = PartOf(property, layer, i);
        if (part == nullptr) part = AddPart(property, layer, i);
        if (part == nullptr || part->GetCount() > 0) continue;
        part->CreateFCurve();
        if (part->FCurveGet() == nullptr) throw std::bad_alloc();
        part->FCurveGet()->SetValue(static_cast<float>(NeutralValue(layer)));
    }
    if (property.IsRotationLayerType()) layer.SetLayerType(YFCURVE_LayerTypeOn(layer, layer.GetLayerInfo()));
}

}  // namespace

// A new node is a copy of the layer below, so it gets the layer type that its own layer asks for, neutral values
// and constant extrapolation.
YFCurveNode* LayerForCurves(YFCurveNode& property, const YFCurveLayerInfo& info)
{
    const int layerId = property.GetCorrectLayerInfo(info).GetLayerID();
    if (YFCurveNode* const existing = property.LayerGet(layerId)) {
        CompleteCurves(property, *existing);
        return HasAllCurves(property, *existing) ? existing : nullptr;
    }
    YFCurveNode* const layer = property.GetCorrectLayerAndCreateIfMissing(info);
    if (layer == nullptr) return nullptr;
    CompleteCurves(property, *layer);
    layer->SetLayerType(YFCURVE_LayerTypeOn(*layer, info));
    const auto neutral = static_cast<float>(NeutralValue(*layer));
    ForEachCurve(*layer, [neutral](YFCurve& curve) {
        curve.SetValue(neutral);
        curve.SetPreExtrapolation(YFCURVE_EXTRAPOLATION_CONST);
        curve.SetPreExtrapolationCount(0);
        curve.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_CONST);
        curve.SetPostExtrapolationCount(0);
    });
    return HasAllCurves(property, *layer) ? layer : nullptr;
}

bool RepeatsIntoOutside(const YFCurveNode& layer, const PlotSpan& span)
{
    bool repeats = false;
    ForEachCurve(layer, [&](const YFCurve& curve) {
        repeats = repeats || (!span.openStart && RepeatsOutside(curve, true)) ||
                  (!span.openStop && RepeatsOutside(curve, false));
    });
    return repeats;
}

eYFCurvePlotStatus CheckOutside(YFCurveNode& property, const YFCurveLayerInfo& info, const PlotSpan& span,
                                YFCurvePlotReport& report)
{
    if (span.IsWhole()) return eYFCurvePlotStatus::Done;
    if (const YFCurveNode* const layer = property.LayerGet(info.GetLayerID())) {
        if (RepeatsIntoOutside(*layer, span)) return eYFCurvePlotStatus::Extrapolation;
        if (HasAllCurves(property, *layer)) return eYFCurvePlotStatus::Done;
    }
    const PropertyCopy without(property);
    const PropertyCopy with(property);
    if (LayerForCurves(with.Get(), info) == nullptr) return eYFCurvePlotStatus::NoLayer;
    PlotTarget former(without.Get(), without.Get(), true);
    PlotTarget stack(with.Get(), with.Get(), true);
    const auto changes = [&](YTime start, YTime stop) {
        const TargetDifference difference = CompareTargets(former, stack, start, stop);
        report.largestDifference = difference.largest;
        report.time = difference.time;
        return !difference.IsWithin(0.0);
    };
    if (!span.openStart && changes(YTIME_MINUS_INFINITE, span.start - YTIME_ONE_TICK)) {
        return eYFCurvePlotStatus::ShowsOutside;
    }
    if (!span.openStop && changes(span.stop + YTIME_ONE_TICK, YTIME_INFINITE))
        return eYFCurvePlotStatus::ShowsOutside;
    report = {};
    return eYFCurvePlotStatus::Done;
}

TargetDifference CompareTargets(PlotTarget& former, PlotTarget& stack, YTime start, YTime stop)
{
    std::vector<YTime> times = KeyTimesOf(former.GetLayer(), start, stop);
    if (!start.IsInfinite()) times.insert(times.begin(), start);
    if (!stop.IsInfinite()) times.push_back(stop);
    if (times.empty()) times.push_back(YTIME_ZERO);
    const std::size_t ends = times.size();
    for (std::size_t i = 0; i + 1 < ends; ++i) {
        constexpr std::int64_t parts = 4;
        const YTime step = (times[i + 1] - times[i]) / parts;
        for (std::int64_t k = 1; k < parts; ++k) times.push_back(times[i] + step * k);
    }
    std::sort(times.begin(), times.end());
    TargetDifference difference;
    const auto count = static_cast<std::size_t>(former.GetCount());
    std::vector<double> wanted(count);
    std::vector<double> reached(count);
    for (const YTime time : times) {
        former.Evaluate(wanted.data(), time);
        stack.Evaluate(reached.data(), time);
        for (const double value : wanted) {
            difference.magnitude = std::max(difference.magnitude, std::abs(value));
        }
        const double distance = former.Distance(wanted.data(), reached.data(), time);
        if (distance <= difference.largest) continue;
        difference.largest = distance;
        difference.time = time;
    }
    return difference;
}

// --- Times ---------------------------------------------------------------------------------------------

namespace {

// Where a node is at a time of its own, through the time warps of the layers before it and its own.
class NodeTimes
{
  public:
    NodeTimes(YTime start, YTime stop) : mStart(start), mStop(stop) {}

    // Goes on to a node behind. False when there is no way back from it: it moves while its time warp does.
    bool Enter(YFCurveNode& node, std::vector<YTime>& times)
    {
        YFCurveNode* warp = node.TimeWarpGet();
        if (warp == nullptr) return true;
        const YTime first = warp->GetFirstKeyTime();
        const YTime last = warp->GetLastKeyTime();
        if (first.IsInfinite() || last.IsInfinite() || first >= last) return false;
        ForwardTime forward;
        if (forward.Read(node, first, last, (last - first) / 256)) {
            mWarps.push_back(std::move(forward));
            return true;
        }
        ForEachCurve(*warp, [&](const YFCurve& curve) { AddKeys(times, curve); });
        return false;
    }

    // Adds the times at which a curve of the node is at one of its keys. Where a time warp does not get that
    // far, the curve moves until the end of the warp.
    void AddKeys(std::vector<YTime>& times, const YFCurve& curve) const
    {
        for (int key = mWarps.empty() ? FirstKeyFrom(curve, mStart) : 0; key < curve.KeyGetCount(); ++key) {
            YTime time = curve.KeyGetTime(key);
            for (auto warp = mWarps.rbegin(); warp != mWarps.rend(); ++warp) time = warp->ToOutside(time);
            if (time > mStop) break;
            if (time >= mStart) times.push_back(time);
        }
    }

    // The same for all curves of a layer. Angles of a rotation have no times of their own.
    void AddKeysOf(std::vector<YTime>& times, YFCurveNode& layer) const
    {
        if (layer.FCurveGet() != nullptr || IsRotation(layer)) {
            return ForEachCurve(layer, [&](const YFCurve& curve) { AddKeys(times, curve); });
        }
        for (int i = 0; i < layer.GetCount(); ++i) {
            YFCurveNode& child = *layer.Get(i);
            if (child.FCurveGet() == nullptr) continue;
            if (child.TimeWarpGet() == nullptr) {
                AddKeys(times, *child.FCurveGet());
                continue;
            }
            NodeTimes childTimes = *this;
            if (childTimes.Enter(child, times)) childTimes.AddKeys(times, *child.FCurveGet());
        }
    }

  private:
    YTime mStart;
    YTime mStop;
    std::vector<ForwardTime> mWarps;
};

}  // namespace

std::vector<YTime> KeyTimesOf(YFCurveNode& node, YTime start, YTime stop)
{
    std::vector<YTime> times;
    NodeTimes nodeTimes(start, stop);
    for (YFCurveNode* layer = &node; layer != nullptr; layer = layer->LayerGet()) {
        if (layer != &node && !nodeTimes.Enter(*layer, times)) break;
        nodeTimes.AddKeysOf(times, *layer);
        if (const YFCurve* const weight = layer->GetWeightCurve()) nodeTimes.AddKeys(times, *weight);
    }
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    return times;
}

bool HasTimeOfItsOwn(const YFCurveNode& property, const YFCurveNode& layer)
{
    for (const YFCurveNode* step = &property; step != &layer && step != nullptr;) {
        step = step->LayerGet();
        if (step != nullptr && step->TimeWarpGet() != nullptr) return true;
    }
    for (int i = 0; i < layer.GetCount(); ++i) {
        if (layer.Get(i)->TimeWarpGet() != nullptr) return true;
    }
    return false;
}

bool ForwardTime::Read(YFCurveNode& node, YTime start, YTime stop, YTime step)
{
    mNode = &node;
    mOutside.clear();
    mLocal.clear();
    if (node.TimeWarpGet() == nullptr) return true;
    step = std::max(step, YTIME_ONE_TICK);
    if (PeriodsBetween(start, stop, step) > std::uint64_t{1} << 24) return false;
    // The last step may be longer: one of a few ticks would be lost in the rounding of the time warp.
    for (YTime time = start;; time = (stop - time) / 2 >= step ? time + step : stop) {
        const YTime local = LocalTime(node, time, {});
        if (!mLocal.empty() && local <= mLocal.back()) return false;
        mOutside.push_back(time);
        mLocal.push_back(local);
        if (time == stop) return true;
    }
}

YTime ForwardTime::ToOutside(YTime local) const
{
    if (mLocal.empty()) return local;
    const auto behind = std::upper_bound(mLocal.begin(), mLocal.end(), local);
    if (behind == mLocal.begin()) return mOutside.front();
    if (behind == mLocal.end()) return mOutside.back();
    const auto index = static_cast<std::size_t>(behind - mLocal.begin());
    YTime low = mOutside[index - 1];
    YTime high = mOutside[index];
    while (high - low > YTIME_ONE_TICK) {
        const YTime middle = low + (high - low) / 2;
        YTime& bound = LocalTime(*mNode, middle, {}) <= local ? low : high;
        bound = middle;
    }
    return low;
}

}  // namespace yfc
