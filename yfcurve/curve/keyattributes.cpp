#include "yfcurve/curve/keyattributes.h"

#include <algorithm>
#include <cassert>
#include <new>

#include "ybaselib/ymemorypool.h"
#include "yfcurve/yfcurve.h"

namespace yfc {

constinit std::byte* const* gAttributeTable = nullptr;

namespace {

constinit bool gConvertAutoTimeIndependent = false;

YMemoryPool* MakePool()
{
    auto* pool = new YMemoryPool(sizeof(YPriFCurveKeyAttr), kAttributesPerChunk, 0, true);
    assert(pool->GetChunkShift() == kAttributeChunkShift && pool->GetGranuleSize() == kAttributeGranule);
    gAttributeTable = pool->GetChunkTable();
    [[maybe_unused]] const auto first = pool->Allocate();
    assert(first == kDefaultAttribute);
    Attribute(kDefaultAttribute).IncRefCount();
    ResetDefaultAttribute();
    return pool;
}

// Never destroyed: curves may be released by static destructors that run after those of this library.
YMemoryPool& Pool()
{
    static YMemoryPool* const pool = MakePool();
    return *pool;
}

[[maybe_unused]] const bool gMadeAtLoad = (Pool(), true);

}  // namespace

void EnsureAttributePool()
{
    Pool();
}

YFCurveKeyAttrReference AllocateAttribute()
{
    const YFCurveKeyAttrReference reference = Pool().Allocate();
    if (reference == 0) throw std::bad_alloc();
    return reference;
}

AttributeReserve::AttributeReserve(std::int64_t count)
{
    constexpr std::int64_t most = INT32_MAX;
    const auto wanted = static_cast<std::uint32_t>(std::clamp<std::int64_t>(count, 0, most));
    if (Pool().BeginReserve(wanted)) return;
    Pool().EndReserve();
    throw std::bad_alloc();
}

AttributeReserve::~AttributeReserve()
{
    Pool().EndReserve();
}

void ReleaseAttribute(YFCurveKeyAttrReference reference)
{
    if (reference == 0) return;
    YPriFCurveKeyAttr& attr = Attribute(reference);
    attr.DecRefCount();
    if (attr.GetRefCount() == 0) Pool().Free(reference);
}

void ResetDefaultAttribute()
{
    YPriFCurveKeyAttr& attr = Attribute(kDefaultAttribute);
    attr.Set(YFCURVE_INTERP_CUBIC, YFCURVE_TANGENT_AUTO, 0.0f, 0.0f, YFCURVE_WEIGHT_NONE,
             YFCURVE_DEFAULT_WEIGHT, YFCURVE_DEFAULT_WEIGHT, YFCURVE_DEFAULT_VELOCITY,
             YFCURVE_DEFAULT_VELOCITY);
}

}  // namespace yfc

bool YFCURVE_GetConvertAutoTimeIndependent()
{
    return yfc::gConvertAutoTimeIndependent;
}

void YFCURVE_SetConvertAutoTimeIndependent(bool on)
{
    yfc::gConvertAutoTimeIndependent = on;
}

int YFCURVE_GetKeyAttrCount()
{
    return static_cast<int>(yfc::Pool().GetLiveCount());
}
