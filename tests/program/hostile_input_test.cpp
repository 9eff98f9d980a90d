// Input without an end, names that other programs would run, and values and times at the ends of their range.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/motion_support.h"
#include "ymotion/scene/frame_rate.h"

TEST(HostileInput, WithoutAnEndIsReadToALimit)
{
    const TemporaryFolder folder;
    const TemporaryFolder site;
    site.Add("index.html", "");
    const std::string walk = FileContent(ExampleWalk());
    const std::string scene = folder.Path("walk.ytalo");
    ASSERT_EQ(RunYFCurve({"convert", ExampleWalk(), scene}).exitCode, 0);
    const std::vector<Words> commands = {
        {"info"},
        {"check"},
        {"eval"},
        {"plot", "-o", folder.Path("a.svg")},
        {"keys", "--select", ":", "--move", "1,1", "--dry-run"},
        {"layer", "add", "-o", folder.Path("a.ytalo"), "A"},
        {"filter", folder.Path("a.ytalo"), "--apply", "unroll"},
        {"clip", folder.Path("a.ytalo"), "--reverse"},
        {"join", scene, "-o", folder.Path("a.ytalo")},
        {"diff", scene},
        {"edit", "--no-open", "--site", site.Path("")},
    };
    for (Words command : commands) {
        SCOPED_TRACE(command[0]);
        // Behind the names of the command, in front of its other words.
        command.insert(command.begin() + (command[0] == "layer" ? 2 : 1), "");
        command.insert(command.end(), {"--max-size", "100K"});
        std::string& file = *std::find(command.begin(), command.end(), "");
        for (const std::string& endless : {std::string("/dev/zero"), ExampleWalk(), scene}) {
            file = endless;
            const ProgramRun run = RunYFCurve(command);
            EXPECT_EQ(run.exitCode, 1);
            for (const std::string& part : {endless, std::string("100.0"), std::string("--max-size")})
                EXPECT_TRUE(Holds(run.output + run.errors, part));
        }
    }
    EXPECT_EQ(folder.Names(), Words{"walk.ytalo"});
    // What is as large as the limit is read, through a pipe too.
    for (const auto& [most, exitCode] : {std::pair{walk.size(), 0}, {walk.size() - 1, 1}}) {
        const std::string info = kProgram + " info - --max-size " + std::to_string(most);
        EXPECT_EQ(RunProgram("bash", {"-c", info + " < <(cat " + ExampleWalk() + ")"}).exitCode, exitCode);
    }
}

TEST(HostileInput, NamesAreTextForSpreadsheets)
{
    std::string motion = FileContent(ExampleWalk());
    const std::size_t name = motion.find("Hips");
    const TemporaryFolder folder;
    for (const std::string joint : {"=1+2", "+1", "-1", "@SUM(A1)", "a=1"}) {
        const std::string cell = (joint == "a=1" ? "" : "\"'") + joint + "/Lcl";
        const std::string file = folder.Add("a.bvh", std::string(motion).replace(name, 4, joint));
        const ProgramRun run = RunYFCurve({"eval", file, "--start", "0", "--stop", "0"});
        EXPECT_EQ(run.output.find("time," + cell), 0u) << run.output.substr(0, 60);
        // Numbers below 0 stay numbers.
        EXPECT_EQ(run.output.substr(run.output.find('\n')).find('\''), std::string::npos);
    }
}

TEST(HostileInput, SpansAsLongAsTimeAreDivided)
{
    const ymotion::TimeSpan whole{YTime(INT64_MIN), YTime(INT64_MAX)};
    EXPECT_EQ(whole.At(0).Get(), INT64_MIN);
    EXPECT_EQ(whole.At(0.25).Get(), INT64_MIN / 2);
    EXPECT_EQ(whole.At(0.5).Get(), 0);
    EXPECT_EQ(whole.At(1).Get(), INT64_MAX);
    EXPECT_EQ((ymotion::TimeSpan{YTime(INT64_MAX - 1), YTime(INT64_MAX)}).At(1).Get(), INT64_MAX);
    EXPECT_EQ(ymotion::LastFrame(YTime(INT64_MAX), {1, 1}), 199699919);
}

TEST(HostileInput, HugeValuesAndTimesAreReportedAndDrawn)
{
    const auto scene = [](const std::string& keys) {
        return "ytalo 1\nChannel: \"P\" {\nChannel: \"X\" {\nDefault: 0.0\nKeyVer: 4006\nKeyCount: 3\n"
               "Key:\n" +
               keys + "}\n}\n";
    };
    const TemporaryFolder folder;
    const std::string files[] = {
        folder.Add("values", scene("@0 1e38 'U' @46186158000 -1e38 'U' @92372316000 3e38 'U'\n")),
        folder.Add("slopes", scene("@0 1e38 'U' 's' 3e38 -3e38 'n' @46186158000000 1.0 'L'\n")),
        folder.Add("no numbers", scene("@0 1.0 'L' @46186158000 nan 'L' @92372316000 3.0 'L'\n")),
        folder.Add("infinite", scene("@0 1.0 'U' @46186158000 inf 'U' @92372316000 -inf 'U'\n")),
        folder.Add("times", scene("@-9223372036854775808 1.0 'U' @0 5.0 'U' @9223372036854775807 3.0 'U'\n")),
        folder.Add("last tick", scene("@9223372036854775806 1.0 'U' @9223372036854775807 3.0 'U'\n")),
    };
    for (const std::string& file : files) {
        const Words commands[] = {
            {"info", file},
            {"check", file},
            {"diff", file, files[0]},
            {"plot", file, "-o", folder.Path("a.svg")},
            {"filter", file, folder.Path("a.ytalo"), "--apply", "unroll", "--apply", "offset:Offset=1e38",
             "--report", folder.Path("a.html")},
            {"keys", file, "--select", ":", "--move", "1,1e38", "-o", folder.Path("a.ytalo")},
            {"eval", file, "--start", "0", "--stop", "1"},
            {"eval", file, "--frames", "--rate", "0.000001"},
            {"keys", file, "--export", folder.Path("a.json")},
        };
        for (const Words& command : commands) {
            const ProgramRun run = RunProgram("timeout", Joined({"20", kProgram}, command));
            EXPECT_TRUE(run.exitCode == 0 || run.exitCode == 1)
                << testing::PrintToString(command) << run.errors;
            EXPECT_EQ(run.errors.find("runtime error"), std::string::npos) << run.errors;
        }
        for (const char* picture : {"a.svg", "a.html"}) {
            const std::string text = FileContent(folder.Path(picture));
            for (const char* wrong : {"\"nan", " nan", "\"inf", " inf", " -inf"})
                EXPECT_EQ(text.find(wrong), std::string::npos) << file << ' ' << picture << wrong;
            std::filesystem::remove(folder.Path(picture));
        }
    }
}
