#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvefilteroffset.h"

namespace {

constexpr const char* kMessages[] = {"No key", "Left unchanged"};

}  // namespace

YClassDefinition& YFCurveFilterOffset::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {YPropertyOf<&YFCurveFilterOffset::mOffset>(
        "Offset", 0.0, {.help = "what is added to every value", .needed = true})};
    static constinit YClassDefinition definition("YFCurveFilterOffset", &YFCurveFilter::StaticClass,
                                                 {.summary = "adds an offset to values",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterOffset>});
    return definition;
}

YFCurveFilterOffset::YFCurveFilterOffset() : YFCurveFilterOf("Filter Offset", kMessages, 2)
{
    Reset();
}

bool YFCurveFilterOffset::FilterCurve(YFCurve& curve)
{
    if (mOffset == 0.0) return NothingToDo(1, "FilterOffset, No key were changed by filter.");
    if (curve.KeyGetCount() == 0) return Untouched();

    curve.KeyModifyBegin();
    curve.SetValue(static_cast<float>(curve.GetValue() + mOffset));
    const int stop = GetStopKey(curve);
    for (int i = GetStartKey(curve); i <= stop; ++i) curve.KeyIncValue(i, static_cast<float>(mOffset));
    curve.KeyModifyEnd();
    return true;
}
