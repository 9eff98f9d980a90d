// Where keys live: blocks and their queue, arrays of blocks, attribute records and who shares them.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <set>
#include <vector>

#include "random_curve.h"
#include "ybaselib/yglobalnamedevent.h"
#include "yfcurve/ymemoryblockqueue.h"

using namespace yfc::test;

namespace {

// A curve that a host's static initialisers make and that dies after main.
const YFCurvePtr gStaticCurve = MakeSamples(3);

constexpr int kBlock = 1024;

// Counts bytes from its construction, with a stock of that many free blocks.
class Bytes
{
  public:
    explicit Bytes(int stock)
    {
        YFCURVE_SetFCurveRecordMemoryBlockCount(stock);
        mStart = GetRecordingMemory();
    }
    ~Bytes() { YFCURVE_SetFCurveRecordMemoryBlockCount(1); }
    int Added() const { return static_cast<int>(GetRecordingMemory() - mStart); }

  private:
    std::uint32_t mStart = 0;
};

bool IsFilled(const void* block, int bytes, unsigned char with)
{
    const auto* byte = static_cast<const unsigned char*>(block);
    return std::all_of(byte, byte + bytes, [with](unsigned char b) { return b == with; });
}

void Append(YFCurve& curve, int keyCount)
{
    while (curve.KeyGetCount() < keyCount) curve.KeyAppendFast(YTime(curve.KeyGetCount()), 1.0f);
}

void RemoveDownTo(YFCurve& curve, int keyCount)
{
    const YFCurveModify modify(curve);
    while (curve.KeyGetCount() > keyCount) curve.KeyRemove(curve.KeyGetCount() - 1);
}

// Counts attribute records from its construction.
struct Records
{
    const int start = YFCURVE_GetKeyAttrCount();
    int Added() const { return YFCURVE_GetKeyAttrCount() - start; }
};

}  // namespace

// --- The queue of blocks -------------------------------------------------------------------------------

// Against a plain model: the blocks that are out, and how many are in stock.
TEST(BlockQueue, HandsOutCleanBlocksFromItsStockFirst)
{
    RandomCurves random;
    for (int round = 0; round < 200; ++round) {
        const Bytes bytes(1);  // fills the queue of all curves, which hears of new files as well
        const int size = random.Pick({64, 240, 1024});
        int threshold = 3;
        int stock = threshold;
        YMemoryBlockQueue queue(size, threshold);
        std::set<void*> out;
        for (int step = 1; step < 100; ++step) {
            const bool sets = random.Chance(0.05);
            const bool isNew = random.Chance(0.1);
            if (sets) queue.SetListThreshold(threshold = random.Int(-1, 5));
            YGlobalNamedEvent::Raise(isNew ? "FileNew" : "FileOpen");
            if (sets || isNew) stock = std::max(threshold, 0);
            if (random.Chance(0.5)) {
                void* block = queue.GetRecycleMemoryBlock();
                ASSERT_TRUE(IsFilled(block, size, 0));
                std::memset(block, step, static_cast<std::size_t>(size));
                ASSERT_TRUE(out.insert(block).second);
                stock = std::max(stock - 1, 0);
            } else if (!out.empty()) {
                char other[64] = {};
                queue.RecycleMemoryBlock(nullptr);
                queue.RecycleMemoryBlock(other);  // no block of a queue
                queue.RecycleMemoryBlock(*out.begin());
                out.erase(out.begin());
                if (stock < threshold) ++stock;
            }
            ASSERT_EQ(bytes.Added(), (stock + static_cast<int>(out.size())) * size);
            ASSERT_EQ(queue.IsInUse(), !out.empty());
        }
        queue.FreeAllMemoryList();
        ASSERT_EQ(bytes.Added(), 0) << "what is handed out counts as freed";
        ASSERT_FALSE(queue.IsInUse());
    }
}

TEST(BlockQueue, LeavesBlocksAloneThatOutliveIt)
{
    const Bytes bytes(1);
    auto* queue = new YMemoryBlockQueue(1024, 2);
    auto* block = static_cast<unsigned char*>(queue->GetRecycleMemoryBlock());
    block[1023] = 7;
    queue->Destroy();
    YGlobalNamedEvent::Raise("FileNew");
    EXPECT_EQ(bytes.Added(), 2 * 1024);
    EXPECT_EQ(block[1023], 7);
    block[0] = 8;
}

