// Where keys and attribute records live: blocks of 64 keys behind an array of block references, and
// reference-counted records that are separated before they change.

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "yfcurve/curve/edit/storage.h"
#include "yfcurve/curve/keyaccess.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/ymemoryblockqueue.h"

namespace {

constexpr int kSlotBytes = sizeof(std::uint32_t);
constexpr int kKeysPerStep = 4096;  // the array grows by 64 slots at a time
constexpr int kBytesPerStep = kKeysPerStep / yfc::kKeysPerBlock * kSlotBytes;

// The most keys that a curve can have room for: what the array has room for is counted in keys as well.
constexpr int kMostKeys = INT_MAX - kKeysPerStep;

int ArrayBytes(int keyCount)
{
    return (keyCount + kKeysPerStep - 1) / kKeysPerStep * kBytesPerStep;
}
int ArrayCapacity(int bytes)
{
    return bytes / kSlotBytes * yfc::kKeysPerBlock;
}

std::uint32_t* NewArray(int bytes)
{
    return static_cast<std::uint32_t*>(WatchMalloc(static_cast<unsigned long>(bytes)));
}

// Systems hand out more memory than they have, piece by piece, and end the process that uses it; a size that
// they cannot have is refused in one piece only.
bool IsThereMemoryFor(int blocks)
{
    constexpr int few = 4096;
    if (blocks <= few) return true;
    void* const whole = std::malloc(static_cast<std::size_t>(blocks) * yfc::kBlockBytes);
    std::free(whole);
    return whole != nullptr;
}

void FreeArray(std::uint32_t* array, int capacity)
{
    WatchFree(array, static_cast<unsigned long>(ArrayBytes(capacity)));
}

}  // namespace

void YFCurve::ResizeKeyBuffer(int keyCount, bool reset)
{
    yfc::Guarded([&] { InitBuffers(keyCount, reset); });
}

bool YFCurve::MakeRoom(int keyCount)
{
    return yfc::Guarded([&] {
        InitBuffers(keyCount, false);
        return true;
    });
}

// Throws when there is no memory, and then leaves everything as it was.
void YFCurve::InitBuffers(int keyCount, bool reset)
{
    YFCurveStorage::MakeRoom(*this, keyCount);
    if (reset) {
        for (int i = 0; i < mKeyCount; ++i) {
            yfc::ReleaseAttribute(Key(i).GetAttr());
            Key(i).SetAttr(0);
        }
        mKeyCount = 0;
    }
    mCandidateTime = YTIME_INFINITE;
}

void YFCurve::TakeBlocks(int keyCount)
{
    const int former = mLastBlock;
    const int lastNeeded = (keyCount - 1) / yfc::kKeysPerBlock;
    if (keyCount > kMostKeys || !IsThereMemoryFor(lastNeeded - former)) throw std::bad_alloc();
    if (keyCount > mCapacity) GrowArray(keyCount);
    while (mLastBlock < lastNeeded) {
        const std::uint32_t block = yfc::TakeBlock();
        if (block == 0) {
            GiveBlocks(former);
            if (former < 0) ReleaseStorage();
            throw std::bad_alloc();
        }
        mBlocks[++mLastBlock] = block;
    }
}

void YFCurve::GiveBlocks(int lastKept)
{
    for (; mLastBlock > lastKept; --mLastBlock) {
        yfc::GiveBlock(mBlocks[mLastBlock]);
        mBlocks[mLastBlock] = 0;
    }
}

void YFCurve::GrowArray(int keyCount)
{
    const int bytes = ArrayBytes(keyCount);
    std::uint32_t* grown = NewArray(bytes);
    if (grown == nullptr) throw std::bad_alloc();
    if (mBlocks) {
        std::copy_n(mBlocks, mCapacity / yfc::kKeysPerBlock, grown);
        FreeArray(mBlocks, mCapacity);
    }
    mBlocks = grown;
    mCapacity = ArrayCapacity(bytes);
}

void YFCurve::KeyShrink()
{
    if (!mBlocks) return;
    if (mKeyCount == 0) {
        ReleaseStorage();
        return;
    }
    GiveBlocks((mKeyCount - 1) / yfc::kKeysPerBlock);
    // One step of slack, so that a curve around a multiple of a step does not reallocate back and forth.
    if (mCapacity / kKeysPerStep > mKeyCount / kKeysPerStep + 1) ShrinkArray();
    if (mKeyCount >= 2) KeyAttrShrink(0, mKeyCount - 2);
}

void YFCurve::ShrinkArray()
{
    const int bytes = ArrayBytes(mKeyCount);
    std::uint32_t* shrunk = NewArray(bytes);
    if (shrunk == nullptr) return;  // the larger one does as well
    std::copy_n(mBlocks, mLastBlock + 1, shrunk);
    FreeArray(mBlocks, mCapacity);
    mBlocks = shrunk;
    mCapacity = ArrayCapacity(bytes);
}

void YFCurve::ReleaseStorage()
{
    GiveBlocks(-1);
    if (mBlocks) FreeArray(mBlocks, mCapacity);
    mBlocks = nullptr;
    mCapacity = 0;
}

void YFCurve::ReleaseKeys()
{
    std::uint32_t defaultKeys = 0;
    for (int i = 0; i < mKeyCount; ++i) {
        const YFCurveKeyAttrReference record = Key(i).GetAttr();
        if (record == yfc::kDefaultAttribute) {
            ++defaultKeys;
        } else {
            yfc::ReleaseAttribute(record);
        }
    }
    yfc::CountDefaultKeys(0u - defaultKeys);
    ReleaseStorage();
    mKeyCount = 0;
}

