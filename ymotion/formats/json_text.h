#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

/// \file
/// JSON out of files.

namespace ymotion {

/// Reads a JSON text. Throws `Failure` with the line of what is none, and for numbers that no double can
/// hold.
/// \param name     of the file, for messages
/// \param notJson  what to say of a text that is none: what is wrong, a semicolon, and what can be done
/// \param advice   what can be done about a number that is too large
nlohmann::json ParseJson(std::string_view text, const std::string& name, std::string_view notJson,
                         std::string_view advice);

}  // namespace ymotion
