// Many files: each for itself, and again only what has changed.

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <set>

#include <nlohmann/json.hpp>

#include "program/batch/batch_inputs.h"
#include "program/batch/worker_pool.h"
#include "program/terminal/progress.h"
#include "tests/motion_support.h"
#include "ymotion/text/failure.h"

namespace {

std::string RefusedTasks(const std::vector<std::string>& patterns, const std::string& folder)
{
    std::vector<std::string> subfolders;
    return FailureOf([&] { program::FindTasks(patterns, folder, "", subfolders); });
}

/// How many files a batch filtered, found up to date, and failed on.
std::vector<int> RunBatch(const TemporaryFolder& folder, int exitCode,
                          const std::vector<std::string>& more = {})
{
    std::vector<std::string> arguments{"batch",   folder.Path("*.bvh"), "--out",  folder.Path("out"),
                                       "--apply", "key-reducer",        "--jobs", "2",
                                       "--json"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const ProgramRun run = RunYFCurve(arguments);
    EXPECT_EQ(run.exitCode, exitCode) << run.errors;
    std::vector<int> counts(3);
    for (const auto& file : nlohmann::json::parse(run.output)) {
        const std::string state = file.at("state");
        ++counts[state == "filtered" ? 0u : state == "up to date" ? 1u : 2u];
    }
    return counts;
}

}  // namespace

TEST(BatchInputs, PairsInputsWithOutputs)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.Path("sub"));
    for (const char* name : {"c.bvh", "a.bvh", "b.bvh", "x.txt", "sub/a.bvh"}) folder.Add(name, "");
    std::vector<std::string> subfolders;
    const auto tasks = program::FindTasks({folder.Path("[ab].bvh"), folder.Path("*.bvh"), folder.Path("s*")},
                                          "out", "ytalo", subfolders);
    EXPECT_EQ(subfolders, std::vector{folder.Path("sub")});
    ASSERT_EQ(tasks.size(), 3u);
    EXPECT_EQ(tasks[0].output, "out/a.ytalo");
    EXPECT_EQ(tasks[2].input, folder.Path("c.bvh"));
    EXPECT_TRUE(
        Holds(RefusedTasks({folder.Path("*.bvh"), folder.Path("sub/*")}, "out"), "both become out/a.bvh"));
    EXPECT_TRUE(Holds(RefusedTasks({folder.Path("*.bvh")}, folder.Path("sub/..")), "replace an input"));
    EXPECT_TRUE(Holds(RefusedTasks({folder.Path("z*")}, "out"), "no such file"));
    EXPECT_TRUE(Holds(RefusedTasks({folder.Path("sub")}, "out"), "is a directory"));

    std::multiset<std::string> inputs;
    for (const char* shard : {"1/2", "2/2"}) {
        for (const program::BatchTask& task : program::TasksOf(tasks, program::ParseShard(shard)))
            inputs.insert(task.input);
    }
    EXPECT_EQ(inputs.size(), 3u);
    for (const char* wrong : {"", "0/2", "3/2", "1/2x"})
        EXPECT_THROW(program::ParseShard(wrong), ymotion::Failure) << wrong;
}

TEST(Batch, FinishesTheOthersAndGoesOnWhereItStopped)
{
    const TemporaryFolder folder;
    const std::string walk = FileContent(ExampleWalk());
    for (const char* name : {"a.bvh", "b.bvh", "c.bvh"}) folder.Add(name, walk);
    folder.Add("d.bvh", "junk");
    EXPECT_EQ(RunBatch(folder, 1), (std::vector{3, 0, 1}));
    folder.Add("d.bvh", walk);
    std::filesystem::remove(folder.Path("out/b.bvh"));
    EXPECT_EQ(RunBatch(folder, 0), (std::vector{2, 2, 0}));
    // Shards look into each other's records; an input or an output that is another one counts as new.
    EXPECT_EQ(RunBatch(folder, 0, {"--shard", "1/2"}), (std::vector{0, 2, 0}));
    folder.Add("a.bvh", walk + "\n");
    folder.Add("out/c.bvh", "broken");
    EXPECT_EQ(RunBatch(folder, 0), (std::vector{2, 2, 0}));
    EXPECT_EQ(RunBatch(folder, 0, {"--apply", "unroll"}), (std::vector{4, 0, 0}));
    // A record that cannot be read is no obstacle.
    folder.Add("out/.yfcurve-batch.json", "{\"a.bvh\": [");
    EXPECT_EQ(RunBatch(folder, 0), (std::vector{4, 0, 0}));
}

