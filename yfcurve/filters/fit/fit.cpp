#include "yfcurve/yfcurvefilterfit.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>
#include <vector>

#include "ybaselib/yrotation.h"
#include "yfcurve/curve/keysearch.h"
#include "yfcurve/curve/ticks.h"
#include "yfcurve/filters/fit/curvefit.h"
#include "yfcurve/filters/framework/framerate.h"
#include "yfcurve/filters/rotation/quaternionform.h"
#include "yfcurve/fitting/fitpath.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurveptr.h"

namespace {

constexpr const char* kMessages[] = {"No key", "Left unchanged", "Bad value"};
constexpr YEnumName kTangentNames[] = {{YFCurveFilterFit::eSmooth, "smooth"},
                                       {YFCurveFilterFit::eBroken, "broken"},
                                       {YFCurveFilterFit::eAuto, "auto"}};

enum EStatus
{
    kNoKey,
    kUnchanged,
    kBadValue
};

constexpr const char* kUnchangedText = "Fit, No key were changed by filter.";

// The keys of a curve in the span.
struct Keys
{
    int first;
    int last;

    Keys(const YFCurve& curve, YTime start, YTime stop)
        : first(yfc::FirstKeyFrom(curve, start)), last(yfc::LastKeyUntil(curve, stop))
    {}
};

// The curves of a node's children, where each of these has one and no children of its own; else none.
std::vector<YFCurve*> CurvesOf(const YFCurveNode& node)
{
    std::vector<YFCurve*> curves;
    if (node.FCurveGet() != nullptr) return {};
    for (int i = 0; i < node.GetCount(); ++i) {
        const YFCurveNode& child = *node.Get(i);
        if (child.FCurveGet() == nullptr || child.GetCount() > 0) return {};
        curves.push_back(child.FCurveGet());
    }
    return curves;
}

template<class Curve>
std::vector<Curve*> PointersTo(std::vector<YFCurve>& curves)
{
    std::vector<Curve*> pointers;
    for (YFCurve& curve : curves) pointers.push_back(&curve);
    return pointers;
}

int CountKeys(std::span<const YFCurve* const> curves)
{
    int count = 0;
    for (const YFCurve* curve : curves) count += curve->KeyGetCount();
    return count;
}

// Copies of curves that in the span have keys at the same times.
std::vector<YFCurve> Completed(const std::vector<YFCurve*>& curves, YTime start, YTime stop)
{
    std::vector<YFCurve> complete;
    for (const YFCurve* curve : curves) complete.push_back(*curve);
    yfc::CompleteKeys(PointersTo<YFCurve>(complete), start, stop);
    return complete;
}

// How far the orientations of two sets of three angles are apart.
class TurnDistance
{
  public:
    using Curves = std::vector<const YFCurve*>;

    TurnDistance(const Curves& a, const Curves& b, eRotationOrder order) : mA(a), mB(b), mOrder(order) {}

    // Whether it is nowhere in a span more than the tolerance, in degrees.
    bool IsWithin(const yfc::FitOptions& options, YTime start, YTime stop) const
    {
        Curves all = mA;
        all.insert(all.end(), mB.begin(), mB.end());
        const std::vector<YTime> times = yfc::KeyTimes(all, start, stop);
        for (std::size_t i = 0; i + 1 < times.size(); ++i) {
            const double limit = options.ToleranceBetween(times[i], times[i + 1]);
            if (!IsWithinBetween(limit, times[i], times[i + 1])) return false;
        }
        return true;
    }

  private:
    YgeQuaternion Turn(const Curves& curves, YTime time) const
    {
        return YgeQuaternion(
            YgeRVector(curves[0]->Evaluate(time), curves[1]->Evaluate(time), curves[2]->Evaluate(time)),
            mOrder);
    }

    double At(YTime time) const { return Turn(mA, time).GetAngleTo(Turn(mB, time)); }

    // Between keys the curves differ by cubics. Sampled so often, none of these can be more than a fifth higher
    // between two samples, so that only high samples need a closer look.
    bool IsWithinBetween(double limit, YTime from, YTime to) const
    {
        constexpr int parts = 6;
        constexpr double high = 0.7;
        const YTime step = (to - from) / parts;
        std::array<double, parts + 1> samples;
        for (int i = 0; i <= parts; ++i) {
            double& sample = samples[static_cast<std::size_t>(i)];
            sample = At(from + step * i);
            if (sample > limit) return false;
        }
        for (int i = 0; i <= parts; ++i) {
            const auto at = [&](int j) { return samples[static_cast<std::size_t>(std::clamp(j, 0, parts))]; };
            const bool isPeak = at(i) >= at(i - 1) && at(i) >= at(i + 1);
            if (isPeak && at(i) >= high * limit && PeakNear(from + step * i, from, to, step) > limit)
                return false;
        }
        return true;
    }

