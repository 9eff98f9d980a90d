#pragma once

#include <string>

/// \file
/// Words of commands that people are to run.

namespace ymotion {

/// A word for a shell, such as the name of a file, in quotation marks where it needs them. The name that standard
/// input has in messages is "-", as in commands.
std::string ShellWord(const std::string& word);

}  // namespace ymotion
