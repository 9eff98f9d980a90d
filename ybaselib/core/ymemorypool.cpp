#include "ybaselib/ymemorypool.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>
#include <new>
#include <utility>

namespace {

constexpr std::uint32_t kMaximumChunks = 1u << 20;
constexpr std::size_t kMaximumAlignment = 64;

// The free list runs through the free records themselves: the first four bytes hold the next one.
std::uint32_t ReadLink(const std::byte* record)
{
    std::uint32_t next;
    std::memcpy(&next, record, sizeof next);
    return next;
}

void WriteLink(std::byte* record, std::uint32_t next)
{
    std::memcpy(record, &next, sizeof next);
}

}  // namespace

YMemoryPool::YMemoryPool(int recordSize, int recordsPerChunk, int initialChunks, bool growable)
    : mRecordSize(std::max(recordSize, 4)),
      mRecordsPerChunk(static_cast<int>(std::bit_ceil(static_cast<unsigned>(std::max(recordsPerChunk, 2))))),
      mGranuleSize(mRecordSize & -mRecordSize),
      mChunkShift(static_cast<int>(std::bit_width(
          static_cast<unsigned>(mRecordSize / mGranuleSize) * static_cast<unsigned>(mRecordsPerChunk) - 1u))),
      mMaximumChunks(growable
                         ? kMaximumChunks
                         : std::min(static_cast<std::uint32_t>(std::max(initialChunks, 0)), kMaximumChunks)),
      mTable(static_cast<std::byte**>(std::calloc(std::max(mMaximumChunks, 1u), sizeof(std::byte*))))
{
    if (!mTable) mMaximumChunks = 0;
    // Reference numbers end at 32 bits, whatever the chunk size.
    mMaximumChunks = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(mMaximumChunks, (std::uint64_t{1} << 32) >> mChunkShift));
    for (int i = 0; i < initialChunks; ++i) {
        if (!AddChunk()) return;
    }
}

YMemoryPool::~YMemoryPool()
{
    for (const auto& [address, index] : mChunkByAddress) std::free(mTable[index]);
}

std::byte* YMemoryPool::Address(std::uint32_t chunk, std::uint32_t granule) const
{
    return mTable[chunk] + std::size_t{granule} * static_cast<std::size_t>(mGranuleSize);
}

YMemoryPool::Reference YMemoryPool::Allocate()
{
    Reference reference = 0;
    if (AllocateSome(&reference, 1) == 0) return 0;
    std::memset(Get(reference), 0, static_cast<std::size_t>(mRecordSize));
    return reference;
}

// From one chunk after the other: first what was freed in it, then what was never handed out.
std::uint32_t YMemoryPool::AllocateSome(Reference* references, std::uint32_t count)
{
    const std::uint32_t step = GranulesPerRecord();
    const std::uint32_t end = step * static_cast<std::uint32_t>(mRecordsPerChunk);
    std::uint32_t taken = 0;
    while (taken < count && (!mAvailable.empty() || AddChunk())) {
        const std::uint32_t index = *mAvailable.begin();
        const Reference base = index << mChunkShift;
        Chunk& chunk = mChunks[index];
        const std::uint32_t before = taken;
        while (taken < count && chunk.freeHead != 0) {
            const std::uint32_t granule = chunk.freeHead - 1;
            chunk.freeHead = ReadLink(Address(index, granule));
            references[taken++] = base + granule;
        }
        for (; taken < count && chunk.fresh < end; chunk.fresh += step) {
            references[taken++] = base + chunk.fresh;
        }
        chunk.live += taken - before;
        mLiveCount += taken - before;
        mFreeCount -= taken - before;
        const bool full = chunk.freeHead == 0 && chunk.fresh == end;
        if (full) chunk.listNode = mAvailable.extract(mAvailable.begin());
    }
    return taken;
}

void YMemoryPool::Free(Reference reference)
{
    if (reference != 0) FreeSome(&reference, 1);
}

void YMemoryPool::FreeSome(const Reference* references, std::uint32_t count)
{
    for (std::uint32_t i = 0; i < count;) {
        const std::uint32_t index = references[i] >> mChunkShift;
        Chunk& chunk = mChunks[index];
        const std::uint32_t before = i;
        for (; i < count && references[i] >> mChunkShift == index; ++i) {
            const std::uint32_t granule = references[i] & GranuleMask();
            WriteLink(Address(index, granule), chunk.freeHead);
            chunk.freeHead = granule + 1;
        }
        chunk.live -= i - before;
        mLiveCount -= i - before;
        mFreeCount += i - before;
        AfterFreeing(index);
    }
}

