#pragma once

#include "python/bindings/arrays.h"
#include "python/bindings/bindings.h"

/// \file
/// Keys to the last bit, for what is pickled.

namespace yfpy {

struct RawKey
{
    std::int64_t ticks;
    float value;
    std::uint32_t flags;
    std::uint32_t data0;
    std::uint32_t data1;
    std::uint32_t data2;
    std::uint32_t data3;
};

using RawKeys = py::array_t<RawKey, py::array::c_style>;

RawKeys RawKeysOf(const YFCurve& curve);
/// In place of the keys that there are. Raises `ValueError` for what keys cannot be.
void SetRawKeys(YFCurve& curve, const RawKeys& rows);

}  // namespace yfpy
