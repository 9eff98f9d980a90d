// Many files: each for itself, and again only what has changed.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "program/batch/batch_inputs.h"
#include "program/batch/worker_pool.h"
#include "program/terminal/progress.h"
#include "tests/motion_support.h"
#include "ymotion/text/failure.h"

namespace {

std::string RefusedTasks(const Words& patterns, const std::string& folder, const std::string& extension = "")
{
    return FailureOf([&] { program::FindTasks(patterns, folder, extension); });
}

Words NamesOf(const program::BatchInputs& inputs)
{
    Words names;
    for (const program::BatchTask& task : inputs.tasks) names.push_back(task.name);
    return names;
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
              (Words{"a.bvh", "sub/a.bvh"}));
    const auto all = program::FindTasks({folder.Path("sub/")}, folder.Path("sub/out"), "", true);
    EXPECT_EQ(NamesOf(all), (Words{"a.bvh", "deep/d.GLB"}));
    EXPECT_EQ(all.skipped, 1u);
    // Links to folders are entered once each; what is skipped has no say in the names.
    std::filesystem::create_directories(folder.Path("other/end"));
    folder.Add("other/end/e.bvh", "");
    std::filesystem::create_directory_symlink("..", folder.Path("other/end/again"));
    std::filesystem::create_directory_symlink("../../other", folder.Path("sub/deep/link"));
    EXPECT_EQ(NamesOf(program::FindTasks({folder.Path("x.txt"), folder.Path("sub/deep")}, "out", "", true)),
              (Words{"d.GLB", "link/end/e.bvh"}));
    std::filesystem::create_symlink("d.GLB", folder.Path("sub/deep/e.GLB"));
    const auto linked = program::FindTasks({folder.Path("sub/deep/*.GLB")}, "out", "");
    EXPECT_EQ(NamesOf(linked), Words{"d.GLB"});
    EXPECT_EQ(linked.otherNames,
              (std::vector{std::pair{folder.Path("sub/deep/e.GLB"), folder.Path("sub/deep/d.GLB")}}));
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
    for (const char* wrong :
         {"junk", "{}", "{\"input\":5,\"name\":\"a\"}", "{\"input\":\"a\",\"name\":\"/a\"}",
          "{\"input\":\"a\",\"name\":\"b/../../a\"}"}) {
        folder.Add("list", wrong);
        EXPECT_THROW(program::LoadTasks(folder.Path("list"), "out"), ymotion::Failure) << wrong;
    }
}

TEST(Batch, FinishesTheOthersAndGoesOnWhereItStopped)
{
    const TemporaryFolder folder;
    const std::string walk = FileContent(ExampleWalk());
    const auto expect = [&](const char* counts, const std::string& more = "") {
        EXPECT_TRUE(
            Ended(RunIn(folder, "batch *.bvh --jobs 2" + more), Holds(counts, "1 failed") ? 1 : 0, counts));
    };
    for (const char* name : {"a.bvh", "b.bvh", "c.bvh"}) folder.Add(name, walk);
    folder.Add("d.bvh", "junk");
    expect("out: 3 filtered, 0 up to date, 0 refused, 1 failed");
    folder.Add("d.bvh", walk);
    std::filesystem::remove(folder.Path("out/b.bvh"));
    expect("out: 2 filtered, 2 up to date, 0 refused, 0 failed");
    // An input or an output that is another one counts as new.
    folder.Add("a.bvh", walk + "\n");
    folder.Add("out/c.bvh", "broken");
    expect("out: 2 filtered, 2 up to date, 0 refused, 0 failed");
    expect("out: 4 filtered, 0 up to date, 0 refused, 0 failed", " --apply unroll");
    expect("out: 4 filtered, 0 up to date, 0 refused, 0 failed");
    // A line that was cut off, and what is no record, are passed over.
    const std::string records = FileContent(folder.Path("out/.yfcurve-batch/records.jsonl"));
    folder.Add("out/.yfcurve-batch/records.jsonl", "{\"run\":{}}\n" + records.substr(0, records.size() - 9));
    expect("out: 1 filtered, 3 up to date, 0 refused, 0 failed");
    expect("out: 0 filtered, 4 up to date, 0 refused, 0 failed");
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
    // In two shards, the second first, and in one of three, which finds what the two have done.
    const ProgramRun twice =
        RunIn(parts,
              "batch in --recursive --make-list list; for i in 2/2 1/2 1/3; do batch --list "
              "list --shard $i --pages pages; batch --merge --list list --pages pages --make-list "
              "left-${i%/*}; done;"
              "batch --merge --list list --pages pages --report r.html --json >r.json");
    EXPECT_EQ(twice.exitCode, 1);
    // What is not done is told after each: half of four files, then none, although one of them failed.
    const std::string left = FileContent(parts.Path("left-2"));
    EXPECT_EQ(std::count(left.begin(), left.end(), '\n'), 2);
    EXPECT_EQ(FileContent(parts.Path("left-1")), "");
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
    const auto& world = files[1]["report"]["world"];
    EXPECT_TRUE(Holds(page, world["joint"].get<std::string>() + " at " + world["time"].dump() + " s"));
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
    EXPECT_TRUE(Holds(refused.output, "\"state\":\"busy\"") && Holds(refused.output, "\n1\n"));
    EXPECT_TRUE(Holds(refused.errors, "another process is making this file"));
    EXPECT_FALSE(std::filesystem::exists(folder.Path("out/a.bvh")));
    // What a process that was killed left behind is no obstacle.
    EXPECT_EQ(RunIn(folder, command).exitCode, 0);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Path("out")), {}), 1);
}

