#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "tests/curve/random_curve.h"
#include "yfcurve/yfcurvefilterclamp.h"
#include "yfcurve/yfcurvefilterdeletekey.h"
#include "yfcurve/yfcurvefilteroffset.h"
#include "yfcurve/yfcurvefilterscale.h"
#include "yfcurve/yfcurvefiltertimeclamp.h"
#include "yfcurve/yfcurvefiltertimeshiftandscale.h"

namespace {

using yfc::test::AutoKey;
using yfc::test::KeySeconds;
using yfc::test::KeyValues;
using yfc::test::LinearKey;
using yfc::test::MakeCurve;
using yfc::test::Sec;
using yfc::test::UserKey;

void ExpectStatus(const YFCurveFilter& filter, int identifier, const std::string& text)
{
    EXPECT_EQ(filter.GetLastErrorID(), identifier);
    EXPECT_EQ(filter.GetLastErrorString(), text);
}

TEST(OffsetFilter, MovesKeysOfTheSpanAndTheCurvesValue)
{
    const auto curve = MakeCurve({LinearKey(1), LinearKey(2), LinearKey(3), LinearKey(4)});
    YFCurveFilterOffset filter;
    EXPECT_FALSE(filter.Apply(*curve));
    ExpectStatus(filter, 1, "FilterOffset, No key were changed by filter.");

    filter.SetOffset(0.5);
    filter.SetStartTime(Sec(1.5));  // between the second and the third key: reaches the second
    filter.SetStopTime(Sec(2.0));
    EXPECT_TRUE(filter.Apply(*curve));
    EXPECT_EQ(KeyValues(*curve), (std::vector<float>{1.0f, 2.5f, 3.5f, 4.0f}));
    EXPECT_EQ(curve->GetValue(), 0.5f);

    const YFCurvePtr empty(YFCurveCreate());
    EXPECT_TRUE(filter.Apply(*empty));
    EXPECT_EQ(empty->GetValue(), 0.0f);
}

TEST(ScaleFilter, ScalesTheWholeFormWithTangents)
{
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    const auto curve = MakeCurve({AutoKey(1), UserKey(3, 2), AutoKey(2), UserKey(-4, 1, 0), AutoKey(5)});
    const YFCurvePtr before(curve->Copy());
    YFCurveFilterScale filter;
    for (const double refused : {0.0, 1.0}) {
        filter.SetScale(refused);
        EXPECT_FALSE(filter.Apply(*curve));
        ExpectStatus(filter, 1, "FilterScale, No key were changed by filter.");
    }
    filter.SetScale(-2.0);
    filter.SetApplyTangent(true);
    EXPECT_TRUE(filter.Apply(*curve));
    for (int i = 0; i < 200; ++i) {
        const YTime time = random.TimeBetween(curve->KeyGetTime(0), curve->KeyGetTime(4));
        EXPECT_NEAR(curve->Evaluate(time), -2.0 * before->Evaluate(time), 1e-4);
    }
    // Auto keys all of whose neighbours were scaled have nothing to say about their tangents still.
    EXPECT_TRUE(curve->IsKeyInterpolationPureCubicAuto(2));

    // At the end of the span a neighbour stays; the slope is scaled all the same.
    const float slope = curve->KeyGetRightDerivative(2);
    filter.SetStopTime(curve->KeyGetTime(2));
    EXPECT_TRUE(filter.Apply(*curve));
    EXPECT_NEAR(curve->KeyGetRightDerivative(2), -2.0f * slope, 1e-4);
    filter.SetApplyTangent(false);
    const float stored = curve->KeyGetRightDerivative(1);
    EXPECT_TRUE(filter.Apply(*curve));
    EXPECT_EQ(curve->KeyGetRightDerivative(1), stored);
}

TEST(ClampFilter, SwapsLimitsAndSaysSoAlsoWhenItSucceeds)
{
    const auto curve = MakeCurve({LinearKey(-1), LinearKey(2)});
    YFCurveFilterClamp filter;
    EXPECT_FALSE(filter.Apply(*curve));
    ExpectStatus(filter, 1, "ClampFilter, No key were changed by filter.");
    filter.SetApplyCeilClamping(true);
    filter.SetApplyFloorClamping(true);
    filter.SetCeil(0.0);
    filter.SetFloor(1.0);
    EXPECT_TRUE(filter.Apply(*curve));
    ExpectStatus(filter, 2,
                 "ClampFilter, Ceiling and Floor were swapped because Floor was greater than Ceiling");
    EXPECT_EQ(filter.GetCeil(), 1.0);
    EXPECT_EQ(filter.GetFloor(), 0.0);
    // From -1 to 2 in one second: the line is at the floor after a third, at the ceiling after two.
    EXPECT_EQ(KeyValues(*curve), (std::vector<float>{0, 0, 1, 1}));
    EXPECT_NEAR(KeySeconds(*curve)[1], 1.0 / 3.0, 1e-7);
    EXPECT_NEAR(KeySeconds(*curve)[2], 2.0 / 3.0, 1e-7);
}

TEST(ClampFilter, ASegmentThatOnlyBulgesOverTheLimitIsCutTwice)
{
    // From 0 to 0 with slopes 4 and -4: 4 (u - u^2), which is at 0.75 for u = 1/4 and 3/4.
    const auto curve = MakeCurve({UserKey(0, 4, -4), UserKey(0)});
    YFCurveFilterClamp filter;
    filter.SetApplyCeilClamping(true);
    filter.SetCeil(0.75);
    ASSERT_TRUE(filter.Apply(*curve));
    EXPECT_EQ(KeyValues(*curve), (std::vector<float>{0.0f, 0.75f, 0.75f, 0.0f}));
    EXPECT_NEAR(KeySeconds(*curve)[1], 0.25, 1e-6);
    EXPECT_NEAR(KeySeconds(*curve)[2], 0.75, 1e-6);
    EXPECT_EQ(curve->Evaluate(Sec(0.5)), 0.75f);
    EXPECT_NEAR(curve->Evaluate(Sec(0.125)), 0.4375, 1e-6);

    // What is beyond a limit by less than the tolerance, a hundred-thousandth at first, is not worth a key.
    const auto clamps = [](const YFCurveKey& key, const char* tolerance) {
        YFCurveFilterClamp both;
        both.SetApplyCeilClamping(true);
        both.SetApplyFloorClamping(true);
        both.SetCeil(0.75);
        both.SetFloor(-0.75);
        if (*tolerance != 0) both.SetParameter("Tolerance", tolerance);
        return both.Apply(*MakeCurve({key, UserKey(0)}));
    };
    for (const float side : {1.0f, -1.0f}) {
        EXPECT_FALSE(clamps(UserKey(0, 4 * side, -4 * side), "0.251"));
        EXPECT_TRUE(clamps(UserKey(0, 4 * side, -4 * side), "0.249"));
        EXPECT_FALSE(clamps(LinearKey(0.750008f * side), ""));
        EXPECT_TRUE(clamps(LinearKey(0.750012f * side), ""));
    }
}

TEST(ClampFilter, KeepsInsideTheLimitsAndLeavesTheRestAlone)
{
    RandomCurves random;
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 300; ++round) {
        const YFCurvePtr curve(YFCurveCreate());
        random.AddKeys(*curve, random.Int(1, 30), random.Chance(0.5) ? 0.7 : 0.0);
        const YFCurvePtr before(curve->Copy());
        YFCurveFilterClamp filter;
        filter.SetApplyCeilClamping(true);
        filter.SetApplyFloorClamping(true);
        filter.SetCeil(random.Between(0.0, 60.0));
        filter.SetFloor(random.Between(-60.0, 0.0));
        filter.Apply(*curve);
        const YTime first = before->KeyGetTime(0);
        const YTime last = before->KeyGetTime(before->KeyGetCount() - 1);
        for (int i = 0; i < 100; ++i) {
            const YTime time = random.TimeBetween(first, last);
            const double wanted =
                std::clamp(double{before->Evaluate(time)}, filter.GetFloor(), filter.GetCeil());
            // Weights are stored in steps of 1/9999, which is what the parts of a cut segment differ by.
            ASSERT_NEAR(curve->Evaluate(time), wanted, 6e-2) << "round " << round << " at " << time.Get();
            ASSERT_LE(curve->Evaluate(time), filter.GetCeil() + 1e-4);
            ASSERT_GE(curve->Evaluate(time), filter.GetFloor() - 1e-4);
        }
        for (int i = 1; i < curve->KeyGetCount(); ++i)
            ASSERT_LT(curve->KeyGetTime(i - 1), curve->KeyGetTime(i));
        EXPECT_FALSE(filter.Apply(*curve)) << "round " << round;  // nothing is left to clamp
    }
}

