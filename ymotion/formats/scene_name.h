#pragma once

#include <filesystem>
#include <string>

/// \file
/// What the names of files say of their format.

namespace ymotion {

/// Whether the name of a file has the ending of a format, also in front of ".gz".
bool HasNameOfScene(const std::filesystem::path& name);

/// The endings that names of scenes have, for people: ".bvh or .ytalo or ...".
std::string KnownExtensions();

}  // namespace ymotion
