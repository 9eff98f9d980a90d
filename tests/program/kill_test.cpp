// A process that is killed leaves every file that it writes as it was or as it would have become.

#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <random>
#include <thread>

#include <nlohmann/json.hpp>

#include "tests/motion_support.h"
#include "tests/test_environment.h"

namespace {

using Clock = std::chrono::steady_clock;

/// A command that writes; its words are run in a folder with "in.bvh" and "in.ytalo".
struct WritingCommand
{
    std::vector<std::string> words;
    std::vector<std::string> outputs;  ///< paths below the folder
};

const std::vector<WritingCommand>& Commands()
{
    static const std::vector<WritingCommand> commands = {
        {{"convert", "in.bvh", "new.ytalo"}, {"new.ytalo"}},
        {{"convert", "in.ytalo", "in.bvh"}, {"in.bvh"}},
        {{"convert", "in.bvh", "new.glb"}, {"new.glb"}},
        {{"filter", "in.ytalo", "in.ytalo", "--apply", "butterworth", "--report", "page.html"},
         {"in.ytalo", "page.html"}},
        {{"clip", "in.bvh", "in.bvh", "--trim", "0:1", "--mirror"}, {"in.bvh"}},
        {{"join", "in.bvh", "in.bvh", "-o", "joined.bvh"}, {"joined.bvh"}},
        {{"eval", "in.bvh", "-o", "table.csv"}, {"table.csv"}},
        {{"plot", "in.bvh", "-o", "picture.svg"}, {"picture.svg"}},
        {{"keys", "in.ytalo", "--select", ":", "--move", "1,1", "-o", "in.ytalo"}, {"in.ytalo"}},
        {{"plot-into-layer", "in.ytalo", "A", "--from", "in.bvh", "--rate", "10"}, {"in.ytalo"}},
        {{"layer", "add", "in.ytalo", "C"}, {"in.ytalo"}},
        {{"layer", "remove", "in.ytalo", "A"}, {"in.ytalo"}},
        {{"layer", "rename", "in.ytalo", "A", "D"}, {"in.ytalo"}},
        {{"layer", "weight", "in.ytalo", "A", "0.5"}, {"in.ytalo"}},
        {{"layer", "mode", "in.ytalo", "A", "override"}, {"in.ytalo"}},
        {{"layer", "mute", "in.ytalo", "A"}, {"in.ytalo"}},
        {{"layer", "solo", "in.ytalo", "A"}, {"in.ytalo"}},
        {{"layer", "lock", "in.ytalo", "A"}, {"in.ytalo"}},
        {{"layer", "merge", "in.ytalo", "A", "B"}, {"in.ytalo"}},
        {{"batch", "in.bvh", "in.ytalo", "--out", "out", "--again", "--jobs", "2", "--apply", "unroll"},
         {"out/in.bvh", "out/in.ytalo"}},
    };
    return commands;
}

/// That of a batch, where there is one.
bool IsRecordWhole(const TemporaryFolder& folder)
{
    const std::string record = FileContent(folder.Path("out/.yfcurve-batch.json"));
    return record.empty() || nlohmann::json::accept(record);
}

/// Starts a command in a process group of its own.
pid_t Start(const TemporaryFolder& folder, const WritingCommand& command)
{
    const pid_t child = fork();
    if (child != 0) {
        setpgid(child, child);
        return child;
    }
    setpgid(0, 0);
    if (chdir(folder.Path("").c_str()) != 0) _exit(99);
    setenv("SOURCE_DATE_EPOCH", "0", 1);
    std::vector<char*> words{const_cast<char*>(kProgram.c_str())};
    for (const std::string& word : command.words) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    const bool silent =
        freopen("/dev/null", "w", stdout) != nullptr && freopen("/dev/null", "w", stderr) != nullptr;
    if (silent) execv(kProgram.c_str(), words.data());
    _exit(99);
}

int Finish(pid_t child)
{
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

std::vector<std::string> ContentOf(const TemporaryFolder& folder, const WritingCommand& command)
{
    std::vector<std::string> content;
    for (const std::string& output : command.outputs) content.push_back(FileContent(folder.Path(output)));
    return content;
}

std::vector<std::string> FilesOf(const TemporaryFolder& folder)
{
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder.Path("")))
        files.push_back(std::filesystem::relative(entry.path(), folder.Path("")).string());
    std::sort(files.begin(), files.end());
    return files;
}

