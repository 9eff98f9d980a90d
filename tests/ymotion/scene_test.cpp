#include "ymotion/scene/scene.h"

#include <gtest/gtest.h>

#include "tests/motion_support.h"

using namespace ymotion;

TEST(Scene, KeysAreAtTheFramesAndPositionsAreNotAddedToTheOffset)
{
    const Scene scene =
        SceneOfText(OneJoint("2 Xposition Xrotation", {"1 5", "2 6", "3 7", "4 8"}, ".0333667"));
    const YFCurve& curve = *CurveOf(*scene.jointNodes[0], {ChannelKind::Translation, Axis::X});
    ASSERT_EQ(curve.KeyGetCount(), 4);
    // 30000/1001 frames a second: 3 * 46186158000 * 1001 / 30000 = 4623234415.8.
    EXPECT_EQ(curve.KeyGetTime(3).Get(), 4623234416);
    EXPECT_TRUE(curve.IsKeyInterpolationPureCubicAuto(1));
    EXPECT_FALSE(KeySpan(SceneOfText(OneJoint("1 Xposition", {}))).has_value());
}
