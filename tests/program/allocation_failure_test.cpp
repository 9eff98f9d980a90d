// Wherever memory runs out, a command says so, and leaves all files as they were.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <fcntl.h>
#include <algorithm>
#include <climits>
#include <cstdlib>
#include <random>

#include "program/program.h"
#include "tests/memory/failing_heap.h"
#include "tests/motion_support.h"
#include "tests/small_motion.h"
#include "tests/test_environment.h"
#include "ymotion/ymotion.h"

namespace {

using test::FailingHeap;
using test::Shortage;

struct Outcome
{
    int code = -1;  ///< of the exit; below 0 for a signal
    long allocations = 0;
    std::string errors;
};

/// Runs a command in a copy of this process, in which so many allocations succeed.
Outcome RunCommand(const Words& words, long allowed, Shortage shortage)
{
    const TemporaryFolder folder;
    const std::string errors = folder.Path("errors");
    const pid_t child = fork();
    if (child == 0) {
        dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
        dup2(open(errors.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
        std::vector<const char*> arguments{"yfcurve"};
        for (const std::string& word : words) arguments.push_back(word.c_str());
        const long before = test::PiecesEver();
        int code = 0;
        {
            const FailingHeap heap(allowed, shortage);
            code = program::RunProgram(static_cast<int>(arguments.size()), arguments.data());
        }
        folder.Add("count", std::to_string(test::PiecesEver() - before));
        _exit(code);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status),
            std::atol(FileContent(folder.Path("count")).c_str()), FileContent(errors)};
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
    const std::vector<Words> commands = {
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
    const long samples = places != nullptr ? std::max(1L, std::atol(places)) : 8;
    test::RandomEngine random;
    const auto content = [&] { return FileContent(target) + FileContent(folder.Path("picture.svg")); };
    const auto run = [&](const Words& command, long allowed, Shortage shortage) {
        folder.Add("target.ytalo", FileContent(scene));
        folder.Add("picture.svg", "old");
        return RunCommand(command, allowed, shortage);
    };
    // Most allocations are those of the command line, alike in all commands.
    const long before = run({"info", folder.Path("none")}, LONG_MAX, Shortage::Once).allocations - 50;
    for (const Words& command : commands) {
        const Outcome whole = run(command, LONG_MAX, Shortage::Once);
        ASSERT_LE(whole.code, 1) << whole.errors;
        const std::string finished = content();
        const Words names = folder.Names();
        const long step = std::max(1L, (whole.allocations - before) / samples);
        std::vector<long> tried;
        for (int i = 0; i < 3; ++i) tried.push_back(static_cast<long>(random()) % before);
        for (long at = before + static_cast<long>(random()) % step; at < whole.allocations; at += step)
            tried.push_back(at);
        for (const long allowed : tried) {
            for (const Shortage shortage : {Shortage::Once, Shortage::Lasting}) {
                SCOPED_TRACE(testing::PrintToString(command) + " after allocation " +
                             std::to_string(allowed) + (shortage == Shortage::Lasting ? ", lasting" : ""));
                const Outcome outcome = run(command, allowed, shortage);
                EXPECT_EQ(folder.Names(), names);
                // Some do with less memory.
                if (outcome.errors == whole.errors && outcome.code == whole.code) {
                    EXPECT_TRUE(content() == finished);
                    continue;
                }
                EXPECT_EQ(outcome.code, 1);
                EXPECT_TRUE(content() == FileContent(scene) + "old");
                EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1)
                    << outcome.errors;
                EXPECT_TRUE(Holds(outcome.errors, "out of memory"));
                EXPECT_TRUE(Holds(outcome.errors, folder.Path("")));
            }
        }
    }
}

TEST(AllocationFailure, LeavesNoFunctionOfTheFaceAsAnException)
{
    bool hasFailed = true;
    for (long allowed = 0; hasFailed; allowed += 1 + allowed / 20) {
        YMotion motion;
        std::string text = "old";
        bool isDone = false;
        {
            const FailingHeap heap(allowed, Shortage::Once);
            isDone = motion.LoadText(test::kSmallMotion.data(), test::kSmallMotion.size(), "motion") &&
                     motion.AddLayer("A") == 1 && motion.SaveText(text, "bvh") && motion.PlotSvg(text);
            hasFailed = heap.HasFailed();
        }
        if (isDone) continue;  // some do with less memory
        EXPECT_EQ(motion.GetError().GetLastErrorID(), YMotion::eErrorMemory) << allowed;
        EXPECT_TRUE(text == "old" || text.find("HIERARCHY") == 0) << allowed;
    }
}
