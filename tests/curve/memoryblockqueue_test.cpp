#include "yfcurve/ymemoryblockqueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "tests/test_environment.h"
#include "ybaselib/yglobalnamedevent.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurveptr.h"

namespace {

// What a host's static initialisers find, and a curve that they make and that dies after main.
const std::uint32_t gBytesAtLoad = GetRecordingMemory();

YFCurvePtr MakeCurve(int keyCount)
{
    YFCurvePtr curve(YFCurveCreate());
    for (int i = 0; i < keyCount; ++i) curve->KeyAppendFast(YTime(i), static_cast<float>(i));
    return curve;
}

const YFCurvePtr gStaticCurve = MakeCurve(3);

// Bytes of key storage that were added since it was made.
class Watch
{
  public:
    std::int64_t Added() const { return static_cast<std::int32_t>(GetRecordingMemory() - mStart); }

  private:
    std::uint32_t mStart = GetRecordingMemory();
};

bool IsZero(const void* block, std::size_t bytes)
{
    const auto* byte = static_cast<const unsigned char*>(block);
    return std::all_of(byte, byte + bytes, [](unsigned char b) { return b == 0; });
}

std::vector<void*> Take(YMemoryBlockQueue& queue, int count)
{
    std::vector<void*> blocks;
    for (int i = 0; i < count; ++i) blocks.push_back(queue.GetRecycleMemoryBlock());
    return blocks;
}

}  // namespace

TEST(MemoryBlockQueue, StartsWithOneBlockInStock)
{
    EXPECT_EQ(gBytesAtLoad, 1024u);
    EXPECT_EQ(YFCURVE_GetFCurveMemoryBlockSize(), 1024);
}

TEST(MemoryBlockQueue, HandsOutTheStockBeforeItAsksTheHeap)
{
    const Watch watch;
    {
        YMemoryBlockQueue queue(240, 3);
        EXPECT_EQ(queue.GetMemoryBlockSize(), 240);
        EXPECT_EQ(watch.Added(), 3 * 240);

        const std::vector<void*> blocks = Take(queue, 4);
        EXPECT_EQ(watch.Added(), 4 * 240);
        EXPECT_EQ(std::set<void*>(blocks.begin(), blocks.end()).size(), 4u);
        for (void* block : blocks) {
            EXPECT_TRUE(IsZero(block, 240));
            std::memset(block, 0x5A, 240);
        }

        // Three fill the stock again, the fourth is one too many.
        for (int i = 0; i < 3; ++i) queue.RecycleMemoryBlock(blocks[static_cast<std::size_t>(i)]);
        EXPECT_EQ(watch.Added(), 4 * 240);
        EXPECT_TRUE(queue.IsInUse());
        queue.RecycleMemoryBlock(blocks[3]);
        EXPECT_EQ(watch.Added(), 3 * 240);
        EXPECT_FALSE(queue.IsInUse());

        // First in, first out, and clean.
        for (int i = 0; i < 3; ++i) {
            void* block = queue.GetRecycleMemoryBlock();
            EXPECT_EQ(block, blocks[static_cast<std::size_t>(i)]);
            EXPECT_TRUE(IsZero(block, 240));
            queue.RecycleMemoryBlock(block);
        }
    }
    EXPECT_EQ(watch.Added(), 0);
}

TEST(MemoryBlockQueue, KeepsTheStockAtItsThreshold)
{
    YFCURVE_SetFCurveRecordMemoryBlockCount(1);  // fills the process-wide queue, which listens as well
    const Watch watch;
    YMemoryBlockQueue queue(512, 0);
    EXPECT_EQ(watch.Added(), 0);
    queue.SetListThreshold(5);
    EXPECT_EQ(watch.Added(), 5 * 512);
    queue.SetListThreshold(2);
    EXPECT_EQ(watch.Added(), 2 * 512);

    // Taking does not refill; validating and a new scene do.
    const std::vector<void*> blocks = Take(queue, 4);
    EXPECT_EQ(watch.Added(), 4 * 512);
    YGlobalNamedEvent::Raise("FileOpen");
    EXPECT_EQ(watch.Added(), 4 * 512);
    YGlobalNamedEvent::Raise("FileNew");
    EXPECT_EQ(watch.Added(), 6 * 512);
    queue.ValidateListThreshold();
    EXPECT_EQ(watch.Added(), 6 * 512);

    queue.SetListThreshold(0);
    EXPECT_EQ(watch.Added(), 4 * 512);
    for (void* block : blocks) queue.RecycleMemoryBlock(block);
    EXPECT_EQ(watch.Added(), 0);
    queue.SetListThreshold(-3);
    EXPECT_EQ(watch.Added(), 0);
}

