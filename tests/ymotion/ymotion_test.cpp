// The public face: what it shows of a scene, and that what fails leaves the scene as it was.

#include "ymotion/ymotion.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <functional>
#include <set>

#include "tests/curve/curve_fixtures.h"
#include "tests/motion_support.h"
#include "yfcurve/yfcurvenode.h"
#include "yfcurve/yfcurvesettings.h"

namespace {

using M = YMotion;

M Loaded(const std::string& text)
{
    M motion;
    EXPECT_TRUE(motion.LoadText(text.data(), text.size(), "test"));
    return motion;
}

/// A turn about Z that unrolls to 170, 190 and 200 degrees, at 2 frames a second.
M Turn()
{
    return Loaded(OneJoint("1 Zrotation", {"170", "-170", "-160"}));
}

YMotionLayer NewLayer(M& motion, const char* name, eLayerMode mode = YFCURVE_LAYER_ADDITIVE)
{
    YMotionLayer layer;
    layer.id = motion.AddLayer(name);
    layer.name = name;
    layer.mode = mode;
    EXPECT_TRUE(motion.SetLayer(layer));
    return layer;
}

std::array<double, 3> Shown(YFCurveNode& node)
{
    std::array<double, 3> values{};
    node.GeneralEvaluate(values.data(), YTIME_ZERO);
    return values;
}

}  // namespace

TEST(YMotion, FiltersComparesAndDraws)
{
    M motion = Turn();
    const YTime period = YFCURVE_GetPlotPeriod();
    YMotionFilterReport report;
    ASSERT_TRUE(motion.Filter({"unroll"}, {"a"}, &report));
    EXPECT_EQ(YFCURVE_GetPlotPeriod(), period) << "settings of the process are as they were";
    EXPECT_TRUE(report.steps.at(0).changed == 1 && report.properties.at(0).path == "a/Lcl Rotation");
    YMotionDifference difference;
    EXPECT_TRUE(motion.Compare(Turn(), difference, 0.0, true) && difference.IsEmpty());
    ASSERT_TRUE(motion.Compare(Turn(), difference));
    EXPECT_EQ(difference.values.at(0).path, "a/Lcl Rotation/Z");
    EXPECT_GE(difference.values.at(0).here - difference.values.at(0).there, 360.0);
    std::string text;
    EXPECT_TRUE(motion.PlotSvg(text) && Holds(text, "<svg"));
    ASSERT_TRUE(Turn().Filter({"resample:Period=0.25"}, {}, &report));
    EXPECT_TRUE(report.steps.at(0).keysBefore == 3 && report.steps.at(0).keysAfter == 5);
}

TEST(YMotion, FiltersNothingOnLockedLayers)
{
    M motion = Turn();
    YMotionFilterReport report;
    YMotionLayer layer = motion.GetLayers().at(0);
    layer.locked = true;
    layer.solo = true;
    ASSERT_TRUE(motion.SetLayer(layer) && motion.GetLayers().at(0).solo);
    EXPECT_TRUE(motion.GetJoints().at(0).node->Get(0)->Get(2)->FCurveGet()->IsLockedByLayer());
    ASSERT_TRUE(motion.Filter({"unroll"}, {}, &report));
    EXPECT_EQ(report.steps.at(0).locked, 1u);
}

// A layer above, half of which counts, becomes part of the frames of a BVH file. What the format cannot hold is told.
TEST(YMotion, ARefusedReductionLeavesWrappedAngles)
{
    Words frames;
    for (int i = 0; i < 40; ++i) frames.push_back(std::to_string(std::remainder(20.0 * i, 360.0)) + " 0 0");
    M motion = Loaded(OneJoint("3 Zrotation Xrotation Yrotation", frames, "0.0333333"));
    const YFCurve& z = *motion.GetJoints().at(0).node->Get(0)->Get(2)->FCurveGet();
    YMotionReduction few;
    few.keys = 1;
    EXPECT_FALSE(motion.Reduce(few));
    for (int i = 0; i < 40; ++i) EXPECT_NEAR(z.KeyGetValue(i), std::remainder(20.0 * i, 360.0), 1e-4) << i;
}

