#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "ymotion/scene/frame_rate.h"
#include "ymotion/scene/scene.h"

/// \file
/// How far an animation is from what it was.

namespace ymotion {

/// How far values are from what they were, at every frame.
///
/// A rotation's distance is the angle between the two orientations, in degrees, so that other angles for the
/// same orientation are no error; that of other properties is the length of the difference.
struct Deviation
{
    double largest = 0;  ///< infinite where a number has become none
    double squares = 0;  ///< the sum over the samples
    std::int64_t samples = 0;
    std::string where;  ///< path of the property that has the largest one
    YTime when;

    double RootMeanSquare() const;
    /// Takes another property's samples in.
    void Add(const Deviation& other);
};

/// The angle in degrees of the turn that leads from one orientation to another, 0 to 180.
/// \param a, b            three angles in degrees, X first.
/// \param orderA, orderB  their rotation orders, see `RotationOrderName`.
double AngleBetween(const double* a, int orderA, const double* b, int orderB);

/// The distance of a node from what it was as a function of time, see `Deviation`. Both have to outlive it.
std::function<double(YTime)> DistanceOf(const YFCurveNode& before, const YFCurveNode& after);

/// How many frames the times are apart at which motion is compared: 1 for all frames, more where there are
/// more than a hundred thousand of them.
std::int64_t FramesBetweenErrors(const TimeSpan& span, FrameRate rate);

/// The frames of a span, counted from its start, or every n-th of them and the last one; in order.
/// \param step    how many frames apart, see `FramesBetweenErrors`
/// \param halves  adds the times half-way between
std::vector<YTime> TimesToCompare(const TimeSpan& span, FrameRate rate, std::int64_t step,
                                  bool halves = false);

/// The same for motion that spans other times than it did: those of both spans, none between them, and their ends,
/// which may be no frames.
std::vector<YTime> TimesToCompare(const TimeSpan& before, const TimeSpan& after, FrameRate rate,
                                  std::int64_t step, bool halves);

/// Compares two nodes of the same shape, without their layers, at some times.
Deviation Compare(const YFCurveNode& before, const YFCurveNode& after, std::span<const YTime> times);

}  // namespace ymotion
