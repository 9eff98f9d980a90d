#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvefilteroffset.h"

namespace {

constexpr const char* kMessages[] = {"No key", "Left unchanged"};

}  // namespace

YClassDefinition& YFCurveFilterOffset::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterOffset::mOffset>("Offset", 0.0, {.help = "what is added to every value"})};
    static constinit YClassDefinition definition("YFCurveFilterOffset", &YFCurveFilter::StaticClass,
                                                 {.summary = "adds an offset to values",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterOffset>});
    return definition;
}

YFCurveFilterOffset::YFCurveFilterOffset() : YFCurveFilter("Filter Offset", kMessages, 2)
{
    Reset();
}

bool YFCurveFilterOffset::Apply(YFCurve& curve)
{
    if (curve.IsLocked()) return false;
    if (mOffset == 0.0) {
        GetError().SetLastError(1, "FilterOffset, No key were changed by filter.");
        return false;
    }
    if (curve.KeyGetCount() == 0) return true;

    curve.KeyModifyBegin();
    curve.SetValue(static_cast<float>(curve.GetValue() + mOffset));
    const int stop = GetStopKey(curve);
    for (int i = GetStartKey(curve); i <= stop; ++i) curve.KeyIncValue(i, static_cast<float>(mOffset));
    curve.KeyModifyEnd();
    return true;
}

bool YFCurveFilterOffset::Apply(YFCurve** curves, int count)
{
    return YFCurveFilter::Apply(curves, count);
}

bool YFCurveFilterOffset::Apply(YFCurveNode& node, bool recursive)
{
    return YFCurveFilter::Apply(node, recursive);
}

void YFCurveFilterOffset::Reset()
{
    ResetProperties(StaticClass());
    YFCurveFilter::Reset();
}
