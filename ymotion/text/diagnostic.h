#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

/// \file
/// How the program fails: with an exception inside, with one message and an exit code outside.

namespace ymotion {

/// What the program returns to the shell.
enum ExitCode : int
{
    kExitOk = 0,
    kExitFailure = 1,  ///< a file could not be read, understood or written
    kExitUsage = 2,    ///< the command line makes no sense
    kExitSignal = 128  ///< plus the number of the signal that stopped the work
};

/// Carries what the user is to be told, without the program's name: "walk.bvh:188: what; what to do".
class Failure : public std::runtime_error
{
  public:
    explicit Failure(const std::string& message, ExitCode code = kExitFailure)
        : std::runtime_error(message), mCode(code)
    {}

    ExitCode Code() const { return mCode; }

  private:
    ExitCode mCode;
};

/// Ends a command whose answer is its exit code, after all has been said on standard output.
struct Verdict
{
    ExitCode code;
};

/// Throws for a place in a file, counted in lines from 1. The message is one sentence without a full stop:
/// what is wrong, a semicolon, and what can be done about it.
[[noreturn]] void FailAt(std::string_view file, std::int64_t line, std::string_view message);

/// Throws for a system call that failed: "walk.bvh: cannot open: No such file or directory; ...".
/// \param error   the value of errno.
/// \param advice  what can be done; empty to leave it at the reason.
[[noreturn]] void FailWithErrno(std::string_view file, std::string_view action, int error,
                                std::string_view advice = {});

/// Prints "yfcurve: message" on standard error, in colour where that is a terminal that wants it.
void PrintError(std::string_view message);

/// The same for what is no failure but good to know; without colour.
void PrintNote(std::string_view message);

/// Notes the file that is worked on from here on, for `PrintOutOfMemory`.
void NoteFileInWork(std::string_view path) noexcept;

/// Prints that memory ran out, with the file that was noted last, without taking any.
/// \param fallback  the path of the file to name where none was noted; may be empty.
void PrintOutOfMemory(std::string_view fallback) noexcept;

}  // namespace ymotion
