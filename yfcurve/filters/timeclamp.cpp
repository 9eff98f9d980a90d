#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvefiltertimeclamp.h"

namespace {

constexpr const char* kMessages[] = {"No key", "Left unchanged", "Time interval is invalid"};

}  // namespace

YClassDefinition& YFCurveFilterTimeClamp::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterTimeClamp::mApplyMinClamp>("ApplyMinClamp", true,
                                                             {.help = "whether Min counts"}),
        YPropertyOf<&YFCurveFilterTimeClamp::mMin>("Min", YTIME_MINUS_INFINITE,
                                                   {.unit = "s", .help = "first time whose keys go"}),
        YPropertyOf<&YFCurveFilterTimeClamp::mApplyMaxClamp>("ApplyMaxClamp", true,
                                                             {.help = "whether Max counts"}),
        YPropertyOf<&YFCurveFilterTimeClamp::mMax>("Max", YTIME_INFINITE,
                                                   {.unit = "s", .help = "last time whose keys go"})};
    static constinit YClassDefinition definition("YFCurveFilterTimeClamp", &YFCurveFilter::StaticClass,
                                                 {.summary = "removes the keys of a stretch of time",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterTimeClamp>});
    return definition;
}

YFCurveFilterTimeClamp::YFCurveFilterTimeClamp() : YFCurveFilter("Time Clamper", kMessages, 3)
{
    Reset();
}

bool YFCurveFilterTimeClamp::Apply(YFCurve& curve)
{
    if (curve.IsLocked()) return false;
    if (const int count = curve.KeyGetCount(); count == 0) {
        GetError().SetLastError(count, "FilterTimeClamp. No key to be filtered.");
        return false;
    }
    const bool hasMin = mApplyMinClamp && mMin != YTIME_MINUS_INFINITE;
    const bool hasMax = mApplyMaxClamp && mMax != YTIME_INFINITE;
    if (!hasMin && !hasMax) {
        GetError().SetLastError(2, "FilterTimeClamp. Either Min or Max are not valid.");
        return false;
    }
    const YTime from = mApplyMinClamp ? mMin : YTIME_MINUS_INFINITE;
    const YTime to = mApplyMaxClamp ? mMax : YTIME_INFINITE;
    if (curve.Delete(from, to)) return true;
    GetError().SetLastError(1, "FilterTimeClamp. No key were changed by filter.");
    return false;
}

bool YFCurveFilterTimeClamp::Apply(YFCurve** curves, int count)
{
    return YFCurveFilter::Apply(curves, count);
}

bool YFCurveFilterTimeClamp::Apply(YFCurveNode& node, bool recursive)
{
    return YFCurveFilter::Apply(node, recursive);
}

void YFCurveFilterTimeClamp::Reset()
{
    ResetProperties(StaticClass());
    YFCurveFilter::Reset();
}
