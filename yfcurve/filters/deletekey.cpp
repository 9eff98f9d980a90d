#include <algorithm>

#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvefilterdeletekey.h"

namespace {

constexpr const char* kMessages[] = {"No key", "Left unchanged"};

}  // namespace

YClassDefinition& YFCurveFilterDeleteKey::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterDeleteKey::mCutTimeInterval>(
            "CutTimeInterval", true, {.help = "whether the keys after the span move up to its start"})};
    static constinit YClassDefinition definition("YFCurveFilterDeleteKey", &YFCurveFilter::StaticClass,
                                                 {.summary = "removes the keys of a span, and its time",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterDeleteKey>});
    return definition;
}

YFCurveFilterDeleteKey::YFCurveFilterDeleteKey() : YFCurveFilter("DeleteKeyFilter", kMessages, 2)
{
    Reset();
}

bool YFCurveFilterDeleteKey::Apply(YFCurve& curve)
{
    if (curve.IsLocked()) return false;
    const int count = curve.KeyGetCount();
    if (count == 0) {
        GetError().SetLastError(count, "DeleteKeyFilter, No key to be filtered.");
        return false;
    }
    const YTime start = std::max(GetStartTime(), curve.KeyGetTime(0));
    const YTime stop = GetStopTime();
    // The cut reaches from the span's start, which may be ahead of the first key.
    const YTime cutStart = GetStartTime() == YTIME_MINUS_INFINITE ? start : GetStartTime();
    const int first = yfc::FirstKeyFrom(curve, start);
    const int last = yfc::LastKeyUntil(curve, stop);
    const bool cuts = mCutTimeInterval && cutStart < stop && last + 1 < count;
    if (last < first && !cuts) {
        GetError().SetLastError(1, "DeleteKeyFilter, No key were changed by filter.");
        return false;
    }
    curve.KeyModifyBegin();
    if (first <= last) curve.Delete(first, last);
    // In order of time, so that no key passes another.
    for (int i = std::min(first, last + 1); cuts && i < curve.KeyGetCount(); ++i)
        curve.KeyIncTime(i, cutStart - stop);
    curve.KeyModifyEnd();
    return true;
}

bool YFCurveFilterDeleteKey::Apply(YFCurve** curves, int count)
{
    return YFCurveFilter::Apply(curves, count);
}

bool YFCurveFilterDeleteKey::Apply(YFCurveNode& node, bool recursive)
{
    return YFCurveFilter::Apply(node, recursive);
}

void YFCurveFilterDeleteKey::Reset()
{
    ResetProperties(StaticClass());
    YFCurveFilter::Reset();
}
