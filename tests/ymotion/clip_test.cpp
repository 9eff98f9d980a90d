// Clip tools against the motion that they started from: how it plays at any time.

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include <fmt/format.h>

#include "tests/curve/random_curve.h"
#include "tests/motion_support.h"
#include "tests/small_motion.h"
#include "tests/ymotion/clipped.h"
#include "ymotion/clipping/clip_curves.h"
#include "ymotion/scene/scene_copy.h"
#include "ymotion/scene/whole_turns.h"
#include "ymotion/scene/world_pose.h"

using namespace ymotion;

namespace {

/// Two joints, with curves of every kind, some without keys, a rotation that may turn as quaternions do, and a layer.
Scene RandomScene(RandomCurves& random, double largestWeight, bool layered = true)
{
    Scene scene = SceneOfText(test::kSmallMotion);
    scene.rate = random.Pick<FrameRate>({{24, 1}, {24000, 1001}, {30, 1}, {120, 1}});
    Layer& layer = *scene.layers.Add("Up");
    layer.SetMode(random.Pick<eLayerMode>(
        {YFCURVE_LAYER_ADDITIVE, YFCURVE_LAYER_OVERRIDE, YFCURVE_LAYER_WEIGHTED_OVERRIDE}));
    layer.WeightCurve()->SetValue(0.5f);
    // Without weighted tangents, the rounding of which would count as often as the weight is.
    if (random.Chance(0.5)) random.AddKeys(*layer.WeightCurve(), 4, 0.0);
    YFCurveNode& legTurn = *PropertyOf(*scene.jointNodes[1], ChannelKind::Rotation);
    legTurn.SetUseQuaternion(random.Chance(0.5));
    if (layered) {
        legTurn.CreateLayerAt(layer.Info());
        PropertyOf(*scene.jointNodes[0], ChannelKind::Translation)->CreateLayerAt(layer.Info());
    }
    for (const YFCurveNode* joint : {scene.jointNodes[0], scene.jointNodes[1]}) {
        for (const ChannelKind kind : {ChannelKind::Translation, ChannelKind::Rotation}) {
            for (YFCurveNode* node = PropertyOf(*joint, kind); node != nullptr; node = node->LayerGet()) {
                for (int i = 0; i < 3; ++i) {
                    node->Get(i)->FCurveGet()->KeyClear();
                    random.AddKeys(*node->Get(i)->FCurveGet(), 1 + random.Below(6), largestWeight);
                    if (random.Chance(0.1)) node->Get(i)->FCurveGet()->KeyClear();
                }
            }
        }
    }
    return scene;
}

constexpr std::identity kSame{};

/// That a scene plays at the time that `timeOf` gives what another one does within its span, or the mirror image.
void ExpectPlays(const Scene& scene, const Scene& other, const TimeSpan& span,
                 const std::function<YTime(YTime)>& timeOf, RandomCurves& random, double tolerance = 1e-4,
                 bool isMirrored = false)
{
    WorldPoses poses(scene);
    WorldPoses others(other);
    for (int i = 0; i < 60; ++i) {
        const YTime time = random.TimeBetween(span.start, span.stop);
        std::vector<JointPose> expected = others.At(time);
        for (JointPose& pose : expected) {
            if (!isMirrored) break;
            pose.position.x *= -1;
            pose.rotation = {pose.rotation.x, -pose.rotation.y, -pose.rotation.z, pose.rotation.w};
        }
        const std::vector<JointPose>& actual = poses.At(timeOf(time));
        ASSERT_EQ(actual.size(), expected.size());
        for (std::size_t joint = 0; joint < expected.size(); ++joint) {
            const YgeVector& a = actual[joint].position;
            const YgeVector& b = expected[joint].position;
            const double size = 10.0 + std::hypot(b.x, b.y, b.z);
            ASSERT_LT(std::hypot(a.x - b.x, a.y - b.y, a.z - b.z), tolerance * size)
                << time.GetSecondDouble();
            ASSERT_LT(actual[joint].rotation.GetAngleTo(expected[joint].rotation), 100 * tolerance)
                << time.GetSecondDouble() << " joint " << joint;
        }
    }
}

}  // namespace

