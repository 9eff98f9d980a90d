#pragma once

#include <string>
#include <string_view>

/// \file
/// Paths as ASCII, with %XX for bytes.

namespace ymotion {

/// With %XX for every byte that has a meaning in JSON, links or shells. Different paths stay different, also
/// those that are no UTF-8.
std::string PercentEncoded(std::string_view path);

/// With the bytes that %XX stands for; a % without two digits behind it stays.
std::string PercentDecoded(std::string_view text);

}  // namespace ymotion
