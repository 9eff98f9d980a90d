// Clips one behind the other: what plays before, in and after the seam, and what skeletons differ in.

#include "ymotion/clipping/join.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

#include <fmt/format.h>

#include "tests/ymotion/clipped.h"
#include "ymotion/scene/whole_turns.h"
#include "ymotion/scene/world_pose.h"
#include "ymotion/ymotion.h"

using namespace ymotion;

TEST(Join, PlaysBothAndFadesBetween)
{
    const Scene first = Clipped(Walk(), {"trim=0:1"});
    const Scene second = Clipped(Walk(), {"trim=0.4:1.9", "mirror"});
    for (const double blend : {0.0, 0.3}) {
        for (const bool align : {false, true}) {
            Scene joined = CopyOf(first);
            Join(joined, CopyOf(second), {YTime::FromSeconds(blend), align});
            EXPECT_NEAR(KeySpan(joined)->stop.GetSecondDouble(), 2.5 - blend, 1e-9);
            WorldPoses a(first);
            WorldPoses b(second);
            WorldPoses poses(joined);
            const double seam = 1.0 - blend;
            // The pose that the second one is moved by: as its root lies on that of the first when it starts.
            const JointPose end = a.At(YTime::FromSeconds(seam))[0];
            const JointPose start = b.At(YTIME_ZERO)[0];
            const JointPose moved = poses.At(YTime::FromSeconds(2.0))[0];
            const JointPose there = b.At(YTime::FromSeconds(2.0 - seam))[0];
            const YgeQuaternion turn = moved.rotation * there.rotation.GetConjugate();
            EXPECT_LT(std::hypot(turn.x, turn.z), 1e-4);
            EXPECT_EQ(std::abs(turn.y) > 1e-6, align);
            const auto place = [&](const YgeVector& position) {
                const YgeVector p = YgeMatrix(turn) * YgeVector{position.x - there.position.x, position.y,
                                                                position.z - there.position.z};
                return YgeVector{p.x + moved.position.x, p.y, p.z + moved.position.z};
            };
            const YgeVector begins = place(start.position);
            EXPECT_EQ(std::hypot(begins.x - end.position.x, begins.z - end.position.z) < 1e-3, align);
            for (double time = 0; time < 2.5 - blend; time += 0.01371) {
                const std::vector<JointPose> before = a.At(YTime::FromSeconds(time));
                const std::vector<JointPose> after = b.At(YTime::FromSeconds(time - seam));
                const std::vector<JointPose>& actual = poses.At(YTime::FromSeconds(time));
                const double part = std::clamp((time - seam) / std::max(blend, 1e-9), 0.0, 1.0);
                const double share = part * part * (3 - 2 * part);
                const YgeVector p = before[0].position;
                const YgeVector q = place(after[0].position);
                EXPECT_NEAR(actual[0].position.x, p.x + (q.x - p.x) * share, 1e-2) << time;
                EXPECT_NEAR(actual[0].position.y, p.y + (q.y - p.y) * share, 1e-2) << time;
                const YgeQuaternion expected = Slerp(before[0].rotation, turn * after[0].rotation, share);
                EXPECT_LT(actual[0].rotation.GetAngleTo(expected), 0.01) << time;
            }
        }
    }
}

namespace {

/// A root that goes from one place and heading to another in half a second, and leans all the time.
Scene Step(double x, double z, double heading, double toX, double toZ, double toHeading)
{
    return SceneOfText(OneJoint("6 Xposition Yposition Zposition Yrotation Xrotation Zrotation",
                                {fmt::format("{} 90 {} {} 20 10", x, z, heading),
                                 fmt::format("{} 80 {} {} 20 10", toX, toZ, toHeading)}));
}

void ExpectEndsAt(const Scene& scene, double seconds, double x, double z, double heading)
{
    const auto at = [&](Channel channel) {
        return CurveOf(*scene.jointNodes[0], channel)->Evaluate(YTime::FromSeconds(seconds));
    };
    EXPECT_NEAR(at({ChannelKind::Translation, Axis::X}), x, 1e-3);
    EXPECT_NEAR(at({ChannelKind::Translation, Axis::Y}), 80, 1e-3);
    EXPECT_NEAR(at({ChannelKind::Translation, Axis::Z}), z, 1e-3);
    EXPECT_NEAR(std::remainder(at({ChannelKind::Rotation, Axis::Y}) - heading, 360.0), 0, 0.01);
    EXPECT_NEAR(at({ChannelKind::Rotation, Axis::X}), 20, 0.01);
}

}  // namespace

