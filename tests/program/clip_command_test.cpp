// The commands clip and join: the order of the options, what is reported, and files that are left alone.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <nlohmann/json.hpp>

#include "tests/motion_support.h"
#include "tests/small_motion.h"
#include "ymotion/text/shell_word.h"

using namespace ymotion;

TEST(ClipCommand, DoesItsStepsInTheOrderGiven)
{
    const TemporaryFolder folder;
    const std::string file = folder.Add("a.bvh", OneJoint("1 Xposition", {"0", "1", "2", "3", "4"}));
    const std::string out = folder.Path("b.ytalo");
    const auto steps = [&](const Words& options) {
        return JsonOf(Joined({"clip", file, out}, options)).at("steps");
    };
    // Half a second of the slowed motion is not half a second of the file.
    const auto slowFirst = steps({"--speed", "0.5", "--trim", "0:1", "--shift", "-1", "--trim=:-0.5"});
    ASSERT_EQ(slowFirst.size(), 4u);
    EXPECT_EQ(slowFirst[0].at("step"), "speed=0.5");
    EXPECT_EQ(slowFirst[3].at("step"), "trim=:-0.5");
    const Words last{"eval", out, "--start", "9", "--stop", "9"};
    EXPECT_TRUE(Holds(RunYFCurve(last).output, "9,0.5"));
    steps({"--trim", "1f:3f", "--reverse", "--reverse", "--speed", "0.5", "--keep-times"});
    EXPECT_TRUE(Holds(RunYFCurve(last).output, "9,3"));
    EXPECT_FALSE(steps({"--trim", "0:9"})[0].at("changed"));

    const ProgramRun run = RunYFCurve({"clip", file, "-", "--rename", "a=b", "--rename", "b=c"});
    EXPECT_TRUE(Holds(run.errors, "rename=a=b: 1 joint renamed\nrename=b=c: 1 joint renamed\n"));
    EXPECT_TRUE(Holds(run.output, "ROOT c\n"));
    const std::string before = FileContent(file);
    EXPECT_TRUE(
        Holds(RunYFCurve({"clip", file, "--dry-run", "--reverse"}).output, "reverse: plays from 2 s back"));
    ExpectRefused({"clip", file, file, "--reverse", "--drop", "b"}, 1, "there is no joint 'b'");
    ExpectRefused({"clip", file, file, "--speed", "0"}, 2, "speed: '0' is not a number from 0.001 to 1000");
    ExpectRefused({"clip", file, file}, 2, "give a tool, such as --trim 1:3");
    ExpectRefused({"clip", file, "--reverse"}, 2, "OUT is missing");
    EXPECT_EQ(FileContent(file), before);
    EXPECT_TRUE(Holds(RunYFCurve({"clip", file, file, "--shift", "1"}).errors, "BVH has no times"));
}

