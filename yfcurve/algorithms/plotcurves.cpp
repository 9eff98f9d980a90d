#include "yfcurve/algorithms/plotcurves.h"

#include <algorithm>
#include <cmath>
#include <new>

#include "yfcurve/algorithms/plotfit.h"
#include "yfcurve/curve/edit/replace.h"
#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/node/tree/animationkeep.h"
#include "yfcurve/node/tree/treewalk.h"
#include "yfcurve/yfcurvesettings.h"

namespace yfc {
namespace {

// Samples to a period of a smart plot.
constexpr int kSmartSamples = 10;

// Each round sets keys where the evaluated layers are farthest off; few are ever needed.
constexpr int kMostRounds = 200;

std::size_t At(int i)
{
    return static_cast<std::size_t>(i);
}

bool TurnsEvenly(const YFCurveNode& layer)
{
    return layer.GetUseQuaternion() && IsRotation(layer);
}

double FlatnessOf(const YFCurveNode& node, const YSmartPlotOptions& options)
{
    if (!options.reduceConstant) return -1.0;
    const YDataType* type = node.GetDataType();
    const auto isOneOf = [&](std::initializer_list<eDataType> types) {
        return std::any_of(types.begin(), types.end(),
                           [&](eDataType known) { return type == YDataType::Get(known); });
    };
    if (isOneOf({eDataType::Translation, eDataType::LocalTranslation, eDataType::MatrixTranslation,
                 eDataType::UVTranslation})) {
        return options.translationThreshold;
    }
    if (node.IsRotationLayerType() || isOneOf({eDataType::Rotation, eDataType::LocalRotation,
                                               eDataType::MatrixRotation, eDataType::UVRotation})) {
        return options.rotationThreshold;
    }
    return node.IsScalingLayerType() ? options.scalingThreshold : options.defaultThreshold;
}

class Plot
{
  public:
    Plot(PlottedCurves& plotted, PlotTarget& stack, YFCurveNode& property, const YSmartPlotOptions& options)
        : mPlotted(plotted),
          mStack(stack),
          mOptions(options),
          mFlatness(FlatnessOf(property, options)),
          mGrid{plotted.start,     plotted.stop,
                options.period,    options.smart ? kSmartSamples : 1,
                options.onFrame,   options.preciseDiscontinuities,
                options.tolerance, KeyTimesOf(property, plotted.start, plotted.stop)}
    {}

    eYFCurvePlotStatus Run(const PlotMotion& motion, YFCurvePlotReport& report)
    {
        for (int i = 0; i < mStack.GetCount(); ++i) {
            if (mStack.GetCurve(i) == nullptr) return eYFCurvePlotStatus::BadNode;
        }
        const eYFCurvePlotStatus status = TakeSamples(mSamples, mStack, motion, mGrid, report);
        if (status != eYFCurvePlotStatus::Done) return status;
        const bool reached = mOptions.smart ? FitCurves(report) : SampleCurves(report);
        if (!reached) return eYFCurvePlotStatus::Unreachable;
        if (ReduceFlatOnes()) {
            TryCurves();
            Compare(report);
        }
        for (const YFCurvePtr& curve : mPlotted.curves) report.keyCount += curve->KeyGetCount();
        return eYFCurvePlotStatus::Done;
    }

  private:
    void StartCurves()
    {
        mPlotted.curves.clear();
        for (int i = 0; i < mStack.GetCount(); ++i) {
            YFCurvePtr curve(YFCurveCreate());
            if (!curve) throw std::bad_alloc();
            mPlotted.curves.push_back(std::move(curve));
        }
    }

    void TryCurves() const
    {
        for (int i = 0; i < mStack.GetCount(); ++i) {
            mStack.GetCurve(i)->CopyFrom(*mPlotted.curves[At(i)]);
        }
    }

