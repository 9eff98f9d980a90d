#include "yfcurve/yfcurvefilter.h"

#include <algorithm>
#include <cmath>

#include "yfcurve/filters/filterclasses.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvenode.h"

YClassDefinition& YFCurveFilter::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilter::mStart>("Start", YTIME_MINUS_INFINITE,
                                            {.unit = "s", .help = "first time to filter"}),
        YPropertyOf<&YFCurveFilter::mStop>("Stop", YTIME_INFINITE,
                                           {.unit = "s", .help = "last time to filter"}),
    };
    static constinit YClassDefinition definition(
        "YFCurveFilter", &YObject::StaticClass,
        {.summary = "rewrites the keys of curves", .properties = properties});
    return definition;
}

YFCurveFilter::YFCurveFilter(const char* name, const char* const* messageTable, int messageCount)
    : mName(name), mError(messageTable, messageCount)
{
    YFCURVE_RegisterFilterClasses();
}

YFCurveFilter::~YFCurveFilter()
{
    TearDown();
}

eFilterScope YFCurveFilter::GetScope() const
{
    return static_cast<eFilterScope>(GetClassDefinition()->GetOptions().tag);
}

// --- Span ----------------------------------------------------------------------------------------------

int YFCurveFilter::GetStartKey(YFCurve& curve) const
{
    if (curve.KeyGetCount() == 0) return -1;
    const YTime time = std::max(mStart, curve.KeyGetTime(0));
    return std::max(0, static_cast<int>(std::floor(curve.KeyFind(time))));
}

int YFCurveFilter::GetStopKey(YFCurve& curve) const
{
    if (curve.KeyGetCount() == 0) return -1;
    const int lastKey = curve.KeyGetCount() - 1;
    const YTime time = std::min(mStop, curve.KeyGetTime(lastKey));
    return std::min(lastKey, static_cast<int>(std::ceil(curve.KeyFind(time))));
}

// --- Parameters by name --------------------------------------------------------------------------------

bool YFCurveFilter::SetParameter(const char* name, const char* text)
{
    YProperty* property = FastFindPropertyByName(name);
    return property != nullptr && property->SetString(text);
}

// --- Filtering -----------------------------------------------------------------------------------------
// Over several curves the answer starts as true, and a part could only turn a false one: the whole is asked
// for whether it was gone through, not for how its parts fared.

bool YFCurveFilter::NeedApply(YFCurve&)
{
    return true;
}

bool YFCurveFilter::NeedApply(YFCurve** curves, int count)
{
    for (int i = 0; i < count; ++i) NeedApply(*curves[i]);
    return true;
}

bool YFCurveFilter::NeedApply(YFCurveNode& node, bool recursive)
{
    for (int i = 0; recursive && i < node.GetCount(); ++i) NeedApply(*node.Get(i), recursive);
    if (YFCurve* curve = node.FCurveGet()) NeedApply(&curve, 1);
    return true;
}

bool YFCurveFilter::Apply(YFCurve** curves, int count)
{
    for (int i = 0; i < count; ++i)
        if (!curves[i]->IsLocked()) Apply(*curves[i]);
    return true;
}

// A filter may add and remove children, so they are counted anew each time.
bool YFCurveFilter::Apply(YFCurveNode& node, bool recursive)
{
    for (int i = 0; recursive && i < node.GetCount(); ++i) {
        YFCurveNode& child = *node.Get(i);
        if (!child.IsNodeLocked()) Apply(child, recursive);
    }
    YFCurve* curve = node.FCurveGet();
    if (curve != nullptr && !curve->IsLocked()) Apply(*curve);
    return true;
}

void YFCurveFilter::Reset()
{
    ResetProperties(StaticClass());
}

void YFCurveFilter::UpdateProgressInformation(YTime, YTime) {}
