#include "ybaselib/scenefile/taloindex.h"

#include "ybaselib/core/fnv1a.h"

namespace ybase {

// Where the table happens to stand in memory makes the seed: no file can be prepared whose names all
// collide.
TaloNames::TaloNames() : mSlots(64, None), mSeed(reinterpret_cast<std::uintptr_t>(mSlots.data())) {}

std::uint32_t TaloNames::HashOf(std::string_view name) const
{
    std::uint64_t hash = Fnv1a(name, mSeed ^ kFnvBasis);
    // The last mix of MurmurHash3 (Appleby 2011).
    hash ^= hash >> 33;
    hash *= 0xFF51AFD7ED558CCDu;
    return static_cast<std::uint32_t>(hash >> 32);
}

// The slot of the name, or the empty one where it belongs.
std::size_t TaloNames::SlotOf(std::string_view name, std::uint32_t hash) const
{
    const std::size_t mask = mSlots.size() - 1;
    for (std::size_t slot = hash & mask;; slot = (slot + 1) & mask) {
        const std::uint32_t number = mSlots[slot];
        if (number == None || (mNames[number].hash == hash && Get(number) == name)) return slot;
    }
}

std::uint32_t TaloNames::Find(std::string_view name) const
{
    return mSlots[SlotOf(name, HashOf(name))];
}

std::uint32_t TaloNames::Add(std::string_view name)
{
    const std::uint32_t hash = HashOf(name);
    const std::size_t slot = SlotOf(name, hash);
    if (mSlots[slot] != None) return mSlots[slot];
    const auto number = static_cast<std::uint32_t>(mNames.size());
    mNames.push_back({mBytes.size(), static_cast<std::uint32_t>(name.size()), hash});
    mBytes.insert(mBytes.end(), name.begin(), name.end());
    mBytes.push_back('\0');
    mSlots[slot] = number;
    if (mNames.size() * 2 > mSlots.size()) Grow();
    return number;
}

void TaloNames::Grow()
{
    mSlots.assign(mSlots.size() * 2, None);
    const std::size_t mask = mSlots.size() - 1;
    for (std::uint32_t number = 0; number < mNames.size(); ++number) {
        std::size_t slot = mNames[number].hash & mask;
        while (mSlots[slot] != None) slot = (slot + 1) & mask;
        mSlots[slot] = number;
    }
}

}  // namespace ybase
