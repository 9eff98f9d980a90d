#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

/// \file
/// A set of small whole numbers.

/// A set of indices from 0, one bit each, that grows to the highest index set; every other bit reads
/// clear. Takes an eighth of a byte for each index up to the highest; running out of memory throws
/// `std::bad_alloc`, as in the vector that holds it.
class YBitSet
{
  public:
    /// A negative index is ignored.
    void SetBit(int index)
    {
        if (index < 0) return;
        if (WordOf(index) >= mWords.size()) mWords.resize(WordOf(index) + 1);
        mWords[WordOf(index)] |= MaskOf(index);
    }

    void ClearBit(int index)
    {
        if (index >= 0 && WordOf(index) < mWords.size()) mWords[WordOf(index)] &= ~MaskOf(index);
    }

    /// False outside the range too.
    bool GetBit(int index) const
    {
        return index >= 0 && WordOf(index) < mWords.size() && (mWords[WordOf(index)] & MaskOf(index)) != 0;
    }

    void ClearAll() { mWords.clear(); }

    /// Makes room for indices below `count`, so that setting them takes no memory.
    void Reserve(int count)
    {
        if (count > 0) mWords.reserve(WordOf(count - 1) + 1);
    }

    /// How many bits are set.
    int GetCount() const
    {
        int count = 0;
        for (const std::uint64_t word : mWords) count += std::popcount(word);
        return count;
    }

    /// The lowest index that is set; -1 when none is.
    int GetFirst() const { return GetNext(-1); }

    /// The lowest set index above `index`; -1 when there is none. Negative indices are all before the
    /// first.
    int GetNext(int index) const
    {
        const std::size_t from = index < 0 ? 0 : static_cast<std::size_t>(index) + 1;
        std::uint64_t mask = ~std::uint64_t{0} << (from % 64);
        for (std::size_t i = from / 64; i < mWords.size(); ++i, mask = ~std::uint64_t{0}) {
            if (const std::uint64_t word = mWords[i] & mask; word != 0)
                return static_cast<int>(i * 64) + std::countr_zero(word);
        }
        return -1;
    }

  private:
    static std::size_t WordOf(int index) { return static_cast<std::size_t>(index) / 64; }
    static std::uint64_t MaskOf(int index) { return std::uint64_t{1} << (static_cast<unsigned>(index) % 64); }

    std::vector<std::uint64_t> mWords;
};
