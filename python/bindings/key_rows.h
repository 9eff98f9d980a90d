#pragma once

#include "python/bindings/arrays.h"
#include "python/bindings/bindings.h"

/// \file
/// Keys of a curve as rows of arrays.

namespace yfpy {

/// A key as Python sees it: `yfcurve.KEY` has the same fields. Numbers that a key does not have are not-a-number.
struct KeyRow
{
    std::int64_t ticks;
    float value;
    std::uint8_t interpolation;
    bool selected;
    std::uint16_t tangents;
    float leftSlope;
    float rightSlope;
    float leftWeight;
    float rightWeight;
    float leftVelocity;
    float rightVelocity;
    float leftAuto;
    float rightAuto;
    float tension;
    float continuity;
    float bias;
};

using KeyRows = py::array_t<KeyRow, py::array::c_style>;

/// Says what the fields of the rows are called, once for the module.
void AddKeyRows();

KeyRows KeysOf(const YFCurve& curve);
/// In place of the keys that there are. Raises `ValueError` for what keys cannot be.
void SetKeys(YFCurve& curve, const KeyRows& rows);
/// Cubic keys with auto tangents in place of all that there were.
void SetPlainKeys(YFCurve& curve, const TickArray& ticks, const FloatArray& values);

TickArray TicksOf(const YFCurve& curve);
FloatArray ValuesOf(const YFCurve& curve);

/// A key to the last bit, for what is pickled.
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

/// Raises `MemoryError` where a key could not be added.
void CheckMemory(bool isDone);

}  // namespace yfpy
