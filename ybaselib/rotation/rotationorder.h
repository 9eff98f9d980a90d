#pragma once

#include <cstddef>
#include <iterator>

#include "ybaselib/yrotation.h"

/// \file
/// What a rotation order means for its axes, for the sources of the libraries that take rotations apart.

namespace ybase {

/// The axes in the order in which they turn a vector. The parity is 1 when they follow one another as X, Y,
/// Z, X ... and -1 otherwise: turning about `first` takes `second` towards parity * `third`.
struct AxisOrder
{
    int first;
    int second;
    int third;
    double parity;
};

inline AxisOrder AxesOf(eRotationOrder order)
{
    static constexpr AxisOrder axes[] = {{0, 1, 2, 1.0},  {0, 2, 1, -1.0}, {1, 2, 0, 1.0},
                                         {1, 0, 2, -1.0}, {2, 0, 1, 1.0},  {2, 1, 0, -1.0}};
    const auto index = static_cast<std::size_t>(order);
    return axes[index < std::size(axes) ? index : 0];
}

}  // namespace ybase