TEST(YMotion, SavesWhatPlays)
{
    M motion = Turn();
    const YMotionLayer layer = NewLayer(motion, "Half");
    motion.GetLayers().at(1).weight->SetValue(0.5f);
    YFCurveNode* rotation = motion.GetJoints().at(0).node->Get(0);
    rotation->CreateLayerAt(motion.GetLayerInfo(layer.id));
    rotation->LayerGet()->Get(2)->FCurveGet()->KeyAppendFast(YTime::FromSeconds(1.5), 20.0f);
    const TemporaryFolder folder;
    ASSERT_TRUE(motion.Save(folder.Path("a.bvh").c_str()) && motion.Load(folder.Path("a.bvh").c_str()));
    EXPECT_EQ(motion.GetJoints().at(0).offset[2], 9.0f);
    EXPECT_EQ(motion.GetFrameRate().numerator, 2);
    std::string text;
    EXPECT_TRUE(motion.SetFrameRate({8, 2}) && motion.SaveText(text) && Holds(text, "Frame Time: 0.25\n"));
    EXPECT_EQ(motion.GetFrameRate().numerator, 4);
    YTime start;
    YTime stop;
    std::vector<float> angles;
    ASSERT_TRUE(motion.GetSpan(start, stop) && motion.Sample(angles, {start, stop}, {"Z"}));
    EXPECT_EQ(angles, (std::vector<float>{180, 210 - 360})) << "layers of rotations add up as such";
    EXPECT_EQ(stop, YTime::FromSeconds(1.5)) << "a frame more, as the layer has a key there";

    YFCurveNode* const scale =
        FCurveNodeCreateFromDataType(YDataType::Get(eDataType::LocalScaling), "Lcl Scaling");
    scale->CreateFCurve();
    scale->Get(0)->FCurveGet()->SetValue(2.0f);
    motion.GetJoints().at(0).node->Add(scale);
    ASSERT_TRUE(motion.Save(folder.Path("b.bvh").c_str()));
    EXPECT_TRUE(motion.GetNotes().size() == 2 && Holds(motion.GetNotes().back(), "BVH has no scale"));
}

