// Keys found by their time.

#include <gtest/gtest.h>

#include <algorithm>

#include "random_curve.h"
#include "same_edit.h"

using namespace yfc::test;

namespace {

// The search as a walk from the hint, one key at a time.
double Walk(const YFCurve& curve, YTime time, int& last)
{
    const int count = curve.KeyGetCount();
    if (count == 0) return -1.0;
    const auto at = [&](int i) { return curve.KeyGetTime(i); };
    const auto inside = [&](int i) {
        return i + (time - at(i)).GetSecondDouble() / (at(i + 1) - at(i)).GetSecondDouble();
    };
    const int from = std::clamp(last, 0, count - 1);
    last = from;
    if (time == at(from)) return from;
    if (time > at(from)) {
        while (last < count && at(last) < time) ++last;
        return last == count ? count - 0.5 : inside(last - 1);
    }
    while (last >= 0 && at(last) > time) --last;
    if (last >= 0) return inside(last);
    last = 0;
    return -0.5;
}

TEST(KeyFind, FindsAsAWalkDoes)
{
    RandomCurves random;
    for (int round = 0; round < 60; ++round) {
        const int count = random.Pick({0, 1, 2, 3, 17, 64, 65, 300, 20000});
        const std::int64_t spacing = random.Pick<std::int64_t>({1, 2, 1000, 384884650});
        YFCurve curve;
        std::int64_t time = random.Integer(-100, 100) * spacing;
        for (int i = 0; i < count; ++i) {
            curve.KeyAppendFast(YTime(time), 0.0f);
            // Now and then a gap that no guess from evenly spaced keys foresees.
            time += spacing * random.Integer(1, random.Chance(0.05) ? 1000000 : 3);
        }
        for (int query = 0; query < 300; ++query) {
            const YTime near = count > 0 ? curve.KeyGetTime(random.Int(0, count - 1)) : YTIME_ZERO;
            const std::int64_t offset = random.Pick<std::int64_t>(
                {0, 1, -1, spacing, random.Integer(-std::abs(time), std::abs(time))});
            const YTime sought = near + YTime(offset);
            int hint = random.Pick({random.Int(-1, count + 1), random.Int(-1, count + 1), INT_MIN, INT_MAX});
            int expectedHint = hint;
            const double expected = Walk(curve, sought, expectedHint);
            ASSERT_DOUBLE_EQ(curve.KeyFind(sought, &hint), expected) << sought.Get();
            ASSERT_EQ(hint, expectedHint) << sought.Get();
            ASSERT_DOUBLE_EQ(curve.KeyFind(sought), expected) << "from where the curve was last";
        }
    }
}

TEST(KeyFind, ReachesAcrossAllOfTime)
{
    const std::int64_t last = YTIME_INFINITE.Get() - 1;
    YFCurve curve;
    for (const std::int64_t time : {-last, -last / 2, std::int64_t{0}, last / 2, last})
        curve.KeyAppendFast(YTime(time), 0.0f);
    for (int hint : {-1, 0, 2, 4, 9}) {
        EXPECT_DOUBLE_EQ(curve.KeyFind(YTime(-last / 4 * 3), &hint), 0.5);
        EXPECT_DOUBLE_EQ(curve.KeyFind(YTime(last / 4 * 3), &hint), 3.5);
        EXPECT_EQ(curve.KeyFind(YTIME_MINUS_INFINITE, &hint), -0.5);
        EXPECT_EQ(curve.KeyFind(YTIME_INFINITE, &hint), 4.5);
    }
}

}  // namespace
