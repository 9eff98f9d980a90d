#pragma once

#include <optional>
#include <string>
#include <vector>

#include "ymotion/scene/frame_rate.h"
#include "ymotion/scene/scene.h"
#include "ymotion/tables/table_writer.h"

/// \file
/// What a scene shows at regular times, as a table.

namespace ymotion {

struct SceneTable
{
    std::vector<std::string> patterns;  ///< of curves, see `SelectCurves`
    std::optional<FrameRate> rate;      ///< rows a second; the scene's without it
    TimeSpan span;                      ///< rows start with it and go no further
    bool frames = false;                ///< rows at whole frames from time 0 instead, with their numbers
    bool layers = false;                ///< each layer of a property before their sum
    bool world = false;                 ///< where joints are and how they are turned, not curves
    bool euler = false;                 ///< rotations in the world as angles, not quaternions
};

/// Writes such a table. Throws `Failure` for patterns that match nothing, and in the world for a scene without
/// a skeleton.
void WriteTable(const Scene& scene, const SceneTable& table, TableFormat format, Output& out);

}  // namespace ymotion