// Rotations angle by angle and scalings that are added, on a node that is there before and on one that comes later.
TEST(YMotion, LayersAddUpAsTheirModesSay)
{
    struct Case
    {
        eLayerMode mode;
        std::array<double, 3> rotation;
        std::array<double, 3> scaling;
    };
    const Case cases[] = {{YFCURVE_LAYER_ADDITIVE, {30, 20, 65}, {2.75, 3, 1}},
                          {YFCURVE_LAYER_OVERRIDE, {20, 0, 35}, {0.75, 0, 0}},
                          {YFCURVE_LAYER_WEIGHTED_OVERRIDE, {25, 10, 50}, {1.75, 1.5, 0.5}}};
    for (const Case& item : cases) {
        M motion = Loaded(OneJoint("3 Zrotation Xrotation Yrotation", {"30 10 20", "30 10 20"}));
        const auto node = [&](int i) { return motion.GetJoints().at(0).node->Get(i); };
        const auto curve = [](YFCurveNode& property, int i) { return property.Get(i)->FCurveGet(); };
        YFCurveNode* made =
            FCurveNodeCreateFromDataType(YDataType::Get(eDataType::LocalScaling), "Lcl Scaling");
        made->CreateFCurve();
        for (int i = 0; i < 3; ++i)
            curve(*made, i)->SetValue(std::array{2.0f, 3.0f, 1.0f}[static_cast<std::size_t>(i)]);
        node(0)->GetParent()->Add(made);
        YMotionLayer layer = NewLayer(motion, "Up");
        YFCurveNode* turn = motion.PutOnLayer(*node(0), layer.id);
        ASSERT_EQ(motion.PutOnLayer(*node(0), layer.id), turn);
        layer.mode = item.mode;
        layer.rotationMode = YFCURVE_LAYER_ROTATION_BY_CHANNEL;
        layer.scalingMode = YFCURVE_LAYER_SCALING_ADD;
        ASSERT_TRUE(motion.SetLayer(layer));
        YMotionLayer base = motion.GetLayers().at(0);
        base.rotationMode = YFCURVE_LAYER_ROTATION_BY_CHANNEL;
        EXPECT_FALSE(motion.SetLayer(base)) << "there is nothing below";
        motion.GetLayers().at(1).weight->SetValue(0.5f);
        curve(*turn, 0)->SetValue(40.0f);
        curve(*turn, 2)->SetValue(70.0f);
        curve(*motion.PutOnLayer(*node(1), layer.id), 0)->SetValue(1.5f);
        const auto expect = [&](const char* when) {
            for (std::size_t i = 0; i < 3; ++i) {
                EXPECT_NEAR(Shown(*node(0))[i], item.rotation[i], 1e-5) << when << item.mode;
                EXPECT_NEAR(Shown(*node(1))[i], item.scaling[i], 1e-5) << when << item.mode;
            }
        };
        expect("as made ");
        std::string file;
        ASSERT_TRUE(motion.SaveText(file, "ytalo") && motion.LoadText(file.data(), file.size(), "file"));
        expect("read again ");
        ASSERT_TRUE(motion.MergeLayers({0, 1}, 0));
        expect("merged ");
        ASSERT_TRUE(motion.LoadText(file.data(), file.size(), "file"));
        layer.scalingMode = YFCURVE_LAYER_SCALING_MULTIPLY;
        layer.mode = YFCURVE_LAYER_ADDITIVE;
        ASSERT_TRUE(motion.SetLayer(layer));
        EXPECT_NEAR(Shown(*node(1))[0], 2.0 * std::sqrt(1.5), 1e-5);
        EXPECT_NEAR(Shown(*node(1))[1], 3.0, 1e-5);
    }
}

// The result of a merge or a plot is measured by the layer type that plays it.
TEST(YMotion, MergesIntoLayersByChannel)
{
    for (const eLayerMode mode : {YFCURVE_LAYER_ADDITIVE, YFCURVE_LAYER_OVERRIDE}) {
        M motion =
            Loaded(OneJoint("4 Xposition Zrotation Xrotation Yrotation", {"1 30 10 20", "2 30 10 20"}));
        YMotionLayer up = NewLayer(motion, "Up");
        up.rotationMode = YFCURVE_LAYER_ROTATION_BY_CHANNEL;
        up.mode = mode;
        const int top = motion.AddLayer("Top");
        YFCurveNode& rotation = *motion.GetJoints().at(0).node->Get(1);
        YFCurveNode& turn = *motion.PutOnLayer(rotation, top);
        for (int i = 0; i < 3; ++i)
            turn.Get(i)->FCurveGet()->SetValue(std::array{40.0f, 30.0f, -50.0f}[static_cast<std::size_t>(i)]);
        const std::array<double, 3> before = Shown(rotation);
        ASSERT_TRUE(motion.SetLayer(up) && motion.MergeLayers({top}, up.id));
        EXPECT_EQ(rotation.LayerGet()->GetLayerID(), up.id);
        EXPECT_EQ(rotation.LayerGet()->GetLayerType(), 5);
        for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(Shown(rotation)[i], before[i], 1e-3);
        rotation.SetMultiLayer(false);
        EXPECT_EQ(motion.PutOnLayer(rotation, motion.AddLayer("More")), nullptr);
    }
}

