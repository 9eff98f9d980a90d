#pragma once

#include <functional>
#include <vector>

#include "ymotion/scene/scene.h"

/// \file
/// The curves of a scene as clip tools change them: all that plays together, on every layer.

namespace ymotion {

/// Rounding times to whole ticks puts keys less than that beside a frame.
inline constexpr YTime kFewTicks{kFrameRounding.Get() + 1};

/// For `KeyTimesOf` of all keys.
inline const TimeSpan kAlways{YTIME_MINUS_INFINITE, YTIME_INFINITE};

/// The curves of a property on the node's own layer, in the order of its components.
std::vector<YFCurve*> CurvesOf(const YFCurveNode& property);

/// Whether a curve has one value at all times, by its keys and their slopes.
bool IsStill(const YFCurve& curve);

/// The nodes of a property from its base layer up.
std::vector<YFCurveNode*> LayersOf(YFCurveNode& property);

/// Throws `Failure` where one of the curves of a property, on any layer, is locked.
void CheckUnlocked(const Scene& scene, YFCurveNode& property);

/// Throws `Failure` for a node with a clock of its own.
void CheckHasNoTimeWarp(const Scene& scene, const YFCurveNode& node);

/// Throws `Failure` where a curve of a property, on any layer, repeats its keys or runs on beyond them: keys
/// that are worked out anew could do so otherwise.
void CheckHoldsBeyondKeys(const Scene& scene, YFCurveNode& property);

/// The curves of all properties on all layers, and the weights of the layers, for tools that move keys in
/// time. Throws `Failure` where that cannot be done to all of them: where a curve or layer is locked, a time
/// warp follows a clock of its own, or keys are so far from time 0 that there is no room to move them.
std::vector<YFCurve*> CurvesToMove(const Scene& scene);

/// From the first to the last key. Throws `Failure` without keys.
TimeSpan SpanOf(const Scene& scene);

/// Throws `Failure` for a time that keys cannot be moved to.
void CheckReach(const Scene& scene, double seconds);

/// How frames are counted: from a start, usually the first key of a scene.
struct SceneFrames
{
    YTime start;
    FrameRate rate;

    /// The time of the frame that is nearest to a time.
    YTime Nearest(YTime time) const;
    /// Whether a time is exactly that of a frame.
    bool Has(YTime time) const { return Nearest(time) == time; }
    /// The time of the nearest frame where that is less than `rounding` away; otherwise the given time.
    YTime Onto(YTime time, YTime rounding = kFewTicks) const;
};

/// Gives all keys other times, which have to ascend as those before. Keys that are a tick or two apart are a jump, and
/// stay as far apart: the one on a frame, or else the first, gets its new time, and the others keep their distance from
/// it. So the frame shows the same side of the jump as before.
/// \param frames       of the times before
/// \param slopeFactor  for slopes, which are the same at all keys afterwards but for this factor
void Retime(YFCurve& curve, const SceneFrames& frames, const std::function<YTime(YTime)>& newTime,
            double slopeFactor = 1.0);

/// Moves keys that rounding has put a tick or two beside a frame onto it, with frames counted from the first
/// key of the scene. A jump of which one key is on a frame stays where it is, even if that was the other key before the
/// scene was changed: tools that move jumps use `Retime` with the frames of before.
void MoveOntoFrames(Scene& scene);

/// Puts what another curve shows in place of a span (see `YFCurve::Replace`), and throws `std::bad_alloc`
/// where there is no memory for that.
void ReplaceSpan(YFCurve& curve, const YFCurve& source, YTime start, YTime stop, YTime offset);

/// Multiplies all values, the one of a curve without keys included, and all slopes.
void ScaleValues(YFCurve& curve, double factor);

/// Adds to all values, the one of a curve without keys included.
void OffsetValues(YFCurve& curve, double offset);

/// Gives the three curves of a rotation that turns as quaternions do keys at the same times, without changing
/// how it plays: keys that are set, moved or left out on all three alike are then those of the orientations.
void ShareKeys(YFCurveNode& rotation);

/// Gives a property that has keys a key at both ends of a span, on each of its layers, without changing how
/// it plays. Throws `Failure` for curves that repeat their keys or run on at an end that is outside of them.
void SetKeysAtEnds(const Scene& scene, YFCurveNode& property, const TimeSpan& span);

/// The same for the weight of a layer.
void SetKeysAtEnds(const Scene& scene, YFCurve& curve, const TimeSpan& span);

/// The times of the keys of some curves from the start to the end of a span, and these two.
std::vector<YTime> KeyTimesOf(const std::vector<YFCurve*>& curves, const TimeSpan& span);

}  // namespace ymotion
