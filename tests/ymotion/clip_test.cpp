// Clip tools against the motion that they started from: how it plays at any time, and where joints are by the
// numbers of the written file alone.

#include "ymotion/clipping/clip_steps.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <functional>
#include <regex>

#include <fmt/format.h>

#include "tests/curve/random_curve.h"
#include "tests/motion_support.h"
#include "tests/small_motion.h"
#include "tests/ymotion/plain_kinematics.h"
#include "ymotion/clipping/clip_curves.h"
#include "ymotion/clipping/scene_copy.h"
#include "ymotion/scene/whole_turns.h"
#include "ymotion/scene/world_pose.h"

using namespace ymotion;

namespace {

std::vector<ClipOutcome> Clip(Scene& scene, const std::vector<std::string>& steps)
{
    return ApplyClip(scene, ParseClip(steps));
}

Scene Clipped(const Scene& scene, const std::vector<std::string>& steps)
{
    Scene copy = CopyOf(scene);
    for (const ClipOutcome& outcome : Clip(copy, steps))
        EXPECT_TRUE(outcome.change.changed) << outcome.change.text;
    return copy;
}

Scene Walk()
{
    return SceneOfText(FileContent(ExampleWalk()));
}

std::vector<std::string> Recordings()
{
    std::vector<std::string> texts{FileContent(ExampleWalk())};
    for (const std::string& file : test::Recordings()) texts.push_back(FileContent(file));
    return texts;
}

/// Two joints, with curves of every kind, some without keys, a rotation that may turn as quaternions do, and a layer.
Scene RandomScene(RandomCurves& random, double largestWeight, bool layered = true)
{
    Scene scene = SceneOfText(test::kSmallMotion);
    scene.rate = random.Pick<FrameRate>({{24, 1}, {24000, 1001}, {30, 1}, {120, 1}});
    Layer& layer = *scene.layers.Add("Up");
    layer.SetMode(random.Pick<eLayerMode>(
        {YFCURVE_LAYER_ADDITIVE, YFCURVE_LAYER_OVERRIDE, YFCURVE_LAYER_WEIGHTED_OVERRIDE}));
    layer.WeightCurve()->SetValue(0.5f);
    if (random.Chance(0.5)) random.AddKeys(*layer.WeightCurve(), 4, largestWeight);
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

/// That a scene plays at the time that `timeOf` gives what another one does, within its span.
void ExpectPlays(const Scene& scene, const Scene& other, const TimeSpan& span,
                 const std::function<YTime(YTime)>& timeOf, RandomCurves& random, double tolerance = 1e-4)
{
    WorldPoses poses(scene);
    WorldPoses others(other);
    for (int i = 0; i < 60; ++i) {
        const YTime time = random.TimeBetween(span.start, span.stop);
        const std::vector<JointPose> expected = others.At(time);
        const std::vector<JointPose>& actual = poses.At(timeOf(time));
        ASSERT_EQ(actual.size(), expected.size());
        for (std::size_t joint = 0; joint < expected.size(); ++joint) {
            const YgeVector& a = actual[joint].position;
            const YgeVector& b = expected[joint].position;
            const double size = 10.0 + std::hypot(b.x, b.y, b.z);
            ASSERT_LT(std::hypot(a.x - b.x, a.y - b.y, a.z - b.z), tolerance * size)
                << time.GetSecondDouble();
            ASSERT_LT(DegreesBetween(actual[joint].rotation, expected[joint].rotation), 100 * tolerance)
                << time.GetSecondDouble() << " joint " << joint;
        }
    }
}

TimeSpan Span(const Scene& scene)
{
    return *KeySpan(scene);
}

/// Poses of all frames of the BVH file that a scene is written as.
struct FilePoses
{
    explicit FilePoses(const Scene& scene) : motion(ParseBvh(BvhTextOf(scene), "written.bvh"))
    {
        for (std::int64_t i = 0; i < motion.frameCount; ++i)
            frames.push_back(plainkinematics::PosesFromFile(motion, static_cast<std::size_t>(i)));
    }

    BvhMotion motion;
    std::vector<std::vector<plainkinematics::Pose>> frames;
};

/// A text with zeros of either sign alike.
std::string Plain(const std::string& text)
{
    return std::regex_replace(text, std::regex("-0(?=[ \\n])"), "0");
}

double Distance(const plainkinematics::Vector& a, const plainkinematics::Vector& b)
{
    return std::hypot(a[0] - b[0], a[1] - b[1], a[2] - b[2]);
}

void ExpectPose(const plainkinematics::Pose& actual, const plainkinematics::Pose& expected, double size = 100)
{
    ASSERT_LT(Distance(actual.position, expected.position), 1e-5 * size);
    ASSERT_LT(layermodel::DegreesBetween(actual.turn, expected.turn), 3e-3);
}

}  // namespace

TEST(Clip, TimesOfEveryKindOfCurve)
{
    SCOPED_TRACE(test::HowToRepeat());
    RandomCurves random;
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        const bool weighted = round % 3 == 0;
        const Scene scene = RandomScene(random, weighted ? 0.9 : 0.0);
        // Weights are stored in steps of 1/9999.
        const double tolerance = weighted ? 2e-2 : 1e-4;
        const TimeSpan span = Span(scene);
        const auto mirrored = [&](YTime time) { return span.start + span.stop - time; };
        ExpectPlays(Clipped(scene, {"reverse"}), scene, span, mirrored, random, tolerance);
        ExpectPlays(
            Clipped(scene, {"reverse", "reverse"}), scene, span, [](YTime time) { return time; }, random,
            tolerance);
        const auto slowed = [&](YTime time) { return span.start + (time - span.start) * 4; };
        ExpectPlays(Clipped(scene, {"speed=0.25"}), scene, span, slowed, random);
        const auto later = [](YTime time) { return time - YTime::FromSeconds(1.5); };
        ExpectPlays(Clipped(scene, {"shift=-1.5"}), scene, span, later, random);

        const TimeSpan part{span.At(0.3), span.At(random.Between(0.3, 0.9))};
        const std::string range =
            fmt::format("trim={}:{}", part.start.GetSecondDouble(), part.stop.GetSecondDouble());
        const Scene trimmed = Clipped(scene, {range});
        ExpectPlays(
            trimmed, scene, part, [&](YTime time) { return time - part.start; }, random, tolerance);
        EXPECT_EQ(Span(trimmed).start, YTIME_ZERO);
        EXPECT_LE(std::abs((Span(trimmed).stop - part.Length()).Get()), 3);
        const Scene kept = Clipped(scene, {"keep-times", range});
        ExpectPlays(
            kept, scene, part, [](YTime time) { return time; }, random, tolerance);
    }
}