    bool SampleCurves(YFCurvePlotReport& report)
    {
        StartCurves();
        for (int i = 0; i < mStack.GetCount(); ++i) {
            MakeSampledCurve(*mPlotted.curves[At(i)], mSamples, i, mFlatness);
        }
        TryCurves();
        Compare(report);
        return true;
    }

    bool FitCurves(YFCurvePlotReport& report)
    {
        const double threshold = mOptions.breakThreshold > 0.0
                                     ? mOptions.breakThreshold
                                     : mOptions.tolerance / mOptions.period.GetSecondDouble();
        const eRotationOrder order = mStack.GetOrder();
        PlotFit fit(mSamples,
                    {mOptions.breakTangents, threshold,
                     std::max(mOptions.period / kSmartSamples, YTIME_ONE_TICK), mOptions.keepSourceKeys},
                    TurnsEvenly(mStack.GetLayer()) ? &order : nullptr);
        for (int round = 0; round < kMostRounds; ++round) {
            fit.Choose();
            StartCurves();
            for (int i = 0; i < mStack.GetCount(); ++i) fit.MakeCurve(*mPlotted.curves[At(i)], i);
            TryCurves();
            Compare(report);
            if (!ForceWorst(fit, round)) break;
        }
        return std::none_of(mMisses.begin(), mMisses.end(), [](double miss) { return miss > 1.0; });
    }

    // How far the layers with the new curves are off, at every sample, as multiples of what is allowed.
    void Compare(YFCurvePlotReport& report)
    {
        std::vector<double> reached(At(mStack.GetCount()));
        mMisses.assign(At(mSamples.GetCount()), 0.0);
        report.largestDifference = 0.0;
        for (int s = 0; s < mSamples.GetCount(); ++s) {
            mStack.Evaluate(reached.data(), mSamples.times[At(s)]);
            const double distance = mStack.Distance(reached.data(), mSamples.Total(s), mSamples.times[At(s)]);
            const double allowed = kShareAtSamples * mOptions.tolerance + mSamples.roundings[At(s)];
            mMisses[At(s)] = distance / allowed;
            if (distance <= report.largestDifference) continue;
            report.largestDifference = distance;
            report.time = mSamples.times[At(s)];
        }
    }

    // The worst sample of each stretch that is off gets keys; all of them when that has been tried long
    // enough. False when there is none left to be forced.
    bool ForceWorst(PlotFit& fit, int round) const
    {
        constexpr int patience = 40;
        bool any = false;
        int worst = -1;
        for (int s = 0; s <= mSamples.GetCount(); ++s) {
            if (s < mSamples.GetCount() && mMisses[At(s)] > 1.0) {
                if (fit.IsForced(s)) continue;
                if (round >= patience) fit.Force(s);
                if (worst < 0 || mMisses[At(s)] > mMisses[At(worst)]) worst = s;
            } else if (worst >= 0) {
                fit.Force(worst);
                any = true;
                worst = -1;
            }
        }
        return any;
    }

    // \return  whether there were any.
    bool ReduceFlatOnes()
    {
        if (!mPlotted.IsWhole() || (mOptions.smart && mOptions.keepSourceKeys)) return false;
        bool any = false;
        for (int i = 0; i < mStack.GetCount(); ++i) {
            YFCurve& curve = *mPlotted.curves[At(i)];
            if (curve.KeyGetCount() == 0 || !IsFlat(i)) continue;
            const float value = curve.KeyGetValue(0);
            const YTime time = curve.KeyGetTime(0);
            curve.KeyClear();
            curve.SetValue(value);
            if (YFCURVE_GetConstantKeyReducerKeepOneKey()) curve.KeyAppendFast(time, value);
            any = true;
        }
        return any;
    }

    // A smart plot stays within its tolerance in any case.
    bool IsFlat(int component) const
    {
        for (int s = 0; s < mSamples.GetCount(); ++s) {
            const double moved = std::abs(mSamples.Value(s, component) - mSamples.Value(0, component));
            if (!(moved <= mFlatness)) return false;
            if (mOptions.smart && moved > mSamples.Tolerance(s, component)) return false;
        }
        return true;
    }

