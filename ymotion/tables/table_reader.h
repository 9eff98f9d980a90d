#pragma once

#include <string>
#include <string_view>

#include "ymotion/scene/scene.h"
#include "ymotion/text/note.h"

/// \file
/// Tables of motion as `TableWriter` writes them, with commas or tabs, or with semicolons, back into scenes.
///
/// The first line has the names of the columns, one of which is "time" (seconds) or "frame" (of the scene's
/// rate; it counts where there is no time). Each row is a sample: a cubic auto key on every curve that has a
/// value there; cells may be empty. Times have to ascend.

namespace ymotion {

/// Gives the curves of a scene that columns are named after ("Hips/Lcl Rotation/X") the samples instead of
/// their keys from the first row to the last; other curves, those whose cells are all empty, and what is outside
/// of these rows, stay, as `SetSamples` says, and so does the scene's rate. Throws `Failure` with the line of what is
/// wrong: for cells that are no numbers, for columns that are no curves of the scene, and for curves with layers above,
/// whose columns hold more than the curves. Throws for a locked base layer before anything is changed.
/// \param name  of the file, for messages.
/// \param note  is told of keys outside of the rows.
void ReadTableInto(Scene& scene, std::string_view text, const std::string& name, const NoteTaker& note = {});

/// A scene without a skeleton: a node for each name of a path, a curve for each column. Properties of joints
/// are told by their names, as in any scene file. Its rate is that of the rows, where these are frames.
Scene SceneOfTable(std::string_view text, const std::string& name);

}  // namespace ymotion
