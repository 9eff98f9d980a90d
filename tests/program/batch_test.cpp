// Many files: each for itself, and again only what has changed.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <set>

#include <nlohmann/json.hpp>

#include "program/batch/batch_inputs.h"
#include "program/batch/worker_pool.h"
#include "program/terminal/progress.h"
#include "tests/motion_support.h"
#include "ymotion/text/failure.h"

namespace {

std::string RefusedTasks(const std::vector<std::string>& patterns, const std::string& folder,
                         const std::string& extension = "")
{
    return FailureOf([&] { program::FindTasks(patterns, folder, extension); });
}

std::vector<std::string> NamesOf(const program::BatchInputs& inputs)
{
    std::vector<std::string> names;
    for (const program::BatchTask& task : inputs.tasks) names.push_back(task.name);
    return names;
}

/// How many files a batch filtered, found up to date, was refused and failed on.
std::vector<int> RunBatch(const TemporaryFolder& folder, int exitCode,
                          const std::vector<std::string>& more = {})
{
    std::vector<std::string> arguments{"batch",   folder.Path("*.bvh"), "--out",  folder.Path("out"),
                                       "--apply", "key-reducer",        "--jobs", "2"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const ProgramRun run = RunYFCurve(arguments);
    EXPECT_EQ(run.exitCode, exitCode) << run.errors;
    std::vector<int> counts(4);
    const std::size_t start = std::min(run.output.find(": ") + 2, run.output.size());
    EXPECT_EQ(std::sscanf(run.output.c_str() + start, "%d filtered, %d up to date, %d refused, %d failed",
                          &counts[0], &counts[1], &counts[2], &counts[3]),
              4);
    return counts;
}

/// Runs shell commands in a folder, with `batch` for the program on files below "in".
ProgramRun RunIn(const TemporaryFolder& folder, const std::string& commands)
{
    const std::string batch = "batch() { '" + kProgram + "' batch --apply key-reducer --out out \"$@\"; }; ";
    return RunProgram("bash", {"-c", "cd '" + folder.Path("") + "'; " + batch + commands});
}

}  // namespace

TEST(BatchInputs, PairsInputsWithOutputs)
{
    const TemporaryFolder folder;
    for (const char* each : {"sub", "sub/deep", "sub/.hidden", "sub/out"})
        std::filesystem::create_directory(folder.Path(each));
    for (const char* name : {"c.bvh", "a.bvh", "b.bvh", "x.txt", "sub/a.bvh", "sub/deep/d.GLB",
                             "sub/deep/bin", "sub/.hidden/h.bvh", "sub/out/o.bvh", "a.bvh.gz"})
        folder.Add(name, "");
    const auto some = program::FindTasks(
        {folder.Path("[ab].bvh"), folder.Path("*.bvh"), folder.Path("[sx]*")}, "out", "ytalo");
    EXPECT_EQ(some.folders, std::vector{folder.Path("sub")});
    EXPECT_EQ(some.skipped, 1u);
    ASSERT_EQ(some.tasks.size(), 3u);
    EXPECT_EQ(some.tasks[0].output, "out/a.ytalo");
    EXPECT_EQ(some.tasks[2].input, folder.Path("c.bvh"));
    // Equal names keep their folders.
    EXPECT_EQ(NamesOf(program::FindTasks({folder.Path("a.bvh"), folder.Path("sub/*.bvh")}, "out", "")),
              (std::vector<std::string>{"a.bvh", "sub/a.bvh"}));
    const auto all = program::FindTasks({folder.Path("sub/")}, folder.Path("sub/out"), "", true);
    EXPECT_EQ(NamesOf(all), (std::vector<std::string>{"a.bvh", "deep/d.GLB"}));
    EXPECT_EQ(all.skipped, 1u);
    EXPECT_TRUE(Holds(RefusedTasks({folder.Path("a.bvh*")}, "out", "glb"), "both become out/a.glb"));
    EXPECT_TRUE(Holds(RefusedTasks({folder.Path("*.bvh")}, folder.Path("sub/..")), "replace an input"));
    EXPECT_TRUE(Holds(RefusedTasks({folder.Path("z*")}, "out"), "no such file"));
    EXPECT_TRUE(Holds(RefusedTasks({folder.Path("sub")}, "out"), "is a directory"));
    for (const char* wrong : {"", "0/2", "3/2", "1/2x"})
        EXPECT_THROW(program::ParseShard(wrong), ymotion::Failure) << wrong;
}

TEST(BatchInputs, ListsKeepEveryPathAndShardsHaveEachOnce)
{
    const TemporaryFolder folder;
    std::string bytes;
    for (int c = 1; c < 256; ++c) bytes += static_cast<char>(c);
    std::vector<program::BatchTask> tasks;
    for (const std::string& name : {bytes, std::string("a%20b"), std::string("a b")})
        tasks.push_back({"in/" + name, "out/" + name, name, 7});
    program::SaveTasks(tasks, folder.Path("list"));
    const auto loaded = program::LoadTasks(folder.Path("list"), "out");
    std::multiset<std::string> outputs;
    for (const char* shard : {"1/2", "2/2"}) {
        for (const program::BatchTask& task : program::TasksOf(loaded, program::ParseShard(shard)))
            outputs.insert(task.input + task.output + std::to_string(task.bytes));
    }
    std::multiset<std::string> expected;
    for (const program::BatchTask& task : tasks) expected.insert(task.input + task.output + "7");
    EXPECT_EQ(outputs, expected);
}

TEST(Batch, FinishesTheOthersAndGoesOnWhereItStopped)
{
    const TemporaryFolder folder;
    const std::string walk = FileContent(ExampleWalk());
    for (const char* name : {"a.bvh", "b.bvh", "c.bvh"}) folder.Add(name, walk);
    folder.Add("d.bvh", "junk");
    EXPECT_EQ(RunBatch(folder, 1), (std::vector{3, 0, 0, 1}));
    folder.Add("d.bvh", walk);
    std::filesystem::remove(folder.Path("out/b.bvh"));
    EXPECT_EQ(RunBatch(folder, 0), (std::vector{2, 2, 0, 0}));
    // An input or an output that is another one counts as new.
    folder.Add("a.bvh", walk + "\n");
    folder.Add("out/c.bvh", "broken");
    EXPECT_EQ(RunBatch(folder, 0), (std::vector{2, 2, 0, 0}));
    EXPECT_EQ(RunBatch(folder, 0, {"--apply", "unroll"}), (std::vector{4, 0, 0, 0}));
    EXPECT_EQ(RunBatch(folder, 0), (std::vector{4, 0, 0, 0}));
    // A line that was cut off, and what is no record, are passed over.
    const std::string records = FileContent(folder.Path("out/.yfcurve-batch/records.jsonl"));
    folder.Add("out/.yfcurve-batch/records.jsonl", "{\"run\":{}}\n" + records.substr(0, records.size() - 9));
    EXPECT_EQ(RunBatch(folder, 0), (std::vector{1, 3, 0, 0}));
    EXPECT_EQ(RunBatch(folder, 0), (std::vector{0, 4, 0, 0}));
}

TEST(Batch, ReportsTheSameWhicheverWayItRan)
{
    const TemporaryFolder whole;
    const TemporaryFolder parts;
    for (const TemporaryFolder* folder : {&whole, &parts}) {
        std::filesystem::create_directories(folder->Path("in/sub"));
        for (const char* name : {"in/a.bvh", "in/sub/a.bvh", "in/c.bvh"})
            folder->Add(name, FileContent(ExampleWalk()));
        folder->Add("in/bad.bvh", "junk");
    }
    const ProgramRun once = RunIn(
        whole, "batch in --recursive --jobs 2 --pages pages --report r.html --times t.csv --json >r.json");
    EXPECT_EQ(once.exitCode, 1);
    // In two shards, the second first, one of them killed and repeated.
    const ProgramRun twice = RunIn(parts,
                                   "batch in --recursive --make-list list; for i in 2 1 1; do batch --list "
                                   "list --shard $i/2 --pages pages; done;"
                                   "batch --merge --list list --pages pages --report r.html --json >r.json");
    EXPECT_EQ(twice.exitCode, 1);
    EXPECT_TRUE(Holds(twice.output, "out: 0 filtered, 2 up to date"));
    const std::string page = FileContent(whole.Path("r.html"));
    EXPECT_EQ(page, FileContent(parts.Path("r.html")));
    EXPECT_EQ(FileContent(whole.Path("r.json")), FileContent(parts.Path("r.json")));
    const auto files = nlohmann::json::parse(FileContent(whole.Path("r.json")));
    ASSERT_EQ(files.size(), 4u);
    EXPECT_EQ(files[0]["input"], "in/bad.bvh");
    EXPECT_TRUE(Holds(files[0]["message"].get<std::string>(), "this is not a BVH file"));
    EXPECT_TRUE(Holds(page, "<a href=\"pages/sub/a.bvh.html\">"));
    EXPECT_TRUE(std::filesystem::exists(whole.Path("pages/sub/a.bvh.html")));
    EXPECT_TRUE(Holds(page, "<svg"));
    EXPECT_TRUE(Holds(FileContent(whole.Path("t.csv")), "sub/a.bvh,"));
}

TEST(Batch, RefusesAnOutputThatAnotherProcessIsMaking)
{
    const TemporaryFolder folder;
    folder.Add("a.bvh", FileContent(ExampleWalk()));
    const char* const one = "'%' batch a.bvh --one out/a.bvh --apply unroll";
    const std::string command = std::string(one).replace(std::string(one).find('%'), 1, kProgram);
    const ProgramRun refused =
        RunIn(folder, "mkdir out; exec 9>out/.a.bvh.lock; flock 9; (" + command + " 9>&-); echo $?; ls out");
    EXPECT_TRUE(Holds(refused.output, "\"state\":\"busy\""));
    EXPECT_TRUE(Holds(refused.output, "\n1\n"));
    EXPECT_TRUE(Holds(refused.errors, "another process is making this file"));
    EXPECT_FALSE(std::filesystem::exists(folder.Path("out/a.bvh")));
    // What a process that was killed left behind is no obstacle.
    EXPECT_EQ(RunIn(folder, command).exitCode, 0);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path("out")), {}), 1);
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
