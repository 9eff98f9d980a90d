// Merging: layers of a property become one, which holds what solves the remaining layers for the former
// total.
//
// Each layer's part in a linear total is a factor: its weight, times what the layers above it let through.
// With constant factors the merged layer is a sum of curves. The layers above the highest merged one only see
// the total below them, so they take no part.

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>
#include <vector>

#include "yfcurve/algorithms/curvesum.h"
#include "yfcurve/algorithms/plotcurves.h"
#include "yfcurve/curve/extrapolation.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/node/curves/resampledkey.h"
#include "yfcurve/node/layers/layerblend.h"
#include "yfcurve/node/tree/nodedata.h"
#include "yfcurve/yfcurvemergelayers.h"

using yfc::LayerWalk;
using yfc::PlotTarget;
using yfc::PlottedCurves;
using yfc::PropertyCopy;
using Status = eYFCurvePlotStatus;

namespace {

// Factors that differ by no more are the same.
constexpr double kFactorTolerance = 1e-9;

std::size_t At(int i)
{
    return static_cast<std::size_t>(i);
}

// Does something with each layer that takes part in what the property evaluates to.
template<class Operation>
void ForEachLayer(YFCurveNode& property, const Operation& operation)
{
    for (LayerWalk walk(property, YTIME_ZERO, {}); !walk.IsAtEnd(); walk.Next()) {
        if (walk.Counts()) operation(walk);
    }
}

// Whether something holds for all of those layers.
template<class Condition>
bool AllLayers(YFCurveNode& property, const Condition& condition)
{
    bool all = true;
    ForEachLayer(property, [&](const LayerWalk& walk) { all = all && condition(walk); });
    return all;
}

// A layer's part in the total of a component, as a factor.
struct Part
{
    int layerId;
    double factor;
};

// The parts of all layers at a time, for values that add up.
std::vector<Part> PartsAt(YFCurveNode& node, YTime time, int component)
{
    if (yfc::StandsAlone(node)) return {{0, 1.0}};
    const yfc::Piece piece{component, 1};
    std::vector<Part> parts;
    for (LayerWalk walk(node, time, {}); !walk.IsAtEnd(); walk.Next()) {
        if (!walk.Counts()) continue;
        const double none = 0.0;
        const double one = 1.0;
        for (Part& part : parts) walk.Accumulate(piece, &part.factor, &none);
        parts.push_back({walk.Layer().GetLayerID(), 0.0});
        walk.Accumulate(piece, &parts.back().factor, &one);
    }
    return parts;
}

bool AreSame(const std::vector<Part>& first, const std::vector<Part>& second)
{
    return std::equal(first.begin(), first.end(), second.begin(), second.end(),
                      [](const Part& a, const Part& b) {
                          return a.layerId == b.layerId && std::abs(a.factor - b.factor) <= kFactorTolerance;
                      });
}

double FactorOf(const std::vector<Part>& parts, int layerId)
{
    const auto found =
        std::find_if(parts.begin(), parts.end(), [=](const Part& part) { return part.layerId == layerId; });
    return found != parts.end() ? found->factor : 0.0;
}

bool AddsUp(const YFCurveNode& layer)
{
    const yfc::ELayerKind kind = yfc::NodeData::Of(layer).LayerKind();
    if (kind == yfc::ELayerKind::AngleByAngle)
        return layer.FCurveGet() == nullptr && !layer.GetUseQuaternion();
    return kind == yfc::ELayerKind::Component || kind == yfc::ELayerKind::Plain;
}

// Whether each curve of the layer is asked at the property's own time, and for nothing but its value.
bool IsPlain(const YFCurveNode& property, const YFCurveNode& layer)
{
    if (yfc::HasTimeOfItsOwn(property, layer)) return false;
    for (int i = 0; i < layer.GetCount() && layer.FCurveGet() == nullptr; ++i) {
        const YFCurveNode& child = *layer.Get(i);
        const bool isEmpty = child.FCurveGet() == nullptr && child.GetCount() == 0;
        if (!isEmpty && !yfc::IsCurveAlone(child, layer)) return false;
    }
    return true;
}

// Empties a layer for good, so that it adds nothing.
void Neutralise(YFCurveNode& layer)
{
    yfc::ForEachCurve(layer, [&](YFCurve& curve) {
        const YFCurveModify modify(curve);
        curve.KeyClear();
        curve.SetValue(static_cast<float>(yfc::NeutralValue(layer)));
    });
}

class Merge
{
  public:
    Merge(YFCurveNode& property, const YMergeLayerOptions& options) : mProperty(property), mOptions(options)
    {}

