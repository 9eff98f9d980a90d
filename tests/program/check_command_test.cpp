// What `check` says of files with one thing each that is worth saying.

#include <gtest/gtest.h>

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
    std::string end = "# end\n";

    std::string Text() const
    {
        return head + "Scene: {\nVersion: 1\n" + settings + "}\nChannel: \"P\" {\nChannel: \"X\" {\n" +
               "Default: 0.0\n" + layout + "KeyCount: 2\nKey:\n" + keys + "}\n}\n" + end;
    }
};

/// A layer "A" on a scene's nodes that are not there.
std::string LayerText(const std::string& state)
{
    return "FrameRate: \"30/1\"\nLayer: \"A\" {\nLayerID: 1\n" + state + "}\n";
}

using Whats = std::vector<std::string>;

Whats WhatsOf(const nlohmann::json& findings)
{
    Whats whats;
    for (const nlohmann::json& finding : findings) whats.push_back(finding.at("what"));
    return whats;
}

constexpr std::string_view kTwoLegs = R"(HIERARCHY
ROOT Leg
{
  OFFSET 0 0 0
  CHANNELS 3 Zrotation Xrotation Yrotation
  JOINT Leg
  {
    OFFSET 0 -1 0
    CHANNELS 3 Zrotation Xrotation Yrotation
  }
}
MOTION
Frames: 3
Frame Time: 0.04
170 0 0 0 0 0
-170 0 0 0 0 0
-160 0 0 0 0 0
)";

}  // namespace

TEST(Check, FindsWhatIsWrongAndWhatIsWorthKnowing)
{
    struct Case
    {
        std::string name;
        std::string text;
        Whats wrong;
        Whats worthKnowing;
    };
    const std::vector<Case> cases = {
        {"in order", SceneText().Text(), {}, {}},
        {"an unknown letter",
         SceneText{.keys = "@0 1.0 '?' @46186158000 2.0 'L'\n"}.Text(),
         {"left out"},
         {"one pose"}},
        {"keys out of order",
         SceneText{.keys = "@46186158000 1.0 'L' @0 2.0 'L'\n"}.Text(),
         {"left out"},
         {"one pose"}},
        {"a field misspelled",
         SceneText{.layout = "KeyVer: 4006\nColr: 1.0 1.0 1.0\n"}.Text(),
         {"left out"},
         {}},
        {"cut at its end", SceneText{.end = ""}.Text(), {"left out"}, {}},
        {"no mark", SceneText{.head = "ytalo 1\n", .end = ""}.Text(), {}, {"no end mark"}},
        {"older keys", SceneText{.layout = "KeyVer: 4001\n"}.Text(), {}, {"older keys"}},
        {"newer keys", SceneText{.layout = "KeyVer: 4007\n"}.Text(), {"newer keys"}, {}},
        {"no number", SceneText{.keys = "@0 nan 'L' @46186158000 2.0 'L'\n"}.Text(), {"not finite"}, {}},
        {"too steep",
         SceneText{.keys = "@0 1.0 'U' 's' 3e38 -3e38 'n' @461861580000 2.0 'L'\n"}.Text(),
         {"overflow"},
         {}},
        {"large", SceneText{.keys = "@0 1.0 'L' @46186158000 2e7 'L'\n"}.Text(), {}, {"large values"}},
        {"six years",
         SceneText{.keys = "@0 1.0 'L' @9191045442000000000 2.0 'L'\n"}.Text(),
         {},
         {"far times"}},
        {"off frames",
         SceneText{.keys = "@0 1.0 'L' @1539538605 2.0 'L' @46186158001 2.0 'L'\n"}.Text(),
         {"left out"},  // the third key, which the count does not tell of
         {"between frames"}},
        {"no keys", SceneText{.keys = "\n"}.Text(), {"left out"}, {"no keys"}},
        {"one key", SceneText{.keys = "@5 1.0 'L'\n"}.Text(), {"left out"}, {"one pose"}},
        {"short", SceneText{.keys = "@0 1.0 'L' @2 2.0 'L'\n"}.Text(), {}, {"short"}},
        {"odd rate",
         SceneText{.settings = "FrameRate: \"7/3\"\n"}.Text(),
         {},
         {"between frames", "unusual rate"}},
        {"two rates",
         SceneText{.settings = "FrameRate: \"30/1\"\nFrameTime: \"0.04\"\n"}.Text(),
         {"two rates"},
         {}},
        {"muted", SceneText{.settings = LayerText("Mute: 1\n")}.Text(), {}, {"muted", "empty"}},
        {"solo",
         SceneText{.settings = LayerText("Solo: 1\nLock: 1\n")}.Text(),
         {},
         {"silent", "locked", "empty"}},
        {"no weight",
         SceneText{.settings = LayerText("Weight: {\nDefault: -0.5\n}\n")}.Text(),
         {},
         {"empty", "weight", "without effect"}},
        {"foreign", SceneText{.end = "Camera: 1\n# end\n"}.Text(), {}, {"foreign fields"}},
        {"legs", std::string(kTwoLegs), {}, {"joints twice", "whole turns"}},
        {"no motion", std::string(kTwoLegs.substr(0, kTwoLegs.size() - 30)), {"unreadable"}, {}},
    };
    const TemporaryFolder folder;
    std::vector<std::string> all{"check", "--json"};
    for (const Case& each : cases) {
        SCOPED_TRACE(each.name);
        all.push_back(folder.Add(each.name, each.text));
        const ProgramRun run = RunYFCurve({"check", all.back(), "--json"});
        EXPECT_EQ(run.exitCode, each.wrong.empty() ? 0 : 1);
        EXPECT_EQ(run.errors, "");
        const nlohmann::json found = nlohmann::json::parse(run.output).at(0);
        EXPECT_EQ(WhatsOf(found["wrong"]), each.wrong) << run.output;
        EXPECT_EQ(WhatsOf(found["worthKnowing"]), each.worthKnowing) << run.output;
    }
    const ProgramRun run = RunYFCurve(all);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(nlohmann::json::parse(run.output).size(), cases.size());
}

TEST(Check, SaysWhereForPeople)
{
    const TemporaryFolder folder;
    const std::string file = folder.Add(
        "a.ytalo", SceneText{.keys = "@0 inf 'L' @46186158000 inf 'L'\n@92372316000 3 '?'\n"}.Text());
    const ProgramRun run = RunYFCurve({"check", file, ExampleWalk()});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.output.find(file + ": scene file\n  wrong\n"), 0u) << run.output;
    EXPECT_NE(run.output.find("left out, in line 13"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("first P/X at 0 s"), std::string::npos) << run.output;
}
