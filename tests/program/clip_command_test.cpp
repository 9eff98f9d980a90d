// The commands clip and join: the order of the options, what is reported, and files that are left alone.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "tests/motion_support.h"

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
    ExpectRefused({"clip", file, "--reverse"}, 2, "OUT is missing");
    EXPECT_EQ(FileContent(file), before);
    EXPECT_TRUE(Holds(RunYFCurve({"clip", file, file, "--shift", "1"}).errors, "BVH has no times"));
}

TEST(JoinCommand, ChecksAllFilesFirst)
{
    const TemporaryFolder folder;
    const std::string a = folder.Add("a.bvh", OneJoint("1 Xposition", {"0", "1", "2"}));
    const std::string b = folder.Add("b.bvh", OneJoint("1 Xposition", {"7", "8", "9"}, "0.25"));
    const std::string c = folder.Add("c.bvh", OneJoint("1 Yposition", {"7", "8", "9"}));
    const std::string out = folder.Path("out.bvh");
    ExpectRefused({"join", a, b, c, "-o", out}, 1, "'a' has Yposition instead of Xposition");
    ExpectRefused({"join", a, "-o", out}, 2, "one file alone");
    ExpectRefused({"join", a, b, "-o", a}, 2, "a.bvh: is the motion to read");
    ExpectRefused({"join", "-", "-", "-o", out}, 2, "standard input");
    ExpectRefused({"join", a, b, "-o", out, "--blend", "0"}, 2, "'0' is not above 0");
    ExpectRefused({"join", a, b}, 2, "OUT is missing");
    const auto files = JsonOf({"join", a, b, "--dry-run", "--json", "--blend", "0.25"}).at("files");
    EXPECT_EQ(files.at(1).at("file"), b);
    EXPECT_EQ(files.at(1).at("start"), 0.75);
    EXPECT_EQ(files.at(1).at("stop"), 1.25);
    EXPECT_EQ(folder.Names().size(), 3u);

    const ProgramRun run = RunYFCurve({"join", a, b, a, "-o", out, "--align"});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_TRUE(Holds(run.output, "a.bvh: plays from 0 s to 1 s\n"));
    EXPECT_TRUE(
        Holds(run.output, "b.bvh: plays from 1 s to 1.5 s; turned by 0 degrees and moved by -5 along X"));
    EXPECT_TRUE(Holds(run.output, "keys of 4 frames a second stay where they are at 2"));
    EXPECT_TRUE(Holds(FileContent(out), "Frames: 6\nFrame Time: 0.5\n0\n1\n2\n4\n5\n6\n"));
}