    Status Run(bool exactOnly, YFCurvePlotReport& report)
    {
        const Status prepared = Prepare();
        if (prepared != Status::Done || mMerged.empty()) return prepared;
        return MergeInto(exactOnly, report);
    }

  private:
    // --- What is merged ---

    bool IsWanted(int layerId) const
    {
        return mOptions.layerIds.IsEmpty() || mOptions.layerIds.Find(layerId) >= 0;
    }

    Status Prepare()
    {
        if (!yfc::AreValid(mOptions.plot)) return Status::BadOptions;
        if (mProperty.GetLayerID() != 0) return Status::BadNode;
        std::vector<YFCurveNode*> wanted;
        ForEachLayer(mProperty, [&](const LayerWalk& walk) {
            if (IsWanted(walk.Layer().GetLayerID())) wanted.push_back(&walk.Layer());
        });
        if (wanted.empty()) return Status::NoLayer;
        mTarget = mOptions.useTarget ? mProperty.GetCorrectLayerInfo(mOptions.target)
                                     : wanted.front()->GetLayerInfo();
        mTop = std::max(mTarget.GetLayerID(), wanted.back()->GetLayerID());
        YFCurveNode* const target = mProperty.LayerGet(mTarget.GetLayerID());
        if (mTarget.IsLocked() || (target != nullptr && yfc::IsLocked(*target))) return Status::Locked;
        for (YFCurveNode* layer : wanted) {
            if (layer == target) continue;
            if (yfc::IsLocked(*layer)) return Status::Locked;
            mMerged.push_back(layer->GetLayerID());
        }
        return Status::Done;
    }

    bool IsMerged(int layerId) const
    {
        return std::find(mMerged.begin(), mMerged.end(), layerId) != mMerged.end();
    }

    // --- The two stacks ---

    Status MergeInto(bool exactOnly, YFCurvePlotReport& report)
    {
        PropertyCopy before(mProperty);
        before.CutAbove(mTop);
        PropertyCopy after(mProperty);
        after.CutAbove(mTop);
        YFCurveNode* const layer = yfc::LayerForCurves(after.Get(), mTarget);
        if (layer == nullptr) return Status::NoLayer;
        Status span = FindSpan(*layer);
        if (span == Status::Done) span = CheckOutside(report);
        if (span != Status::Done) return span;
        if (!Empty(after.Get())) return Status::NotLinear;

        Status status = SumUp(before.Get(), after.Get(), *layer, report);
        if (status == Status::NotLinear && !exactOnly)
            status = Plot(before.Get(), after.Get(), *layer, report);
        return status == Status::Done ? Commit() : status;
    }

    // With open ends that of all keys: weights count as long as anything moves.
    Status FindSpan(const YFCurveNode& layer)
    {
        const Status status = yfc::ResolveSpan(mPlotted, mProperty, layer, mOptions.start, mOptions.stop);
        const bool whole = mOptions.start == YTIME_MINUS_INFINITE && mOptions.stop == YTIME_INFINITE;
        if (status != Status::BadSpan || !whole) return status;
        // Values without any keys are merged as they are.
        mPlotted.start = mPlotted.stop = YTIME_ZERO;
        return Status::Done;
    }

    // Whether all stays what it is outside the span.
    Status CheckOutside(YFCurvePlotReport& report) const
    {
        for (const int id : mMerged) {
            const YFCurveNode& layer = *mProperty.LayerGet(id);
            if (!mPlotted.IsWhole() && yfc::HasTimeOfItsOwn(mProperty, layer)) return Status::TimeWarp;
            if (GivesTime(layer) && !yfc::IsAdditive(layer)) return Status::TimeWarp;
            if (yfc::RepeatsIntoOutside(layer, mPlotted)) return Status::Extrapolation;
        }
        return yfc::CheckOutside(mProperty, mTarget, mPlotted, report);
    }

    // Whether layers behind are played at the time that the layer's time warp makes.
    static bool GivesTime(const YFCurveNode& layer)
    {
        return layer.GetLayerID() != 0 && layer.TimeWarpGet() != nullptr && layer.LayerGet() != nullptr;
    }

