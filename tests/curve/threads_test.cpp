// Meant for the thread sanitizer: one curve that nobody changes, read by many threads.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "curve_fixtures.h"

using namespace yfc::test;

namespace {

constexpr int kThreads = 8;

// Everything that a thread with a hint of its own may ask.
std::vector<double> AskEverything(const YFCurve& curve, std::uint64_t seed)
{
    Random random(seed);
    int hint = 0;
    std::vector<double> answers;
    for (int i = 0; i < 400; ++i) {
        const YTime time = Sec(random.Real(-40.0, 120.0));
        answers.push_back(curve.Evaluate(time, &hint));
        answers.push_back(curve.KeyFind(time, &hint));
        answers.push_back(curve.KeyFindAll(time, &hint));
        answers.push_back(curve.EvaluateLeftDerivative(time, &hint));
        answers.push_back(curve.EvaluateRightDerivative(time, &hint));
        const int key = random.Int(0, curve.KeyGetCount() - 1);
        answers.push_back(curve.KeyGetRightDerivative(key));
        answers.push_back(curve.KeyGetLeftDerivative(key));
        answers.push_back(curve.KeyGetLeftAuto(key, true));
        answers.push_back(curve.KeyGet(key).GetValue());
    }
    return answers;
}

}  // namespace

// Storage and attribute records of other curves come and go meanwhile.
TEST(Threads, EvaluateOneCurveWithHintsOfTheirOwn)
{
    Random random(11);
    for (const int keyCount : {1, 2, 60, 500}) {
        YFCurvePtr curve = RandomCurve(random, keyCount);
        ExtrapolateRandomly(*curve, random);
        const std::vector<double> expected = AskEverything(*curve, 1);
        std::atomic<int> different = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < kThreads; ++i) {
            threads.emplace_back([&] { different += AskEverything(*curve, 1) != expected; });
        }
        for (int i = 0; i < 10; ++i) RandomCurve(random, 500);
        for (std::thread& thread : threads) thread.join();
        EXPECT_EQ(different, 0);
    }
}
