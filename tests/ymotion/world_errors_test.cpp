// How far joints come away from their places, and how far feet slide, against positions worked out from the
// numbers of the files alone and against feet that slide by known amounts.

#include "ymotion/compare/world_errors.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <random>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/curve/curve_fixtures.h"
#include "tests/motion_support.h"
#include "tests/test_environment.h"
#include "tests/ymotion/plain_kinematics.h"
#include "ymotion/compare/world_diff.h"
#include "ymotion/filtering/filter_pipeline.h"

using namespace ymotion;

namespace {

WorldErrors ErrorsBetween(const Scene& a, const Scene& b)
{
    WorldPoses before(a);
    WorldPoses after(b);
    return MeasureWorld(a.skeleton, before, after, TimesToCompare(KeySpan(a).value(), a.rate, 1));
}

// --- A made-up figure -----------------------------------------------------------------------------------

using Way = std::vector<std::array<double, 4>>;  // time, X, height, depth; straight lines in between

std::array<double, 3> PlaceOn(const Way& way, double time)
{
    const auto next =
        std::find_if(way.begin(), way.end(), [time](const auto& point) { return point[0] > time; });
    const auto& b = next == way.end() ? way.back() : *next;
    const auto& a = next == way.begin() ? b : *std::prev(next);
    const double part = a[0] == b[0] ? 0 : std::clamp((time - a[0]) / (b[0] - a[0]), 0.0, 1.0);
    return {a[1] + part * (b[1] - a[1]), a[2] + part * (b[2] - a[2]), a[3] + part * (b[3] - a[3])};
}

struct Figure
{
    double unit = 1;
    bool isZUp = false;
    std::string footName = "Foot";
    bool isNamed = true;

    std::string Text(double x, double height, double depth) const
    {
        if (isZUp) return fmt::format("{:.9g} {:.9g} {:.9g}", x * unit, -depth * unit, height * unit);
        return fmt::format("{:.9g} {:.9g} {:.9g}", x * unit, height * unit, depth * unit);
    }

    /// A head 19 and a hand 3.5 above the soles, and ankles that are where their ways lead. Of each foot two toes
    /// reach the soles, 1 below the ankle.
    Scene Walk(const Way& left, const Way& right) const
    {
        const auto joint = [](const std::string& name, const std::string& channels, const std::string& offset,
                              const std::string& below) {
            return fmt::format("JOINT {}\n{{\nOFFSET {}\nCHANNELS {}\n{}}}\n", name, offset, channels, below);
        };
        const std::string end = "End Site\n{\nOFFSET " + Text(0, -.5, 0) + "\n}\n";
        const std::string turn = "1 Xrotation";
        const auto foot = [&](const std::string& side, double x) {
            return joint(side + footName, "3 Xposition Yposition Zposition", Text(x, -9, 0),
                         joint(side + "Tip", turn, Text(0, -.5, 0), end) +
                             joint(side + "Tap", turn, Text(.4, -.5, 0), end));
        };
        std::string text = "HIERARCHY\nROOT Hips\n{\nOFFSET " + Text(0, 10, 0) + "\nCHANNELS 1 Xrotation\n" +
                           foot("Left", 1) + foot("Right", -1) + joint("Hand", turn, Text(3, -7.5, 0), "") +
                           joint("Head", turn, Text(0, 8, 0), "") +
                           "}\nMOTION\nFrames: 121\nFrame Time: 0.0333333\n";
        for (int frame = 0; frame <= 120; ++frame) {
            const auto place = [&](const Way& way) {
                const auto [x, height, depth] = PlaceOn(way, frame / 30.0);
                return Text(x, height - 10, depth);
            };
            text += "0 " + place(left) + " 0 0 " + place(right) + " 0 0 0 0\n";
        }
        return SceneOfText(text);
    }
};

}  // namespace

TEST(Deviation, KeepsWhereTheLargestIs)
{
    Deviation all;
    for (const double largest : {1.0, 3.0, 2.0})
        all.Add({largest, largest * largest, 1, std::to_string(largest), YTIME_ZERO});
    EXPECT_EQ(all.where, std::to_string(3.0));
    EXPECT_NEAR(all.RootMeanSquare(), std::sqrt(14.0 / 3.0), 1e-12);
}