    // Whether a merged layer is taken out of the property.
    bool Leaves(const YFCurveNode& layer) const
    {
        if (layer.GetLayerID() == 0 || GivesTime(layer) || !mPlotted.IsWhole()) return false;
        return mOptions.removeMerged || !yfc::IsAdditive(layer);
    }

    // Takes the merged layers' part out of a copy. False when one of them cannot do without.
    bool Empty(YFCurveNode& after) const
    {
        for (const int id : mMerged) {
            YFCurveNode& layer = *after.LayerGet(id);
            if (Leaves(layer)) {
                after.RemoveLayer(id, true);
            } else if (id == 0 || yfc::IsAdditive(layer)) {
                Neutralise(layer);
            } else {
                return false;
            }
        }
        return true;
    }

    // --- Without resampling ---

    // Times at which weights are looked at.
    std::vector<YTime> ProbeTimes(YFCurveNode& before) const
    {
        std::vector<YTime> times = yfc::KeyTimesOf(before, mPlotted.start, mPlotted.stop);
        times.push_back(mPlotted.stop);
        constexpr std::uint64_t most = 1 << 20;
        const std::uint64_t periods =
            yfc::PeriodsBetween(mPlotted.start, mPlotted.stop, mOptions.plot.period);
        const YTime step = mOptions.plot.period * static_cast<std::int64_t>(periods / most + 1);
        const std::uint64_t count = yfc::PeriodsBetween(mPlotted.start, mPlotted.stop, step);
        for (std::uint64_t i = 0; i <= count; ++i) {
            times.push_back(mPlotted.start + step * static_cast<std::int64_t>(i));
        }
        std::sort(times.begin(), times.end());
        return times;
    }

    // Where all layers have the property's shape, the parts of one component are those of all.
    static int DifferentComponents(YFCurveNode& stack)
    {
        const bool alike = AllLayers(stack, [](const LayerWalk& walk) { return walk.IsAlike(); });
        return alike ? 1 : yfc::ComponentCount(stack);
    }

    bool HasConstantParts(YFCurveNode& stack, const std::vector<YTime>& times) const
    {
        for (int i = 0; i < DifferentComponents(stack); ++i) {
            const std::vector<Part> parts = PartsAt(stack, mPlotted.start, i);
            const bool same = std::all_of(times.begin(), times.end(), [&](YTime time) {
                return AreSame(PartsAt(stack, time, i), parts);
            });
            if (!same) return false;
        }
        return true;
    }

    bool HasConstantWeights(YFCurveNode& stack, const std::vector<YTime>& times) const
    {
        return AllLayers(stack, [&](const LayerWalk& walk) {
            const YFCurveLayerInfo& info = walk.Layer().GetLayerInfo();
            const double weight = info.GetWeight(mPlotted.start);
            return std::all_of(times.begin(), times.end(), [&](YTime time) {
                return std::abs(info.GetWeight(time) - weight) <= kFactorTolerance;
            });
        });
    }

    static bool IsStill(YFCurveNode& stack)
    {
        bool still = true;
        ForEachLayer(stack, [&](const LayerWalk& walk) {
            yfc::ForEachCurve(walk.Layer(),
                              [&](const YFCurve& curve) { still = still && yfc::IsConstant(curve); });
        });
        return still;
    }

    Status SumUp(YFCurveNode& before, YFCurveNode& after, YFCurveNode& layer, YFCurvePlotReport& report)
    {
        const bool plain = AllLayers(before, [&](const LayerWalk& walk) {
            return IsPlain(before, walk.Layer()) && WeightEndsFlat(walk.Layer());
        });
        if (!plain) return Status::NotLinear;
        const std::vector<YTime> times = ProbeTimes(before);
        const bool linear = AllLayers(before, [](const LayerWalk& walk) { return AddsUp(walk.Layer()); }) &&
                            HasConstantParts(before, times) && HasConstantParts(after, times);
        if (linear) return SumCurvesOf(before, after, layer, report);
        const bool still =
            IsStill(before) && HasConstantWeights(before, times) && HasConstantWeights(after, times);
        if (!still) return Status::NotLinear;
        return HoldStill(before, after, layer, report);
    }

