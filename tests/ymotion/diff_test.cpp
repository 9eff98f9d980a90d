#include <gtest/gtest.h>

#include <fmt/format.h>

#include <limits>

#include "tests/curve/curve_fixtures.h"
#include "tests/motion_support.h"
#include "ymotion/clipping/clip_curves.h"
#include "ymotion/compare/curve_diff.h"
#include "ymotion/compare/scene_diff.h"
#include "ymotion/scene/scene_copy.h"

using namespace ymotion;

namespace {

YFCurvePtr Curve(const std::vector<std::pair<double, float>>& keys,
                 unsigned interpolation = YFCURVE_INTERP_LINEAR)
{
    YFCurvePtr curve(YFCurveCreate());
    // The bit of auto tangents would make steps jump at once.
    const unsigned mode = interpolation == YFCURVE_INTERP_CUBIC ? YFCURVE_TANGENT_AUTO : 0u;
    for (const auto& [seconds, value] : keys)
        curve->KeyAdd(yfc::test::Sec(seconds), yfc::test::MakeKey(value, interpolation, mode));
    return curve;
}

std::string TextOf(const SceneDifference& difference)
{
    std::string text;
    for (const auto& value : difference.values)
        text += fmt::format("{} {}\n", value.curve.Text(), value.largest.Size());
    for (const auto& name : difference.onlyB) text += "only b: " + name.Text() + "\n";
    for (const auto& setting : difference.settings)
        text += setting.what + " " + setting.a + "|" + setting.b + "\n";
    return text;
}

const std::string kTwoFrames = OneJoint("1 Xposition", {"1", "2"});
const std::string kAngles = "3 Zrotation Yrotation Xrotation";

}  // namespace

TEST(CurveDifference, IsFoundAtKeysAndBetweenThem)
{
    const YFCurvePtr line = Curve({{0, 0}, {4, 8}});
    EXPECT_FALSE(LargestDifference(*line, *Curve({{0, 0}, {1, 2}, {3, 6}, {4, 8}})));
    // A key of either curve that is off the other one.
    const auto bump = LargestDifference(*Curve({{0, 0}, {1, 5}, {4, 8}}), *line);
    ASSERT_TRUE(bump);
    EXPECT_TRUE(bump->time == yfc::test::Sec(1) && bump->a == 5 && bump->b == 2);
    // 4 t (1 - t) (1 - 2t) is 0 at both keys and half-way, and 3/8 at the first quarter.
    YFCurvePtr wave = Curve({{0, 0}, {1, 0}}, YFCURVE_INTERP_CUBIC);
    for (int key = 0; key < 2; ++key) wave->KeySetTangeantMode(key, YFCURVE_TANGENT_USER);
    wave->KeySetRightDerivative(0, 4);
    wave->KeySetLeftDerivative(1, 4);
    const auto between = LargestDifference(*Curve({{0, 0}, {1, 0}}), *wave);
    ASSERT_TRUE(between);
    EXPECT_EQ(between->time, yfc::test::Sec(0.25));
    EXPECT_NEAR(between->Size(), 0.375, 1e-6);
    // Steps that hold and steps that jump.
    EXPECT_EQ(LargestDifference(*Curve({{0, 0}, {4, 8}}, YFCURVE_INTERP_CONSTANT), *line)->time,
              yfc::test::Sec(3));
}

TEST(CurveDifference, CountsOddValuesAsTheyAre)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_FALSE(LargestDifference(*Curve({{0, nan}}), *Curve({{0, nan}})));
    EXPECT_FALSE(LargestDifference(*Curve({{0, 0.0f}}), *Curve({{0, -0.0f}})));
    EXPECT_EQ(LargestDifference(*Curve({{0, nan}}), *Curve({{0, 1}}))->Size(),
              std::numeric_limits<double>::infinity());
    // Without keys a curve has its default value everywhere.
    const YFCurvePtr still = Curve({});
    EXPECT_FALSE(LargestDifference(*still, *Curve({})));
    EXPECT_EQ(LargestDifference(*still, *Curve({{5, 1}, {6, -3}}))->time, yfc::test::Sec(6));
    still->SetValue(7);
    EXPECT_EQ(LargestDifference(*Curve({}), *still)->Size(), 7);
}

