// What the library offers, as the program lists it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <vector>

#include "tests/motion_support.h"
#include "tests/test_environment.h"
#include "tests/ymotion/plain_kinematics.h"
#include "ymotion/filtering/filter_catalogue.h"
#include "ymotion/filtering/filter_pipeline.h"
#include "ymotion/filtering/filter_places.h"
#include "ymotion/filtering/filter_report.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/scene_copy.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/suggestion.h"

using namespace ymotion;

namespace {

/// A walk with two layers that have keys of their own, on angles with jumps by whole turns.
Scene WalkWithLayers()
{
    Scene scene = ReadSceneText(FileContent(test::SourceFile("examples/walk.bvh")), "walk.bvh");
    for (const char* name : {"Lower", "Upper"}) {
        Layer& layer = *scene.layers.Add(name);
        for (const SelectedCurve& selected : SelectCurves(scene, {"Hips", "Spine"})) {
            selected.property->GetCorrectLayerAndCreateIfMissing(layer.Info());
            YFCurve& curve = *NodeOnLayer(selected, layer)->FCurveGet();
            for (int i = 0; i < 9; ++i)
                curve.KeySetValue(curve.KeyAdd(YTIME_ONE_SECOND / 5 * i),
                                  i % 4 == 3 ? 365.0f : 5.0f + static_cast<float>(i));
        }
    }
    return scene;
}

std::string TextWithout(const Layer& layer, const Scene& scene)
{
    Scene copy = CopyOf(scene);
    copy.layers.Remove(layer.GetLayerID(), *copy.root);
    return SceneText(copy, "ytalo");
}

/// A filter with a value for each parameter that it needs.
std::string StepOf(const YClassDefinition& definition)
{
    const char* const values[] = {"true", "1", "1", "0.5", "1,0,0"};  // by the kind of parameter
    std::string step = ShortName(definition);
    const auto filter = MakeFilter(definition);
    for (const YProperty* needed : NeededParametersOf(*filter)) {
        step += step.find(':') == std::string::npos ? ":" : ",";
        step += std::string(needed->GetName()) + "=" + values[needed->GetDescription()->GetDefault().index()];
    }
    return step;
}

std::string RefusedStep(const std::string& text)
{
    return FailureOf([&] { ParseSteps({text}); }, kExitUsage);
}

}  // namespace

TEST(Filters, OnOneLayerLeaveTheOthersAloneAndNothingWhereTheyAreStopped)
{
    const Scene walk = WalkWithLayers();
    const std::string text = SceneText(walk, "ytalo");
    int changing = 0;
    for (const YClassDefinition* definition : FilterClasses()) {
        SCOPED_TRACE(StepOf(*definition));
        Scene scene = CopyOf(walk);
        const Layer& lower = *scene.layers.Find("Lower");
        std::vector<FilterStep> steps = ParseSteps({StepOf(*definition)}, &scene);
        const auto stop = [](std::size_t done, std::size_t total) {
            if (done + 1 == total) throw Failure("stopped");
        };
        EXPECT_THROW(ApplySteps(scene, steps, {"Hips"}, stop, 1, &lower), Failure);
        EXPECT_EQ(SceneText(scene, "ytalo"), text);
        if (!WhyBaseLayerAlone(*steps.front().filter).empty()) continue;
        const FilterOutcome outcome = ApplySteps(scene, steps, {"Hips"}, {}, 1, &lower);
        EXPECT_EQ(outcome.properties.front().path, "Hips/Lcl Translation");
        EXPECT_EQ(outcome.steps.front().keysBefore, 6 * 9);
        const std::string& warning = outcome.steps.front().warning;
        EXPECT_TRUE(warning.empty() || warning.starts_with("Hips jumps by 360")) << warning;
        if (SceneText(scene, "ytalo") != text) ++changing;
        EXPECT_EQ(TextWithout(lower, scene), TextWithout(lower, walk));
    }
    EXPECT_GT(changing, 12);
}

TEST(Filters, RefuseSlopesTooLargeForKeys)
{
    for (const bool right : {false, true}) {
        Scene scene = SceneOfText(OneJoint("1 Xrotation", {"0", "0", "0"}));
        YFCurve& curve = *CurveOf(*scene.jointNodes[0], {});
        curve.KeySetInterpolation(1, YFCURVE_INTERP_CUBIC);
        curve.KeySetTangeantMode(1, YFCURVE_TANGENT_USER_BREAK);
        right ? curve.KeySetRightDerivative(1, 10.0f) : curve.KeySetInterpolation(0, YFCURVE_INTERP_CUBIC);
        if (!right) curve.KeySetLeftDerivative(1, 10.0f);
        std::vector<FilterStep> steps = ParseSteps({"scale:Scale=1e38,ApplyTangent=true"}, &scene);
        EXPECT_TRUE(Holds(FailureOf([&] { ApplySteps(scene, steps, {}); }), "too large for keys")) << right;
    }
}

