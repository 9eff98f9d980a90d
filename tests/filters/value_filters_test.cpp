#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "tests/curve/random_curve.h"
#include "tests/curve/same_edit.h"
#include "tests/filters/made_filter.h"
#include "yfcurve/yfcurvefilterclamp.h"
#include "yfcurve/yfcurvefilterscale.h"

namespace {

using namespace yfc::test;

// What simple filters make of linear keys of 0, 1, 2, 3 and 4 at as many seconds.
TEST(ValueAndTimeFilters, ChangeKeysOfTheirSpan)
{
    const struct
    {
        const char *name, *settings, *keys;
    } cases[] = {// A span that starts between two keys reaches the one before.
                 {"Offset", "Offset=0.5 Start=1.5 Stop=2", "0:0 1:1.5 2:2.5 3:3 4:4"},
                 {"Scale", "Scale=3 Start=1 Stop=2.5", "0:0 1:3 2:6 3:9 4:4"},
                 {"TimeClamp", "Min=1 Max=2", "0:0 3:3 4:4"},
                 {"TimeClamp", "Max=2 ApplyMinClamp=false", "3:3 4:4"},
                 {"TimeShiftAndScale", "Shift=10 Scale=2", "20:0 22:1 24:2 26:3 28:4"},
                 {"TimeShiftAndScale", "Shift=10 Scale=-3", "10:0 11:1 12:2 13:3 14:4"},
                 {"DeleteKey", "Start=0.5 Stop=2.25", "0:0 1.25:3 2.25:4"},
                 {"DeleteKey", "Start=-2 Stop=-1", "-1:0 0:1 1:2 2:3 3:4"},
                 {"DeleteKey", "Stop=3.5", "0.5:4"},
                 {"DeleteKey", "", ""},
                 {"DeleteKey", "CutTimeInterval=false Start=0.5 Stop=2.25", "0:0 3:3 4:4"}};
    for (const auto& one : cases) {
        SCOPED_TRACE(testing::Message() << one.name << ' ' << one.settings);
        const auto curve = MakeCurve({LinearKey(0), LinearKey(1), LinearKey(2), LinearKey(3), LinearKey(4)});
        const std::string name = one.name;
        const FilterPtr filter = MadeFilter(name, one.settings);
        // One of them says no whatever it has done.
        EXPECT_EQ(filter->Apply(*curve), name != "TimeShiftAndScale");
        EXPECT_EQ(filter->GetLastErrorID(), YError::NoError);
        EXPECT_EQ(Keys(*curve), one.keys);
        if (name != "Offset") continue;
        EXPECT_EQ(curve->GetValue(), 0.5f);
        const YFCurvePtr empty(YFCurveCreate());
        EXPECT_TRUE(filter->Apply(*empty));
        EXPECT_EQ(empty->GetValue(), 0.0f);
    }
}

TEST(ScaleFilter, ScalesSlopesWithValues)
{
    RandomCurves random;
    const auto any = [&] { return random.Float(-5.0f, 5.0f); };
    for (int round = 0; round < 40; ++round) {
        const bool inSpan = round % 2 == 1;
        const double factor = round < 20 ? random.Between(-3.0, 3.0) : 1.0001;
        // The neighbours of the third key are far apart, so that rounding is no part of its slope.
        const auto curve =
            MakeCurve({AutoKey(any()), UserKey(random.Float(2.0f, 5.0f), any()), AutoKey(any()),
                       UserKey(random.Float(-5.0f, -2.0f), any(), 0), AutoKey(any())});
        const YFCurvePtr before(curve->Copy());
        YFCurveFilterScale filter;
        filter.SetScale(factor);
        filter.SetApplyTangent(true);
        if (inSpan) filter.SetStartTime(curve->KeyGetTime(1));
        if (inSpan) filter.SetStopTime(curve->KeyGetTime(2));
        EXPECT_TRUE(filter.Apply(*curve));
        for (int i = inSpan ? 1 : 0; i <= (inSpan ? 2 : 4); ++i) {
            const double slope = before->KeyGetRightDerivative(i);
            EXPECT_NEAR(curve->KeyGetRightDerivative(i), factor * slope, 4e-6 * std::abs(slope) + 1e-6) << i;
            EXPECT_FLOAT_EQ(curve->KeyGetValue(i), static_cast<float>(factor * before->KeyGetValue(i)));
        }
        // An auto key all of whose neighbours were scaled has nothing to say about its slopes still.
        EXPECT_TRUE(inSpan || curve->IsKeyInterpolationPureCubicAuto(2));
        filter.SetApplyTangent(false);
        const float stored = curve->KeyGetRightDerivative(1);
        EXPECT_TRUE(filter.Apply(*curve));
        EXPECT_EQ(curve->KeyGetRightDerivative(1), stored);
    }
}

TEST(ClampFilter, SwapsLimitsAndSaysSoAlsoWhenItSucceeds)
{
    const auto curve = MakeCurve({LinearKey(-1), LinearKey(2)});
    YFCurveFilterClamp filter;
    filter.SetApplyCeilClamping(true);
    filter.SetApplyFloorClamping(true);
    filter.SetCeil(0.0);
    filter.SetFloor(1.0);
    EXPECT_TRUE(filter.Apply(*curve));
    EXPECT_EQ(filter.GetLastErrorID(), 2);
    EXPECT_STREQ(filter.GetLastErrorString(),
                 "ClampFilter, Ceiling and Floor were swapped because Floor was greater than Ceiling");
    EXPECT_TRUE(filter.GetCeil() == 1.0 && filter.GetFloor() == 0.0);
    EXPECT_EQ(KeyValues(*curve), (std::vector<float>{0, 0, 1, 1}));
}

TEST(ClampFilter, ASegmentThatOnlyBulgesOverTheLimitIsCutTwice)
{
    // From 0 to 0 with slopes 4 and -4: 4 (u - u^2), which is at 0.75 for u = 1/4 and 3/4, and 1 at most.
    // What is beyond a limit by less than the tolerance, a hundred-thousandth at first, is not worth a key.
    const auto clamps = [](const YFCurveKey& key, const char* tolerance) {
        const std::string settings = "ApplyCeilClamping=true ApplyFloorClamping=true Ceil=0.75 Floor=-0.75 ";
        return MadeFilter("Clamp", settings + tolerance)->Apply(*MakeCurve({key, UserKey(0)}));
    };
    for (const float side : {1.0f, -1.0f}) {
        EXPECT_FALSE(clamps(UserKey(0, 4 * side, -4 * side), "Tolerance=0.251"));
        EXPECT_TRUE(clamps(UserKey(0, 4 * side, -4 * side), "Tolerance=0.249"));
        EXPECT_FALSE(clamps(LinearKey(0.750008f * side), ""));
        EXPECT_TRUE(clamps(LinearKey(0.750012f * side), ""));
    }
}

TEST(ClampFilter, KeepsInsideTheLimitsAndLeavesTheRestAlone)
{
    RandomCurves random;
    for (int round = 0; round < 300; ++round) {
        const YFCurvePtr curve(YFCurveCreate());
        random.AddKeys(*curve, random.Int(1, 30), random.Chance(0.5) ? 0.7 : 0.0);
        const YFCurvePtr before(curve->Copy());
        YFCurveFilterClamp filter;
        filter.SetApplyCeilClamping(true);
        filter.SetApplyFloorClamping(true);
        filter.SetCeil(random.Between(0.0, 60.0));
        filter.SetFloor(random.Between(-60.0, 0.0));
        YTime first = before->KeyGetTime(0), last = before->KeyGetTime(before->KeyGetCount() - 1);
        if (random.Chance(0.5)) {
            filter.SetStartTime(random.TimeBetween(first, last));
            filter.SetStopTime(random.TimeBetween(filter.GetStartTime(), last));
        }
        first = before->KeyGetTime(filter.GetStartKey(*before));
        last = before->KeyGetTime(filter.GetStopKey(*before));
        filter.Apply(*curve);
        for (int i = 0; i < 100; ++i) {
            const YTime time = random.TimeBetween(first, last);
            // Weights are stored in steps of 1/9999, by which the parts of a cut segment come early or late and go up or
            // down along their tangents.
            const int key = static_cast<int>(before->KeyFind(time));
            const int next = std::min(key + 1, before->KeyGetCount() - 1);
            const YTime step(YTime(before->KeyGetTime(next) - before->KeyGetTime(key)).Get() / 9999);
            const double rise =
                step.GetSecondDouble() * std::max(std::abs(before->KeyGetRightDerivative(key)),
                                                  std::abs(before->KeyGetLeftDerivative(next)));
            double low = HUGE_VAL, high = -HUGE_VAL;
            for (YTime at = time - step; at <= time + step;
                 at += YTime(std::max<std::int64_t>(step.Get() / 4, 1))) {
                const double value =
                    std::clamp(double{before->Evaluate(at)}, filter.GetFloor(), filter.GetCeil());
                low = std::min(low, value);
                high = std::max(high, value);
            }
            ASSERT_GE(curve->Evaluate(time), low - rise - 1e-3) << "round " << round << " at " << time.Get();
            ASSERT_LE(curve->Evaluate(time), high + rise + 1e-3) << "round " << round << " at " << time.Get();
            ASSERT_LE(curve->Evaluate(time), filter.GetCeil() + 1e-4);
            ASSERT_GE(curve->Evaluate(time), filter.GetFloor() - 1e-4);
        }
        EXPECT_FALSE(filter.Apply(*curve)) << "round " << round;  // nothing is left to clamp
    }
}

}  // namespace
