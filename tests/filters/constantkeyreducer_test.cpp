#include <gtest/gtest.h>

#include <vector>

#include "tests/curve/random_curve.h"
#include "tests/node/nodes.h"
#include "yfcurve/yfcurvefilterconstantkeyreducer.h"

namespace {

using nodetest::CurveOf;
using nodetest::Seconds;
using yfc::test::KeySeconds;

YFCurve CurveOfValues(const std::vector<float>& values)
{
    YFCurve curve;
    for (std::size_t i = 0; i < values.size(); ++i)
        curve.KeyAppendFast(Seconds(static_cast<double>(i)), values[i]);
    return curve;
}

// The rule by a list of values, all keys auto: from the last one down, a run of values near its last one
// goes, where two neighbours on either side are near as well, and the one before the run is passed over.
std::vector<double> PlainReduction(const std::vector<float>& values, float tolerance)
{
    std::vector<int> kept;
    for (std::size_t i = 0; i < values.size(); ++i) kept.push_back(static_cast<int>(i));
    const auto value = [&](int index) {
        return values[static_cast<std::size_t>(kept[static_cast<std::size_t>(index)])];
    };
    for (int i = static_cast<int>(kept.size()) - 1; i >= 0;) {
        const float reference = value(i);
        const int count = static_cast<int>(kept.size());
        const auto isFlat = [&](int j) {
            for (int k = std::max(j - 2, 0); k <= std::min(j + 2, count - 1); ++k) {
                if (value(k) < reference - tolerance || value(k) > reference + tolerance) return false;
            }
            return true;
        };
        int j = i;
        while (j >= 0 && isFlat(j)) --j;
        kept.erase(kept.begin() + j + 1, kept.begin() + i + 1);
        i = j - 1;
    }
    return {kept.begin(), kept.end()};
}

}  // namespace

TEST(ConstantKeyReducer, MatchesTheRuleOnLists)
{
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 300; ++round) {
        std::vector<float> values{1.0f};  // never all alike
        const int count = 2 + random.Below(60);
        for (int i = 0; i < count; ++i) {
            values.push_back(random.Chance(0.15) ? static_cast<float>(2 + random.Below(3)) : values.back());
        }
        values.push_back(0.0f);
        YFCurve curve = CurveOfValues(values);
        YFCurveFilterConstantKeyReducer filter;
        filter.SetValueTolerance(random.Pick({0.0, 0.5, 1.0}));
        // In a span of its own, only keys of the span count, and those outside stay.
        const int first = round % 2 == 0 ? 0 : random.Below(count / 2 + 1);
        const int last = round % 2 == 0 ? count + 1 : count - random.Below(count / 2);
        filter.SetStartTime(Seconds(first));
        filter.SetStopTime(Seconds(last));
        ASSERT_TRUE(filter.Apply(curve));
        std::vector<double> expected;
        for (int i = 0; i < first; ++i) expected.push_back(i);
        for (const double i : PlainReduction({values.begin() + first, values.begin() + last + 1},
                                             static_cast<float>(filter.GetValueTolerance())))
            expected.push_back(i + first);
        for (int i = last + 1; i < count + 2; ++i) expected.push_back(i);
        const auto inSpan = values.begin() + first;
        if (std::all_of(inSpan, values.begin() + last + 1, [&](float value) { return value == *inSpan; }))
            continue;
        ASSERT_EQ(KeySeconds(curve), expected);
    }
}

TEST(ConstantKeyReducer, EmptiesACurveThatIsFlatThroughout)
{
    YFCurve curve = CurveOfValues({3.0f, 3.005f, 3.0f, 3.004f});
    YFCurveFilterConstantKeyReducer filter;
    filter.SetKeepOneKey(true);
    EXPECT_TRUE(filter.Apply(curve));
    EXPECT_EQ(KeySeconds(curve), (std::vector<double>{0}));
    filter.SetKeepOneKey(false);
    EXPECT_TRUE(filter.Apply(curve));
    EXPECT_EQ(curve.KeyGetCount(), 0);
    EXPECT_EQ(curve.GetValue(), 3.0f);
}

TEST(ConstantKeyReducer, SparesTangentsThatSomebodySet)
{
    YFCurve curve = CurveOfValues({5, 5, 5, 5, 5, 5, 5, 5, 5});
    curve.KeySetTangeantMode(4, YFCURVE_TANGENT_USER, true);
    curve.KeySetRightDerivative(4, 10.0f);
    YFCurveFilterConstantKeyReducer filter;
    EXPECT_TRUE(filter.Apply(curve));
    EXPECT_EQ(KeySeconds(curve), (std::vector<double>{2, 3, 4, 5, 6}));
}

TEST(ConstantKeyReducer, TakesTheThresholdOfTheNode)
{
    // Steps of 0.005 are flat for a rotation (0.009 degrees), and motion for a translation and a scaling.
    const YFCurve source = CurveOfValues({1.0f, 1.005f, 1.0f, 1.005f, 1.0f, 1.005f});
    for (const auto& [name, expected] :
         {std::pair("T", 6), std::pair("Lcl Translation", 6), std::pair("S", 6), std::pair("R", 0),
          std::pair("Lcl Rotation", 0), std::pair("Else", 0)}) {
        const YFCurveNodePtr node = nodetest::Translation(name);
        CurveOf(*node, 0).CopyFrom(source);
        YFCurveFilterConstantKeyReducer filter;
        filter.SetValueTolerance(7.0);
        EXPECT_TRUE(filter.Apply(*node, true));
        EXPECT_EQ(CurveOf(*node, 0).KeyGetCount(), expected) << name;
        EXPECT_EQ(filter.GetValueTolerance(), 7.0);

        for (int i = 0; i < CurveOf(*node, 0).KeyGetCount(); ++i)
            CurveOf(*node, 0).KeySetInterpolation(i, YFCURVE_INTERP_CONSTANT);
        EXPECT_EQ(filter.Apply(*node, true), expected == 0) << name;  // held steps are no motion to reduce
    }
}
