#include "yfcurve/fitting/segmenttime.h"

#include <cmath>

namespace yfc {

SegmentTime::SegmentTime(const TangentWeights& weights) : mIsEven(weights.AreDefault())
{
    if (mIsEven) return;
    const double start = weights.start;
    const double end = 1.0 - static_cast<double>(weights.end);
    mLinear = 3.0 * start;
    mSquare = 3.0 * (end - 2.0 * start);
    mCubic = 1.0 + 3.0 * (start - end);
}

// Newton's steps, and a halving where one would leave what is known to be around the parameter.
double SegmentTime::Solve(double share, double guess) const
{
    constexpr double exact = 1e-15;
    constexpr int mostSteps = 64;
    double low = 0.0;
    double high = 1.0;
    double parameter = guess;
    for (int i = 0; i < mostSteps; ++i) {
        const double excess = ShareAt(parameter) - share;
        if (std::abs(excess) <= exact) break;
        if (excess > 0.0) {
            high = parameter;
        } else {
            low = parameter;
        }
        const double speed = mLinear + parameter * (2.0 * mSquare + parameter * 3.0 * mCubic);
        const double next = parameter - excess / speed;
        const bool isInside = next > low && next < high;
        if (next == parameter) break;
        parameter = isInside ? next : 0.5 * (low + high);
    }
    return parameter;
}

}  // namespace yfc
