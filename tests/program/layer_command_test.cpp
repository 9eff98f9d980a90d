// Layers on the command line.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/motion_support.h"

namespace {

nlohmann::json LayersOf(const std::string& file)
{
    return JsonOf({"layers", file})["layers"];
}

}  // namespace

TEST(LayerCommand, EditsTheSceneFileInPlace)
{
    const TemporaryFolder folder;
    const std::string file = folder.Add("scene", kLayered);  // the name need not say the format
    const auto run = [&](Words arguments) {
        arguments.insert(arguments.begin(), "layer");
        arguments.insert(arguments.begin() + 2, file);
        const ProgramRun done = RunYFCurve(arguments);
        EXPECT_TRUE(done.exitCode == 0 && done.output + done.errors == "") << done.output << done.errors;
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
    EXPECT_EQ(layers[1]["weight"][2]["weight"], 0.5);
    using Json = nlohmann::json;
    const Json changes[] = {{{"name", "down"}, {"solo", true}, {"keys", 1}},
                            {{"mode", "weighted-override"}, {"weight", 0.25}, {"scalings", "add"}},
                            {{"mute", true}, {"lock", true}}};
    for (std::size_t i = 0; i < 3; ++i)
        for (const auto& [name, value] : changes[i].items()) EXPECT_EQ(layers[i == 0 ? 1 : 2][name], value);
    run({"mute", "top", "off"});
    run({"mode", "top", "override", "--rotations", "by-channel"});
    run({"remove", "down"});
    EXPECT_EQ(RunYFCurve({"layer", "remove", file, "top"}).exitCode, 1) << "its keys are protected";
    run({"lock", "top", "off"});
    run({"remove", "top"});
    run({"add", "new"});
    layers = LayersOf(file);
    ASSERT_EQ(layers.size(), 2u);
    EXPECT_EQ(layers[1]["id"], 3) << "ids do not come back";
    EXPECT_EQ(RunYFCurve({"eval", file, "--start", "0", "--stop", "0", "--layers", "--node", "X"}).output,
              "time,Lcl Translation/X\n0,10\n");
    EXPECT_EQ(folder.Names(), Words{"scene"});
}

TEST(LayerCommand, RefusesAndLeavesTheFile)
{
    const TemporaryFolder folder;
    const std::string file = folder.Add("scene.ytalo", kLayered);
    const std::tuple<Words, int, std::string> cases[] = {
        {{"layer", "mute", file, "Up"}, 1, "no layer has the name or id 'Up'"},
        {{"layer", "remove", file, "0"}, 1, "the base layer stays"},
        {{"layer", "weight", file, "0", "0.5"}, 1, "the base layer counts in full"},
        {{"layer", "mode", file, "0", "--rotations", "by-channel"}, 1, "nothing below"},
        {{"layer", "add", file, "up"}, 1, "there is a layer 'up' already"},
        {{"layer", "mute", ExampleWalk(), "0"}, 1, "write a scene file with -o OUT.ytalo"},
        {{"layer", "mute", file, "up", "-o", folder.Path("out.bvh")}, 1, "BVH files have no layers"},
        {{"plot", ExampleWalk(), "--layers", "-o", "-"}, 1, "no layers with keys"},
        {{"layer", "weight", file, "up", "1.5"}, 2, ""},
        {{"layer", "weight", file, "up", "1:0", "1:1"}, 2, "is not after the one before it"},
        {{"layer", "mute", file, "up", "maybe"}, 2, ""},
        {{"layer", "add", file, ""}, 2, ""}};
    for (const auto& [arguments, exitCode, part] : cases) ExpectRefused(arguments, exitCode, part);
    EXPECT_EQ(FileContent(file), kLayered);
}

TEST(LayerCommand, EvalAndPlotShowLayersAndTheirSum)
{
    const TemporaryFolder folder;
    const std::string file = folder.Add("scene.ytalo", kLayered);
    const Words at{"eval", file, "--start", "0", "--stop", "0", "--node", "X"};
    EXPECT_EQ(RunYFCurve(at).output, "time,Lcl Translation/X\n0,12\n");
    Words layers = at;
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
}
