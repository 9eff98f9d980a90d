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
#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/node/keykind.h"
#include "yfcurve/node/nodedata.h"
#include "yfcurve/yfcurvemergelayers.h"

using yfc::PlotStack;
using yfc::PlottedCurves;
using yfc::StackCopy;
using Status = eYFCurvePlotStatus;

namespace {

// Factors that differ by no more are the same.
constexpr double kFactorTolerance = 1e-9;

std::size_t At(int i)
{
    return static_cast<std::size_t>(i);
}

// Whether a layer takes part in what the property evaluates to.
bool Counts(const YFCurveNode& layer, const YFCurveNode& property)
{
    return !layer.IsNodeMuted() && yfc::ComponentCount(layer) == yfc::ComponentCount(property);
}

// A layer's part in the total, as a factor.
struct Part
{
    int layerId;
    double factor;
};

// The parts of all layers at a time, for values that add up.
std::vector<Part> PartsAt(const YFCurveNode& node, YTime time)
{
    if (yfc::StandsAlone(node)) return {{0, 1.0}};
    std::vector<Part> parts;
    for (const YFCurveNode* layer = &node; layer != nullptr; layer = layer->LayerGet()) {
        if (!Counts(*layer, node)) continue;
        const yfc::LayerBlend blend(*layer, time);
        const double none = 0.0;
        const double one = 1.0;
        for (Part& part : parts) blend.Accumulate(&part.factor, &none, 1);
        parts.push_back({layer->GetLayerID(), 0.0});
        blend.Accumulate(&parts.back().factor, &one, 1);
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

bool AddsUp(const YFCurveNode& node)
{
    const int type = node.GetLayerType();
    if (type == 5) return node.FCurveGet() == nullptr && !node.GetUseQuaternion();
    return type == 0 || type == 1;
}

// Whether each curve of the layer is asked at the property's own time, and for nothing but its value.
bool IsPlain(const YFCurveNode& property, const YFCurveNode& layer)
{
    if (yfc::HasTimeOfItsOwn(property, layer)) return false;
    for (int i = 0; i < layer.GetCount(); ++i) {
        if (layer.Get(i)->LayerGet() != nullptr || layer.Get(i)->FCurveGet() == nullptr) return false;
    }
    return true;
}

// Empties a layer for good, so that it adds nothing.
void Neutralise(YFCurveNode& layer)
{
    for (int i = 0; i < yfc::ComponentCount(layer); ++i) {
        YFCurve* curve = yfc::CurveOfComponent(layer, i);
        if (curve == nullptr) continue;
        const YFCurveModify modify(*curve);
        curve->KeyClear();
        curve->SetValue(static_cast<float>(yfc::NeutralValue(layer)));
    }
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
        for (YFCurveNode* layer = &mProperty; layer != nullptr; layer = layer->LayerGet()) {
            if (Counts(*layer, mProperty) && IsWanted(layer->GetLayerID())) wanted.push_back(layer);
        }
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
        StackCopy before(mProperty);
        before.CutAbove(mTop);
        Status span = FindSpan();
        if (span == Status::Done) span = CheckOutside(report);
        if (span != Status::Done) return span;
        StackCopy after(mProperty);
        after.CutAbove(mTop);
        YFCurveNode* const layer = yfc::LayerForCurves(after.Get(), mTarget);
        if (layer == nullptr) return Status::NoLayer;
        if (!Empty(after.Get())) return Status::NotLinear;

        Status status = SumUp(before.Get(), after.Get(), *layer, report);
        if (status == Status::NotLinear && !exactOnly)
            status = Plot(before.Get(), after.Get(), *layer, report);
        return status == Status::Done ? Commit() : status;
    }

    // With open ends that of all keys: weights count as long as anything moves.
    Status FindSpan()
    {
        const Status status = yfc::ResolveSpan(mPlotted, mProperty, mOptions.start, mOptions.stop);
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
            if (yfc::RepeatsIntoOutside(*mProperty.LayerGet(id), mPlotted)) return Status::Extrapolation;
        }
        return yfc::CheckOutside(mProperty, mTarget, mPlotted, report);
    }

    static bool Overrides(const YFCurveNode& layer)
    {
        return layer.GetLayerInfo().GetLayerMode() != YFCURVE_LAYER_ADDITIVE;
    }

    // Whether a merged layer is taken out of the property.
    bool Leaves(const YFCurveNode& layer) const
    {
        if (layer.GetLayerID() == 0 || !mPlotted.IsWhole()) return false;
        return mOptions.removeMerged || Overrides(layer);
    }

    // Takes the merged layers' part out of a copy. False when one of them cannot do without.
    bool Empty(YFCurveNode& after) const
    {
        for (const int id : mMerged) {
            YFCurveNode& layer = *after.LayerGet(id);
            if (Leaves(layer)) {
                after.RemoveLayer(id, true);
            } else if (id == 0 || !Overrides(layer)) {
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
        times.push_back(mPlotted.start);
        times.push_back(mPlotted.stop);
        constexpr std::uint64_t most = 1 << 20;
        const std::uint64_t periods =
            yfc::PeriodsBetween(mPlotted.start, mPlotted.stop, mOptions.plot.period);
        const YTime step = mOptions.plot.period * static_cast<std::int64_t>(periods / most + 1);
        const std::uint64_t count = yfc::PeriodsBetween(mPlotted.start, mPlotted.stop, step);
        for (std::uint64_t i = 1; i <= count; ++i) {
            times.push_back(mPlotted.start + step * static_cast<std::int64_t>(i));
        }
        std::sort(times.begin(), times.end());
        return times;
    }

    bool HasConstantParts(const YFCurveNode& stack, const std::vector<YTime>& times) const
    {
        const std::vector<Part> parts = PartsAt(stack, mPlotted.start);
        return std::all_of(times.begin(), times.end(),
                           [&](YTime time) { return AreSame(PartsAt(stack, time), parts); });
    }

    bool HasConstantWeights(const YFCurveNode& stack, const std::vector<YTime>& times) const
    {
        for (const YFCurveNode* layer = &stack; layer != nullptr; layer = layer->LayerGet()) {
            if (!Counts(*layer, stack)) continue;
            const double weight = layer->GetLayerInfo().GetWeight(mPlotted.start);
            const bool same = std::all_of(times.begin(), times.end(), [&](YTime time) {
                return std::abs(layer->GetLayerInfo().GetWeight(time) - weight) <= kFactorTolerance;
            });
            if (!same) return false;
        }
        return true;
    }

    static bool IsStill(const YFCurveNode& stack)
    {
        for (const YFCurveNode* layer = &stack; layer != nullptr; layer = layer->LayerGet()) {
            if (!Counts(*layer, stack)) continue;
            for (int i = 0; i < yfc::ComponentCount(*layer); ++i) {
                const YFCurve* curve = yfc::CurveOfComponent(*layer, i);
                if (curve != nullptr && !yfc::IsConstant(*curve)) return false;
            }
        }
        return true;
    }

    Status SumUp(YFCurveNode& before, YFCurveNode& after, YFCurveNode& layer, YFCurvePlotReport& report)
    {
        for (const YFCurveNode* each = &before; each != nullptr; each = each->LayerGet()) {
            if (Counts(*each, before) && !IsPlain(before, *each)) return Status::NotLinear;
        }
        const std::vector<YTime> times = ProbeTimes(before);
        const bool linear =
            AddsUp(before) && HasConstantParts(before, times) && HasConstantParts(after, times);
        if (linear) return SumCurvesOf(before, after, layer, report);
        const bool still =
            IsStill(before) && HasConstantWeights(before, times) && HasConstantWeights(after, times);
        if (!still) return Status::NotLinear;
        return HoldStill(before, after, layer, report);
    }

    Status SumCurvesOf(YFCurveNode& before, YFCurveNode& after, YFCurveNode& layer, YFCurvePlotReport& report)
    {
        const std::vector<Part> former = PartsAt(before, mPlotted.start);
        const std::vector<Part> rest = PartsAt(after, mPlotted.start);
        const double effect = FactorOf(rest, mTarget.GetLayerID());
        if (std::abs(effect) < yfc::kWeightTolerance) return Status::Unreachable;
        std::vector<std::pair<YFCurveNode*, double>> factors;
        for (const Part& part : former) {
            // What was emptied is neutral in the rest, and the target is what is solved for.
            const bool remains = part.layerId != mTarget.GetLayerID() && !IsMerged(part.layerId);
            const double others = remains ? FactorOf(rest, part.layerId) : 0.0;
            const double factor = (part.factor - others) / effect;
            const bool counts = !remains || std::abs(factor) > kFactorTolerance;
            factors.emplace_back(before.LayerGet(part.layerId), counts ? factor : 0.0);
        }
        for (int i = 0; i < yfc::ComponentCount(before); ++i) {
            YFCurvePtr sum(YFCurveCreate());
            if (!sum) throw std::bad_alloc();
            std::vector<yfc::SumTerm> terms;
            for (const auto& [node, factor] : factors)
                terms.push_back({yfc::CurveOfComponent(*node, i), factor});
            const yfc::ESum outcome = yfc::SumCurves(*sum, terms, mPlotted);
            if (outcome != yfc::ESum::Exact) mPlotted.curves.clear();
            if (outcome == yfc::ESum::Extrapolations) return Status::Extrapolation;
            if (outcome == yfc::ESum::NeedsSamples) return Status::NotLinear;
            mPlotted.curves.push_back(std::move(sum));
        }
        // Tangent weights are stored in steps.
        return Finish(before, after, layer, mOptions.plot.tolerance, report);
    }

    // One value serves for all times.
    Status HoldStill(YFCurveNode& before, YFCurveNode& after, YFCurveNode& layer, YFCurvePlotReport& report)
    {
        const auto count = At(yfc::ComponentCount(before));
        std::vector<double> total(count);
        std::vector<double> values(count);
        PlotStack former(before, before, true);
        PlotStack stack(after, layer, true);
        former.Evaluate(total.data(), mPlotted.start);
        stack.Solve(values.data(), total.data(), mPlotted.start, nullptr);
        if (!std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); })) {
            return Status::Unreachable;
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
            yfc::CurveOfComponent(layer, static_cast<int>(i))->CopyFrom(*mPlotted.curves[i]);
            report.keyCount += KeysInSpan(*mPlotted.curves[i]);
        }
        PlotStack former(before, before, true);
        PlotStack stack(after, layer, true);
        const yfc::StackDifference difference =
            yfc::CompareStacks(former, stack, mPlotted.start, mPlotted.stop);
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
        const auto flat = [](std::uint32_t mode, std::uint32_t count) {
            return count == 0 || mode < YFCURVE_EXTRAPOLATION_REPETITION ||
                   mode > YFCURVE_EXTRAPOLATION_KEEP_SLOPE;
        };
        if (yfc::IsConstant(curve)) return true;
        return (!mPlotted.openStart || flat(curve.GetPreExtrapolation(), curve.GetPreExtrapolationCount())) &&
               (!mPlotted.openStop || flat(curve.GetPostExtrapolation(), curve.GetPostExtrapolationCount()));
    }

