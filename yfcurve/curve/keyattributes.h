#pragma once

#include <cstddef>
#include <cstdint>

#include "yfcurve/yfcurvekey.h"

/// \file
/// The process-wide pool of attribute records.

namespace yfc {

inline constexpr unsigned kAttributesPerChunk = 1024;

/// References count granules of 8 bytes, three to a record, and leave 12 bits for them.
inline constexpr unsigned kAttributeGranule = 8;
inline constexpr unsigned kAttributeChunkShift = 12;
static_assert(sizeof(YPriFCurveKeyAttr) == 3 * kAttributeGranule);
static_assert(3 * kAttributesPerChunk <= 1u << kAttributeChunkShift);

/// The default attribute record: cubic, auto, unweighted, never freed. It is the first record that the
/// pool hands out, hence the number.
inline constexpr YFCurveKeyAttrReference kDefaultAttribute = 3;

/// The pool's table of chunks; set before any key exists.
[[gnu::visibility("hidden")]] extern constinit std::byte* const* gAttributeTable;

/// The record behind a reference. A key without a record (reference 0) reads as all zeros.
inline YPriFCurveKeyAttr& Attribute(YFCurveKeyAttrReference reference)
{
    std::byte* chunk = gAttributeTable[reference >> kAttributeChunkShift];
    const std::size_t granule = reference & ((1u << kAttributeChunkShift) - 1u);
    return *reinterpret_cast<YPriFCurveKeyAttr*>(chunk + granule * kAttributeGranule);
}

/// Makes sure that pool and default record exist, for static initialisers that run early.
void EnsureAttributePool();

/// A zero-filled record with a reference count of 0. Throws `std::bad_alloc`.
YFCurveKeyAttrReference AllocateAttribute();

/// Keeps records ready, so that edits which are under way cannot run out of them.
class [[nodiscard]] AttributeReserve
{
  public:
    /// Throws `std::bad_alloc` when there are not `count` records to be had.
    explicit AttributeReserve(std::int64_t count);
    ~AttributeReserve();
    AttributeReserve(const AttributeReserve&) = delete;
    AttributeReserve& operator=(const AttributeReserve&) = delete;
};

/// One key fewer points at the record; the last one returns it to the pool. 0 is ignored.
void ReleaseAttribute(YFCurveKeyAttrReference reference);

/// Gives the default record its attributes, with the auto mode that the process-wide switch asks for.
void ResetDefaultAttribute();

}  // namespace yfc
