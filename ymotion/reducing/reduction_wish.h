#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "ymotion/reducing/world_reduction.h"

/// \file
/// Reads what a person asks of a reduction: "2mm", "0.5%", "5%" of the keys.

namespace ymotion {

/// A length above 0 and its unit.
struct Length
{
    enum class EMeasure
    {
        FileUnits,
        Metres,
        Heights  ///< of the figure
    };
    double size = 0;
    EMeasure measure = EMeasure::FileUnits;
};

/// From "0.1", "2mm", "1cm", "0.1in", "0.01m" or "0.5%". Throws `Failure` for anything else.
Length ParseLength(const std::string& text);

/// A part of what there is, above 0 and up to 1, from "5%" or "0.05". Throws `Failure` for anything else.
double ParsePart(const std::string& text);

/// The names of `YFCurveFilterFit::ETangents`, in that order: smooth, broken, auto.
const std::vector<std::string>& TangentNames();

/// What is asked for. `CheckWish` wants exactly one of tolerance, ratio and keys.
struct ReductionWish
{
    std::optional<Length> tolerance;   ///< how far a joint may come away from its place
    std::optional<double> ratio;       ///< leave at most that part of `KeysToReduce`
    std::optional<std::int64_t> keys;  ///< leave at most so many of them, from 1 up
    bool contacts = false;
    std::string tangents = "smooth";  ///< one of `TangentNames`
    double height = 0.0;              ///< of the figure in metres; 0 where it is not given
};

/// Throws `Failure` for a wish that no scene can meet: what is missing, or makes no sense.
void CheckWish(const ReductionWish& wish);

/// The goal that a checked wish gives for a scene. Throws `Failure` as `FigureHeight` and `KeysToReduce`
/// do.
ReductionGoal GoalOf(const ReductionWish& wish, const Scene& scene);

}  // namespace ymotion
