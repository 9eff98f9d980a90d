// Clip tools against the numbers of the written file alone: where they bring joints, and how far from there these are
// said to be.

#include "ymotion/clipping/clip_errors.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "tests/curve/random_curve.h"
#include "tests/ymotion/clipped.h"
#include "tests/ymotion/plain_kinematics.h"
#include "ymotion/clipping/clip_curves.h"

using namespace ymotion;

namespace {

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
    std::function<int(int)> shown = std::identity{};
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
        const Scene doubled = Doubled(CopyOf(done));
        const FilePoses after(doubled);
        const FrameRate rate = doubled.rate;
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
            times.push_back(TimeOfFrame(Span(done).start, moment, rate));
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

TEST(ClipErrors, BringsJointsWhereItIsToAndTellsHowFarFromThereTheyAre)
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
            return ToolCase{{"drop=" + joints[joint].name}, std::identity{}, [joint](Poses& poses, int) {
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
        // A round goes on from the one before: turned about the vertical axis and moved over the ground as the root was.
        const auto further = [&](Poses& poses, int moment) {
            const plainkinematics::Pose& end = before.frames.back()[0];
            const plainkinematics::Quaternion whole = end.turn * layermodel::Reverse(first[0].turn);
            const double size = std::hypot(whole.w, whole.y);
            const plainkinematics::Quaternion turn{0, whole.y / size, 0, whole.w / size};
            const plainkinematics::Vector start = plainkinematics::Turned(turn, first[0].position);
            for (int round = std::min(moment / last, 2); round > 0; --round) {
                for (plainkinematics::Pose& pose : poses) {
                    pose.position = plainkinematics::Turned(turn, pose.position);
                    for (const std::size_t axis : {0, 2})
                        pose.position[axis] += end.position[axis] - start[axis];
                    pose.turn = turn * pose.turn;
                }
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
            {{"scale=0.01"}, std::identity{}, scaled(0.01)},
            {{"root-origin"}, std::identity{}, toOrigin},
            {{"in-place"}, std::identity{}, inPlace},
            {{"mirror"}, std::identity{}, mirrored},
            without(0),
            {{"drop=" + joints[0].name, "in-place"}, std::identity{}, eachRootInPlace},
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

TEST(ClipErrors, JumpsAtFramesAreNoErrors)
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
