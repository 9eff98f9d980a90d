#pragma once

#include <vector>

#include "ybaselib/ytime.h"

/// \file
/// The geometry of one cubic segment: a planar Bezier curve whose abscissa is time.

namespace yfc {

/// The secant search for the parameter of a weighted segment, in single precision: the time Bezier
/// 0, rightWeight, 1 - leftWeight, 1 takes the value `fraction` at 1 - s.
///
/// Started from both ends, at most 15 steps, ended by a step below 1e-6 or a residual of 0. Neither
/// bracketed nor clamped: weights in [0.0001, 0.99] keep the time monotone.
float SolveWeightedParameter(float rightWeight, float leftWeight, double fraction);

inline constexpr double kSecondsPerTick = 1.0 / static_cast<double>(YTIME_TICKS_PER_SECOND);

struct CubicEnds
{
    double startValue;
    double endValue;
    double startSlope;
    double endSlope;
};

/// An unweighted segment: the time points of its Bezier stand at thirds, so the fraction is the parameter.
/// The polynomial in powers of it equals repeated interpolation but for roundings in double precision, and
/// takes half the operations. Every evaluation of such a segment goes through here, so that all round alike.
class CubicPolynomial
{
  public:
    CubicPolynomial(const CubicEnds& ends, double ticks) : mStart(ends.startValue)
    {
        const double duration = ticks * kSecondsPerTick;
        const double rise = ends.endValue - ends.startValue;
        mLinear = ends.startSlope * duration;
        mCubic = (mLinear - rise) + (ends.endSlope * duration - rise);
        mSquare = (rise - mLinear) - mCubic;
    }

    float At(double fraction) const
    {
        return static_cast<float>(mStart + fraction * (mLinear + fraction * (mSquare + fraction * mCubic)));
    }

  private:
    double mStart;
    double mLinear;
    double mSquare;
    double mCubic;
};

inline float EvaluateCubic(const CubicEnds& ends, double ticks, double fraction)
{
    return CubicPolynomial(ends, ticks).At(fraction);
}

/// The value of a Bezier at a parameter by repeated linear interpolation (de Casteljau).
inline double Bezier(double p0, double p1, double p2, double p3, double u)
{
    const double q0 = p0 + u * (p1 - p0);
    const double q1 = p1 + u * (p2 - p1);
    const double q2 = p2 + u * (p3 - p2);
    const double r0 = q0 + u * (q1 - q0);
    const double r1 = q1 + u * (q2 - q1);
    return r0 + u * (r1 - r0);
}

/// The polar form of a Bezier: its value with the three arguments in any order.
double Blossom(const double p[4], double a, double b, double c);

/// A cubic segment in double precision, for everything but the inner loop of evaluation. Times are
/// seconds from the segment's start.
struct CubicSegment
{
    double time[4];
    double value[4];

    /// From end values, slopes (per second) and weights (fractions of the duration).
    CubicSegment(double duration, double startValue, double endValue, double startSlope, double endSlope,
                 double startWeight, double endWeight);

    double Time(double parameter) const;
    double Value(double parameter) const;
    /// dvalue/dtime.
    double Slope(double parameter) const;
    /// The parameter of a time inside the segment, to double precision (bracketed Newton).
    double ParameterAt(double seconds) const;

    /// The part from one parameter to another, as a segment of its own.
    CubicSegment Part(double from, double to) const;
    double Duration() const { return time[3] - time[0]; }
    double StartWeight() const { return (time[1] - time[0]) / Duration(); }
    double EndWeight() const { return (time[3] - time[2]) / Duration(); }

    /// Parameters in (0, 1) where the value turns from rising to falling or back, in order; at most two.
    int Extremes(double parameters[2]) const;

    /// The parameters, in order, at which the span [from, to] has to be cut so that every part can be
    /// stored with weights from `smallest` to `largest`; the ends are not included.
    void FindCuts(double from, double to, double smallest, double largest, std::vector<double>& cuts) const;
};

}  // namespace yfc