    Status SumCurvesOf(YFCurveNode& before, YFCurveNode& after, YFCurveNode& layer, YFCurvePlotReport& report)
    {
        for (int i = 0; i < yfc::ComponentCount(before); ++i) {
            YFCurvePtr sum(YFCurveCreate());
            if (!sum) throw std::bad_alloc();
            const Status status = SumComponent(*sum, before, after, layer, i);
            if (status != Status::Done) {
                mPlotted.curves.clear();
                return status;
            }
            mPlotted.curves.push_back(std::move(sum));
        }
        // Tangent weights are stored in steps.
        return Finish(before, after, layer, mOptions.plot.tolerance, report);
    }

    Status SumComponent(YFCurve& sum, YFCurveNode& before, YFCurveNode& after, YFCurveNode& layer,
                        int component)
    {
        const std::vector<Part> rest = PartsAt(after, mPlotted.start, component);
        const double effect = FactorOf(rest, mTarget.GetLayerID());
        if (std::abs(effect) < yfc::kWeightTolerance) {
            return PlotTarget(after, layer, true).WhyUnreachable(mPlotted.start);
        }
        std::vector<yfc::SumTerm> terms;
        for (const Part& part : PartsAt(before, mPlotted.start, component)) {
            const YFCurve* const curve = yfc::CurveOf(before, *before.LayerGet(part.layerId), component);
            if (curve == nullptr) continue;
            // What was emptied is neutral in the rest, and the target is what is solved for.
            const bool remains = part.layerId != mTarget.GetLayerID() && !IsMerged(part.layerId);
            const double others = remains ? FactorOf(rest, part.layerId) : 0.0;
            const double factor = (part.factor - others) / effect;
            const bool counts = !remains || std::abs(factor) > kFactorTolerance;
            terms.push_back({curve, counts ? factor : 0.0});
        }
        switch (yfc::SumCurves(sum, terms, mPlotted)) {
            case yfc::ESum::Exact:
                return Status::Done;
            case yfc::ESum::Extrapolations:
                return Status::Extrapolation;
            case yfc::ESum::NeedsSamples:
                break;
        }
        return Status::NotLinear;
    }

