// Clip tools against the motion that they started from: how it plays at any time, and where joints are by the
// numbers of the written file alone.

#include "ymotion/clipping/clip_errors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include "tests/curve/random_curve.h"
#include "tests/motion_support.h"
#include "tests/small_motion.h"
#include "tests/ymotion/clipped.h"
#include "tests/ymotion/plain_kinematics.h"
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

using Poses = std::vector<plainkinematics::Pose>;

/// A tool, and what it is to make of the poses of a scene. Moments are half frames.
struct ToolCase
{
    Words steps;
    /// Which moment of before is shown at one afterwards; -1 for a new one.
    std::function<int(int)> shown = kSame;
    /// Of what is shown at a moment afterwards.
    std::function<void(Poses&, int)> change = [](Poses&, int) {};
    /// Moments from one to the next at which nothing may be lost.
    int exactEvery = 1;
};

/// A scene with frames twice as close.
Scene Doubled(Scene scene)
{
    scene.rate.numerator *= 2;
    return scene;
}

std::vector<Placement> PlacesOf(const Poses& poses)
{
    std::vector<Placement> places;
    for (const plainkinematics::Pose& pose : poses) {
        const auto& [x, y, z] = pose.position;
        places.push_back({{}, {x, y, z}});
    }
    return places;
}

/// Adds to keys here and there.
void Disturb(Scene& scene, RandomCurves& random)
{
    for (YFCurve* curve : CurvesToMove(scene)) {
        for (int key = 0; key < curve->KeyGetCount(); ++key) {
            if (!random.Chance(0.01)) continue;
            const auto more = static_cast<float>(random.Between(-3, 3));
            curve->KeySetValue(key, curve->KeyGetValue(key) + more);
        }
    }
}

/// That a tool brings joints where it is to bring them, and that what is reported of it are the distances from there:
/// with keys that are moved afterwards, so that there is something to report.
/// \param before  of `Doubled`
void ExpectIntended(const Scene& scene, const FilePoses& before, const ToolCase& tool, RandomCurves& random)
{
    Scene done = CopyOf(scene);
    const std::vector<ClipOutcome> outcomes = Clip(done, tool.steps);
    for (const bool disturbed : {false, true}) {
        if (disturbed) Disturb(done, random);
        const FilePoses after(Doubled(CopyOf(done)));
        std::vector<std::vector<Placement>> expected(after.frames.size());
        std::vector<std::vector<Placement>> actual(after.frames.size());
        std::vector<YTime> times;
        for (int moment = 0; moment < static_cast<int>(after.frames.size()); ++moment) {
            const int shown = tool.shown(moment);
            if (shown < 0) continue;
            Poses poses = before.frames.at(static_cast<std::size_t>(shown));
            tool.change(poses, moment);
            const auto i = static_cast<std::size_t>(moment);
            ASSERT_EQ(poses.size(), after.frames[i].size());
            for (std::size_t joint = 0; joint < poses.size() && !disturbed; ++joint) {
                if (moment % tool.exactEvery != 0) continue;
                const plainkinematics::Pose& pose = after.frames[i][joint];
                ASSERT_LT(plainkinematics::Distance(pose.position, poses[joint].position), 1e-2) << moment;
                ASSERT_LT(layermodel::DegreesBetween(pose.turn, poses[joint].turn), 3e-3) << moment;
            }
            times.push_back(Span(done).start + TimeOfFrame(moment, Doubled(CopyOf(done)).rate));
            expected[i] = PlacesOf(poses);
            actual[i] = PlacesOf(after.frames[i]);
        }
        const auto at = [&](const std::vector<std::vector<Placement>>& places) {
            return [&, i = std::size_t{0}](YTime) mutable -> const std::vector<Placement>& {
                while (places[i].empty()) ++i;
                return places[i++];
            };
        };
        const WorldErrors should = MeasureWorld(done.skeleton, at(expected), at(actual), times);
        const WorldErrors errors = MeasureClip(scene, done, outcomes).value().world;
        ASSERT_EQ(errors.joints.size(), should.joints.size());
        for (std::size_t joint = 0; joint < errors.joints.size(); ++joint) {
            EXPECT_NEAR(errors.joints[joint].largest, should.joints[joint].largest, 3e-3);
            EXPECT_NEAR(errors.joints[joint].Mean(), should.joints[joint].Mean(), 3e-4);
            EXPECT_EQ(errors.joints[joint].times, times.size());
        }
        const bool knowsWhen = !disturbed || errors.Worst()->when == should.Worst()->when;
        EXPECT_TRUE(knowsWhen) << errors.Worst()->when.GetSecondDouble();
        ASSERT_EQ(errors.feet.size(), should.feet.size());
        for (std::size_t foot = 0; foot < errors.feet.size(); ++foot) {
            EXPECT_EQ(errors.feet[foot].contacts, should.feet[foot].contacts);
            EXPECT_NEAR(errors.feet[foot].before, should.feet[foot].before, 0.02);
            EXPECT_NEAR(errors.feet[foot].after, should.feet[foot].after, 0.02);
        }
    }
}

