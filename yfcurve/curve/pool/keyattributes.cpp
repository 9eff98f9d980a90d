// Threads edit curves of their own without waiting for each other at every key: each has a few dozen free
// records and comes to the pool, under its lock, for more. Curves never share a record, but for copies that
// live as long as one edit, and for the default record, at which keys of all threads point: each thread
// counts its own keys on that, and whoever asks gets the sum. Evaluation reads addresses out of tables that
// do not move, without a lock.

#include "yfcurve/curve/pool/keyattributes.h"

#include <pthread.h>

#include <algorithm>
#include <cassert>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "ybaselib/ymemorypool.h"
#include "yfcurve/yfcurve.h"

namespace yfc {

constinit std::byte* const* gAttributeTable = nullptr;

namespace {

// The first curve of the process sets it, while other threads may be making keys.
constinit std::atomic<bool> gConvertAutoTimeIndependent = false;

// Of the records that this thread has reserved: how many are still to come out of the pool.
constinit thread_local std::uint32_t tReserved = 0;

// The pool of the process. Threads come to it for many records at a time, and wait for each other here alone.
class AttributePool
{
  public:
    AttributePool() : mPool(sizeof(YPriFCurveKeyAttr), kAttributesPerChunk, 0, true)
    {
        assert(mPool.GetChunkShift() == kAttributeChunkShift && mPool.GetGranuleSize() == kAttributeGranule);
        gAttributeTable = mPool.GetChunkTable();
        [[maybe_unused]] const auto first = mPool.Allocate();
        assert(first == kDefaultAttribute);
        Attribute(kDefaultAttribute).SetRefCount(YPriFCurveKeyAttr::CountedApart);
        ResetDefaultAttribute();
        mHasKey = pthread_key_create(&mThreadEnd, &AttributePool::OnThreadEnd) == 0;
    }

    // Before the library is unloaded. Threads that have no records of their own by now come here for each.
    // Those of the others stay, as there is no telling when these threads end.
    void ForgetThreadEnds()
    {
        const std::lock_guard lock(mMutex);
        if (std::exchange(mHasKey, false)) pthread_key_delete(mThreadEnd);
    }

    void CountDefaultKeys(std::uint32_t amount)
    {
        const std::lock_guard lock(mMutex);
        mDefaultKeys += amount;
        Welcome();
    }

    YFCurveKeyAttrReference Allocate()
    {
        const std::lock_guard lock(mMutex);
        YFCurveKeyAttrReference alone = 0;
        if (!Welcome()) return Take(&alone, 1) == 1 ? alone : 0;
        Fill();
        const std::uint32_t count = ReadCount(tRecords->count);
        if (count == 0) return 0;
        WriteCount(tRecords->count, count - 1);
        return tRecords->records[count - 1];
    }

    void Free(YFCurveKeyAttrReference reference)
    {
        const std::lock_guard lock(mMutex);
        if (!Welcome()) return mPool.Free(reference);
        std::uint32_t count = ReadCount(tRecords->count);
        if (count == 2 * kKeptRecords) {
            // The half that goes is the one in the later chunk: the pool fills chunks from the first one on,
            // so that later ones become empty and go back to the heap.
            YFCurveKeyAttrReference* const rest = tRecords->records + kKeptRecords;
            if (*rest < *tRecords->records) std::swap_ranges(tRecords->records, rest, rest);
            mPool.FreeSome(rest, kKeptRecords);
            count = kKeptRecords;
        }
        tRecords->records[count] = reference;
        WriteCount(tRecords->count, count + 1);
    }

    // Makes sure that this thread will find so many records. What it keeps itself counts, `kKeptRecords` at
    // most; the rest is reserved in the pool.
    // \return  how many are reserved in the pool; -1 when there are not enough.
    std::int64_t Reserve(std::int64_t count)
    {
        const std::lock_guard lock(mMutex);
        const bool keepsSome = Welcome();
        if (keepsSome) Fill();
        const std::int64_t kept = std::min(KeptCount(), kKeptRecords);
        if (count <= kept) return 0;
        if (keepsSome && count <= kKeptRecords) return -1;
        const std::int64_t missing = std::max<std::int64_t>(count - kept - tReserved, 0);
        const bool found = mPool.BeginReserve(Limited(mReserved + missing));
        if (!found) mPool.EndReserve();
        if (!found) return -1;
        mReserved += missing;
        tReserved += static_cast<std::uint32_t>(missing);
        return count - kept;
    }

