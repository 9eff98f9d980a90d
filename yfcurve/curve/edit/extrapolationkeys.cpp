// Extrapolation written out as keys.

#include <algorithm>

#include "yfcurve/curve/edit/replace.h"
#include "yfcurve/curve/edit/shape.h"
#include "yfcurve/curve/extrapolation.h"
#include "yfcurve/curve/keykind.h"

namespace {

// One segment of `source` as it appears in a copy of the key range, its start key only.
struct SegmentView
{
    const YFCurve& source;
    int index;      // of the segment in the source
    bool mirrored;  // shown backwards in time

    int StartKey() const { return mirrored ? index + 1 : index; }
    int EndKey() const { return mirrored ? index : index + 1; }

    YFCurveKey Start() const
    {
        YFCurveKey key = yfc::ContinuingKey(source.KeyGet(index), source.KeyGetValue(StartKey()));
        if (yfc::KeyKind(key).IsConstant() && mirrored) {
            key.SetConstantMode(key.GetConstantMode() ^ YFCURVE_CONSTANT_NEXT);
        }
        if (!yfc::KeyKind(key).IsCubic()) return key;
        const float right = source.KeyGetRightDerivative(index);
        const float nextLeft = source.KeyGetLeftDerivative(index + 1);
        const float rightWeight = source.KeyGetRightTangeantWeight(index);
        const float nextLeftWeight = source.KeyGetLeftTangeantWeight(index + 1);
        const bool weighted = source.KeyGetTangeantWeightMode(index) != YFCURVE_WEIGHT_NONE;
        const unsigned weightMode = weighted ? YFCURVE_WEIGHT_ALL : YFCURVE_WEIGHT_NONE;
        key.Set(YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER_BREAK, mirrored ? -nextLeft : right,
                mirrored ? -right : nextLeft, weightMode,
                yfc::RoundedWeight(mirrored ? nextLeftWeight : rightWeight),
                yfc::RoundedWeight(mirrored ? rightWeight : nextLeftWeight), 0.0f, 0.0f);
        key.SetTangeantVelocityMode(YFCURVE_VELOCITY_NONE);
        return key;
    }
};

// How many copies of the key range reach from an end of the range to a time beyond it.
int CopiesTo(YTime distance, YTime period, std::uint32_t limit)
{
    if (distance <= YTIME_ZERO) return 0;
    const std::int64_t needed = (distance.Get() - 1) / period.Get() + 1;
    return static_cast<int>(std::min<std::int64_t>({needed, std::int64_t{limit}, 1 << 24}));
}

// A key that ends what comes before it and jumps to what comes a tick later.
YFCurveKey JumpKey(float value)
{
    YFCurveKey key;
    key.Set(YTime(), value, YFCURVE_INTERP_LINEAR, YFCURVE_TANGENT_USER);
    return key;
}

// Writes one copy of the key range. Where it does not start with the value that the one before ended
// with, that one's end key moves a tick earlier and becomes a jump.
void AppendCopy(YFCurve& target, const YFCurve& source, int copy)
{
    const int segments = source.KeyGetCount() - 1;
    const bool mirrored = yfc::IsMirrored(source, copy);
    for (int k = 0; k < segments; ++k) {
        const SegmentView view{source, mirrored ? segments - 1 - k : k, mirrored};
        const YTime time = source.KeyGetTimeAll(copy * segments + k);
        const YFCurveKey start = view.Start();
        const int last = target.KeyGetCount() - 1;
        if (last >= 0 && target.KeyGetTime(last) == time && target.KeyGetValue(last) != start.GetValue()) {
            target.KeySetTime(last, time - YTIME_ONE_TICK);
        }
        target.KeyAdd(time, start);
        const YTime end = source.KeyGetTimeAll(copy * segments + k + 1);
        target.KeyAdd(end, JumpKey(source.KeyGetValue(view.EndKey())));
    }
}

// Beyond its limit a repeating extrapolation shows the end key of the range.
void EndAtLimit(YFCurve& target, YTime limit, float value, bool before)
{
    const int end = before ? 0 : target.KeyGetCount() - 1;
    if (target.KeyGetTime(end) != limit || target.KeyGetValue(end) == value) return;
    target.KeySetTime(end, before ? limit + YTIME_ONE_TICK : limit - YTIME_ONE_TICK);
    target.KeyAdd(limit, JumpKey(value));
}

}  // namespace

YFCurve YFCurveReplace::WithExtrapolationKeys(const YFCurve& source, YTime start, YTime stop)
{
    const int count = source.KeyGetCount();
    YFCurve result(source);
    if (count < 2) return result;
    const YTime first = source.KeyGetTime(0);
    const YTime last = source.KeyGetTime(count - 1);
    const YTime period = last - first;
    const std::uint32_t preLimit = source.GetPreExtrapolationCount();
    const std::uint32_t postLimit = source.GetPostExtrapolationCount();

    const int before =
        yfc::Repeats(source.GetPreExtrapolation()) ? CopiesTo(first - start, period, preLimit) : 0;
    const int after =
        yfc::Repeats(source.GetPostExtrapolation()) ? CopiesTo(stop - last, period, postLimit) : 0;
    if (before > 0 || after > 0) {
        result.KeyClear();
        for (int copy = -before; copy <= after; ++copy) AppendCopy(result, source, copy);
        if (before > 0 && static_cast<std::uint32_t>(before) == preLimit) {
            EndAtLimit(result, first - period * before, source.KeyGetValue(0), true);
        }
        if (after > 0 && static_cast<std::uint32_t>(after) == postLimit) {
            EndAtLimit(result, last + period * after, source.KeyGetValue(count - 1), false);
        }
    }
    if (yfc::Repeats(source.GetPreExtrapolation())) result.SetPreExtrapolation(YFCURVE_EXTRAPOLATION_CONST);
    if (yfc::Repeats(source.GetPostExtrapolation())) result.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_CONST);

    // A straight line with an end: a key where it ends, constant beyond.
    const auto limitedSlope = [](std::uint32_t mode, std::uint32_t limit) {
        return mode == YFCURVE_EXTRAPOLATION_KEEP_SLOPE && limit != YFCURVE_EXTRAPOLATION_UNLIMITED;
    };
    if (limitedSlope(source.GetPreExtrapolation(), preLimit)) {
        const YTime limit = first - period * preLimit;
        result.SetPreExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED);
        if (preLimit > 0 && start < limit) result.KeyInsert(limit);
        if (preLimit == 0 || start < limit) result.SetPreExtrapolation(YFCURVE_EXTRAPOLATION_CONST);
    }
    if (limitedSlope(source.GetPostExtrapolation(), postLimit)) {
        const YTime limit = last + period * postLimit;
        result.SetPostExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED);
        if (postLimit > 0 && stop > limit) result.KeyInsert(limit);
        if (postLimit == 0 || stop > limit) result.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_CONST);
    }
    return result;
}
