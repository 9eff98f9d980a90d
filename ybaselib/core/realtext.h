#pragma once

#include <charconv>

/// \file
/// Decimal text of floating-point numbers, for standard libraries whose `from_chars` and `to_chars` take
/// whole numbers alone. Results are those of the standard's functions, digit by digit.

namespace ybase {

/// As `std::from_chars` in its general format: the nearest number, "inf" and "nan" included.
std::from_chars_result ReadRealText(const char* text, const char* end, float& value);
std::from_chars_result ReadRealText(const char* text, const char* end, double& value);

/// As `std::to_chars` without a precision: the fewest digits that are read as the same number.
/// \param format  that of none is the shorter of the fixed and the scientific one
std::to_chars_result SpellRealText(char* to, char* end, float value, std::chars_format format = {});
std::to_chars_result SpellRealText(char* to, char* end, double value, std::chars_format format = {});

}  // namespace ybase
