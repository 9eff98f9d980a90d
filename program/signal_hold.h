#pragma once

#include <csignal>

/// \file
/// Moments in which the user cannot stop the program.

namespace program {

/// Keeps the signals that ask the program to end waiting for the length of a block: for the short time in
/// which files are put in place, so that nothing half done stays behind. One that comes meanwhile acts
/// afterwards.
class SignalHold
{
  public:
    SignalHold()
    {
        sigset_t held;
        sigemptyset(&held);
        for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&held, signal);
        sigprocmask(SIG_BLOCK, &held, &mBefore);
    }
    ~SignalHold() { sigprocmask(SIG_SETMASK, &mBefore, nullptr); }
    SignalHold(const SignalHold&) = delete;
    SignalHold& operator=(const SignalHold&) = delete;

  private:
    sigset_t mBefore;
};

}  // namespace program