namespace {

void SetLinearKeys(YFCurve& curve, std::initializer_list<std::pair<double, float>> keys)
{
    curve.KeyClear();
    for (const auto& [second, value] : keys)
        curve.KeyAdd(YTime::FromSeconds(second), yfc::test::LinearKey(value));
}

float XAt(const M& motion, double second)
{
    std::vector<float> values;
    EXPECT_TRUE(motion.Sample(values, {YTime::FromSeconds(second)}, {"Lcl Rotation/X"}));
    return values.empty() ? NAN : values.back();
}

}  // namespace

// A turn on a layer whose weight alone moves, beyond the only key of the scene.
TEST(YMotion, PlaysAsLongAsWeightsMove)
{
    const auto through = [](const char* format) {
        return [format](M& m) {
            std::string file;
            return m.SaveText(file, format) && m.LoadText(file.data(), file.size(), "file");
        };
    };
    const std::pair<const char*, std::function<bool(M&)>> cases[] = {
        {"as it is", [](M&) { return true; }},
        {"merged", [](M& m) { return m.MergeLayers({}); }},
        {"baked", [](M& m) { return m.PlotIntoLayer(NewLayer(m, "Over", YFCURVE_LAYER_OVERRIDE).id); }},
        {"BVH", through("bvh")},
        {"glTF", through("gltf")}};
    for (const auto& [what, change] : cases) {
        for (const bool keyed : {true, false}) {
            SCOPED_TRACE(what);
            M motion = Loaded(OneJoint("3 Zrotation Xrotation Yrotation", {"0 10 0"}));
            YFCurveNode& rotation = *motion.GetJoints().at(0).node->Get(0);
            for (int i = 0; i < 3 && !keyed; ++i) rotation.Get(i)->FCurveGet()->KeyClear();
            rotation.Get(0)->FCurveGet()->SetValue(10.0f);
            YFCurveNode& turn = *motion.PutOnLayer(rotation, motion.AddLayer("Nod"));
            turn.Get(0)->FCurveGet()->SetValue(30.0f);
            SetLinearKeys(*motion.GetLayers().at(1).weight, {{0.0, 0.0f}, {1.0, 1.0f}, {2.0, 0.0f}});
            ASSERT_TRUE(change(motion)) << motion.GetError().GetLastErrorString();
            for (const auto& [second, angle] :
                 {std::pair(0.0, 10.0f), {0.5, 25.0f}, {1.0, 40.0f}, {2.0, 10.0f}})
                EXPECT_NEAR(XAt(motion, second), angle, 0.02) << second;
            YTime start;
            YTime stop;
            EXPECT_TRUE(motion.GetSpan(start, stop) && start == YTIME_ZERO &&
                        stop == YTime::FromSeconds(2.0));
        }
    }
}

// Keys of 0 and 10 at 0 and 1 s in a scene of 4 s, with what is shown at 1.25 and 3.75 s.
TEST(YMotion, BakesWhatGoesOnBeyondItsKeysAsLongAsTheScene)
{
    const std::tuple<unsigned, float, float> cases[] = {{YFCURVE_EXTRAPOLATION_REPETITION, 2.5f, 7.5f},
                                                        {YFCURVE_EXTRAPOLATION_MIRROR_REPETITION, 7.5f, 2.5f},
                                                        {YFCURVE_EXTRAPOLATION_KEEP_SLOPE, 12.5f, 37.5f}};
    const std::string text =
        OneJoint("4 Xposition Zrotation Xrotation Yrotation", std::vector<std::string>(9, "0 0 0 0"));
    for (const auto& [mode, early, late] : cases) {
        for (const bool fromAnother : {false, true}) {
            M motion = Loaded(text);
            M plain;
            ASSERT_TRUE(plain.CopyFrom(motion));
            YFCurve& x = *motion.GetJoints().at(0).node->Get(0)->Get(0)->FCurveGet();
            SetLinearKeys(x, {{0.0, 0.0f}, {1.0, 10.0f}});
            x.SetPostExtrapolation(mode);
            x.SetPostExtrapolationCount(YFCURVE_EXTRAPOLATION_UNLIMITED);
            M& baked = fromAnother ? plain : motion;
            const int over = NewLayer(baked, "Over", YFCURVE_LAYER_OVERRIDE).id;
            ASSERT_TRUE(
                baked.PlotIntoLayer(over, fromAnother ? &motion : nullptr, {.nodes = {"Lcl Translation"}}));
            std::vector<float> values;
            ASSERT_TRUE(baked.Sample(values, {YTime::FromSeconds(1.25), YTime::FromSeconds(3.75)},
                                     {"Lcl Translation/X"}));
            EXPECT_NEAR(values.at(0), early, 2e-3) << mode;
            EXPECT_NEAR(values.at(1), late, 2e-3) << mode;
        }
    }
}

