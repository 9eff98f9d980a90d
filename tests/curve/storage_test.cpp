#include <gtest/gtest.h>

#include <cstdint>

#include "curve_fixtures.h"
#include "tests/test_environment.h"
#include "yfcurve/ymemoryblockqueue.h"

using namespace yfc::test;

namespace {

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
class Records
{
  public:
    int Added() const { return YFCURVE_GetKeyAttrCount() - mStart; }

  private:
    int mStart = YFCURVE_GetKeyAttrCount();
};

const YPriFCurveKeyAttr* RecordOf(const YFCurve& curve, int index)
{
    return curve.InternalPriKeyAttrGetPtr(index);
}

}  // namespace

// --- Blocks and arrays ---------------------------------------------------------------------------------

TEST(Storage, AStockedBlockWasCountedWhenItWasStocked)
{
    const Bytes bytes(1);
    YFCurve first;
    EXPECT_EQ(bytes.Added(), 0);
    EXPECT_EQ(first.GetPriFCurveKeysList(), nullptr);
    Append(first, 1);
    EXPECT_EQ(bytes.Added(), 256);
    {
        YFCurve second;
        Append(second, 1);
        EXPECT_EQ(bytes.Added(), 2 * 256 + kBlock);
    }
    // The block went back into the empty stock.
    EXPECT_EQ(bytes.Added(), 256 + kBlock);
    first.KeyClear();
    EXPECT_EQ(bytes.Added(), 0) << "the stock is full, so this block is freed";
    EXPECT_EQ(first.GetPriFCurveKeysList(), nullptr);
}

TEST(Storage, GrowsByBlocksOf64AndArraysOf4096)
{
    const Bytes bytes(0);
    YFCurve curve;
    struct Step
    {
        int keys;
        int blocks;
        int arrayBytes;
    };
    for (const auto& [keys, blocks, arrayBytes] : {Step{1, 1, 256},
                                                   {64, 1, 256},
                                                   {65, 2, 256},
                                                   {4096, 64, 256},
                                                   {4097, 65, 512},
                                                   {8192, 128, 512},
                                                   {8193, 129, 768},
                                                   {12289, 193, 1024},
                                                   {16384, 256, 1024},
                                                   {16385, 257, 1280}}) {
        Append(curve, keys);
        EXPECT_EQ(bytes.Added(), blocks * kBlock + arrayBytes) << keys << " keys";
    }
    for (int i = 0; i < curve.KeyGetCount(); ++i) ASSERT_EQ(curve.KeyGetTime(i), YTime(i));
    curve.KeyClear();
    EXPECT_EQ(bytes.Added(), 0);
}

TEST(Storage, AnArrayOfBlockSizeIsABlockOfTheQueue)
{
    const Bytes bytes(1);
    YFCurve curve;
    curve.ResizeKeyBuffer(12289, false);
    // 193 blocks and the array, one of the 194 from the stock.
    EXPECT_EQ(bytes.Added(), 193 * kBlock);
    Append(curve, 12289);
    RemoveDownTo(curve, 1);
    EXPECT_EQ(bytes.Added(), 193 * kBlock) << "nothing shrinks by itself";
    curve.KeyShrink();
    // One block and a small array are left, and the stock is full again.
    EXPECT_EQ(bytes.Added(), kBlock + 256);
    EXPECT_EQ(curve.KeyGetTime(0), YTime(0));
}

TEST(Storage, ShrinkingKeepsOneStepOfSlack)
{
    const Bytes bytes(0);
    YFCurve curve;
    Append(curve, 8192);
    RemoveDownTo(curve, 4096);
    curve.KeyShrink();
    EXPECT_EQ(bytes.Added(), 64 * kBlock + 512);
    RemoveDownTo(curve, 4095);
    curve.KeyShrink();
    EXPECT_EQ(bytes.Added(), 64 * kBlock + 256);
    Append(curve, 4097);
    EXPECT_EQ(bytes.Added(), 65 * kBlock + 512);
    for (int i = 0; i < curve.KeyGetCount(); ++i) ASSERT_EQ(curve.KeyGetTime(i), YTime(i));

    RemoveDownTo(curve, 0);
    EXPECT_EQ(bytes.Added(), 65 * kBlock + 512);
    curve.KeyShrink();
    EXPECT_EQ(bytes.Added(), 0);
    Append(curve, 1);
    EXPECT_EQ(bytes.Added(), kBlock + 256) << "usable again";
}

