#pragma once

#include <optional>

#include "ybaselib/ytime.h"
#include "yfcurve/yfcurvenode.h"

/// \file
/// How far two curves are apart.

namespace ymotion {

/// A time at which two curves have different values.
struct CurveDifference
{
    YTime time;
    float a = 0;
    float b = 0;

    /// In the unit of the values; infinite where one of them is not finite.
    double Size() const;
};

/// The largest difference of two curves, the earliest where there are several; nothing where they agree in
/// every place looked at. These are the keys of both and three times inside each gap between neighbouring
/// keys, which no two different cubics in the gap pass alike; beyond the keys nothing is looked at. Zeros of
/// either sign are equal, and not-a-number is equal to itself. Takes linear time.
std::optional<CurveDifference> LargestDifference(const YFCurve& a, const YFCurve& b);

/// One angle of a rotation of three curves: what it plays by these, in the form that it has.
struct RotationAngle
{
    const YFCurveNode* rotation = nullptr;
    int axis = 0;
};

/// The largest difference of two angles, at the keys of all six curves and in the gaps between these.
std::optional<CurveDifference> LargestDifference(const RotationAngle& a, const RotationAngle& b);

}  // namespace ymotion
