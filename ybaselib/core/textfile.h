#pragma once

#include <cstddef>
#include <string>

/// \file
/// Reading and replacing a small file whole, for `YConfigFile` alone.

namespace ybase {

enum class ReadResult
{
    Read,
    Missing,    ///< there is no such file
    Unreadable  ///< no permission, not a regular file, too large, or failing while being read
};

/// \param text  takes the contents; empty unless the result is `Read`.
ReadResult ReadTextFile(const std::string& path, std::size_t maximumSize, std::string& text);

/// Puts a file with this text in the place of another, or of none, as `YFileWriter` does.
/// \return  false when that failed; the old file is then as it was.
bool ReplaceTextFile(const std::string& path, const std::string& text);

/// Makes a directory and those above it that are missing, for their owner alone.
void MakeDirectories(const std::string& path);

}  // namespace ybase
