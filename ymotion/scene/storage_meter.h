#pragma once

#include <cstdint>

#include "yfcurve/ymemoryblockqueue.h"

/// \file
/// How much memory curves take.

namespace ymotion {

/// Bytes of key storage that the process holds. Counts on where the library's own count wraps, if it is asked
/// before another 2 GiB come or go.
class StorageMeter
{
  public:
    std::uint64_t Bytes()
    {
        const std::uint32_t now = GetRecordingMemory();
        mBytes += static_cast<std::int32_t>(now - mLast);
        mLast = now;
        return static_cast<std::uint64_t>(mBytes);
    }

  private:
    std::uint32_t mLast = 0;
    std::int64_t mBytes = 0;
};

}  // namespace ymotion
