#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "ymotion/scene/scene.h"

/// \file
/// Joints by what people call them. Files may have several of one name, as where two figures are in one.

namespace ymotion {

/// The names from a root to each joint, joined by "/". Of several with the same path, the second is "Hips #2" and those
/// below it "Hips #2/Spine", so that no two are alike. End sites are called "end site".
std::vector<std::string> JointPaths(const Skeleton& skeleton);

/// The joints that have a name or, where none has it, those whose path ends in it: "Spine/Head". A text that starts
/// with "/" has to be the whole path.
std::vector<std::size_t> JointsCalled(const Skeleton& skeleton, const std::string& text);

/// The only one of these. Throws `Failure` where there is none, and names what comes near, or several, with their
/// paths.
std::size_t JointCalled(const Scene& scene, const std::string& text);

/// Throws `Failure` for a text that means no joint.
[[noreturn]] void FailNoJoint(const Scene& scene, const std::string& text);

}  // namespace ymotion
