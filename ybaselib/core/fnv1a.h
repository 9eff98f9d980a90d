#pragma once

#include <cstdint>
#include <string_view>

namespace ybase {

constexpr std::uint64_t kFnvBasis = 0xCBF29CE484222325u;

/// The 64-bit FNV-1a hash (Fowler, Noll and Vo 1991): quick and the same everywhere; not for keeping secrets.
/// \param seed  another one gives another hash; a hash goes on with more bytes
constexpr std::uint64_t Fnv1a(std::string_view bytes, std::uint64_t seed = kFnvBasis)
{
    for (const char byte : bytes) seed = (seed ^ static_cast<unsigned char>(byte)) * 0x100000001B3u;
    return seed;
}

}  // namespace ybase
