// Parts of one scene on several threads.

#include "ymotion/filtering/piecework.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <vector>

TEST(PieceWork, DoesEveryPieceOnceAndFailsAsOneWould)
{
    for (const std::size_t jobs : {1, 2, 5}) {
        for (const std::size_t count : {0, 1, 3, 100}) {
            std::vector<std::atomic<int>> done(count);
            std::vector<int> told(count);
            ymotion::DoPieces(
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
            ymotion::DoPieces(
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