/// The joint or end site on the other side by its name, or itself.
std::size_t MirrorOf(const std::vector<Joint>& joints, std::size_t joint)
{
    if (joints[joint].endSite) {
        const std::size_t other = MirrorOf(joints, static_cast<std::size_t>(joints[joint].parent));
        for (std::size_t i = 0; i < joints.size(); ++i) {
            if (joints[i].endSite && joints[i].parent == static_cast<int>(other)) return i;
        }
    }
    std::string name = joints[joint].name;
    for (const auto& [from, to] : {std::pair("Left", "Right"), std::pair("Right", "Left")}) {
        if (joints[joint].name.starts_with(from)) name = to + name.substr(std::string(from).size());
    }
    const bool isSide = name.size() > 1 && (name[0] == 'L' || name[0] == 'R') && std::isupper(name[1]) != 0;
    if (isSide) name[0] = name[0] == 'L' ? 'R' : 'L';
    return static_cast<std::size_t>(std::ranges::find(joints, name, &Joint::name) - joints.begin());
}

/// A joint between others.
std::size_t InTheMiddle(const std::vector<Joint>& joints)
{
    for (const Joint& joint : joints) {
        if (joint.endSite && joint.parent > 2)
            return static_cast<std::size_t>(joints[static_cast<std::size_t>(joint.parent)].parent);
    }
    return 0;
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

TEST(Clip, BringsJointsWhereItIsToAndTellsHowFarFromThereTheyAre)
{
    RandomCurves random;
    for (const std::string& file : RecordedMotions()) {
        SCOPED_TRACE(file);
        const Scene scene = Clipped(SceneOfText(FileContent(file)), {"trim=8f:68f"});
        const FilePoses before(Doubled(CopyOf(scene)));
        const int last = static_cast<int>(before.frames.size()) - 1;
        const std::vector<Joint>& joints = scene.skeleton.joints;
        const Poses first = before.frames.front();
        const auto moved = [](Poses& poses, double x, double z) {
            for (plainkinematics::Pose& pose : poses) {
                pose.position[0] += x;
                pose.position[2] += z;
            }
        };
        const auto toOrigin = [&](Poses& poses, int) {
            moved(poses, -first[0].position[0], -first[0].position[2]);
        };
        const auto inPlace = [&](Poses& poses, int) {
            moved(poses, first[0].position[0] - poses[0].position[0],
                  first[0].position[2] - poses[0].position[2]);
        };
        const auto scaled = [](double factor) {
            return [factor](Poses& poses, int) {
                for (plainkinematics::Pose& pose : poses) {
                    for (double& place : pose.position) place *= factor;
                }
            };
        };
        const auto mirrored = [&](Poses& poses, int) {
            const Poses old = poses;
            for (std::size_t i = 0; i < joints.size(); ++i) {
                poses[i] = old[MirrorOf(joints, i)];
                poses[i].position[0] *= -1;
                poses[i].turn.y *= -1;
                poses[i].turn.z *= -1;
            }
        };
        const auto without = [&](std::size_t joint) {
            return ToolCase{{"drop=" + joints[joint].name}, kSame, [joint](Poses& poses, int) {
                                poses.erase(poses.begin() + static_cast<std::ptrdiff_t>(joint));
                            }};
        };
        const auto eachRootInPlace = [&](Poses& poses, int) {
            const Poses old = poses;
            for (std::size_t i = 1; i < joints.size(); ++i) {
                std::size_t root = i;
                while (joints[root].parent > 0) root = static_cast<std::size_t>(joints[root].parent);
                for (const std::size_t axis : {0, 2})
                    poses[i].position[axis] += first[root].position[axis] - old[root].position[axis];
            }
            poses.erase(poses.begin());
        };
        // How far a round has come is told by its middle, and has to hold at all other moments.
        const FilePoses rounds(Doubled(Clipped(scene, {"loop=3"})));
        const auto further = [&](Poses& poses, int moment) {
            const int round = std::min(moment / last, 2);
            const plainkinematics::Pose there =
                rounds.frames[static_cast<std::size_t>(round * last + last / 2)][0];
            const plainkinematics::Pose here = before.frames[static_cast<std::size_t>(last) / 2][0];
            const plainkinematics::Quaternion turn = there.turn * layermodel::Reverse(here.turn);
            const plainkinematics::Vector arm = plainkinematics::Turned(turn, here.position);
            for (plainkinematics::Pose& pose : poses) {
                pose.position = plainkinematics::Turned(turn, pose.position);
                for (const std::size_t axis : {0, 2}) pose.position[axis] += there.position[axis] - arm[axis];
                pose.turn = turn * pose.turn;
            }
        };
        const auto inRound = [&](int moment) { return moment == 3 * last ? last : moment % last; };
        const auto shifted = [](int moment) { return moment + 20; };
        const auto backwards = [&](int moment) { return last - moment; };
        const auto fast = [](int moment) { return 2 * moment; };
        const std::string half = fmt::format("rate={}/{}", scene.rate.numerator, scene.rate.denominator * 2);
        const ToolCase cases[] = {
            {{"order=YXZ"}},
            {{half}, fast},
            {{half, "resample"}, fast, [](Poses&, int) {}, 2},
            {{"trim=10f:40f"}, shifted},
            {{"keep-times", "trim=10f:40f"}, shifted},
            {{"reverse"}, backwards},
            {{"speed=2"}, fast},
            {{"shift=-1.5"}},
            {{"rename=*=a*"}},
            {{"scale=1"}},
            {{"scale=0.01"}, kSame, scaled(0.01)},
            {{"root-origin"}, kSame, toOrigin},
            {{"in-place"}, kSame, inPlace},
            {{"mirror"}, kSame, mirrored},
            without(0),
            {{"drop=" + joints[0].name, "in-place"}, kSame, eachRootInPlace},
            without(InTheMiddle(joints)),
            {{"shift=1", "loop=3"}, inRound, further},
            {{"loop=3", "blend=10f"},
             [&](int moment) { return moment >= last && inRound(moment) < 20 ? -1 : inRound(moment); },
             further},
            {{"reverse", "in-place", "mirror", "scale=2", "speed=2", "trim=10f:", "shift=1"},
             [&](int moment) { return last - 2 * (moment + 20); },
             [&](Poses& poses, int) {
                 const Poses& end = before.frames.back();
                 moved(poses, end[0].position[0] - poses[0].position[0],
                       end[0].position[2] - poses[0].position[2]);
                 mirrored(poses, 0);
                 scaled(2)(poses, 0);
             }}};
        for (const ToolCase& each : cases) {
            SCOPED_TRACE(fmt::format("{}", fmt::join(each.steps, " ")));
            ExpectIntended(scene, before, each, random);
        }
    }
}

TEST(Clip, JumpsAtFramesAreNoErrors)
{
    const std::vector<Words> tools{{"reverse"},
                                   {"speed=0.37", "loop=4"},
                                   {"loop=7", "reverse"},
                                   {"trim=3f:17f", "shift=0.3"},
                                   {"rate=47.952"},
                                   {"shift=0.3", "rate=47.952"},
                                   {"speed=13", "rate=24"},
                                   {"loop=500"},
                                   {"speed=1.7", "reverse", "speed=0.3"}};
    for (const char* frameTime : {"0.0417083", "0.0166833", "0.0083333"}) {
        Words frames;
        for (int i = 0; i < 40; ++i) frames.push_back(fmt::format("{} 0 {}", i * i % 17, i * i % 13));
        const Scene scene = SceneOfText(OneJoint("3 Xposition Yposition Zposition", frames, frameTime));
        for (YFCurve* curve : CurvesToMove(scene)) {
            for (int key = 0; key < curve->KeyGetCount(); ++key) {
                curve->KeySetInterpolation(key, YFCURVE_INTERP_CONSTANT);
                curve->KeySetConstantMode(key, YFCURVE_CONSTANT_STANDARD);
                // Every other key is beside its frame, as files have it that write times with few digits.
                curve->KeySetTime(key, curve->KeyGetTime(key) + YTime(900) * (key % 2));
            }
        }
        for (const Words& steps : tools) {
            Scene done = CopyOf(scene);
            const std::vector<ClipOutcome> outcomes = Clip(done, steps);
            EXPECT_LT(MeasureClip(scene, done, outcomes)->world.Worst()->largest, 1e-3)
                << frameTime << fmt::format(" {}", fmt::join(steps, " "));
        }
    }
}

TEST(Clip, FramesStayWholeAtEveryRate)
{
    for (const char* frameTime : {"0.0417083", "0.0416667", "0.0083333", "0.0333667"}) {
        SCOPED_TRACE(frameTime);
        Words frames;
        for (int i = 0; i < 50; ++i) frames.push_back(std::to_string(i * i % 17) + ".125");
        const Scene scene = SceneOfText(OneJoint("1 Xposition", frames, frameTime));
        const auto rows = [](const Scene& written) { return ParseBvh(BvhTextOf(written), "a.bvh").samples; };
        const std::vector<float> all = rows(scene);
        const std::vector<float> part(all.begin() + 7, all.begin() + 44);
        EXPECT_EQ(rows(Clipped(scene, {"trim=7f:43f"})), part);
        EXPECT_EQ(rows(Clipped(scene, {"reverse"})), std::vector<float>(all.rbegin(), all.rend()));
        EXPECT_EQ(rows(Clipped(scene, {"loop=10"})).size(), 491u);
        // The jumps from round to round take no time at any speed.
        EXPECT_EQ(rows(Clipped(scene, {"loop=10", "speed=7"})).size(), 71u);
        const std::vector<float> slow = rows(Clipped(scene, {"speed=0.5"}));
        ASSERT_EQ(slow.size(), 99u);
        for (std::size_t i = 0; i < all.size(); ++i) EXPECT_EQ(slow[2 * i], all[i]) << i;
    }
}

// Without a jump, and about as fast.
TEST(Clip, BlendedRoundsGoOnAsTheOneBeforeEnds)
{
    for (const std::string& file : RecordedMotions()) {
        Scene scene = SceneOfText(FileContent(file));
        Clip(scene, {"trim=0.1:2"});  // a recording begins with a pose of its own
        WorldPoses poses(Clipped(scene, {"loop=3", "blend=0.2"}));
        const YTime step = YTime::FromSeconds(0.001);
        for (const YTime seam : {Span(scene).Length(), Span(scene).Length() * 2}) {
            const std::vector<JointPose> soon = poses.At(seam - YTime(2));
            const std::vector<JointPose> before = poses.At(seam - step);
            const std::vector<JointPose> now = poses.At(seam + YTime(2));
            const std::vector<JointPose>& after = poses.At(seam + step);
            EXPECT_NEAR(soon[0].position.x, now[0].position.x, 1e-3);
            EXPECT_NEAR(soon[0].position.z, now[0].position.z, 1e-3);
            for (std::size_t joint = 0; joint < now.size(); ++joint) {
                ASSERT_LT(soon[joint].rotation.GetAngleTo(now[joint].rotation), 1e-3);
                const YgeQuaternion came = now[joint].rotation * before[joint].rotation.GetConjugate();
                const YgeQuaternion goes = after[joint].rotation * now[joint].rotation.GetConjugate();
                ASSERT_LT(came.GetAngleTo(goes), 0.1) << scene.skeleton.joints[joint].name;
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
    }
}

// At a rate of which frames are no whole number of ticks.
TEST(Clip, EveryFrameStaysAFrame)
{
    Words ramp;
    for (int i = 0; i < 14; ++i) ramp.push_back("0 " + std::to_string(i) + " 0");
    Scene scene = SceneOfText(OneJoint("3 Zrotation Xrotation Yrotation", ramp, "0.0333666666667"));
    ASSERT_EQ(scene.rate, (FrameRate{30000, 1001}));
    YFCurve& curve = *CurvesToMove(scene)[0];
    for (const bool steps : {false, true}) {
        if (steps) curve.KeyTangeantSetInterpolation(false, YFCURVE_INTERP_CONSTANT);
        const auto ramped = [](std::int64_t frame) { return static_cast<float>(frame % 13); };
        const auto mirrored = [](std::int64_t frame) { return static_cast<float>(13 - frame); };
        const std::tuple<Words, std::int64_t, std::function<float(std::int64_t)>> cases[] = {
            {{"loop=5"}, 64, ramped}, {{"reverse"}, 13, mirrored}, {{"reverse", "reverse"}, 12, ramped}};
        for (const auto& [words, last, expected] : cases) {
            const Scene clipped = Clipped(scene, words);
            for (std::int64_t frame = 0; frame <= last; ++frame) {
                const YTime time = TimeOfFrame(frame, clipped.rate);
                EXPECT_EQ(CurvesToMove(clipped)[0]->Evaluate(time), expected(frame))
                    << words[0] << " " << frame;
            }
        }
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

TEST(Clip, ReadsNoWholeTurnsBetweenFrames)
{
    Words wrapped, plain;
    for (int i = 0; i < 60; ++i) {
        const double angle = 17.0 * i;
        plain.push_back(fmt::format("{} 10 {}", angle, 0.5 * angle));
        wrapped.push_back(
            fmt::format("{} 10 {}", std::remainder(angle, 360.0), std::remainder(0.5 * angle, 360.0)));
    }
    const TemporaryFolder folder;
    const auto add = [&](const char* name, const Words& frames) {
        return folder.Add(name, OneJoint("3 Zrotation Xrotation Yrotation", frames, "0.0333333"));
    };
    const std::string in = add("wrapped.bvh", wrapped);
    const std::string other = add("plain.bvh", plain);
    const auto run = [](Words words, const std::string& from, const std::string& to) {
        std::ranges::replace(words, "IN", from);
        std::ranges::replace(words, "OUT", to);
        return RunYFCurve(words).exitCode;
    };
    const Words diff{"diff", "--orientation", "--tolerance", "0.001", "IN", "OUT"};
    for (const Words& words : {Words{"convert", "IN", "OUT", "--rate", "24"},
                               {"clip", "IN", "OUT", "--rate", "24", "--json"},
                               {"clip", "IN", "OUT", "--rate", "24", "--resample"},
                               {"clip", "IN", "OUT", "--speed", "0.3"},
                               {"clip", "IN", "OUT", "--trim", "0.05:1"},
                               {"clip", "IN", "OUT", "--loop", "2", "--blend", "0.25"},
                               {"join", "IN", "IN", "-o", "OUT", "--blend", "0.25"}}) {
        SCOPED_TRACE(fmt::format("{}", fmt::join(words, " ")));
        const std::string a = folder.Path("a.bvh"), b = folder.Path("b.bvh");
        EXPECT_EQ(run(words, in, a) + run(words, other, b), 0);
        EXPECT_EQ(run(diff, a, b), 0);
    }
    EXPECT_LT(JsonOf({"clip", in, "--rate", "24", "--dry-run"}).at("world").at("largest"), 1e-4);
    // glTF is played between frames, too.
    ASSERT_EQ(RunYFCurve({"convert", in, folder.Path("a.glb")}).exitCode, 0);
    EXPECT_EQ(RunYFCurve({"diff", "--world", "--tolerance", "0.01", other, folder.Path("a.glb")}).exitCode,
              0);
    // At its own frames the angles stay those of the file.
    ASSERT_EQ(RunYFCurve({"convert", in, folder.Path("same.bvh")}).exitCode, 0);
    EXPECT_EQ(RunYFCurve({"diff", in, folder.Path("same.bvh")}).exitCode, 0);
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
