// A process that forks while another of its threads edits.

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "random_curve.h"

using namespace yfc::test;

namespace {

// What a child does that has come without the other threads of its parent: 0 when counts and records are right. Its
// threads get the stacks of those.
[[maybe_unused]] int EditInChild(std::uint32_t defaultKeys)
{
    alarm(20);
    int added = 0;
    const auto addAndRemove = [&] {
        YFCurve curve;
        for (int i = 0; i < 100; ++i)
            added += curve.KeyAdd(Sec(i), UserKey(1.0f, static_cast<float>(i))) == i;
    };
    addAndRemove();
    for (int i = 0; i < 3; ++i) std::thread(addAndRemove).join();
    return added == 400 && YFCURVE_GetDefaultKeyAttrRefCount() == defaultKeys ? 0 : 1;
}

}  // namespace

// Under thread sanitizer such children are ended. Address sanitizer's allocator takes no care of a fork: a child that
// comes while another thread allocates waits for that thread forever, with or without this library.
#if !defined(__SANITIZE_THREAD__) && !defined(__SANITIZE_ADDRESS__)
TEST(Forking, LeavesTheChildThePool)
{
    std::atomic<bool> isOver = false;
    std::atomic<int> rounds = 0;
    std::thread editor([&] {
        YFCurve curve;
        for (int i = 0; i < 100; ++i) curve.KeyAppendFast(Sec(i), 1.0f);
        while (!isOver) {
            YFCurve other;
            for (int i = 0; i < 100; ++i) other.KeyAdd(Sec(i), UserKey(1.0f, static_cast<float>(i)));
            for (int i = 0; i < 100; ++i) other.ResizeKeyBuffer(64 * i, false);
            ++rounds;
        }
    });
    while (rounds == 0) std::this_thread::yield();
    const std::uint32_t defaultKeys = YFCURVE_GetDefaultKeyAttrRefCount();
    int status = 0;
    for (int i = 0; i < 40 && status == 0; ++i) {
        const pid_t child = fork();
        if (child == 0) _exit(EditInChild(defaultKeys));
        waitpid(child, &status, 0);
        EXPECT_EQ(status, 0) << "child " << i;
    }
    isOver = true;
    editor.join();
}
#endif