// Threads that take and give, in a queue of their own and in the one of all curves. None may see the bytes of
// another, and the count has to come out.
TEST(BlockQueue, ServesThreads)
{
    const Bytes bytes(0);
    YMemoryBlockQueue queue(96, 7);
    std::atomic<int> dirty{0};
    const auto work = [&](int which) {
        const auto thread = static_cast<unsigned char>(which + 1);
        std::vector<void*> mine;
        for (int i = 0; i < 8000; ++i) {
            if (i / 30 % 2 == 0) {
                mine.push_back(queue.GetRecycleMemoryBlock());
                if (!IsFilled(mine.back(), 96, 0)) ++dirty;
                std::memset(mine.back(), thread, 96);
            } else if (!mine.empty()) {
                std::swap(mine[static_cast<std::size_t>(i) % mine.size()], mine.back());
                if (!IsFilled(mine.back(), 96, thread)) ++dirty;
                queue.RecycleMemoryBlock(mine.back());
                mine.pop_back();
            }
            const int size = i % 3 == 0 ? 1024 : i;
            void* const buffer = WatchMalloc(static_cast<unsigned long>(size));
            if (!IsFilled(buffer, size, 0)) ++dirty;
            WatchFree(buffer, static_cast<unsigned long>(size));
        }
        for (void* block : mine) queue.RecycleMemoryBlock(block);
    };
    test::InThreads(4, work);
    EXPECT_EQ(dirty, 0);
    EXPECT_FALSE(queue.IsInUse());
    EXPECT_EQ(bytes.Added(), 7 * 96);
}

// --- Blocks and arrays of curves -----------------------------------------------------------------------

TEST(Storage, GrowsByBlocksOf64AndArraysOf4096AndShrinksWhenAsked)
{
    const Bytes bytes(0);
    YFCurve curve;
    const int grown[][3] = {{1, 1, 256},     {64, 1, 256},    {65, 2, 256},
                            {4096, 64, 256}, {4097, 65, 512}, {16385, 257, 1280}};
    for (const auto& [keys, blocks, arrayBytes] : grown) {
        Append(curve, keys);
        EXPECT_EQ(bytes.Added(), blocks * kBlock + arrayBytes) << keys << " keys";
    }
    // One step of slack stays.
    const int shrunk[][3] = {{8192, 128, 512}, {4096, 64, 512}, {4095, 64, 256}, {1, 1, 256}, {0, 0, 0}};
    for (const auto& [keys, blocks, arrayBytes] : shrunk) {
        const int before = bytes.Added();
        RemoveDownTo(curve, keys);
        EXPECT_EQ(bytes.Added(), before) << "nothing shrinks by itself";
        curve.KeyShrink();
        EXPECT_EQ(bytes.Added(), blocks * kBlock + arrayBytes) << keys << " keys";
        for (int i = 0; i < keys; ++i) ASSERT_EQ(curve.KeyGetTime(i), YTime(i));
    }
}

TEST(Storage, ReservingRoomMovesNoKeysAndDestructionReturnsIt)
{
    const Bytes bytes(0);
    const Records records;
    {
        YFCurve curve;
        curve.KeyAdd(YTime(10), LinearKey(1.0f));
        const YPriFCurveKey* key = curve.InternalPriKeyGetPtr(0);
        curve.KeyModifyBegin(5000);
        EXPECT_EQ(curve.InternalPriKeyGetPtr(0), key);
        curve.KeyModifyEnd();
        EXPECT_EQ(curve.KeyGetCount(), 1);
        curve.ResizeKeyBuffer(0, true);
        EXPECT_EQ(records.Added(), 0);
        EXPECT_EQ(bytes.Added(), 79 * kBlock + 512) << "forgetting keys keeps their room";
    }
    EXPECT_EQ(bytes.Added(), 0);
}

TEST(Storage, KeysWrittenStraightIntoTheirBlocks)
{
    YFCurve curve;
    curve.KeyModifyBegin(200);
    for (int i = 0; i < 200; ++i) {
        curve.InternalPriKeyGetPtr(i)->SetTime(YTime(10 * i));
        curve.InternalPriKeyGetPtr(i)->SetValue(static_cast<float>(i));
    }
    EXPECT_EQ(curve.InternalPriKeyAttrGetPtr(150), nullptr);
    curve.KeyModifyEnd(200);
    EXPECT_EQ(curve.KeyGetCount(), 200);
    const YTime added[] = {YTime(30)};
    EXPECT_TRUE(curve.KeyAdd(added, std::vector{5.0f}));
    EXPECT_EQ(curve.InternalPriKeyAttrGetPtr(2), nullptr);
    EXPECT_EQ(curve.KeyGetInterpolation(3), YFCURVE_INTERP_CUBIC);
    curve.KeySetSelectedAll(true);
    EXPECT_EQ(curve.KeyGetSelectionCount(), 200) << "also those without a record";
}

// --- Attribute records ---------------------------------------------------------------------------------