TEST(Clip, FramesStayWholeAtEveryRate)
{
    for (const char* frameTime : {"0.0417083", "0.0416667", "0.0083333", "0.0333667"}) {
        SCOPED_TRACE(frameTime);
        std::vector<std::string> frames;
        for (int i = 0; i < 50; ++i) frames.push_back(std::to_string(i * i % 17) + ".125");
        const Scene scene = SceneOfText(OneJoint("1 Xposition", frames, frameTime));
        const auto rows = [](const Scene& written) { return ParseBvh(BvhTextOf(written), "a.bvh").samples; };
        const std::vector<float> all = rows(scene);
        const std::vector<float> part(all.begin() + 7, all.begin() + 44);
        EXPECT_EQ(rows(Clipped(scene, {"trim=7f:43f"})), part);
        EXPECT_EQ(rows(Clipped(scene, {"reverse"})), std::vector<float>(all.rbegin(), all.rend()));
        std::vector<float> twice(all.begin(), all.end() - 1);
        for (int i = 0; i < 9; ++i) twice.insert(twice.end(), all.begin(), all.end() - 1);
        twice.push_back(all.back());
        // The root goes on from where it is, which is taken away here.
        for (std::size_t i = 0; i < twice.size(); ++i)
            twice[i] += static_cast<float>(std::min<std::size_t>(i / 49, 9)) * (all.back() - all.front());
        const std::vector<float> looped = rows(Clipped(scene, {"loop=10"}));
        ASSERT_EQ(looped.size(), 491u);
        for (std::size_t i = 0; i < looped.size(); ++i) EXPECT_NEAR(looped[i], twice[i], 1e-4) << i;
        // The jumps from round to round take no time at any speed.
        EXPECT_EQ(rows(Clipped(scene, {"loop=10", "speed=7"})).size(), 71u);
        const std::vector<float> slow = rows(Clipped(scene, {"speed=0.5"}));
        ASSERT_EQ(slow.size(), 99u);
        for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(slow[2 * i], all[i]) << i;
    }
}