TEST(YMotion, ShowsNodesPosesAndFrames)
{
    M motion = Turn();
    std::vector<YFCurveNode*> nodes;
    ASSERT_TRUE(motion.GetNodes(nodes, {"z", "a"}));
    ASSERT_EQ(nodes.size(), 2u) << "each by itself, in the order of the tree";
    EXPECT_TRUE(nodes[0] == motion.GetJoints().at(0).node && std::string(nodes[1]->GetName()) == "Z");
    EXPECT_FALSE(motion.GetNodes(nodes, {"a", "b"}));
    EXPECT_TRUE(nodes.size() == 2 && Holds(motion.GetError().GetLastErrorString(), "'b'"));
    EXPECT_TRUE(motion.GetNodes(nodes) && nodes.size() == 5) << "a joint, a rotation and its angles";

    std::vector<YMotionPose> poses;
    ASSERT_TRUE(motion.GetPoses(poses, {YTIME_ZERO, YTIME_ONE_SECOND}));
    ASSERT_EQ(poses.size(), 2u);
    // Half of 170 and of -160 degrees.
    EXPECT_NEAR(std::abs(poses[0].rotation[2]), 0.996194698, 1e-6);
    EXPECT_NEAR(std::abs(poses[1].rotation[3]), 0.173648178, 1e-6);
    EXPECT_LT(poses[0].rotation[2] * poses[0].rotation[3] * poses[1].rotation[2] * poses[1].rotation[3], 0);
    for (std::size_t axis : {0, 1, 2}) EXPECT_EQ(poses[1].position[axis], 7.0 + static_cast<double>(axis));
    EXPECT_FALSE(M().GetPoses(poses, {YTIME_ZERO})) << "without a skeleton";

    const YTime third = M::GetFrameTime(1, {30000, 1001});
    EXPECT_EQ(third.Get(), (YTIME_TICKS_PER_SECOND * 1001 + 15000) / 30000);
    EXPECT_TRUE(!M::ParseFrameRate("0").IsValid() && !M::ParseFrameRate(nullptr).IsValid());
    EXPECT_EQ(M::GetLastFrame(third, {30000, 1001}), 1);
}

TEST(YMotion, TellsWhereJointsAndFeetAreInTheWorld)
{
    M walk;
    M before;
    ASSERT_TRUE(walk.Load(ExampleWalk().c_str()) && before.Load(ExampleWalk().c_str()));
    YMotionFilterReport report;
    ASSERT_TRUE(walk.Filter({"offset:Offset=2"}, {"Hips/Lcl Translation/X"}, &report));
    const std::vector<YMotionJoint> joints = walk.GetJoints();
    ASSERT_EQ(report.joints.size(), joints.size());
    for (const YMotionJointReport& joint : report.joints) {
        EXPECT_NEAR(joint.largest, 2.0, 1e-4);
        EXPECT_NEAR(joint.mean, 2.0, 1e-4);
    }
    ASSERT_EQ(report.feet.size(), 2u);
    for (const YMotionFootReport& foot : report.feet) {
        EXPECT_TRUE(Holds(joints.at(foot.joint).name, "Toe"));
        EXPECT_TRUE(foot.contacts >= 2 && foot.seconds > 0.5 && foot.seconds < 2.2);
        EXPECT_NEAR(foot.slideAfter, foot.slideBefore, 1e-3);
        EXPECT_TRUE(foot.largestSlide < foot.slideAfter && foot.time < YTime::FromSeconds(2.2));
    }
    YMotionWorldDifference difference;
    ASSERT_TRUE(walk.CompareWorld(before, difference, 1.9));
    EXPECT_EQ(difference.jointsCompared, joints.size());
    ASSERT_EQ(difference.joints.size(), joints.size());
    EXPECT_EQ(difference.joints.at(1).path, "Hips/" + joints.at(1).name);
    EXPECT_NEAR(difference.joints.at(1).mean, 2.0, 1e-4);
    EXPECT_TRUE(walk.CompareWorld(before, difference, 2.1) && difference.IsEmpty());
    EXPECT_FALSE(walk.CompareWorld(before, difference, -1));
    YMotionDifference curves;
    ASSERT_TRUE(walk.Compare(before, curves, 0.0, true));
    EXPECT_EQ(curves.joints.size(), joints.size());
}