TEST(Clip, TimesOfEveryKindOfCurve)
{
    RandomCurves random;
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        const bool weighted = round % 3 == 0;
        const Scene scene = RandomScene(random, weighted ? 0.7 : 0.0);
        // Weights are stored in steps of 1/9999, which steep stretches, between heavier ones, show much of.
        const double tolerance = weighted ? 2e-2 : 1e-4;
        const TimeSpan span = Span(scene);
        const auto mirrored = [&](YTime time) { return span.start + span.stop - time; };
        ExpectPlays(Clipped(scene, {"reverse"}), scene, span, mirrored, random, tolerance);
        ExpectPlays(Clipped(scene, {"reverse", "reverse"}), scene, span, kSame, random, tolerance);
        const auto slowed = [&](YTime time) { return span.start + (time - span.start) * 4; };
        ExpectPlays(Clipped(scene, {"speed=0.25"}), scene, span, slowed, random);
        const auto later = [](YTime time) { return time - YTime::FromSeconds(1.5); };
        ExpectPlays(Clipped(scene, {"shift=-1.5"}), scene, span, later, random);
        ExpectPlays(Clipped(scene, {"mirror"}), scene, span, kSame, random, tolerance, true);

        const TimeSpan part{span.At(0.3), span.At(random.Between(0.3, 0.9))};
        const std::string range =
            fmt::format("trim={}:{}", part.start.GetSecondDouble(), part.stop.GetSecondDouble());
        const Scene trimmed = Clipped(scene, {range});
        ExpectPlays(
            trimmed, scene, part, [&](YTime time) { return time - part.start; }, random, tolerance);
        EXPECT_EQ(Span(trimmed).start, YTIME_ZERO);
        EXPECT_LE(std::abs((Span(trimmed).stop - part.Length()).Get()), 3);
        const Scene kept = Clipped(scene, {"keep-times", range});
        ExpectPlays(kept, scene, part, kSame, random, tolerance);
    }
}

// Of ranges of different lengths, as sums of times are rounded to another tick than the frames of some.
TEST(Clip, FramesStayWholeAtEveryRate)
{
    // What files have is also what is played at the very times of the frames.
    const auto rowsOf = [](const Scene& played) {
        const std::vector<float> rows = ParseBvh(BvhTextOf(played), "a.bvh").samples;
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const YTime time = TimeOfFrame(static_cast<std::int64_t>(i), played.rate);
            EXPECT_EQ(CurvesToMove(played)[1]->Evaluate(time), rows[i]) << i;
        }
        return rows;
    };
    for (const char* frameTime : {"0.0417083", "0.0416667", "0.0083333", "0.0333667"}) {
        for (int round = 0; round < 6; ++round) {
            const std::size_t last = std::array{13u, 49u, 51u}[static_cast<std::size_t>(round / 2)];
            SCOPED_TRACE(fmt::format("{} {} {}", frameTime, last, round % 2));
            Words frames;
            for (std::size_t i = 0; i <= last; ++i) frames.push_back(std::to_string(i * i % 17) + ".125");
            const Scene scene = SceneOfText(OneJoint("1 Yposition", frames, frameTime));
            if (round % 2 == 1)
                CurvesToMove(scene)[1]->KeyTangeantSetInterpolation(false, YFCURVE_INTERP_CONSTANT);
            const auto rows = [&](const Words& steps) { return rowsOf(Clipped(scene, steps)); };
            const std::vector<float> all = rowsOf(scene);
            EXPECT_EQ(rows({"trim=7f:12f"}), std::vector<float>(all.begin() + 7, all.begin() + 13));
            EXPECT_EQ(rows({"reverse"}), std::vector<float>(all.rbegin(), all.rend()));
            EXPECT_EQ(rows({"reverse", "reverse"}), all);
            const std::vector<float> rounds = rows({"loop=10"});
            ASSERT_EQ(rounds.size(), 10 * last + 1);
            for (std::size_t i = 0; i < rounds.size(); ++i)
                EXPECT_EQ(rounds[i], all[i < 10 * last ? i % last : last]) << i;
            // The jumps from round to round take no time at any speed.
            EXPECT_EQ(rows({"loop=10", "speed=5"}).size(), 2 * last + 1);
            const std::vector<float> slow = rows({"speed=0.5"});
            ASSERT_EQ(slow.size(), 2 * last + 1);
            for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(slow[2 * i], all[i]) << i;
        }
    }
}

