// Batches whose surroundings fail: the disk, the terminal, the record.

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>

#include <nlohmann/json.hpp>

#include "tests/motion_support.h"

namespace {

constexpr std::string_view kMotion = R"(HIERARCHY
ROOT Hips
{
  OFFSET 0 0 0
  CHANNELS 3 Zrotation Xrotation Yrotation
}
MOTION
Frames: 2
Frame Time: 0.04
0 0 0
1 2 3
)";

constexpr int kFiles = 12;

/// Files for a batch in "in", and the beginning of its command line, for a shell.
std::string BatchOf(const TemporaryFolder& folder, std::string_view motion)
{
    std::filesystem::create_directory(folder.Path("in"));
    for (int i = 0; i < kFiles; ++i) folder.Add("in/" + std::to_string(i) + ".bvh", motion);
    return "cd '" + folder.Path("") + "'; ulimit -c 0; exec '" + kProgram +
           "' batch 'in/*' --out out --apply offset:Offset=1";
}

}  // namespace

TEST(BatchTrouble, ARecordThatDoesNotFitIsReportedLikeAFile)
{
    const TemporaryFolder folder;
    // The outputs fit into a block, the record does not; what is printed goes through a pipe.
    for (const bool json : {false, true}) {
        const std::string batch =
            "(ulimit -f 1; " + BatchOf(folder, kMotion) + " --again" + (json ? " --json" : "");
        const ProgramRun run = RunProgram("bash", {"-c", "set -o pipefail; " + batch + ") | cat"});
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_NE(run.errors.find("out/.yfcurve-batch.json: cannot write: File too large"), std::string::npos)
            << run.errors;
        EXPECT_NE(run.errors.find("the record was not written"), std::string::npos) << run.errors;
        if (!json) {
            EXPECT_EQ(run.output.find("out: 12 filtered, 0 up to date, 0 refused, 0 failed"), 0u)
                << run.output;
            continue;
        }
        const nlohmann::json files = nlohmann::json::parse(run.output);
        ASSERT_EQ(files.size(), kFiles + 1u);
        EXPECT_EQ(files.back()["state"], "failed");
        EXPECT_EQ(files.back()["output"], "out/.yfcurve-batch.json");
    }
    std::size_t outputs = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path("out"))) {
        EXPECT_EQ(entry.path().extension(), ".bvh");
        ++outputs;
    }
    EXPECT_EQ(outputs, std::size_t{kFiles});
    // Nor does a summary that cannot be written hide what failed.
    folder.Add("in/bad.bvh", "bad");
    const ProgramRun run = RunProgram("bash", {"-c", BatchOf(folder, kMotion) + " >/dev/full"});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_NE(run.errors.find("in/bad.bvh:1"), std::string::npos) << run.errors;
    EXPECT_NE(run.errors.find("<standard output>"), std::string::npos) << run.errors;
}

TEST(BatchTrouble, AHangupThatIsIgnoredEndsNoWorker)
{
    const TemporaryFolder folder;
    // Signals go to the whole group as long as the batch runs, as they do when a terminal is closed.
    const ProgramRun run = RunProgram(
        "bash", {"-c", "set -m; trap '' HUP; (" + BatchOf(folder, FileContent(ExampleWalk())) +
                           " --jobs 2) & while kill -HUP -- -$! 2>/dev/null; do sleep 0.005; done; wait $!"});
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_NE(run.output.find("out: 12 filtered"), std::string::npos) << run.output;
}

TEST(BatchTrouble, WhatIsNoFileIsNoRecord)
{
    for (const char* name : {".yfcurve-batch.json", ".yfcurve-batch-2-of-3.json"}) {
        for (const bool isPipe : {false, true}) {
            const TemporaryFolder folder;
            std::filesystem::create_directory(folder.Path("out"));
            const std::string record = folder.Path("out/") + name;
            if (isPipe) {
                ASSERT_EQ(mkfifo(record.c_str(), 0600), 0);
            } else {
                std::filesystem::create_directory(record);
            }
            const ProgramRun run = RunProgram("timeout", {"20", "bash", "-c", BatchOf(folder, kMotion)});
            EXPECT_EQ(run.exitCode, 1);
            EXPECT_NE(run.errors.find(std::string("out/") + name + ": is "), std::string::npos) << run.errors;
            EXPECT_FALSE(std::filesystem::exists(folder.Path("out/0.bvh")));
        }
    }
}