// What files do not keep is told, and a copy has it all the same.
TEST(YMotion, CopiesHaveWhatFilesDoNotKeep)
{
    M scene;
    YFCurveNode* turn = FCurveNodeCreateFromDataType(YDataType::Get(eDataType::LocalRotation), "Turn");
    turn->CreateFCurve();
    scene.GetRoot()->Add(turn);
    const YTime keys[] = {YTime(0), YTime::FromSeconds(1.1)};
    for (const YTime time : keys) turn->Get(0)->FCurveGet()->KeyAppendFast(time, 1.0f);
    turn->SetRotationOrder(5);
    turn->SetLockedByProperty(true);
    std::string text;
    ASSERT_TRUE(scene.SaveText(text, "ytalo") && scene.GetNotes().size() == 1);
    EXPECT_TRUE(Holds(scene.GetNotes().at(0), "'Turn'")) << scene.GetNotes().at(0);
    M copy;
    M file;
    YMotionDifference difference;
    ASSERT_TRUE(copy.CopyFrom(scene) && file.LoadText(text.data(), text.size(), "file"));
    EXPECT_TRUE(copy.GetRoot()->Get(0)->IsLockedByProperty() && scene.Compare(copy, difference));
    EXPECT_TRUE(difference.settings.empty());
    ASSERT_TRUE(scene.Compare(file, difference) && difference.settings.size() == 1);
    EXPECT_EQ(difference.settings.at(0).here, "ZYX");
    // Frames are those of the scene, and a rate at which they end before the motion does is told.
    YTime time;
    EXPECT_TRUE(scene.SetFrameRate({4, 1}) && scene.ParseTime("6f", time) && time == YTime::FromSeconds(1.5));
    EXPECT_FALSE(scene.ParseTime("soon", time));
    ASSERT_TRUE(scene.Load(ExampleWalk().c_str()) && scene.SaveText(text, "bvh"));
    EXPECT_TRUE(scene.GetNotes().empty());
    ASSERT_TRUE(scene.SetFrameRate({24, 1}) && scene.SaveText(text, "bvh") && scene.GetNotes().size() == 2);
    EXPECT_TRUE(Holds(scene.GetNotes().at(1), "at 2.133333 s") && Holds(scene.GetNotes().at(1), "at 2.125 s"))
        << scene.GetNotes().at(1);
    EXPECT_TRUE(scene.GetAnimations().empty() && !scene.SaveText(text, "glb", {.tolerance = -1.0}));
}