TEST(Join, GoesOnInTheHeadingThatTheRootHas)
{
    // Turned by 90 degrees about Y, what went along Z goes along X, and what went along X against Z.
    for (const double heading : {0.0, 75.0, 200.0, -160.0}) {
        for (const auto& [turn, x, z] :
             {std::tuple(90.0, 12.0, -5.0), {-90.0, -12.0, 5.0}, {180.0, -5.0, -12.0}, {0.0, 5.0, 12.0}}) {
            Scene joined = Step(0, 0, 10, 100, 50, heading + turn);
            const std::string report =
                Join(joined, Step(3, 4, heading, 8, 16, heading + 40), {YTIME_ZERO, true});
            ExpectEndsAt(joined, 1.0, 100 + x, 50 + z, heading + turn + 40);
            EXPECT_TRUE(turn != 90 || Holds(report, "turned by 90 degrees"));
        }
    }
    // What a channel is lacking for is let be where skeletons count as the same: a ten-thousandth of 9, the largest
    // offset.
    for (const auto& [offset, fault] :
         {std::pair(9.0008, ""), std::pair(9.001, "the offset of 'a' is 9.001")}) {
        Scene joined = SceneOfText(OneJoint("1 Xposition", {"0", "5"}));
        Scene next = CopyOf(joined);
        next.skeleton.joints[0].offset[2] = static_cast<float>(offset);
        CurveOf(*next.jointNodes[0], {ChannelKind::Translation, Axis::Z})
            ->SetValue(static_cast<float>(offset));
        const std::string failure = FailureOf([&] { Join(joined, std::move(next), {YTIME_ZERO, true}); });
        EXPECT_TRUE(Holds(failure, fault) && failure.empty() == (*fault == 0)) << failure;
    }
    // Each round a quarter turn more: 12 along Z, then along X, then back along Z.
    for (const auto& [step, stop, z, heading] :
         {std::tuple("loop=2", 1.0, 14, 210), {"loop=3", 1.5, 2, 300}}) {
        Scene rounds = Step(1, 2, 30, 1, 14, 120);
        ApplyClip(rounds, ParseClip({step}));
        ExpectEndsAt(rounds, stop, 13, z, heading);
    }
}

TEST(Join, KeepsTurnsOfQuaternionsBesideABlend)
{
    Scene turning = SceneOfText(OneJoint("3 Zrotation Yrotation Xrotation", {"0 60 0", "100 -60 90"}));
    PropertyOf(*turning.jointNodes[0], ChannelKind::Rotation)->SetUseQuaternion(true);
    Scene joined = CopyOf(turning);
    Join(joined, CopyOf(turning), {YTime::FromSeconds(0.1), false});
    for (const auto& [once, then] : {std::pair(0.1, 0.1), {0.39, 0.39}, {0.11, 0.51}, {0.5, 0.91}}) {
        const YgeQuaternion turn = WorldPoses(turning).At(YTime::FromSeconds(once))[0].rotation;
        EXPECT_LT(WorldPoses(joined).At(YTime::FromSeconds(then))[0].rotation.GetAngleTo(turn), 0.01) << then;
    }
}

