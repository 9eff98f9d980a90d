#include <algorithm>
#include <utility>
#include <vector>

#include "yfcurve/curve/edit/ascendingedit.h"
#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/keykind.h"
#include "yfcurve/filters/values/monotoneparts.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvefilterclamp.h"

namespace {

using yfc::MonotoneParts;

constexpr const char* kMessages[] = {"No key", "Left unchanged", "Ceiling and Floor values were swapped"};

}  // namespace

// The keys to be kept within the limits; those that are added among them join in.
struct YFCurveFilterClamp::Reach
{
    int firstKey;
    int lastKey;
};

// One of the two limits, as seen from inside: everything is asked in terms of "beyond".
struct YFCurveFilterClamp::Limit
{
    float value;
    double tolerance;
    bool ceiling;

    bool IsBeyond(float other) const { return ceiling ? other > value : other < value; }
    bool IsInside(float other) const { return ceiling ? other < value : other > value; }
    bool IsFarBeyond(float other) const
    {
        return IsBeyond(other) && (ceiling ? other - double{value} : value - double{other}) > tolerance;
    }
    bool IsFarBeyond(const MonotoneParts& parts) const
    {
        for (int i = 0; i < parts.GetCount(); ++i) {
            if (IsFarBeyond(parts.GetValue(i))) return true;
        }
        return false;
    }
};

YClassDefinition& YFCurveFilterClamp::StaticClass()
{
    static constexpr YPropertyDescription properties[] = {
        YPropertyOf<&YFCurveFilterClamp::mApplyCeilClamping>("ApplyCeilClamping", false,
                                                             {.help = "whether Ceil counts", .needed = true}),
        YPropertyOf<&YFCurveFilterClamp::mCeil>("Ceil", 1.0, {.help = "the greatest value allowed"}),
        YPropertyOf<&YFCurveFilterClamp::mApplyFloorClamping>(
            "ApplyFloorClamping", false, {.help = "whether Floor counts", .needed = true}),
        YPropertyOf<&YFCurveFilterClamp::mFloor>("Floor", 0.0, {.help = "the least value allowed"}),
        YPropertyOf<&YFCurveFilterClamp::mTolerance>(
            "Tolerance", 0.00001, {.minimum = 0.0, .help = "how far beyond a limit is not worth a key"})};
    static constinit YClassDefinition definition("YFCurveFilterClamp", &YFCurveFilter::StaticClass,
                                                 {.summary = "keeps values between a floor and a ceiling",
                                                  .properties = properties,
                                                  .create = &YCreateObject<YFCurveFilterClamp>});
    return definition;
}

YFCurveFilterClamp::YFCurveFilterClamp() : YFCurveFilterOf("ClampFilter", kMessages, 3)
{
    Reset();
}

bool YFCurveFilterClamp::FilterCurve(YFCurve& curve)
{
    if (mApplyCeilClamping && mApplyFloorClamping && mCeil < mFloor) {
        std::swap(mCeil, mFloor);
        GetError().SetLastError(
            2, "ClampFilter, Ceiling and Floor were swapped because Floor was greater than Ceiling");
    }
    // The keys that the span reaches at first: with those that a limit adds it would not reach as far.
    Reach reach{GetStartKey(curve), GetStopKey(curve)};
    // A curve within the limits is not touched at all, so that a candidate survives.
    bool changed = false;
    if ((mApplyCeilClamping && IsAnythingBeyond(curve, reach, Ceiling())) ||
        (mApplyFloorClamping && IsAnythingBeyond(curve, reach, Floor()))) {
        curve.KeyModifyBegin();
        changed = mApplyCeilClamping && ApplyCeilClamping(curve, reach);
        if (mApplyFloorClamping) changed = ApplyFloorClamping(curve, reach) || changed;
        curve.KeyModifyEnd();
    }
    return changed || NothingToDo(1, "ClampFilter, No key were changed by filter.");
}

YFCurveFilterClamp::Limit YFCurveFilterClamp::Ceiling() const
{
    return {static_cast<float>(mCeil), mTolerance, true};
}

YFCurveFilterClamp::Limit YFCurveFilterClamp::Floor() const
{
    return {static_cast<float>(mFloor), mTolerance, false};
}

bool YFCurveFilterClamp::ApplyCeilClamping(YFCurve& curve, Reach& reach)
{
    return ApplyClamping(curve, reach, Ceiling());
}

bool YFCurveFilterClamp::ApplyFloorClamping(YFCurve& curve, Reach& reach)
{
    return ApplyClamping(curve, reach, Floor());
}

