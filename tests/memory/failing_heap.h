#pragma once

#include <cstddef>

/// \file
/// The heap of a test program, which can be made to run out.

namespace test {

/// Whether one allocation fails, or all of them from there on.
enum class Shortage
{
    Once,
    Lasting
};

/// From here to the end of the scope the heap fails on this thread. Counts what is asked of `operator new`,
/// `calloc` and `aligned_alloc`; releasing memory always works.
class FailingHeap
{
  public:
    /// \param allowed  how many allocations still succeed.
    explicit FailingHeap(long allowed, Shortage shortage = Shortage::Lasting);
    ~FailingHeap();
    FailingHeap(const FailingHeap&) = delete;
    FailingHeap& operator=(const FailingHeap&) = delete;

    /// Whether an allocation has failed.
    bool HasFailed() const;
};

/// Pieces of memory that `operator new` has handed out and that are not back.
long LivePieces();
/// How many it has handed out in all.
long PiecesEver();

}  // namespace test
