#include <pthread.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <list>
#include <memory>
#include <mutex>
#include <new>
#include <utility>

#include "ybaselib/core/standardlibrary.h"
#include "yfcurve/curve/pool/keyblocks.h"
#include "yfcurve/ymemoryblockqueue.h"

namespace {

using Reference = YMemoryBlockQueue::Reference;

constinit std::atomic<std::uint32_t> gRecordingMemory{0};

// Bytes beyond 32 bits wrap, in both directions alike.
void CountBytes(std::size_t bytes)
{
    gRecordingMemory.fetch_add(static_cast<std::uint32_t>(bytes), std::memory_order_relaxed);
}

void UncountBytes(std::size_t bytes)
{
    gRecordingMemory.fetch_sub(static_cast<std::uint32_t>(bytes), std::memory_order_relaxed);
}

// Memory for list nodes of one size, taken from the heap many at a time: there is a node for every block.
// What is given back waits for the next one, for good.
class NodeStore
{
  public:
    void* Take(std::size_t nodeBytes)
    {
        const std::lock_guard lock(mMutex);
        if (mFree == nullptr) Refill(nodeBytes);
        return std::exchange(mFree, *static_cast<void**>(mFree));
    }

    void Give(void* node)
    {
        const std::lock_guard lock(mMutex);
        *static_cast<void**>(node) = std::exchange(mFree, node);
    }

    void Lock() { mMutex.lock(); }
    void Unlock() { mMutex.unlock(); }

  private:
    void Refill(std::size_t nodeBytes)
    {
        constexpr std::size_t nodesAtATime = YMemoryBlockQueue::BlocksPerChunk;
        auto* slab = static_cast<std::byte*>(::operator new(nodesAtATime* nodeBytes));
        for (std::size_t i = 0; i < nodesAtATime; ++i) {
            void* node = slab + i * nodeBytes;
            *static_cast<void**>(node) = std::exchange(mFree, node);
        }
    }

    std::mutex mMutex;
    void* mFree = nullptr;  // each free node starts with the address of the next
};

NodeStore& Store()
{
    static auto& store = *new NodeStore;  // lists may outlive static destruction
    return store;
}

// Stateless, so that nodes may move between all lists.
template<class T>
struct NodeAllocator
{
    using value_type = T;

    NodeAllocator() = default;
    template<class Other>
    NodeAllocator(const NodeAllocator<Other>&)
    {}

    static T* allocate(std::size_t) { return static_cast<T*>(Store().Take(sizeof(T))); }
    static void deallocate(T* node, std::size_t) { Store().Give(node); }
    friend bool operator==(NodeAllocator, NodeAllocator) { return true; }
};

// List nodes, each with a block or 0. A node moves between lists by splicing, which never allocates.
using Nodes = std::list<Reference, NodeAllocator<Reference>>;

Nodes MakeNode()
{
    try {
        return Nodes(1);
    } catch (const std::bad_alloc&) {
        return {};
    }
}

// First in, first out. Every operation takes the lock for itself alone, so no two locks are ever held.
class LockedList
{
  public:
    // One node, or none when the list is empty.
    Nodes Pop() { return PopAbove(0); }

    Nodes PopAbove(int count)
    {
        const std::lock_guard lock(mMutex);
        Nodes node;
        if (Size() > std::max(count, 0)) node.splice(node.end(), mNodes, mNodes.begin());
        return node;
    }

    void Push(Nodes& node)
    {
        const std::lock_guard lock(mMutex);
        mNodes.splice(mNodes.end(), node);
    }

    // Leaves the node with the caller when there are `count` nodes already.
    void PushBelow(int count, Nodes& node)
    {
        const std::lock_guard lock(mMutex);
        if (Size() < count) mNodes.splice(mNodes.end(), node);
    }

    bool IsBelow(int count) const
    {
        const std::lock_guard lock(mMutex);
        return Size() < count;
    }

    bool IsEmpty() const
    {
        const std::lock_guard lock(mMutex);
        return mNodes.empty();
    }

    void Lock() { mMutex.lock(); }
    void Unlock() { mMutex.unlock(); }

  private:
    int Size() const { return static_cast<int>(mNodes.size()); }

    mutable std::mutex mMutex;
    Nodes mNodes;
};

// Blocks, under a lock, for the queue's own threads; addresses are looked up without.
class LockedPool
{
  public:
    explicit LockedPool(int blockSize) : mHeld(std::make_unique<Held>(blockSize)) {}

    Reference Allocate()
    {
        const std::lock_guard lock(mMutex);
        return mHeld->pool.Allocate();
    }

