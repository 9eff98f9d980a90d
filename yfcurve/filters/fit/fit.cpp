#include "yfcurve/yfcurvefilterfit.h"

#include <algorithm>
#include <vector>

#include "yfcurve/curve/keysearch.h"
#include "yfcurve/filters/fit/commonfit.h"
#include "yfcurve/filters/fit/curvefit.h"
#include "yfcurve/filters/framework/framerate.h"
#include "yfcurve/filters/rotation/quaternionform.h"
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
                                        {.help = "weights for segments where they save keys"}),
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

bool YFCurveFilterFit::IsRecording(const YFCurve& curve)
{
    if (curve.GuessWasData() > 0) return true;
    const int last = curve.KeyGetCount() - 1;
    if (last < 3) return false;
    const auto gapBehind = [&](int key) { return curve.KeyGetTime(key + 1) - curve.KeyGetTime(key); };
    const int from = gapBehind(0) < gapBehind(1) ? 1 : 0;
    const int to = gapBehind(last - 1) < gapBehind(last - 2) ? last - 1 : last;
    YFCurve inside;
    for (int key = from; key <= to; ++key) inside.KeyAppendFast(curve.KeyGetTime(key), 0.0f);
    return inside.GuessWasData() > 0;
}

namespace {

yfc::FitOptions OptionsOf(const YFCurveFilterFit& filter)
{
    return {std::max(filter.GetTolerance(), 0.0),
            static_cast<YFCurveFilterFit::ETangents>(filter.GetTangents()), filter.GetWeighted(),
            filter.GetOnFrame() ? filter.GetPeriod() : YTIME_ZERO, filter.GetToleranceFactor()};
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
    if (yfc::HasTooManyFrames(curve, keys.first, keys.last, OptionsOf(*this).period)) {
        return Refuse(kBadValue, "Fit, Period is too short for the span.");
    }
    return yfc::FitCurve(curve, keys.first, keys.last, OptionsOf(*this)) ||
           NothingToDo(kUnchanged, kUnchangedText);
}

bool YFCurveFilterFit::FilterCurves(YFCurve** curves, int count)
{
    const std::vector<YFCurve*> all(curves, curves + count);
    return (mTogether && FitTogether({yfc::FitProperty(all)}, all)) ||
           YFCurveFilter::FilterCurves(curves, count);
}

bool YFCurveFilterFit::FilterNode(YFCurveNode& node, bool recursive)
{
    const bool isQuaternion = yfc::IsQuaternionRotation(node);
    if (!recursive || (!mTogether && !isQuaternion)) return YFCurveFilter::FilterNode(node, recursive);
    const std::vector<yfc::FitProperty> own = yfc::FitPropertiesOf(node);
    const auto fit = [&](YFCurveNode& angles) {
        const bool fitted = mTogether && !yfc::IsRotationLocked(angles) &&
                            FitTogether(yfc::FitPropertiesOf(angles), yfc::CurvesOf(own));
        return fitted || YFCurveFilter::FilterNode(angles, true);
    };
    if (!isQuaternion) return fit(node);
    return FilterAsAngles(node, [&](YFCurveNode& angles) {
        const YFCurveNodePtr trial(angles.SingleLayerCopy());
        if (!trial) return false;
        const bool done = fit(*trial);
        if (GetOutcome() != eFilterOutcome::Changed) return done;
        const std::vector<YFCurve*> results = yfc::CurvesOf(yfc::FitPropertiesOf(*trial));
        if (yfc::CountKeys(results) >= yfc::CountKeys(yfc::CurvesOf(own)))
            return NothingToDo(kUnchanged, kUnchangedText);
        const std::vector<YFCurve*> curves = yfc::CurvesOf(yfc::FitPropertiesOf(angles));
        for (std::size_t i = 0; i < curves.size(); ++i) curves[i]->CopyFrom(*results[i]);
        return done;
    });
}

bool YFCurveFilterFit::FitTogether(const std::vector<yfc::FitProperty>& properties,
                                   const std::vector<YFCurve*>& before)
{
    const yfc::ECommonFit made =
        yfc::FitAtCommonTimes(properties, before, GetStartTime(), GetStopTime(), OptionsOf(*this));
    if (made == yfc::ECommonFit::Needless) NothingToDo(kUnchanged, kUnchangedText);
    return made != yfc::ECommonFit::Impossible;
}
