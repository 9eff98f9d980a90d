#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "ymotion/scene/curve_selection.h"

/// \file
/// What plays: the values of curves with all layers above them, and of rotations in the form that they have.

namespace ymotion {

class PlayedProperty;

enum class PlayedLayers
{
    All,   ///< together, as far as they play
    Base,  ///< the base layer by itself, as filters see it: without mute and time warp
};

/// A component of a property as the animation shows it. Without layers, mute and time warp that is its curve,
/// unless it is that of a rotation that turns as quaternions do.
class PlayedCurve
{
  public:
    float At(YTime time);
    /// Whether the curve is all that plays: its keys are those of the motion.
    bool IsCurveAlone() const { return mProperty == nullptr; }

  private:
    friend std::vector<PlayedCurve> PlayedCurves(const std::vector<SelectedCurve>& curves,
                                                 PlayedLayers layers);

    const YFCurve* mCurve = nullptr;
    int mHint = 0;
    std::shared_ptr<PlayedProperty> mProperty;  // null where the curve alone says it
    std::size_t mComponent = 0;
};

/// Whether each component of a property shows the value of its curve: without layers, mute, time warp and a
/// rotation that turns as quaternions do.
bool PlaysByCurves(const YFCurveNode& property);

/// Whether a property plays at each of its keys what the key holds: no layer, time warp or mute changes it.
bool ShowsItsKeys(const YFCurveNode& property);

/// Where a curve stands among the components of its property.
std::size_t ComponentOf(const SelectedCurve& selected);

/// One for each of the curves, which have to be those of a scene's base layer. Neighbours of one property are
/// evaluated together.
std::vector<PlayedCurve> PlayedCurves(const std::vector<SelectedCurve>& curves,
                                      PlayedLayers layers = PlayedLayers::All);

/// Gives a joint the rotation channels that say how its rotation plays: in its order, and all three where it turns at
/// any frame of a span about an axis without one.
void FitRotationChannels(Joint& joint, YFCurveNode& rotation, const std::optional<TimeSpan>& span,
                         FrameRate rate);

/// What plays as a curve of its own: linear from sample to sample, of which there are more than pictures have
/// columns.
std::shared_ptr<const YFCurve> SampledCurve(PlayedCurve played, const TimeSpan& span);

}  // namespace ymotion
