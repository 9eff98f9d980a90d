#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <string_view>
#include <vector>

/// \file
/// What is kept of a scene file after it has been checked: where its fields are, and their names.

namespace ybase {

/// Each different name of a file, once, under a number.
class TaloNames
{
  public:
    static constexpr std::uint32_t None = UINT32_MAX;

    TaloNames();

    /// The number of a name, which is added when it is new.
    std::uint32_t Add(std::string_view name);

    /// `None` when the name is not among them.
    std::uint32_t Find(std::string_view name) const;

    /// Ends with a zero byte; stays where it is until the next `Add`.
    std::string_view Get(std::uint32_t number) const
    {
        return {mBytes.data() + mNames[number].begin, mNames[number].size};
    }

  private:
    struct Name
    {
        std::uint64_t begin;
        std::uint32_t size;
        std::uint32_t hash;
    };

    std::uint32_t HashOf(std::string_view name) const;
    std::size_t SlotOf(std::string_view name, std::uint32_t hash) const;
    void Grow();

    std::vector<char> mBytes;
    std::vector<Name> mNames;
    std::vector<std::uint32_t> mSlots;  // numbers of names, a power of two of them
    std::uint64_t mSeed;
};

struct TaloField
{
    static constexpr std::uint32_t NoField = UINT32_MAX;         ///< no next field, no block
    static constexpr std::uint32_t EmptyBlock = UINT32_MAX - 1;  ///< as a child: a block without fields
    static constexpr std::uint32_t MaximumFields = EmptyBlock;

    std::uint64_t offset;  ///< of the first byte after the colon
    std::uint32_t name;
    std::uint32_t next = NoField;   ///< the field after it in the same block
    std::uint32_t child = NoField;  ///< the first field of its block
    std::uint32_t valueCount : 31 = 0;
    std::uint32_t taken : 1 = 0;  ///< a reader has entered it
};

/// All fields in the order of the file.
struct TaloIndex
{
    TaloNames names;
    std::deque<TaloField> fields;              // grows without moving, which would take twice the memory
    std::uint32_t first = TaloField::NoField;  // outside of all blocks
};

}  // namespace ybase
