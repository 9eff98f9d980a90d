#pragma once

#include "ymotion/clipping/root_motion.h"
#include "ymotion/scene/scene.h"

/// \file
/// One scene played behind another.

namespace ymotion {

enum class Blending
{
    Fade,  ///< both play for that long, the one fading into the other, so that the second one starts earlier
    CarryOn  ///< the second one starts with the pose and speed that the first one ends with, and comes into
             ///< its own
};

struct Seam
{
    YTime blend;         ///< how long it takes; 0 for none
    bool align = false;  ///< the second one goes on from where the root is when it starts
    Blending blending = Blending::Fade;
};

/// Throws `Failure` where a scene cannot be the beginning or the continuation of another one with that seam:
/// layers under a blend, less than twice the blend to play.
void CheckTakesSeam(const Scene& scene, const Seam& seam);

/// Throws `Failure` where one of two scenes has a property that the other one lacks, or has in another form.
void CheckHasSameProperties(const Scene& scene, const Scene& next);

/// Lets a scene play behind another one, from its end or, where one fades into the other, from that long
/// before. Both have the same properties and layers. Without a blend the last moment of the first scene gives
/// way to the first one of the next. Beyond the end curves do what those of the next scene do there.
/// \return  how the root of the second one was moved.
GroundMove Append(Scene& scene, Scene next, const Seam& seam);

}  // namespace ymotion
