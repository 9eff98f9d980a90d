#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "ymotion/compare/deviation.h"
#include "ymotion/compare/world_errors.h"
#include "ymotion/filtering/filter_step.h"
#include "ymotion/scene/scene.h"

/// \file
/// Filters one after the other over a scene, and what they did to it.

namespace ymotion {

/// A message with which a filter refused parts of the scene, and how many.
struct FilterNote
{
    std::string message;
    std::size_t count = 0;
    std::string first;  ///< path of the first one
};

/// What one step did. It goes through the scene in places, which are curves, properties or joints, as the
/// filter's scope says.
struct StepOutcome
{
    std::string name;
    std::string settings;  ///< as given
    std::vector<std::pair<std::string, std::string>>
        parameters;  ///< all with the values used; of `reduce` what was asked for
    eFilterScope scope = eFilterScope::Curve;
    std::size_t changed = 0;
    std::size_t unchanged = 0;
    std::size_t refused = 0;
    std::size_t locked = 0;
    std::size_t skipped = 0;  ///< what the filter is not for, as a rotation filter is not for a translation
    std::size_t along = 0;    ///< joints that only move along with those above them that changed
    std::string worksOn;      ///< what it is for: "rotations"; empty for all
    std::int64_t keysBefore = 0;
    std::int64_t keysAfter = 0;
    double milliseconds = 0;
    std::vector<FilterNote> refusals;
    std::vector<std::string> ofFrames;  ///< as in `FilterStep`
    std::string
        warning;  ///< what the user did not reckon with: wrapped angles, a span that misses the motion

    /// Whether it was refused wherever it had anything to do.
    bool IsRefused() const { return refused > 0 && changed == 0; }
};

/// How many keys the curves of a node and of its children have.
std::int64_t KeyCountBelow(const YFCurveNode& node);

/// A property that was chosen, as it was and as it is.
struct PropertyOutcome
{
    YFCurveNode* property = nullptr;  ///< on the layer that was filtered
    YFCurveNodePtr before;            ///< without layers
    YFCurveNodePtr
        beforeAllLayers;  ///< of rotations whose layers change with the base: those that turn as quaternions
    std::string path;
    std::int64_t keysBefore = 0;
    std::int64_t keysAfter = 0;
    Deviation deviation;
};

/// What reports call a property's data type: "rotation", "translation", or its own name.
std::string TypeName(const YFCurveNode& property);

/// The properties of one data type together.
struct TypeOutcome
{
    std::string type;  ///< "rotation"
    std::string unit;  ///< "degrees"; empty for what has none
    std::size_t properties = 0;
    std::int64_t keysBefore = 0;
    std::int64_t keysAfter = 0;
    Deviation deviation;
};

struct FilterOutcome
{
    std::vector<StepOutcome> steps;
    std::vector<PropertyOutcome> properties;  ///< in the order of the tree
    std::vector<TypeOutcome> types;           ///< in the order in which they appear
    std::optional<WorldErrors> world;         ///< of scenes with a skeleton
    TimeSpan span{};                          ///< of all keys, before and after
    std::int64_t errorsEvery = 1;             ///< frames from one at which errors are taken to the next
    bool betweenFrames = false;               ///< errors are taken half-way between these frames, too
    double milliseconds = 0;                  ///< filtering and comparing

    std::int64_t KeysBefore() const;
    std::int64_t KeysAfter() const;
    /// Of the steps that were refused wherever they had anything to do: "butterworth: Bad Sampling Rate"; empty for
    /// none.
    std::string Refusal() const;
};

/// Is told how much of the work is done, from 0 of `total` before it begins to all of it. Stops it by
/// throwing.
using StepTaken = std::function<void(std::size_t done, std::size_t total)>;

/// Applies the steps to the curves that the patterns mean (see `SelectCurves`), on one layer.
///
/// Where a filter belongs is what it says of its scope. One that works on a curve is applied to every chosen
/// curve; one that works on a property, to every chosen property: as a node, or as an array of curves where
/// the patterns pick single components out of it; one that works on a transform, to every joint of which all
/// properties are chosen; one that moves what hangs on a joint along, to the topmost of these alone. A rotation that
/// turns as quaternions is filtered as a node in any case, and refused where the patterns pick single components.
/// What a filter is not for is skipped; a refusal is noted with its message, and the other places are filtered.
///
/// On another layer than the base, rotations that turn as quaternions are refused, as their form belongs to
/// all layers; deviations of properties are then those of the layer's own curves, while errors in the world
/// are always those of what plays.
///
/// Throws `Failure` where a pattern matches nothing or nothing on the layer, for a filter that works on the
/// base layer alone (see `WhyBaseLayerAlone`), and what `taken` throws; the scene is as it was then.
/// \param jobs   threads to work on; the outcome is the same, and `taken` is called on this one.
/// \param layer  of the scene; null for the base layer.
FilterOutcome ApplySteps(Scene& scene, std::vector<FilterStep>& steps,
                         const std::vector<std::string>& patterns, const StepTaken& taken = {},
                         std::size_t jobs = 1, const Layer* layer = nullptr);

/// Gives the properties back the curves that they had before. Those for which memory does not suffice stay
/// filtered.
void UndoSteps(Scene& scene, const FilterOutcome& outcome);

}  // namespace ymotion
