#pragma once

#include <string_view>

#include "ymotion/text/failure.h"

/// \file
/// What the program says on standard error.

namespace program {

/// Ends a command that says what it found by its exit code, after all has been said on standard output.
struct Verdict
{
    ymotion::ExitCode code;
};

/// Prints "yfcurve: message", in colour where standard error is a terminal that wants it.
void PrintError(std::string_view message);

/// The same for what is no failure but good to know; without colour.
void PrintNote(std::string_view message);

/// The same where standard error is a terminal, for what only concerns a person who waits.
void PrintNoteOnTerminal(std::string_view message);

/// Notes the file that is worked on from here on, for `PrintOutOfMemory`.
void NoteFileInWork(std::string_view path) noexcept;

/// Prints that memory ran out, with the file that was noted last, without taking any.
/// \param fallback  the path of the file to name where none was noted; may be empty.
void PrintOutOfMemory(std::string_view fallback) noexcept;

}  // namespace program