TEST(TimeClampFilter, RemovesTheKeysBetweenTheBounds)
{
    const auto curve = MakeCurve({LinearKey(0), LinearKey(1), LinearKey(2), LinearKey(3)});
    YFCurveFilterTimeClamp filter;
    EXPECT_FALSE(filter.Apply(*curve));
    ExpectStatus(filter, 2, "FilterTimeClamp. Either Min or Max are not valid.");
    filter.SetMin(Sec(1.25));
    filter.SetMax(Sec(1.75));
    EXPECT_FALSE(filter.Apply(*curve));
    ExpectStatus(filter, 1, "FilterTimeClamp. No key were changed by filter.");
    filter.SetMin(Sec(1.0));
    filter.SetMax(Sec(2.0));
    EXPECT_TRUE(filter.Apply(*curve));
    EXPECT_EQ(KeyValues(*curve), (std::vector<float>{0, 3}));
    filter.SetApplyMinClamp(false);
    EXPECT_TRUE(filter.Apply(*curve));
    EXPECT_EQ(KeyValues(*curve), (std::vector<float>{3}));
    EXPECT_FALSE(filter.Apply(*YFCurvePtr(YFCurveCreate())));
    ExpectStatus(filter, 0, "FilterTimeClamp. No key to be filtered.");
}

