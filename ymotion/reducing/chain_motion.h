#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <vector>

#include "ymotion/compare/foot_contacts.h"
#include "ymotion/reducing/chain_keys.h"
#include "ymotion/scene/placement.h"
#include "ymotion/scene/scene.h"

/// \file
/// A recorded motion as chains of joints, with what each joint moves.

namespace ymotion {

/// A curve of a property that places a joint.
struct ChainCurve
{
    const YFCurve* curve = nullptr;  ///< null where nothing plays
    std::vector<double> source;      ///< at all times
    double extent = 0.0;             ///< from its least to its greatest value

    bool HasKeys() const { return curve != nullptr && curve->KeyGetCount() > 0; }
};

struct ChainJoint
{
    int parent = -1;
    bool endSite = false;
    int order = 0;  ///< of the rotation
    YFCurveNode* rotation = nullptr;
    YFCurveNode* translation = nullptr;
    std::array<ChainCurve, 3> angles;
    std::array<ChainCurve, 3> moves;
    std::vector<Placement> places;     ///< in the world, at all times
    std::vector<std::size_t> nearest;  ///< joints below that no other joint can bring back to their places
    std::vector<std::size_t> farther;  ///< all others below
    int mover = -1;  ///< the last joint above that has this one among its nearest; -1 for none

    bool HasMoves() const;
    /// How many angles change.
    int CountTurns() const;
};

struct ChainMotion
{
    RecordedTimes times;
    std::vector<ChainJoint> joints;
    std::vector<std::vector<bool>> standing;  ///< of each foot at all times; empty for other joints
    double height = 0.0;                      ///< of the figure

    /// The motion of a scene; nothing where it is not recorded: where curves that change have keys at
    /// different or uneven times, steps, or an extrapolation, or end as they begin; where layers, scales or
    /// quaternions play, a component has no curve or a locked one, or a value is not finite; and where it is
    /// too long for its joints.
    /// \param feet  whose standing counts
    static std::optional<ChainMotion> Of(const Scene& scene, const std::vector<Foot>& feet, double height);
};

}  // namespace ymotion
