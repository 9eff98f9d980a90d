// Editing selected keys on the command line.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/motion_support.h"
#include "tests/test_environment.h"
#include "ymotion/formats/scene_file.h"

namespace {

// X has keys 1, 2, 3, 4 at 0, 1, 2, 3 seconds.
constexpr const char* kScene =
    "ytalo 1\nChannel: \"Lcl Translation\" {\n"
    "Channel: \"X\" {\n Default: 0.0\n KeyVer: 4006\n KeyCount: 4\n Key:\n"
    "@0 1.0 'L'\n@46186158000 2.0 'L'\n@92372316000 3.0 'L'\n@138558474000 4.0 'L'\n }\n"
    "Channel: \"Y\" {\n Default: 0.0\n }\n Channel: \"Z\" {\n Default: 0.0\n }\n LayerType: 1\n}\n";

struct Edited
{
    ProgramRun run;
    std::vector<std::pair<double, float>> keys;  // of X, in seconds
};

Edited Edit(const Words& arguments)
{
    const TemporaryFolder folder;
    const std::string file = folder.Add("in.ytalo", kScene);
    Edited edited{RunYFCurve(Joined({"keys", file, "--node", "X", "-o", file}, arguments)), {}};
    if (edited.run.exitCode != 0) {
        EXPECT_EQ(FileContent(file), kScene);
        return edited;
    }
    const ymotion::Scene scene = ymotion::ReadScene(file);
    const YFCurve& curve = *scene.root->FindRecursive("X")->FCurveGet();
    for (int i = 0; i < curve.KeyGetCount(); ++i)
        edited.keys.emplace_back(curve.KeyGetTime(i).GetSecondDouble(), curve.KeyGetValue(i));
    return edited;
}

using Keys = std::vector<std::pair<double, float>>;

}  // namespace

TEST(KeysCommand, MovesStretchesScalesAndSets)
{
    const std::pair<Words, Keys> cases[] = {
        {{"1:2", "--move", "0.25,10"}, {{0, 1}, {1.25, 12}, {2.25, 13}, {3, 4}}},
        // The second bound counts as inside, and not a microsecond more.
        {{"0.5:1.999998", "--set", "9"}, {{0, 1}, {1, 9}, {2, 3}, {3, 4}}},
        {{":,:2", "--set", "9"}, {{0, 9}, {1, 9}, {2, 3}, {3, 4}}},
        {{"1:2", "--move", "0.5,", "--ripple"}, {{0, 1}, {1.5, 2}, {2.5, 3}, {3.5, 4}}},
        {{"1:1", "--move", "1.5,0", "--copy"}, {{0, 1}, {1, 2}, {2, 3}, {2.5, 2}, {3, 4}}},
        // A key that lands on another replaces it.
        {{"1:1", "--move", "1,0"}, {{0, 1}, {2, 2}, {3, 4}}},
        {{"1:3", "--stretch-time", "2"}, {{0, 1}, {1, 2}, {3, 3}, {5, 4}}},
        {{":", "--stretch-time", "-1@1.5"}, {{0, 4}, {1, 3}, {2, 2}, {3, 1}}},
        {{":,2:3", "--scale", "3@2"}, {{0, 1}, {1, 2}, {2, 5}, {3, 4}}},
        {{":0", "--select", "3:", "--set", "-7"}, {{0, -7}, {1, 2}, {2, 3}, {3, -7}}}};
    for (const auto& [arguments, keys] : cases)
        EXPECT_EQ(Edit(Joined({"--select"}, arguments)).keys, keys) << testing::PrintToString(arguments);
}

// Keys are the frames of BVH only where they stand on these, however many there are.
TEST(KeysCommand, TellsOfKeysThatBecomeFrames)
{
    for (const auto& [move, resampled] : {std::pair("0,1", false), {"0.001,0", true}}) {
        const ProgramRun run =
            RunYFCurve({"keys", ExampleWalk(), "--select", "0.5:1", "--move", move, "-o", "-"});
        EXPECT_EQ(run.errors.find("resampled") != std::string::npos, resampled) << move << run.errors;
        EXPECT_TRUE(Holds(run.errors, "keys of 66 curves edited"));
    }
}

