#include "ymotion/scene/layer_failure.h"

#include <fmt/format.h>

#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

const char* ProblemText(LayerObstacle obstacle)
{
    switch (obstacle) {
        case LayerObstacle::Locked:
            return "is locked; unlock it";
        case LayerObstacle::Muted:
            return "is muted; let it play";
        case LayerObstacle::Silenced:
            return "does not play, as another layer is solo; let it be solo too";
    }
    return "";
}

std::string ProblemOf(const Scene& scene, const Layer& layer, LayerObstacle obstacle)
{
    return fmt::format("{}: the layer {} {}", scene.file, Quoted(layer.Name()), ProblemText(obstacle));
}

}  // namespace

LayerFailure::LayerFailure(const Scene& scene, const Layer& layer, LayerObstacle obstacle,
                           const char* otherwise)
    : Failure(fmt::format("{}, or {}", ProblemOf(scene, layer, obstacle), otherwise)),
      mFile(scene.file),
      mProblem(ProblemOf(scene, layer, obstacle)),
      mOtherwise(otherwise),
      mLayerId(layer.GetLayerID()),
      mObstacle(obstacle)
{}

std::string LayerFailure::TextWith(const std::string& command) const
{
    return fmt::format("{}, as '{}' does, or {}", mProblem, command, mOtherwise);
}

void CheckUnlocked(const Scene& scene, const Layer& layer, const char* otherwise)
{
    if (layer.IsLocked()) throw LayerFailure(scene, layer, LayerObstacle::Locked, otherwise);
}

void CheckPlays(const Scene& scene, const Layer& layer, const char* otherwise)
{
    if (!layer.IsMuted()) return;
    throw LayerFailure(scene, layer, layer.IsMuteOn() ? LayerObstacle::Muted : LayerObstacle::Silenced,
                       otherwise);
}

}  // namespace ymotion
