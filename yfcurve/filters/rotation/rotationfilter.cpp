#include "yfcurve/yfcurverotationfilter.h"

#include "yfcurve/yfcurvefiltergimblekiller.h"
#include "yfcurve/yfcurvefilterunroll.h"
#include "yfcurve/yfcurvefilterunrolldof.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurvesettings.h"

namespace {

constexpr int kGimbleKiller = 1;
constexpr int kUnroll = 2;

void Run(YFCurveFilter& filter, YFCurveNode& node, YTime start, YTime stop)
{
    filter.SetStartTime(start);
    filter.SetStopTime(stop);
    filter.Apply(node, true);
}

}  // namespace

void YFCURVE_ApplyRotationFilter(YFCurveNode* node, YTime start, YTime stop, bool* minEnable,
                                 double* minFreedom, bool* maxEnable, double* maxFreedom)
{
    const int choice = YFCURVE_GetRotationFilterToApply();
    if (node == nullptr || (choice != kGimbleKiller && choice != kUnroll)) return;
    if (choice == kGimbleKiller) {
        YFCurveFilterGimbleKiller filter;
        return Run(filter, *node, start, stop);
    }
    if (minEnable == nullptr || minFreedom == nullptr || maxEnable == nullptr || maxFreedom == nullptr) {
        YFCurveFilterUnroll filter;
        return Run(filter, *node, start, stop);
    }
    YFCurveFilterUnrollDof filter;
    filter.SetEnableMinX(minEnable[0]);
    filter.SetEnableMinY(minEnable[1]);
    filter.SetEnableMinZ(minEnable[2]);
    filter.SetMinFreedom(minFreedom[0], minFreedom[1], minFreedom[2]);
    filter.SetEnableMaxX(maxEnable[0]);
    filter.SetEnableMaxY(maxEnable[1]);
    filter.SetEnableMaxZ(maxEnable[2]);
    filter.SetMaxFreedom(maxFreedom[0], maxFreedom[1], maxFreedom[2]);
    Run(filter, *node, start, stop);
}