TEST(Clip, MirrorIsTheMirrorImageOfTheWorld)
{
    const auto otherSide = [](std::string name) {
        for (const auto& [from, to] : {std::pair("Left", "Right"), std::pair("Right", "Left")}) {
            if (name.starts_with(from)) return to + name.substr(std::string(from).size());
        }
        const bool isSide =
            name.size() > 1 && (name[0] == 'L' || name[0] == 'R') && std::isupper(name[1]) != 0;
        if (isSide) name[0] = name[0] == 'L' ? 'R' : 'L';
        return name;
    };
    for (const std::string& text : Recordings()) {
        const Scene scene = SceneOfText(text);
        const FilePoses before(scene);
        const Scene mirrored = Clipped(scene, {"mirror"});
        const FilePoses after(mirrored);
        EXPECT_EQ(Plain(BvhTextOf(Clipped(mirrored, {"mirror"}))), Plain(BvhTextOf(scene)));
        const std::vector<Joint>& joints = before.motion.skeleton.joints;
        for (std::size_t joint = 0; joint < joints.size(); ++joint) {
            if (joints[joint].endSite) continue;
            const auto other = std::find_if(joints.begin(), joints.end(), [&](const Joint& each) {
                return each.name == otherSide(joints[joint].name);
            });
            ASSERT_NE(other, joints.end()) << joints[joint].name;
            const auto index = static_cast<std::size_t>(other - joints.begin());
            for (std::size_t frame = 0; frame < before.frames.size(); ++frame) {
                plainkinematics::Pose expected = before.frames[frame][joint];
                expected.position[0] *= -1;
                expected.turn.y *= -1;
                expected.turn.z *= -1;
                ExpectPose(after.frames[frame][index], expected, 1000);
            }
        }
    }
    RandomCurves random;
    for (int round = 0; round < 10; ++round) {
        const Scene scene = RandomScene(random, 0.5);
        const Scene mirrored = Clipped(scene, {"mirror"});
        WorldPoses before(scene);
        WorldPoses after(mirrored);
        for (int i = 0; i < 20; ++i) {
            const YTime time = random.TimeBetween(Span(scene).start, Span(scene).stop);
            const JointPose expected = before.At(time)[1];
            const JointPose actual = after.At(time)[1];
            const YgeQuaternion& turn = expected.rotation;
            EXPECT_NEAR(actual.position.x, -expected.position.x, 1e-3);
            EXPECT_NEAR(actual.position.y, expected.position.y, 1e-3);
            EXPECT_LT(DegreesBetween(actual.rotation, {turn.x, -turn.y, -turn.z, turn.w}), 1e-2);
        }
    }
}

TEST(Clip, NamesOfLeftAndRight)
{
    const auto motion = [](const std::string& left, const std::string& right) {
        return SceneOfText(
            "HIERARCHY\nROOT Spine\n{\nOFFSET 0 0 0\nCHANNELS 3 Xposition Yposition Zposition\nJOINT " +
            left + "\n{\nOFFSET 1 2 3\nCHANNELS 1 Xrotation\n}\nJOINT " + right +
            "\n{\nOFFSET -1 2 3\nCHANNELS 1 Xrotation\n}\n}\nMOTION\nFrames: 1\nFrame Time: 0.1\n"
            "1 2 3 10 20\n");
    };
    const std::pair<const char*, const char*> named[] = {
        {"LeftArm", "RightArm"},      {"rig:LThumb", "rig:RThumb"}, {"arm_l", "arm_r"},
        {"arm.L.001", "arm.R.001"},   {"lShldr", "rShldr"},         {"HandL", "HandR"},
        {"upper_left", "upper_right"}};
    const auto exchanged = [](const Scene& scene) {
        return CurveOf(*scene.jointNodes[1], {})->Evaluate(YTIME_ZERO) == 20.0f;
    };
    for (const auto& [left, right] : named)
        EXPECT_TRUE(exchanged(Clipped(motion(left, right), {"mirror"}))) << left;
    EXPECT_FALSE(exchanged(Clipped(motion("Lumbar", "Rumba"), {"mirror"})));
    EXPECT_FALSE(exchanged(Clipped(motion("Lf_Arm", "Rt_Arm"), {"mirror"})));
    EXPECT_TRUE(exchanged(Clipped(motion("Lf_Arm", "Rt_Arm"), {"pairs=Lf=Rt", "mirror"})));
    EXPECT_TRUE(exchanged(Clipped(motion("One", "Two"), {"mirror", "pairs=One=Two"})));
    Scene scene = motion("One", "Two");
    EXPECT_TRUE(Holds(FailureOf([&] {
                          Clip(scene, {"mirror", "pairs=One=Three"});
                      }),
                      "'Three' are no two joints"));
    EXPECT_TRUE(Holds(FailureOf([&] {
                          Clip(scene, {"mirror", "pairs=One=Two", "pairs=Spine=Two"});
                      }),
                      "is in another pair"));
}