bool YFCurveFilterClamp::IsAnythingBeyond(const YFCurve& curve, const Reach& reach, const Limit& limit)
{
    for (int i = std::max(reach.firstKey, 0); i <= reach.lastKey; ++i) {
        if (limit.IsFarBeyond(curve.KeyGetValue(i))) return true;
        if (i < reach.lastKey && limit.IsFarBeyond(MonotoneParts(curve, i))) return true;
    }
    return false;
}

bool YFCurveFilterClamp::ApplyClamping(YFCurve& curve, Reach& reach, const Limit& limit)
{
    if (reach.firstKey < 0 || reach.lastKey < reach.firstKey) return false;
    Cut(curve, reach.firstKey, reach.lastKey, limit);
    return Flatten(curve, reach.firstKey, reach.lastKey, limit);
}

// Cuts the segments at the limit, so that each is beyond it as a whole or not at all.
void YFCurveFilterClamp::Cut(YFCurve& curve, int firstKey, int& lastKey, const Limit& limit)
{
    YFCurveAscendingEdit edit(curve);
    for (int key = firstKey; key < lastKey; ++key) {
        edit.Reach(curve.KeyGetTime(key));
        const MonotoneParts parts(curve, key);
        if (!limit.IsFarBeyond(parts)) continue;
        for (int i = 1; i < parts.GetCount(); ++i) {
            AddIntersectionKey(curve, key, lastKey, parts.GetTime(i - 1), parts.GetTime(i),
                               double{limit.value});
        }
    }
    edit.Finish();
}

// Looks between two times, where the curve rises or falls throughout, for the one where it meets the limit:
// to the tick, on the side of `from`.
bool YFCurveFilterClamp::FindIntersectionTime(YFCurve& curve, YTime& result, YTime from, YTime to,
                                              double limit)
{
    const auto isAbove = [&](YTime time) { return double{curve.Evaluate(time)} > limit; };
    if (isAbove(from) == isAbove(to)) return false;
    result = yfc::LastTimeBeforeMeeting(curve, from, to, limit, true);
    return true;
}

// Sees to a key that is on the limit where the curve meets it between two times, and moves the two indices by
// as many places as that adds keys. Two times that are one tick apart are a jump, which has nothing between.
bool YFCurveFilterClamp::AddIntersectionKey(YFCurve& curve, int& key, int& lastKey, YTime from, YTime to,
                                            double limit)
{
    YTime time;
    if (to - from <= YTIME_ONE_TICK || !FindIntersectionTime(curve, time, from, to, limit)) return false;
    const int count = curve.KeyGetCount();
    curve.KeySetValue(curve.KeyInsert(time), static_cast<float>(limit));
    const int added = curve.KeyGetCount() - count;
    key += added;
    lastKey += added;
    return added > 0;
}

// Whether the whole of a segment is beyond the limit, once the curve has been cut there.
bool YFCurveFilterClamp::IsBeyond(const YFCurve& curve, int index, const Limit& limit)
{
    return !yfc::KeyKind(curve, index).IsConstant() && !limit.IsInside(curve.KeyGetValue(index)) &&
           !limit.IsInside(curve.KeyGetValue(index + 1)) && limit.IsFarBeyond(MonotoneParts(curve, index));
}

// Puts the keys onto the limit that are beyond it, and those beside a segment that is.
bool YFCurveFilterClamp::Flatten(YFCurve& curve, int firstKey, int lastKey, const Limit& limit)
{
    const int before = std::max(firstKey - 1, 0);
    const int after = std::min(lastKey + 1, curve.KeyGetCount() - 1);
    std::vector<YFCurveSlopes> slopes;
    for (int i = before; i <= after; ++i) slopes.push_back(YFCurveShape::SlopesAt(curve, i));
    const auto slopesOf = [&](int i) -> YFCurveSlopes& {
        return slopes[static_cast<std::size_t>(i - before)];
    };

    std::vector<int> onLimit;  // keys, in order
    bool previousBeyond = false;
    for (int i = firstKey; i <= lastKey; ++i) {
        const bool beyond = i < lastKey && IsBeyond(curve, i, limit);
        if (previousBeyond || beyond || limit.IsFarBeyond(curve.KeyGetValue(i))) onLimit.push_back(i);
        if (previousBeyond) slopesOf(i).left = 0.0f;
        if (beyond) slopesOf(i).right = 0.0f;
        previousBeyond = beyond;
    }
    for (const int i : onLimit) curve.KeySetValue(i, limit.value);
    // The keys beside them would follow the new values.
    for (int i = before; !onLimit.empty() && i <= after; ++i) YFCurveShape::Hold(curve, i, slopesOf(i));
    return !onLimit.empty();
}
