#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

/// \file
/// Decimal digits eight at a time, for files that are mostly numbers: where a number ends no branch can
/// foresee.

namespace ybase {

constexpr bool IsDigit(char c)
{
    return static_cast<unsigned char>(c - '0') < 10;
}

/// Whether the first byte of a text is the lowest of the word that it is loaded into, as these functions
/// take it. Elsewhere digits go one by one.
inline constexpr bool digitsGoInWords = std::endian::native == std::endian::little;

/// Eight bytes of text, each less '0': a digit becomes its value.
inline std::uint64_t LoadDigits(const char* text)
{
    std::uint64_t bytes;
    std::memcpy(&bytes, text, sizeof bytes);
    return bytes ^ 0x3030303030303030u;
}

/// How many of the loaded bytes are digits before the first that is none; 8 when all are.
inline int CountDigits(std::uint64_t loaded)
{
    // A digit is 9 at most, and only larger values reach the high bit from 0x76 on. A carry into the next
    // byte starts at one that is no digit, and the first of these is what counts. Without any, 64 zeros are
    // counted.
    constexpr std::uint64_t everyByte = 0x0101010101010101u;
    const std::uint64_t others = (loaded | (loaded + everyByte * 0x76)) & (everyByte * 0x80);
    return std::countr_zero(others) / 8;
}

/// The number that eight loaded digits spell: neighbours are joined to pairs, then fours, then all.
inline std::uint64_t JoinDigits(std::uint64_t loaded)
{
    loaded = loaded * 10 + (loaded >> 8);
    loaded = (loaded & 0x00FF00FF00FF00FFu) * 100 + ((loaded >> 16) & 0x00FF00FF00FF00FFu);
    return (loaded & 0xFFFFu) * 10000 + ((loaded >> 32) & 0xFFFFu);
}

}  // namespace ybase
