#pragma once

#include <string>

#include "ymotion/scene/scene.h"
#include "ymotion/text/failure.h"

/// \file
/// Layers that are in no state to be worked on.

namespace ymotion {

enum class LayerObstacle
{
    Locked,
    Muted,
    Silenced  ///< as another layer is solo
};

/// Tells what keeps a layer from being worked on, and what can be done.
class LayerFailure final : public Failure
{
  public:
    /// \param otherwise  what can be done but changing the layer: "choose another one"
    LayerFailure(const Scene& scene, const Layer& layer, LayerObstacle obstacle, const char* otherwise);

    const std::string& File() const { return mFile; }
    int LayerId() const { return mLayerId; }
    LayerObstacle Obstacle() const { return mObstacle; }
    /// The message with a command that changes the layer.
    std::string TextWith(const std::string& command) const;

  private:
    std::string mFile;
    std::string mProblem;
    std::string mOtherwise;
    int mLayerId;
    LayerObstacle mObstacle;
};

/// Why a layer does not play: "the layer 'Hand' is muted", "the layer 'Hand' does not play, as the layer 'Body' is solo";
/// empty for one that plays.
std::string SilenceText(const Scene& scene, const Layer& layer);

/// Throw `LayerFailure` for a locked layer, and for one that does not play.
/// \param otherwise  see `LayerFailure`
void CheckUnlocked(const Scene& scene, const Layer& layer, const char* otherwise);
void CheckPlays(const Scene& scene, const Layer& layer, const char* otherwise);

}  // namespace ymotion