TEST(KeysCommand, EditsTheLayersAskedFor)
{
    const TemporaryFolder folder;
    std::string text = kScene;  // a layer with the keys 0.1 and 20 at 1 and 2 seconds
    text.insert(text.find(" LayerType"),
                " LayerChannel: \"Lcl Translation\" {\n Channel: \"X\" {\n Default: 0.0\n KeyVer: 4006\n"
                " KeyCount: 2\n Key: @46186158000 0.1 'L' @92372316000 20.0 'L'\n LayerID: 1\n }\n"
                " Channel: \"Y\" {\n Default: 0.0\n }\n Channel: \"Z\" {\n Default: 0.0\n }\n"
                " LayerID: 1\n LayerType: 1\n }\n");
    text.insert(text.find("Channel"), "Scene: {\n Layer: \"up\" {\n LayerID: 1\n }\n}\n");
    const std::string file = folder.Add("in.ytalo", text);
    const auto run = [&](const Words& arguments) { return RunYFCurve(Joined({"keys", file}, arguments)); };
    EXPECT_EQ(run({"--select", ":", "--set", "9", "--all-layers", "--dry-run"}).output,
              "6 keys of 2 curves would be edited\n");
    EXPECT_EQ(run({"--select", ":", "--scale", "1", "--dry-run"}).output, "nothing to do: no key changes\n");
    const auto json = nlohmann::json::parse(
        run({"--select", ":", "--move", "1,0", "--all-layers", "--copy", "--dry-run", "--json"}).output,
        nullptr, false);
    EXPECT_EQ(json["keys"], 6);
    EXPECT_EQ(json["replaced"], 4) << "three of the base layer, one of the other";
    EXPECT_EQ(FileContent(file), text);
    EXPECT_EQ(run({"--select", ":,0.1:0.1", "--move", "1,0", "--layer", "up", "-o", file}).output,
              "1 key of 1 curve edited, 1 key replaced\n");
    const ymotion::Scene scene = ymotion::ReadScene(file);
    YFCurveNode* property = scene.root->FindRecursive("Lcl Translation");
    EXPECT_EQ(property->Get(0)->FCurveGet()->KeyGetCount(), 4);
    const YFCurve& up = *property->LayerGet(1)->Get(0)->FCurveGet();
    ASSERT_EQ(up.KeyGetCount(), 1);
    EXPECT_EQ(up.KeyGetValue(0), 0.1f);
    EXPECT_EQ(run({"--select", ":", "--set", "9", "--layer", "down", "--dry-run"}).exitCode, 1);
    EXPECT_EQ(RunYFCurve({"layer", "lock", file, "up"}).exitCode, 0);
    EXPECT_EQ(run({"--select", ":", "--set", "9", "--all-layers", "--dry-run"}).output,
              "4 keys of 1 curve would be edited, 3 locked curves left alone\n");
    EXPECT_TRUE(Ended(run({"--select", ":", "--set", "9", "--layer", "1", "--dry-run"}), 1, "",
                      "'yfcurve layer lock " + file + " 1 off' unlocks 'up'"));
}

// Out as JSON, held to the schema by another program, and back in: the scene file stays the same to the byte.
TEST(KeysCommand, GoOutAndIn)
{
    const TemporaryFolder folder;
    std::string keys = FileContent(test::SourceFile("tests/data/keys-4006-format-2.ytalo"));
    keys.replace(0, keys.find('\n'), "");
    std::string layered = kLayered;
    layered.insert(layered.find("Channel"), "Channel: \"odd \\\"name\\xff\" {" + keys + "}\n");
    const std::string scene = folder.Path("scene.ytalo");
    ASSERT_EQ(RunYFCurve({"convert", folder.Add("in.ytalo", layered), scene}).exitCode, 0);
    const std::string json = folder.Path("keys.json");
    const std::string python =
        "import json, jsonschema, sys; jsonschema.Draft7Validator(json.load(open(sys.argv[1])))"
        ".validate(json.load(open(sys.argv[2])))";
    for (const std::string& file : {scene, ExampleWalk()}) {
        const std::string plain = folder.Path("plain.ytalo");
        const std::string back = folder.Path("back.ytalo");
        ASSERT_EQ(RunYFCurve({"convert", file, plain}).exitCode, 0);
        ASSERT_TRUE(Ended(RunYFCurve({"keys", plain, "--export", json, "--all-layers"}), 0));
        EXPECT_TRUE(
            Ended(RunProgram("python3", {"-c", python, test::SourceFile("docs/keys.schema.json"), json}), 0));
        const std::string filtered = folder.Path("filtered.ytalo");
        ASSERT_TRUE(Ended(
            RunYFCurve({"keys", plain, "--select", ":", "--move", "1,7", "--all-layers", "-o", filtered}),
            0));
        EXPECT_NE(FileContent(filtered), FileContent(plain));
        ASSERT_TRUE(Ended(RunYFCurve({"keys", filtered, "--import", json, "-o", back}), 0, " edited\n"));
        EXPECT_EQ(FileContent(back), FileContent(plain)) << file;
    }
    for (const auto& [option, file] : {std::pair{"--export", "x.csv"}, {"--import", "keys.json"}})
        EXPECT_EQ(RunYFCurve({"keys", scene, option, folder.Path(file)}).exitCode, 2) << option;
}

TEST(KeysCommand, RefusesWhatMakesNoSense)
{
    const std::tuple<Words, int, std::string> cases[] = {
        {{"--select", "1:2"}, 2, ""},
        {{"--select", "1:2", "--move", "1,0", "--set", "1"}, 2, ""},
        {{"--select", "1-2", "--set", "1"}, 2, ""},
        {{"--select", "1:2", "--scale", "2@x"}, 2, ""},
        {{"--select", "2:1", "--set", "1"}, 2, ""},
        {{"--select", ":", "--set", "1", "--ripple"}, 2, ""},
        {{"--select", ":", "--stretch-time", "1e9"}, 1, ""},  // keys would pile up
        {{"--select", "1.25:1.5", "--set", "1"}, 1, "no key is selected"}};
    for (const auto& [arguments, exitCode, part] : cases)
        EXPECT_TRUE(Ended(Edit(arguments).run, exitCode, "", part));
}