TEST(Batch, CountsWhatIsRefusedAndWhatHasNothingToDo)
{
    const TemporaryFolder folder;
    folder.Add("a.bvh", FileContent(ExampleWalk()));
    const auto run = [&](const char* step) {
        return RunYFCurve(
            {"batch", folder.Path("a.bvh"), "--out", folder.Path("out"), "--again", "--apply", step});
    };
    const ProgramRun idle = run("offset:Offset=0");
    EXPECT_EQ(idle.exitCode, 0);
    EXPECT_TRUE(Holds(idle.output, "1 of them had nothing to do"));
    std::filesystem::remove(folder.Path("out/a.bvh"));
    const ProgramRun refused = run("butterworth:SamplingRate=1e12");
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_TRUE(Holds(refused.output, "0 filtered"));
    EXPECT_TRUE(Holds(refused.output, "1 of them refused: butterworth: Bad Sampling Rate"));
    EXPECT_FALSE(std::filesystem::exists(folder.Path("out/a.bvh")));
}

TEST(Batch, CountsWhatIsCompleteWhenItIsStopped)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder.Path("in"));
    std::filesystem::create_directory(folder.Path("in/sub"));
    for (int i = 0; i < 40; ++i) folder.Add("in/" + std::to_string(i) + ".bvh", FileContent(ExampleWalk()));
    // The signal goes to the whole group, as a terminal's does, once some outputs are there.
    const ProgramRun run = RunProgram(
        "bash",
        {"-c", "set -m; '" + kProgram + "' batch '" + folder.Path("in") + "/*' --out '" + folder.Path("out") +
                   "' --jobs 4 --apply key-reducer & while kill -0 $! && [ $(ls '" + folder.Path("out") +
                   "' 2>/dev/null | wc -l) -lt 4 ]; do sleep 0.02; done; "
                   "kill -INT -- -$!; wait $!"});
    EXPECT_EQ(run.exitCode, 130) << run.errors;
    const auto complete =
        std::count_if(std::filesystem::directory_iterator(folder.Path("out")), {},
                      [](const auto& entry) { return entry.path().filename().string().front() != '.'; });
    EXPECT_TRUE(Holds(run.output, ": " + std::to_string(complete) + " filtered"));
    EXPECT_TRUE(Holds(run.output, std::to_string(40 - complete) + " left"));
    EXPECT_TRUE(Holds(run.output, "in/sub is a folder"));
    EXPECT_TRUE(Holds(run.errors, std::to_string(40 - complete) + " files left"));
}

TEST(WorkerPool, OutlivesItsWorkers)
{
    std::vector<program::WorkResult> results(6);
    const auto work = [](std::size_t piece) -> std::string {
        if (piece == 1) std::raise(SIGKILL);
        if (piece == 2) throw ymotion::Failure("no");
        if (piece == 3) _exit(0);
        return std::string(300'000, static_cast<char>('a' + piece));
    };
    program::RunInProcesses(6, 3, work,
                            [&](std::size_t i, const program::WorkResult& result) { results[i] = result; });
    const char* const failures[] = {nullptr, "signal 9", "no", "the worker ended without an answer"};
    for (std::size_t i = 0; i < results.size(); ++i) {
        const bool isGood = i == 0 || i > 3;
        EXPECT_EQ(results[i].done, isGood);
        EXPECT_TRUE(isGood ? results[i].text == work(i) : Holds(results[i].text, failures[i])) << i;
    }
}

TEST(WorkerPool, StopsAtASignal)
{
    const auto inherited = std::signal(SIGTERM, SIG_DFL);
    int answers = 0;
    {
        const program::StopSignals signals;
        program::RunInProcesses(
            50, 1, [](std::size_t) { return std::string(); },
            [&](std::size_t, const program::WorkResult&) {
                ++answers;
                std::raise(SIGTERM);
            });
    }
    std::signal(SIGTERM, inherited);
    EXPECT_EQ(answers, 1);
}