// Each command can be run as it is written, and then the tool does its work.
TEST(ClipCommand, AdvisesWhatHelps)
{
    const TemporaryFolder folder;
    const auto file = [&](const std::string& name, const std::function<void(Scene&, YFCurveNode&)>& change) {
        Scene scene = SceneOfText(test::kSmallMotion);
        change(scene, *PropertyOf(*scene.jointNodes[1], ChannelKind::Rotation));
        return folder.Add(name + ".ytalo", TaloTextOf(scene));
    };
    const auto repeat = [](Scene&, YFCurveNode& rotation) {
        YFCurve& curve = *rotation.Get(2)->FCurveGet();
        curve.KeyRemove(3);
        curve.SetPostExtrapolation(YFCURVE_EXTRAPOLATION_REPETITION);
        curve.SetPostExtrapolationCount(2);
    };
    const std::string plain = file("plain", [](Scene&, YFCurveNode&) {});
    const std::string turning =
        file("it's", [](Scene&, YFCurveNode& rotation) { rotation.SetUseQuaternion(true); });
    const std::string repeating = file("a b", repeat);
    const std::string both = file("c d", [&](Scene& scene, YFCurveNode& rotation) {
        repeat(scene, rotation);
        rotation.SetUseQuaternion(true);
    });
    const std::string locked = file("e f", [](Scene& scene, YFCurveNode& rotation) {
        Layer& layer = *scene.layers.Add("U p");
        rotation.CreateLayerAt(layer.Info());
        layer.SetLocked(true);
        scene.layers.Bind(*scene.root);
    });
    const std::string resample = "clip {} OUT --rate 20 --resample";
    const std::string byFrames = "convert {} OUT.bvh";
    const std::tuple<Words, std::string, std::string> cases[] = {
        {{"clip", repeating, "", "--loop", "2"}, repeating, resample},
        {{"clip", repeating, "", "--trim", "0:0.12"}, repeating, resample},
        {{"join", plain, repeating, "-o", ""}, repeating, resample},
        {{"clip", repeating, "", "--order", "XYZ"}, repeating, byFrames},
        {{"clip", repeating, "", "--drop", "Hips"}, repeating, byFrames},
        {{"clip", both, "", "--reverse"}, both, byFrames},
        {{"join", plain, turning, "-o", ""}, turning, "filter {} OUT --apply quat-to-euler"},
        {{"clip", locked, "", "--shift", "1"}, locked, "layer lock {} 1 off"}};
    for (auto [tool, from, command] : cases) {
        SCOPED_TRACE(testing::PrintToString(tool));
        std::replace(tool.begin(), tool.end(), std::string(), folder.Path("out.ytalo"));
        command = fmt::format(fmt::runtime(command), ShellWord(from));
        EXPECT_TRUE(Ended(RunYFCurve(tool), 1, "", "'yfcurve " + command + "'"));
        const std::string name = command.ends_with("OUT.bvh") ? "OUT.bvh" : "OUT";
        const std::string made = folder.Path(name == "OUT" ? "made.ytalo" : "made.bvh");
        if (const auto at = command.find(name); at != std::string::npos) {
            command.replace(at, name.size(), made);
            std::replace(tool.begin(), tool.end(), from, made);
        }
        EXPECT_EQ(RunYFCurve({}, command).exitCode, 0) << command;
        EXPECT_EQ(RunYFCurve(tool).exitCode, 0) << RunYFCurve(tool).errors;
    }
    ExpectRefused({"eval", repeating, "--node", "Qqqqq"}, 1, "'yfcurve info " + ShellWord(repeating) + "'");
}

TEST(JoinCommand, ChecksAllFilesFirst)
{
    const TemporaryFolder folder;
    const std::string a = folder.Add("a.bvh", OneJoint("1 Xposition", {"0", "1", "2"}));
    const std::string b = folder.Add("b.bvh", OneJoint("1 Xposition", {"7", "8", "9"}, "0.25"));
    const std::string c = folder.Add("c.bvh", OneJoint("1 Yposition", {"7", "8", "9"}));
    const std::string out = folder.Path("out.bvh");
    ExpectRefused({"join", a, b, c, "-o", out}, 1, "'a' has Yposition instead of Xposition");
    // The name as it was written, which may be another one of the file.
    const std::string again = folder.Path("") + "/./" + b.substr(b.rfind('/') + 1);
    ExpectRefused({"join", a, b, "-o", again}, 2, again + ": is the motion to read");
    ExpectRefused({"join", a, "-o", out}, 2, "one file alone");
    ExpectRefused({"join", "-", "-", "-o", out}, 2, "standard input");
    ExpectRefused({"join", a, b, "-o", out, "--blend", "0"}, 2, "'0' is not above 0");
    ExpectRefused({"join", a, b}, 2, "OUT is missing");
    const auto files = JsonOf({"join", a, b, "--dry-run", "--json", "--blend", "0.25"}).at("files");
    EXPECT_EQ(files.at(1).at("file"), b);
    EXPECT_EQ(files.at(1).at("start"), 0.75);
    EXPECT_EQ(files.at(1).at("stop"), 1.25);
    EXPECT_EQ(folder.Names().size(), 3u);

    const ProgramRun run = RunYFCurve({"join", a, b, a, "-o", out, "--align"});
    EXPECT_TRUE(Ended(run, 0, "a.bvh: plays from 0 s to 1 s\n"));
    EXPECT_TRUE(
        Holds(run.output, "b.bvh: plays from 1 s to 1.5 s; turned by 0 degrees and moved by -5 along X"));
    EXPECT_TRUE(Holds(run.output, "keys of 4 frames a second stay where they are at 2"));
    EXPECT_TRUE(Holds(FileContent(out), "Frames: 6\nFrame Time: 0.5\n0\n1\n2\n4\n5\n6\n"));
}