    Status Plot(YFCurveNode& before, YFCurveNode& after, YFCurveNode& layer, YFCurvePlotReport& report)
    {
        if (yfc::HasTimeOfItsOwn(after, layer)) return Status::TimeWarp;
        for (const YFCurveNode* each = &before; each != nullptr; each = each->LayerGet()) {
            if (!Counts(*each, before)) continue;
            for (int i = 0; i < yfc::ComponentCount(*each); ++i) {
                const YFCurve* curve = yfc::CurveOfComponent(*each, i);
                if (curve != nullptr && !EndsFlat(*curve)) return Status::Extrapolation;
            }
        }
        report = {};
        YSmartPlotOptions options = mOptions.plot;
        options.smart = true;
        YFCurveNode* above = mProperty.LayerGet();
        while (above != nullptr && above->GetLayerID() <= mTop) above = above->LayerGet();
        PlotStack former(before, before, false);
        PlotStack stack(after, layer, true, &mProperty, above);
        const auto motion = [&](double* total, YTime time) {
            former.Evaluate(total, time);
            return true;
        };
        return yfc::PlotCurves(mPlotted, stack, before, motion, options, report);
    }

    // --- Committing ---

    Status Commit()
    {
        const PlottedCurves neutral = NeutralCurves();
        YFCurveNode* const target = yfc::LayerForCurves(mProperty, mTarget);
        if (target == nullptr) return Status::Memory;
        yfc::PutCurves(*target, mPlotted);
        for (const int id : mMerged) {
            YFCurveNode& layer = *mProperty.LayerGet(id);
            if (!mPlotted.IsWhole()) {
                yfc::PutCurves(layer, neutral);
            } else if (Leaves(layer)) {
                mProperty.RemoveLayer(id, true);
            } else {
                Neutralise(layer);
            }
        }
        return Status::Done;
    }

    PlottedCurves NeutralCurves() const
    {
        PlottedCurves neutral;
        static_cast<yfc::PlotSpan&>(neutral) = mPlotted;
        const auto value = static_cast<float>(yfc::NeutralValue(mProperty));
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
