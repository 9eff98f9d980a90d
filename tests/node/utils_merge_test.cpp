// Merging curves.

#include <gtest/gtest.h>

#include <vector>

#include "tests/curve/random_curve.h"
#include "yfcurve/yfcurveutils.h"

using namespace yfc::test;

namespace {

using Keys = std::vector<YFCurveKey>;

Keys KeysOf(const YFCurve& curve)
{
    Keys keys;
    for (int i = 0; i < curve.KeyGetCount(); ++i) keys.push_back(curve.KeyGet(i));
    return keys;
}

bool IsUser(const YFCurveKey& key)
{
    return key.GetInterpolation() == YFCURVE_INTERP_CUBIC && (key.GetFlags() & YFCURVE_TANGENT_USER) != 0;
}

// Key by key, from the times alone.
Keys PlainMerge(const YFCurve& base, const YFCurve& insert)
{
    const Keys inserted = KeysOf(insert);
    const YTime start = inserted.front().GetTime(), stop = inserted.back().GetTime();
    Keys merged;
    for (const YFCurveKey& key : KeysOf(base))
        if (key.GetTime() < start) merged.push_back(key);
    const std::size_t before = merged.size();
    merged.insert(merged.end(), inserted.begin(), inserted.end());
    const std::size_t upTo = merged.size();
    YFCurveKey lastReached;
    for (const YFCurveKey& key : KeysOf(base)) {
        if (key.GetTime() <= stop) lastReached = key;
        if (key.GetTime() > stop) merged.push_back(key);
    }
    const int count = base.KeyGetCount();
    if (before > 0 && start <= base.KeyGetTime(count - 1) && IsUser(merged[before - 1]))
        merged[before - 1].SetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE, base.EvaluateRightDerivative(start));
    if (base.KeyGetTime(0) <= stop && merged.size() > upTo && IsUser(lastReached)) {
        YFCurveKey& seam = merged[upTo - 1];
        seam.SetInterpolation(YFCURVE_INTERP_CUBIC);
        seam.SetFlags((seam.GetFlags() & ~0x3300u) | 0xC00u);
        seam.SetDataFloat(YFCURVEKEY_RIGHT_DERIVATIVE, base.EvaluateLeftDerivative(stop));
        seam.SetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE,
                          lastReached.GetDataFloat(YFCURVEKEY_NEXT_LEFT_DERIVATIVE));
    }
    return merged;
}

// Whatever the keys, wherever the spans lie, seams on keys of the base included.
TEST(Merge, TakesKeysByTheirTimes)
{
    RandomCurves random;
    for (int round = 0; round < 2000; ++round) {
        YFCurve base, insert;
        random.AddKeys(base, 1 + random.Below(8), 0.9);
        random.AddKeys(insert, 1 + random.Below(5), 0.9);
        if (random.Below(2)) {  // onto a key of the base
            const int key = random.Below(base.KeyGetCount());
            insert.KeyMoveOf(false, base.KeyGetTime(key) - insert.KeyGetTime(0), 0.0f);
        }
        const bool covers =
            insert.KeyGetTime(0) <= base.KeyGetTime(0) &&
            insert.KeyGetTime(insert.KeyGetCount() - 1) >= base.KeyGetTime(base.KeyGetCount() - 1);
        YFCurve expected;
        expected.KeyAdd(covers ? KeysOf(insert) : PlainMerge(base, insert));

        YFCurve result;
        result.KeyAppendFast(Sec(77), 7.0f);
        YFCurveUtils::Merge(base, insert, result);
        ExpectSameKeys(result, expected);
        // Into one of the two.
        YFCurve inPlace(round % 2 ? base : insert);
        YFCurveUtils::Merge(round % 2 ? inPlace : base, round % 2 ? insert : inPlace, inPlace);
        ExpectSameKeys(inPlace, expected);
        if (HasFailure()) FAIL() << "round " << round;
    }
}

TEST(Merge, TakesTheOtherCurveWholeWhereOneIsEmpty)
{
    const YFCurve empty;
    YFCurve insert;
    insert.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_KEEP_SLOPE);
    insert.KeyAdd(Sec(1), UserKey(2.0f, 1.0f, 3.0f));
    YFCurve result;
    result.KeyAdd(Sec(9), LinearKey(9.0f));
    YFCurveUtils::Merge(empty, empty, result);
    EXPECT_EQ(result.KeyGetTime(0), Sec(9));
    YFCurveUtils::Merge(empty, insert, result);
    ExpectSameKeys(result, insert);
    EXPECT_EQ(result.GetPostExtrapolation(), YFCURVE_EXTRAPOLATION_KEEP_SLOPE);
    const YFCurvePtr base = MakeSamples(5);
    YFCurveUtils::Merge(*base, empty, result);
    ExpectSameKeys(result, *base);
    EXPECT_EQ(result.GetPostExtrapolation(), YFCURVE_EXTRAPOLATION_CONST);
}

}  // namespace
