#include "yfcurve/filters/fit/commonfit.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "yfcurve/curve/keysearch.h"
#include "yfcurve/curve/keysegment.h"
#include "yfcurve/filters/fit/curvefit.h"
#include "yfcurve/filters/rotation/quaternionform.h"
#include "yfcurve/fitting/fitpath.h"

namespace yfc {

namespace {

template<class Curve>
std::vector<Curve*> PointersTo(std::vector<YFCurve>& curves)
{
    std::vector<Curve*> pointers;
    for (YFCurve& curve : curves) pointers.push_back(&curve);
    return pointers;
}

// Copies of curves that in the span have keys at the same times.
std::vector<YFCurve> Completed(const std::vector<YFCurve*>& curves, YTime start, YTime stop)
{
    std::vector<YFCurve> complete;
    for (const YFCurve* curve : curves) complete.push_back(*curve);
    CompleteKeys(PointersTo<YFCurve>(complete), start, stop);
    return complete;
}

// How far the orientations of two sets of three angles are apart.
class TurnDistance
{
  public:
    using Curves = std::vector<const YFCurve*>;

    TurnDistance(const Curves& a, const Curves& b, eRotationOrder order) : mA(a), mB(b), mOrder(order) {}

    // Whether it is nowhere in a span more than the tolerance, in degrees.
    bool IsWithin(const FitOptions& options, YTime start, YTime stop) const
    {
        Curves all = mA;
        all.insert(all.end(), mB.begin(), mB.end());
        std::vector<YTime> times = KeyTimes(all, start, stop);
        if (options.weighted) AddTimesOfWeights(all, times);
        for (std::size_t i = 0; i + 1 < times.size(); ++i) {
            const double limit = options.ToleranceBetween(times[i], times[i + 1]);
            if (!IsWithinBetween(limit, times[i], times[i + 1])) return false;
        }
        return true;
    }

  private:
    // Inside segments with weights, which between such times are nearly cubics.
    static void AddTimesOfWeights(const Curves& curves, std::vector<YTime>& times)
    {
        constexpr int parts = 16;
        const YTime start = times.front();
        const YTime stop = times.back();
        for (const YFCurve* curve : curves) {
            for (int key = FirstKeyFrom(*curve, start); key < LastKeyUntil(*curve, stop); ++key) {
                if (!IsWeighted(*curve, key)) continue;
                const CubicSegment segment = CubicSegmentAt(*curve, key);
                for (int i = 1; i < parts; ++i) {
                    const double seconds = segment.Time(static_cast<double>(i) / parts);
                    times.push_back(curve->KeyGetTime(key) + YTime::FromSeconds(seconds));
                }
            }
        }
        std::sort(times.begin(), times.end());
        times.erase(std::unique(times.begin(), times.end()), times.end());
    }

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

// A search for the fewest common times. The sum of what three angles are off is never less than the angle between
// the orientations, and mostly far more: the largest share of the tolerance that keeps it is found by trying. The
// last one, a third, always does.
class CommonFit
{
  public:
    CommonFit(const std::vector<FitProperty>& properties, YTime start, YTime stop, const FitOptions& options)
        : mProperties(properties),
          mStart(start),
          mStop(stop),
          mOptions(options),
          mSources(Completed(CurvesOf(properties), start, stop)),
          mFirst(FirstKeyFrom(mSources[0], start)),
          mLast(LastKeyUntil(mSources[0], stop))
    {}

    /// Empty where there is no fit.
    std::vector<YFCurve> Find()
    {
        constexpr double shares[] = {1.0, 0.85, 0.7, 0.55, 1.0 / 3.0};
        const bool turns =
            std::any_of(mProperties.begin(), mProperties.end(),
                        [](const FitProperty& property) { return property.order.has_value(); });
        if (!turns) return FindWith(1.0, true);
        for (const double share : shares) {
            std::vector<YFCurve> fitted = FindWith(share, share == *std::rbegin(shares));
            if (!fitted.empty()) return fitted;
        }
        return {};
    }

  private:
    /// With a share of the tolerance for each angle of a rotation.
    /// \param isSure  whether what each angle keeps to keeps the orientation as well.
    std::vector<YFCurve> FindWith(double share, bool isSure)
    {
        FitOptions angle = mOptions;
        angle.tolerance *= share;
        std::vector<const FitOptions*> options;
        for (const FitProperty& property : mProperties)
            options.insert(options.end(), property.curves.size(), property.order ? &angle : &mOptions);
        std::vector<YFCurve> fitted;
        if (!FitTogether(PointersTo<const YFCurve>(mSources), mStart, mStop, options, fitted)) return {};
        for (std::size_t i = 0; i < fitted.size(); ++i) {
            const FitOptions& wanted = isSure ? *options[i] : mOptions;
            if (!KeepsTo(mSources[i], fitted[i], mFirst, mLast, wanted)) return {};
        }
        return isSure || KeepsOrientations(fitted) ? fitted : std::vector<YFCurve>();
    }