TEST(Batch, FiltersAnewAnInputThatWasWrittenToMeanwhile)
{
    const TemporaryFolder folder;
    folder.Add("a.bvh", FileContent(ExampleWalk()));
    // The page goes into a pipe, which is opened when the input has been read, and holds the batch up.
    const ProgramRun run = RunIn(
        folder,
        "mkdir p; mkfifo p/a.bvh.html; batch a.bvh --pages p & exec 3<p/a.bvh.html; sleep 0.1; echo >>a.bvh; "
        "cat <&3 >/dev/null; wait $!; rm p/a.bvh.html; batch a.bvh --pages p");
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    EXPECT_FALSE(Holds(run.output, "1 up to date")) << run.output;
}

TEST(Batch, RefusesCommandsThatWouldReplaceFilesOrMeanNothing)
{
    const TemporaryFolder folder;
    for (const char* name : {"a.bvh", "b.bvh", "c.csv"}) folder.Add(name, FileContent(ExampleWalk()));
    const std::string one = "'" + kProgram + "' batch a.bvh --apply unroll ";
    const std::pair<std::string, const char*> cases[] = {
        {"batch --make-list *.bvh", "has the name of a motion file"},
        {"batch a.bvh --times b.bvh", ".csv"},
        {"batch c.csv --times c.csv", "c.csv"},
        {"batch c.csv --make-list ./c.csv", "c.csv"},
        {"batch --merge --slurm a.bvh", "leave out --slurm"},
        {one + "--one out/a.bvh --json", "leave out --json"},
        {one + "--one other/a.bvh --out out", "is not below out"},
        {one + "--one out --out out", "is not below out"},
    };
    for (const auto& [command, message] : cases) {
        const ProgramRun run = RunIn(folder, command);
        EXPECT_NE(run.exitCode, 0) << command;
        EXPECT_TRUE(Holds(run.errors, message)) << command << ": " << run.errors;
    }
    for (const char* name : {"a.bvh", "b.bvh", "c.csv"})
        EXPECT_EQ(FileContent(folder.Path(name)), FileContent(ExampleWalk())) << name;
    const ProgramRun run = RunIn(folder, one + "--out out --one $PWD/out/day/a.bvh");
    EXPECT_TRUE(Holds(run.output, "{\"name\":\"day/a.bvh\"")) << run.errors;
}

TEST(Batch, CountsWhatIsRefusedAndWhatHasNothingToDo)
{
    const TemporaryFolder folder;
    folder.Add("a.bvh", FileContent(ExampleWalk()));
    const auto run = [&](const char* step) {
        return RunYFCurve(
            {"batch", folder.Path("a.bvh"), "--out", folder.Path("out"), "--again", "--apply", step});
    };
    EXPECT_TRUE(Ended(run("offset:Offset=0"), 0, "1 of them had nothing to do"));
    std::filesystem::remove(folder.Path("out/a.bvh"));
    const ProgramRun refused = run("butterworth:SamplingRate=1e12");
    EXPECT_TRUE(Ended(refused, 1, "0 filtered") &&
                Ended(refused, 1, "1 of them refused: butterworth: Bad Sampling Rate"))
        << refused.output;
    EXPECT_FALSE(std::filesystem::exists(folder.Path("out/a.bvh")));
}