/// By how much the turn within one step differs from that within the step before, in degrees, for each joint.
std::vector<double> Breaks(WorldPoses& poses, YTime time, YTime step)
{
    const std::vector<JointPose> before = poses.At(time - step);
    const std::vector<JointPose> now = poses.At(time);
    const std::vector<JointPose>& after = poses.At(time + step);
    std::vector<double> breaks;
    for (std::size_t joint = 0; joint < now.size(); ++joint) {
        const YgeQuaternion came = now[joint].rotation * before[joint].rotation.GetConjugate();
        const YgeQuaternion goes = after[joint].rotation * now[joint].rotation.GetConjugate();
        breaks.push_back(came.GetAngleTo(goes));
    }
    return breaks;
}

// Without a jump, and about as fast: the seam is as smooth as the recording is at its own frames.
TEST(Clip, BlendedRoundsGoOnAsTheOneBeforeEnds)
{
    for (const std::string& file : RecordedMotions()) {
        Scene scene = SceneOfText(FileContent(file));
        Clip(scene, {"trim=0.1:2"});  // a recording begins with a pose of its own
        const YTime step = YTime::FromSeconds(0.001);
        std::vector<double> allowed(scene.skeleton.joints.size(), 0.02);
        WorldPoses once(scene);
        for (int frame = 1; TimeOfFrame(frame, scene.rate) < Span(scene).Length(); ++frame) {
            const auto breaks = Breaks(once, Span(scene).start + TimeOfFrame(frame, scene.rate), step);
            for (std::size_t joint = 0; joint < breaks.size(); ++joint)
                allowed[joint] = std::max(allowed[joint], breaks[joint] / 2);
        }
        WorldPoses poses(Clipped(scene, {"loop=3", "blend=0.2"}));
        for (const YTime seam : {Span(scene).Length(), Span(scene).Length() * 2}) {
            const std::vector<JointPose> soon = poses.At(seam - YTime(2));
            const std::vector<JointPose> now = poses.At(seam + YTime(2));
            EXPECT_NEAR(soon[0].position.x, now[0].position.x, 1e-3);
            EXPECT_NEAR(soon[0].position.z, now[0].position.z, 1e-3);
            const std::vector<double> breaks = Breaks(poses, seam, step);
            for (std::size_t joint = 0; joint < now.size(); ++joint) {
                ASSERT_LT(soon[joint].rotation.GetAngleTo(now[joint].rotation), 1e-3);
                ASSERT_LT(breaks[joint], allowed[joint]) << scene.skeleton.joints[joint].name;
            }
        }
    }
}

