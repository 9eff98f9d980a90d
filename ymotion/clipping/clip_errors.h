#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "ymotion/clipping/clip_steps.h"
#include "ymotion/compare/world_errors.h"

/// \file
/// How far clip tools bring joints beside the places where they are to bring them.

namespace ymotion {

struct ClipErrors
{
    WorldErrors world;  ///< "before" stands for how it is to be: feet stand and slide as these places say
    std::int64_t every = 1;  ///< frames from one at which errors are taken to the next
};

/// Compares what plays with where the steps were to bring what played before: at frames, and half-way between
/// them. Times at which a step shows something new, such as a blend, are left out.
/// \param before    a copy of the scene of before the steps
/// \param outcomes  of all steps that have led from the one to the other
/// \return  nothing for scenes in which joints cannot be placed, or without keys
std::optional<ClipErrors> MeasureClip(const Scene& before, const Scene& after,
                                      const std::vector<ClipOutcome>& outcomes);

}  // namespace ymotion
