#pragma once

#include "ymotion/scene/scene.h"

/// \file
/// A scene to work on while the first one stays as it is.

namespace ymotion {

/// The same skeleton, tree, layers and settings. Listeners, candidates and connections of a host stay with
/// the first scene.
Scene CopyOf(const Scene& scene);

}  // namespace ymotion
