#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

#include "tests/ymotion/clipped.h"
#include "yfcurve/yfcurvefilterfit.h"
#include "yfcurve/yfcurveutils.h"
#include "ymotion/compare/foot_contacts.h"
#include "ymotion/compare/world_errors.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/reducing/world_reduction.h"
#include "ymotion/ymotion.h"

namespace {

using namespace ymotion;

// How far the joints of two scenes are apart at frames and half-way between, and joints of feet while they stand.
struct Apart
{
    double anywhere = 0.0;
    double standing = 0.0;
};

Apart Between(const Scene& before, const Scene& after)
{
    const std::vector<YTime> times = TimesToCompare(*KeySpan(before), before.rate, 1, true);
    const StandingFigure figure = FindContacts(before, times);
    WorldPoses was(before);
    WorldPoses is(after);
    Apart apart;
    for (const YTime time : times) {
        const std::vector<JointPose> old = was.At(time);
        const std::vector<JointPose>& now = is.At(time);
        const auto distance = [&](std::size_t joint) {
            const YgeVector& a = old[joint].position;
            const YgeVector& b = now[joint].position;
            return std::hypot(a.x - b.x, a.y - b.y, a.z - b.z);
        };
        for (std::size_t joint = 0; joint < old.size(); ++joint)
            apart.anywhere = std::max(apart.anywhere, distance(joint));
        for (const Foot& foot : figure.feet) {
            for (const Contact& contact : foot.contacts) {
                if (time < contact.start || time > contact.stop) continue;
                apart.standing = std::max(apart.standing, distance(foot.joint));
            }
        }
    }
    return apart;
}

}  // namespace

TEST(Reduction, KeepsJointsAndStandingFeetInPlaceWithinABudget)
{
    const Scene before = Clipped(Walk(), {"trim=0:0.7"});
    const double height = FigureHeight(before);
    // With the most keys that may be left; each curve by itself takes more.
    const std::pair<ReductionGoal, int> cases[] = {
        {{0.01 * height, {}, false, YFCurveFilterFit::eSmooth}, 170},
        {{0.03 * height, {}, true, YFCurveFilterFit::eBroken}, 170},
        {{0.0, 400, false, YFCurveFilterFit::eAuto}, 400},
        {{0.1 * height, {}, false, YFCurveFilterFit::eSmooth}, 135},
    };
    for (const auto& [goal, most] : cases) {
        Scene scene = Clipped(Walk(), {"trim=0:0.7"});
        std::vector<FilterStep> steps;
        Reduction reduction = FindReduction(scene, goal);
        EXPECT_EQ(Between(before, scene).anywhere, 0.0);
        steps.push_back(std::move(reduction.step));
        const FilterOutcome outcome = ApplySteps(scene, steps, {});
        EXPECT_EQ(outcome.KeysAfter(), reduction.keys);
        EXPECT_LT(outcome.KeysAfter(), goal.keys.value_or(outcome.KeysBefore() / 4));
        const Apart apart = Between(before, scene);
        EXPECT_LE(apart.anywhere, reduction.tolerance * (1.0 + 1e-6));
        EXPECT_GE(apart.anywhere, 0.05 * reduction.tolerance);
        EXPECT_LE(outcome.KeysAfter(), most);
        if (goal.contacts) {
            EXPECT_LE(apart.standing, 0.1 * reduction.tolerance * (1.0 + 1e-6));
        }
    }
}

