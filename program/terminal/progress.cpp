#include "program/terminal/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "program/terminal/terminal.h"
#include "ymotion/text/failure.h"

using namespace ymotion;

namespace program {
namespace {

constexpr std::chrono::milliseconds kPatience{500};
constexpr std::chrono::milliseconds kBetweenDraws{100};

volatile std::sig_atomic_t receivedSignal = 0;

extern "C" void NoteSignal(int signal)
{
    receivedSignal = signal;
}

bool IsPlainTerminal(int descriptor)
{
    const char* kind = std::getenv("TERM");
    return isatty(descriptor) == 1 && kind != nullptr && std::string_view(kind) != "dumb";
}

void WriteToTerminal(std::string_view text)
{
    // A bar that does not get through is no reason to stop.
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

StopSignals::StopSignals()
{
    receivedSignal = 0;
    for (std::size_t i = 0; i < std::size(kSignals); ++i) {
        struct sigaction action = {};
        action.sa_handler = NoteSignal;
        action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
        sigaction(kSignals[i], nullptr, &mBefore[i]);
        if (mBefore[i].sa_handler != SIG_IGN) sigaction(kSignals[i], &action, nullptr);
    }
}

StopSignals::~StopSignals()
{
    for (std::size_t i = 0; i < std::size(kSignals); ++i) sigaction(kSignals[i], &mBefore[i], nullptr);
}

int StopSignals::Received()
{
    return receivedSignal;
}

Progress::Progress(std::string label, std::size_t total)
    : mLabel(std::move(label)),
      mTotal(total),
      mHasTerminal(IsPlainTerminal(STDERR_FILENO)),
      mNextDraw(Clock::now() + kPatience)
{}

Progress::~Progress()
{
    if (mDrawn) WriteToTerminal("\r\x1b[K");
}

void Progress::Step(std::size_t steps)
{
    mDone += steps;
    if (const int signal = StopSignals::Received(); signal != 0) {
        throw Failure(fmt::format("stopped while {}; no file was changed", mLabel),
                      static_cast<ExitCode>(kExitSignal + signal));
    }
    Show();
}

void Progress::Show()
{
    if (mHasTerminal && Clock::now() >= mNextDraw) Draw();
}

void Progress::Draw()
{
    WriteToTerminal(
        fmt::format("\r{}\x1b[K", ProgressText(mLabel, mDone, mTotal, LineColumns(STDERR_FILENO))));
    mDrawn = true;
    mNextDraw = Clock::now() + kBetweenDraws;
}

std::string ProgressText(std::string_view label, std::size_t done, std::size_t total, std::size_t columns)
{
    constexpr std::size_t widestBar = 40;
    constexpr std::size_t leastBar = 5;
    if (columns == 0) columns = 80;
    const double share =
        total == 0 ? 1.0 : std::min(1.0, static_cast<double>(done) / static_cast<double>(total));
    std::string percent = fmt::format("{:3.0f} %", std::floor(100.0 * share));
    // One column stays free: terminals move on to the next line after the last one.
    const std::size_t room = columns - 1;
    if (room < label.size() + 1 + percent.size()) return percent;
    std::string text(label);
    text += ' ';
    const std::size_t used = text.size() + percent.size() + std::string_view("[] ").size();
    if (used + leastBar <= room) {
        const std::size_t bar = std::min(widestBar, room - used);
        const auto full = static_cast<std::size_t>(share * static_cast<double>(bar));
        text += fmt::format("[{}{}] ", std::string(full, '#'), std::string(bar - full, '-'));
    }
    return text += percent;
}

}  // namespace program
