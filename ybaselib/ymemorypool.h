#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <set>
#include <vector>

#include "ybaselib/yexport.h"

/// \file
/// A pool of equal-sized records that are named by 32-bit references.

/// Hands out zero-filled records of one size and takes them back.
///
/// A record is named by a 32-bit reference, half the size of a pointer on 64-bit machines; reference 0
/// names no record. The high bits of a reference count chunks, the low ones granules inside the chunk,
/// where a granule is the largest power of two that divides the record size: no multiplication by the record
/// size stands between a reference and its address. Records live in chunks that never move, and the table of
/// chunks never moves either, so an address stays valid until its record is freed, and looking one record up
/// while another thread allocates a different one is no data race. Allocating and freeing themselves are not
/// synchronised; `AllocateSome` and `FreeSome` are there for callers that keep records ready for each thread
/// and come here, under a lock of theirs, for many at a time.
///
/// A chunk whose last record is freed goes back to the heap, one empty chunk excepted, which is kept
/// so that a pool that hovers around a chunk's edge does not allocate back and forth.
class YBASELIB_EXPORT YMemoryPool
{
  public:
    using Reference = std::uint32_t;

    /// \param recordSize       bytes per record, at least 4; records are aligned to a granule, 64 bytes at
    ///                         the most.
    /// \param recordsPerChunk  how many records one heap allocation holds; rounded up to a power of two, 2 at
    ///                         least.
    /// \param initialChunks    chunks to allocate at once.
    /// \param growable         false: `Allocate` gives 0 once the initial chunks are full. A growable
    ///                         pool reserves 8 MiB of address space (untouched memory) for its table and
    ///                         holds up to a million chunks.
    YMemoryPool(int recordSize, int recordsPerChunk, int initialChunks, bool growable);
    ~YMemoryPool();
    YMemoryPool(const YMemoryPool&) = delete;
    YMemoryPool& operator=(const YMemoryPool&) = delete;

    /// A zero-filled record; 0 when the pool is full or the heap has no more memory.
    Reference Allocate();
    /// Writes the references of several records, whose contents are whatever was left there.
    /// \return  how many there are; fewer than `count` when the pool is full or the heap has no more memory.
    std::uint32_t AllocateSome(Reference* references, std::uint32_t count);

    /// Makes sure that the next `count` calls of `Allocate` find a record without the heap, as long as
    /// nothing else allocates. Until `EndReserve` no chunk goes back to the heap. These nest; each begins
    /// anew to count.
    /// \return  false when the pool cannot grow that far. It is to be ended all the same.
    bool BeginReserve(std::uint32_t count);
    /// Gives back what has become empty meanwhile, and what was not needed.
    void EndReserve();

    /// Takes a record back, which takes no memory. 0 is ignored; freeing a record twice is the caller's
    /// error.
    void Free(Reference reference);
    /// Takes several records back, which is faster for records that were allocated one after the other. None
    /// may be 0.
    void FreeSome(const Reference* references, std::uint32_t count);

    /// The address of a live record; null for 0.
    void* Get(Reference reference) const;

    /// The reference of the record that starts at an address; 0 for an address outside the pool.
    Reference Find(const void* record) const;

    int GetRecordSize() const { return mRecordSize; }
    int GetRecordsPerChunk() const { return mRecordsPerChunk; }

    /// Records handed out and not yet freed.
    std::uint32_t GetLiveCount() const { return mLiveCount; }

    /// Records that `Allocate` hands out before it needs the heap.
    std::uint64_t GetFreeCount() const { return mFreeCount; }

    /// Chunks held, empty ones included.
    int GetChunkCount() const { return static_cast<int>(mChunkByAddress.size()); }

    /// How a reference splits: `reference >> GetChunkShift()` is the chunk, and the bits below, times
    /// `GetGranuleSize()`, are the offset in it.
    int GetChunkShift() const { return mChunkShift; }
    int GetGranuleSize() const { return mGranuleSize; }

    /// The table of chunk addresses, for callers that resolve references in an inner loop. It stays where it
    /// is for the life of the pool. As long as the pool holds its first chunk, reference 0 resolves to a
    /// record of zeros.
    std::byte* const* GetChunkTable() const { return mTable.get(); }

  private:
    struct Chunk
    {
        // Records by their first granule.
        std::uint32_t freeHead = 0;  // the one freed last, plus 1; 0 when there is none
        std::uint32_t fresh = 0;     // the first one that was never handed out
        std::uint32_t live = 0;
        std::set<std::uint32_t>::node_type listNode;  // of `mAvailable`, kept here while the chunk is full
    };
    struct FreeDeleter
    {
        void operator()(void* memory) const { std::free(memory); }
    };

    bool AddChunk();
    bool ListChunk(const std::byte* memory, std::uint32_t index);
    void ReleaseChunk(std::uint32_t index);
    void Trim();
    void AfterFreeing(std::uint32_t index);
    std::uint32_t RecordsIn(std::uint32_t chunk) const;

    std::uint32_t GranulesPerRecord() const { return static_cast<std::uint32_t>(mRecordSize / mGranuleSize); }
    std::uint32_t GranuleMask() const { return (1u << mChunkShift) - 1u; }
    std::byte* Address(std::uint32_t chunk, std::uint32_t granule) const;

    int mRecordSize;
    int mRecordsPerChunk;
    int mGranuleSize;
    int mChunkShift;
    std::uint32_t mMaximumChunks;
    std::uint32_t mLiveCount = 0;
    std::uint64_t mFreeCount = 0;
    int mReserveDepth = 0;
    bool mHasEmptyChunks = false;  // perhaps, since a reserve was begun
    std::unique_ptr<std::byte*[], FreeDeleter> mTable;
    std::vector<Chunk> mChunks;
    std::vector<std::uint32_t> mVacant;  // indices of released chunks, with room for all there are
    std::set<std::uint32_t> mAvailable;  // chunks with room, the lowest is filled first
    std::map<const std::byte*, std::uint32_t> mChunkByAddress;
};
