#pragma once

#include <array>
#include <limits>

#include "ybaselib/rotation/turns.h"

/// \file
/// The Euler triples of one orientation, for the filters that choose among them.
///
/// Away from the poles these are the triple itself and the flipped one (first and third angle half a turn
/// further, second angle b become 180 - b), each with any whole turns. At a pole, where b is an odd number of
/// quarter turns, all that counts of the other two is u = third - direction * first.

namespace yfc {

using ybase::DistanceFromPole;
using ybase::Flipped;
using ybase::IsUsable;
using ybase::PoleDirection;
using ybase::WithTurns;

/// How near a pole, in degrees, counts as being there: always, or where a filter has a setting for it, at first.
inline constexpr double kPoleTolerance = 0.0005;

/// Between which angles the triples are to be, in degrees.
struct AngleLimits
{
    std::array<double, 3> minimum = {-kNone, -kNone, -kNone};
    std::array<double, 3> maximum = {kNone, kNone, kNone};

    static constexpr double kNone = std::numeric_limits<double>::infinity();
};

/// One way to write the orientation of a triple.
struct EulerForm
{
    YgeRVector angles;
    bool flipped = false;  ///< the second angle is mirrored
    bool atPole = false;   ///< neither flipped nor not
};

/// A triple at a pole with another share of the first angle, and the third angle that belongs to it. The
/// second angle goes to the pole, which turns the orientation by as much as it was off, unless the share
/// stays what it was or becomes that of the flipped triple.
/// \param u  what counts of the triple, see above, with any whole turns.
EulerForm AtPole(const YgeRVector& angles, double first, double u, double secondReference,
                 const ybase::AxisOrder& axes);

/// Of the triples for an orientation the one nearest a reference inside limits, to within 1e-4 degrees of
/// them. Where no triple is inside, the one that exceeds them least in the sum of squares is taken, and of
/// such the nearest; of triples equally near, one that is not flipped. A triple that is not usable, or whose
/// reference is not, comes back as it is.
/// \param poleTolerance  in degrees, how near a pole counts as being there.
EulerForm NearestForm(const YgeRVector& angles, const YgeRVector& reference, const ybase::AxisOrder& axes,
                      double poleTolerance, const AngleLimits& limits = {});

/// What `YFCurveFilterUnroll::InterpolationQualityFactor` says.
double InterpolationQuality(const YgeRVector& a, const YgeRVector& b, eRotationOrder order);

}  // namespace yfc
