#pragma once

#include <optional>

#include "ymotion/scene/scene.h"

/// \file
/// A scene to work on while the first one stays as it is.

namespace ymotion {

/// The same skeleton, tree, layers and settings. Listeners, candidates and connections of a host stay with
/// the first scene.
Scene CopyOf(const Scene& scene);

/// The same with its recordings unrolled (see `UnrollRecordings`), for those who read them between frames. Nothing where
/// there is nothing to unroll.
std::optional<Scene> UnrolledCopy(const Scene& scene);

}  // namespace ymotion