TEST(Records, EqualNeighboursShareAfterABracketOfMoreThan16Keys)
{
    const Records records;
    YFCurve curve;
    const auto change = [&](int first, int last, const YFCurveKey& key) {
        const YFCurveModify modify(curve);
        for (int i = first; i < last; ++i) curve.KeyAdd(Sec(i), key);
    };
    change(0, 16, LinearKey(1));
    EXPECT_EQ(records.Added(), 16);
    change(16, 33, LinearKey(1));
    EXPECT_EQ(records.Added(), 16) << "those of the bracket, and the one before";
    EXPECT_EQ(curve.InternalPriKeyAttrGetPtr(16), curve.InternalPriKeyAttrGetPtr(32));
    curve.KeySetOptimizeEnable(false);
    change(33, 50, LinearKey(1));
    EXPECT_EQ(records.Added(), 16 + 17);
    curve.KeySetOptimizeEnable(true);
    curve.KeySetOptimizeThreshold(0);  // stored as 2
    const YFCurvePtr samples = MakeSamples(2);
    change(20, 22, samples->KeyGet(0));
    curve.KeyShrink();
    EXPECT_EQ(curve.InternalPriKeyAttrGetPtr(21), samples->InternalPriKeyAttrGetPtr(0))
        << "the default record";
    EXPECT_NE(curve.InternalPriKeyAttrGetPtr(19), curve.InternalPriKeyAttrGetPtr(22))
        << "only neighbours are compared";
    EXPECT_EQ(records.Added(), 2);
}

TEST(Records, SelectAllReachesThroughSharedRecordsOnPurpose)
{
    YFCurvePtr curve = MakeSamples(3);
    YFCurvePtr other = MakeSamples(2);
    curve->KeySelectAll();
    EXPECT_EQ(curve->KeyGetSelectionCount(), 3);
    EXPECT_EQ(other->KeyGetSelectionCount(), 2) << "the default record belongs to all curves";
    curve->KeyUnselectAll();
    EXPECT_EQ(other->KeyGetSelectionCount(), 0);

    EventLog log(*curve);
    const Records records;
    curve->KeySetSelectedAll(true);
    EXPECT_EQ(records.Added(), 1) << "of this curve alone, for all three";
    curve->KeySetSelectedAll(true);
    EXPECT_EQ(log.TakeTypes(), std::vector<unsigned>{YFCURVEEVENT_SELECTION});
}

// Every other key keeps its attributes, whatever they share, and at the end all is given back.
TEST(Records, NothingLeaksWhateverIsDone)
{
    const Bytes bytes(1);
    const Records records;
    RandomCurves random;
    for (int round = 0; round < 40; ++round) {
        YFCurvePtr curve = random.Curve(random.Int(1, 200));
        YFCurvePtr other = random.Curve(5);
        for (int i = 0; i < 300 && curve->KeyGetCount() > 0; ++i) {
            const int key = random.Int(0, curve->KeyGetCount() - 1);
            const int witness = random.Int(0, curve->KeyGetCount() - 1);
            const std::uint32_t flags = curve->KeyGet(witness).GetFlags();
            const auto sometimes = [&] { return random.Chance(0.2); };
            if (sometimes()) curve->KeySetSelected(key, random.Chance(0.5));
            if (sometimes()) curve->KeySetTangeantMode(key, random.Pick({0x100u, 0x200u, 0x400u, 0xC00u}));
            if (sometimes()) curve->KeySetInterpolation(key, random.Pick({2u, 4u, 8u}));
            if (sometimes()) curve->KeySetTangeantWeightMode(key, random.Pick({0u, 0x1000000u, 0x3000000u}));
            if (sometimes()) curve->KeySetMarkedForManipulation(key, random.Chance(0.5));
            if (sometimes()) curve->KeyShrink();
            ASSERT_TRUE(witness == key || curve->KeyGet(witness).GetFlags() == flags);
            if (sometimes()) curve->KeyAdd(Sec(random.Real(-9, 99)), other.get(), random.Int(0, 4));
            if (sometimes()) curve->KeyRemove(key);
            if (!random.Chance(0.03)) continue;
            const bool selected = random.Chance(0.5);
            curve->KeySetSelectedAll(selected);
            ASSERT_EQ(curve->KeyGetSelectionCount(), selected ? curve->KeyGetCount() : 0);
            ASSERT_EQ(MakeSamples(1)->KeyGetSelectionCount(), 0) << "the default record stays";
        }
        if (random.Chance(0.3)) curve->KeyClear();
    }
    EXPECT_EQ(records.Added(), 0);
    EXPECT_EQ(bytes.Added(), 0);
}