TEST(Clip, LoopGoesOnFromWhereTheRootHasCome)
{
    RandomCurves random;
    for (const char* blend : {"", "blend=0.2"}) {
        for (const std::string& text : Recordings()) {
            Scene scene = SceneOfText(text);
            std::vector<std::string> steps{"loop=3"};
            if (*blend != 0) steps.push_back(blend);
            Clip(scene, {"trim=0.1:2"});  // a recording begins with a pose of its own
            const Scene looped = Clipped(scene, steps);
            const YTime period = Span(scene).Length();
            EXPECT_LE(std::abs((Span(looped).stop - Span(scene).stop - period * 2).Get()), 10);
            WorldPoses once(scene);
            WorldPoses poses(looped);
            // What a round is moved by is told by one moment, and has to hold at all others.
            for (int cycle = 1; cycle < 3; ++cycle) {
                const YTime middle = period / 2;
                const JointPose there = poses.At(middle + period * cycle)[0];
                const JointPose here = once.At(middle)[0];
                const YgeQuaternion turn = there.rotation * here.rotation.GetConjugate();
                EXPECT_LT(std::hypot(turn.x, turn.z), 1e-4) << "upright";
                const YgeMatrix matrix(turn);
                const YgeVector arm = matrix * here.position;
                const double start = *blend != 0 ? 0.2 / period.GetSecondDouble() : 0.0;
                for (int i = 0; i < 40; ++i) {
                    const YTime time = TimeSpan{YTIME_ZERO, period}.At(start + (0.999 - start) * i / 40);
                    const std::vector<JointPose> expected = once.At(time);
                    const std::vector<JointPose>& actual = poses.At(time + period * cycle);
                    for (std::size_t joint = 0; joint < expected.size(); ++joint) {
                        const YgeVector moved = matrix * expected[joint].position;
                        const YgeVector& position = actual[joint].position;
                        ASSERT_NEAR(position.x - there.position.x, moved.x - arm.x, 0.01);
                        ASSERT_NEAR(position.y, expected[joint].position.y, 0.01);
                        ASSERT_NEAR(position.z - there.position.z, moved.z - arm.z, 0.01);
                        ASSERT_LT(DegreesBetween(actual[joint].rotation, turn * expected[joint].rotation),
                                  0.01);
                    }
                }
                // The root is where it was when the round before came to its end; blended, all joints go on from
                // there without a jump, and about as fast.
                const YTime seam = period * cycle;
                const YTime step = YTime::FromSeconds(0.001);
                const std::vector<JointPose> soon = poses.At(seam - YTime(2));
                const std::vector<JointPose> before = poses.At(seam - step);
                const std::vector<JointPose> now = poses.At(seam + YTime(2));
                const std::vector<JointPose>& after = poses.At(seam + step);
                EXPECT_NEAR(soon[0].position.x, now[0].position.x, 1e-3);
                EXPECT_NEAR(soon[0].position.z, now[0].position.z, 1e-3);
                for (std::size_t joint = 0; joint < now.size() && *blend != 0; ++joint) {
                    ASSERT_LT(DegreesBetween(soon[joint].rotation, now[joint].rotation), 1e-3);
                    const YgeQuaternion came = now[joint].rotation * before[joint].rotation.GetConjugate();
                    const YgeQuaternion goes = after[joint].rotation * now[joint].rotation.GetConjugate();
                    ASSERT_LT(DegreesBetween(came, goes), 0.1) << scene.skeleton.joints[joint].name;
                }
            }
        }
    }
}