    PlottedCurves& mPlotted;
    PlotTarget& mStack;
    const YSmartPlotOptions& mOptions;
    const double mFlatness;
    const PlotGrid mGrid;
    PlotSamples mSamples;
    std::vector<double> mMisses;
};

}  // namespace

bool AreValid(const YSmartPlotOptions& options)
{
    return options.period > YTIME_ZERO && options.tolerance > 0.0 && std::isfinite(options.tolerance) &&
           options.breakThreshold >= 0.0;
}

bool IsLocked(const YFCurveNode& layer)
{
    if (layer.IsNodeLocked()) return true;
    bool isLocked = false;
    ForEachCurve(layer, [&](const YFCurve& curve) { isLocked = isLocked || curve.IsLocked(); });
    return isLocked;
}

eYFCurvePlotStatus PlotCurves(PlottedCurves& plotted, PlotTarget& stack, YFCurveNode& property,
                              const PlotMotion& motion, const YSmartPlotOptions& options,
                              YFCurvePlotReport& report)
{
    return Plot(plotted, stack, property, options).Run(motion, report);
}

namespace {

// A rotation in quaternion form at an end of the span: its angles there, and the next key outside, between
// which the motion must stay.
struct Pin
{
    YTime time;
    YTime neighbour;
    double angles[kRotationComponents];
    bool held;  // up to the neighbour
};

// Where there is no key beyond, the curves go on each for itself, and nothing is to be pinned.
void FindPin(std::vector<Pin>& pins, const YFCurveNode& layer, YTime time, bool before)
{
    Pin pin{time, before ? layer.GetPrevKeyTime(time) : layer.GetNextKeyTime(time), {}, false};
    if (pin.neighbour.IsInfinite()) return;
    layer.RotationNodeEvaluate(pin.angles, time);
    double middle[kRotationComponents];
    layer.RotationNodeEvaluate(middle, time + (pin.neighbour - time) / 2);
    pin.held = std::equal(middle, middle + kRotationComponents, pin.angles);
    pins.push_back(pin);
}

// Makes a curve constant from a key to the next; what is before the key keeps its shape.
void HoldFrom(YFCurve& curve, int key)
{
    const YFCurveSlopes slopes = YFCurveShape::SlopesAt(curve, key);
    curve.KeySetInterpolation(key, YFCURVE_INTERP_CONSTANT);
    curve.KeySetConstantMode(key, YFCURVE_CONSTANT_STANDARD);
    YFCurveShape::Hold(curve, key, slopes);
}

// Outside its keys a curve does not decide whether a rotation turns or is held between the keys of the
// others. A key that is added there makes it decide: it has to be held itself up to that key, or the others
// turn.
void InsertNeighbour(YFCurve& curve, YTime time)
{
    const int count = curve.KeyGetCount();
    const bool isAhead = count > 0 && time < curve.KeyGetTime(0);
    const bool isBehind = count > 0 && time > curve.KeyGetTime(count - 1);
    const int key = curve.KeyInsert(time);
    if (!isAhead && !isBehind) return;
    const int first = isAhead ? key : key - 1;
    if (curve.KeyGetValue(first) == curve.KeyGetValue(first + 1)) HoldFrom(curve, first);
}

// Sets keys on all three curves there, so that the way to the neighbour stays what it is. What the curves
// have at the neighbours is pinned down before any of them changes.
void PutPins(YFCurveNode& layer, const std::vector<Pin>& pins)
{
    for (int i = 0; i < kRotationComponents; ++i) {
        YFCurve& curve = *layer.Get(i)->FCurveGet();
        const YFCurveModify modify(curve);
        for (const Pin& pin : pins) InsertNeighbour(curve, pin.neighbour);
        for (const Pin& pin : pins) {
            curve.KeySetValue(curve.KeyInsert(pin.time), static_cast<float>(pin.angles[i]));
        }
        for (const Pin& pin : pins) {
            if (pin.held) HoldFrom(curve, LastKeyUntil(curve, std::min(pin.time, pin.neighbour)));
        }
    }
}

void PinEnds(YFCurveNode& layer, const PlottedCurves& plotted)
{
    if (!TurnsEvenly(layer)) return;
    std::vector<Pin> pins;
    if (!plotted.openStart) FindPin(pins, layer, plotted.start - YTIME_ONE_TICK, true);
    if (!plotted.openStop) FindPin(pins, layer, plotted.stop + YTIME_ONE_TICK, false);
    PutPins(layer, pins);
}

}  // namespace

void PutCurves(YFCurveNode& property, YFCurveNode& layer, const PlottedCurves& plotted)
{
    PinEnds(layer, plotted);
    for (std::size_t i = 0; i < plotted.curves.size(); ++i) {
        YFCurve* curve = CurveOf(property, layer, static_cast<int>(i));
        if (curve == nullptr) continue;
        const YFCurveModify modify(*curve);
        YFCurve& source = *plotted.curves[i];
        if (plotted.IsWhole()) {
            source.SetColor(curve->GetColor());
            curve->CopyFrom(source);
            continue;
        }
        YFCurveReplace::Apply(*curve, source,
                              {.start = plotted.openStart ? YTIME_MINUS_INFINITE : plotted.start,
                               .stop = plotted.openStop ? YTIME_INFINITE : plotted.stop,
                               .offset = YTIME_ZERO,
                               .exact = true,
                               .keyAtEnds = true,
                               .angles = false,
                               .holds = true});
        if (plotted.openStart) {
            curve->SetPreExtrapolation(source.GetPreExtrapolation());
            curve->SetPreExtrapolationCount(source.GetPreExtrapolationCount());
        }
        if (plotted.openStop) {
            curve->SetPostExtrapolation(source.GetPostExtrapolation());
            curve->SetPostExtrapolationCount(source.GetPostExtrapolationCount());
        }
    }
}

// --- Trees ---------------------------------------------------------------------------------------------

namespace {

void Collect(YFCurvePlotReport& all, const YFCurvePlotReport& one)
{
    if (all.status == eYFCurvePlotStatus::Done) all.status = one.status;
    all.keyCount += one.keyCount;
    if (one.largestDifference <= all.largestDifference) return;
    all.largestDifference = one.largestDifference;
    all.time = one.time;
}

// \return  whether there was a property.
bool Visit(YFCurveNode& top, YFCurvePlotReport& all,
           const std::function<void(YFCurveNode&, YFCurvePlotReport&)>& operation)
{
    bool any = false;
    WalkTree(top, [&](YFCurveNode& node) {
        if (!IsProperty(node)) return node.LayerGet() == nullptr ? EWalk::Into : EWalk::Past;
        YFCurvePlotReport one;
        operation(node, one);
        Collect(all, one);
        any = true;
        return EWalk::Past;
    });
    return any;
}

}  // namespace

bool ForEachProperty(YFCurveNode* node, YFCurvePlotReport* report,
                     const std::function<void(YFCurveNode&, YFCurvePlotReport&)>& operation)
{
    YFCurvePlotReport all;
    bool any = false;
    const bool visited = node == nullptr || Safely(*node, false, [&] {
                             any = Visit(*node, all, operation);
                             return true;
                         });
    if (!visited) {
        all = {};
        all.status = eYFCurvePlotStatus::Memory;
    }
    if (!any && all.status == eYFCurvePlotStatus::Done) all.status = eYFCurvePlotStatus::BadNode;
    if (report != nullptr) *report = all;
    return all.status == eYFCurvePlotStatus::Done;
}

}  // namespace yfc
