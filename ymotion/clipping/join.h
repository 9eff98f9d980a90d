#pragma once

#include <string>

#include "ymotion/clipping/append.h"

/// \file
/// Clips of one character played one behind the other.

namespace ymotion {

/// How a scene's skeleton differs from another one's, for people: "no joint 'Neck'; ..."; empty for skeletons
/// that can show the motion of each other.
std::string SkeletonDifference(const Scene& scene, const Scene& other);

/// Throws `Failure` unless a scene can play behind another one: both have the same skeleton and properties,
/// none has layers, and each lasts at least twice as long as the blend.
void CheckCanJoin(const Scene& scene, const Scene& next, const Seam& seam);

/// Lets the next scene play behind a scene, which takes it over at its own frame rate.
/// \return  what was done, for people.
std::string Join(Scene& scene, Scene next, const Seam& seam);

}  // namespace ymotion
