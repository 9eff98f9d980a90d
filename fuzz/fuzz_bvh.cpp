#include <cstddef>
#include <cstdint>
#include <string_view>

#include "host/bvh.h"
#include "host/diagnostic.h"

/// \file
/// Any bytes are either a motion with as many samples as it says, or one message.

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size)
{
    try {
        const host::BvhMotion motion =
            host::ParseBvh({reinterpret_cast<const char*>(bytes), size}, "input.bvh");
        host::SceneOfBvh(motion);
    } catch (const host::Failure&) {
    }
    return 0;
}
