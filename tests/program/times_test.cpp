// Times as seconds, frames and time codes.

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <filesystem>

#include <fmt/format.h>

#include "tests/motion_support.h"

namespace {

/// The words with times in place of <A>, <B> and <C>.
Words With(Words words, const std::array<const char*, 3>& times)
{
    for (std::string& word : words) {
        for (std::size_t i = 0; i < times.size(); ++i) {
            const std::string mark = {'<', static_cast<char>('A' + i), '>'};
            for (std::size_t at = word.find(mark); at != std::string::npos; at = word.find(mark))
                word.replace(at, mark.size(), times[i]);
        }
    }
    return words;
}

}  // namespace

TEST(Times, EveryCommandTakesThemInEveryForm)
{
    const TemporaryFolder folder;
    Words frames;
    for (int i = 0; i < 60; ++i) frames.push_back(fmt::format("{} {} 3", i % 7, 20 * std::sin(i)));
    // 25 frames a second, at which no form is right by the default of 30.
    const std::string bvh = folder.Add("in.bvh", OneJoint("3 Zrotation Xrotation Yrotation", frames, "0.04"));
    const std::string file = folder.Path("in.ytalo");
    ASSERT_EQ(RunYFCurve({"layer", "add", bvh, "Top", "-o", file}).exitCode, 0);
    std::string layered = kLayered;
    const std::string layers =
        folder.Add("layers.ytalo", layered.insert(layered.find(" Layer:"), " FrameRate: \"25/1\"\n"));
    const std::string other =
        folder.Add("other.bvh", OneJoint("3 Zrotation Xrotation Yrotation", {"0 0 0", "90 0 0"}, "2"));
    const Words commands[] = {
        {"eval", file, "--start", "<A>", "--stop", "<B>"},
        {"plot", file, "-o", "-", "--start", "<A>", "--stop", "<B>"},
        {"keys", file, "-o", "-", "--select", "<A>..<B>", "--move", "<C>,1"},
        {"keys", file, "-o", "-", "--select", "..<A>", "--stretch-time", "0.5@<B>"},
        {"layer", "weight", file, "Top", "0:0", "<A>:0.5", "<B>:1", "-o", "-"},
        {"layer", "merge", layers, "-o", "-", "--start", "<A>", "--stop", "<B>", "--period", "<C>"},
        {"plot-into-layer", file, "Top", "--from", other, "-o", "-", "--fixed", "--start", "<A>", "--stop",
         "<B>", "--period", "<C>"},
        {"filter", file, "-", "--apply", "offset:Offset=5,Start=<A>,Stop=<B>"},
        {"filter", file, "-", "--apply", "time-shift-and-scale:Shift=<C>"},
    };
    for (const Words& command : commands) {
        const ProgramRun seconds = RunYFCurve(With(command, {"0.4", "1.2", "0.08"}));
        EXPECT_EQ(seconds.exitCode, 0) << seconds.errors;
        const auto output = [&](const std::array<const char*, 3>& times) {
            return RunYFCurve(With(command, times)).output;
        };
        EXPECT_EQ(output({"10f", "30f", "2f"}), seconds.output) << command[0];
        EXPECT_EQ(output({"00:00:00:10", "0:0:1:5", "0:0:0:2"}), seconds.output) << command[0];
        EXPECT_NE(output({"11f", "29f", "3f"}), seconds.output) << command[0];
    }
}

TEST(Times, WhatIsNoTimeOrHasNoSuchFrameIsRefused)
{
    const TemporaryFolder folder;
    const std::string file = folder.Add("in.bvh", OneJoint("1 Xrotation", {"0", "1", "2"}, "0.04"));
    const std::string layered = folder.Path("in.ytalo");
    ASSERT_EQ(RunYFCurve({"layer", "add", file, "Top", "-o", layered}).exitCode, 0);
    const auto output = folder.Path("out.ytalo");
    const std::pair<Words, const char*> cases[] = {
        {{"eval", file, "--stop", "0:0:0:25"},
         "--stop: '0:0:0:25', at 25 frames a second, names frame 25 of a second that has 25; count them"},
        {{"filter", file, output, "--apply", "offset:Offset=1,Start=0:0:0;5"},
         "Start of offset: '0:0:0;5', at 25 frames a second, has the semicolon of drop-frame counting"},
        {{"layer", "weight", layered, "Top", "0:0", "0:0:0:26:1", "-o", output}, "WEIGHT: '0:0:0:26', at 25"},
        {{"layer", "merge", layered, "-o", output, "--period", "1e-12"}, "--period: the time is too short"},
        {{"keys", file, "-o", output, "--select", "0:0:0:1:2", "--set", "1"}, "(T0..T1 with time codes)"},
    };
    for (const auto& [arguments, part] : cases) ExpectRefused(arguments, 2, part);
    EXPECT_FALSE(std::filesystem::exists(output));
}
