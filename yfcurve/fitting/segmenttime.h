#pragma once

#include "yfcurve/fitting/fitrun.h"

/// \file
/// How time passes along a segment with weights.

namespace yfc {

/// The share of a segment's duration as a cubic Bezier of the segment's parameter, both from 0 to 1. Without
/// weights the share is the parameter.
class SegmentTime
{
  public:
    SegmentTime() = default;
    explicit SegmentTime(const TangentWeights& weights);

    bool IsEven() const { return mIsEven; }

    double ShareAt(double parameter) const
    {
        return parameter * (mLinear + parameter * (mSquare + parameter * mCubic));
    }

    /// \param guess  a parameter from 0 to 1; the nearer, the sooner the right one is found.
    double ParameterAt(double share, double guess) const { return mIsEven ? share : Solve(share, guess); }
    double ParameterAt(double share) const { return ParameterAt(share, share); }

  private:
    double Solve(double share, double guess) const;

    bool mIsEven = true;
    double mLinear = 1.0;
    double mSquare = 0.0;
    double mCubic = 0.0;
};

}  // namespace yfc