TEST(WorldErrors, AreTheDistancesOfPlacesWorkedOutFromTheFiles)
{
    test::RandomEngine random;
    for (const std::string& file : RecordedMotions()) {
        SCOPED_TRACE(file);
        const BvhMotion was = ParseBvh(FileContent(file), file);
        BvhMotion is = was;
        std::uniform_real_distribution<float> change(-3, 3);
        for (float& sample : is.samples) {
            if (random() % 50 == 0) sample += change(random);
        }
        const Scene before = SceneOfBvh(was);
        const Scene after = SceneOfBvh(is);
        const WorldErrors errors = ErrorsBetween(before, after);
        ASSERT_EQ(errors.joints.size(), was.skeleton.joints.size());
        for (const JointError& joint : errors.joints) {
            double largest = 0;
            double sum = 0;
            double atTime = -1;
            for (std::int64_t frame = 0; frame < was.frameCount; ++frame) {
                const auto i = static_cast<std::size_t>(frame);
                const double distance =
                    plainkinematics::Distance(plainkinematics::PosesFromFile(was, i)[joint.joint].position,
                                              plainkinematics::PosesFromFile(is, i)[joint.joint].position);
                if (joint.when == TimeOfFrame(frame, before.rate)) atTime = distance;
                largest = std::max(largest, distance);
                sum += distance;
            }
            const double rounding = 1e-5 * (1 + largest) + 1e-4;
            EXPECT_NEAR(joint.largest, largest, rounding) << joint.name;
            EXPECT_NEAR(atTime, largest, rounding) << joint.name;
            EXPECT_NEAR(joint.Mean(), sum / static_cast<double>(was.frameCount), rounding) << joint.name;
        }
    }
}

TEST(WorldErrors, FeetSlideAsFarAsTheyWereMadeTo)
{
    // Stands; hovers, slow but high; glides, low but fast; stands; comes down for an instant.
    const Way steps{{0, 1, 0, 0},     {.4, 1, 0, 0},     {.6, 1.3, 0, 0},  {1, 1.3, 0, 0},   {1.2, 1.3, 5, 2},
                    {1.6, 1.3, 5, 2}, {1.8, 1.3, 0, 4},  {2.3, 1.3, 0, 9}, {3.3, 1.3, 0, 9}, {3.5, 1.3, 5, 9},
                    {3.7, 1.3, 0, 9}, {3.74, 1.3, 0, 9}, {3.94, 1.3, 5, 9}};
    Way slides = steps;
    slides[2][1] = slides[3][1] = 1.7;
    slides.insert(slides.begin() + 8, {{2.6, 1.3, 0, 9}, {2.8, 1.3, 0, 9.4}, {3.0, 1.3, 0, 9}});
    const Way still{{0, -1, 0, 0}};
    for (const Figure& figure : {Figure{}, Figure{0.01, true, "Foot"}, Figure{2.54, false, "Ankle"},
                                 Figure{1, false, "Toe"}, Figure{1, true, "Paw", false}}) {
        SCOPED_TRACE(fmt::format("{} {}", figure.unit, figure.footName));
        const Scene before = figure.Walk(steps, still);
        const Scene after = figure.Walk(slides, still);
        const WorldErrors errors = ErrorsBetween(before, after);
        EXPECT_NEAR(errors.height, 19 * figure.unit, 1e-4 * figure.unit);
        EXPECT_EQ(errors.up, figure.isZUp ? Axis::Z : Axis::Y);
        ASSERT_EQ(errors.feet.size(), 2u);
        const FootSlide& left = errors.feet[0];
        EXPECT_EQ(left.name, figure.isNamed ? "LeftTip" : "LeftTip/End Site");
        EXPECT_EQ(left.contacts, 2u);
        const std::vector<Foot> feet =
            FindContacts(before, TimesToCompare(KeySpan(before).value(), {30, 1}, 1)).feet;
        EXPECT_EQ(feet[0].contacts.front().start, YTIME_ZERO);
        EXPECT_NEAR(feet[0].contacts.back().start.GetSecondDouble(), 2.3, 0.05);
        EXPECT_NEAR(feet[0].contacts.back().stop.GetSecondDouble(), 3.3, 0.05);
        EXPECT_NEAR(left.seconds, 2.0, 0.15);
        EXPECT_NEAR(left.before, 0.3 * figure.unit, 1e-4 * figure.unit);
        EXPECT_NEAR(left.after, 1.1 * figure.unit, 1e-4 * figure.unit);
        EXPECT_NEAR(left.largest, 0.7 * figure.unit, 1e-4 * figure.unit);
        EXPECT_EQ(left.when, YTIME_ZERO);
        const FootSlide& right = errors.feet[1];
        EXPECT_EQ(right.contacts, 1u);
        EXPECT_NEAR(right.seconds, 4.0, 1e-9);
        EXPECT_NEAR(right.before + right.after, 0.0, 1e-9);
    }
}