    // One value serves for all times.
    Status HoldStill(YFCurveNode& before, YFCurveNode& after, YFCurveNode& layer, YFCurvePlotReport& report)
    {
        const auto count = At(yfc::ComponentCount(before));
        std::vector<double> total(count);
        std::vector<double> values(count);
        PlotTarget former(before, before, true);
        PlotTarget stack(after, layer, true);
        former.Evaluate(total.data(), mPlotted.start);
        stack.Solve(values.data(), total.data(), mPlotted.start, nullptr);
        if (!std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); })) {
            return stack.WhyUnreachable(mPlotted.start);
        }
        const bool keyed = before.KeyGetCount(true) > 0;
        for (const double value : values) {
            YFCurvePtr curve(YFCurveCreate());
            if (!curve) throw std::bad_alloc();
            curve->SetValue(static_cast<float>(value));
            const bool needsKeys = keyed || !mPlotted.IsWhole();
            if (needsKeys) curve->KeyAppendFast(mPlotted.start, static_cast<float>(value));
            if (!mPlotted.IsWhole()) curve->KeyAppendFast(mPlotted.stop, static_cast<float>(value));
            mPlotted.curves.push_back(std::move(curve));
        }
        return Finish(before, after, layer, 0.0, report);
    }

    int KeysInSpan(const YFCurve& curve) const
    {
        return yfc::LastKeyUntil(curve, mPlotted.stop) + 1 - yfc::FirstKeyFrom(curve, mPlotted.start);
    }

    // Tries the curves, at the ends of all segments and within them.
    Status Finish(YFCurveNode& before, YFCurveNode& after, YFCurveNode& layer, double tolerance,
                  YFCurvePlotReport& report)
    {
        for (std::size_t i = 0; i < mPlotted.curves.size(); ++i) {
            yfc::CurveOf(after, layer, static_cast<int>(i))->CopyFrom(*mPlotted.curves[i]);
            report.keyCount += KeysInSpan(*mPlotted.curves[i]);
        }
        PlotTarget former(before, before, true);
        PlotTarget stack(after, layer, true);
        const yfc::TargetDifference difference =
            yfc::CompareTargets(former, stack, mPlotted.start, mPlotted.stop);
        report.largestDifference = difference.largest;
        report.time = difference.time;
        if (difference.IsWithin(tolerance)) return Status::Done;
        report.keyCount = 0;
        mPlotted.curves.clear();
        return Status::NotLinear;
    }

    // --- With resampling ---

    // Over an open end motion that was plotted is held.
    bool EndsFlat(const YFCurve& curve) const
    {
        if (yfc::IsConstant(curve)) return true;
        return !(mPlotted.openStart && curve.MovesOutside(true)) &&
               !(mPlotted.openStop && curve.MovesOutside(false));
    }

    bool WeightEndsFlat(const YFCurveNode& layer) const
    {
        const YFCurve* const weight = layer.GetWeightCurve();
        return weight == nullptr || EndsFlat(*weight);
    }

    Status Plot(YFCurveNode& before, YFCurveNode& after, YFCurveNode& layer, YFCurvePlotReport& report)
    {
        if (yfc::HasTimeOfItsOwn(after, layer)) return Status::TimeWarp;
        bool endsFlat = true;
        ForEachLayer(before, [&](const LayerWalk& walk) {
            endsFlat = endsFlat && WeightEndsFlat(walk.Layer());
            yfc::ForEachCurve(walk.Layer(),
                              [&](const YFCurve& curve) { endsFlat = endsFlat && EndsFlat(curve); });
        });
        if (!endsFlat) return Status::Extrapolation;
        report = {};
        YSmartPlotOptions options = mOptions.plot;
        options.smart = true;
        YFCurveNode* above = mProperty.LayerGet();
        while (above != nullptr && above->GetLayerID() <= mTop) above = above->LayerGet();
        PlotTarget former(before, before, false);
        PlotTarget stack(after, layer, true, &mProperty, above);
        const auto motion = [&](double* total, YTime time) {
            former.Evaluate(total, time);
            return true;
        };
        return yfc::PlotCurves(mPlotted, stack, before, motion, options, report);
    }

    // --- Committing ---

    Status Commit()
    {
        std::vector<PlottedCurves> neutral;
        if (!mPlotted.IsWhole()) neutral = NeutralCurves();
        YFCurveNode* const target = yfc::LayerForCurves(mProperty, mTarget);
        if (target == nullptr) return Status::Memory;
        yfc::PutCurves(mProperty, *target, mPlotted);
        for (std::size_t i = 0; i < mMerged.size(); ++i) {
            const int id = mMerged[i];
            YFCurveNode& layer = *mProperty.LayerGet(id);
            if (!mPlotted.IsWhole()) {
                yfc::PutCurves(mProperty, layer, neutral[i]);
            } else if (Leaves(layer)) {
                mProperty.RemoveLayer(id, true);
            } else {
                Neutralise(layer);
            }
        }
        return Status::Done;
    }

    // What each of the merged layers gets for the span.
    std::vector<PlottedCurves> NeutralCurves() const
    {
        std::vector<PlottedCurves> neutral;
        for (const int id : mMerged) neutral.push_back(NeutralCurves(*mProperty.LayerGet(id)));
        return neutral;
    }

    PlottedCurves NeutralCurves(const YFCurveNode& layer) const
    {
        PlottedCurves neutral;
        static_cast<yfc::PlotSpan&>(neutral) = mPlotted;
        const auto value = static_cast<float>(yfc::NeutralValue(layer));
        for (int i = 0; i < yfc::ComponentCount(mProperty); ++i) {
            YFCurvePtr curve(YFCurveCreate());
            if (!curve) throw std::bad_alloc();
            curve->KeyAppendFast(mPlotted.start, value);
            if (mPlotted.stop > mPlotted.start) curve->KeyAppendFast(mPlotted.stop, value);
            neutral.curves.push_back(std::move(curve));
        }
        return neutral;
    }

    YFCurveNode& mProperty;
    const YMergeLayerOptions& mOptions;
    YFCurveLayerInfo mTarget;
    int mTop = 0;
    std::vector<int> mMerged;  // without the target
    PlottedCurves mPlotted;
};

bool MergeAll(YFCurveNode* node, const YMergeLayerOptions& options, bool exactOnly, YFCurvePlotReport* report)
{
    return yfc::ForEachProperty(node, report, [&](YFCurveNode& property, YFCurvePlotReport& one) {
        one.status = Merge(property, options).Run(exactOnly, one);
    });
}

}  // namespace

bool YFCURVE_MergeLayers(YFCurveNode* node, const YMergeLayerOptions& options, YFCurvePlotReport* report)
{
    return MergeAll(node, options, false, report);
}

bool YFCURVE_ConstantCurveMerge(YFCurveNode* node, const YMergeLayerOptions& options,
                                YFCurvePlotReport* report)
{
    return MergeAll(node, options, true, report);
}