    // Ends a reservation inside another one that has reserved so many.
    void EndReserve(std::uint32_t outer)
    {
        const std::lock_guard lock(mMutex);
        const std::uint32_t left = std::min(tReserved, outer);
        mReserved -= tReserved - left;
        tReserved = left;
        mPool.EndReserve();
    }

    void BeginStock()
    {
        const std::lock_guard lock(mMutex);
        mPool.BeginReserve(0);
    }

    void EndStock()
    {
        const std::lock_guard lock(mMutex);
        mPool.EndReserve();
    }

    // Around a fork, so that no other thread is at work here then. The child has the calling thread alone:
    // what others have reserved is free there. The records that they keep stay out of use, as one of them may
    // have been about to take or to give one; their counts still hold.
    void Lock() { mMutex.lock(); }
    void Unlock() { mMutex.unlock(); }
    void UnlockInChild()
    {
        mReserved = tReserved;
        mMutex.unlock();
    }

    std::uint32_t GetLiveCount()
    {
        const std::lock_guard lock(mMutex);
        std::uint32_t live = mPool.GetLiveCount();
        for (const ThreadRecords* thread = mThreads; thread != nullptr; thread = thread->next) {
            live -= ReadCount(thread->count);
        }
        return live;
    }

    std::uint32_t GetDefaultKeys()
    {
        const std::lock_guard lock(mMutex);
        std::uint32_t keys = mDefaultKeys;
        for (const ThreadRecords* thread = mThreads; thread != nullptr; thread = thread->next) {
            keys += ReadCount(thread->defaultKeys);
        }
        return keys;
    }

  private:
    static void OnThreadEnd(void* records);

    static std::uint32_t Limited(std::int64_t count)
    {
        return static_cast<std::uint32_t>(std::min<std::int64_t>(count, UINT32_MAX));
    }

    // Gives the calling thread records of its own. False without memory, and where its end could not be
    // noticed.
    bool Welcome()
    {
        if (tRecords != nullptr) return true;
        if (!mHasKey) return false;
        std::unique_ptr<ThreadRecords> records(new (std::nothrow) ThreadRecords);
        if (!records || pthread_setspecific(mThreadEnd, records.get()) != 0) return false;
        records->next = mThreads;
        mThreads = tRecords = records.release();
        return true;
    }

    void Dismiss(ThreadRecords* records)
    {
        const std::unique_ptr<ThreadRecords> ended(records);
        const std::lock_guard lock(mMutex);
        mPool.FreeSome(ended->records, ReadCount(ended->count));
        mDefaultKeys += ReadCount(ended->defaultKeys);
        ThreadRecords** place = &mThreads;
        while (*place != records) place = &(*place)->next;
        *place = ended->next;
        tRecords = nullptr;
    }

    // Gives this thread as many records as it keeps, or as many as there are.
    void Fill()
    {
        const std::uint32_t count = ReadCount(tRecords->count);
        if (count >= kKeptRecords) return;
        YFCurveKeyAttrReference* const added = tRecords->records + count;
        const std::uint32_t taken = Take(added, kKeptRecords - count);
        std::reverse(added, added + taken);  // the last is used first: in the order of their addresses
        WriteCount(tRecords->count, count + taken);
    }

    // Records of the pool, but for those that are reserved for other threads.
    std::uint32_t Take(YFCurveKeyAttrReference* records, std::uint32_t count)
    {
        const std::int64_t ofOthers = mReserved - tReserved;
        mPool.BeginReserve(Limited(ofOthers + count));
        const std::int64_t free = static_cast<std::int64_t>(mPool.GetFreeCount()) - ofOthers;
        const auto allowed = static_cast<std::uint32_t>(std::clamp<std::int64_t>(free, 0, count));
        const std::uint32_t taken = mPool.AllocateSome(records, allowed);
        mPool.EndReserve();
        const std::uint32_t reserved = std::min(taken, tReserved);
        tReserved -= reserved;
        mReserved -= reserved;
        return taken;
    }

