#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "ymotion/compare/curve_diff.h"
#include "ymotion/compare/world_diff.h"
#include "ymotion/scene/scene.h"

/// \file
/// How two scenes differ.

namespace ymotion {

/// A curve in words: its path in the tree and, above the base layer, the layer that it is on.
struct CurveName
{
    std::string path;
    std::string layer;  ///< empty for the base layer

    /// "Chest/Lcl Rotation/X [Breathing]", fit for a terminal.
    std::string Text() const;
};

/// Curves with the same name that have different values somewhere, or rotations with different orientations.
struct ValueDifference
{
    CurveName curve;
    CurveDifference largest;     ///< of a rotation the time alone
    std::optional<double> turn;  ///< of a rotation: the angle between the orientations, in degrees

    double Size() const { return turn ? *turn : largest.Size(); }
};

/// Something else that is not the same: "frame rate", "30" and "24". Empty on the side that lacks it.
struct SettingDifference
{
    std::string what;
    std::string a;
    std::string b;
};

struct SceneDifference
{
    std::size_t compared = 0;  ///< curves that both scenes have, weights of layers among them
    std::size_t keys = 0;      ///< of those
    std::vector<ValueDifference> values;
    std::vector<CurveName> onlyA;
    std::vector<CurveName> onlyB;
    std::vector<SettingDifference> settings;
    /// Where joints are, of orientations: it tells what comes of the rest, and is no difference by itself.
    /// Nothing unless both scenes have a skeleton.
    std::optional<WorldDifference> world;

    /// Whether the scenes play and look alike.
    bool IsEmpty() const { return values.empty() && onlyA.empty() && onlyB.empty() && settings.empty(); }
    /// Null when no value differs.
    const ValueDifference* Largest() const;
};

/// Compares two scenes, curve by curve: those of one path are a pair on each layer, the first with the
/// first, where several nodes share a path. Also compared are what the curves do beyond their keys, the
/// settings of layers, the frame rate and, where both scenes have one, the skeleton.
/// \param tolerance    differences of values up to this are none; in degrees, or in the file's own units.
/// \param orientation  compares rotations that both scenes have as they play, all layers together, by the
///                     angle between the orientations, at all keys and frames: turns by 360 degrees, other
///                     angles for the same orientation and other rotation orders are no difference, nor are
///                     angles of less than what the rounding of the angles makes (0.0001 degrees at 200).
///                     Gives where joints are in the world as well.
SceneDifference CompareScenes(const Scene& a, const Scene& b, double tolerance, bool orientation = false);

}  // namespace ymotion