TEST(FilterCatalogue, FindsFiltersByAnyOfTheirNames)
{
    for (const YClassDefinition* definition : FilterClasses()) {
        const std::string className = definition->GetName();
        const std::string displayName = MakeFilter(*definition)->GetName();
        for (const std::string& name :
             {ShortName(*definition), className, className.substr(std::strlen("YFCurveFilter")), displayName,
              "filter " + displayName, ShortName(*definition) + "-FILTER"})
            EXPECT_EQ(&FindFilter(name), definition) << name;
    }
    for (const char* name : {"", "filter", "test-template"}) EXPECT_THROW(FindFilter(name), Failure) << name;
}

TEST(Filters, TakeJointsAsAWholeWhereverTheirPropertiesStand)
{
    Scene scene = ReadSceneText(FileContent(test::SourceFile("examples/walk.bvh")), "walk.bvh");
    YDataType& type = *YDataType::Get(eDataType::LocalScaling);
    YFCurveNode& scaling = *AddTo(*scene.jointNodes[0], MakePropertyNode(type, type.GetName()));
    for (int axis = 0; axis < 3; ++axis) {
        YFCurve& curve = *scaling.Get(axis)->FCurveGet();
        curve.KeySetValue(curve.KeyAdd(YTIME_ZERO), 1.0f);
    }
    std::vector<FilterStep> steps = ParseSteps({"trs:T=1,2,3"}, &scene);
    const FilterOutcome moved = ApplySteps(scene, steps, {});
    EXPECT_TRUE(moved.steps[0].changed == 1 && moved.steps[0].refused == 0);
    EXPECT_NEAR(moved.world.value().Worst()->largest, std::sqrt(14.0), 1e-4);
    steps = ParseSteps({"matrix-converter"}, &scene);
    const StepOutcome converted = ApplySteps(scene, steps, {}).steps[0];
    EXPECT_TRUE(converted.changed == 1 && converted.skipped == scene.skeleton.joints.size() - 6);
    EXPECT_EQ(converted.worksOn, "joints with a translation, a rotation and a scaling");
}

TEST(Filters, TellErrorsToThreeDigits)
{
    for (const auto& [error, text] : {std::pair{0.0, "0 units"},
                                      {1.7e-7, "2e-07 units"},
                                      {0.000123456, "0.000123 units"},
                                      {12.3456, "12.3 units"},
                                      {4567.8, "4568 units"},
                                      {HUGE_VAL, "not a number"}})
        EXPECT_EQ(ErrorText(error, "units"), text);
}

// What hangs on a joint that is moved is moved with it, and not once more.
TEST(Filters, MoveTheTopmostOfTheChosenJoints)
{
    const std::string text = FileContent(ExampleWalk());
    const std::size_t joints = SceneOfText(text).skeleton.JointCount();
    // Patterns, how many joints change and go along, and the topmost ones.
    const std::tuple<Words, std::size_t, std::size_t, Words> cases[] = {
        {{}, 1, joints - 1, {"Hips"}},
        {{"LeftHand", "Hips", "Spine"}, 1, 2, {"Hips"}},
        {{"RightForeArm", "LeftArm", "LeftHand"}, 2, 1, {"LeftArm", "RightForeArm"}}};
    for (const auto& [patterns, changed, along, turned] : cases) {
        SCOPED_TRACE(testing::PrintToString(patterns));
        Scene scene = SceneOfText(text);
        const Scene before = CopyOf(scene);
        std::vector<FilterStep> steps = ParseSteps({"trs:R=90,0,0,T=1,2,3"}, &scene);
        const FilterOutcome outcome = ApplySteps(scene, steps, patterns);
        EXPECT_EQ(outcome.steps[0].changed, changed);
        EXPECT_EQ(outcome.steps[0].along, along);
        for (std::size_t i = 0; i < scene.jointNodes.size(); ++i) {
            if (scene.jointNodes[i] == nullptr) continue;
            const std::string& name = scene.skeleton.joints[i].name;
            const auto turn = [i](const Scene& of) {
                return CurveOf(*of.jointNodes[i], {ChannelKind::Rotation, Axis::X})
                    ->Evaluate(YTIME_ONE_SECOND / 3);
            };
            EXPECT_EQ(turn(scene) != turn(before), std::ranges::count(turned, name) == 1) << name;
        }
        if (turned[0] != "Hips") continue;
        const BvhMotion old = ParseBvh(text, "old");
        const BvhMotion now = ParseBvh(BvhTextOf(scene), "new");
        for (const std::size_t frame : {std::size_t{0}, std::size_t{100}}) {
            const auto poses = plainkinematics::PosesFromFile(old, frame);
            const auto moved = plainkinematics::PosesFromFile(now, frame);
            for (std::size_t i = 0; i < poses.size(); ++i) {
                const auto& [x, y, z] = poses[i].position;
                EXPECT_LT(plainkinematics::Distance(moved[i].position, {1 + x, 2 - z, 3 + y}), 1e-4);
            }
        }
    }
}