TEST(Clip, LoopOfEveryKindOfCurve)
{
    RandomCurves random;
    for (int round = 0; round < 30; ++round) {
        SCOPED_TRACE(round);
        const Scene scene = RandomScene(random, 0.0, false);
        const Scene looped = Clipped(scene, {"loop=2"});
        const TimeSpan span = Span(scene);
        ExpectPlays(looped, scene, {span.start, span.stop - YTime(5)}, kSame, random);
        WorldPoses once(scene);
        WorldPoses poses(looped);
        const YTime middle = span.At(0.37);
        const YgeQuaternion turn =
            poses.At(middle + span.Length())[0].rotation * once.At(middle)[0].rotation.GetConjugate();
        EXPECT_LT(std::hypot(turn.x, turn.z), 1e-3);
        for (int i = 0; i < 40; ++i) {
            const YTime time = random.TimeBetween(span.start + YTime(5), span.stop);
            const std::vector<JointPose> expected = once.At(time);
            const std::vector<JointPose>& actual = poses.At(time + span.Length());
            for (std::size_t joint = 0; joint < expected.size(); ++joint) {
                EXPECT_LT(actual[joint].rotation.GetAngleTo(turn * expected[joint].rotation), 0.1) << joint;
                EXPECT_NEAR(actual[joint].position.y, expected[joint].position.y, 0.02);
            }
        }
    }
}

TEST(Clip, OrientationsStayInAnotherOrder)
{
    RandomCurves random;
    for (int round = 0; round < 12; ++round) {
        const Scene scene = RandomScene(random, 0.0);
        for (const char* order : {"XYZ", "XZY", "YZX", "YXZ", "ZXY", "ZYX"}) {
            Scene turned = CopyOf(scene);
            Clip(turned, {std::string("order=") + order});
            EXPECT_STREQ(RotationOrderName(RotationOrderOf(turned.skeleton.joints[1])), order);
            ExpectPlays(turned, scene, Span(scene), kSame, random, 3e-3);
        }
    }
    // Six turns from key to key, of which thirds and sixths show nothing.
    Scene wheel = SceneOfText(OneJoint("3 Zrotation Xrotation Yrotation", {"10 20 0"}));
    YFCurve& turn = *CurvesToMove(wheel)[1];
    for (const int second : {0, 1})
        turn.KeyAdd(YTIME_ONE_SECOND * second, yfc::test::LinearKey(2160.0f * static_cast<float>(second)));
    ExpectPlays(Clipped(wheel, {"order=XYZ"}), wheel, {YTIME_ZERO, YTIME_ONE_SECOND}, kSame, random, 3e-3);
    // Without keys, angles are values.
    Scene still = SceneOfText(OneJoint("3 Zrotation Xrotation Yrotation", {"0 0 0"}));
    for (YFCurve* curve : CurvesToMove(still)) {
        curve->KeyClear();
        curve->SetValue(static_cast<float>(random.Between(-80, 80)));
    }
    const TimeSpan any{YTIME_ZERO, YTIME_ONE_SECOND};
    ExpectPlays(Clipped(still, {"order=XYZ"}), still, any, kSame, random);
}

TEST(Clip, JumpsStayOnTheSideThatTheirFrameShows)
{
    for (const float shown : {1.0f, 5.0f}) {
        const Scene scene = SceneOfText(OneJoint("3 Zrotation Xrotation Yrotation", {"0 0 0", "0 0 0"}));
        YFCurve& curve = *CurvesToMove(scene)[0];
        const YTime jump = YTIME_ONE_SECOND - (shown == 1.0f ? YTIME_ZERO : YTIME_ONE_TICK);
        curve.KeyClear();
        for (const auto& [time, value] : {std::pair(YTIME_ZERO, 1.0f),
                                          {jump, 1.0f},
                                          {jump + YTIME_ONE_TICK, 5.0f},
                                          {YTIME_ONE_SECOND * 2, 5.0f}})
            curve.KeyAdd(time, yfc::test::LinearKey(value));
        for (const auto& [step, second] : {std::pair("reverse", 1.0),
                                           {"speed=2", 0.5},
                                           {"speed=0.3", 1.0 / 0.3},
                                           {"trim=0:1.5", 1.0},
                                           {"trim=0.5:2", 0.5},
                                           {"loop=2", 3.0}}) {
            const Scene clipped = Clipped(scene, {step});
            EXPECT_EQ(CurvesToMove(clipped)[0]->Evaluate(YTime::FromSeconds(second)), shown) << step;
        }
        // The slope behind a step is none.
        curve.KeySetInterpolation(2, YFCURVE_INTERP_CONSTANT);
        curve.KeySetValue(3, 7.0f);
        curve.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_KEEP_SLOPE);
        curve.SetPostExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED);
        EXPECT_EQ(CurvesToMove(Clipped(scene, {"reverse"}))[0]->Evaluate(-YTIME_ONE_SECOND), 7.0f);
        // What goes on before the keys goes on behind them.
        curve.KeySetValue(0, 0.0f);
        curve.SetPreExtrapolation(YFCURVE_EXTRAPOLATION_KEEP_SLOPE);
        curve.SetPreExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED);
        EXPECT_NEAR(CurvesToMove(Clipped(scene, {"reverse"}))[0]->Evaluate(YTIME_ONE_SECOND * 3), -1.0f,
                    1e-5);
    }
}

