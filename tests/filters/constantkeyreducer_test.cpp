#include <gtest/gtest.h>

#include <vector>

#include "tests/curve/random_curve.h"
#include "tests/node/nodes.h"
#include "yfcurve/yfcurvefilterconstantkeyreducer.h"

using namespace nodetest;
using yfc::test::KeySeconds;
using yfc::test::MakeSamples;

// From the last key down, a run of values near its last one goes, where two neighbours on either side are near as
// well. The one before a run is passed over. In a span only keys of the span count.
TEST(ConstantKeyReducer, TakesOutRunsOfEqualValues)
{
    const struct
    {
        std::vector<float> values;
        double tolerance;
        int first, last;
        std::vector<double> kept;
    } cases[] = {{{1, 2, 2, 2, 2, 2, 2, 2, 0}, 0.0, 0, 8, {0, 1, 2, 6, 7, 8}},
                 {{1, 2, 2, 2, 2, 0}, 0.0, 0, 5, {0, 1, 2, 3, 4, 5}},
                 {{5, 5, 5, 5, 5, 5, 1}, 0.0, 0, 6, {4, 5, 6}},
                 {{1, 5, 5, 5, 5, 5, 5}, 0.0, 0, 6, {0, 1, 2}},
                 {{7, 7, 7, 7, 7, 7, 7, 7, 7, 1, 7, 7, 7, 7, 7, 7}, 0.0, 0, 15, {7, 8, 9, 10, 11}},
                 {{1, 1, 1, 1, 1, 2, 2, 2, 2, 2, 3, 3, 3, 3, 3}, 0.0, 0, 14, {3, 4, 5, 6, 8, 9, 10, 11}},
                 {{0, 1, 1.5, 1, 1.5, 1, 1.5, 1, 1, 7}, 0.5, 0, 9, {0, 1, 2, 7, 8, 9}},
                 {{0, 1, 2, 1, 2, 1, 2, 1, 0, 9}, 1.0, 0, 9, {6, 7, 8, 9}},
                 {{0, 1, 2, 3, 4, 5, 6, 7, 8}, 2.0, 0, 8, {1, 2, 4, 5, 7}},
                 {{1, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 0}, 0.0, 2, 8, {0, 1, 9, 10, 11}},
                 {{1, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 0}, 0.0, 3, 11, {0, 1, 2, 9, 10, 11}}};
    for (const auto& [values, tolerance, first, last, kept] : cases) {
        const YFCurvePtr curve = MakeSamples(values);
        YFCurveFilterConstantKeyReducer filter;
        filter.SetValueTolerance(tolerance);
        filter.SetStartTime(Seconds(first));
        filter.SetStopTime(Seconds(last));
        curve->CandidateSet(YTIME_ZERO, 0.0f);
        EXPECT_TRUE(filter.Apply(*curve));
        EXPECT_EQ(curve->IsCandidate(), kept.size() == values.size());
        EXPECT_EQ(KeySeconds(*curve), kept) << testing::PrintToString(values);
    }
}

TEST(ConstantKeyReducer, EmptiesACurveThatIsFlatThroughout)
{
    const YFCurvePtr curve = MakeSamples({3.0f, 3.005f, 3.0f, 3.004f});
    YFCurveFilterConstantKeyReducer filter;
    filter.SetKeepOneKey(true);
    EXPECT_TRUE(filter.Apply(*curve));
    EXPECT_EQ(KeySeconds(*curve), (std::vector<double>{0}));
    filter.SetKeepOneKey(false);
    EXPECT_TRUE(filter.Apply(*curve));
    EXPECT_EQ(curve->KeyGetCount(), 0);
    EXPECT_EQ(curve->GetValue(), 3.0f);
}

TEST(ConstantKeyReducer, SparesTangentsSetByHand)
{
    const YFCurvePtr curve = MakeSamples(std::vector<float>(9, 5));
    curve->KeySetTangeantMode(4, YFCURVE_TANGENT_USER, true);
    curve->KeySetRightDerivative(4, 10.0f);
    YFCurveFilterConstantKeyReducer filter;
    EXPECT_TRUE(filter.Apply(*curve));
    EXPECT_EQ(KeySeconds(*curve), (std::vector<double>{2, 3, 4, 5, 6}));
}

TEST(ConstantKeyReducer, TakesTheThresholdOfTheNode)
{
    // Steps of 0.005 are flat for a rotation (0.009 degrees), and motion for a translation and a scaling.
    const YFCurvePtr source = MakeSamples({1.0f, 1.005f, 1.0f, 1.005f, 1.0f, 1.005f});
    for (const auto& [name, expected] :
         {std::pair("T", 6), {"Lcl Translation", 6}, {"S", 6}, {"R", 0}, {"Lcl Rotation", 0}, {"Else", 0}}) {
        const YFCurveNodePtr node = Translation(name);
        CurveOf(*node, 0).CopyFrom(*source);
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