TEST(TimeShiftAndScaleFilter, ShiftsThenScalesAndAnswersFalse)
{
    const auto curve = MakeCurve({LinearKey(0), LinearKey(1)});
    curve->KeyMove(1, Sec(5.0));
    YFCurveFilterTimeShiftAndScale filter;
    EXPECT_EQ(filter.GetStartTime(), YTIME_ZERO);
    EXPECT_FALSE(filter.Apply(*curve));
    ExpectStatus(filter, 1, "TimeShiftAndScaleFilter, No key were changed by filter.");
    filter.SetShift(Sec(10.0));
    filter.SetScale(2.0);
    EXPECT_FALSE(filter.Apply(*curve));
    EXPECT_EQ(KeySeconds(*curve), (std::vector<double>{20.0, 30.0}));
    filter.SetScale(-3.0);  // ignored
    EXPECT_FALSE(filter.Apply(*curve));
    EXPECT_EQ(KeySeconds(*curve), (std::vector<double>{30.0, 40.0}));
}

TEST(TimeShiftAndScaleFilter, KeysThatWouldMeetOrLeaveTimeStay)
{
    const auto curve = MakeCurve({LinearKey(0), LinearKey(1)});
    YFCurveFilterTimeShiftAndScale filter;
    filter.SetScale(1e-13);
    EXPECT_FALSE(filter.Apply(*curve));
    ExpectStatus(filter, 1, "TimeShiftAndScaleFilter, No key were changed by filter.");
    filter.SetScale(1e30);
    EXPECT_FALSE(filter.Apply(*curve));
    filter.SetScale(1.0);
    filter.SetShift(YTIME_INFINITE);
    EXPECT_FALSE(filter.Apply(*curve));
    EXPECT_EQ(KeySeconds(*curve), (std::vector<double>{0.0, 1.0}));
}

// What is left of keys at 0, 1, 2, 3 and 4 seconds.
TEST(DeleteKeyFilter, CutsTheTimeOfTheSpanOut)
{
    struct Case
    {
        bool cut;
        YTime start, stop;
        std::vector<double> left;
    };
    const Case cases[] = {{true, Sec(0.5), Sec(2.25), {0.0, 1.25, 2.25}},
                          {false, Sec(0.5), Sec(2.25), {0.0, 3.0, 4.0}},
                          {false, Sec(0.25), Sec(0.75), {0.0, 1.0, 2.0, 3.0, 4.0}},
                          {true, Sec(-2.0), Sec(-1.0), {-1.0, 0.0, 1.0, 2.0, 3.0}},  // a gap before the keys
                          {true, YTIME_MINUS_INFINITE, Sec(3.5), {0.5}},
                          {true, YTIME_MINUS_INFINITE, YTIME_INFINITE, {}}};
    for (const Case& one : cases) {
        const auto curve = MakeCurve({LinearKey(0), LinearKey(1), LinearKey(2), LinearKey(3), LinearKey(4)});
        YFCurveFilterDeleteKey filter;
        filter.SetCutTimeInterval(one.cut);
        filter.SetStartTime(one.start);
        filter.SetStopTime(one.stop);
        const bool changes = one.cut || one.left.size() < 5;
        EXPECT_EQ(filter.Apply(*curve), changes);
        EXPECT_EQ(KeySeconds(*curve), one.left);
        if (!changes) ExpectStatus(filter, 1, "DeleteKeyFilter, No key were changed by filter.");
    }
    YFCurveFilterDeleteKey filter;
    EXPECT_FALSE(filter.Apply(*YFCurvePtr(YFCurveCreate())));
    ExpectStatus(filter, 0, "DeleteKeyFilter, No key to be filtered.");
}

}  // namespace
