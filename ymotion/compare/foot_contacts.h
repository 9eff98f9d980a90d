#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "ybaselib/ytime.h"
#include "ymotion/scene/placement.h"
#include "ymotion/scene/scene.h"

/// \file
/// When the feet of a figure stand, and how far they slide on the ground then.
///
/// All bounds are parts of the figure's height, so that the unit of length does not matter.
///
/// Up is Y or Z: the axis along which the two lowest feet (or ends of chains) are farther below the joint
/// where the chains of all feet part, by the median over time. The height of the figure is the median over
/// time of the distance between the highest and the lowest joint along it.
///
/// Feet: the joints whose names have "foot" or "ankle" in them, behind the namespace; where there are none,
/// those with "toe". Of several along one chain the highest counts; one with several such chains below it
/// ("Bigfoot_Hips") is no foot. Of each foot the first joint or end site below is looked at, as the ball of
/// the foot stands while the heel rises. Where no name tells, feet are the ends of chains that are no more
/// than `kLegHeight` above the lowest of them half of the time. What parts less than `kFootLength` above,
/// along the bones, is one foot.
///
/// Contacts: a foot stands while it moves at less than `kStandingSpeed`, taken over a thirtieth of a second
/// to either side or to the next times if these are further, and is no more than `kStandingHeight` above its
/// ground. That is the height below which it is in a twentieth of the times. It stands for `kShortestContact`
/// at least.

namespace ymotion {

inline constexpr double kLegHeight = 0.15;
inline constexpr double kFootLength = 0.12;
inline constexpr double kStandingSpeed = 0.15;  ///< a second
inline constexpr double kStandingHeight = 0.03;
inline constexpr YTime kShortestContact{YTIME_TICKS_PER_SECOND / 10};

/// A stretch of time in which a foot stands.
using Contact = TimeSpan;

/// A foot of a figure.
struct Foot
{
    std::size_t joint = 0;  ///< that is looked at
    std::size_t track = 0;  ///< of `FigureTracks`
    std::vector<Contact> contacts;
};

/// A figure as it is found on the ground.
struct StandingFigure
{
    double height = 0;
    Axis up = Axis::Y;
    std::vector<Foot> feet;
};

/// The ways of the joints that may be feet, and how high the figure is.
class FigureTracks
{
  public:
    explicit FigureTracks(const Skeleton& skeleton);

    /// Takes the places of all joints at a time; times ascend.
    void Add(YTime time, const std::vector<Placement>& places);

    /// The feet, with their contacts.
    StandingFigure Find() const;

    /// How far a foot gets along the ground from where it is at the beginning of a contact, at most; infinite
    /// where a number has become none.
    double SlideOf(const Foot& foot, const Contact& contact, Axis up) const;

  private:
    using Point = std::array<float, 3>;

    void AddDepths(const YgeVector& hips);
    std::vector<double> HeightsOf(std::size_t track, Axis up) const;
    void KeepLowest(StandingFigure& figure) const;
    void KeepOneForEachFoot(StandingFigure& figure) const;
    std::vector<double> SpeedsOf(std::size_t track) const;
    std::vector<Contact> ContactsOf(std::size_t track, const StandingFigure& figure) const;

    const Skeleton& mSkeleton;
    std::vector<std::size_t> mJoints;  ///< one for each track
    bool mAreNamed = false;
    std::size_t mHips = 0;  ///< the joint from which the legs part
    std::vector<YTime> mTimes;
    std::vector<std::vector<Point>> mTracks;
    std::array<std::vector<double>, 3> mExtents;  ///< along each axis, at each time
    std::vector<double> mDepthsAlongY;            ///< of the feet below the hips, at each time
    std::vector<double> mDepthsAlongZ;
};

/// The feet of what plays in a scene, found at these times, which ascend. Throws `Failure` for one without
/// skeleton.
StandingFigure FindContacts(const Scene& scene, std::span<const YTime> times);

}  // namespace ymotion
