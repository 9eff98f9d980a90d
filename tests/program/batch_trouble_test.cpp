// Batches whose surroundings fail: the disk, the terminal, the record.

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <string>

#include <nlohmann/json.hpp>

#include "tests/motion_support.h"

namespace {

const std::string kMotion = OneJoint("3 Zrotation Xrotation Yrotation", {"0 0 0", "1 2 3"}, "0.04");
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
        EXPECT_TRUE(Ended(run, 1, "", "out/.yfcurve-batch/records.jsonl: cannot write: File too large"));
        EXPECT_TRUE(Holds(run.errors, "the record was not written"));
        if (!json) {
            EXPECT_TRUE(Holds(run.output, "out: 12 filtered, 0 up to date, 0 refused, 0 failed"));
            continue;
        }
        const nlohmann::json files = nlohmann::json::parse(run.output);
        ASSERT_EQ(files.size(), std::size_t{kFiles});
        for (const auto& file : files) EXPECT_EQ(file["state"], "filtered");
    }
    const auto isMotion = [](const auto& entry) { return entry.path().extension() == ".bvh"; };
    const std::filesystem::directory_iterator outputs(folder.Path("out"));
    EXPECT_EQ(std::count_if(outputs, {}, isMotion), kFiles);
}

TEST(BatchTrouble, AHangupThatIsIgnoredEndsNoWorker)
{
    const TemporaryFolder folder;
    // Signals go to the whole group as long as the batch runs, as they do when a terminal is closed.
    const ProgramRun run = RunProgram(
        "bash", {"-c", "set -m; trap '' HUP; (" + BatchOf(folder, FileContent(ExampleWalk())) +
                           " --jobs 2) & while kill -HUP -- -$! 2>/dev/null; do sleep 0.005; done; wait $!"});
    EXPECT_TRUE(Ended(run, 0, "out: 12 filtered"));
}

TEST(BatchTrouble, WhatIsNoFileIsNoRecord)
{
    for (const std::string name : {"records.jsonl", "records-2-of-3.jsonl"}) {
        const TemporaryFolder folder;
        std::filesystem::create_directories(folder.Path("out/.yfcurve-batch"));
        const std::string record = folder.Path("out/.yfcurve-batch/" + name);
        // A pipe that nothing is written to, or a folder.
        ASSERT_TRUE(name.size() < 15 ? mkfifo(record.c_str(), 0600) == 0
                                     : std::filesystem::create_directory(record));
        EXPECT_TRUE(Ended(RunProgram("timeout", {"20", "bash", "-c", BatchOf(folder, kMotion)}), 1, "",
                          "out/.yfcurve-batch/" + name + ": is "));
        EXPECT_FALSE(std::filesystem::exists(folder.Path("out/0.bvh")));
    }
}
