#include "ymotion/filtering/piecework.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

using Work = std::function<void(std::size_t, std::size_t)>;
using Done = std::function<void(std::size_t)>;

/// What the threads share.
class Pieces
{
  public:
    /// Takes all the memory that it needs: a thread that ran out of it later could not say so.
    Pieces(std::size_t count, const Work& work) : mCount(count), mWork(work)
    {
        mEnded.reserve(count);
        mTelling.reserve(count);
    }

    /// Does one piece, if there is one left to begin.
    bool DoNext(std::size_t thread)
    {
        std::unique_lock lock(mMutex);
        if (mNext >= mCount) return false;
        const std::size_t piece = mNext++;
        lock.unlock();
        std::exception_ptr failure;
        try {
            mWork(piece, thread);
        } catch (...) {
            failure = std::current_exception();
        }
        lock.lock();
        if (failure) mCount = std::min(mCount, mNext);
        if (failure && piece < mFailedPiece) {
            mFailedPiece = piece;
            mFailure = std::exchange(failure, nullptr);
        }
        mEnded.push_back(piece);
        mEndedOne.notify_one();
        return true;
    }

    /// Tells of the pieces that have ended since the last call; waits for one where none has and some are under
    /// way. False when there are no more to come.
    bool Tell(const Done& done, bool wait)
    {
        std::unique_lock lock(mMutex);
        while (wait && mEnded.empty() && mTold < mNext) mEndedOne.wait(lock);
        mTelling.clear();
        mTelling.swap(mEnded);
        mTold += mTelling.size();
        const bool more = mTold < mNext;
        const std::size_t failed = mFailedPiece;
        lock.unlock();
        for (const std::size_t piece : mTelling) {
            if (piece < failed) done(piece);
        }
        return more;
    }

    void Stop()
    {
        const std::lock_guard lock(mMutex);
        mCount = std::min(mCount, mNext);
    }

    void ThrowFailure() const
    {
        if (mFailure) std::rethrow_exception(mFailure);
    }

  private:
    std::mutex mMutex;
    std::condition_variable mEndedOne;
    std::size_t mCount;
    const Work& mWork;
    std::size_t mNext = 0;
    std::size_t mTold = 0;
    std::vector<std::size_t> mEnded;    // pieces that the caller is still to be told of
    std::vector<std::size_t> mTelling;  // pieces that it is being told of; only its own thread uses this
    std::size_t mFailedPiece = SIZE_MAX;
    std::exception_ptr mFailure;
};

/// Threads that do pieces of work; the destructor waits for them.
class Helpers
{
  public:
    Helpers(Pieces& pieces, std::size_t count) : mPieces(pieces)
    {
        mThreads.reserve(count);
        try {
            for (std::size_t thread = 1; thread <= count; ++thread) {
                mThreads.emplace_back([&pieces, thread] {
                    while (pieces.DoNext(thread)) {
                    }
                });
            }
        } catch (const std::exception&) {
            // There is no room for more threads: those that have begun, and the caller, do the work.
        }
    }
    ~Helpers()
    {
        mPieces.Stop();
        for (std::thread& thread : mThreads) thread.join();
    }
    Helpers(const Helpers&) = delete;
    Helpers& operator=(const Helpers&) = delete;

  private:
    Pieces& mPieces;
    std::vector<std::thread> mThreads;
};

}  // namespace

std::size_t ProcessorCount()
{
    return std::max(1u, std::thread::hardware_concurrency());
}

void DoPieces(std::size_t count, std::size_t jobs, const Work& work, const Done& done)
{
    Pieces pieces(count, work);
    {
        const Helpers helpers(pieces, std::max<std::size_t>(std::min(jobs, count), 1) - 1);
        while (pieces.DoNext(0)) {
            pieces.Tell(done, false);
            StopIfAsked();
        }
        while (pieces.Tell(done, true)) {
        }
    }
    pieces.ThrowFailure();
}

}  // namespace ymotion
