#pragma once

#include <algorithm>
#include <cstddef>
#include <type_traits>
#include <utility>
#include <vector>

/// \file
/// The growable array of the libraries' interfaces.

/// A growable array over `std::vector` with the libraries' names and `int` counts.
///
/// `operator[]` does not check its index. Adding moves elements when the array grows, so addresses of
/// elements stay valid only until then. Elements are constructed, copied and destroyed as in the vector,
/// and as there running out of memory throws `std::bad_alloc`.
template<class T>
class YArrayTemplate
{
    static_assert(!std::is_same_v<T, bool>, "elements have to be addressable; use YBitSet");

  public:
    int GetCount() const { return static_cast<int>(mItems.size()); }
    bool IsEmpty() const { return mItems.empty(); }

    T& operator[](int index) { return mItems[static_cast<std::size_t>(index)]; }
    const T& operator[](int index) const { return mItems[static_cast<std::size_t>(index)]; }

    /// The elements in a row; null or dangling when there are none.
    T* GetArray() { return mItems.data(); }
    const T* GetArray() const { return mItems.data(); }

    /// Appends.
    /// \return  the new element's index.
    int Add(T item)
    {
        mItems.push_back(std::move(item));
        return GetCount() - 1;
    }

    /// Inserts before the element at an index in 0..count; indices outside are moved to the nearer end.
    /// \return  the new element's index.
    int InsertAt(int index, T item)
    {
        index = std::clamp(index, 0, GetCount());
        mItems.insert(mItems.begin() + index, std::move(item));
        return index;
    }

    /// Takes the element at an index out and closes the gap.
    /// \return  false when there is no such index.
    bool RemoveAt(int index)
    {
        if (index < 0 || index >= GetCount()) return false;
        mItems.erase(mItems.begin() + index);
        return true;
    }

    /// Takes the first element that equals `item` out.
    /// \return  false when there is none.
    bool Remove(const T& item) { return RemoveAt(Find(item)); }

    /// The index of the first element that equals `item`; -1 when there is none.
    int Find(const T& item) const
    {
        const auto found = std::find(mItems.begin(), mItems.end(), item);
        return found == mItems.end() ? -1 : static_cast<int>(found - mItems.begin());
    }

    /// Cuts the array off, or extends it with value-initialised elements; counts below 0 mean 0.
    void SetCount(int count) { mItems.resize(static_cast<std::size_t>(std::max(count, 0))); }

    /// Makes room, so that adding up to `count` elements in all moves none.
    void Reserve(int count) { mItems.reserve(static_cast<std::size_t>(std::max(count, 0))); }

    /// Removes all elements and gives their memory back.
    void Clear() { std::vector<T>().swap(mItems); }

    T* begin() { return mItems.data(); }
    T* end() { return mItems.data() + mItems.size(); }
    const T* begin() const { return mItems.data(); }
    const T* end() const { return mItems.data() + mItems.size(); }

    friend bool operator==(const YArrayTemplate&, const YArrayTemplate&) = default;

  private:
    std::vector<T> mItems;
};