    std::mutex mMutex;
    YMemoryPool mPool;
    std::int64_t mReserved = 0;      // by all threads, of the records that are free
    std::uint32_t mDefaultKeys = 1;  // of threads that have ended, and the record's own
    ThreadRecords* mThreads = nullptr;
    pthread_key_t mThreadEnd = 0;
    bool mHasKey = false;
};

// Never destroyed: curves may be released by static destructors that run after those of this library.
AttributePool& Pool()
{
    static AttributePool* const pool = new AttributePool;
    return *pool;
}

void AttributePool::OnThreadEnd(void* records)
{
    Pool().Dismiss(static_cast<ThreadRecords*>(records));
}

// Sees the library being loaded and unloaded. Handlers of forks go away with it.
struct Presence
{
    Presence()
    {
        Pool();
        pthread_atfork([] { Pool().Lock(); }, [] { Pool().Unlock(); }, [] { Pool().UnlockInChild(); });
    }
    ~Presence() { Pool().ForgetThreadEnds(); }
} const gPresence;

}  // namespace

constinit thread_local ThreadRecords* tRecords = nullptr;

void EnsureAttributePool()
{
    Pool();
}

void CountDefaultKeysSlowly(std::uint32_t amount)
{
    Pool().CountDefaultKeys(amount);
}

YFCurveKeyAttrReference AllocateAttributeSlowly()
{
    const YFCurveKeyAttrReference reference = Pool().Allocate();
    if (reference == 0) throw std::bad_alloc();
    return reference;
}

void FreeAttributeSlowly(YFCurveKeyAttrReference reference)
{
    Pool().Free(reference);
}

void ReleaseAttribute(YFCurveKeyAttrReference reference)
{
    if (reference == 0) return;
    if (reference == kDefaultAttribute) return CountDefaultKeys(-1u);
    if (Attribute(reference).DecRefCount() > 0) return;
    ThreadRecords* const own = tRecords;
    if (own == nullptr) return FreeAttributeSlowly(reference);
    const std::uint32_t count = ReadCount(own->count);
    if (count == 2 * kKeptRecords) return FreeAttributeSlowly(reference);
    own->records[count] = reference;
    WriteCount(own->count, count + 1);
}

void AttributeReserve::Begin(std::int64_t count)
{
    mReservedBefore = tReserved;
    const std::int64_t fromPool = Pool().Reserve(std::min<std::int64_t>(count, INT32_MAX));
    if (fromPool < 0) throw std::bad_alloc();
    mFromPool = fromPool > 0;
}

void AttributeReserve::End()
{
    Pool().EndReserve(mReservedBefore);
}

AttributeStock::AttributeStock()
{
    Pool().BeginStock();
}

AttributeStock::~AttributeStock()
{
    Pool().EndStock();
}

void ResetDefaultAttribute()
{
    YPriFCurveKeyAttr& attr = Attribute(kDefaultAttribute);
    attr.Set(YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_AUTO, 0.0f, 0.0f, YFCURVE_WEIGHT_NONE,
             YFCURVE_DEFAULT_WEIGHT, YFCURVE_DEFAULT_WEIGHT, YFCURVE_DEFAULT_VELOCITY,
             YFCURVE_DEFAULT_VELOCITY);
}

}  // namespace yfc

bool YFCURVE_GetConvertAutoTimeIndependent()
{
    return yfc::gConvertAutoTimeIndependent.load(std::memory_order_relaxed);
}

void YFCURVE_SetConvertAutoTimeIndependent(bool on)
{
    yfc::gConvertAutoTimeIndependent.store(on, std::memory_order_relaxed);
}

int YFCURVE_GetKeyAttrCount()
{
    return static_cast<int>(yfc::Pool().GetLiveCount());
}

std::uint32_t YFCURVE_GetDefaultKeyAttrRefCount()
{
    return yfc::Pool().GetDefaultKeys();
}
