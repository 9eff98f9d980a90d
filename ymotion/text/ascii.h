#pragma once

#include <algorithm>
#include <string_view>

/// \file
/// Letters of ASCII and their case, the same in every locale.

namespace ymotion {

constexpr bool IsUpper(char c)
{
    return c >= 'A' && c <= 'Z';
}

constexpr char LowerCase(char c)
{
    return IsUpper(c) ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr bool EqualsNoCase(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char x, char y) { return LowerCase(x) == LowerCase(y); });
}

}  // namespace ymotion