TEST(WorldErrors, FeetThatLoseTheirPlaceSlideWithoutEnd)
{
    const Way still{{0, 1, 0, 0}};
    const Scene before = Figure{}.Walk(still, still);
    const Scene after = Figure{}.Walk(still, still);
    const Channel along{ChannelKind::Translation, Axis::X};
    CurveOf(*after.jointNodes[1], along)->KeySetValue(9, std::numeric_limits<float>::quiet_NaN());
    const WorldErrors errors = ErrorsBetween(before, after);
    EXPECT_TRUE(std::isinf(errors.Worst()->largest));
    EXPECT_TRUE(std::isinf(errors.feet[0].after));
    EXPECT_TRUE(std::isinf(errors.feet[0].largest));
    EXPECT_EQ(errors.feet[1].after, 0.0);
}

TEST(WorldErrors, FeetAreFoundByTheirNamesOrAsTheEndsOfLegs)
{
    using Bone = std::tuple<std::string, int, std::array<float, 3>>;  // name, parent; X, height, depth
    using enum Axis;
    const std::tuple<std::vector<Bone>, Axis, Words> cases[] = {
        // A dog, longer than high, with a tail as long as its legs.
        {{{"Hips", -1, {0, 6, 0}},
          {"HindL", 0, {1, -6, 0}},
          {"HindR", 0, {-1, -6, 0}},
          {"Tail", 0, {0, 1, -7}},
          {"Chest", 0, {0, 0, 9}},
          {"FrontL", 4, {1, -6, 0}},
          {"FrontR", 4, {-1, -6, 0}},
          {"Head", 4, {0, 3, 4}}},
         Y,
         {"HindL", "HindR", "FrontL", "FrontR"}},
        // Far from the root, which is on the ground. Of two toes one is nearer to the knee than a foot is long.
        {{{"Reference", -1, {0, 0, 0}},
          {"Hips", 0, {0, 10, -30}},
          {"Knee", 1, {0, -8.6f, 0}},
          {"Heel", 2, {0, -1, 0}},
          {"Tip", 3, {0, -.3f, 0}},
          {"Tap", 3, {1.1f, -.3f, 0}},
          {"Head", 1, {0, 5, 0}}},
         Y,
         {"Tip"}},
        // A name of a namespace, or of what feet are below, says nothing.
        {{{"Bigfoot:Foot_Hips", -1, {0, 0, 10}},
          {"Bigfoot:LeftAnkle", 0, {2, 0, -9}},
          {"Bigfoot:LeftFoot", 1, {0, 0, -1}},
          {"Bigfoot:RightFoot", 0, {-2, 0, -10}},
          {"Bigfoot:Head", 0, {0, 0, 8}}},
         Z,
         {"Bigfoot:LeftFoot", "Bigfoot:RightFoot"}},
    };
    for (const auto& [bones, up, expected] : cases) {
        Scene scene;
        for (const auto& [name, parent, offset] : bones)
            scene.skeleton.joints.push_back({name, parent, false, offset, {}});
        MakeJointNodes(scene);
        const std::array times{YTIME_MINUS_INFINITE, YTIME_ZERO, YTIME_ONE_SECOND, YTIME_INFINITE};
        const StandingFigure figure = FindContacts(scene, times);
        Words feet;
        for (const Foot& foot : figure.feet) {
            feet.push_back(scene.skeleton.joints[foot.joint].name);
            ASSERT_EQ(foot.contacts.size(), 1u);
            EXPECT_EQ(foot.contacts[0].Length(), YTIME_INFINITE);
        }
        EXPECT_EQ(feet, expected);
        EXPECT_EQ(figure.up, up) << feet.front();
    }
}

TEST(WorldErrors, FiltersWorkWhereJointsCannotBePlaced)
{
    const Way still{{0, 1, 0, 0}};
    for (const char* fault : {"", "keys", "time warp"}) {
        Scene scene = Figure{}.Walk(still, still);
        const Channel turn{ChannelKind::Rotation, Axis::X};
        YFCurve& curve = *CurveOf(*scene.jointNodes[0], turn);
        YFCurveNodePtr warp(YFCurveNodeCreate("warp", YDataType::Get(eDataType::TimeWarp)));
        warp->CreateFCurve();
        YFCurve& warped = *warp->FCurveGet();
        for (int i = 0; i < 3; ++i) warped.KeyAppendFast(YTIME_ONE_SECOND * i, static_cast<float>(i));
        YFCurve& faulty = fault == std::string("keys") ? curve : warped;
        if (*fault != '\0') faulty.KeySetTime(2, faulty.KeyGetTime(1));
        if (fault == std::string("time warp"))
            PropertyOf(*scene.jointNodes[0], turn.kind)->TimeWarpSet(warp.release());
        auto steps = ParseSteps({"offset:Offset=1"}, &scene);
        std::size_t left = 1;
        const auto taken = [&left](std::size_t done, std::size_t total) { left = total - done; };
        EXPECT_EQ(ApplySteps(scene, steps, {"Hips"}, taken).world.has_value(), *fault == '\0') << fault;
        EXPECT_EQ(left, 0u);
        EXPECT_EQ(curve.KeyGetValue(0), 1.0f);
    }
}

