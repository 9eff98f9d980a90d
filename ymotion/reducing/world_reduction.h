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
    double tolerance = 0;  ///< above 0: how far a joint may come away, in the file's measure of length
    std::optional<std::int64_t>
        keys;               ///< so many of `KeysToReduce`, with the smallest tolerance that does; instead
    bool contacts = false;  ///< feet that stand stay within a tenth of the tolerance
    int tangents = 0;       ///< one of `YFCurveFilterFit::ETangents`
};

struct Reduction
{
    FilterStep step;        ///< to be applied to all curves of the scene
    double tolerance = 0;   ///< asked for, or found for a number of keys
    std::int64_t keys = 0;  ///< that are left of `KeysToReduce`
};

/// Is told how many rounds of the search are done. Stops it by throwing.
using RoundDone = std::function<void(std::size_t done, std::size_t total)>;

/// How many keys there are on the base layer of what moves joints: translations, rotations and scales. Throws
/// `Failure` for a scene without a skeleton.
std::int64_t KeysToReduce(const Scene& scene);

/// Finds out how far the curves of each property may be off such that no joint and end site comes away from
/// its place by more than the tolerance, at any frame and half-way between two; as many keys as possible are
/// saved. Other curves than those of `KeysToReduce` stay. The scene is as it was afterwards, but for its recordings,
/// which are unrolled (see `UnrollRecordings`). Throws `Failure` for a scene without a skeleton or keys, for a base layer
/// that does not play, for a tolerance of 0, and where there is no way.
Reduction FindReduction(Scene& scene, const ReductionGoal& goal, const RoundDone& done = {});

/// How high a scene's figure is, see foot_contacts.h. Throws `Failure` for a scene without a skeleton, and
/// where the joints have no height among them.
double FigureHeight(const Scene& scene);

}  // namespace ymotion
