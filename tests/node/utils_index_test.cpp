// Curves of indices, surveys of keys, offsets of time, the error record.

#include <gtest/gtest.h>

#include <limits>
#include <thread>
#include <vector>

#include "nodes.h"
#include "tests/curve/curve_fixtures.h"
#include "yfcurve/yfcurveutils.h"

using namespace yfc::test;

namespace {

YFCurvePtr IndexCurve(const std::vector<float>& values)
{
    YFCurvePtr curve(YFCurveCreate());
    for (const float value : values) curve->KeyAdd(Sec(curve->KeyGetCount()), ConstantKey(value));
    return curve;
}

using Values = std::vector<float>;

// What removing and replacing make of the keys.
TEST(IndexCurve, RemovalMovesHigherIndicesDown)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    const struct
    {
        Values before;
        int index, largest;
        Values after;
    } cases[] = {{{1, 2, 3}, 1, 2, {1, 1, 2}},
                 {{1, 3, 1}, 0, 2, {1, 2, 2}},                  // the key before has moved by then
                 {{2.4f, 2.5f, -7, 900}, 1, 3, {1, 2, -7, 3}},  // rounded and kept in range
                 {{1, 2}, 2, 3, {1, 2}},                        // nothing that high
                 {{nan, infinity, -infinity}, 0, 5, {1, 5, 5}}};
    for (const auto& one : cases) {
        const YFCurvePtr curve = IndexCurve(one.before);
        YFCurveUtils::RemoveIndexFromCurve(*curve, one.index, one.largest);
        EXPECT_EQ(KeyValues(*curve), one.after);
    }
}

TEST(IndexCurve, ReplacementGivesKeysAnotherIndex)
{
    const auto replaced = [](const Values& values, int from, int to) {
        const YFCurvePtr curve = IndexCurve(values);
        YFCurveUtils::ReplaceIndexFromCurve(*curve, from, to, 4);
        return KeyValues(*curve);
    };
    EXPECT_EQ(replaced({1, 2.4f, 2.5f, 2}, 1, 6), (Values{1, 7, 2.5f, 7}));
    EXPECT_EQ(replaced({2, 2.4f}, 1, 1), (Values{2, 2.4f}));
    EXPECT_EQ(replaced({2}, -1, 1), Values{2});
    EXPECT_EQ(replaced({99}, 4, 0), Values{1});
}

TEST(CurveSurvey, FindsKindsAndTheirMixture)
{
    unsigned kinds = 99;
    YFCurveUtils::GetError().Clear();
    const YFCurvePtr mixed =
        MakeCurve({LinearKey(0), AutoKey(1, YFCURVE_TANGENT_AUTO | YFCURVE_TANGENT_CLAMP)});
    std::thread([&] {
        EXPECT_TRUE(YFCurveUtils::GetGlobalInterpolation(kinds, *mixed));
        EXPECT_EQ(kinds, 0xCu);
        const std::string ofInterpolation = YFCurveUtils::GetLastErrorString();
        // User on the linear key; no overrides.
        EXPECT_TRUE(YFCurveUtils::GetGlobalTangeant(kinds, *mixed));
        EXPECT_EQ(kinds, 0x500u);
        EXPECT_NE(YFCurveUtils::GetLastErrorString(), ofInterpolation);
    }).join();
    EXPECT_TRUE(YFCurveUtils::GetGlobalInterpolation(kinds, *MakeSamples(3)));
    EXPECT_EQ(kinds, 0x8u);
    EXPECT_FALSE(YFCurveUtils::GetError().Error()) << "errors of another thread";
    for (const auto survey : {YFCurveUtils::GetGlobalInterpolation, YFCurveUtils::GetGlobalTangeant}) {
        YFCurveUtils::GetError().Clear();
        EXPECT_FALSE(survey(kinds, YFCurve()));
        EXPECT_EQ(kinds, 0u);
        EXPECT_STREQ(YFCurveUtils::GetLastErrorString(), "YFCurveFilter, No key to be filtered.");
    }

    const YFCurvePtr all = MakeCurve({ConstantKey(0), LinearKey(0), LinearKey(0), AutoKey(0),
                                      AutoKey(0, YFCURVE_TANGENT_AUTO_BREAK), UserKey(0),
                                      MakeKey(0, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER_BREAK), TCBKey(0),
                                      TCBKey(0), MakeKey(0, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_BREAK)});
    int counts[7] = {9, 9, 9, 9, 9, 9, 9};
    EXPECT_TRUE(YFCurveUtils::GetInterpolationAndTangeantCount(*all, counts));
    EXPECT_EQ(std::vector<int>(counts, counts + 7), (std::vector<int>{1, 2, 1, 1, 1, 1, 2}));
}

TEST(CurveTimes, OffsetsToTheKeys)
{
    const YFCurvePtr curve = MakeSamples(3);
    EXPECT_EQ(YFCurveUtils::FindTimeOffsetBefore(*curve, Sec(-2)), Sec(2));
    EXPECT_EQ(YFCurveUtils::FindTimeOffsetAfter(*curve, Sec(5)), Sec(-3));
    EXPECT_EQ(YFCurveUtils::FindTimeOffsetAfter(*curve, Sec(1)), YTIME_ZERO);
}

TEST(ConvertTree, SetsEveryKeyOfEveryCurve)
{
    const YFCurveNodePtr root(YFCurveNodeCreate("root", nullptr));
    root->Add(nodetest::Translation().release());
    YFCurve& curve = nodetest::CurveOf(*root->Get(0), 1);
    curve.KeyAdd(Sec(0), LinearKey(1.0f));
    curve.KeyAdd(Sec(1), AutoKey(2.0f, YFCURVE_TANGENT_AUTO | YFCURVE_TANGENT_CLAMP, 30.0f, 40.0f));
    EventLog log(curve);
    const bool configured = YFCURVE_GetConvertAutoTimeIndependent();
    YFCURVE_SetConvertAutoTimeIndependent(true);
    const auto convert = YFCurveUtils::ConvertCurveInterpolationRecursive;
    EXPECT_EQ(convert(YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_AUTO, root.get()), root.get());
    YFCURVE_SetConvertAutoTimeIndependent(configured);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(curve.KeyGetInterpolation(i), unsigned{YFCURVE_INTERP_CUBIC});
        EXPECT_EQ(curve.KeyGetTangeantMode(i, true), 0x2100u);
    }
    EXPECT_EQ(curve.KeyGetDataFloat(1, YFCURVEKEY_RIGHT_DERIVATIVE), 30.0f);
    EXPECT_EQ(log.Take().size(), 1u);
    convert(YFCURVE_INTERP_CONSTANT, YFCURVE_CONSTANT_NEXT, root.get());
    EXPECT_EQ(curve.KeyGetTangeantMode(0, true), unsigned{YFCURVE_CONSTANT_NEXT});
    EXPECT_EQ(convert(YFCURVE_INTERP_LINEAR, 0, nullptr), nullptr);
}

}  // namespace
