#pragma once

#include <optional>
#include <string>

#include "ymotion/scene/scene.h"
#include "ymotion/scene/world_pose.h"

/// \file
/// How well a motion is kept by a tool that works its keys out anew.

namespace ymotion {

class KeptMotion
{
  public:
    /// Notes what plays before.
    explicit KeptMotion(const Scene& scene);

    /// How far joints are in the world from where they were, at the frames and half-way between: "; joints are up to
    /// 0.002 from where they were ('Head' at 1 s), 0.0003 on average". Empty for a scene without a skeleton.
    std::string DistanceText(const Scene& scene);

  private:
    std::optional<WorldPoses> mBefore;
    std::optional<TimeSpan> mSpan;  ///< from the first to the last key before
};

}  // namespace ymotion
