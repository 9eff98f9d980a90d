#pragma once

#include <filesystem>

/// \file
/// What the names of files say of their format.

namespace ymotion {

/// Whether the name of a file has the ending of a format, also in front of ".gz".
bool HasNameOfScene(const std::filesystem::path& name);

}  // namespace ymotion