    void Free(Reference reference)
    {
        const std::lock_guard lock(mMutex);
        mHeld->pool.Free(reference);
    }

    Reference Find(const void* block)
    {
        const std::lock_guard lock(mMutex);
        return mHeld->pool.Find(block);
    }

    void* Get(Reference reference) const { return mHeld->pool.Get(reference); }
    std::byte* const* GetChunkTable() const { return mHeld->pool.GetChunkTable(); }

    // Keeps the blocks for good: someone still uses them.
    void Abandon()
    {
        static constinit std::mutex mutex;
        static constinit Held* abandoned = nullptr;
        const std::lock_guard lock(mutex);
        mHeld->next = abandoned;
        abandoned = mHeld.release();
    }

    void Lock() { mMutex.lock(); }
    void Unlock() { mMutex.unlock(); }

  private:
    struct Held
    {
        explicit Held(int blockSize) : pool(blockSize, YMemoryBlockQueue::BlocksPerChunk, 0, true) {}

        YMemoryPool pool;
        Held* next = nullptr;  // of those that were abandoned
    };

    std::mutex mMutex;
    std::unique_ptr<Held> mHeld;
};

}  // namespace

struct YMemoryBlockQueue::State
{
    State(int blockSize, int stockSize)
        : pool(blockSize), blockBytes(static_cast<std::size_t>(blockSize)), threshold(stockSize)
    {
        const std::lock_guard lock(allMutex);
        next = std::exchange(all, this);
    }
    ~State()
    {
        const std::lock_guard lock(allMutex);
        State** place = &all;
        while (*place != this) place = &(*place)->next;
        *place = next;
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;

    // Around a fork, so that no thread is at work in any queue then: the child has the calling thread alone, and
    // a lock that another one held would stay closed there. Elsewhere no two of these locks are ever held.
    static void LockAll()
    {
        allMutex.lock();
        Store().Lock();
        for (State* state = all; state != nullptr; state = state->next) {
            state->pool.Lock();
            state->stock.Lock();
            state->carriers.Lock();
        }
    }
    static void UnlockAll()
    {
        for (State* state = all; state != nullptr; state = state->next) {
            state->carriers.Unlock();
            state->stock.Unlock();
            state->pool.Unlock();
        }
        Store().Unlock();
        allMutex.unlock();
    }

    // A node with a new block, or none when memory has run out.
    Nodes MakeBlock()
    {
        Nodes node = MakeNode();
        if (node.empty()) return node;
        node.front() = pool.Allocate();
        if (node.front() == 0) return {};
        CountBytes(blockBytes);
        return node;
    }

    void FreeBlock(Reference reference)
    {
        pool.Free(reference);
        UncountBytes(blockBytes);
    }

    LockedPool pool;
    const std::size_t blockBytes;
    std::atomic<int> threshold;
    LockedList stock;     // free blocks, filled with zeros
    LockedList carriers;  // a node for every block handed out, without it: giving back needs no heap either

    State* next = nullptr;  // of all queues of the process
    static YBASE_CONSTINIT_MUTEX std::mutex allMutex;
    static constinit State* all;
};

YBASE_CONSTINIT_MUTEX std::mutex YMemoryBlockQueue::State::allMutex;
constinit YMemoryBlockQueue::State* YMemoryBlockQueue::State::all = nullptr;

YMemoryBlockQueue::YMemoryBlockQueue(int blockSize, int threshold)
    : mBlockSize(blockSize), mState(std::make_unique<State>(blockSize, threshold))
{
    ValidateListThreshold();
    mFileNew.Register("FileNew", OnFileNewEvent, this);
}

YMemoryBlockQueue::~YMemoryBlockQueue()
{
    mFileNew.Unregister();
    if (IsInUse()) {
        mState->pool.Abandon();
    } else {
        FreeAllMemoryList();
    }
}

IObject* YMemoryBlockQueue::IQuery(unsigned long interfaceId, int)
{
    return interfaceId == InterfaceId || interfaceId == IObject::InterfaceId ? this : nullptr;
}

void YMemoryBlockQueue::Destroy(int isLocal)
{
    if (isLocal == 0) delete this;
}

void* YMemoryBlockQueue::GetRecycleMemoryBlock()
{
    return mState->pool.Get(GetRecycleReference());
}

void YMemoryBlockQueue::RecycleMemoryBlock(void* block)
{
    RecycleReference(mState->pool.Find(block));
}

YMemoryBlockQueue::Reference YMemoryBlockQueue::GetRecycleReference()
{
    Nodes node = mState->stock.Pop();
    if (node.empty()) node = mState->MakeBlock();
    if (node.empty()) return 0;
    const Reference reference = std::exchange(node.front(), 0);
    mState->carriers.Push(node);
    return reference;
}

void YMemoryBlockQueue::RecycleReference(Reference reference)
{
    if (reference == 0) return;
    std::memset(mState->pool.Get(reference), 0, mState->blockBytes);
    Nodes node = mState->carriers.Pop();
    if (node.empty()) node = MakeNode();
    if (!node.empty()) {
        node.front() = reference;
        mState->stock.PushBelow(mState->threshold, node);
        if (node.empty()) return;
    }
    mState->FreeBlock(reference);
}

std::byte* const* YMemoryBlockQueue::GetChunkTable() const
{
    return mState->pool.GetChunkTable();
}

bool YMemoryBlockQueue::IsInUse() const
{
    return !mState->carriers.IsEmpty();
}

void YMemoryBlockQueue::ValidateListThreshold()
{
    const int threshold = mState->threshold;
    while (mState->stock.IsBelow(threshold)) {
        Nodes node = mState->MakeBlock();
        if (node.empty()) return;
        mState->stock.PushBelow(threshold, node);
        if (!node.empty()) mState->FreeBlock(node.front());  // another thread was faster
    }
}

void YMemoryBlockQueue::SetListThreshold(int threshold)
{
    mState->threshold = threshold;
    ValidateListThreshold();
    for (Nodes node = mState->stock.PopAbove(threshold); !node.empty();
         node = mState->stock.PopAbove(threshold)) {
        mState->FreeBlock(node.front());
    }
}

void YMemoryBlockQueue::OnFileNewEvent(const char*, void* queue)
{
    auto* self = static_cast<YMemoryBlockQueue*>(queue);
    self->SetListThreshold(self->mState->threshold);
}

void YMemoryBlockQueue::FreeAllMemoryList()
{
    for (Nodes node = mState->stock.Pop(); !node.empty(); node = mState->stock.Pop()) {
        mState->FreeBlock(node.front());
    }
    while (!mState->carriers.Pop().empty()) UncountBytes(mState->blockBytes);
}

namespace yfc {

constinit std::byte* const* gBlockTable = nullptr;

// The queue of all curves, from the load of the library to its end. Where a curve still has keys then, the
// queue stays behind for it.
class ProcessQueue
{
  public:
    using State = YMemoryBlockQueue::State;

