// What `check` says of files with one thing each that is worth saying.

#include <gtest/gtest.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tests/motion_support.h"

namespace {

/// A scene file of one curve, which is in order unless a piece of it is replaced.
struct SceneText
{
    std::string head = "ytalo 1 # ends with # end\n";
    std::string settings = "FrameRate: \"30/1\"\n";
    std::string layout = "KeyVer: 4006\n";
    std::string keys = "@0 1.0 'L' @46186158000 2.0 'L'\n";
    int count = 2;
    std::string end = "# end\n";

    std::string Text() const
    {
        return head + "Scene: {\nVersion: 1\n" + settings + "}\nChannel: \"P\" {\nChannel: \"X\" {\n" +
               "Default: 0.0\n" + layout + "KeyCount: " + std::to_string(count) + "\nKey:\n" + keys +
               "}\n}\n" + end;
    }
};

/// A layer "A" on a scene's nodes that are not there.
std::string LayerText(const std::string& state)
{
    return "FrameRate: \"30/1\"\nLayer: \"A\" {\nLayerID: 1\n" + state + "}\n";
}

std::string WhatsOf(const nlohmann::json& findings)
{
    std::string whats;
    for (const nlohmann::json& finding : findings) whats += finding.at("what").get<std::string>() + ";";
    return whats;
}

constexpr std::string_view kTwoLegs =
    "HIERARCHY\nROOT Leg\n{\nOFFSET 0 0 0\nCHANNELS 3 Zrotation Xrotation Yrotation\nJOINT Leg\n{\n"
    "OFFSET 0 -1 0\nCHANNELS 3 Zrotation Xrotation Yrotation\n}\n}\nMOTION\nFrames: 3\nFrame Time: 0.04\n"
    "170 0 0 0 0 0\n-170 0 0 0 0 0\n-160 0 0 0 0 0\n";

}  // namespace

TEST(Check, FindsWhatIsWrongAndWhatIsWorthKnowing)
{
    const auto with = [](std::string SceneText::*part, const std::string& text) {
        SceneText scene;
        scene.*part = text;
        return scene.Text();
    };
    const auto keys = [&](const std::string& text) { return with(&SceneText::keys, text + "\n"); };
    const auto layout = [&](const std::string& text) { return with(&SceneText::layout, text + "\n"); };
    const auto settings = [&](const std::string& text) { return with(&SceneText::settings, text + "\n"); };
    // Five keys, each of which is between the frames of the others, and then 15 on frames.
    std::string strays;
    for (int i = 0; i < 20; ++i)
        strays += fmt::format("@{} 1.0 'L' ", i < 5 ? 1000 * i * i : 1539538600LL * i + 7777);
    strays += "\n";
    const std::vector<std::tuple<std::string, const char*, const char*>> cases = {
        // wrong, worth knowing
        {SceneText().Text(), "", ""},
        {keys("@0 1.0 '?' @46186158000 2.0 'L'"), "left out;", "one pose;"},
        {keys("@0 nan 'L' @46186158000 2.0 'L'"), "not finite;", ""},
        {keys("@0 1.0 'U' 's' 3e38 -3e38 'n' @461861580000 2.0 'L'"), "overflow;", ""},
        {keys("@0 1.0 'L' @46186158000 2e7 'L'"), "", "large values;"},
        {keys("@0 1.0 'L' @9191045442000000000 2.0 'L'"), "", "far times;"},
        // What is left out is the third key, which the count does not tell of.
        {keys("@0 1.0 'L' @1539538605 2.0 'L' @46186158001 2.0 'L'"), "left out;", "between frames;"},
        // The first key is off the frames of the others; where all are off, none is.
        {SceneText{.keys = "@-769769300 1.0 'L' @0 2.0 'L' @1539538600 2.0 'L'\n", .count = 3}.Text(), "",
         "between frames;"},
        {keys("@-769769300 1.0 'L' @769769300 2.0 'L'"), "", ""},
        {SceneText{.keys = strays, .count = 20}.Text(), "", "between frames;"},
        {keys(""), "left out;", "no keys;"},
        {keys("@0 1.0 'L' @2 2.0 'L'"), "", "short;"},
        {layout("KeyVer: 4006\nColr: 1.0 1.0 1.0"), "left out;", ""},
        {layout("KeyVer: 4001"), "", "older keys;"},
        {layout("KeyVer: 4007"), "newer keys;", ""},
        {with(&SceneText::end, ""), "left out;", ""},
        {SceneText{.head = "ytalo 1\n", .end = ""}.Text(), "", "no end mark;"},
        {with(&SceneText::end, "Camera: 1\n# end\n"), "", "foreign fields;"},
        {settings("FrameRate: \"7/3\""), "", "between frames;unusual rate;"},
        {settings("FrameRate: \"30/1\"\nFrameTime: \"0.04\""), "two rates;", ""},
        {settings(LayerText("Mute: 1\n")), "", "muted;empty;"},
        {settings(LayerText("Solo: 1\nLock: 1\n")), "", "silent;locked;empty;"},
        {settings(LayerText("Weight: {\nDefault: -0.5\n}\n")), "", "empty;weight;without effect;"},
        {std::string(kTwoLegs), "", "joints twice;whole turns;"},
        {std::string(kTwoLegs.substr(0, kTwoLegs.size() - 30)), "unreadable;", ""}};
    const TemporaryFolder folder;
    Words all{"check", "--json"};
    for (const auto& each : cases) all.push_back(folder.Add(std::to_string(all.size()), std::get<0>(each)));
    const ProgramRun run = RunYFCurve(all);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.errors, "");
    EXPECT_TRUE(Holds(run.output, "1 key stands between the frames of the others: P/X at -0.016667 s"));
    EXPECT_TRUE(Holds(run.output, "5 keys stand between the frames of the others: first P/X at 0 s"));
    const nlohmann::json found = nlohmann::json::parse(run.output);
    ASSERT_EQ(found.size(), cases.size());
    for (std::size_t i = 0; i < cases.size(); ++i) {
        const auto& [text, wrong, worthKnowing] = cases[i];
        EXPECT_EQ(WhatsOf(found[i]["wrong"]), wrong) << text;
        EXPECT_EQ(WhatsOf(found[i]["worthKnowing"]), worthKnowing) << text;
    }
    // What is worth knowing is no error.
    for (const auto& [index, exitCode] : {std::pair{2u, 0}, {3u, 1}, {6u, 0}})
        EXPECT_EQ(RunYFCurve({"check", all[index]}).exitCode, exitCode);
}

TEST(Check, SaysWhereForPeople)
{
    const TemporaryFolder folder;
    const std::string file = folder.Add(
        "a.ytalo", SceneText{.keys = "@0 inf 'L' @46186158000 inf 'L'\n@92372316000 3 '?'\n"}.Text());
    const ProgramRun run = RunYFCurve({"check", file, ExampleWalk()});
    EXPECT_TRUE(Ended(run, 1, "left out, in line 13") && Holds(run.output, "first P/X at 0 s")) << run.output;
    EXPECT_TRUE(run.output.starts_with(file + ": scene file\n  wrong\n"));
}
