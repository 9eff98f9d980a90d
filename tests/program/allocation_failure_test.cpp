// Wherever memory runs out, a command says so, and leaves all files as they were.

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>
#include <algorithm>
#include <cstdlib>
#include <iostream>
#include <map>
#include <new>
#include <random>

#include "program/program.h"
#include "tests/motion_support.h"
#include "tests/small_motion.h"
#include "tests/test_environment.h"
#include "ymotion/ymotion.h"

namespace {

/// Which allocations of this process fail.
struct Failing
{
    bool active = false;
    bool forGood = false;  ///< all from the first that fails
    long first = 0;        ///< counted from 1; 0 for none
    long count = 0;

    bool Next()
    {
        if (!active) return false;
        ++count;
        return count == first || (forGood && first > 0 && count > first);
    }
};

Failing failing;

void* Allocate(std::size_t size, std::size_t alignment)
{
    if (failing.Next()) throw std::bad_alloc();
    size = std::max<std::size_t>(size, 1);
    void* memory = alignment == 0
                       ? std::malloc(size)
                       : std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

// The whole program's. Those for arrays and those that return null call these.
void* operator new(std::size_t size)
{
    return Allocate(size, 0);
}
void* operator new(std::size_t size, std::align_val_t alignment)
{
    return Allocate(size, static_cast<std::size_t>(alignment));
}
// Sanitizers have one of their own, whose memory is not to be freed here.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    try {
        return Allocate(size, 0);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}
void operator delete(void* memory) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept
{
    std::free(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    std::free(memory);
}

namespace {

struct Outcome
{
    int code = -1;  ///< of the exit; below 0 for a signal
    long allocations = 0;
    std::string errors;
};

/// Runs a command in a copy of this process.
Outcome RunCommand(const std::vector<std::string>& words, long first, bool forGood)
{
    static long* const shared = static_cast<long*>(
        mmap(nullptr, sizeof(long), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    *shared = 0;
    const TemporaryFolder folder;
    const std::string errors = folder.Path("errors");
    const pid_t child = fork();
    if (child == 0) {
        dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
        dup2(open(errors.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
        std::vector<const char*> arguments{"yfcurve"};
        for (const std::string& word : words) arguments.push_back(word.c_str());
        failing = {true, forGood, first, 0};
        const int code = program::RunProgram(static_cast<int>(arguments.size()), arguments.data());
        failing.active = false;
        *shared = failing.count;
        _exit(code);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), *shared, FileContent(errors)};
}

}  // namespace

TEST(AllocationFailure, IsOneMessageAndLosesNothing)
{
    const TemporaryFolder folder;
    const std::string motion = folder.Add("motion.bvh", test::kSmallMotion);
    const std::string scene = folder.Path("scene.ytalo");
    const std::string target = folder.Path("target.ytalo");
    ASSERT_EQ(RunYFCurve({"convert", motion, scene}).exitCode, 0);
    ASSERT_EQ(RunYFCurve({"layer", "add", scene, "A"}).exitCode, 0);
    ASSERT_EQ(RunYFCurve({"plot-into-layer", scene, "A", "--node", "Leg"}).exitCode, 0);
    const std::vector<std::vector<std::string>> commands = {
        {"info", motion},
        {"info", folder.Add("broken.bvh", "HIERARCHY\nROOT")},
        {"check", scene},
        {"eval", scene},
        {"diff", motion, scene},
        {"convert", motion, target},
        {"convert", scene, target},
        {"layer", "add", target, "B"},
        {"layer", "merge", target},
        {"plot-into-layer", target, "A", "--node", "Hips"},
        {"keys", target, "--select", "0:0.05", "--move", "0.1,1", "--ripple", "--copy", "-o", target},
        {"filter", target, target, "--apply", "unroll", "--apply", "key-reducer", "--apply", "smooth2"},
        {"clip", scene, target, "--trim", "0:0.1", "--speed=0.5", "--reverse", "--mirror", "--order=XYZ"},
        {"clip", motion, target, "--loop=2", "--blend=0.05", "--rate=40", "--resample", "--drop=Leg"},
        {"join", motion, motion, "-o", target, "--blend", "0.05", "--align"},
        {"plot", scene, "-o", folder.Path("picture.svg")},
    };
    const char* places = std::getenv("YFCURVE_ALLOCATIONS");
    const long samples = places != nullptr ? std::max(1L, std::atol(places)) : 20;
    std::mt19937 random(test::Seed());
    // Most allocations are those of the command line, alike in all commands.
    const long before = RunCommand({"info", folder.Path("none")}, 0, false).allocations - 50;
    SCOPED_TRACE(test::HowToRepeat());
    const std::string old = FileContent(scene);
    folder.Add("picture.svg", "old");
    for (const std::vector<std::string>& command : commands) {
        folder.Add("target.ytalo", old);
        const Outcome whole = RunCommand(command, 0, false);
        ASSERT_LE(whole.code, 1) << whole.errors;
        const std::string finished = FileContent(target) + FileContent(folder.Path("picture.svg"));
        const std::vector<std::string> names = folder.Names();
        std::map<int, int> codes;
        long runs = 0;
        const long step = std::max(1L, (whole.allocations - before) / samples);
        std::vector<long> tried;
        for (int i = 0; i < 3; ++i) tried.push_back(1 + static_cast<long>(random()) % before);
        for (long first = before + static_cast<long>(random()) % step; first <= whole.allocations;
             first += step)
            tried.push_back(first);
        for (const long first : tried) {
            for (const bool forGood : {false, true}) {
                SCOPED_TRACE(testing::PrintToString(command) + " at allocation " + std::to_string(first) +
                             (forGood ? " and on" : ""));
                folder.Add("target.ytalo", old);
                folder.Add("picture.svg", "old");
                const Outcome outcome = RunCommand(command, first, forGood);
                ++runs;
                ++codes[outcome.code];
                const std::string now = FileContent(target) + FileContent(folder.Path("picture.svg"));
                EXPECT_EQ(folder.Names(), names);
                // Some do with less memory.
                if (outcome.errors == whole.errors && outcome.code == whole.code) {
                    EXPECT_TRUE(now == finished);
                    continue;
                }
                EXPECT_EQ(outcome.code, 1);
                EXPECT_TRUE(now == old + "old");
                EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1)
                    << outcome.errors;
                EXPECT_NE(outcome.errors.find("out of memory"), std::string::npos) << outcome.errors;
                EXPECT_NE(outcome.errors.find(folder.Path("")), std::string::npos) << outcome.errors;
            }
        }
        if (places != nullptr) {
            std::cout << command[0] << ": " << whole.allocations << " allocations, " << runs
                      << " runs, exit codes " << testing::PrintToString(codes) << '\n';
        }
    }
}

TEST(AllocationFailure, LeavesNoFunctionOfTheFaceAsAnException)
{
    long all = 1;
    for (long first = 0; first <= all; first += 1 + first / 20) {
        YMotion motion;
        std::string text = "old";
        failing = {true, false, first, 0};
        const bool isDone = motion.LoadText(test::kSmallMotion.data(), test::kSmallMotion.size(), "motion") &&
                            motion.AddLayer("A") == 1 && motion.SaveText(text, "bvh") && motion.PlotSvg(text);
        failing.active = false;
        if (first == 0) all = failing.count;
        if (isDone) continue;  // some do with less memory
        EXPECT_EQ(motion.GetError().GetLastErrorID(), YMotion::eErrorMemory) << first;
        EXPECT_TRUE(text == "old" || text.find("HIERARCHY") == 0) << first;
    }
}