TEST(Storage, ReservingRoomMovesNoKeysAndDestructionReturnsIt)
{
    const Bytes bytes(0);
    {
        YFCurve curve;
        Append(curve, 3);
        const YPriFCurveKey* key = curve.InternalPriKeyGetPtr(1);
        curve.KeyModifyBegin(5000);
        EXPECT_EQ(bytes.Added(), 79 * kBlock + 512);
        EXPECT_EQ(curve.InternalPriKeyGetPtr(1), key);
        curve.KeyModifyEnd();
        EXPECT_EQ(curve.KeyGetCount(), 3);

        const Records records;
        curve.KeyAdd(YTime(10), LinearKey(1.0f));
        curve.ResizeKeyBuffer(0, true);
        EXPECT_EQ(curve.KeyGetCount(), 0);
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
    // Setting the attributes of a key is what gives it a record.
    curve.KeyModifyEnd(200);
    EXPECT_EQ(curve.KeyGetCount(), 200);
    curve.KeySetSelectedAll(true);
    EXPECT_EQ(curve.KeyGetSelectionCount(), 200) << "also those without a record";
    for (int i = 0; i < 200; ++i)
        EXPECT_TRUE(curve.KeySet(i, [&] {
            YFCurveKey key = LinearKey(static_cast<float>(i));
            key.SetTime(YTime(10 * i));
            return key;
        }()));
    EXPECT_EQ(curve.Evaluate(YTime(1985)), 198.5f);
}

// --- Attribute records ---------------------------------------------------------------------------------

TEST(Records, KeysAddedFastShareTheDefaultRecord)
{
    const Records records;
    YFCurvePtr curve = MakeSamples(100);
    EXPECT_EQ(records.Added(), 0);
    EXPECT_EQ(RecordOf(*curve, 0), RecordOf(*curve, 99));
}

TEST(Records, EqualNeighboursShareAfterABracketOfMoreThan16Keys)
{
    const Records records;
    YFCurve small;
    YFCurve large;
    const auto fill = [](YFCurve& curve, int count) {
        const YFCurveModify modify(curve);
        for (int i = 0; i < count; ++i) curve.KeyAdd(Sec(i), LinearKey(static_cast<float>(i)));
    };
    fill(small, 16);
    EXPECT_EQ(records.Added(), 16);
    fill(large, 17);
    EXPECT_EQ(records.Added(), 16 + 1);
    EXPECT_EQ(RecordOf(large, 0), RecordOf(large, 16));
    EXPECT_EQ(RecordOf(large, 0)->GetRefCount(), 17u);

    small.KeySetOptimizeThreshold(0);  // stored as 2
    small.KeyModifyBegin();
    small.KeySetDataDouble(15, YFCURVEKEY_RIGHT_DERIVATIVE, 1.0f);
    small.KeyModifyEnd();
    EXPECT_EQ(records.Added(), 16 + 1) << "only around the changed keys";
    small.KeyShrink();
    EXPECT_EQ(records.Added(), 2 + 1);

    YFCurve unmerged;
    unmerged.KeySetOptimizeEnable(false);
    fill(unmerged, 17);
    EXPECT_EQ(records.Added(), 3 + 17);
}

TEST(Records, TwoKeysAreNotWorthMerging)
{
    const Records records;
    YFCurve curve;
    curve.KeySetOptimizeThreshold(0);
    for (int i = 0; i < 3; ++i) {
        const YFCurveModify modify(curve);
        curve.KeyAdd(Sec(i), LinearKey(0.0f));
        EXPECT_EQ(records.Added(), i + 1);
    }
    EXPECT_EQ(records.Added(), 2) << "from three keys on, around the added one";
}

TEST(Records, MergingFindsRunsAndTheDefaultRecord)
{
    const Records records;
    YFCurvePtr samples = MakeSamples(1);
    const YFCurveKey defaults = samples->KeyGet(0);
    YFCurvePtr curve =
        MakeCurve({LinearKey(0), LinearKey(1), defaults, defaults, LinearKey(4), LinearKey(5)});
    EXPECT_EQ(records.Added(), 6);
    curve->KeyShrink();
    EXPECT_EQ(RecordOf(*curve, 0), RecordOf(*curve, 1));
    EXPECT_EQ(RecordOf(*curve, 2), RecordOf(*samples, 0));
    EXPECT_EQ(RecordOf(*curve, 3), RecordOf(*samples, 0));
    EXPECT_EQ(RecordOf(*curve, 4), RecordOf(*curve, 5));
    EXPECT_EQ(records.Added(), 2);
    EXPECT_NE(RecordOf(*curve, 0), RecordOf(*curve, 4)) << "only neighbours are compared";
}

TEST(Records, AChangeSeparatesASharedRecord)
{
    YFCurvePtr curve = MakeCurve({UserKey(0, 1, 2), UserKey(1, 1, 2), UserKey(2, 1, 2)});
    curve->KeyShrink();
    ASSERT_EQ(RecordOf(*curve, 0)->GetRefCount(), 3u);
    const Records records;

    // What changes nothing, separates nothing.
    curve->KeySetTangeantMode(1, YFCURVE_TANGENT_USER);
    curve->KeySetTangeantWeightMode(1, YFCURVE_WEIGHT_NONE);
    curve->KeySetDataDouble(1, YFCURVEKEY_RIGHT_DERIVATIVE, 1.0f);
    curve->KeySetSelected(1, false);
    EXPECT_EQ(records.Added(), 0);

    curve->KeySetSelected(1, true);
    EXPECT_EQ(records.Added(), 1);
    EXPECT_TRUE(curve->KeyGetSelected(1));
    EXPECT_FALSE(curve->KeyGetSelected(0) || curve->KeyGetSelected(2));
    EXPECT_EQ(RecordOf(*curve, 0)->GetRefCount(), 2u);

    // An own record is changed in place.
    const YPriFCurveKeyAttr* own = RecordOf(*curve, 1);
    curve->KeySetMarkedForManipulation(1, true);
    curve->KeySetTangeantMode(1, YFCURVE_TANGENT_USER_BREAK);
    EXPECT_EQ(RecordOf(*curve, 1), own);
}

TEST(Records, SelectAllReachesThroughSharedRecordsOnPurpose)
{
    YFCurvePtr curve = MakeSamples(3);
    YFCurvePtr other = MakeSamples(2);
    const Records records;
    curve->KeySelectAll();
    EXPECT_EQ(records.Added(), 0);
    EXPECT_EQ(curve->KeyGetSelectionCount(), 3);
    EXPECT_EQ(other->KeyGetSelectionCount(), 2) << "the default record is everybody's";
    EXPECT_EQ(MakeSamples(1)->KeyGetSelectionCount(), 1);
    curve->KeyUnselectAll();
    EXPECT_EQ(other->KeyGetSelectionCount(), 0);

    EventLog log(*curve);
    curve->KeySetSelectedAll(true);
    EXPECT_EQ(curve->KeyGetSelectionCount(), 3);
    EXPECT_EQ(other->KeyGetSelectionCount(), 0) << "the counterpart that selects this curve alone";
    EXPECT_EQ(records.Added(), 1) << "for all three";
    EXPECT_EQ(log.TakeTypes(), std::vector<unsigned>{0x100});
    curve->KeySetSelectedAll(true);
    EXPECT_TRUE(log.events.empty());
}

TEST(Records, NothingLeaksWhateverIsDone)
{
    const Bytes bytes(1);
    const Records records;
    Random random(test::Seed());
    SCOPED_TRACE(test::HowToRepeat());
    for (int round = 0; round < 40; ++round) {
        YFCurvePtr curve = RandomCurve(random, random.Int(1, 200));
        YFCurvePtr other = RandomCurve(random, 5);
        for (int i = 0; i < 300 && curve->KeyGetCount() > 0; ++i) {
            const int key = random.Int(0, curve->KeyGetCount() - 1);
            // Every other key keeps its attributes, whatever they share.
            const int witness = random.Int(0, curve->KeyGetCount() - 1);
            const std::uint32_t flags = curve->KeyGet(witness).GetFlags();
            switch (random.Int(0, 40) == 0 ? -1 : random.Int(0, 7)) {
                case -1: {
                    const bool selected = random.Chance(0.5);
                    curve->KeySetSelectedAll(selected);
                    ASSERT_EQ(curve->KeyGetSelectionCount(), selected ? curve->KeyGetCount() : 0);
                    ASSERT_EQ(MakeSamples(1)->KeyGetSelectionCount(), 0) << "the default record stays";
                    continue;
                }
                case 0:
                    curve->KeySetSelected(key, random.Chance(0.5));
                    break;
                case 1:
                    curve->KeySetTangeantMode(key, random.Pick({0x100u, 0x200u, 0x400u, 0xC00u}));
                    break;
                case 2:
                    curve->KeySetInterpolation(key, random.Pick({2u, 4u, 8u}));
                    break;
                case 3:
                    curve->KeySetTangeantWeightMode(key, random.Pick({0u, 0x1000000u, 0x3000000u}));
                    break;
                case 4:
                    curve->KeySetMarkedForManipulation(key, random.Chance(0.5));
                    break;
                case 5:
                    curve->KeyShrink();
                    break;
                case 6:
                    curve->KeyRemove(key);
                    continue;
                default:
                    curve->KeyAdd(Sec(random.Real(-9, 99)), other.get(), random.Int(0, 4));
                    continue;
            }
            if (witness != key) {
                ASSERT_EQ(curve->KeyGet(witness).GetFlags(), flags);
            }
        }
        if (random.Chance(0.3)) curve->KeyClear();
    }
    EXPECT_EQ(records.Added(), 0);
    EXPECT_EQ(bytes.Added(), 0);
}