    // The largest around a sample, by steps that become smaller.
    double PeakNear(YTime time, YTime from, YTime to, YTime step) const
    {
        constexpr int halvings = 5;
        double largest = At(time);
        for (int i = 0; i < halvings; ++i) {
            step = step / 2;
            for (const YTime beside : {time - step, time + step}) {
                const double sample = At(std::clamp(beside, from, to));
                if (sample <= largest) continue;
                largest = sample;
                time = beside;
            }
        }
        return largest;
    }

    const Curves& mA;
    const Curves& mB;
    const eRotationOrder mOrder;
};

}  // namespace

YClassDefinition& YFCurveFilterFit::StaticClass()
{
    using Filter = YFCurveFilterFit;
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&Filter::mTolerance>("Tolerance", 0.1,
                                         {.minimum = 0.0, .help = "how far the curve may be off anywhere"}),
        YPropertyOf<&Filter::mTangents>(
            "Tangents", int{eSmooth},
            {.help = "one slope a key, two, or auto keys where they serve", .names = kTangentNames}),
        YPropertyOf<&Filter::mWeighted>("Weighted", false,
                                        {.help = "leave segments with weights as they are"}),
        YPropertyOf<&Filter::mOnFrame>("OnFrame", false, {.help = "keys on frames, not at key times"}),
        YPropertyOf<&Filter::mPeriod, &yfc::OneFrame>("Period", {.minimum = 0.0,
                                                                 .aboveMinimum = true,
                                                                 .unit = "s",
                                                                 .help = "from frame to frame",
                                                                 .ofFrames = true}),
        YPropertyOf<&Filter::mTogether>("Together", false,
                                        {.help = "keys at the same times on the curves of a node"}),
    };
    static constinit YClassDefinition definition("YFCurveFilterFit", &YFCurveFilter::StaticClass,
                                                 {.summary = "the fewest keys that stay within a tolerance",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterFit>,
                                                  .tag = static_cast<int>(eFilterScope::Property)});
    return definition;
}

YFCurveFilterFit::YFCurveFilterFit() : YFCurveFilterOf("Curve Fit", kMessages, 3)
{
    Reset();
}

namespace {

yfc::FitOptions OptionsOf(const YFCurveFilterFit& filter)
{
    return {std::max(filter.GetTolerance(), 0.0),
            static_cast<YFCurveFilterFit::ETangents>(filter.GetTangents()), filter.GetWeighted(),
            filter.GetOnFrame() ? filter.GetPeriod() : YTIME_ZERO, filter.GetToleranceFactor()};
}

// Whether frames are so short that looking at each takes more memory and time than a motion is worth.
bool HasTooManyFrames(const YFCurve& curve, const Keys& keys, YTime period)
{
    constexpr double kMostFrames = 1e7;
    if (period <= YTIME_ZERO) return false;
    const double ticks = yfc::Ticks(curve.KeyGetTime(keys.first), curve.KeyGetTime(keys.last));
    return ticks / static_cast<double>(period.Get()) > kMostFrames;
}

}  // namespace

bool YFCurveFilterFit::FilterCurve(YFCurve& curve)
{
    if (curve.KeyGetCount() == 0) return NothingToDo(kNoKey, "Fit, No key to be filtered.");
    const Keys keys(curve, GetStartTime(), GetStopTime());
    if (keys.last - keys.first < 1) return NothingToDo(kUnchanged, kUnchangedText);
    if (!yfc::AreUsual(curve, keys.first, keys.last)) {
        return Refuse(kBadValue, "Fit, A value or slope is not a finite number.");
    }
    if (HasTooManyFrames(curve, keys, OptionsOf(*this).period)) {
        return Refuse(kBadValue, "Fit, Period is too short for the span.");
    }
    return yfc::FitCurve(curve, keys.first, keys.last, OptionsOf(*this)) ||
           NothingToDo(kUnchanged, kUnchangedText);
}

bool YFCurveFilterFit::FilterCurves(YFCurve** curves, int count)
{
    if (mTogether && count > 0) {
        const std::vector<YFCurve*> all(curves, curves + count);
        if (FitTogether(all, all, nullptr)) return true;
    }
    return YFCurveFilter::FilterCurves(curves, count);
}

