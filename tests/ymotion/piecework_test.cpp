// Scenes, and parts of one scene, on several threads.

#include "ymotion/filtering/piecework.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "tests/motion_support.h"
#include "ymotion/filtering/filter_catalogue.h"
#include "ymotion/filtering/filter_pipeline.h"
#include "ymotion/ymotion.h"

using namespace ymotion;

namespace {

// Filters that do something to the walk.
const std::vector<std::vector<std::string>> kChains = {
    {"unroll", "butterworth:CutOffFreq=7", "key-reducer:Precision=0.5"},
    {"euler-to-quat", "smooth", "quat-to-euler"},
    {"resample", "peak-remover", "gimble-killer"},
    {"trs:T=1,0,0", "roll", "constant-key-reducer"}};

std::string Outcome(const FilterOutcome& outcome)
{
    std::string text;
    for (const StepOutcome& step : outcome.steps) {
        text += step.name;
        for (const auto count : {step.changed, step.unchanged, step.refused, step.locked, step.skipped})
            text += " " + std::to_string(count);
        for (const FilterNote& note : step.refusals)
            text += note.message + note.first + std::to_string(note.count);
    }
    for (const TypeOutcome& type : outcome.types) {
        text += type.type + std::to_string(type.deviation.largest) + type.deviation.where +
                std::to_string(type.deviation.squares) + std::to_string(type.keysAfter);
    }
    return text;
}

}  // namespace

TEST(FilterJobs, ComeToWhatOneComesTo)
{
    for (const std::vector<std::string>& chain : kChains) {
        std::string texts[2];
        for (const std::size_t jobs : {1, 3}) {
            Scene scene = SceneOfText(FileContent(ExampleWalk()));
            std::vector<FilterStep> steps = ParseSteps(chain, &scene);
            std::size_t told = 0;
            std::size_t all = 0;
            const auto taken = [&](std::size_t done, std::size_t total) {
                EXPECT_EQ(done, told++);
                all = total;
            };
            texts[jobs / 2] = Outcome(ApplySteps(scene, steps, {}, taken, jobs)) + TaloTextOf(scene);
            EXPECT_EQ(told, all + 1);
        }
        EXPECT_TRUE(texts[0] == texts[1]) << chain.front();
    }
}

TEST(FilterJobs, LeaveTheSceneAsItWasWhenStopped)
{
    Scene scene = SceneOfText(FileContent(ExampleWalk()));
    const std::string before = TaloTextOf(scene);
    std::vector<FilterStep> steps = ParseSteps(kChains.front(), &scene);
    const auto stop = [](std::size_t done, std::size_t) {
        if (done == 20) throw std::runtime_error("stopped");
    };
    EXPECT_THROW(ApplySteps(scene, steps, {}, stop, 3), std::runtime_error);
    EXPECT_TRUE(TaloTextOf(scene) == before);
}

// Each thread has a scene of its own, at a rate of its own.
TEST(Scenes, AreFilteredSeveralAtATime)
{
    const auto filtered = [](std::size_t which) {
        YMotion motion;
        EXPECT_TRUE(motion.Load(ExampleWalk().c_str()));
        motion.SetFrameRate({24 + 6 * static_cast<int>(which), 1});
        EXPECT_TRUE(motion.Filter(kChains[which], {}));
        std::string text;
        EXPECT_TRUE(motion.SaveText(text));
        return text;
    };
    std::vector<std::string> alone;
    for (std::size_t i = 0; i < kChains.size(); ++i) alone.push_back(filtered(i));
    std::vector<std::string> together(kChains.size());
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kChains.size(); ++i)
        threads.emplace_back([&, i] { together[i] = filtered(i); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_TRUE(alone == together);
    EXPECT_FALSE(alone[0] == alone[1]);
}

TEST(PieceWork, DoesEveryPieceOnceAndFailsAsOneWould)
{
    for (const std::size_t jobs : {1, 2, 5}) {
        for (const std::size_t count : {0, 1, 3, 100}) {
            std::vector<std::atomic<int>> done(count);
            std::vector<int> told(count);
            DoPieces(
                count, jobs,
                [&](std::size_t piece, std::size_t thread) {
                    EXPECT_LT(thread, jobs);
                    ++done[piece];
                },
                [&](std::size_t piece) { ++told[piece]; });
            for (std::size_t i = 0; i < count; ++i) EXPECT_EQ(done[i] + told[i], 2);
        }
        std::vector<std::atomic<int>> done(100);
        std::string failure;
        try {
            DoPieces(
                100, jobs,
                [&](std::size_t piece, std::size_t) {
                    if (piece == 40 || piece == 41) throw std::runtime_error(std::to_string(piece));
                    ++done[piece];
                },
                [](std::size_t piece) { EXPECT_LT(piece, 40u); });
        } catch (const std::runtime_error& error) {
            failure = error.what();
        }
        EXPECT_EQ(failure, "40");
        for (std::size_t i = 0; i < 40; ++i) EXPECT_EQ(done[i], 1);
    }
}