TEST(WorldDiff, JointsAreApartWhereTheirPlacesAre)
{
    const Figure figure;
    const Way still{{0, -1, 0, 0}};
    const Scene a = figure.Walk({{0, 1, 0, 0}, {4, 1, 0, 0}}, still);
    const Scene b = figure.Walk({{0, 1, 0, 0}, {2, 1, 0, .5}, {4, 1, 0, 0}}, still);
    EXPECT_TRUE(CompareWorlds(a, b, 0.51).IsEmpty());
    const WorldDifference difference = CompareWorlds(a, b, 0.49);
    EXPECT_EQ(difference.compared, 13u);
    ASSERT_EQ(difference.joints.size(), 5u);
    EXPECT_EQ(difference.joints[0].name, "Hips/LeftFoot");
    EXPECT_EQ(difference.joints[1].name, "Hips/LeftFoot/LeftTip");
    EXPECT_EQ(difference.joints[0].when, YTime::FromSeconds(2));
    EXPECT_NEAR(difference.joints[0].largest, 0.5, 1e-6);
    EXPECT_NEAR(difference.joints[0].Mean(), 0.25, 1e-2);

    // Other angles for the same orientations leave joints where they are.
    const std::string angles = "3 Zrotation Yrotation Xrotation";
    const Scene plain = SceneOfText(OneJoint(angles, {"10 20 30", "12 24 36"}));
    const Scene turned = SceneOfText(OneJoint(angles, {"370 -700 1110", "372 -696 1116"}));
    EXPECT_TRUE(CompareWorlds(plain, turned, 0).IsEmpty());

    // So it is far out on bones that the file has as positions alone.
    const auto far = [](const std::string& turns) {
        return SceneOfText(
            "HIERARCHY\nROOT a\n{\nOFFSET 0 0 0\nCHANNELS 3 Zrotation Yrotation Xrotation\nJOINT b\n{\n"
            "OFFSET 0 0 0\nCHANNELS 1 Xposition\n}\n}\nMOTION\nFrames: 1\nFrame Time: 1\n" +
            turns + " 100000\n");
    };
    EXPECT_TRUE(CompareWorlds(far("10.1 20.2 30.3"), far("370.1 -699.8 1110.3"), 0).IsEmpty());

    const Scene other = Figure{1, false, "Paw"}.Walk(still, still);
    const WorldDifference names = CompareWorlds(a, other, 100);
    EXPECT_EQ(names.onlyA.front(), "Hips/LeftFoot");
    EXPECT_EQ(names.onlyB.back(), "Hips/RightPaw/RightTap/End Site");
    EXPECT_EQ(names.compared, 3u);
}

// Of A the frames count, from its first key on, as well as all keys of both.
TEST(WorldDiff, LooksAtKeysAndAtFramesOfTheFirstSceneFromBeginningToEnd)
{
    using Keys = std::vector<std::pair<double, float>>;
    const auto scene = [](const FrameRate& rate, const Keys& keys) {
        Scene made = SceneOfText(OneJoint("1 Xposition", {"0"}));
        made.rate = rate;
        YFCurve& curve = *CurveOf(*made.jointNodes[0], {ChannelKind::Translation, Axis::X});
        curve.KeyClear();
        for (const auto& [time, value] : keys)
            curve.KeyAdd(YTime::FromSeconds(time), yfc::test::LinearKey(value));
        return made;
    };
    const std::tuple<FrameRate, Keys, Keys, double, double, std::size_t> cases[] = {
        // Behind the last whole frame.
        {{1, 1}, {{0, 0}, {.9, 0}}, {{0, 0}, {.9, 5}}, 5, .9, 2},
        // Between frames and halves: a peak of B.
        {{1, 1}, {{0, 0}, {1, 0}}, {{0, 0}, {.2, 7}, {.4, 0}, {1, 0}}, 7, .2, 5},
        // B begins earlier: frames are at -0.75, 0.25, 1.25 and 2.25.
        {{1, 1}, {{.25, 0}, {2.25, 0}}, {{-1.5, 3}, {2.25, 0}}, 3, -1.5, 8},
    };
    for (const auto& [rate, a, b, apart, when, times] : cases) {
        const WorldDifference difference = CompareWorlds(scene(rate, a), scene({120, 1}, b), 0);
        ASSERT_EQ(difference.joints.size(), 1u);
        EXPECT_NEAR(difference.joints[0].largest, apart, 1e-5);
        EXPECT_EQ(difference.joints[0].when, YTime::FromSeconds(when));
        EXPECT_EQ(difference.joints[0].times, times);
    }
}