// Keys and the blocks that they are in, without an event.
void YFCurve::ExchangeKeys(YFCurve& other)
{
    std::swap(mBlocks, other.mBlocks);
    std::swap(mKeyCount, other.mKeyCount);
    std::swap(mCapacity, other.mCapacity);
    std::swap(mLastBlock, other.mLastBlock);
    mCandidateTime = YTIME_INFINITE;
}

// Moves the keys from `index` on up by one slot, block by block from the last one, and leaves a zeroed
// slot. The room for one more key exists already.
void YFCurve::OpenSlot(int index)
{
    constexpr int perBlock = yfc::kKeysPerBlock;
    for (int end = mKeyCount; end > index;) {
        const int begin = std::max(end / perBlock * perBlock, index);
        if (end > begin)
            std::memmove(&Key(begin) + 1, &Key(begin),
                         static_cast<std::size_t>(end - begin) * sizeof(YPriFCurveKey));
        if (begin > index) Key(begin) = Key(begin - 1);
        end = begin > index ? begin - 1 : begin;
    }
    ++mKeyCount;
    std::memset(static_cast<void*>(&Key(index)), 0, sizeof(YPriFCurveKey));
}

// Moves the keys behind `count` slots that start at `index` down over them and zeroes the slots that
// become free. The records of the keys in those slots have been released.
void YFCurve::CloseSlots(int index, int count)
{
    constexpr int perBlock = yfc::kKeysPerBlock;
    for (int to = index; to + count < mKeyCount;) {
        const int from = to + count;
        const int run = std::min({perBlock - to % perBlock, perBlock - from % perBlock, mKeyCount - from});
        std::memmove(&Key(to), &Key(from), static_cast<std::size_t>(run) * sizeof(YPriFCurveKey));
        to += run;
    }
    for (int i = mKeyCount - count; i < mKeyCount; ++i) {
        std::memset(static_cast<void*>(&Key(i)), 0, sizeof(YPriFCurveKey));
    }
    mKeyCount -= count;
}

YPriFCurveKey* YFCurve::InternalPriKeyGetPtr(int index) const
{
    return &Key(index);
}

YPriFCurveKeyAttr* YFCurve::InternalPriKeyAttrGetPtr(int index) const
{
    return Key(index).GetAttr() == 0 ? nullptr : &Attr(index);
}

// --- Attribute records ---------------------------------------------------------------------------------

namespace {

// The record that a key with the record `own` can share: that of the key before it, or the default one. Where
// neither has the same attributes it stays with its own.
YFCurveKeyAttrReference SharedInstead(YFCurveKeyAttrReference own, YFCurveKeyAttrReference previous)
{
    const YPriFCurveKeyAttr& attr = yfc::Attribute(own);
    YFCurveKeyAttrReference target = previous;
    if (!(attr == yfc::Attribute(previous))) {
        if (!(attr == yfc::Attribute(yfc::kDefaultAttribute))) return own;
        target = yfc::kDefaultAttribute;
    }
    if (target == 0) return own;
    yfc::RetainAttribute(target);
    yfc::ReleaseAttribute(own);
    return target;
}

}  // namespace

YPriFCurveKeyAttr& YFCurve::KeyAttrSeparate(int index)
{
    YPriFCurveKey& key = Key(index);
    const YFCurveKeyAttrReference shared = key.GetAttr();
    const YFCurveKeyAttrReference own = yfc::AllocateAttribute();
    YPriFCurveKeyAttr& attr = yfc::Attribute(own);
    attr.SetWords(yfc::Attribute(shared));
    attr.SetRefCount(1);
    yfc::ReleaseAttribute(shared);
    key.SetAttr(own);
    return attr;
}

YPriFCurveKeyAttr& YFCurve::KeyAttrSeparateCheck(int index)
{
    const bool owned = Key(index).GetAttr() != 0 && !Attr(index).IsShared();
    return owned ? Attr(index) : KeyAttrSeparate(index);
}

void YFCurve::KeyAttrSet(int index, const YPriFCurveKeyAttr& attr)
{
    if (Key(index).GetAttr() != 0 && Attr(index) == attr) return;
    KeyAttrSeparateCheck(index).SetWords(attr);
    if (index < mKeyCount) {
        CallbackAddEvent(YFCURVEEVENT_KEY_REPLACED, index);
        return;
    }
    const int oldCount = mKeyCount;
    mKeyCount = index + 1;
    for (int i = oldCount; i < index; ++i) {
        Key(i).SetAttr(yfc::kDefaultAttribute);
        yfc::CountDefaultKeys(1);
    }
    CallbackAddEvent(YFCURVEEVENT_KEY_ADDED, oldCount);
    CallbackAddEvent(YFCURVEEVENT_KEY_ADDED, index);
}

// Goes through the keys block by block, with the record of the key before at hand: at the end of a bracket this
// is done for all keys between the first and the last that changed.
void YFCurve::KeyAttrShrink(int first, int last)
{
    first = std::max(first, 0);
    const int end = std::min(last, mKeyCount - 2) + 2;
    if (first + 1 >= end) return;
    YFCurveKeyAttrReference previous = Key(first).GetAttr();
    for (int i = first + 1; i < end;) {
        YPriFCurveKey* key = &Key(i);
        const int run = std::min(yfc::kKeysPerBlock - i % yfc::kKeysPerBlock, end - i);
        for (const YPriFCurveKey* const stop = key + run; key < stop; ++key) {
            const YFCurveKeyAttrReference own = key->GetAttr();
            if (own != previous && own != yfc::kDefaultAttribute) key->SetAttr(SharedInstead(own, previous));
            previous = key->GetAttr();
        }
        i += run;
    }
}
