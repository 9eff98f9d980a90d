#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
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
    test::RandomEngine random;
    for (const auto& [size, perChunk] : {std::pair{24, 1024}, {1024, 64}, {4, 2}, {37, 3}}) {
        YMemoryPool pool(size, perChunk, 0, true);
        std::map<YMemoryPool::Reference, std::pair<void*, unsigned char>> live;
        for (int step = 0; step < 20000; ++step) {
            // Waves of growing and shrinking, so that chunks empty and fill again.
            const bool growing = (step / 4000) % 2 == 0;
            const bool isMany = random() % 8 == 0;
            std::vector<YMemoryPool::Reference> some(isMany ? random() % 12 : 1);
            if (live.size() < some.size() || random() % 10 < (growing ? 7u : 2u)) {
                if (isMany) {
                    ASSERT_EQ(pool.AllocateSome(some.data(), static_cast<std::uint32_t>(some.size())),
                              some.size());
                } else {
                    some[0] = pool.Allocate();
                }
                for (const auto reference : some) {
                    ASSERT_NE(reference, 0u);
                    void* record = pool.Get(reference);
                    ASSERT_TRUE(isMany || IsZero(record, size));
                    ASSERT_EQ(pool.Find(record), reference);
                    const auto fill = static_cast<unsigned char>(1 + random() % 255);
                    std::memset(record, fill, static_cast<std::size_t>(size));
                    ASSERT_TRUE(live.emplace(reference, std::pair{record, fill}).second)
                        << "handed out twice";
                }
            } else {
                for (auto& reference : some) {
                    auto victim =
                        live.lower_bound(static_cast<unsigned>(random()) % (live.rbegin()->first + 1));
                    const auto& [record, fill] = victim->second;
                    reference = victim->first;
                    ASSERT_EQ(pool.Get(reference), record) << "a live record moved";
                    const auto* bytes = static_cast<const unsigned char*>(record);
                    ASSERT_EQ(std::count(bytes, bytes + size, fill), size);
                    live.erase(victim);
                }
                if (isMany) {
                    pool.FreeSome(some.data(), static_cast<std::uint32_t>(some.size()));
                } else {
                    pool.Free(some[0]);
                }
            }
            ASSERT_EQ(pool.GetLiveCount(), live.size());
        }
        for (const auto& entry : live) pool.Free(entry.first);
        EXPECT_EQ(pool.GetLiveCount(), 0u);
        EXPECT_LE(pool.GetChunkCount(), 2) << "empty chunks were kept";
    }
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
