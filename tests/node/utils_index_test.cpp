// Curves of indices, surveys of keys, offsets of time, the error record.

#include <gtest/gtest.h>

#include <limits>
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

TEST(IndexCurve, RemovalMovesHigherIndicesDown)
{
    const auto removed = [](const Values& values, int index, int largest) {
        const YFCurvePtr curve = IndexCurve(values);
        YFCurveUtils::RemoveIndexFromCurve(*curve, index, largest);
        return KeyValues(*curve);
    };
    EXPECT_EQ(removed({1, 2, 3}, 1, 2), (Values{1, 1, 2}));
    EXPECT_EQ(removed({1, 3, 1}, 0, 2), (Values{1, 2, 2})) << "the key before has moved by then";
    EXPECT_EQ(removed({2.4f, 2.5f, -7, 900}, 1, 3), (Values{1, 2, -7, 3})) << "rounded and kept in range";
    EXPECT_EQ(removed({1, 2}, 2, 3), (Values{1, 2})) << "nothing that high";
    EXPECT_EQ(removed({1, 2}, 1, 0), (Values{1, 2}));
    EXPECT_EQ(removed({1, 2}, -1, 3), (Values{1, 2}));
    EXPECT_EQ(removed({}, 0, 3), Values{});

    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(removed({nan, infinity, -infinity}, 0, 5), (Values{1, 5, 5}));

    const YFCurvePtr curve = IndexCurve({1, 2, 3, 4});
    EventLog log(*curve);
    YFCurveUtils::RemoveIndexFromCurve(*curve, 2, 3);
    const auto events = log.Take();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].type, 0x2010u);
    EXPECT_EQ(events[0].first, 2);
    EXPECT_EQ(events[0].last, 3);
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
    EXPECT_EQ(replaced({2}, 1, -1), Values{2});
    EXPECT_EQ(replaced({2}, -1, 1), Values{2});
    EXPECT_EQ(replaced({99}, 4, 0), Values{1});
}

TEST(CurveSurvey, FindsKindsAndTheirMixture)
{
    unsigned kinds = 99;
    YFCurveUtils::GetError().Clear();
    EXPECT_FALSE(YFCurveUtils::GetGlobalInterpolation(kinds, YFCurve()));
    EXPECT_EQ(kinds, 0u);
    EXPECT_EQ(YFCurveUtils::GetLastErrorID(), 0);
    EXPECT_STREQ(YFCurveUtils::GetLastErrorString(), "YFCurveFilter, No key to be filtered.");
    EXPECT_FALSE(YFCurveUtils::GetGlobalTangeant(kinds, YFCurve()));
    EXPECT_STREQ(YFCurveUtils::GetLastErrorString(), "YFCurveFilter, No key to be filtered.");

    const YFCurvePtr mixed =
        MakeCurve({LinearKey(0), AutoKey(1, YFCURVE_TANGENT_AUTO | YFCURVE_TANGENT_CLAMP)});
    EXPECT_TRUE(YFCurveUtils::GetGlobalInterpolation(kinds, *mixed));
    EXPECT_EQ(kinds, 0xCu);
    EXPECT_EQ(YFCurveUtils::GetLastErrorID(), 1);
    EXPECT_STREQ(YFCurveUtils::GetLastErrorString(), "YFCurveFilter, No single interpolation type.");
    EXPECT_TRUE(YFCurveUtils::GetGlobalTangeant(kinds, *mixed));
    EXPECT_EQ(kinds, 0x500u) << "user on the linear key; no overrides";
    EXPECT_STREQ(YFCurveUtils::GetLastErrorString(), "YFCurveFilter, No single tangeant mode.");

    YFCurveUtils::GetError().Clear();
    EXPECT_TRUE(YFCurveUtils::GetGlobalInterpolation(kinds, *MakeSamples(3)));
    EXPECT_EQ(kinds, 0x8u);
    EXPECT_FALSE(YFCurveUtils::GetError().Error());

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
    EXPECT_EQ(YFCurveUtils::FindTimeOffsetBefore(*curve, Sec(1)), YTIME_ZERO);
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
    EXPECT_EQ(YFCurveUtils::ConvertCurveInterpolationRecursive(YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_AUTO,
                                                               root.get()),
              root.get());
    YFCURVE_SetConvertAutoTimeIndependent(configured);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(curve.KeyGetInterpolation(i), unsigned{YFCURVE_INTERP_CUBIC});
        EXPECT_EQ(curve.KeyGetTangeantMode(i, true), 0x2100u);
    }
    EXPECT_EQ(curve.KeyGetDataFloat(1, YFCURVEKEY_RIGHT_DERIVATIVE), 30.0f);
    const auto events = log.Take();
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0].type, 0x8010u);
    EXPECT_EQ(events[0].last, 1);

    YFCurveUtils::ConvertCurveInterpolationRecursive(YFCURVE_INTERP_CONSTANT, YFCURVE_CONSTANT_NEXT,
                                                     root.get());
    EXPECT_EQ(curve.KeyGetTangeantMode(0, true), unsigned{YFCURVE_CONSTANT_NEXT});
    EXPECT_EQ(YFCurveUtils::ConvertCurveInterpolationRecursive(YFCURVE_INTERP_LINEAR, 0, nullptr), nullptr);
}

}  // namespace
