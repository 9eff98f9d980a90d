#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

/// \file
/// A set of references with a number each.

/// A set of references (addresses of the caller's objects, not owned), each with a value: nodes and their
/// nick numbers, for instance. A reference is in the set at most once; several may have the same value.
///
/// Entries keep the order in which they were added until `Sort` is called. Looking up takes time in
/// proportion to the number of entries. Running out of memory throws `std::bad_alloc`.
class YSet
{
  public:
    int GetCount() const { return static_cast<int>(mEntries.size()); }

    /// Adds an entry at the end; a reference that is in the set stays in its place and takes the new
    /// value.
    /// \return  the entry's index.
    int Add(void* reference, int value)
    {
        if (const int index = FindReference(reference); index >= 0) {
            mEntries[static_cast<std::size_t>(index)].value = value;
            return index;
        }
        mEntries.push_back({reference, value});
        return GetCount() - 1;
    }

    /// Takes an entry out; those behind it move up.
    /// \return  false when the reference is not in the set.
    bool Remove(const void* reference)
    {
        const int index = FindReference(reference);
        if (index < 0) return false;
        mEntries.erase(mEntries.begin() + index);
        return true;
    }

    void Clear() { mEntries.clear(); }

    /// The reference at an index.
    /// \param value  takes the entry's value unless null; untouched when there is no such index.
    /// \return  null when there is no such index.
    void* GetFromIndex(int index, int* value = nullptr) const
    {
        if (index < 0 || index >= GetCount()) return nullptr;
        const Entry& entry = mEntries[static_cast<std::size_t>(index)];
        if (value != nullptr) *value = entry.value;
        return entry.reference;
    }

    /// The index of a reference; -1 when it is not in the set.
    int FindReference(const void* reference) const
    {
        return IndexOf([reference](const Entry& entry) { return entry.reference == reference; });
    }

    /// The index of the first entry with a value; -1 when there is none.
    int FindValue(int value) const
    {
        return IndexOf([value](const Entry& entry) { return entry.value == value; });
    }

    /// Puts the entries in the order of their values; equal values stay in the order they had.
    void Sort()
    {
        std::stable_sort(mEntries.begin(), mEntries.end(),
                         [](const Entry& a, const Entry& b) { return a.value < b.value; });
    }

  private:
    struct Entry
    {
        void* reference;
        int value;
    };

    template<class Test>
    int IndexOf(Test test) const
    {
        const auto found = std::find_if(mEntries.begin(), mEntries.end(), test);
        return found == mEntries.end() ? -1 : static_cast<int>(found - mEntries.begin());
    }

    std::vector<Entry> mEntries;
};
