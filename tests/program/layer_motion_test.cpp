// Merging layers and plotting into layers on the command line.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/motion_support.h"
#include "tests/node/layer_model.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/plots/plot_choice.h"

namespace {

/// A translation on three layers. X: the base goes from 2 to 10 within two seconds, half of "up" adds 4 after
/// a second and 0 at the ends, "top" is not asked for in most tests and adds 100.
std::string Layered(const std::string& settingsOfUp, const std::string& settingsOfTop)
{
    const std::string still =
        " Channel: \"Y\" {\n Default: 0.0\n }\n Channel: \"Z\" {\n Default: 0.0\n }\n LayerType: 1\n";
    return "ytalo 1\nScene: {\n FrameRate: \"30\"\n Layer: \"up\" {\n LayerID: 1\n" + settingsOfUp +
           " }\n Layer: \"top\" {\n LayerID: 2\n" + settingsOfTop +
           " }\n}\nChannel: \"Hips\" {\nChannel: \"Lcl Translation\" {\n Channel: \"X\" {\n Default: 0.0\n "
           "KeyVer: "
           "4006\n KeyCount: 2\n Key: @0 2.0 'L' @92372316000 10.0 'L'\n }\n" +
           still +
           " LayerChannel: \"Lcl Translation\" {\n Channel: \"X\" {\n Default: 0.0\n KeyVer: 4006\n "
           "KeyCount: 3\n "
           "Key: @0 0.0 'U' 'a' 'n' @46186158000 4.0 'U' 'a' 'n' @92372316000 0.0 'L'\n LayerID: 1\n }\n" +
           still +
           " LayerID: 1\n LayerChannel: \"Lcl Translation\" {\n Channel: \"X\" {\n Default: 100.0\n LayerID: "
           "2\n }\n" +
           still + " LayerID: 2\n }\n }\n}\n}\n";
}

const std::string kHalf = " Weight: {\n Default: 0.5\n }\n";
const std::string kMute = " Mute: 1\n";
const std::string kLock = " Lock: 1\n";
const std::string kFading =
    " Weight: {\n Default: 1.0\n KeyVer: 4006\n KeyCount: 2\n Key: @0 0.0 'L' @92372316000 1.0 'L'\n }\n";

/// X of a scene at sixty times a second and between, as it plays.
std::vector<double> Played(const std::string& file)
{
    const ymotion::Scene scene = ymotion::ReadScene(file);
    YFCurveNode& property = *scene.root->FindRecursive("Lcl Translation");
    std::vector<double> values;
    for (double time = -0.5; time < 2.5; time += 1.0 / 97.0) {
        double value[3] = {};
        property.GeneralEvaluate(value, YTime::FromSeconds(time));
        values.push_back(value[0]);
    }
    return values;
}

double LargestDifference(const std::vector<double>& a, const std::vector<double>& b)
{
    double largest = a.size() == b.size() ? 0.0 : 1e9;
    for (std::size_t i = 0; i < a.size(); ++i) largest = std::max(largest, std::abs(a[i] - b[i]));
    return largest;
}

Words LayerNames(const std::string& file)
{
    Words names;
    const ymotion::Scene scene = ymotion::ReadScene(file);
    for (const auto& layer : scene.layers.Layers()) names.push_back(layer->Name());
    return names;
}

YFCurveNode& Rotation(const ymotion::Scene& scene)
{
    return *scene.root->FindRecursive("Lcl Rotation");
}

/// The orientation that plays.
layermodel::Quaternion TurnAt(const ymotion::Scene& scene, double seconds)
{
    layermodel::Triple angles{};
    Rotation(scene).GeneralEvaluate(angles.data(), YTime::FromSeconds(seconds));
    return layermodel::OfAngles(angles, Rotation(scene).GetRotationOrder());
}

}  // namespace