TEST(Reduction, LeavesAloneWhatMovesNoJointAndPutsAllLayersBack)
{
    Scene scene = Clipped(Walk(), {"trim=0:0.7"});
    YDataType& visibility = *YDataType::Get(eDataType::Visibility);
    YFCurveNode* shown = AddTo(*scene.jointNodes[1], MakePropertyNode(visibility, "Visibility"));
    for (int i = 0; i < 40; ++i)
        shown->FCurveGet()->KeyAppendFast(YTime::FromSeconds(i / 30.0), static_cast<float>(i / 3 % 2));
    YFCurveNode* rotation = PropertyOf(*scene.jointNodes[2], ChannelKind::Rotation);
    YFCurveNode* upper = rotation->CreateLayerAt(scene.layers.Add("up")->Info());
    const double angles[] = {5, -15, 100};
    upper->KeyAdd(YTime::FromSeconds(0.25), angles);
    rotation->SetUseQuaternion(true);

    const std::string before = TaloTextOf(scene);
    std::vector<FilterStep> steps;
    steps.push_back(FindReduction(scene, {0.3, {}, false, YFCurveFilterFit::eSmooth}).step);
    EXPECT_EQ(TaloTextOf(scene), before);
    const FilterOutcome outcome = ApplySteps(scene, steps, {});
    EXPECT_FALSE(rotation->GetUseQuaternion());
    EXPECT_EQ(outcome.steps.front().warning, "1 rotation no longer turns as quaternions, but by its angles");
    EXPECT_EQ(shown->FCurveGet()->KeyGetCount(), 40);
    UndoSteps(scene, outcome);
    EXPECT_EQ(TaloTextOf(scene), before);
}

// A turn that moves nothing is off by no more degrees than the tolerance where nothing else measures it.
TEST(Reduction, TellsWhatItCannotMeasure)
{
    Words frames;
    for (int i = 0; i < 90; ++i) frames.push_back(fmt::format("{}", 40.0 * std::sin(0.2 * i)));
    Scene flat = SceneOfText(OneJoint("1 Xrotation", frames, "0.1"));
    const Scene before = SceneOfText(OneJoint("1 Xrotation", frames, "0.1"));
    Scene walk = Clipped(Walk(), {"trim=0:0.7"});
    const auto refused = [](Scene& scene, const ReductionGoal& goal, const char* part,
                            int code = kExitFailure) {
        EXPECT_TRUE(Holds(FailureOf([&] { FindReduction(scene, goal); }, code), part));
    };
    refused(walk, {0.0, {}, false, 0}, "above 0", kExitUsage);
    refused(walk, {0.0, 5, false, 0}, "at least");
    refused(flat, {0.0, 50, false, 0}, "no height; give the tolerance in the file's units");
    EXPECT_TRUE(Holds(FailureOf([&] { FigureHeight(flat); }), "no height"));

    std::vector<FilterStep> steps;
    steps.push_back(FindReduction(flat, {0.5, {}, false, 0}).step);
    EXPECT_LT(ApplySteps(flat, steps, {}).KeysAfter(), 40);
    const auto curve = [](const Scene& scene) {
        return PropertyOf(*scene.jointNodes[0], ChannelKind::Rotation)->Get(0)->FCurveGet();
    };
    EXPECT_TRUE(YFCurveUtils::CompareCurve(*curve(before), *curve(flat), 0.501));
}

TEST(Reduction, IsOfferedByTheLibrary)
{
    YMotion walk;
    EXPECT_FALSE(walk.Reduce(0.1));
    ASSERT_TRUE(walk.Load(ExampleWalk().c_str()) && walk.Clip({"trim=0:0.4"}));
    YMotionFilterReport report;
    EXPECT_TRUE(walk.Reduce(1.0, false, &report));
    ASSERT_EQ(report.steps.size(), 1u);
    EXPECT_LT(report.steps[0].keysAfter, report.steps[0].keysBefore / 4);
    EXPECT_FALSE(walk.Reduce({.tolerance = "1", .keys = 5}) || walk.Reduce({.keys = -1}));
    std::string page;
    const std::int64_t most = report.steps[0].keysAfter;
    ASSERT_TRUE(walk.Load(ExampleWalk().c_str()) && walk.Clip({"trim=0:0.4"}));
    ASSERT_TRUE(walk.Reduce({.keys = most}, &report, nullptr, nullptr, &page));
    EXPECT_LE(report.steps[0].keysAfter, most);
    EXPECT_TRUE(Holds(page, "reduce, keys"));
    // Feet that are to stand need more.
    ASSERT_TRUE(walk.Load(ExampleWalk().c_str()) && walk.Clip({"trim=0:0.4"}));
    ASSERT_TRUE(walk.Reduce({.tolerance = "1", .contacts = true}, &report));
    EXPECT_GT(report.steps[0].keysAfter, most);
}
