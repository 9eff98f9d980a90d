#pragma once

#include <chrono>
#include <csignal>
#include <cstddef>
#include <string>
#include <string_view>

/// \file
/// Long work: how far it has come, and that it can be stopped.

namespace program {

/// Takes the signals that ask the program to end (SIGINT, which is Ctrl-C, SIGTERM and SIGHUP) and keeps them
/// until they are looked at; ignored ones stay so. The second one of a kind ends the program at once. One
/// at a time.
class StopSignals
{
  public:
    StopSignals();
    /// Puts back what was done on the signals before.
    ~StopSignals();
    StopSignals(const StopSignals&) = delete;
    StopSignals& operator=(const StopSignals&) = delete;

    /// The signal that has come, 0 for none.
    static int Received();

  private:
    static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

    struct sigaction mBefore[3];
};

/// Counts the steps of long work. Where standard error is a terminal and the work takes more than half a
/// second, a bar there shows how far it has come.
///
/// The steps are the places where the work can be stopped: files are only written after the last one, so that
/// they stay as they were.
class Progress
{
  public:
    /// \param label  what is being done, "filtering".
    /// \param total  steps, which may be bytes.
    Progress(std::string label, std::size_t total);
    /// Removes the bar.
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// One more step is done, or so many. Throws `Failure` when the user wants the work to stop, with the
    /// exit code that shells expect of the signal.
    void Step(std::size_t steps = 1);
    /// Draws the bar where it is due, for steps that take long by themselves.
    void Show();

  private:
    using Clock = std::chrono::steady_clock;

    void Draw();

    StopSignals mSignals;
    std::string mLabel;
    std::size_t mTotal;
    std::size_t mDone = 0;
    bool mHasTerminal;
    bool mDrawn = false;
    Clock::time_point mNextDraw;
};

/// "filtering [########------------]  40 %", not wider than a terminal of so many columns: the bar goes
/// first, then the label; 0 columns count as 80. Without steps everything is done.
std::string ProgressText(std::string_view label, std::size_t done, std::size_t total, std::size_t columns);

}  // namespace program