// Whenever the host stops the work, the scene and the file are what they were, and the work can be done again.
TEST(YMotion, StoppedWorkLeavesTheSceneAndTheFileAsTheyWere)
{
    const auto contentOf = [](const M& motion, const char* format = "ytalo") {
        std::string content;
        EXPECT_TRUE(motion.SaveText(content, format));
        return content;
    };
    M large;
    const auto scene = [&large](bool hasLayer) {
        M motion;
        EXPECT_TRUE(motion.Load(ExampleWalk().c_str()) && motion.Clip({"trim=0:0.25"}));
        if (hasLayer) {
            EXPECT_TRUE(motion.AddLayer("Up") == 1 && motion.PlotIntoLayer(1, &large, {.nodes = {"Hips"}}));
        }
        return motion;
    };
    large = scene(false);
    EXPECT_TRUE(large.Filter({"scale:Scale=2"}));
    const TemporaryFolder folder;
    const std::string file = folder.Add("a.out", "before");
    const auto load = [&](const char* format) {
        return [content = contentOf(Turn(), format)](M& m) {
            return m.LoadText(content.data(), content.size(), "a");
        };
    };
    const auto save = [&](const char* format) {
        return [&, format](M& m) { return m.Save(file.c_str(), format); };
    };
    YMotionDifference difference;
    YMotionWorldDifference world;
    std::string svg;
    std::vector<YMotionPose> poses;
    std::vector<float> values;
    // Most of what changes the scene or the file asks once more before that, without a pause; some of it needs a layer.
    enum EKind
    {
        ePlain,
        eAsksLast,
        eOnLayer
    };
    const std::pair<EKind, std::function<bool(M&)>> acts[] = {
        {ePlain, load("bvh")},
        {ePlain, load("ytalo")},
        {ePlain, load("glb")},
        {eAsksLast, save("bvh")},
        {eAsksLast, save("ytalo")},
        {eAsksLast, save("glb")},
        {eAsksLast,
         [](M& m) {
             return m.Filter({"unroll", "scale:Scale=2"}, {"Hips"});
         }},
        {eOnLayer,
         [&](M& m) {
             return m.PlotIntoLayer(1, &large, {.nodes = {"Spine", "Head"}});
         }},
        {eOnLayer, [](M& m) { return m.MergeLayers({}); }},
        {eAsksLast,
         [](M& m) {
             return m.Clip({"trim=0:0.1", "speed=2", "loop=2", "blend=0.01", "rate=60", "resample",
                            "drop=LeftHand", "reverse"});
         }},
        {eAsksLast, [](M& m) { return m.Reduce(5); }},
        {eAsksLast, [&](M& m) { return m.Join(large, YTime::FromSeconds(0.1)); }},
        {ePlain, [&](M& m) { return m.Compare(large, difference); }},
        {ePlain, [&](M& m) { return m.CompareWorld(large, world); }},
        {ePlain, [&](M& m) { return m.PlotSvg(svg); }},
        {ePlain, [&](M& m) { return m.SaveTableText(svg, "csv"); }},
        {ePlain, [&](M& m) { return m.GetPoses(poses, {YTIME_ZERO}); }},
        {ePlain, [&](M& m) { return m.Sample(values, {YTIME_ZERO}); }}};
    struct Questions
    {
        int until = INT_MAX;
        int asked = 0;
        static bool GoesOn(void* object)
        {
            auto& questions = *static_cast<Questions*>(object);
            return ++questions.asked < questions.until;
        }
    };
    for (const auto& [kind, act] : acts) {
        SCOPED_TRACE(act.target_type().name());
        Questions all;
        {
            M motion = scene(kind == eOnLayer);
            const YMotionStopping stopping(Questions::GoesOn, &all);
            EXPECT_TRUE(act(motion));
        }
        EXPECT_GT(all.asked, 0);
        folder.Add("a.out", "before");
        M motion = scene(kind == eOnLayer);
        const std::string before = contentOf(motion);
        for (const int until : std::set{1, all.asked / 2 + 1, all.asked}) {
            Questions some{until};
            {
                const YMotionStopping outer(Questions::GoesOn, nullptr);
                const YMotionStopping stopping(Questions::GoesOn, &some);
                EXPECT_FALSE(act(motion));
            }
            EXPECT_EQ(motion.GetError().GetLastErrorID(), M::eErrorStopped);
            EXPECT_EQ(some.asked, until) << "work that is stopped asks no more";
            EXPECT_TRUE(contentOf(motion) == before && FileContent(file) == "before");
        }
        if (kind != ePlain) {
            constexpr int kVeryLong = 1'000'000'000;
            Questions last{2};
            const YMotionStopping stopping(Questions::GoesOn, &last, kVeryLong);
            EXPECT_FALSE(act(motion));
            EXPECT_TRUE(last.asked == 2 && contentOf(motion) == before && FileContent(file) == "before");
        }
        EXPECT_TRUE(act(motion));
    }
}