TEST(Clip, LoopOfEveryKindOfCurve)
{
    SCOPED_TRACE(test::HowToRepeat());
    RandomCurves random;
    for (int round = 0; round < 30; ++round) {
        SCOPED_TRACE(round);
        const Scene scene = RandomScene(random, 0.0, false);
        const Scene looped = Clipped(scene, {"loop=2"});
        const TimeSpan span = Span(scene);
        ExpectPlays(
            looped, scene, {span.start, span.stop - YTime(5)}, [](YTime time) { return time; }, random);
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
                EXPECT_LT(DegreesBetween(actual[joint].rotation, turn * expected[joint].rotation), 0.1)
                    << joint;
                EXPECT_NEAR(actual[joint].position.y, expected[joint].position.y, 0.02);
            }
        }
    }
}

TEST(Clip, OrientationsStayInAnotherOrderAndWithoutAJoint)
{
    RandomCurves random;
    for (int round = 0; round < 12; ++round) {
        const Scene scene = RandomScene(random, 0.0);
        for (const char* order : {"XYZ", "XZY", "YZX", "YXZ", "ZXY", "ZYX"}) {
            Scene turned = CopyOf(scene);
            Clip(turned, {std::string("order=") + order});
            EXPECT_STREQ(RotationOrderName(RotationOrderOf(turned.skeleton.joints[1])), order);
            ExpectPlays(
                turned, scene, Span(scene), [](YTime time) { return time; }, random, 3e-3);
        }
    }
    for (const std::string& text : Recordings()) {
        const Scene scene = SceneOfText(text);
        const FilePoses before(scene);
        const FilePoses turned(Clipped(scene, {"order=YXZ"}));
        std::string name;  // of a joint in the middle
        for (std::size_t i = 1; i < scene.skeleton.joints.size() && name.empty(); ++i) {
            const int parent = scene.skeleton.joints[i].parent;
            if (scene.skeleton.joints[i].endSite && parent > 2)
                name = scene.skeleton
                           .joints[static_cast<std::size_t>(
                               scene.skeleton.joints[static_cast<std::size_t>(parent)].parent)]
                           .name;
        }
        const FilePoses dropped(Clipped(scene, {"drop=" + name}));
        ASSERT_EQ(dropped.motion.skeleton.joints.size() + 1, before.motion.skeleton.joints.size());
        for (std::size_t frame = 0; frame < before.frames.size(); frame += 7) {
            std::size_t left = 0;
            for (std::size_t joint = 0; joint < before.frames[frame].size(); ++joint) {
                ExpectPose(turned.frames[frame][joint], before.frames[frame][joint], 1000);
                if (before.motion.skeleton.joints[joint].name == name) continue;
                ExpectPose(dropped.frames[frame][left++], before.frames[frame][joint], 1000);
            }
        }
    }
}

TEST(Clip, RootsOverTheGroundLengthsAndNames)
{
    for (const std::string& text : Recordings()) {
        const Scene scene = SceneOfText(text);
        const FilePoses before(scene);
        const FilePoses origin(Clipped(scene, {"root-origin"}));
        const FilePoses still(Clipped(scene, {"in-place"}));
        const FilePoses small(Clipped(scene, {"scale=0.01"}));
        const plainkinematics::Vector start = before.frames[0][0].position;
        for (std::size_t frame = 0; frame < before.frames.size(); frame += 5) {
            const plainkinematics::Vector root = before.frames[frame][0].position;
            for (std::size_t joint = 0; joint < before.frames[frame].size(); ++joint) {
                const plainkinematics::Pose& pose = before.frames[frame][joint];
                const auto moved = [&](double x, double z) {
                    return plainkinematics::Pose{
                        {pose.position[0] + x, pose.position[1], pose.position[2] + z}, pose.turn};
                };
                ExpectPose(origin.frames[frame][joint], moved(-start[0], -start[2]), 1000);
                ExpectPose(still.frames[frame][joint], moved(start[0] - root[0], start[2] - root[2]), 1000);
                const auto& [x, y, z] = pose.position;
                ExpectPose(small.frames[frame][joint], {{x / 100, y / 100, z / 100}, pose.turn}, 10);
            }
        }
    }
    const Scene walk = Walk();
    const Scene renamed = ThroughTalo(Clipped(walk, {"rename=Hips=Pelvis", "rename=Left*=*.L"}));
    for (std::size_t i = 0; i < walk.skeleton.joints.size(); ++i) {
        std::string name = walk.skeleton.joints[i].name;
        if (i == 0) name = "Pelvis";
        if (name.starts_with("Left")) name = name.substr(4) + ".L";
        EXPECT_EQ(renamed.skeleton.joints[i].name, name);
    }
    const std::string text = BvhTextOf(renamed);
    const std::string before = BvhTextOf(walk);
    EXPECT_EQ(text.substr(text.find("MOTION")), before.substr(before.find("MOTION")));
}

