#include "yfcurve/curve/autotangents.h"

#include <cmath>

#include "yfcurve/curve/ticks.h"
#include "yfcurve/yfcurve.h"

namespace yfc {
namespace {

constexpr double kTolerance = 1e-05;
constexpr double kOvershootStart = 500.0;   // parameter
constexpr double kOvershootSlope = 1000.0;  // slope added at twice the start

// The slopes beside a key as one of its tangents sees them.
struct SideSlopes
{
    double own;
    double other;
    // Whether growing parameters turn the tangent upwards. Equal slopes count as downwards on the left and
    // as upwards on the right, so that the tangents of a flat key spread.
    bool upwards;
};

SideSlopes SeenFrom(ESide side, const NeighbourSlopes& slopes)
{
    if (side == ESide::Left) return {slopes.toLeft, slopes.toRight, slopes.toLeft > slopes.toRight};
    return {slopes.toRight, slopes.toLeft, slopes.toRight >= slopes.toLeft};
}

double Blend(double autoValue, const SideSlopes& slopes)
{
    return 0.5 * ((100.0 + autoValue) / 100.0 * slopes.own + (100.0 - autoValue) / 100.0 * slopes.other);
}

double Square(double x)
{
    return x * x;
}

double BlendAndOvershoot(double autoValue, const SideSlopes& slopes)
{
    const double blend = Blend(autoValue, slopes);
    const double outwards = slopes.upwards ? kOvershootSlope : -kOvershootSlope;
    if (autoValue > kOvershootStart) {
        return blend + outwards * Square((autoValue - kOvershootStart) / kOvershootStart);
    }
    if (autoValue < -kOvershootStart) {
        return blend - outwards * Square((kOvershootStart + autoValue) / -kOvershootStart);
    }
    return blend;
}

double FlatToZero(double slope)
{
    return IsFlat(slope) ? 0.0 : slope;
}

enum class Region
{
    Lower,   // parameters below -500
    Linear,  // the plain blend
    Upper    // parameters above 500
};

Region FindRegion(double slope, double upperEdge, double lowerEdge, bool upwards)
{
    if (upwards ? slope > upperEdge : slope < upperEdge) return Region::Upper;
    if (upwards ? slope >= lowerEdge : slope <= lowerEdge) return Region::Linear;
    return Region::Lower;
}

// Solves blend + overshoot = slope, a quadratic in the parameter, for its outer root.
double OvershootFromSlope(double slope, const SideSlopes& slopes, bool upper)
{
    const double outwards = slopes.upwards == upper ? kOvershootSlope : -kOvershootSlope;
    const double turn = upper ? -2.0 : 2.0;
    const double k2 = outwards / Square(kOvershootStart);
    const double k1 = turn * outwards / kOvershootStart + (slopes.own - slopes.other) / 200.0;
    const double k0 = (slopes.own + slopes.other) * 0.5 + outwards - slope;
    const double root = std::sqrt(k1 * k1 - 4.0 * k2 * k0);
    const double r1 = (root - k1) / (2.0 * k2);
    const double r2 = (-k1 - root) / (2.0 * k2);
    if (upper) return r2 < r1 ? r1 : r2;
    return r2 <= r1 ? r2 : r1;
}

double SegmentSlope(const YFCurve& curve, int first)
{
    const float rise = curve.KeyGetValue(first + 1) - curve.KeyGetValue(first);
    const double run = SecondsBetween(curve.KeyGetTime(first), curve.KeyGetTime(first + 1));
    return static_cast<double>(rise) / static_cast<double>(static_cast<float>(run));
}

}  // namespace

NeighbourSlopes ComputeNeighbourSlopes(const YFCurve& curve, int index, NeighbourSlopes preset)
{
    const int last = curve.KeyGetCount() - 1;
    NeighbourSlopes slopes = preset;
    if (index < last) slopes.toRight = SegmentSlope(curve, index);
    if (index > 0) slopes.toLeft = SegmentSlope(curve, index - 1);
    if (index == 0) {
        slopes.toLeft = slopes.toRight;
    } else if (index == last) {
        slopes.toRight = slopes.toLeft;
    }
    return slopes;
}

double SlopeFromAuto(ESide side, double autoValue, const NeighbourSlopes& slopes)
{
    // On the left, the two parameters that users set on purpose give back a neighbour's slope without rounding.
    if (side == ESide::Left && std::fabs(autoValue - 100.0) < kTolerance) return slopes.toLeft;
    if (side == ESide::Left && std::fabs(autoValue + 100.0) < kTolerance) return slopes.toRight;
    return BlendAndOvershoot(autoValue, SeenFrom(side, slopes));
}

double AutoFromSlope(ESide side, double slope, const NeighbourSlopes& neighbours)
{
    const SideSlopes slopes = SeenFrom(side, neighbours);
    const double upperEdge = FlatToZero(Blend(kOvershootStart, slopes));
    const double lowerEdge = FlatToZero(Blend(kOvershootStart, {slopes.other, slopes.own, false}));
    slope = FlatToZero(slope);

    const Region region = FindRegion(slope, upperEdge, lowerEdge, slopes.upwards);
    if (region != Region::Linear) return OvershootFromSlope(slope, slopes, region == Region::Upper);
    if (std::fabs(neighbours.toLeft - neighbours.toRight) < kTolerance) return 0.0;
    return (200.0 * slope - 100.0 * neighbours.toLeft - 100.0 * neighbours.toRight) /
           (slopes.own - slopes.other);
}

bool IsFlat(double slope)
{
    return std::fabs(slope) < kTolerance;
}

}  // namespace yfc