void YMemoryPool::AfterFreeing(std::uint32_t index)
{
    Chunk& chunk = mChunks[index];
    if (chunk.listNode) mAvailable.insert(std::move(chunk.listNode));
    if (chunk.live != 0 || mAvailable.size() < 2) return;
    if (mReserveDepth == 0) {
        ReleaseChunk(index);
    } else {
        mHasEmptyChunks = true;
    }
}

void* YMemoryPool::Get(Reference reference) const
{
    if (reference == 0) return nullptr;
    return Address(reference >> mChunkShift, reference & GranuleMask());
}

YMemoryPool::Reference YMemoryPool::Find(const void* record) const
{
    const auto* address = static_cast<const std::byte*>(record);
    auto next = mChunkByAddress.upper_bound(address);
    if (next == mChunkByAddress.begin()) return 0;
    const auto& [start, index] = *--next;
    const auto number = static_cast<std::size_t>(address - start) / static_cast<std::size_t>(mRecordSize);
    if (number >= static_cast<std::size_t>(mRecordsPerChunk)) return 0;
    return (index << mChunkShift) + static_cast<Reference>(number) * GranulesPerRecord();
}

bool YMemoryPool::BeginReserve(std::uint32_t count)
{
    ++mReserveDepth;
    while (mFreeCount < count) {
        if (!AddChunk()) return false;
        mHasEmptyChunks = true;
    }
    return true;
}

void YMemoryPool::EndReserve()
{
    if (--mReserveDepth > 0 || !mHasEmptyChunks) return;
    mHasEmptyChunks = false;
    Trim();
}

void YMemoryPool::Trim()
{
    for (auto next = mAvailable.rbegin(); next != mAvailable.rend() && mAvailable.size() > 1;) {
        const std::uint32_t index = *next++;
        if (mChunks[index].live != 0) continue;
        ReleaseChunk(index);
        next = std::make_reverse_iterator(mAvailable.lower_bound(index));
    }
}

// The first record of the first chunk is never handed out.
std::uint32_t YMemoryPool::RecordsIn(std::uint32_t chunk) const
{
    return static_cast<std::uint32_t>(mRecordsPerChunk) - (chunk == 0 ? 1u : 0u);
}

bool YMemoryPool::AddChunk()
{
    const bool reuse = !mVacant.empty();
    const auto index = reuse ? mVacant.back() : static_cast<std::uint32_t>(mChunks.size());
    if (index >= mMaximumChunks) return false;
    const std::size_t bytes =
        static_cast<std::size_t>(mRecordSize) * static_cast<std::size_t>(mRecordsPerChunk);
    const std::size_t rounded = (bytes + kMaximumAlignment - 1) / kMaximumAlignment * kMaximumAlignment;
    std::unique_ptr<std::byte[], FreeDeleter> memory(
        static_cast<std::byte*>(std::aligned_alloc(kMaximumAlignment, rounded)));
    if (!memory || !ListChunk(memory.get(), index)) return false;
    if (reuse) mVacant.pop_back();
    mChunks[index] = Chunk{};
    if (index == 0) {
        mChunks[index].fresh = GranulesPerRecord();
        std::memset(memory.get(), 0, static_cast<std::size_t>(mRecordSize));
    }
    mTable[index] = memory.release();
    mFreeCount += RecordsIn(index);
    return true;
}

// Everything that a chunk takes memory for here, and all that it will take for going away again. False, with
// nothing changed, when there is none.
bool YMemoryPool::ListChunk(const std::byte* memory, std::uint32_t index)
{
    try {
        if (index >= mVacant.capacity()) mVacant.reserve(std::max<std::size_t>(2 * mVacant.capacity(), 8));
        const auto listed = mChunkByAddress.emplace(memory, index).first;
        try {
            mAvailable.insert(index);
            if (index == mChunks.size()) mChunks.emplace_back();
        } catch (const std::bad_alloc&) {
            mAvailable.erase(index);
            mChunkByAddress.erase(listed);
            return false;
        }
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void YMemoryPool::ReleaseChunk(std::uint32_t index)
{
    mAvailable.erase(index);
    mChunkByAddress.erase(mTable[index]);
    std::free(mTable[index]);
    mTable[index] = nullptr;
    mFreeCount -= RecordsIn(index);
    mVacant.push_back(index);
}
