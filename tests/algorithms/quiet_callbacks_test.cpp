#include <gtest/gtest.h>

#include "tests/node/nodes.h"
#include "yfcurve/yfcurvetangentchecks.h"
#include "yfcurve/yfcurveutils.h"

using namespace nodetest;

// A host that has disabled a curve's callbacks hears of what a walk over a tree did once it enables them.
TEST(QuietCallbacks, StayAsTheHostHasSetThem)
{
    void (*const edits[])(YFCurveNode&, YFCurveNode&) = {
        [](YFCurveNode& node, YFCurveNode& reference) {
            YFCURVE_BreakTangents(&node, &reference, YTIME_ONE_SECOND, 1.0);
        },
        [](YFCurveNode& node, YFCurveNode&) {
            YFCurveUtils::ConvertCurveInterpolationRecursive(YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_AUTO,
                                                             &node);
        },
    };
    for (const auto edit : edits) {
        const YFCurveNodePtr node = Translation(), reference = Translation();
        int heard[3] = {};
        for (int i = 0; i < 3; ++i) {
            SetKeys(CurveOf(*node, i), {{0.0, 0.0f}, {2.0, 0.0f}, {4.0, 0.0f}});
            SetKeys(CurveOf(*reference, i), {{0.0, 0.0f}, {4.0, 400.0f}});
            CurveOf(*node, i).CallbackRegister(
                [](YFCurve*, YFCurveEvent*, void* count) { ++*static_cast<int*>(count); }, &heard[i]);
        }
        CurveOf(*node, 1).CallbackEnable(false);
        CurveOf(*node, 2).KeyModifyBegin();
        edit(*node, *reference);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(heard[i], i == 0 ? 1 : 0) << "one merged event, or none yet";
            EXPECT_EQ(CurveOf(*node, i).CallbackIsEnabled(), i == 0);
        }
        CurveOf(*node, 1).CallbackEnable(true);
        CurveOf(*node, 2).KeyModifyEnd();
        for (const int count : heard) EXPECT_EQ(count, 1);
    }
}
