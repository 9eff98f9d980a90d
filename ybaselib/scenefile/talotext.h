#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ybaselib/core/digits.h"

/// \file
/// How names and values are spelled in a scene file, in both directions.
///
/// What is read has to be followed by `taloPadding` zero bytes, so that no loop has to look where the text
/// ends.

namespace ybase {

/// What the first line starts with; the version number follows after a blank.
inline constexpr std::string_view taloSignature = "ytalo";

/// The comment behind the version that promises an end mark, and that mark: the last line of the file. They
/// are comments, so that readers that do not know them read on.
inline constexpr std::string_view taloPromise = "# ends with # end";
inline constexpr std::string_view taloEndMark = "# end";

inline constexpr std::size_t taloPadding = 64;

/// Bytes that a value other than a string takes at most as it is written.
inline constexpr std::size_t taloMaximumSpelling = 48;

/// Bytes that a value other than a string may take where it is read: more than the exact decimal form of any
/// double.
inline constexpr std::size_t taloMaximumNumberBytes = 2048;

/// Bytes that a name or string takes at most, with its quotes.
constexpr std::size_t TaloStringBytes(std::size_t size)
{
    constexpr std::size_t bytesPerEscape = 4;  // \xNN
    return size * bytesPerEscape + 2;
}

/// \name Writing
/// All write to `to` and return the end of what they wrote.
/// @{

/// The shortest spelling that reads back as the same bits.
char* SpellReal(char* to, double value);
char* SpellReal(char* to, float value);
/// As a double, with the fewest digits that give this float once the double is rounded to one.
char* SpellShortReal(char* to, float value);
char* SpellInteger(char* to, std::int64_t value);
char* SpellCharacter(char* to, char value);
char* SpellString(char* to, std::string_view value);

/// As it is if it is an identifier, else as a string.
char* SpellName(char* to, std::string_view name);

/// @}
/// \name Reading
/// @{

constexpr bool IsNameStart(char c)
{
    return static_cast<unsigned char>((c | 0x20) - 'a') < 26 || c == '_';
}

constexpr bool IsNameByte(char c)
{
    return IsNameStart(c) || IsDigit(c) || c == '-';
}

/// What is expected where a token goes wrong, or why its value cannot be.
enum class ETaloFault : std::uint32_t
{
    None,
    Value,
    Digit,
    Fraction,
    Exponent,
    NanBits,
    IntegerRange,
    FloatRange,
    DoubleRange,
    Length,
    Ticks,
    TimeRange,
    Escape,
    Character,
    CharacterEnd,
    StringEnd,
    StringByte,
    StringZero,
    StringSize
};

/// As it reads after "expected".
const char* ExpectationOf(ETaloFault fault);

/// Where a token ends and whether it is one. Goes in registers, which is why it has no text.
struct TaloToken
{
    const char* end = nullptr;  ///< past the token, or where it goes wrong
    char type = '\0';           ///< of `YTalo`'s six letters; '\0' for a token that is none
    ETaloFault fault = ETaloFault::None;
};

/// Whether a value can start with this byte.
constexpr bool StartsValue(char c)
{
    return IsDigit(c) || c == '-' || c == '@' || c == '\'' || c == '"' || c == 'i' || c == 'n';
}

/// The token of a value. That of a string is of `TaloStringBytes(YTalo::MaximumStringBytes)` bytes at most,
/// and any other should be of `taloMaximumNumberBytes`, which is not looked at.
TaloToken ScanValue(const char* text);

/// \param value  takes the bytes of the string, `YTalo::MaximumStringBytes` at most; null to check only.
/// \param size   takes their count.
TaloToken ScanString(const char* text, char* value, std::size_t& size);

/// The values of tokens that the functions above have found good.
std::int64_t ReadInteger(const char* text, const char* end);
double ReadDouble(const char* text, const char* end);
float ReadFloat(const char* text, const char* end);
char ReadCharacter(const char* text);

/// @}

}  // namespace ybase