TEST(FilterSteps, TakeParametersAndSayWhatIsWrong)
{
    Scene scene;
    scene.rate = {50, 1};
    const auto steps = ParseSteps({"unroll", "trs:T=1,0,-2.5,Stop=0:0:1:0,Start=25f"}, &scene);
    ASSERT_EQ(steps.size(), 2u);
    EXPECT_EQ(steps[0].name, "unroll");
    EXPECT_EQ(steps[1].filter->GetStartTime(), YTime::FromSeconds(0.5));
    EXPECT_EQ(steps[1].filter->GetStopTime(), YTime::FromSeconds(1.0));
    EXPECT_EQ(ParseSteps({"key-sync:stop=@100"}).at(0).filter->GetStopTime(), YTime(100));
    EXPECT_TRUE(Holds(RefusedStep("key-sync:begin=1"), "'begin'; 'yfcurve filters key-sync' lists them"));
    EXPECT_EQ(RefusedStep("buterworth"), "there is no filter 'buterworth'; did you mean butterworth?");
    EXPECT_EQ(RefusedStep("butterworth:CutOfFreq=7"),
              "butterworth has no parameter 'CutOfFreq'; did you mean CutOffFreq?");
    EXPECT_TRUE(Holds(RefusedStep("butterworth:CutOffFreq=-1"), "> 0"));
    EXPECT_EQ(RefusedStep("unroll:"), "'' sets no parameter; write NAME=VALUE");
    EXPECT_TRUE(Holds(RefusedStep("time-clamp:Start=1"), "does nothing without Min or Max"));
    EXPECT_TRUE(Holds(RefusedStep("time-clamp:Min=1,start=1"), "time-clamp does nothing with Start"));
    EXPECT_TRUE(Holds(RefusedStep("time-shift-and-scale:Shift=1,Stop=2"), "does nothing with Stop"));
    EXPECT_EQ(RefusedStep("offset:Offset=5,Start=1,Stop=0.5"),
              "the span from 1 s to 0.5 s ends before it starts; choose other Start and Stop");
    EXPECT_TRUE(Holds(RefusedStep("keys-on-frame:Start=1"), "from 1 s to 0 s ends before it starts"));
    for (const char* right :
         {"scale:scale=2", "keys-on-frame:Start=1,Stop=60f", "butterworth:Start=1,Stop=2"})
        EXPECT_EQ(RefusedStep(right), "") << right;
    EXPECT_EQ(NearestNames("LEFTLEG", {"LeftUpLeg", "LeftLeg", "Hips"}).front(), "LeftLeg");
}

TEST(Deviation, IsTakenAtFramesHoweverManyThereAre)
{
    // The two agree at every frame, and at none between.
    constexpr int frames = 250'001;
    const FrameRate rate{100, 1};
    const YFCurveNodePtr before(YFCurveNodeCreate("T", YDataType::Get(eDataType::Number)));
    before->FCurveSet(YFCurveCreate());
    YFCurve& curve = *before->FCurveGet();
    curve.KeyModifyBegin(frames);
    for (int i = 0; i < frames; ++i) curve.KeyAppendFast(TimeOfFrame(i, rate), i % 2 == 0 ? 0.0f : 180.0f);
    for (int i = 0; i < frames; ++i) curve.KeySetInterpolation(i, YFCURVE_INTERP_LINEAR);
    curve.KeyModifyEnd();
    const YFCurveNodePtr after(before->SingleLayerCopy());
    for (int i = 0; i < frames; ++i) after->FCurveGet()->KeySetInterpolation(i, YFCURVE_INTERP_CONSTANT);
    const TimeSpan span = KeySpan(curve).value();
    EXPECT_EQ(FramesBetweenErrors(span, rate), 3);
    const std::vector<YTime> times = TimesToCompare(span, rate, 3);
    EXPECT_EQ(Compare(*before, *after, times).largest, 0.0);
    after->FCurveGet()->KeySetValue(frames - 1, 7.0f);
    const Deviation last = Compare(*before, *after, times);
    EXPECT_TRUE(last.largest == 7.0 && last.when == span.stop);
    EXPECT_EQ(FramesBetweenErrors({span.start, TimeOfFrame(99'999, rate)}, rate), 1);
}
