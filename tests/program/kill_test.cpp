// A process that is killed leaves every file that it writes as it was or as it would have become.

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <sstream>
#include <system_error>
#include <thread>

#include "tests/motion_support.h"
#include "tests/test_environment.h"

namespace {

/// A command that writes, in a folder with "in.bvh" and "in.ytalo".
struct WritingCommand
{
    const char* words;
    const char* outputs;  ///< paths below the folder
};

constexpr WritingCommand kCommands[] = {
    {"convert in.bvh new.ytalo", "new.ytalo"},
    {"convert in.ytalo in.bvh", "in.bvh"},
    {"convert in.bvh new.glb", "new.glb"},
    {"filter in.ytalo in.ytalo --apply butterworth --report page.html", "in.ytalo page.html"},
    {"clip in.bvh in.bvh --trim 0:1 --mirror", "in.bvh"},
    {"join in.bvh in.bvh -o joined.bvh", "joined.bvh"},
    {"eval in.bvh -o table.csv", "table.csv"},
    {"plot in.bvh -o picture.svg", "picture.svg"},
    {"keys in.ytalo --select : --move 1,1 -o in.ytalo", "in.ytalo"},
    {"plot-into-layer in.ytalo A --from in.bvh --rate 10", "in.ytalo"},
    {"layer add in.ytalo C", "in.ytalo"},
    {"layer remove in.ytalo A", "in.ytalo"},
    {"layer merge in.ytalo A B", "in.ytalo"},
    {"batch in.bvh in.ytalo --out out --again --jobs 2 --apply unroll", "out/in.bvh out/in.ytalo"},
};

/// Runs a command, which is killed with its workers after that many seconds.
/// \return  its exit code, or 137 when it was killed.
int RunUntil(const TemporaryFolder& folder, const WritingCommand& command, double seconds)
{
    const std::string line = "cd '" + folder.Path("") + "'; SOURCE_DATE_EPOCH=0 exec timeout -s KILL " +
                             std::to_string(seconds) + " '" + kProgram + "' " + command.words;
    return RunProgram("bash", {"-c", line}).exitCode;
}

/// Waits until no process works in a folder any more. A process that is killed goes on existing for a moment, in which
/// the kernel still holds the locks on its files; the next command would take these files for another process's work.
void WaitUntilLeft(const TemporaryFolder& folder)
{
    namespace fs = std::filesystem;
    const fs::path place = fs::canonical(folder.Path(""));
    const auto isInUse = [&] {
        std::error_code error;
        for (const fs::directory_entry& process : fs::directory_iterator("/proc"))
            if (fs::read_symlink(process.path() / "cwd", error) == place) return true;
        return false;
    };
    for (int i = 0; i < 500 && isInUse(); ++i) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

Words ContentOf(const TemporaryFolder& folder, const WritingCommand& command)
{
    Words content;
    std::istringstream outputs(command.outputs);
    for (std::string output; outputs >> output;) content.push_back(FileContent(folder.Path(output)));
    return content;
}

void Fill(const TemporaryFolder& folder, const TemporaryFolder& from)
{
    for (const std::string& name : folder.Names()) std::filesystem::remove_all(folder.Path(name));
    std::filesystem::copy(from.Path(""), folder.Path(""));
}

}  // namespace

TEST(Kill, LeavesEveryFileOldOrNew)
{
    const TemporaryFolder start;
    const TemporaryFolder folder;
    const std::string scene = start.Path("in.ytalo");
    start.Add("in.bvh", FileContent(ExampleWalk()));
    ASSERT_EQ(RunYFCurve({"convert", ExampleWalk(), scene}).exitCode, 0);
    for (const char* layer : {"A", "B"}) {
        ASSERT_EQ(RunYFCurve({"layer", "add", scene, layer}).exitCode, 0);
        ASSERT_EQ(RunYFCurve({"plot-into-layer", scene, layer, "--node", "Hips"}).exitCode, 0);
    }
    test::RandomEngine random;
    const char* asked = std::getenv("YFCURVE_KILLS");
    const int kills = asked != nullptr ? std::atoi(asked) / static_cast<int>(std::size(kCommands)) : 2;
    for (const WritingCommand& command : kCommands) {
        SCOPED_TRACE(command.words);
        Fill(folder, start);
        const Words before = ContentOf(folder, command);
        const auto began = std::chrono::steady_clock::now();
        ASSERT_EQ(RunUntil(folder, command, 60.0), 0);
        const std::chrono::duration<double> whole = std::chrono::steady_clock::now() - began;
        const Words after = ContentOf(folder, command);
        const Words names = folder.Names();
        for (int i = 0; i < kills; ++i) {
            Fill(folder, start);
            // Files are written at the end: every other kill is aimed at that.
            const double from = i % 2 == 0 ? 0.0 : 0.6;
            RunUntil(folder, command,
                     std::uniform_real_distribution(from, 1.05)(random) * whole.count() + 1e-3);
            WaitUntilLeft(folder);
            const Words now = ContentOf(folder, command);
            for (std::size_t k = 0; k < now.size(); ++k)
                EXPECT_TRUE(now[k] == before[k] || now[k] == after[k]);
            // The next one starts from there, and leaves nothing behind of the one that was killed.
            EXPECT_TRUE(RunUntil(folder, command, 60.0) == 0 || now == after);
            EXPECT_EQ(folder.Names(), names);
        }
    }
}
