#include <algorithm>

#include "yfcurve/curve/keysearch.h"
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

YFCurveFilterDeleteKey::YFCurveFilterDeleteKey() : YFCurveFilterOf("DeleteKeyFilter", kMessages, 2)
{
    Reset();
}

bool YFCurveFilterDeleteKey::FilterCurve(YFCurve& curve)
{
    const int count = curve.KeyGetCount();
    if (count == 0) return NothingToDo(0, "DeleteKeyFilter, No key to be filtered.");
    const YTime start = std::max(GetStartTime(), curve.KeyGetTime(0));
    const YTime stop = GetStopTime();
    // The cut reaches from the span's start, which may be ahead of the first key.
    const YTime cutStart = GetStartTime() == YTIME_MINUS_INFINITE ? start : GetStartTime();
    const int first = yfc::FirstKeyFrom(curve, start);
    const int last = yfc::LastKeyUntil(curve, stop);
    const bool cuts = mCutTimeInterval && cutStart < stop && last + 1 < count;
    if (last < first && !cuts) return NothingToDo(1, "DeleteKeyFilter, No key were changed by filter.");
    curve.KeyModifyBegin();
    if (first <= last) curve.Delete(first, last);
    // In order of time, so that no key passes another.
    for (int i = std::min(first, last + 1); cuts && i < curve.KeyGetCount(); ++i)
        curve.KeyIncTime(i, cutStart - stop);
    curve.KeyModifyEnd();
    return true;
}

bool YFCurveFilterDeleteKey::FilterNode(YFCurveNode& node, bool recursive)
{
    return FilterKeyTimes(node, recursive);
}
