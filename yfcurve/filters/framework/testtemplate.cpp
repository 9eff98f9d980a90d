#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvefiltertesttemplate.h"

namespace {

constexpr const char* kMessages[] = {"No key", "Left unchanged"};

}  // namespace

YClassDefinition& YFCurveFilter_TestTemplate::StaticClass()
{
    static constinit YClassDefinition definition("YFCurveFilter_TestTemplate", &YFCurveFilter::StaticClass,
                                                 {.summary = "changes nothing; the pattern of a filter",
                                                  .create = &YCreateObject<YFCurveFilter_TestTemplate>,
                                                  .pattern = true});
    return definition;
}

YFCurveFilter_TestTemplate::YFCurveFilter_TestTemplate() : YFCurveFilterOf("Filter Name", kMessages, 2)
{
    Reset();
}

bool YFCurveFilter_TestTemplate::FilterCurve(YFCurve& curve)
{
    if (curve.KeyGetCount() == 0) return NothingToDo(0, "No key to be filtered.");

    return NothingToDo(1, "No key were changed by filter.");
}