TEST(ClipCommand, ReadsNoWholeTurnsBetweenFrames)
{
    Words wrapped, plain;
    for (int i = 0; i < 60; ++i) {
        const double angle = 17.0 * i;
        plain.push_back(fmt::format("{} 10 {}", angle, 0.5 * angle));
        wrapped.push_back(
            fmt::format("{} 10 {}", std::remainder(angle, 360.0), std::remainder(0.5 * angle, 360.0)));
    }
    const TemporaryFolder folder;
    const auto add = [&](const char* name, const Words& frames) {
        return folder.Add(name, OneJoint("3 Zrotation Xrotation Yrotation", frames, "0.0333333"));
    };
    const std::string in = add("wrapped.bvh", wrapped);
    const std::string other = add("plain.bvh", plain);
    const auto run = [](Words words, const std::string& from, const std::string& to) {
        std::ranges::replace(words, "IN", from);
        std::ranges::replace(words, "OUT", to);
        return RunYFCurve(words).exitCode;
    };
    const Words diff{"diff", "--orientation", "--tolerance", "0.001", "IN", "OUT"};
    for (const Words& words : {Words{"convert", "IN", "OUT", "--rate", "24"},
                               {"clip", "IN", "OUT", "--rate", "24", "--json"},
                               {"clip", "IN", "OUT", "--rate", "24", "--resample"},
                               {"clip", "IN", "OUT", "--speed", "0.3"},
                               {"clip", "IN", "OUT", "--trim", "0.05:1"},
                               {"clip", "IN", "OUT", "--loop", "2", "--blend", "0.25"},
                               {"join", "IN", "IN", "-o", "OUT", "--blend", "0.25"}}) {
        SCOPED_TRACE(fmt::format("{}", fmt::join(words, " ")));
        const std::string a = folder.Path("a.bvh"), b = folder.Path("b.bvh");
        EXPECT_EQ(run(words, in, a) + run(words, other, b), 0);
        EXPECT_EQ(run(diff, a, b), 0);
        EXPECT_EQ(run(diff, in, a), 1);
    }
    // Keys that are not of every frame are read between frames from there on.
    const std::string scene = folder.Path("scene.ytalo"), layered = folder.Path("layered.ytalo");
    ASSERT_EQ(RunYFCurve({"layer", "add", other, "up", "--mode", "override", "-o", layered}).exitCode, 0);
    for (const Words& words : {Words{"reduce", "IN", "OUT", "--tolerance", "0.0004"},
                               {"clip", "IN", "OUT", "--order", "YZX"},
                               {"plot-into-layer", layered, "up", "--from", "IN", "-o", "OUT"}}) {
        const std::string a = folder.Path("a.bvh"), b = folder.Path("b.bvh");
        for (const auto& [from, to] : {std::pair(in, a), std::pair(other, b)})
            EXPECT_EQ(run(words, from, scene) + run({"convert", "IN", "OUT", "--rate", "60"}, scene, to), 0);
        EXPECT_EQ(run(diff, a, b), 0) << words[0];
    }
    EXPECT_LT(JsonOf({"clip", in, "--rate", "24", "--dry-run"}).at("world").at("largest"), 1e-4);
    // glTF is played between frames, too.
    ASSERT_EQ(RunYFCurve({"convert", in, folder.Path("a.glb")}).exitCode, 0);
    EXPECT_EQ(RunYFCurve({"diff", "--world", "--tolerance", "0.01", other, folder.Path("a.glb")}).exitCode,
              0);
    // At its own frames the angles stay those of the file.
    ASSERT_EQ(RunYFCurve({"convert", in, folder.Path("same.bvh")}).exitCode, 0);
    EXPECT_EQ(RunYFCurve({"diff", in, folder.Path("same.bvh")}).exitCode, 0);
}