TEST(Batch, SaysOfEachFileWhatFilterSays)
{
    const TemporaryFolder folder;
    const std::string late = folder.Path("late.ytalo");
    ASSERT_EQ(RunYFCurve({"clip", ExampleWalk(), late, "--shift", "2"}).exitCode, 0);
    folder.Add("walk.bvh", FileContent(ExampleWalk()));
    folder.Add("damaged.ytalo",
               "ytalo 1\nChannel: \"X\" {\nKeyVer: 4006\nKeyCount: 2\nKey: @0 1.0 'L' @9 2.0 '?'\n}\n");
    const ProgramRun all = RunYFCurve({"batch", folder.Path("*.*"), "--out", folder.Path("out"), "--to",
                                       "bvh", "--apply", "offset:Offset=1", "--json"});
    const auto files = nlohmann::json::parse(all.output);
    ASSERT_EQ(files.size(), 3u);
    const std::pair<std::string, std::string> notes[] = {
        {"damaged", "3 unknown fields left out, the first in line 3"},
        {"late", "which starts at 2 s"},
        {"walk", ""}};
    for (const auto& [name, part] : notes) {
        const auto file = std::find_if(files.begin(), files.end(),
                                       [&](const auto& each) { return each["name"] == name + ".bvh"; });
        const std::string note = file->contains("notes") ? (*file)["notes"][0].get<std::string>() : "";
        const std::string input = (*file)["input"];
        EXPECT_TRUE(Holds(note, part.empty() ? "" : input + ": ") && Holds(note, part));
        EXPECT_TRUE(Holds(all.errors, note));
        const Words one{"filter", input, folder.Path("one.bvh"), "--apply", "offset:Offset=1"};
        EXPECT_TRUE(Holds(RunYFCurve(one).errors, note)) << name;
        EXPECT_EQ((*file)["state"], name == "damaged" ? "failed" : "filtered");
    }
}

TEST(Batch, ComparesFiguresByTheirHeightAndSaysHowToDoOneAgain)
{
    const TemporaryFolder folder;
    // The offset goes to places and angles alike: it moves the tall one farther, the small one by more of its height,
    // of which its foot slides by more, too.
    // The foot of the highest one never stands.
    for (const auto& [name, height, slide] :
         {std::tuple{"tall.bvh", 100, 5.0}, {"small.bvh", 1, 0.1}, {"quick.bvh", 1000, 1e3}}) {
        std::string motion = fmt::format(
            "HIERARCHY\nROOT Hips\n{{\nOFFSET 0 0 0\nCHANNELS 4 Xposition Xrotation Yrotation Zrotation\n"
            "JOINT Foot\n{{\nOFFSET 0 -{} 0\nCHANNELS 1 Xposition\n}}\n}}\n"
            "MOTION\nFrames: 11\nFrame Time: 0.1\n",
            height);
        for (int i = 0; i <= 10; ++i) motion += fmt::format("0 0 0 0 {}\n", slide * i / 10);
        folder.Add(name, motion);
    }
    Words arguments{
        "batch", folder.Path("*.bvh"), "--out", folder.Path("out"), "--apply", "offset:Offset=10", "--node",
        "H*",    "--animation",        "Run"};
    const std::string told = RunYFCurve(arguments).output;
    EXPECT_TRUE(Holds(told, "for the height of its figure: Foot of " + folder.Path("small.bvh"))) << told;
    EXPECT_TRUE(Holds(told, "foot that slides most for the height of its figure: Foot of " +
                                folder.Path("small.bvh") + ", 0.100 -> "));
    arguments.insert(arguments.end(), {"--pages", folder.Path("pages"), "--report", folder.Path("all.html")});
    const auto files = JsonOf(arguments);
    EXPECT_TRUE(Holds(FileContent(folder.Path("all.html")), "\"foot that slides most\">-</td></tr>"));
    EXPECT_EQ(files[0]["name"], "small.bvh");
    EXPECT_LT(files[0]["report"]["world"]["largest"], files[1]["report"]["world"]["largest"]);
    EXPECT_TRUE(Holds(FileContent(folder.Path("pages/small.bvh.html")),
                      "--apply offset:Offset=10 --node 'H*' --animation Run"));
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
    const char* const failures[] = {nullptr, "signal 9", "no", "the worker ended without a result"};
    for (std::size_t i = 0; i < results.size(); ++i) {
        const bool isGood = i == 0 || i > 3;
        EXPECT_EQ(results[i].done, isGood);
        EXPECT_TRUE(isGood ? results[i].text == work(i) : Holds(results[i].text, failures[i])) << i;
    }
}
