// Layers on the command line.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/motion_support.h"
#include "tests/xml_check.h"

namespace {

nlohmann::json LayersOf(const std::string& file)
{
    return nlohmann::json::parse(RunYFCurve({"layers", file, "--json"}).output, nullptr, false)["layers"];
}

}  // namespace

TEST(LayerCommand, EditsTheSceneFileInPlace)
{
    const TemporaryFolder folder;
    const std::string file = folder.Add("scene", kLayered);  // the name need not say the format
    const auto run = [&](std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), "layer");
        arguments.insert(arguments.begin() + 2, file);
        const ProgramRun done = RunYFCurve(arguments);
        EXPECT_EQ(done.exitCode, 0) << done.errors;
        EXPECT_EQ(done.output + done.errors, "");
    };
    run({"add", "top", "--mode", "weighted-override", "--weight", "0.25", "--scalings", "add"});
    run({"mute", "top"});
    run({"lock", "2"});
    run({"solo", "up", "on"});
    run({"rename", "up", "down"});
    run({"weight", "down", "0:0", "0.5:1", "2:0.5"});
    auto layers = LayersOf(file);
    ASSERT_EQ(layers.size(), 3u);
    EXPECT_EQ(layers[0]["plays"], false);
    EXPECT_EQ(layers[1]["name"], "down");
    EXPECT_EQ(layers[1]["solo"], true);
    EXPECT_EQ(layers[1]["weight"][2]["weight"], 0.5);
    EXPECT_EQ(layers[1]["keys"], 1);
    EXPECT_EQ(layers[2]["mode"], "weighted-override");
    EXPECT_EQ(layers[2]["weight"], 0.25);
    EXPECT_EQ(layers[2]["scalings"], "add");
    EXPECT_EQ(layers[2]["mute"], true);
    EXPECT_EQ(layers[2]["lock"], true);
    run({"mute", "top", "off"});
    run({"mode", "top", "override", "--rotations", "by-channel"});
    run({"remove", "down"});
    run({"remove", "top"});
    run({"add", "new"});
    layers = LayersOf(file);
    ASSERT_EQ(layers.size(), 2u);
    EXPECT_EQ(layers[1]["id"], 3) << "ids do not come back";
    EXPECT_EQ(RunYFCurve({"eval", file, "--start", "0", "--stop", "0", "--layers", "--node", "X"}).output,
              "time,Lcl Translation/X\n0,10\n");
    EXPECT_EQ(folder.Names(), std::vector<std::string>{"scene"});
}

TEST(LayerCommand, RefusesAndLeavesTheFile)
{
    const TemporaryFolder folder;
    const std::string file = folder.Add("scene.ytalo", kLayered);
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{"mute", file, "Up"}, "no layer has the name or id 'Up'"},
        {{"remove", file, "0"}, "the base layer stays"},
        {{"weight", file, "0", "0.5"}, "the base layer counts in full"},
        {{"mode", file, "0", "override"}, "the base layer is additive"},
        {{"add", file, "up"}, "there is a layer 'up' already"},
        {{"rename", file, "0", "up"}, "there is a layer 'up' already"},
        {{"mute", ExampleWalk(), "0"}, "BVH files have no layers; write a scene file with -o OUT.ytalo"},
        {{"mute", file, "up", "-o", folder.Path("out.bvh")}, "BVH files have no layers"},
    };
    for (const auto& [arguments, part] : cases) {
        std::vector<std::string> all{"layer"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        const ProgramRun run = RunYFCurve(all);
        EXPECT_EQ(run.exitCode, 1) << part;
        EXPECT_TRUE(Holds(run.errors, part));
    }
    const std::vector<std::string> usages[] = {{"layer"},
                                               {"layer", "weight", file, "up", "1.5"},
                                               {"layer", "weight", file, "up", "1:0", "1:1"},
                                               {"layer", "weight", file, "up", "0:0", "1"},
                                               {"layer", "mute", file, "up", "maybe"},
                                               {"layer", "add", file, ""}};
    for (const auto& usage : usages) EXPECT_EQ(RunYFCurve(usage).exitCode, 2) << usage.back();
    EXPECT_EQ(FileContent(file), kLayered);
}

TEST(LayerCommand, EvalAndPlotShowLayersAndTheirSum)
{
    const TemporaryFolder folder;
    const std::string file = folder.Add("scene.ytalo", kLayered);
    const std::vector<std::string> at{"eval", file, "--start", "0", "--stop", "0", "--node", "X"};
    EXPECT_EQ(RunYFCurve(at).output, "time,Lcl Translation/X\n0,12\n");
    std::vector<std::string> layers = at;
    layers.push_back("--layers");
    EXPECT_EQ(RunYFCurve(layers).output,
              "time,weight [up],Lcl Translation/X [BaseAnimation],Lcl Translation/X [up],Lcl Translation/X\n"
              "0,0.5,10,4,12\n");
    EXPECT_EQ(RunYFCurve({"layer", "mute", file, "up"}).exitCode, 0);
    EXPECT_EQ(RunYFCurve(layers).output.substr(RunYFCurve(layers).output.find('\n')), "\n0,0,10,4,10\n");

    const ProgramRun plot = RunYFCurve({"plot", file, "--layers", "-o", "-"});
    EXPECT_EQ(XmlFault(plot.output), "") << plot.errors;
    EXPECT_TRUE(Holds(plot.output, "up (muted)"));
    EXPECT_TRUE(Holds(plot.output, "class=\"curve heavy\""));
    const ProgramRun none = RunYFCurve({"plot", ExampleWalk(), "--layers", "-o", "-"});
    EXPECT_EQ(none.exitCode, 1);
    EXPECT_TRUE(Holds(none.errors, "no layers with keys"));
}