TEST(Clip, RatesOfFilesAndOfKeys)
{
    const Scene walk = Walk();
    const FilePoses before(walk);
    for (const std::vector<std::string>& steps :
         {std::vector<std::string>{"rate=30"}, std::vector<std::string>{"rate=30", "resample"}}) {
        const Scene slow = Clipped(walk, steps);
        const FilePoses after(slow);
        ASSERT_EQ(after.frames.size(), (before.frames.size() + 3) / 4);
        for (std::size_t frame = 0; frame < after.frames.size(); ++frame) {
            for (std::size_t joint = 0; joint < before.frames[0].size(); ++joint)
                ExpectPose(after.frames[frame][joint], before.frames[4 * frame][joint]);
        }
        const std::size_t keys = static_cast<std::size_t>(CurveOf(*slow.jointNodes[0], {})->KeyGetCount());
        const std::size_t sampled = after.frames.size() + ((before.frames.size() - 1) % 4 == 0 ? 0 : 1);
        EXPECT_EQ(keys, steps.size() == 1 ? before.frames.size() : sampled);
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
            ASSERT_LT(DegreesBetween(actual.At(time)[1].rotation, turn), 0.01) << frame;
        }
    }
    Scene steps = SceneOfText(OneJoint("1 Xposition", {"0", "4", "8"}));
    YFCurve& curve = *CurveOf(*steps.jointNodes[0], {ChannelKind::Translation, Axis::X});
    for (int i = 0; i < 3; ++i) {
        curve.KeySetInterpolation(i, YFCURVE_INTERP_CONSTANT);
        curve.KeySetConstantMode(i, YFCURVE_CONSTANT_STANDARD);
    }
    Clip(steps, {"rate=10", "resample"});
    EXPECT_EQ(curve.Evaluate(YTime::FromSeconds(0.45)), 0.0f);
}

