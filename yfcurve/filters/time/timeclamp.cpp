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
        YPropertyOf<&YFCurveFilterTimeClamp::mMin>(
            "Min", YTIME_MINUS_INFINITE, {.unit = "s", .help = "first time whose keys go", .needed = true}),
        YPropertyOf<&YFCurveFilterTimeClamp::mApplyMaxClamp>("ApplyMaxClamp", true,
                                                             {.help = "whether Max counts"}),
        YPropertyOf<&YFCurveFilterTimeClamp::mMax>(
            "Max", YTIME_INFINITE, {.unit = "s", .help = "last time whose keys go", .needed = true})};
    static constinit YClassDefinition definition("YFCurveFilterTimeClamp", &YFCurveFilter::StaticClass,
                                                 {.summary = "removes the keys of a stretch of time",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterTimeClamp>});
    return definition;
}

YFCurveFilterTimeClamp::YFCurveFilterTimeClamp() : YFCurveFilterOf("Time Clamper", kMessages, 3)
{
    Reset();
}

bool YFCurveFilterTimeClamp::FilterCurve(YFCurve& curve)
{
    if (curve.KeyGetCount() == 0) return NothingToDo(0, "FilterTimeClamp. No key to be filtered.");

    const bool hasMin = mApplyMinClamp && mMin != YTIME_MINUS_INFINITE;
    const bool hasMax = mApplyMaxClamp && mMax != YTIME_INFINITE;
    if (!hasMin && !hasMax) return Refuse(2, "FilterTimeClamp. Either Min or Max are not valid.");
    const YTime from = mApplyMinClamp ? mMin : YTIME_MINUS_INFINITE;
    const YTime to = mApplyMaxClamp ? mMax : YTIME_INFINITE;
    if (curve.Delete(from, to)) return true;
    return NothingToDo(1, "FilterTimeClamp. No key were changed by filter.");
}

bool YFCurveFilterTimeClamp::FilterNode(YFCurveNode& node, bool recursive)
{
    return FilterKeyTimes(node, recursive);
}