TEST(YMotion, WhatFailsSaysWhyAndLeavesTheSceneAsItWas)
{
    const TemporaryFolder folder;
    const auto stop = [](std::size_t done, std::size_t total, void*) { return done < total; };
    const std::vector<std::tuple<const char*, int, std::function<bool(M&)>>> cases{
        {"x.bvh:1: ", M::eErrorFile, [](M& m) { return m.LoadText("x", 1, "x.bvh"); }},
        {"end in .bvh", M::eErrorRequest, [&](M& m) { return m.Save(folder.Path("a.txt").c_str()); }},
        {"Bad Sampl", M::eErrorFile,
         [](M& m) {
             return m.Filter({"unroll", "butterworth:CutOffFreq=5000"});
         }},
        {"stop", M::eErrorStopped, [&](M& m) { return m.Filter({"unroll"}, {}, nullptr, stop); }},
        {"30/0", M::eErrorRequest,
         [](M& m) {
             return m.SetFrameRate({30, 0});
         }},
        {"no joint 'Arm'", M::eErrorFile,
         [](M& m) {
             return m.Clip({"shift=1", "drop=Arm"});
         }},
        {"turn", M::eErrorRequest, [](M& m) { return m.Clip({"turn"}); }},
        {"", M::eErrorRequest, [](M& m) { return m.Join(Turn(), -YTIME_ONE_SECOND); }},
        {"no node matches", M::eErrorUnmatched, [](M& m) { return m.Filter({"unroll"}, {"Arm"}); }},
        {"taken", M::eErrorFile, [](M& m) { return m.AddLayer("BaseAnimation") >= 0; }},
        {"empty", M::eErrorFile, [](M& m) { return m.SetLayer({}); }},
    };
    for (const auto& [message, error, act] : cases) {
        M motion = Turn();
        EXPECT_FALSE(act(motion));
        EXPECT_EQ(motion.GetError().GetLastErrorID(), error);
        EXPECT_TRUE(Holds(motion.GetError().GetLastErrorString(), message));
        YMotionDifference difference;
        EXPECT_TRUE(motion.Compare(Turn(), difference) && difference.IsEmpty());
    }
    M motion;
    const std::string damaged = folder.Add("a.ytalo", "ytalo 1\nChannel: \"P\" {\n Colr: 1\n}\n");
    EXPECT_TRUE(motion.Load(damaged.c_str()) && motion.GetNotes().size() == 1);
    EXPECT_FALSE(motion.Save(damaged.c_str()));
    EXPECT_TRUE(
        Holds(motion.GetError().GetLastErrorString(), "a.ytalo: is damaged, and what was left out would be"));
    // More than is read of a file is no damage.
    const std::string mesh =
        folder.Add("a.gltf", R"({"asset":{"version":"2.0"},"nodes":[{"mesh":0}],"scenes":[
        {"nodes":[0]}],"meshes":[{"primitives":[{"attributes":{}}]}]})");
    EXPECT_TRUE(motion.Load(mesh.c_str()) && !motion.Save(mesh.c_str()));
    EXPECT_TRUE(Holds(motion.GetError().GetLastErrorString(), "has more than is read of it"));
    EXPECT_TRUE(motion.Load(damaged.c_str()));
    EXPECT_TRUE(motion.Save(damaged.c_str(), nullptr, true) && motion.Save(damaged.c_str()));
}
