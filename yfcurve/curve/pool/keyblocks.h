#pragma once

#include <cstddef>
#include <cstdint>

#include "yfcurve/yfcurvekey.h"
#include "yfcurve/ymemoryblockqueue.h"

/// \file
/// Key blocks of the process-wide queue by their 32-bit references, as curves keep them.

namespace yfc {

inline constexpr int kKeysPerBlock = 64;
inline constexpr int kBlockBytes = kKeysPerBlock * static_cast<int>(sizeof(YPriFCurveKey));
static_assert(kBlockBytes == 1024);

/// The process-wide queue's table of chunks; set before any block exists.
[[gnu::visibility("hidden")]] extern constinit std::byte* const* gBlockTable;

/// Makes sure that the process-wide queue exists, so that a static curve made now ends before it.
void EnsureBlockQueue();

/// A zero-filled block; 0 when the heap has no more memory.
std::uint32_t TakeBlock();

/// Gives a block back; 0 is ignored.
void GiveBlock(std::uint32_t reference);

/// The 64 keys of a block that is handed out.
inline YPriFCurveKey* BlockKeys(std::uint32_t reference)
{
    constexpr unsigned perChunk = YMemoryBlockQueue::BlocksPerChunk;
    std::byte* const chunk = gBlockTable[reference / perChunk];
    return reinterpret_cast<YPriFCurveKey*>(chunk + std::size_t{reference % perChunk} * kBlockBytes);
}

}  // namespace yfc
