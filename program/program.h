#pragma once

/// \file
/// The program as a function, for `main`, which alone exits.

namespace program {

/// Does what a command line asks for. Every failure ends as one message on standard error and one of the
/// codes of `ExitCode`; no exception leaves.
int RunProgram(int argc, const char* const* argv);

}  // namespace program
