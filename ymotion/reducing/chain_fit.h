#pragma once

#include <array>
#include <cstddef>
#include <map>
#include <vector>

#include "ymotion/reducing/chain_motion.h"

/// \file
/// Few keys for a recorded motion, joint after joint from the roots on: each follows what makes up for the
/// errors of those above it.

namespace ymotion {

/// How far a standing foot may be off, as a part of the tolerance.
inline constexpr double kContactShare = 0.1;

/// The new curves of each property; null for those that stay.
using FittedCurves = std::map<const YFCurveNode*, std::array<YFCurvePtr, 3>>;

class ChainFit
{
  public:
    /// \param tolerance  of the places of joints, as a distance
    /// \param tangents   one of `YFCurveFilterFit::ETangents`
    ChainFit(const ChainMotion& motion, double tolerance, int tangents);

    /// Fits all curves anew in the first rounds, and later only those of joints that are too far off.
    void DoRound();

    /// How far joints are off, as a part of what they may be: 1 and less is near enough.
    double Worst() const { return mWorst; }

    FittedCurves MakeCurves() const;

  private:
    /// What a joint's fit goes by, and what came of it.
    struct Limb
    {
        std::array<ChainKeys, 3> angleKeys;
        std::array<ChainKeys, 3> moveKeys;
        std::array<std::vector<double>, 3> angles;  ///< of the fit, at all times
        std::array<std::vector<double>, 3> moves;
        std::vector<Placement> places;
        double share = 0.0;             ///< of the tolerance, that the nearest joints below may be off
        std::vector<double> turnShare;  ///< of `share`, for the turns of the joint at each time
        std::vector<double> moveShare;  ///< the same for its moves
        std::vector<double> before;     ///< how far the joint was off before its mover was fitted
    };
    using Angles = std::array<double, 3>;

    void HoldStanding(std::size_t joint);
    double Bound(std::size_t joint, std::size_t time) const;
    double Off(std::size_t joint, std::size_t time) const;
    bool Changes(const ChainCurve& curve) const;
    void FitStill(const ChainCurve& curve, ChainKeys& keys, std::vector<double>& values) const;
    void FitCurve(const ValuesToFollow& wanted, ChainKeys& keys, std::vector<double>& values) const;
    void FitMoves(std::size_t joint);
    void FitTurns(std::size_t joint);
    void Place(std::size_t joint);
    Placement Parent(std::size_t joint, std::size_t time) const;
    std::array<YgeVector, 3> AxesOf(std::size_t joint, std::size_t time, const Angles& angles) const;
    Placement Turned(std::size_t joint, std::size_t time, const Angles& angles) const;
    YgeVector Arm(std::size_t joint, std::size_t below, std::size_t time, const Placement& turned) const;
    void Solve(std::size_t joint, std::size_t time, const std::array<bool, 3>& isFree, Angles& angles) const;
    double ToleranceOf(std::size_t joint, std::size_t time, int axis, const Angles& angles, int left) const;
    void FollowBends(ValuesToFollow& wanted) const;
    void FillBetween(const ChainCurve& curve, ValuesToFollow& wanted) const;
    void NoteBefore(std::size_t joint, std::vector<Angles>& angles);
    void Measure();
    void TightenWhereOff();
    void Tighten(std::size_t joint, std::size_t time, std::vector<Limb>& changes) const;

    const ChainMotion& mMotion;
    const double mTolerance;
    const int mTangents;
    std::vector<Limb> mLimbs;
    int mRound = 0;
    double mWorst = 0.0;
};

}  // namespace ymotion
