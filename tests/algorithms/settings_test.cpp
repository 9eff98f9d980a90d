#include "yfcurve/yfcurvesettings.h"

#include <gtest/gtest.h>

#include <string>

#include "tests/curve/curve_fixtures.h"

namespace {

TEST(Settings, AreListedWithWhatTheyAre)
{
    ASSERT_EQ(YFCURVE_GetSettingCount(), 17);
    for (int i = 0; i < 17; ++i) {
        const YProperty* setting = YFCURVE_GetSetting(i);
        EXPECT_TRUE(setting->IsDefault()) << setting->GetName();
        EXPECT_NE(setting->GetDescription()->GetOptions().help, std::string()) << setting->GetName();
    }

    YProperty* period = YFCURVE_GetSetting(0);
    EXPECT_STREQ(period->GetName(), "PlotPeriod");
    EXPECT_TRUE(period->SetString("@7"));
    EXPECT_EQ(YFCURVE_GetPlotPeriod(), YTime(7));
    EXPECT_FALSE(period->SetString("0") || period->SetString("inf"));
    YFCURVE_SetPlotPeriod(YTime(-1));  // setters take what they are given
    EXPECT_EQ(YFCURVE_GetPlotPeriod(), YTime(-1));
    EXPECT_FALSE(period->IsDefault());
    EXPECT_TRUE(period->ResetValue());
    EXPECT_EQ(YFCURVE_GetPlotPeriod(), YTime(1539538600));
}

// Segment slopes 1 before and 5 after the key; tension 0, continuity C and bias B 0.5. The arriving slope
// pairs (1-C)(1+B) = 0.75 with the one before and (1+C)(1-B) = 0.75 with the one after, the leaving slope
// (1+C)(1+B) = 2.25 and (1-C)(1-B) = 0.25.
TEST(Settings, TCBKeysMayArriveWithTheSlopeThatTheyLeaveWith)
{
    using namespace yfc::test;
    const auto tcb = [](float value) { return TCBKey(value, 0.0f, 0.5f, 0.5f); };
    const YFCurvePtr curve = MakeCurve({tcb(0.0f), tcb(1.0f), tcb(6.0f), tcb(6.0f)});
    const float arriving = 0.5f * (1.0f * 0.75f + 5.0f * 0.75f);
    const float leaving = 0.5f * (1.0f * 2.25f + 5.0f * 0.25f);
    EXPECT_EQ(curve->KeyGetLeftDerivative(1), arriving);
    EXPECT_EQ(curve->KeyGetRightDerivative(1), leaving);
    const float before = curve->Evaluate(Sec(0.5));
    YFCURVE_SetTCB4051EvalMode(true);
    EXPECT_EQ(curve->KeyGetLeftDerivative(1), leaving);
    EXPECT_EQ(curve->KeyGetRightDerivative(1), leaving);
    EXPECT_NE(curve->Evaluate(Sec(0.5)), before);
    YFCURVE_SetTCB4051EvalMode(false);
    EXPECT_EQ(curve->Evaluate(Sec(0.5)), before);
}

}  // namespace
