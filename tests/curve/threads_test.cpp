// Meant for the thread sanitizer: one curve that does not change, read by many threads. And a process that forks.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>
#include <vector>

#include "random_curve.h"

using namespace yfc::test;

namespace {

constexpr int kThreads = 8;

// Everything that a thread with a hint of its own may ask.
std::vector<double> AskEverything(const YFCurve& curve, std::uint64_t seed)
{
    Random random(seed);
    int hint = 0;
    std::vector<double> found;
    for (int i = 0; i < 400; ++i) {
        const YTime time = Sec(random.Real(-40.0, 120.0));
        const int key = random.Int(0, curve.KeyGetCount() - 1);
        for (const double value :
             {double{curve.Evaluate(time, &hint)}, curve.KeyFindAll(time, &hint),
              double{curve.EvaluateLeftDerivative(time, &hint)},
              double{curve.EvaluateRightDerivative(time, &hint)}, double{curve.KeyGetLeftAuto(key, true)}}) {
            found.push_back(value);
        }
    }
    return found;
}

// What a child does that has come without the other threads of its parent: 0 when counts and records are right. Its
// threads get the stacks of those.
[[maybe_unused]] int EditInChild(YFCurve& prepared, std::uint32_t defaultKeys)
{
    alarm(20);
    int added = 0;
    const auto addAndRemove = [&] {
        for (int i = 0; i < 100; ++i)
            added += prepared.KeyAdd(Sec(i), UserKey(1.0f, static_cast<float>(i))) == i;
        prepared.Delete(0, 99);
    };
    addAndRemove();
    for (int i = 0; i < 3; ++i) std::thread(addAndRemove).join();
    return added == 400 && YFCURVE_GetDefaultKeyAttrRefCount() == defaultKeys ? 0 : 1;
}

}  // namespace

// Storage and attribute records of other curves come and go meanwhile.
TEST(Threads, EvaluateOneCurveWithHintsOfTheirOwn)
{
    RandomCurves random(11);
    for (const int keyCount : {1, 2, 60, 500}) {
        YFCurvePtr curve = random.Curve(keyCount);
        random.SetAnyExtrapolation(*curve);
        const std::vector<double> expected = AskEverything(*curve, 1);
        std::atomic<int> different = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&] { different += AskEverything(*curve, 1) != expected; });
        }
        for (int i = 0; i < 10; ++i) random.Curve(500);
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(different, 0);
    }
}

#if !defined(__SANITIZE_THREAD__)  // which ends such children
TEST(Forking, LeavesTheChildThePool)
{
    YFCurve prepared;
    prepared.ResizeKeyBuffer(100, false);
    std::atomic<bool> isOver = false;
    std::atomic<int> rounds = 0;
    std::thread editor([&] {
        YFCurve curve;
        for (int i = 0; i < 100; ++i) curve.KeyAppendFast(Sec(i), 1.0f);
        while (!isOver) {
            for (int i = 100; i < 200; ++i) curve.KeyAdd(Sec(i), UserKey(1.0f, static_cast<float>(i)));
            curve.Delete(100, 199);
            ++rounds;
        }
    });
    while (rounds == 0) std::this_thread::yield();
    const std::uint32_t defaultKeys = YFCURVE_GetDefaultKeyAttrRefCount();
    int status = 0;
    for (int i = 0; i < 40 && status == 0; ++i) {
        const pid_t child = fork();
        if (child == 0) _exit(EditInChild(prepared, defaultKeys));
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << "child " << i;
    }
    isOver = true;
    editor.join();
}
#endif
