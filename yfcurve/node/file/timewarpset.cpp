#include "yfcurve/yfcurvetimewarpset.h"

#include "ybaselib/yset.h"
#include "yfcurve/yfcurvenode.h"

namespace {

constinit YSet* gTimeWarps = nullptr;

}  // namespace

void YFCurve_SetTWSet(YSet* set)
{
    gTimeWarps = set;
}

YFCurveNode* YFCurve_FindTWFromNickNumber(int nick)
{
    if (gTimeWarps == nullptr) return nullptr;
    return static_cast<YFCurveNode*>(gTimeWarps->GetFromIndex(gTimeWarps->FindValue(nick)));
}

bool YFCurve_FindNickNumberFromTW(int& nick, YFCurveNode* node)
{
    if (gTimeWarps == nullptr || node == nullptr) return false;
    return gTimeWarps->GetFromIndex(gTimeWarps->FindReference(node), &nick) != nullptr;
}
