#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <set>
#include <vector>

#include "tests/test_environment.h"
#include "ybaselib/ymemorypool.h"

namespace {

bool IsZero(const void* record, int size)
{
    const auto* bytes = static_cast<const unsigned char*>(record);
    return std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte == 0; });
}

// Against a plain map from reference to expected content, over sizes and chunk sizes that do not divide.
TEST(MemoryPool, KeepsEveryRecordToItself)
{
    SCOPED_TRACE(test::HowToRepeat());
    std::mt19937 random(test::Seed());
    for (const auto& [size, perChunk] : {std::pair{24, 1024}, {1024, 64}, {4, 2}, {37, 3}}) {
        YMemoryPool pool(size, perChunk, 0, true);
        std::map<YMemoryPool::Reference, std::pair<void*, unsigned char>> live;
        for (int step = 0; step < 20000; ++step) {
            // Waves of growing and shrinking, so that chunks empty and fill again.
            const bool growing = (step / 4000) % 2 == 0;
            if (live.empty() || random() % 10 < (growing ? 7u : 2u)) {
                const auto reference = pool.Allocate();
                ASSERT_NE(reference, 0u);
                void* record = pool.Get(reference);
                ASSERT_TRUE(IsZero(record, size));
                ASSERT_EQ(pool.Find(record), reference);
                const auto fill = static_cast<unsigned char>(1 + random() % 255);
                std::memset(record, fill, static_cast<std::size_t>(size));
                ASSERT_TRUE(live.emplace(reference, std::pair{record, fill}).second) << "handed out twice";
            } else {
                auto victim = live.lower_bound(static_cast<unsigned>(random()) % (live.rbegin()->first + 1));
                const auto& [record, fill] = victim->second;
                ASSERT_EQ(pool.Get(victim->first), record) << "a live record moved";
                const auto* bytes = static_cast<const unsigned char*>(record);
                ASSERT_EQ(std::count(bytes, bytes + size, fill), size);
                pool.Free(victim->first);
                live.erase(victim);
            }
            ASSERT_EQ(pool.GetLiveCount(), live.size());
        }
        for (const auto& entry : live) pool.Free(entry.first);
        EXPECT_EQ(pool.GetLiveCount(), 0u);
        EXPECT_LE(pool.GetChunkCount(), 2) << "empty chunks were kept";
    }
}

// Batches from chunks of 8, with every third record given back in between.
TEST(MemoryPool, HandsOutAndTakesBackManyAtOnce)
{
    YMemoryPool pool(12, 8, 0, true);
    std::set<YMemoryPool::Reference> live;
    for (const std::uint32_t batch : {1u, 5u, 40u, 8u, 3u}) {
        std::vector<YMemoryPool::Reference> taken(batch);
        ASSERT_EQ(pool.AllocateSome(taken.data(), batch), batch);
        for (const auto reference : taken) {
            std::memset(pool.Get(reference), 0xFF, 12);
            ASSERT_TRUE(reference != 0 && live.insert(reference).second) << "handed out twice";
        }
        std::vector<YMemoryPool::Reference> given;
        for (const auto reference : live) {
            if (reference % 9 == 0) given.push_back(reference);
        }
        for (const auto reference : given) live.erase(reference);
        pool.FreeSome(given.data(), static_cast<std::uint32_t>(given.size()));
        ASSERT_EQ(pool.GetLiveCount(), live.size());
    }
    const std::vector<YMemoryPool::Reference> rest(live.begin(), live.end());
    pool.FreeSome(rest.data(), static_cast<std::uint32_t>(rest.size()));
    EXPECT_LE(pool.GetChunkCount(), 2);
    EXPECT_TRUE(IsZero(pool.Get(pool.Allocate()), 12));
}

TEST(MemoryPool, ReferenceZeroIsNoRecord)
{
    YMemoryPool pool(24, 8, 1, true);
    EXPECT_EQ(pool.GetChunkCount(), 1);
    EXPECT_EQ(pool.Get(0), nullptr);
    EXPECT_TRUE(IsZero(pool.GetChunkTable()[0], 24)) << "reading through reference 0 gives zeros";
    pool.Free(0);
    int outside = 0;
    EXPECT_EQ(pool.Find(&outside), 0u);
    EXPECT_EQ(pool.GetLiveCount(), 0u);
}

TEST(MemoryPool, OneThatMayNotGrowEndsWithItsChunks)
{
    YMemoryPool pool(16, 4, 2, false);
    YMemoryPool::Reference all[9];
    EXPECT_EQ(pool.AllocateSome(all, 9), 7u) << "8 less the one behind reference 0";
    EXPECT_EQ(pool.Allocate(), 0u);
    pool.Free(3);
    EXPECT_EQ(pool.Allocate(), 3u);
}

}  // namespace