TEST(Clip, TellsWhatItDoesNotDo)
{
    const std::pair<const char*, const char*> nothing[] = {{"trim=0:9", "that is all that plays"},
                                                           {"speed=1", "the speed that it has"},
                                                           {"shift=0", "no shift"},
                                                           {"loop=1", "plays once"},
                                                           {"scale=1", "lengths stay"},
                                                           {"rate=20", "20 frames a second already"},
                                                           {"order=YXZ", "order of all joints"},
                                                           {"rename=Leg=Leg", "its name"}};
    for (const auto& [step, text] : nothing) {
        Scene scene = SceneOfText(test::kSmallMotion);
        const std::string before = TaloTextOf(scene);
        const ClipChange change = Clip(scene, {step}).at(0).change;
        EXPECT_TRUE(!change.changed && Holds(change.text, text)) << step;
        EXPECT_EQ(TaloTextOf(scene), before) << step;
    }
    const auto refused = [](const std::vector<std::string>& steps, const char* part, int code,
                            const std::function<void(Scene&)>& change = {}) {
        Scene scene = SceneOfText(test::kSmallMotion);
        if (change) change(scene);
        EXPECT_TRUE(Holds(FailureOf([&] { Clip(scene, steps); }, code), part));
    };
    for (const auto& [step, part] :
         std::vector<std::pair<const char*, const char*>>{{"trim=3:1", "ends before it starts"},
                                                          {"trim=a", "is not a range of times"},
                                                          {"mirror=x", "takes no value"},
                                                          {"speed=0", "from 0.001 to 1000"},
                                                          {"speed=nan", "from 0.001 to 1000"},
                                                          {"scale=-1", "above 0"},
                                                          {"loop=1.5", "a whole number"},
                                                          {"order=XYX", "none of"},
                                                          {"rename=a", "OLD=NEW"},
                                                          {"rate=0", "is not a frame rate"},
                                                          {"trimm=1:2", "did you mean trim"},
                                                          {"loop", "needs a value"},
                                                          {"blend=1", "blend is about loop"},
                                                          {"drop=", "no joint is named"},
                                                          {"rename=*=**", "stars"}}) {
        refused({step}, part, kExitUsage);
    }
    refused({}, "nothing to do", kExitUsage);
    refused({"loop=2", "blend=0.1", "blend=0.2"}, "blend is given twice", kExitUsage);
    refused({"trim=7:8"}, "nothing plays from 7:8", kExitFailure);
    refused({"drop=Hip"}, "did you mean Hips", kExitFailure);
    refused({"rename=Leg=Hips"}, "empty or taken", kExitFailure);
    refused({"loop=2", "blend=0.1"}, "less than twice the blend", kExitFailure);
    refused({"scale=1e9"}, "offsets of 1e+35 become too large", kExitFailure,
            [](Scene& scene) { scene.skeleton.joints[2].offset[1] = 1e35f; });
    refused({"scale=1e9"}, "slopes of 1e+35 become too large", kExitFailure, [](Scene& scene) {
        YFCurve& curve = *CurveOf(*scene.jointNodes[0], {ChannelKind::Translation, Axis::X});
        curve.KeySet(0, curve.KeyGetTime(0), 0.0f, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER_BREAK, 1e35f);
    });
    refused({"loop=1000"}, "rounds have 20,100,000 keys, more than", kExitFailure, [](Scene& scene) {
        scene = SceneOfText(OneJoint("1 Xposition", std::vector<std::string>(20100, "1")));
    });
    refused({"drop=Leg"}, "is locked", kExitFailure, [](Scene& scene) {
        PropertyOf(*scene.jointNodes[1], ChannelKind::Rotation)->SetLockedByProperty(true);
    });
    refused({"drop=Hips"}, "has layers", kExitFailure, [](Scene& scene) {
        YDataType& type = *YDataType::Get(eDataType::LocalScaling);
        YFCurveNode& scale = *AddTo(*scene.jointNodes[0], MakePropertyNode(type, type.GetName()));
        scale.CreateLayerAt(scene.layers.Add("Up")->Info());
    });
    refused({"rename=Leg=Arm"}, "has a time warp", kExitFailure, [](Scene& scene) {
        scene.jointNodes[1]->TimeWarpSet(PropertyOf(*scene.jointNodes[0], ChannelKind::Rotation)->Get(0));
    });
    refused({"shift=1"}, "'Up' is locked", kExitFailure, [](Scene& scene) {
        Layer& layer = *scene.layers.Add("Up");
        PropertyOf(*scene.jointNodes[0], ChannelKind::Rotation)->CreateLayerAt(layer.Info());
        layer.SetLocked(true);
        scene.layers.Bind(*scene.root);
    });
    refused({"scale=2"}, "is locked", kExitFailure, [](Scene& scene) {
        PropertyOf(*scene.jointNodes[0], ChannelKind::Translation)->SetLockedByProperty(true);
    });
    for (const char* step : {"in-place", "root-origin", "loop=2"}) {
        refused({step}, "has layers", kExitFailure, [](Scene& scene) {
            Layer& layer = *scene.layers.Add("Up");
            YFCurveNode& property = *PropertyOf(*scene.jointNodes[0], ChannelKind::Translation);
            property.CreateLayerAt(layer.Info())->Get(0)->FCurveGet()->SetValue(1.0f);
        });
    }
    refused({"loop=2"}, "repeats its keys", kExitFailure, [](Scene& scene) {
        YFCurve& curve = *CurveOf(*scene.jointNodes[1], {ChannelKind::Rotation, Axis::Z});
        curve.KeyRemove(3);
        curve.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION);
        curve.SetPostExtrapolationCount(2);
    });
    for (const char* step : {"mirror", "drop=a", "order=XYZ", "in-place", "root-origin", "rename=a=b"})
        refused({step}, "has no skeleton", kExitFailure,
                [](Scene& scene) { scene = ReadTaloText(kLayered, "a"); });
    refused({"speed=2"}, "no keys", kExitFailure, [](Scene& scene) {
        for (YFCurve* curve : CurvesToMove(scene)) curve->KeyClear();
    });
}

