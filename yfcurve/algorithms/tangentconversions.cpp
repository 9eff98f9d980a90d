// Tangents of a key as slopes, as auto parameters, and as tension, continuity and bias.
//
// D. H. U. Kochanek and R. H. Bartels, "Interpolating Splines with Local Tension, Continuity, and Bias
// Control", SIGGRAPH 1984.

#include <cmath>

#include "ybaselib/yrotation.h"
#include "yfcurve/curve/autotangents.h"
#include "yfcurve/yfcurve.h"
#include "yfcurve/yfcurvetangeants.h"

namespace {

constexpr double kSmallestDifference = 1e-10;  // of two slopes
constexpr double kSmallestTightness = 0.01;    // 1 - tension
constexpr double kSameDirection = 0.001;       // per component of a unit vector

// The slope of a segment for the TCB relations: the value difference in single precision, the rest in
// double.
double SegmentSlope(const YFCurve& curve, int first)
{
    const float rise = curve.KeyGetValue(first + 1) - curve.KeyGetValue(first);
    const YTime run = curve.KeyGetTime(first + 1) - curve.KeyGetTime(first);
    return static_cast<double>(rise) / run.GetSecondDouble();
}

struct TCB
{
    double tension;
    double continuity;
    double bias;
};

// Solves, for continuity c and bias b,
//   (1 - t) ((1 + b) toLeft + (1 - b) toRight) = left + right
//   (1 - t) ((1 + c) (1 + b) toLeft + (1 - c) (1 - b) toRight) = 2 right
TCB SolveCorner(double tension, double left, double right, const yfc::NeighbourSlopes& slopes)
{
    if (std::fabs(1.0 - tension) < kSmallestTightness) tension = 0.0;
    const double sum = slopes.toRight + slopes.toLeft;
    const double difference = slopes.toLeft - slopes.toRight;
    const double bias = ((left + right) / (1.0 - tension) - sum) / difference;
    const double rest = (2.0 * right / (1.0 - tension) - slopes.toRight - slopes.toLeft) - bias * difference;
    if (std::fabs(rest) <= kSmallestDifference) return {tension, rest, bias};
    return {tension, rest / (bias * sum + difference), bias};
}

// Between segments of one slope the bias makes no difference: it is put on the left as a whole. The tension
// is measured against both segments together.
TCB SolveStraight(double left, double right, const yfc::NeighbourSlopes& slopes)
{
    const double continuity = (left + right) / (right - left);
    const double reach = (1.0 - continuity) * (slopes.toRight + slopes.toLeft);
    return {(reach - left) / reach, continuity, 1.0};
}

TCB SolveTCB(double tension, double left, double right, const yfc::NeighbourSlopes& slopes)
{
    if (std::fabs(slopes.toRight - slopes.toLeft) >= kSmallestDifference) {
        return SolveCorner(tension, left, right, slopes);
    }
    if (std::fabs(right - left) >= kSmallestDifference) return SolveStraight(left, right, slopes);
    return {0.0, 0.0, 0.0};
}

YgeVector UnitVector(const double* from, const double* to)
{
    const YgeVector v = {to[0] - from[0], to[1] - from[1], to[2] - from[2]};
    const double length = std::hypot(v.x, v.y, v.z);
    if (length == 0.0) return v;
    return {v.x / length, v.y / length, v.z / length};
}

bool IsSameDirection(const YgeVector& u, const YgeVector& v)
{
    return std::fabs(u.x - v.x) <= kSameDirection && std::fabs(u.y - v.y) <= kSameDirection &&
           std::fabs(u.z - v.z) <= kSameDirection;
}

YgeRVector AnglesBetween(const YgeVector& u, const YgeVector& v)
{
    if (IsSameDirection(u, v)) return {};
    // Opposite directions always turn about the first axis, even where they lie along it.
    if (IsSameDirection(u, {-v.x, -v.y, -v.z})) return {180.0, 0.0, 0.0};
    YgeQuaternion q;
    GetQuaternionFromPositionToPosition(q, u, v);
    return YgeRVector(q);
}

}  // namespace

void YFCURVE_ComputeToLeftAndToRight(double& toLeft, double& toRight, YFCurve* curve, int keyIndex)
{
    const yfc::NeighbourSlopes slopes = yfc::ComputeNeighbourSlopes(*curve, keyIndex, {toLeft, toRight});
    toLeft = slopes.toLeft;
    toRight = slopes.toRight;
}

void YFCURVE_ComputeLeftBezierFromAuto(double& leftDerivative, double& autoValue, double& toLeft,
                                       double& toRight)
{
    leftDerivative = yfc::SlopeFromAuto(yfc::ESide::Left, autoValue, {toLeft, toRight});
}

void YFCURVE_ComputeRightBezierFromAuto(double& rightDerivative, double& autoValue, double& toLeft,
                                        double& toRight)
{
    rightDerivative = yfc::SlopeFromAuto(yfc::ESide::Right, autoValue, {toLeft, toRight});
}

void YFCURVE_ComputeBezierFromAuto(double& leftDerivative, double& rightDerivative, double& leftAuto,
                                   double& rightAuto, double& toLeft, double& toRight)
{
    YFCURVE_ComputeLeftBezierFromAuto(leftDerivative, leftAuto, toLeft, toRight);
    YFCURVE_ComputeRightBezierFromAuto(rightDerivative, rightAuto, toLeft, toRight);
}