    ProcessQueue()
    {
        gBlockTable = mQueue->GetChunkTable();
        pthread_atfork(&State::LockAll, &State::UnlockAll, &State::UnlockAll);
    }
    ProcessQueue(const ProcessQueue&) = delete;
    ProcessQueue& operator=(const ProcessQueue&) = delete;
    ~ProcessQueue()
    {
        mQueue->mFileNew.Unregister();
        if (!mQueue->IsInUse()) mQueue->Destroy();
    }

    YMemoryBlockQueue& Get() { return *mQueue; }

  private:
    YMemoryBlockQueue* const mQueue = new YMemoryBlockQueue(kBlockBytes, 1);
};

namespace {

// Static initialisers of a host may make curves before those of this library have run.
YMemoryBlockQueue& Queue()
{
    static ProcessQueue queue;
    return queue.Get();
}

[[maybe_unused]] const bool gMadeAtLoad = (Queue(), true);

}  // namespace

void EnsureBlockQueue()
{
    Queue();
}

std::uint32_t TakeBlock()
{
    return Queue().GetRecycleReference();
}

void GiveBlock(std::uint32_t reference)
{
    Queue().RecycleReference(reference);
}

}  // namespace yfc

int YFCURVE_GetFCurveMemoryBlockSize()
{
    return yfc::kBlockBytes;
}

void YFCURVE_SetFCurveRecordMemoryBlockCount(int count)
{
    yfc::Queue().SetListThreshold(count);
}

void YFCURVE_ClearMemoryBlockQueue()
{
    yfc::Queue().FreeAllMemoryList();
}

std::uint32_t GetRecordingMemory()
{
    yfc::EnsureBlockQueue();
    return gRecordingMemory.load(std::memory_order_relaxed);
}

void* WatchMalloc(unsigned long size)
{
    if (size == yfc::kBlockBytes) return yfc::Queue().GetRecycleMemoryBlock();
    void* buffer = std::calloc(1, size);
    if (buffer != nullptr) CountBytes(size);
    return buffer;
}

void WatchFree(void* buffer, unsigned long size)
{
    if (size == yfc::kBlockBytes) {
        yfc::Queue().RecycleMemoryBlock(buffer);
    } else if (buffer != nullptr) {
        UncountBytes(size);
        std::free(buffer);
    }
}
