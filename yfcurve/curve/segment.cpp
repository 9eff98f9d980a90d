// What a weighted segment costs is the secant search: every step waits for a division. The first step is made
// to need none, and the last one leaves the residual out.

#include "yfcurve/curve/segment.h"

#include <algorithm>
#include <cmath>

namespace yfc {

float SolveWeightedParameter(float rightWeight, float leftWeight, double fraction)
{
    // Both distances are rounded on their own: one minus a rounded fraction would have no digits left near
    // the end.
    const auto elapsed = static_cast<float>(fraction);
    const auto rest = static_cast<float>(1.0 - fraction);
    // What the time lacks of the fraction, in the Bernstein form of the Bezier: without a term of the other
    // sign nothing cancels. Behind the middle that is the form of the Bezier as seen from its end.
    const bool fromEnd = rest < elapsed;
    const float nearPoint = 3.0f * (fromEnd ? leftWeight : rightWeight);
    const float farPoint = 3.0f * (1.0f - (fromEnd ? rightWeight : leftWeight));
    const auto residual = [=](float s) {
        const float x = fromEnd ? s : 1.0f - s;
        const float y = fromEnd ? 1.0f - s : s;
        const float time = x * (y * (y * nearPoint + x * farPoint) + x * x);
        return fromEnd ? rest - time : time - elapsed;
    };

    // The secant through the two ends meets zero at 1 - fraction, whichever of them is nearer: the first
    // step needs no division.
    constexpr float smallestStep = 1e-6f;
    float previous = fromEnd ? 0.0f : 1.0f;
    float previousResidual = fromEnd ? rest : -elapsed;
    float current = rest;
    if (std::abs(current - previous) < smallestStep) return current;
    float currentResidual = residual(current);
    constexpr int maximumSteps = 15;
    for (int i = 1; i < maximumSteps && currentResidual != 0.0f; ++i) {
        const float rise = currentResidual - previousResidual;
        if (rise == 0.0f) break;
        const float step = (previous - current) * currentResidual / rise;
        previous = current;
        current += step;
        if (std::abs(step) < smallestStep) break;
        previousResidual = currentResidual;
        currentResidual = residual(current);
    }
    return current;
}

namespace {

double BezierDerivative(const double p[4], double u)
{
    const double v = 1.0 - u;
    return 3.0 * (v * v * (p[1] - p[0]) + 2.0 * u * v * (p[2] - p[1]) + u * u * (p[3] - p[2]));
}

}  // namespace

double Blossom(const double p[4], double a, double b, double c)
{
    const double q0 = p[0] + a * (p[1] - p[0]);
    const double q1 = p[1] + a * (p[2] - p[1]);
    const double q2 = p[2] + a * (p[3] - p[2]);
    const double r0 = q0 + b * (q1 - q0);
    const double r1 = q1 + b * (q2 - q1);
    return r0 + c * (r1 - r0);
}

CubicSegment::CubicSegment(double duration, double startValue, double endValue, double startSlope,
                           double endSlope, double startWeight, double endWeight)
    : time{0.0, duration * startWeight, duration * (1.0 - endWeight), duration},
      value{startValue, startValue + startSlope * duration * startWeight,
            endValue - endSlope * duration * endWeight, endValue}
{}

double CubicSegment::Time(double parameter) const
{
    return Bezier(time[0], time[1], time[2], time[3], parameter);
}

double CubicSegment::Value(double parameter) const
{
    return Bezier(value[0], value[1], value[2], value[3], parameter);
}

double CubicSegment::Slope(double parameter) const
{
    return BezierDerivative(value, parameter) / BezierDerivative(time, parameter);
}

double CubicSegment::ParameterAt(double seconds) const
{
    double low = 0.0;
    double high = 1.0;
    double parameter = std::clamp((seconds - time[0]) / Duration(), 0.0, 1.0);
    constexpr int maximumSteps = 100;
    for (int i = 0; i < maximumSteps; ++i) {
        const double residual = Time(parameter) - seconds;
        if (residual == 0.0) break;
        double& bound = residual > 0.0 ? high : low;
        bound = parameter;
        double next = parameter - residual / BezierDerivative(time, parameter);
        if (!(next > low && next < high)) next = 0.5 * (low + high);
        if (next == parameter) break;
        parameter = next;
    }
    return parameter;
}

CubicSegment CubicSegment::Part(double from, double to) const
{
    CubicSegment part = *this;
    for (int k = 0; k < 4; ++k) {
        const double a = k > 0 ? to : from;
        const double b = k > 1 ? to : from;
        const double c = k > 2 ? to : from;
        part.time[k] = Blossom(time, a, b, c);
        part.value[k] = Blossom(value, a, b, c);
    }
    return part;
}

int CubicSegment::Extremes(double parameters[2]) const
{
    // The derivative is a quadratic with these Bernstein coefficients (a third of them).
    const double d0 = value[1] - value[0];
    const double d1 = value[2] - value[1];
    const double d2 = value[3] - value[2];
    const double a = d0 - 2.0 * d1 + d2;
    const double b = d1 - d0;
    const double discriminant = b * b - a * d0;
    if (discriminant <= 0.0) return 0;
    // The two roots without cancellation; a root of a nearly linear derivative goes to infinity.
    const double q = -(b + std::copysign(std::sqrt(discriminant), b));
    double roots[2] = {q / a, d0 / q};
    if (roots[0] > roots[1]) std::swap(roots[0], roots[1]);
    int count = 0;
    for (const double root : roots) {
        if (root > 0.0 && root < 1.0) parameters[count++] = root;
    }
    return count;
}

void CubicSegment::FindCuts(double from, double to, double smallest, double largest,
                            std::vector<double>& cuts) const
{
    const CubicSegment part = Part(from, to);
    const auto storable = [=](double weight) { return weight >= smallest && weight <= largest; };
    const double middle = 0.5 * (from + to);
    constexpr double narrowest = 1e-3;
    if ((storable(part.StartWeight()) && storable(part.EndWeight())) || to - from < narrowest) return;
    FindCuts(from, middle, smallest, largest, cuts);
    cuts.push_back(middle);
    FindCuts(middle, to, smallest, largest, cuts);
}

}  // namespace yfc