void YFCURVE_ComputeLeftBezierFromAutoForKey(double& derivative, double& autoValue, YFCurve* curve,
                                             int keyIndex)
{
    if (curve->KeyGetCount() < 1) {
        derivative = 0.0;
        return;
    }
    auto [toLeft, toRight] = yfc::ComputeNeighbourSlopes(*curve, keyIndex);
    YFCURVE_ComputeLeftBezierFromAuto(derivative, autoValue, toLeft, toRight);
}

void YFCURVE_ComputeRightBezierFromAutoForKey(double& derivative, double& autoValue, YFCurve* curve,
                                              int keyIndex)
{
    if (curve->KeyGetCount() < 1) {
        derivative = 0.0;
        return;
    }
    auto [toLeft, toRight] = yfc::ComputeNeighbourSlopes(*curve, keyIndex);
    YFCURVE_ComputeRightBezierFromAuto(derivative, autoValue, toLeft, toRight);
}

void YFCURVE_ComputeBezierFromAutoForKey(double& leftDerivative, double& rightDerivative, double& leftAuto,
                                         double& rightAuto, YFCurve* curve, int keyIndex)
{
    if (curve->KeyGetCount() < 1) {
        leftDerivative = rightDerivative = 0.0;
        return;
    }
    auto [toLeft, toRight] = yfc::ComputeNeighbourSlopes(*curve, keyIndex);
    YFCURVE_ComputeBezierFromAuto(leftDerivative, rightDerivative, leftAuto, rightAuto, toLeft, toRight);
}

void YFCURVE_ComputeLeftAutoFromBezier(double& autoValue, double& leftDerivative, double& toLeft,
                                       double& toRight)
{
    if (yfc::IsFlat(leftDerivative)) leftDerivative = 0.0;
    autoValue = yfc::AutoFromSlope(yfc::ESide::Left, leftDerivative, {toLeft, toRight});
}

void YFCURVE_ComputeRightAutoFromBezier(double& autoValue, double& rightDerivative, double& toLeft,
                                        double& toRight)
{
    if (yfc::IsFlat(rightDerivative)) rightDerivative = 0.0;
    autoValue = yfc::AutoFromSlope(yfc::ESide::Right, rightDerivative, {toLeft, toRight});
}

void YFCURVE_ComputeAutoFromBezier(double& leftAuto, double& rightAuto, double& leftDerivative,
                                   double& rightDerivative, double& toLeft, double& toRight)
{
    YFCURVE_ComputeLeftAutoFromBezier(leftAuto, leftDerivative, toLeft, toRight);
    YFCURVE_ComputeRightAutoFromBezier(rightAuto, rightDerivative, toLeft, toRight);
}

void YFCURVE_ComputeLeftAutoFromBezierForKey(double& autoValue, double& derivative, YFCurve* curve,
                                             int keyIndex)
{
    if (curve->KeyGetCount() < 1) {
        autoValue = 0.0;
        return;
    }
    auto [toLeft, toRight] = yfc::ComputeNeighbourSlopes(*curve, keyIndex);
    YFCURVE_ComputeLeftAutoFromBezier(autoValue, derivative, toLeft, toRight);
}

void YFCURVE_ComputeRightAutoFromBezierForKey(double& autoValue, double& derivative, YFCurve* curve,
                                              int keyIndex)
{
    if (curve->KeyGetCount() < 1) {
        autoValue = 0.0;
        return;
    }
    auto [toLeft, toRight] = yfc::ComputeNeighbourSlopes(*curve, keyIndex);
    YFCURVE_ComputeRightAutoFromBezier(autoValue, derivative, toLeft, toRight);
}

void YFCURVE_ComputeAutoFromBezierForKey(double& leftAuto, double& rightAuto, double& leftDerivative,
                                         double& rightDerivative, YFCurve* curve, int keyIndex)
{
    if (curve->KeyGetCount() < 1) {
        leftDerivative = rightDerivative = 0.0;  // the parameters stay, deliberately
        return;
    }
    auto [toLeft, toRight] = yfc::ComputeNeighbourSlopes(*curve, keyIndex);
    YFCURVE_ComputeAutoFromBezier(leftAuto, rightAuto, leftDerivative, rightDerivative, toLeft, toRight);
}

void YFCURVE_ComputeTCBFromBezierForKey(double& tension, double& continuity, double& bias,
                                        double leftDerivative, double rightDerivative, YFCurve* curve,
                                        int keyIndex)
{
    yfc::NeighbourSlopes slopes;
    if (keyIndex < 1) {
        leftDerivative = 0.0;
        rightDerivative *= 0.5;
    } else {
        slopes.toLeft = SegmentSlope(*curve, keyIndex - 1);
    }
    if (keyIndex < curve->KeyGetCount() - 1) {
        slopes.toRight = SegmentSlope(*curve, keyIndex);
    } else {
        rightDerivative = 0.0;
        leftDerivative *= 0.5;
    }
    const TCB solution = SolveTCB(tension, leftDerivative, rightDerivative, slopes);
    tension = solution.tension;
    continuity = solution.continuity;
    bias = solution.bias;
}

bool AxisAlignmentInEulerAngle(double* const origin, double* const from, double* const to,
                               double* const eulerOut)
{
    const YgeRVector angles = AnglesBetween(UnitVector(origin, from), UnitVector(origin, to));
    for (int axis = 0; axis < 3; ++axis) eulerOut[axis] = angles[axis];
    return true;
}
