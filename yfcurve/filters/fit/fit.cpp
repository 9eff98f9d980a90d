#include "yfcurve/yfcurvefilterfit.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "ybaselib/yrotation.h"
#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/filters/fit/curvefit.h"
#include "yfcurve/filters/framework/framerate.h"
#include "yfcurve/filters/rotation/rotationkeys.h"
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

// The angle between two orientations of as many curves, in degrees.
double AngleBetween(const std::vector<const YFCurve*>& a, const std::vector<YFCurve>& b, YTime time,
                    eRotationOrder order)
{
    const YgeQuaternion from(YgeRVector(a[0]->Evaluate(time), a[1]->Evaluate(time), a[2]->Evaluate(time)),
                             order);
    const YgeQuaternion to(YgeRVector(b[0].Evaluate(time), b[1].Evaluate(time), b[2].Evaluate(time)), order);
    const YgeQuaternion turn = from.GetConjugate() * to;
    return std::atan2(std::hypot(turn.x, turn.y, turn.z), std::abs(turn.w)) * 360.0 / std::numbers::pi;
}

double LargestAngle(const std::vector<const YFCurve*>& a, const std::vector<YFCurve>& b, const Keys& keys,
                    eRotationOrder order)
{
    constexpr int parts = 6;
    double largest = 0.0;
    for (int key = keys.first; key < keys.last; ++key) {
        const YTime start = a[0]->KeyGetTime(key);
        const YTime step = (a[0]->KeyGetTime(key + 1) - start) / parts;
        for (int part = 0; part < parts; ++part) {
            largest = std::max(largest, AngleBetween(a, b, start + step * part, order));
        }
    }
    return largest;
}

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
            filter.GetOnFrame() ? filter.GetPeriod() : YTIME_ZERO};
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
    bool saved = false;
    const bool done = yfc::Guarded([&] {
        saved = yfc::FitCurve(curve, keys.first, keys.last, OptionsOf(*this));
        return true;
    });
    if (!done) return false;
    return saved || NothingToDo(kUnchanged, kUnchangedText);
}

bool YFCurveFilterFit::FilterCurves(YFCurve** curves, int count)
{
    if (mTogether && FitTogether(curves, count, nullptr)) return true;
    return YFCurveFilter::FilterCurves(curves, count);
}

bool YFCurveFilterFit::FilterNode(YFCurveNode& node, bool recursive)
{
    const auto curves = yfc::FindRotationCurves(node);
    if (mTogether && recursive && curves && !yfc::IsRotationLocked(node) && !node.GetUseQuaternion()) {
        yfc::RotationCurves three = *curves;
        const int order = node.GetRotationOrder();
        if (FitTogether(three.data(), 3, node.IsRotationLayerType() ? &order : nullptr)) return true;
    }
    return YFCurveFilter::FilterNode(node, recursive);
}

// The sum of what three angles are off is never less than the angle between the orientations, and mostly far
// more: the largest share of the tolerance that keeps it is found by trying.
bool YFCurveFilterFit::FitTogether(YFCurve** curves, int count, const int* rotationOrder)
{
    if (count != 3) return false;
    for (int i = 0; i < count; ++i) {
        const Keys keys(*curves[i], GetStartTime(), GetStopTime());
        if (curves[i]->IsLocked() || keys.last <= keys.first) return false;
        if (!yfc::AreUsual(*curves[i], keys.first, keys.last)) return false;
        if (HasTooManyFrames(*curves[i], keys, OptionsOf(*this).period)) return false;
    }
    return yfc::Guarded([&] {
        std::array<YFCurve, 3> complete{*curves[0], *curves[1], *curves[2]};
        yfc::CompleteKeys({&complete[0], &complete[1], &complete[2]}, GetStartTime(), GetStopTime());
        const std::vector<const YFCurve*> sources{&complete[0], &complete[1], &complete[2]};
        std::vector<YFCurve> fitted;
        const Keys keys(complete[0], GetStartTime(), GetStopTime());
        for (const double share : {1.0, 0.85, 0.7, 0.55, 1.0 / 3.0}) {
            yfc::FitOptions options = OptionsOf(*this);
            if (rotationOrder != nullptr) options.tolerance *= share;
            if (!yfc::FitTogether(sources, GetStartTime(), GetStopTime(), options, fitted)) return false;
            if (rotationOrder == nullptr) break;
            const auto order = static_cast<eRotationOrder>(*rotationOrder);
            if (LargestAngle(sources, fitted, keys, order) <= mTolerance) break;
        }
        const auto countOf = [](const auto& of) {
            int sum = 0;
            for (int i = 0; i < 3; ++i) sum += of(static_cast<std::size_t>(i)).KeyGetCount();
            return sum;
        };
        const int before = countOf([&](std::size_t i) -> const YFCurve& { return *curves[i]; });
        const int after = countOf([&](std::size_t i) -> const YFCurve& { return fitted[i]; });
        for (std::size_t i = 0; i < sources.size(); ++i) {
            if (!yfc::KeepsTo(*sources[i], fitted[i], keys.first, keys.last, GetTolerance())) return false;
        }
        if (!yfc::IsWorthIt(complete[0], (before - after) / 3, keys.last - keys.first + 1)) {
            NothingToDo(kUnchanged, kUnchangedText);
            return true;
        }
        for (int i = 0; i < count; ++i) {
            const YFCurveModify modify(*curves[i]);
            curves[i]->CopyFrom(fitted[static_cast<std::size_t>(i)]);
        }
        return true;
    });
}