/// The files that every command starts from.
class Beginning
{
  public:
    Beginning()
    {
        const std::string scene = mFolder.Path("in.ytalo");
        mFolder.Add("in.bvh", FileContent(ExampleWalk()));
        EXPECT_EQ(RunYFCurve({"convert", ExampleWalk(), scene}).exitCode, 0);
        for (const char* layer : {"A", "B"}) {
            EXPECT_EQ(RunYFCurve({"layer", "add", scene, layer}).exitCode, 0);
            EXPECT_EQ(RunYFCurve({"plot-into-layer", scene, layer, "--node", "Hips"}).exitCode, 0);
        }
    }

    void CopyTo(const TemporaryFolder& folder) const
    {
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path("")))
            std::filesystem::remove_all(entry.path());
        std::filesystem::copy(mFolder.Path(""), folder.Path(""));
    }

  private:
    TemporaryFolder mFolder;
};

int KillsToDo()
{
    const char* text = std::getenv("YFCURVE_KILLS");
    return text != nullptr ? std::atoi(text) : 2 * static_cast<int>(Commands().size());
}

}  // namespace

TEST(Kill, LeavesEveryFileOldOrNew)
{
    const Beginning start;
    std::mt19937 random(test::Seed());
    SCOPED_TRACE(test::HowToRepeat());
    const int kills = KillsToDo();
    int done = 0;
    int killed = 0;
    int changed = 0;
    for (std::size_t c = 0; c < Commands().size(); ++c) {
        const WritingCommand& command = Commands()[c];
        SCOPED_TRACE(testing::PrintToString(command.words));
        const TemporaryFolder folder;
        start.CopyTo(folder);
        const std::vector<std::string> before = ContentOf(folder, command);
        const auto began = Clock::now();
        ASSERT_EQ(Finish(Start(folder, command)), 0);
        const std::chrono::duration<double> whole = Clock::now() - began;
        const std::vector<std::string> after = ContentOf(folder, command);
        const std::vector<std::string> files = FilesOf(folder);
        const int share = kills * static_cast<int>(c + 1) / static_cast<int>(Commands().size());
        for (; done < share; ++done) {
            start.CopyTo(folder);
            // Files are written at the end: every other kill is aimed at that.
            const double from = done % 2 == 0 ? 0.0 : 0.6;
            const double moment = std::uniform_real_distribution<double>(from, 1.05)(random);
            const pid_t child = Start(folder, command);
            std::this_thread::sleep_for(moment * whole);
            kill(-child, SIGKILL);
            killed += Finish(child) == -SIGKILL ? 1 : 0;
            const std::vector<std::string> now = ContentOf(folder, command);
            for (std::size_t i = 0; i < now.size(); ++i) {
                EXPECT_TRUE(now[i] == before[i] || now[i] == after[i]) << command.outputs[i];
                changed += now[i] == after[i] ? 1 : 0;
            }
            EXPECT_TRUE(IsRecordWhole(folder));
            // The next one starts from there, and leaves nothing behind of the one that was killed.
            if (done % 10 != 9) continue;
            const bool isOld = now == before;
            EXPECT_TRUE(Finish(Start(folder, command)) == 0 || !isOld);
            EXPECT_EQ(FilesOf(folder), files);
        }
    }
    std::cout << done << " kills, " << killed << " before the end, " << changed << " files were new\n";
}