    bool KeepsOrientations(std::vector<YFCurve>& fitted)
    {
        const std::vector<const YFCurve*> before = PointersTo<const YFCurve>(mSources);
        const std::vector<const YFCurve*> after = PointersTo<const YFCurve>(fitted);
        std::ptrdiff_t first = 0;
        for (const FitProperty& property : mProperties) {
            const std::ptrdiff_t last = first + std::ssize(property.curves);
            if (property.order) {
                const TurnDistance::Curves from(before.begin() + first, before.begin() + last);
                const TurnDistance::Curves to(after.begin() + first, after.begin() + last);
                if (!TurnDistance(from, to, *property.order).IsWithin(mOptions, mStart, mStop)) return false;
            }
            first = last;
        }
        return true;
    }

    const std::vector<FitProperty>& mProperties;
    const YTime mStart;
    const YTime mStop;
    const FitOptions& mOptions;
    std::vector<YFCurve> mSources;  // with keys at the same times
    const int mFirst;
    const int mLast;
};

bool CanBeFitted(const YFCurve& curve, YTime start, YTime stop, const FitOptions& options)
{
    const int first = FirstKeyFrom(curve, start);
    const int last = LastKeyUntil(curve, stop);
    return !curve.IsLocked() && last > first && AreUsual(curve, first, last) &&
           !HasTooManyFrames(curve, first, last, options.period);
}

}  // namespace

FitProperty::FitProperty(const YFCurveNode& node)
{
    if (node.FCurveGet() != nullptr) return;
    for (int i = 0; i < node.GetCount(); ++i) {
        const YFCurveNode& child = *node.Get(i);
        if (child.FCurveGet() == nullptr || child.GetCount() > 0) {
            curves.clear();
            return;
        }
        curves.push_back(child.FCurveGet());
    }
    if (node.IsRotationLayerType() && curves.size() == 3)
        order = static_cast<eRotationOrder>(node.GetRotationOrder());
}

std::vector<FitProperty> FitPropertiesOf(const YFCurveNode& node)
{
    std::vector<FitProperty> properties{FitProperty(node)};
    if (!properties[0].curves.empty() || node.FCurveGet() != nullptr) return properties;
    properties.clear();
    for (int i = 0; i < node.GetCount(); ++i) {
        const YFCurveNode& child = *node.Get(i);
        properties.emplace_back(child);
        if (properties.back().curves.empty() || child.IsNodeLocked() || IsQuaternionRotation(child))
            return {};
    }
    return properties;
}

std::vector<YFCurve*> CurvesOf(const std::vector<FitProperty>& properties)
{
    std::vector<YFCurve*> curves;
    for (const FitProperty& property : properties)
        curves.insert(curves.end(), property.curves.begin(), property.curves.end());
    return curves;
}

int CountKeys(std::span<const YFCurve* const> curves)
{
    int count = 0;
    for (const YFCurve* curve : curves) count += curve->KeyGetCount();
    return count;
}

ECommonFit FitAtCommonTimes(const std::vector<FitProperty>& properties, const std::vector<YFCurve*>& before,
                            YTime start, YTime stop, const FitOptions& options)
{
    const std::vector<YFCurve*> curves = CurvesOf(properties);
    const int count = static_cast<int>(curves.size());
    if (count < 2 || count > kMostFitCurves) return ECommonFit::Impossible;
    for (const YFCurve* curve : curves) {
        if (!CanBeFitted(*curve, start, stop, options)) return ECommonFit::Impossible;
    }
    std::vector<YFCurve> fitted = CommonFit(properties, start, stop, options).Find();
    if (fitted.empty()) return ECommonFit::Impossible;
    const std::vector<YFCurve> complete = Completed(before, start, stop);
    const auto chosen = std::find_if(complete.begin(), complete.end(),
                                     [&](const YFCurve& curve) { return HasFittedWeights(curve, options); });
    const YFCurve& worth = chosen != complete.end() ? *chosen : complete[0];
    const int keys = LastKeyUntil(worth, stop) - FirstKeyFrom(worth, start) + 1;
    const int saved = CountKeys(before) - CountKeys(PointersTo<YFCurve>(fitted));
    if (!IsWorthIt(worth, saved / count, keys, options)) return ECommonFit::Needless;
    for (std::size_t i = 0; i < curves.size(); ++i) curves[i]->CopyFrom(fitted[i]);
    return ECommonFit::Made;
}

}  // namespace yfc
