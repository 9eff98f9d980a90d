#pragma once

#include <cstddef>
#include <functional>

/// \file
/// Work in pieces that do not depend on each other, on several threads.

namespace ymotion {

/// How many threads the processors of the machine can serve, at least 1.
std::size_t ProcessorCount();

/// Does pieces 0 to `count` - 1, begun in this order, on at most `jobs` threads of which the caller is one.
///
/// \param work  does a piece, on any thread; `thread` is below `jobs`, and no two pieces have the same one at
///              a time.
/// \param done  hears of each piece that is done, here, in the order in which they end. What it throws stops
///              the work.
///
/// Throws what `work` threw, of several the piece with the lowest number, what `done` throws, and `Stopped`;
/// no piece is under way any more then. Those ahead of one that fails are always done, as if one thread had
/// come to it.
void DoPieces(std::size_t count, std::size_t jobs,
              const std::function<void(std::size_t piece, std::size_t thread)>& work,
              const std::function<void(std::size_t piece)>& done);

}  // namespace ymotion
