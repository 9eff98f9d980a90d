#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

/// \file
/// How work on scenes fails: with an exception that carries one message for people, and what it means to a
/// program that ends by it.

namespace ymotion {

/// What a program returns to the shell.
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

/// That a pattern matches no node of a scene.
class Unmatched : public Failure
{
  public:
    using Failure::Failure;
};

/// Throws for a place in a file, counted in lines from 1. The message is one sentence without a full stop:
/// what is wrong, a semicolon, and what can be done about it.
[[noreturn]] void FailAt(std::string_view file, std::int64_t line, std::string_view message);

/// Throws for a system call that failed: "walk.bvh: cannot open: No such file or directory; ...".
/// \param error   the value of errno.
/// \param advice  what can be done; empty to leave it at the reason.
[[noreturn]] void FailWithErrno(std::string_view file, std::string_view action, int error,
                                std::string_view advice = {});

}  // namespace ymotion
