#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "ymotion/filtering/filter_pipeline.h"
#include "ymotion/scene/scene.h"

/// \file
/// Fewer keys, with an error that is chosen where it is seen: in the places of the joints.

namespace ymotion {

struct ReductionGoal
{
    double tolerance = 0;              ///< how far a joint may come away, in the file's measure of length
    std::optional<std::int64_t> keys;  ///< so many in all, with the smallest tolerance that does; instead
    bool contacts = false;             ///< feet that stand stay within a tenth of the tolerance
    int tangents = 0;                  ///< one of `YFCurveFilterFit::ETangents`
};

struct Reduction
{
    FilterStep step;        ///< to be applied to all curves of the scene
    double tolerance = 0;   ///< asked for, or found for a number of keys
    std::int64_t keys = 0;  ///< that are left of those of joints
};

/// Is told how many rounds of the search are done. Stops it by throwing.
using RoundDone = std::function<void(std::size_t done, std::size_t total)>;

/// Finds out how far the curves of each property may be off such that no joint and end site comes away from its place by
/// more than the tolerance, at any frame and half-way between two; as many keys as possible are saved. The scene is as
/// it was afterwards. Throws `Failure` for a scene without a skeleton, and where there is no way.
Reduction FindReduction(Scene& scene, const ReductionGoal& goal, const RoundDone& done = {});

/// How high a scene's figure is, see foot_contacts.h. Throws `Failure` for a scene without a skeleton.
double FigureHeight(const Scene& scene);

}  // namespace ymotion
