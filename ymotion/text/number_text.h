#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ybaselib/ytime.h"

/// \file
/// Numbers as text, the same in every locale.

namespace ymotion {

/// A decimal number, exponent allowed, rounded to single precision; what is too small to hold is 0.
/// \return  nothing for anything else: infinities, not-a-number, hexadecimal, trailing characters, and
///          numbers beyond the range of single precision.
std::optional<float> ParseFloat(std::string_view text);

/// The same where more text may follow, at its fastest for short numbers without an exponent.
/// \return  the end of the number; null for what is none, and for the rare ones left to `ParseFloat`: with a
///          plus sign, or too small to hold.
const char* ReadFloat(const char* text, const char* end, float& value);

/// `ParseFloat` in double precision.
std::optional<double> ParseDouble(std::string_view text);

/// The most seconds that people may write: three years, well inside what ticks can count.
inline constexpr double kMostSeconds = 1e8;

/// A time in seconds, up to `kMostSeconds` either way; nothing for anything else.
std::optional<YTime> ParseSeconds(std::string_view text);

/// Appends the shortest text that reads back as the same float; without an exponent for ordinary sizes,
/// since not every reader of motion files knows them.
void AppendFloat(std::string& text, float value);

/// Appends a finite time in seconds with up to 11 decimals, which tell every tick from its neighbours.
void AppendSeconds(std::string& text, YTime time);

/// The same as a text of its own.
std::string SecondsText(YTime time);

/// Seconds for people: up to six decimals.
std::string ShortSecondsText(YTime time);

/// A number of bytes from 1 up, below 2^62: "4096", "500K", "1.5M", "8G", "1T", where K is 1024.
std::optional<std::uint64_t> ParseBytes(std::string_view text);

/// "1,234,567".
std::string GroupedText(long long number);

/// A number and its noun, "1 joint" and "1,234 joints", or verb, "1 is" and "2 are".
/// \param several  what stands behind other numbers than 1; by itself `one` and an s
std::string CountedText(long long count, std::string_view one, std::string_view several = {});

template<std::integral Count>
std::string Counted(Count count, std::string_view one, std::string_view several = {})
{
    return CountedText(static_cast<long long>(count), one, several);
}

/// "1.5 KiB"; exact below 1 KiB.
std::string BytesText(long long bytes);

}  // namespace ymotion
