#include "yfcurve/curve/keysegment.h"

namespace yfc {

CubicSegment CubicSegmentAt(const YFCurve& curve, int index)
{
    const bool weighted = curve.KeyGetTangeantWeightMode(index) != YFCURVE_WEIGHT_NONE;
    return {SecondsBetween(curve.KeyGetTime(index), curve.KeyGetTime(index + 1)),
            curve.KeyGetValue(index),
            curve.KeyGetValue(index + 1),
            curve.KeyGetRightDerivative(index),
            curve.KeyGetLeftDerivative(index + 1),
            weighted ? curve.KeyGetRightTangeantWeight(index) : 1.0 / 3.0,
            weighted ? curve.KeyGetLeftTangeantWeight(index + 1) : 1.0 / 3.0};
}

}  // namespace yfc