TEST(LayerMergeCommand, PutsTheResultWhereItIsWanted)
{
    const TemporaryFolder folder;
    const std::string file = folder.Add("scene", Layered(kHalf, ""));
    const std::vector<double> before = Played(file);
    const std::string in = folder.Path("in.ytalo");
    JsonOf({"layer", "merge", file, "up", "0", "--into", "top", "-o", in});
    EXPECT_EQ(LayerNames(in), (Words{"BaseAnimation", "top"}));
    EXPECT_LT(LargestDifference(Played(in), before), 2e-5);
    const std::string anew = folder.Path("new.ytalo");
    const nlohmann::json kept =
        JsonOf({"layer", "merge", file, "1", "top", "--into-new", "sum", "--keep-layers", "-o", anew});
    EXPECT_EQ(kept["into"], "sum");
    EXPECT_EQ(LayerNames(anew), (Words{"BaseAnimation", "up", "top", "sum"}));
    EXPECT_LT(LargestDifference(Played(anew), before), 2e-5);
    // Weights that move take resampling, and what is muted is no part of it.
    const nlohmann::json fading = JsonOf({"layer", "merge", folder.Add("fading", Layered(kFading, kMute))});
    EXPECT_EQ(fading["properties"][0]["how"], "plotted");
    EXPECT_EQ(fading["passedOver"], Words{"top"});
}

TEST(LayerMergeCommand, RefusesAsAWhole)
{
    const TemporaryFolder folder;
    const std::string file = folder.Path("scene.ytalo");
    const std::tuple<std::string, Words, std::string> cases[] = {
        {Layered(kFading, ""),
         {"--exact"},
         "Hips/Lcl Translation: its layers do not simply add up, so that it takes resampling"},
        {Layered(kFading, ""),
         {"--exact", "--start", "0.1", "--stop", "0.3"},
         "or, where one overrides, --start and"},
        {Layered(kHalf, kMute),
         {"0", "top"},
         "the layer 'top' is muted; let it play, as 'yfcurve layer mute"},
        {Layered(kHalf, kLock), {}, "the layer 'top' is locked; unlock it, as 'yfcurve layer lock"},
        {Layered(kHalf, ""), {"up"}, "nothing to merge the layer 'up' with"},
        {Layered(kHalf, ""), {"--into-new", "up"}, "there is a layer 'up' already"}};
    for (const auto& [scene, more, part] : cases) {
        folder.Add("scene.ytalo", scene);
        ExpectRefused(Joined({"layer", "merge", file}, more), 1, part);
        EXPECT_EQ(FileContent(file), scene) << part;
    }
}

TEST(PlotIntoLayerCommand, MakesTheStackShowAnotherFile)
{
    const TemporaryFolder folder;
    const std::string other = folder.Add("other", Layered(kFading, ""));
    const std::string file = folder.Add("scene", Layered(kHalf, ""));
    const std::string smart = folder.Path("smart.ytalo");
    const nlohmann::json plotted =
        JsonOf({"plot-into-layer", file, "up", "--from", other, "--tolerance", "0.01", "-o", smart});
    EXPECT_LT(LargestDifference(Played(smart), Played(other)), 0.01);
    EXPECT_LT(plotted["keysAfter"], 40);
    EXPECT_EQ(LayerNames(smart), LayerNames(file));
    // A key a frame over a second, and what is outside stays.
    JsonOf({"plot-into-layer", file, "top", "--from", other, "--fixed", "--start", "0.5", "--stop", "1.5",
            "--keep-constant", "-o", smart});
    const std::vector<double> mixed = Played(smart);
    EXPECT_NEAR(mixed[97 * 3 / 2], Played(other)[97 * 3 / 2], 0.02);
    EXPECT_EQ(mixed[97 * 3 / 4], Played(file)[97 * 3 / 4]);
    const ymotion::Scene scene = ymotion::ReadScene(smart);
    const YFCurve& curve =
        *scene.root->FindRecursive("Lcl Translation")->LayerGet(2)->FindRecursive("X")->FCurveGet();
    EXPECT_NEAR(curve.KeyGetCount(), 31, 2);
}

// Keys of the neutral value between which a rotation swings out, as frames of two forms of one motion do.
TEST(PlotIntoLayerCommand, KeepsWhatIsBetweenNeutralKeys)
{
    const TemporaryFolder folder;
    const std::string turning = folder.Path("turning.ytalo");
    const std::string scene = folder.Path("scene.ytalo");
    ASSERT_EQ(RunYFCurve({"filter", ExampleWalk(), turning, "--apply", "euler-to-quat"}).exitCode, 0);
    ASSERT_EQ(RunYFCurve({"layer", "add", ExampleWalk(), "up", "-o", scene}).exitCode, 0);
    const nlohmann::json plotted =
        JsonOf({"plot-into-layer", scene, "up", "--from", turning, "--node", "RightUpLeg", "-o", scene});
    EXPECT_EQ(plotted["unchanged"], 0);
    EXPECT_GT(plotted["keysAfter"], 500);
}