TEST(Clip, DropsLeavesAndRoots)
{
    const Scene walk = Walk();
    // A hand with its end gives the arm that end; a leg root leaves two legs behind.
    const Scene handless = Clipped(walk, {"drop=LeftHand"});
    EXPECT_EQ(handless.skeleton.joints.size() + 1, walk.skeleton.joints.size());
    EXPECT_EQ(handless.skeleton.EndSiteCount(), walk.skeleton.EndSiteCount());
    const FilePoses before(walk);
    const FilePoses after(Clipped(walk, {"drop=Hips"}));
    EXPECT_EQ(std::count_if(after.motion.skeleton.joints.begin(), after.motion.skeleton.joints.end(),
                            [](const Joint& joint) { return joint.parent < 0; }),
              3);
    for (std::size_t frame = 0; frame < before.frames.size(); frame += 20) {
        for (std::size_t joint = 1; joint < before.frames[0].size(); ++joint)
            ExpectPose(after.frames[frame][joint - 1], before.frames[frame][joint], 1000);
    }
    Scene small = SceneOfText(test::kSmallMotion);
    Clip(small, {"drop=Leg"});
    EXPECT_TRUE(Holds(FailureOf([&] { Clip(small, {"drop=Hips"}); }), "nothing would be left"));
}

TEST(Clip, ChainEndsWhereADroppedJointWithPositionsWas)
{
    const auto motion = [](const char* second) {
        return SceneOfText(
            std::string("HIERARCHY\nROOT a\n{\nOFFSET 0 0 0\nCHANNELS 1 Xrotation\nJOINT b\n{\nOFFSET 1 2 3\n"
                        "CHANNELS 2 Xposition Zposition\n}\n}\nMOTION\nFrames: 2\nFrame Time: 0.1\n"
                        "0 5 7\n0 ") +
            second);
    };
    for (const auto& [second, text] :
         {std::pair("5 7\n", "ends where it was"), {"5 8\n", "no longer moves"}}) {
        Scene scene = motion(second);
        EXPECT_TRUE(Holds(Clip(scene, {"drop=b"}).at(0).change.text, text));
        EXPECT_EQ(scene.skeleton.joints[1].offset, (std::array<float, 3>{5, 2, 7}));
    }
}

TEST(Clip, InPlaceLeavesWhatIsThereAlready)
{
    Scene scene = SceneOfText(OneJoint("3 Xposition Yposition Zposition", {"4 0 1", "4 5 1", "4 6 1"}));
    const std::string before = TaloTextOf(scene);
    EXPECT_FALSE(Clip(scene, {"in-place"}).at(0).change.changed);
    EXPECT_EQ(TaloTextOf(scene), before);
    // Equal keys with a slope: a cubic that starts with 8 a second is 8 * 0.5 * 4/27 away at most.
    YFCurve& curve = *CurveOf(*scene.jointNodes[0], {ChannelKind::Translation, Axis::X});
    for (const int key : {0, 1})
        curve.KeySet(key, curve.KeyGetTime(key), 4.0f, YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_USER_BREAK,
                     key == 0 ? 8.0f : 0.0f);
    const ClipChange change = Clip(scene, {"in-place"}).at(0).change;
    EXPECT_TRUE(change.changed && Holds(change.text, "up to 0.5") && Holds(change.text, "along X"))
        << change.text;
    EXPECT_EQ(curve.Evaluate(YTime::FromSeconds(0.2)), 4.0f);
}

TEST(Clip, LargeAnglesTakeNoMoreKeysThanSmallOnes)
{
    const auto keysAt = [](int turns) {
        std::vector<std::string> frames;
        for (int i = 0; i < 20; ++i)
            frames.push_back(fmt::format("{} {} {}", 360 * turns + i * 7, i * i % 11, i * i % 7));
        Scene scene = SceneOfText(OneJoint("3 Zrotation Xrotation Yrotation", frames, "0.05"));
        Clip(scene, {"order=XYZ"});
        return CurveOf(*scene.jointNodes[0], {ChannelKind::Rotation, Axis::Z})->KeyGetCount();
    };
    EXPECT_LE(keysAt(2000), keysAt(0));
}
