#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "ybaselib/iobject.h"
#include "ybaselib/yglobalnamedevent.h"
#include "ybaselib/ymemorypool.h"
#include "yfcurve/yfcurveexport.h"

/// \file
/// Where the key storage of all curves comes from, and the count of its bytes.

namespace yfc {
class ProcessQueue;
}

/// Hands out zero-filled blocks of one size and keeps a stock of free ones, so that a curve which grows
/// while motion is recorded does not wait for the heap: as long as the stock lasts, a block costs moving a
/// list node and no allocation.
///
/// Blocks come and go in any order and from any thread. The stock is first in, first out. It is filled to
/// its threshold when the queue is made, when the threshold is raised and when the host raises the global
/// event "FileNew"; in between it fills with blocks that come back.
///
/// Every byte that a queue holds, handed out or in stock, is counted in `GetRecordingMemory`.
class YFCURVE_EXPORT YMemoryBlockQueue : public IObject
{
  public:
    static constexpr unsigned long InterfaceId = YInterfaceId("YMemoryBlockQueue");

    /// A block by its number, for owners that keep half a pointer; 0 is no block.
    using Reference = YMemoryPool::Reference;

    static constexpr int BlocksPerChunk = 64;

    /// \param blockSize  bytes per block, positive.
    /// \param threshold  blocks to keep in stock, which is filled at once.
    YMemoryBlockQueue(int blockSize, int threshold);
    YMemoryBlockQueue(const YMemoryBlockQueue&) = delete;
    YMemoryBlockQueue& operator=(const YMemoryBlockQueue&) = delete;

    /// Frees everything, unless a block is still handed out: then nothing is freed or uncounted, so that
    /// its owner can go on using the block. The block cannot be given back any more.
    virtual ~YMemoryBlockQueue();

    /// This object as `IObject` or `YMemoryBlockQueue`, else null.
    IObject* IQuery(unsigned long interfaceId, int subId = 0) override;
    void Destroy(int isLocal = 0) override;

    /// Bytes per block.
    int GetMemoryBlockSize() const { return mBlockSize; }

    /// A zero-filled block, from the stock if there is any; null when the heap has no more memory.
    void* GetRecycleMemoryBlock();

    /// Takes a block of this queue back: into the stock while that is below its threshold, else back to
    /// the heap. Null and addresses that the queue does not know are ignored.
    void RecycleMemoryBlock(void* block);

    /// As the two above, by number; 0 when the heap has no more memory, and 0 is ignored.
    Reference GetRecycleReference();
    void RecycleReference(Reference reference);

    /// Where blocks are found by number: block r starts `r % BlocksPerChunk` blocks into the chunk
    /// `GetChunkTable()[r / BlocksPerChunk]`. The table stays in place for the life of the queue.
    std::byte* const* GetChunkTable() const;

    /// Fills the stock up to the threshold.
    void ValidateListThreshold();

    /// Whether a block is handed out.
    bool IsInUse() const;

    /// Changes the threshold, and fills the stock or frees what it has too much. 0 empties it.
    void SetListThreshold(int threshold);

    /// What the queue does on "FileNew": it fills up its stock, or trims it.
    static void OnFileNewEvent(const char* eventName, void* queue);

    /// Frees the stock, and forgets the blocks that are handed out: they are counted as freed. Only for
    /// when there are none.
    void FreeAllMemoryList();

  private:
    friend class yfc::ProcessQueue;
    struct State;

    int mBlockSize;
    std::unique_ptr<State> mState;
    YGlobalNamedEvent mFileNew;
};

/// Bytes per block of the process-wide queue, which all curves share: 1024, or 64 keys.
YFCURVE_EXPORT int YFCURVE_GetFCurveMemoryBlockSize();

/// How many free blocks to keep ready for curves that grow, 1 at first. A host that is about to record
/// asks for as many as it expects to fill.
YFCURVE_EXPORT void YFCURVE_SetFCurveRecordMemoryBlockCount(int count);

/// Frees the stock of the process-wide queue. Only for when no curve has keys: blocks that are handed out
/// are counted as freed too.
YFCURVE_EXPORT void YFCURVE_ClearMemoryBlockQueue();

/// Bytes of key storage in the process: blocks, handed out or in stock, of every queue, and what
/// `WatchMalloc` has handed out. Wraps at 4 GiB. 1024 at the start, for the block in stock.
YFCURVE_EXPORT std::uint32_t GetRecordingMemory();

/// A zero-filled buffer whose bytes are counted; one of exactly 1024 bytes is a block of the process-wide
/// queue. Null when the heap has no more memory.
YFCURVE_EXPORT void* WatchMalloc(unsigned long size);

/// Takes a buffer of `WatchMalloc` back. Null is ignored.
/// \param size what was asked for.
YFCURVE_EXPORT void WatchFree(void* buffer, unsigned long size);
