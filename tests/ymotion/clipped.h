#pragma once

#include <vector>

#include <gtest/gtest.h>

#include "tests/motion_support.h"
#include "tests/small_motion.h"
#include "ymotion/clipping/clip_steps.h"
#include "ymotion/scene/scene_copy.h"

/// \file
/// Clip tools, written as on the command line, at work on scenes.

namespace ymotion {

inline std::vector<ClipOutcome> Clip(Scene& scene, const Words& steps)
{
    return ApplyClip(scene, ParseClip(steps));
}

/// A copy after clip tools, all of which had something to do.
inline Scene Clipped(const Scene& scene, const Words& steps)
{
    Scene copy = CopyOf(scene);
    for (const ClipOutcome& outcome : Clip(copy, steps))
        EXPECT_TRUE(outcome.change.changed) << outcome.change.text;
    return copy;
}

inline TimeSpan Span(const Scene& scene)
{
    return *KeySpan(scene);
}

inline Scene Walk()
{
    return SceneOfText(FileContent(ExampleWalk()));
}

}  // namespace ymotion