TEST(Join, EndsAsTheLastSceneDoes)
{
    const auto curveOf = [](const Scene& scene) {
        return CurveOf(*scene.jointNodes[0], {ChannelKind::Translation, Axis::X});
    };
    const Scene first = SceneOfText(OneJoint("1 Xposition", {"0", "1", "3"}));
    Scene held = CopyOf(first);
    Join(held, SceneOfText(OneJoint("1 Xposition", {"9"})), {});
    EXPECT_EQ(KeySpan(held)->stop, YTIME_ONE_SECOND);
    EXPECT_EQ(curveOf(held)->Evaluate(YTIME_ONE_SECOND * 2), 9.0f);
    Scene joined = CopyOf(first);
    curveOf(joined)->SetPostExtrapolation(YFCURVE_EXTRAPOLATION_KEEP_SLOPE);
    Scene next = CopyOf(first);
    curveOf(next)->SetPostExtrapolation(YFCURVE_EXTRAPOLATION_MIRROR_REPETITION);
    curveOf(next)->SetPostExtrapolationCount(2);
    Join(joined, CopyOf(next), {});
    EXPECT_EQ(KeySpan(joined)->stop, YTIME_ONE_SECOND * 2);
    EXPECT_EQ(curveOf(joined)->GetPostExtrapolation(), unsigned{YFCURVE_EXTRAPOLATION_MIRROR_REPETITION});
    EXPECT_EQ(curveOf(joined)->GetPostExtrapolationCount(), 2u);
    // A layer that no property has takes weights along, with keys or without.
    Scene weighted = CopyOf(first);
    YFCurve& weight = *weighted.layers.Add("Up")->WeightCurve();
    weight.KeyInsert(YTIME_ZERO);
    next.layers.Add("Up")->WeightCurve()->SetValue(0.25f);
    Join(weighted, CopyOf(next), {});
    EXPECT_EQ(weight.Evaluate(YTIME_ONE_SECOND * 2), 0.25f);
}

TEST(Join, NamesWhatDiffers)
{
    const Scene walk = Clipped(Walk(), {"trim=0:1"});
    const std::pair<Words, const char*> differences[] = {
        {{"rename=Neck=Throat"}, "there is no 'Neck' below 'Chest'"},
        {{"order=XZY"}, "'Hips' has Xposition Yposition Zposition Yrotation Zrotation Xrotation instead of"},
        {{"scale=2"}, "the offset of 'Spine' below 'Hips' is 19 instead of 9.5 along Y"},
        {{"drop=LeftHand"}, "there is no 'LeftHand' below 'LeftForeArm'"},
        {{"rename=Spine=S", "rename=Chest=C", "rename=Neck=N"}, " below 'Chest', and 27 more;"}};
    for (const auto& [steps, part] : differences) {
        Scene joined = CopyOf(walk);
        Scene other = Clipped(Walk(), steps);
        EXPECT_TRUE(Holds(FailureOf([&] { Join(joined, std::move(other), {}); }), part));
    }
    EXPECT_EQ(SkeletonDifference(walk, Clipped(Walk(), {"speed=2"})), "");
    Scene layered = Clipped(Walk(), {"trim=0:1"});
    PropertyOf(*layered.jointNodes[3], ChannelKind::Rotation)
        ->CreateLayerAt(layered.layers.Add("Up")->Info());
    Scene joined = CopyOf(walk);
    EXPECT_TRUE(Holds(FailureOf([&] { Join(joined, CopyOf(layered), {}); }), "has layers"));
    EXPECT_TRUE(Holds(FailureOf([&] { Join(joined, CopyOf(walk), {YTIME_ONE_SECOND}); }), "less than twice"));
    Scene turning = CopyOf(walk);
    PropertyOf(*turning.jointNodes[3], ChannelKind::Rotation)->SetUseQuaternion(true);
    EXPECT_TRUE(Holds(FailureOf([&] { CheckCanJoin(walk, turning, {}); }), "is of another kind"));
}

TEST(Join, AndClipThroughThePublicFace)
{
    YMotion motion;
    YMotion other;
    for (YMotion* each : {&motion, &other})
        ASSERT_TRUE(each->LoadText(test::kSmallMotion.data(), test::kSmallMotion.size(), "small.bvh"));
    Words report;
    YMotionWorldReport world;
    ASSERT_TRUE(motion.Clip({"trim=1f:2f", "shift=1"}, &report, &world));
    EXPECT_TRUE(world.joints.size() == 3 && world.joints[2].largest < 1e-6);
    EXPECT_TRUE(report.size() == 2 && Holds(report[0], "trim=1f:2f: keeps 0.05 to 0.1 s"));
    YTime start;
    YTime stop;
    EXPECT_TRUE(motion.GetSpan(start, stop) && start == YTIME_ONE_SECOND);
    ASSERT_TRUE(motion.Join(other, YTIME_ZERO, true) && motion.Join(motion));
    EXPECT_TRUE(motion.GetSpan(start, stop));
    EXPECT_NEAR(stop.GetSecondDouble(), 1.4, 1e-9);
}