TEST(SceneDifference, NamesWhatIsNotAlike)
{
    const Scene a = SceneOfText(kTwoFrames);
    EXPECT_TRUE(CompareScenes(a, ThroughTalo(a), 0).IsEmpty());
    EXPECT_EQ(CompareScenes(a, a, 0).compared, 3u);

    Scene b = SceneOfText(kTwoFrames);
    YFCurve& x = *b.jointNodes[0]->Get(0)->Get(0)->FCurveGet();
    x.KeySetValue(1, 2.25f);
    x.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION);
    EXPECT_TRUE(CompareScenes(a, b, 0.25).IsEmpty()) << "a repetition of no times is none";
    x.SetPostExtrapolationCount(2);
    b.rate = {24, 1};
    b.skeleton.joints[0].offset[1] = 1;
    Layer& layer = *b.layers.Add("up");
    b.jointNodes[0]->Get(0)->CreateLayerAt(layer.Info());
    EXPECT_EQ(TextOf(CompareScenes(a, b, 0.2)),
              "a/Lcl Translation/X 0.25\nonly b: a/Lcl Translation/X [up]\nonly b: a/Lcl Translation/Y [up]\n"
              "only b: a/Lcl Translation/Z [up]\nframe rate 2/1|24/1\n"
              "skeleton joint 'a' at 7 8 9 Xposition|joint 'a' at 7 1 9 Xposition\nlayer 'up' |there\n"
              "a/Lcl Translation/X: after its keys constant|repetition, 2 times\n");
    // Layers that both have are compared in themselves.
    Scene c = ThroughTalo(b);
    Layer& changed = *c.layers.Find("up");
    changed.WeightCurve()->SetValue(0.5f);
    changed.SetMute(true);
    changed.SetLocked(true);
    changed.SetMode(YFCURVE_LAYER_OVERRIDE);
    changed.SetRotationMode(YFCURVE_LAYER_ROTATION_BY_CHANNEL);
    changed.SetScalingMode(YFCURVE_LAYER_SCALING_ADD);
    changed.SetModeBypass(YDataType::Get(eDataType::LocalScaling), true);
    c.layers.SetSolo(changed, true);
    c.layers.Rename(changed, "down");
    EXPECT_EQ(
        TextOf(CompareScenes(b, c, 0)),
        "weight [up] 0.5\nlayer 'up': name 'up'|'down'\nlayer 'up': mute off|on\nlayer 'up': solo off|on\n"
        "layer 'up': lock off|on\nlayer 'up': mode additive|override\n"
        "layer 'up': rotations by-layer|by-channel\nlayer 'up': scalings multiply|add\n"
        "layer 'up': exempt types none|Lcl Scaling\n");
}

TEST(SceneDifference, ComparesRotationsAsTheyPlay)
{
    const auto turning = [](const std::string& last) {
        return SceneOfText(OneJoint(kAngles, {"0 0 0", last + " 0 0"}, "1"));
    };
    const Scene angles = turning("270");
    Scene quaternions = turning("270");
    quaternions.jointNodes[0]->Get(0)->SetUseQuaternion(true);
    // A quarter back is the shorter way.
    Scene back = turning("-90");
    back.jointNodes[0]->Get(0)->SetUseQuaternion(true);
    EXPECT_TRUE(CompareScenes(quaternions, ThroughTalo(quaternions), 0).IsEmpty());
    const SceneDifference forms = CompareScenes(angles, quaternions, 1e-3);
    ASSERT_EQ(forms.values.size(), 1u);
    EXPECT_GT(forms.values[0].largest.Size(), 89.0);
    ASSERT_EQ(forms.settings.size(), 3u);
    EXPECT_EQ(forms.settings[0].what, "a/Lcl Rotation/X: interpolated");
    EXPECT_TRUE(CompareScenes(quaternions, back, 0).settings.empty());
}

TEST(SceneDifference, ComparesRotationsAsOrientations)
{
    const Scene a = SceneOfText(OneJoint(kAngles, {"0 0 0", "30 20 10"}));
    // Wraps, the flipped triple, and turns by 5 degrees.
    const std::pair<const char*, double> cases[] = {
        {"390 20 -710", 0}, {"210 160 190", 0}, {"35 20 10", 5}, {"-325 20 370", 5}};
    for (const auto& [other, turn] : cases) {
        const Scene b = SceneOfText(OneJoint(kAngles, {"0 0 0", other}));
        EXPECT_FALSE(CompareScenes(a, b, 0).IsEmpty()) << other;
        const SceneDifference turned = CompareScenes(a, b, 0, true);
        ASSERT_EQ(turned.values.size(), turn > 0 ? 1u : 0u) << other;
        if (turn == 0) continue;
        EXPECT_NEAR(turned.values[0].Size(), turn, 1e-4);
        EXPECT_EQ(turned.values[0].curve.Text(), "a/Lcl Rotation");
    }
    // Without keys.
    Scene still = SceneOfText(OneJoint(kAngles, {"0 0 0"}));
    for (YFCurve* curve : CurvesToMove(still)) curve->KeyClear();
    Scene turned = CopyOf(still);
    CurvesToMove(turned)[0]->SetValue(30.0f);
    EXPECT_EQ(CompareScenes(still, turned, 0, true).values.size(), 1u);
    // The order says nothing then.
    const Scene x = SceneOfText(OneJoint(kAngles, {"0 0 0", "0 0 40"}));
    const Scene y = SceneOfText(OneJoint("3 Xrotation Yrotation Zrotation", {"0 0 0", "40 0 0"}));
    EXPECT_TRUE(CompareScenes(x, y, 0, true).IsEmpty());
}