TEST(Clip, RatesOfFilesAndOfKeys)
{
    const Scene walk = Walk();
    // 256 frames of 1/120 s are 42 of 1/20 s and a rest.
    for (const auto& [resampled, left] : {std::pair(false, 257), {true, 43 + 1}}) {
        const Scene slow = Clipped(walk, resampled ? Words{"rate=20", "resample"} : Words{"rate=20"});
        EXPECT_EQ(CurveOf(*slow.jointNodes[0], {})->KeyGetCount(), left);
        EXPECT_EQ(Span(slow).stop, Span(walk).stop);
    }
    // Of all layers and in the form of quaternions, at the frames; steps stay steps.
    RandomCurves random;
    for (int round = 0; round < 10; ++round) {
        const Scene scene = RandomScene(random, 0.5);
        const Scene sampled = Clipped(scene, {"rate=25", "resample"});
        WorldPoses expected(scene);
        WorldPoses actual(sampled);
        for (int frame = 0; frame < 20; ++frame) {
            const YTime time = Span(scene).start + TimeOfFrame(frame, {25, 1});
            const YgeQuaternion turn = expected.At(time)[1].rotation;
            ASSERT_LT(actual.At(time)[1].rotation.GetAngleTo(turn), 0.01) << frame;
        }
    }
    for (const auto& [mode, early, late] :
         {std::tuple(YFCURVE_CONSTANT_STANDARD, 0.0f, 4.0f), {YFCURVE_CONSTANT_NEXT, 4.0f, 8.0f}}) {
        Scene steps = SceneOfText(OneJoint("1 Xposition", {"0", "4", "8"}));
        YFCurve& curve = *CurveOf(*steps.jointNodes[0], {ChannelKind::Translation, Axis::X});
        for (int i = 0; i < 3; ++i) {
            curve.KeySetInterpolation(i, YFCURVE_INTERP_CONSTANT);
            curve.KeySetConstantMode(i, mode);
        }
        Clip(steps, {"rate=10", "resample"});
        EXPECT_EQ(curve.Evaluate(YTime::FromSeconds(0.45)), early);
        EXPECT_EQ(curve.Evaluate(YTime::FromSeconds(0.55)), late);
    }
}

TEST(Clip, LargeAnglesTakeNoMoreKeysThanSmallOnes)
{
    const auto keysAt = [](int turns) {
        Words frames;
        for (int i = 0; i < 20; ++i)
            frames.push_back(fmt::format("{} {} {}", 360 * turns + i * 7, i * i % 11, i * i % 7));
        Scene scene = SceneOfText(OneJoint("3 Zrotation Xrotation Yrotation", frames, "0.05"));
        Clip(scene, {"order=XYZ"});
        return CurveOf(*scene.jointNodes[0], {ChannelKind::Rotation, Axis::Z})->KeyGetCount();
    };
    EXPECT_LE(keysAt(2000), keysAt(0));
}
