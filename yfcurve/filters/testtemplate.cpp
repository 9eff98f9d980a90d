#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvefiltertesttemplate.h"

namespace {

constexpr const char* kMessages[] = {"No key", "Left unchanged"};

}  // namespace

YClassDefinition& YFCurveFilter_TestTemplate::StaticClass()
{
    static constinit YClassDefinition definition("YFCurveFilter_TestTemplate", &YFCurveFilter::StaticClass,
                                                 {.summary = "changes nothing; the pattern of a filter",
                                                  .create = &YCreateObject<YFCurveFilter_TestTemplate>});
    return definition;
}

YFCurveFilter_TestTemplate::YFCurveFilter_TestTemplate() : YFCurveFilter("Filter Name", kMessages, 2)
{
    Reset();
}

bool YFCurveFilter_TestTemplate::Apply(YFCurve& curve)
{
    if (curve.IsLocked()) return false;
    if (const int count = curve.KeyGetCount(); count == 0) {
        GetError().SetLastError(count, "No key to be filtered.");
        return false;
    }
    GetError().SetLastError(1, "No key were changed by filter.");
    return false;
}

bool YFCurveFilter_TestTemplate::Apply(YFCurve** curves, int count)
{
    return YFCurveFilter::Apply(curves, count);
}

bool YFCurveFilter_TestTemplate::Apply(YFCurveNode& node, bool recursive)
{
    return YFCurveFilter::Apply(node, recursive);
}

void YFCurveFilter_TestTemplate::Reset()
{
    YFCurveFilter::Reset();
}
