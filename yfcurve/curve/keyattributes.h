#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

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

/// As many free records a thread keeps when it gives some back, and at most twice as many at any time.
inline constexpr std::uint32_t kKeptRecords = 32;

/// What a thread keeps for itself, so that threads which edit different curves do not get in each other's way:
/// free records, taken from the pool and given back to it many at a time, and its part of the number of keys
/// that point at the default record. The thread alone writes it; others read the counts.
struct ThreadRecords
{
    bool isKnown = false;        // to the pool, which asks known threads for their counts
    std::uint32_t reserved = 0;  // of an `AttributeReserve`: what is still to come out of the pool
    std::atomic<std::uint32_t> count = 0;
    YFCurveKeyAttrReference records[2 * kKeptRecords] = {};  // the first `count` ones
    std::atomic<std::uint32_t> defaultKeys = 0;  // wraps where keys end on another thread than they began on
    ThreadRecords* next = nullptr;               // in the pool's list
};

[[gnu::visibility("hidden"),
  gnu::tls_model("initial-exec")]] extern constinit thread_local ThreadRecords tRecords;

/// Plain loads and stores: only the thread that a count belongs to writes it.
inline std::uint32_t ReadCount(const std::atomic<std::uint32_t>& count)
{
    return count.load(std::memory_order_relaxed);
}
inline void WriteCount(std::atomic<std::uint32_t>& count, std::uint32_t value)
{
    count.store(value, std::memory_order_relaxed);
}

/// The ways of a thread that is not known to the pool yet, has no free record, or has too many.
void CountDefaultKeysSlowly(std::uint32_t amount);
YFCurveKeyAttrReference AllocateAttributeSlowly();
void FreeAttributeSlowly(YFCurveKeyAttrReference reference);

/// So many more keys point at the default record.
inline void CountDefaultKeys(std::uint32_t amount)
{
    if (!tRecords.isKnown) return CountDefaultKeysSlowly(amount);
    WriteCount(tRecords.defaultKeys, ReadCount(tRecords.defaultKeys) + amount);
}

/// A zero-filled record with a reference count of 0. Throws `std::bad_alloc`.
inline YFCurveKeyAttrReference AllocateAttribute()
{
    const std::uint32_t count = ReadCount(tRecords.count);
    if (count == 0) return AllocateAttributeSlowly();
    const YFCurveKeyAttrReference reference = tRecords.records[count - 1];
    WriteCount(tRecords.count, count - 1);
    std::memset(static_cast<void*>(&Attribute(reference)), 0, sizeof(YPriFCurveKeyAttr));
    return reference;
}

/// A record with the flags and data of another one, for one key. Throws `std::bad_alloc`.
inline YFCurveKeyAttrReference MakeAttribute(const YPriFCurveKeyAttr& words)
{
    const YFCurveKeyAttrReference reference = AllocateAttribute();
    Attribute(reference).SetWords(words);
    Attribute(reference).SetRefCount(1);
    return reference;
}

/// One key more points at the record.
inline void RetainAttribute(YFCurveKeyAttrReference reference)
{
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
        if (count > ReadCount(tRecords.count) || count > kKeptRecords) Begin(count);
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

/// As long as one lives, what was reserved stays with the pool, so that reserving as much again takes no memory.
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
