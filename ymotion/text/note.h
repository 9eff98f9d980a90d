#pragma once

#include <functional>
#include <string>

/// \file
/// What is no failure but good to know, told while the work goes on.

namespace ymotion {

/// Takes one such note, "walk.bvh: what there is to know". Called at once, from the thread that does the
/// work; an empty one takes none.
using NoteTaker = std::function<void(const std::string& note)>;

}  // namespace ymotion