bool YFCurveFilterFit::FilterNode(YFCurveNode& node, bool recursive)
{
    const bool isQuaternion = yfc::IsQuaternionRotation(node);
    if (!recursive || (!mTogether && !isQuaternion)) return YFCurveFilter::FilterNode(node, recursive);
    const std::vector<YFCurve*> own = CurvesOf(node);
    const auto fit = [&](YFCurveNode& angles) {
        const int order = angles.GetRotationOrder();
        const bool fitted =
            mTogether && !yfc::IsRotationLocked(angles) &&
            FitTogether(CurvesOf(angles), own, angles.IsRotationLayerType() ? &order : nullptr);
        return fitted || YFCurveFilter::FilterNode(angles, true);
    };
    if (!isQuaternion) return fit(node);
    return FilterAsAngles(node, [&](YFCurveNode& angles) {
        const YFCurveNodePtr trial(angles.SingleLayerCopy());
        if (!trial) return false;
        const bool done = fit(*trial);
        if (GetOutcome() != eFilterOutcome::Changed) return done;
        const std::vector<YFCurve*> results = CurvesOf(*trial);
        if (CountKeys(results) >= CountKeys(own)) return NothingToDo(kUnchanged, kUnchangedText);
        const std::vector<YFCurve*> curves = CurvesOf(angles);
        for (std::size_t i = 0; i < curves.size(); ++i) curves[i]->CopyFrom(*results[i]);
        return done;
    });
}

bool YFCurveFilterFit::CanBeFitted(const YFCurve& curve)
{
    const Keys keys(curve, GetStartTime(), GetStopTime());
    return !curve.IsLocked() && keys.last > keys.first && yfc::AreUsual(curve, keys.first, keys.last) &&
           !HasTooManyFrames(curve, keys, OptionsOf(*this).period);
}

// The sum of what three angles are off is never less than the angle between the orientations, and mostly far
// more: the largest share of the tolerance that keeps it is found by trying. The last one, a third, always does.
bool YFCurveFilterFit::ChooseFit(const std::vector<const YFCurve*>& sources, const int* rotationOrder,
                                 std::vector<YFCurve>& fitted)
{
    constexpr double shares[] = {1.0, 0.85, 0.7, 0.55, 1.0 / 3.0};
    const Keys keys(*sources[0], GetStartTime(), GetStopTime());
    for (const double share : shares) {
        yfc::FitOptions options = OptionsOf(*this);
        if (rotationOrder != nullptr) options.tolerance *= share;
        if (!yfc::FitTogether(sources, GetStartTime(), GetStopTime(), options, fitted)) return false;
        const bool isSure = rotationOrder == nullptr || share == *std::rbegin(shares);
        bool keepsTo = true;
        for (std::size_t i = 0; keepsTo && i < fitted.size(); ++i) {
            keepsTo = yfc::KeepsTo(*sources[i], fitted[i], keys.first, keys.last,
                                   isSure ? options : OptionsOf(*this));
        }
        if (isSure) return keepsTo;
        const std::vector<const YFCurve*> results = PointersTo<const YFCurve>(fitted);
        const TurnDistance distance(sources, results, static_cast<eRotationOrder>(*rotationOrder));
        if (keepsTo && distance.IsWithin(OptionsOf(*this), GetStartTime(), GetStopTime())) return true;
    }
    return false;
}

bool YFCurveFilterFit::FitTogether(const std::vector<YFCurve*>& curves, const std::vector<YFCurve*>& before,
                                   const int* rotationOrder)
{
    const int count = static_cast<int>(curves.size());
    if (count < 2 || count > yfc::kMostFitCurves) return false;
    for (const YFCurve* curve : curves) {
        if (!CanBeFitted(*curve)) return false;
    }
    std::vector<YFCurve> sources = Completed(curves, GetStartTime(), GetStopTime());
    std::vector<YFCurve> fitted;
    if (!ChooseFit(PointersTo<const YFCurve>(sources), rotationOrder, fitted)) return false;
    const std::vector<YFCurve> worth = Completed(before, GetStartTime(), GetStopTime());
    const Keys keys(worth[0], GetStartTime(), GetStopTime());
    const int saved = CountKeys(before) - CountKeys(PointersTo<YFCurve>(fitted));
    if (!yfc::IsWorthIt(worth[0], saved / count, keys.last - keys.first + 1)) {
        NothingToDo(kUnchanged, kUnchangedText);
        return true;
    }
    for (std::size_t i = 0; i < curves.size(); ++i) curves[i]->CopyFrom(fitted[i]);
    return true;
}