TEST(PlotIntoLayerCommand, TakesRotationsFromAnotherOrder)
{
    const TemporaryFolder folder;
    const std::string zyx =
        folder.Add("a.bvh", OneJoint("3 Zrotation Yrotation Xrotation", {"0 0 0", "0 0 0", "0 0 0"}, "0.1"));
    const std::string xyz = folder.Add(
        "b.bvh", OneJoint("3 Xrotation Yrotation Zrotation", {"10 20 30", "30 10 50", "20 40 10"}, "0.1"));
    const std::string out = folder.Path("out.ytalo");
    JsonOf({"plot-into-layer", zyx, "0", "--from", xyz, "-o", out});
    const ymotion::Scene a = ymotion::ReadScene(out);
    const ymotion::Scene b = ymotion::ReadScene(xyz);
    for (const double time : {0.0, 0.1, 0.17, 0.2})
        EXPECT_LT(layermodel::DegreesBetween(TurnAt(a, time), TurnAt(b, time)), 5e-3) << time;
    EXPECT_NE(Rotation(a).GetRotationOrder(), Rotation(b).GetRotationOrder());
}

TEST(PlotIntoLayerCommand, RefusesAndLeavesTheFile)
{
    const TemporaryFolder folder;
    const std::string text =
        Layered(kFading, kMute + " }\n Layer: \"over\" {\n LayerID: 3\n Mode: \"override\"\n");
    const std::string file = folder.Add("scene.ytalo", text);
    const std::string still = folder.Add("still.ytalo", "ytalo 1\nChannel: \"Hips\" {\n}\n");
    const std::tuple<Words, int, std::string> cases[] = {
        {{"top"}, 1, "the layer 'top' is muted; let it play, as 'yfcurve layer mute"},
        {{"over", "--start", "0.5"}, 1, "it is not on the layer 'over' yet, which overrides"},
        {{"0", "--from", still}, 1, "no property 'Hips/Lcl Translation'; leave it out with --node"},
        {{"0", "--rate", "0"}, 2, ""},
        {{"0", "--keep-jumps", "--spread-jumps"}, 2, ""},
        {{"0", "--start", "1", "--stop", "1"}, 2, ""},
        // The empty word of an unset variable is not the option left out.
        {{"0", "--output", ""}, 2, ""}};
    for (const auto& [more, exitCode, part] : cases)
        ExpectRefused(Joined({"plot-into-layer", file}, more), exitCode, part);
    EXPECT_EQ(FileContent(file), text);
}

TEST(PlotCommand, DrawsWhatPlaysAndCurvesWithoutASkeleton)
{
    const TemporaryFolder folder;
    const ymotion::TimeSpan span{YTime(0), YTime::FromSeconds(2)};
    // 6 of the base, half of 4 and 100 above: as a sum, and each by itself.
    const ymotion::Scene scene = ymotion::ReadScene(folder.Add("layered", Layered(kHalf, "")));
    const auto values = [&](bool layers) {
        const ymotion::Plot plot = MakePlot(scene, {}, span, layers);
        std::vector<float> at;
        for (const ymotion::PlotCurve& curve : plot.panels.at(0).curves)
            at.push_back(curve.curve->Evaluate(YTime::FromSeconds(1)));
        return at;
    };
    EXPECT_NEAR(values(false).at(0), 108, 1e-3);
    EXPECT_NEAR(values(true).at(1), 4, 1e-3);
    EXPECT_NEAR(values(true).back(), 108, 1e-3);
    const std::string keys = "KeyVer: 4006\n KeyCount: 2\n Key: @0 2.0 'L' @92372316000 10.0 'L'\n";
    const std::string bare =
        folder.Add("bare.ytalo", "ytalo 1\nChannel: \"ball height\" {\n Default: 0.0\n " + keys +
                                     "}\nChannel: \"Light\" {\n Channel: \"Cone\" {\n Default: 0.0\n " +
                                     keys + " }\n}\n");
    const std::string info = RunYFCurve({"info", bare}).output;
    EXPECT_FALSE(Holds(info, " X "));
    EXPECT_TRUE(Holds(info, "Cone"));
    const std::string svg = RunYFCurve({"plot", bare, "-o", "-"}).output;
    for (const char* name : {"ball height", "Light", "Cone"})
        EXPECT_TRUE(Holds(svg, ">" + std::string(name))) << name;
}
