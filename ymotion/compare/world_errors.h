#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "ybaselib/ytime.h"
#include "ymotion/compare/deviation.h"
#include "ymotion/compare/foot_contacts.h"
#include "ymotion/scene/scene.h"
#include "ymotion/scene/world_pose.h"

/// \file
/// How far joints are in the world from where they were, and how far feet slide.

namespace ymotion {

/// The distance of a place from where it was. Infinite where it is NaN now and was not; 0 where it was NaN.
double PlaceError(const YgeVector& was, const YgeVector& is);

/// The distances of a joint or end site from where it was, in the file's measure of length.
struct JointError
{
    std::size_t joint = 0;  ///< of the skeleton
    std::string name;       ///< see `JointTitle`
    double largest = 0;     ///< infinite where a number has become none
    YTime when;             ///< of the largest
    double sum = 0;         ///< over the times
    std::size_t times = 0;

    double Mean() const { return times == 0 ? 0.0 : sum / static_cast<double>(times); }
    /// Takes a time in, with both positions.
    void Add(YTime time, const YgeVector& before, const YgeVector& after);
};

/// How far a foot slides along the ground while it stands, see foot_contacts.h.
struct FootSlide
{
    std::size_t joint = 0;  ///< of the skeleton, that was looked at
    std::string name;
    std::size_t contacts = 0;
    double seconds = 0;  ///< for which it stands
    double before = 0;   ///< the slides of all contacts together
    double after = 0;
    double largest = 0;  ///< that any contact has afterwards
    YTime when;          ///< that contact begins
};

struct WorldErrors
{
    std::vector<JointError> joints;  ///< in the order of the skeleton
    std::vector<FootSlide> feet;
    double height = 0;  ///< of the figure, see foot_contacts.h
    Axis up = Axis::Y;  ///< along which the figure stands

    /// The joint with the largest distance; null without joints.
    const JointError* Worst() const;
    /// Over the joints.
    double Mean() const;
};

/// The places of all joints at a time, valid until it is asked for another one.
using PlacesOverTime = std::function<const std::vector<Placement>&(YTime)>;

/// Compares two motions of one skeleton.
/// \param times   at which, ascending; `TimesToCompare` gives them
/// \param ofFeet  within which feet are looked at; all of the times where it is not given
WorldErrors MeasureWorld(const Skeleton& skeleton, const PlacesOverTime& before, const PlacesOverTime& after,
                         std::span<const YTime> times, const std::optional<TimeSpan>& ofFeet = {});
WorldErrors MeasureWorld(const Skeleton& skeleton, WorldPoses& before, WorldPoses& after,
                         std::span<const YTime> times, const std::optional<TimeSpan>& ofFeet = {});

}  // namespace ymotion
