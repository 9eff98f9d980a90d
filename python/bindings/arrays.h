#pragma once

#include <cstdint>
#include <span>

#include <pybind11/numpy.h>

#include "ybaselib/ytime.h"

/// \file
/// Arrays that come from numpy and go there.

namespace yfpy {

using TickArray = pybind11::array_t<std::int64_t, pybind11::array::c_style | pybind11::array::forcecast>;
using FloatArray = pybind11::array_t<float, pybind11::array::c_style | pybind11::array::forcecast>;
using DoubleArray = pybind11::array_t<double, pybind11::array::c_style | pybind11::array::forcecast>;

/// The times of an array, where they are.
inline std::span<const YTime> TimesOf(const TickArray& ticks)
{
    static_assert(sizeof(YTime) == sizeof(std::int64_t) && alignof(YTime) == alignof(std::int64_t));
    return {reinterpret_cast<const YTime*>(ticks.data()), static_cast<std::size_t>(ticks.size())};
}

}  // namespace yfpy
