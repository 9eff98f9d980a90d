#include "program/batch/worker_pool.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <new>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "program/terminal/progress.h"
#include "ymotion/text/failure.h"

using namespace ymotion;

namespace program {
namespace {

constexpr int kLookEvery = 200;  // milliseconds, for signals

// The first character of what a process writes into its pipe.
constexpr char kDone = '+';
constexpr char kFailed = '-';

struct Worker
{
    pid_t process = -1;
    int results = -1;  ///< end of a pipe
    std::size_t piece = 0;
    std::string text;
};

void WriteAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t count = write(descriptor, text.data(), text.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return;
        text.remove_prefix(static_cast<std::size_t>(count));
    }
}

std::string TextOf(std::size_t piece, const std::function<std::string(std::size_t)>& work)
{
    try {
        return kDone + work(piece);
    } catch (const std::bad_alloc&) {
        return kFailed + std::string("out of memory; try fewer --jobs");
    } catch (const std::exception& error) {
        return kFailed + std::string(error.what());
    }
}

/// What a worker does from its start to its end, without the exit handlers of the process that it is a copy of.
[[noreturn]] void Live(int results, std::size_t piece, const std::function<std::string(std::size_t)>& work)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action = {};
        sigaction(signal, nullptr, &action);
        // What was ignored from the start, as by nohup, stays so.
        if (action.sa_handler != SIG_IGN) std::signal(signal, SIG_DFL);
    }
    std::signal(SIGPIPE, SIG_IGN);
    // Workers neither read from the terminal nor write to it: the progress bar of the whole batch is there.
    if (const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC); nothing >= 0) {
        dup2(nothing, STDIN_FILENO);
        dup2(nothing, STDERR_FILENO);
    }
    WriteAll(results, TextOf(piece, work));
    _exit(0);
}

class Pool
{
  public:
    Pool(const std::function<std::string(std::size_t)>& work,
         const std::function<void(std::size_t, const WorkResult&)>& finished)
        : mWork(work), mFinished(finished)
    {}
    ~Pool()
    {
        Stop();
        for (const Worker& worker : mWorkers) {
            close(worker.results);
            waitpid(worker.process, nullptr, 0);
        }
    }
    Pool(const Pool&) = delete;
    Pool& operator=(const Pool&) = delete;

    std::size_t Running() const { return mWorkers.size(); }

    /// False where the system has no more processes or pipes to give.
    bool Start(std::size_t piece)
    {
        std::array<int, 2> ends;
        if (pipe2(ends.data(), O_CLOEXEC) != 0) return false;
        std::fflush(nullptr);
        const pid_t process = fork();
        if (process == 0) Live(ends[1], piece, mWork);
        close(ends[1]);
        if (process < 0) {
            close(ends[0]);
            return false;
        }
        mWorkers.push_back({process, ends[0], piece, {}});
        return true;
    }

    void Stop() const
    {
        for (const Worker& worker : mWorkers) kill(worker.process, SIGTERM);
    }

    void Wait()
    {
        std::vector<pollfd> ends;
        for (const Worker& worker : mWorkers) ends.push_back({worker.results, POLLIN, 0});
        if (poll(ends.data(), ends.size(), kLookEvery) <= 0) return;
        for (std::size_t i = ends.size(); i-- > 0;) {
            if (ends[i].revents != 0 && !Read(mWorkers[i])) Finish(i);
        }
    }

  private:
    /// False at the end of the result.
    static bool Read(Worker& worker)
    {
        std::array<char, 1 << 16> buffer;
        const ssize_t count = read(worker.results, buffer.data(), buffer.size());
        if (count < 0) return errno == EINTR || errno == EAGAIN;
        worker.text.append(buffer.data(), static_cast<std::size_t>(count));
        return count > 0;
    }

    void Finish(std::size_t index)
    {
        Worker worker = std::move(mWorkers[index]);
        mWorkers.erase(mWorkers.begin() + static_cast<std::ptrdiff_t>(index));
        close(worker.results);
        int status = 0;
        while (waitpid(worker.process, &status, 0) < 0 && errno == EINTR) {
        }
        mFinished(worker.piece, ResultOf(worker, status));
    }

    static WorkResult ResultOf(const Worker& worker, int status)
    {
        if (WIFSIGNALED(status)) {
            const char* advice = WTERMSIG(status) == SIGKILL ? "; if memory ran out, try fewer --jobs" : "";
            return {false, true,
                    fmt::format("the worker was ended by signal {} ({}){}", WTERMSIG(status),
                                strsignal(WTERMSIG(status)), advice)};
        }
        if (worker.text.empty()) return {false, true, "the worker ended without a result"};
        return {worker.text.front() == kDone, false, worker.text.substr(1)};
    }

    const std::function<std::string(std::size_t)>& mWork;
    const std::function<void(std::size_t, const WorkResult&)>& mFinished;
    std::vector<Worker> mWorkers;
};

}  // namespace

void RunInProcesses(std::size_t count, std::size_t jobs, const std::function<std::string(std::size_t)>& work,
                    const std::function<void(std::size_t, const WorkResult&)>& finished,
                    const std::function<void()>& waiting)
{
    Pool pool(work, finished);
    std::size_t next = 0;
    bool stopping = false;
    while (pool.Running() > 0 || (next < count && !stopping)) {
        if (!stopping && StopSignals::Received() != 0) {
            stopping = true;
            pool.Stop();
        }
        while (!stopping && next < count && pool.Running() < jobs) {
            if (pool.Start(next)) {
                ++next;
            } else if (pool.Running() > 0) {
                break;
            } else {
                throw Failure(fmt::format("cannot start a worker: {}; try fewer --jobs", strerror(errno)));
            }
        }
        if (pool.Running() > 0) pool.Wait();
        if (waiting) waiting();
    }
}

void FinishDespiteSignals()
{
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&held, signal);
    sigprocmask(SIG_BLOCK, &held, nullptr);
}

}  // namespace program