TEST(MemoryBlockQueue, FreeingAllCountsWhatIsHandedOutAsFreed)
{
    const Watch watch;
    YMemoryBlockQueue queue(128, 2);
    Take(queue, 3);
    queue.ValidateListThreshold();
    EXPECT_EQ(watch.Added(), 5 * 128);
    queue.FreeAllMemoryList();
    EXPECT_EQ(watch.Added(), 0);
    EXPECT_FALSE(queue.IsInUse());

    // A block that comes back all the same finds a place in the stock.
    void* block = queue.GetRecycleMemoryBlock();
    queue.FreeAllMemoryList();
    queue.RecycleMemoryBlock(block);
    EXPECT_EQ(queue.GetRecycleMemoryBlock(), block);
}

TEST(MemoryBlockQueue, LeavesBlocksAloneThatOutliveIt)
{
    YFCURVE_SetFCurveRecordMemoryBlockCount(1);
    const Watch watch;
    auto* queue = new YMemoryBlockQueue(1024, 2);
    auto* block = static_cast<unsigned char*>(queue->GetRecycleMemoryBlock());
    block[1023] = 7;
    queue->Destroy();
    EXPECT_EQ(watch.Added(), 2 * 1024);
    YGlobalNamedEvent::Raise("FileNew");
    EXPECT_EQ(watch.Added(), 2 * 1024);
    EXPECT_EQ(block[1023], 7);
    block[0] = 8;
}

TEST(MemoryBlockQueue, IgnoresWhatIsNoBlock)
{
    const Watch watch;
    YMemoryBlockQueue queue(64, 1);
    char other[64] = {1};
    queue.RecycleMemoryBlock(nullptr);
    queue.RecycleMemoryBlock(other);
    queue.RecycleReference(0);
    EXPECT_EQ(watch.Added(), 64);
    EXPECT_EQ(other[0], 1);
}

TEST(MemoryBlockQueue, NamesBlocksByReference)
{
    YMemoryBlockQueue queue(1024, 0);
    std::vector<YMemoryBlockQueue::Reference> references;
    for (int i = 0; i < 200; ++i) references.push_back(queue.GetRecycleReference());
    EXPECT_EQ(std::set(references.begin(), references.end()).size(), 200u);
    for (const auto r : references) {
        ASSERT_NE(r, 0u);
        std::byte* block = queue.GetChunkTable()[r / 64] + std::size_t{r % 64} * 1024;
        EXPECT_TRUE(IsZero(block, 1024));
        std::memset(block, 1, 1024);
    }
    for (const auto r : references) queue.RecycleReference(r);
    EXPECT_FALSE(queue.IsInUse());
}

// The process-wide queue, which starts each test with an empty stock.
class KeyStorage : public testing::Test
{
  protected:
    KeyStorage() { YFCURVE_SetFCurveRecordMemoryBlockCount(0); }
    ~KeyStorage() override { YFCURVE_SetFCurveRecordMemoryBlockCount(1); }
};

TEST_F(KeyStorage, CountsWatchedBuffers)
{
    const Watch watch;
    void* odd = WatchMalloc(100);
    EXPECT_TRUE(IsZero(odd, 100));
    EXPECT_EQ(watch.Added(), 100);
    void* block = WatchMalloc(1024);
    EXPECT_TRUE(IsZero(block, 1024));
    EXPECT_EQ(watch.Added(), 1124);
    WatchFree(nullptr, 100);
    WatchFree(nullptr, 1024);
    EXPECT_EQ(watch.Added(), 1124);
    WatchFree(odd, 100);
    WatchFree(block, 1024);
    EXPECT_EQ(watch.Added(), 0);
}

// Threads that take and give at random; nobody may see another's bytes, and the count has to come out.
TEST(MemoryBlockQueue, ServesThreads)
{
    const unsigned seed = test::Seed();
    SCOPED_TRACE(test::HowToRepeat());
    const Watch watch;
    YMemoryBlockQueue queue(96, 7);
    std::atomic<int> dirty{0};
    const auto work = [&](unsigned thread) {
        std::mt19937 random(seed + thread);
        std::vector<void*> mine;
        for (int i = 0; i < 4000; ++i) {
            if (random() % 2 == 0 && mine.size() < 50) {
                mine.push_back(queue.GetRecycleMemoryBlock());
                if (!IsZero(mine.back(), 96)) ++dirty;
                std::memset(mine.back(), static_cast<int>(thread) + 1, 96);
            } else if (!mine.empty()) {
                std::swap(mine[random() % mine.size()], mine.back());
                if (static_cast<unsigned char*>(mine.back())[95] != thread + 1) ++dirty;
                queue.RecycleMemoryBlock(mine.back());
                mine.pop_back();
            }
        }
        for (void* block : mine) queue.RecycleMemoryBlock(block);
    };
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < 4; ++i) threads.emplace_back(work, i);
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(dirty, 0);
    EXPECT_FALSE(queue.IsInUse());
    EXPECT_EQ(watch.Added(), 7 * 96);
}

TEST_F(KeyStorage, ServesThreads)
{
    const Watch watch;
    const auto work = [] {
        for (unsigned long i = 0; i < 2000; ++i) {
            const unsigned long size = i % 3 == 0 ? 1024 : i;
            void* buffer = WatchMalloc(size);
            std::memset(buffer, 1, size);
            WatchFree(buffer, size);
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(watch.Added(), 0);
}
