#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "yfcurve/curve/pool/threadvariable.h"
#include "yfcurve/yfcurvekey.h"

/// \file
/// The process-wide pool of attribute records.

namespace yfc {

inline constexpr unsigned kAttributesPerChunk = 1024;

/// References count granules of 8 bytes, three to a record, and leave 12 bits for them.
inline constexpr unsigned kAttributeGranule = 8;
inline constexpr unsigned kAttributeChunkShift = 12;
static_assert(sizeof(YPriFCurveKeyAttr) == 3 * kAttributeGranule);
static_assert(3 * kAttributesPerChunk <= 1u << kAttributeChunkShift);

/// The default attribute record: cubic, auto, unweighted, never freed. It is the first record that the
/// pool hands out, hence the number. Keys of all threads point at it, so it does not count them itself.
inline constexpr YFCurveKeyAttrReference kDefaultAttribute = 3;

/// The pool's table of chunks; set before any key exists.
[[gnu::visibility("hidden")]] extern constinit std::byte* const* gAttributeTable;

/// The record behind a reference. A key without a record (reference 0) reads as all zeros.
inline YPriFCurveKeyAttr& Attribute(YFCurveKeyAttrReference reference)
{
    std::byte* chunk = gAttributeTable[reference >> kAttributeChunkShift];
    const std::size_t granule = reference & ((1u << kAttributeChunkShift) - 1u);
    return *reinterpret_cast<YPriFCurveKeyAttr*>(chunk + granule * kAttributeGranule);
}

/// Makes sure that pool and default record exist, for static initialisers that run early.
void EnsureAttributePool();

/// A thread takes this many records from the pool at a time. It keeps twice as many at most, and then gives
/// this many back.
inline constexpr std::uint32_t kKeptRecords = 32;

/// What a thread keeps for itself, so that threads which edit different curves do not wait for each other:
/// free records, and its part of the number of keys that point at the default record. The pool makes one for
/// each thread that edits keys and ends it with the thread. The thread alone writes it; others read the two
/// counts.
struct ThreadRecords
{
    std::atomic<std::uint32_t> count = 0;
    std::atomic<std::uint32_t> defaultKeys = 0;  // wraps where keys end on another thread than they began on
    YFCurveKeyAttrReference records[2 * kKeptRecords] = {};  // the first `count` ones
    ThreadRecords* next = nullptr;                           // in the pool's list
};

/// Those of the calling thread; null until it first edits keys, and where there is no memory for them.
YFC_THREAD_VARIABLE extern constinit thread_local ThreadRecords* tRecords;

/// Plain loads and stores: only the thread that a count belongs to writes it.
inline std::uint32_t ReadCount(const std::atomic<std::uint32_t>& count)
{
    return count.load(std::memory_order_relaxed);
}
inline void WriteCount(std::atomic<std::uint32_t>& count, std::uint32_t value)
{
    count.store(value, std::memory_order_relaxed);
}

/// How many free records the calling thread has at hand.
inline std::uint32_t KeptCount()
{
    return tRecords != nullptr ? ReadCount(tRecords->count) : 0;
}

/// What the functions below do in the pool, under its lock: for a thread without `tRecords`, with no free
/// record left, or with as many as it may keep.
void CountDefaultKeysSlowly(std::uint32_t amount);
YFCurveKeyAttrReference AllocateAttributeSlowly();
void FreeAttributeSlowly(YFCurveKeyAttrReference reference);

/// So many more keys point at the default record.
inline void CountDefaultKeys(std::uint32_t amount)
{
    ThreadRecords* const own = tRecords;
    if (own == nullptr) return CountDefaultKeysSlowly(amount);
    WriteCount(own->defaultKeys, ReadCount(own->defaultKeys) + amount);
}

/// A record with whatever it had before. Throws `std::bad_alloc`.
inline YFCurveKeyAttrReference TakeAttribute()
{
    const std::uint32_t count = KeptCount();
    if (count == 0) return AllocateAttributeSlowly();
    WriteCount(tRecords->count, count - 1);
    return tRecords->records[count - 1];
}

/// A zero-filled record with a reference count of 0. Throws `std::bad_alloc`.
inline YFCurveKeyAttrReference AllocateAttribute()
{
    const YFCurveKeyAttrReference reference = TakeAttribute();
    std::memset(static_cast<void*>(&Attribute(reference)), 0, sizeof(YPriFCurveKeyAttr));
    return reference;
}

/// A record with the flags and data of another one, for one key. Throws `std::bad_alloc`.
inline YFCurveKeyAttrReference MakeAttribute(const YPriFCurveKeyAttr& words)
{
    const YFCurveKeyAttrReference reference = TakeAttribute();
    Attribute(reference).SetWords(words);
    Attribute(reference).SetRefCount(1);
    return reference;
}

/// One key more points at the record. 0 is ignored.
inline void RetainAttribute(YFCurveKeyAttrReference reference)
{
    if (reference == 0) return;
    if (reference == kDefaultAttribute) return CountDefaultKeys(1);
    Attribute(reference).IncRefCount();
}

/// One key fewer points at the record; the last one returns it to the pool. 0 is ignored.
void ReleaseAttribute(YFCurveKeyAttrReference reference);

/// Keeps records ready for this thread, so that edits which are under way cannot run out of them.
class [[nodiscard]] AttributeReserve
{
  public:
    /// Throws `std::bad_alloc` when there are not `count` records to be had.
    explicit AttributeReserve(std::int64_t count)
    {
        if (count > KeptCount() || count > kKeptRecords) Begin(count);
    }
    ~AttributeReserve()
    {
        if (mFromPool) End();
    }
    AttributeReserve(const AttributeReserve&) = delete;
    AttributeReserve& operator=(const AttributeReserve&) = delete;

  private:
    void Begin(std::int64_t count);
    void End();

    bool mFromPool = false;             // more than a thread keeps
    std::uint32_t mReservedBefore = 0;  // by those around this one
};

/// As long as one lives, memory that was taken for reserved records stays with the pool. Where no other
/// thread edits keys, reserving as many again then takes no memory.
class [[nodiscard]] AttributeStock
{
  public:
    AttributeStock();
    ~AttributeStock();
    AttributeStock(const AttributeStock&) = delete;
    AttributeStock& operator=(const AttributeStock&) = delete;
};

/// Gives the default record its attributes, with the auto mode that the process-wide switch asks for.
void ResetDefaultAttribute();

}  // namespace yfc
