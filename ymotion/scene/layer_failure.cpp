#include "ymotion/scene/layer_failure.h"

#include <algorithm>
#include <memory>

#include <fmt/format.h>

#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

/// "as the layer 'Body' is solo"
std::string SoloText(const Scene& scene)
{
    const auto& layers = scene.layers.Layers();
    const auto isSolo = [](const std::unique_ptr<Layer>& layer) { return layer->IsSolo(); };
    const auto first = std::find_if(layers.begin(), layers.end(), isSolo);
    if (first == layers.end() || std::count_if(first, layers.end(), isSolo) > 1)
        return "as other layers are solo";
    return fmt::format("as the layer {} is solo", Quoted((*first)->Name()));
}

/// What a layer is, and what to do about it.
struct Problem
{
    std::string state;
    const char* advice;
};

Problem ProblemOf(const Scene& scene, LayerObstacle obstacle)
{
    switch (obstacle) {
        case LayerObstacle::Locked:
            return {"is locked", "unlock it"};
        case LayerObstacle::Muted:
            return {"is muted", "let it play"};
        case LayerObstacle::Silenced:
            return {"does not play, " + SoloText(scene), "let it be solo too"};
    }
    return {};
}

std::string LayerText(const Layer& layer, const std::string& state)
{
    return fmt::format("the layer {} {}", Quoted(layer.Name()), state);
}

std::string ProblemText(const Scene& scene, const Layer& layer, LayerObstacle obstacle)
{
    const Problem problem = ProblemOf(scene, obstacle);
    return fmt::format("{}: {}; {}", scene.file, LayerText(layer, problem.state), problem.advice);
}

LayerObstacle ObstacleToPlay(const Layer& layer)
{
    return layer.IsMuteOn() ? LayerObstacle::Muted : LayerObstacle::Silenced;
}

}  // namespace

LayerFailure::LayerFailure(const Scene& scene, const Layer& layer, LayerObstacle obstacle,
                           const char* otherwise)
    : Failure(fmt::format("{}, or {}", ProblemText(scene, layer, obstacle), otherwise)),
      mFile(scene.file),
      mProblem(ProblemText(scene, layer, obstacle)),
      mOtherwise(otherwise),
      mLayerId(layer.GetLayerID()),
      mObstacle(obstacle)
{}

std::string LayerFailure::TextWith(const std::string& command) const
{
    return fmt::format("{}, as '{}' does, or {}", mProblem, command, mOtherwise);
}

std::string SilenceText(const Scene& scene, const Layer& layer)
{
    return layer.IsMuted() ? LayerText(layer, ProblemOf(scene, ObstacleToPlay(layer)).state) : std::string();
}

void CheckUnlocked(const Scene& scene, const Layer& layer, const char* otherwise)
{
    if (layer.IsLocked()) throw LayerFailure(scene, layer, LayerObstacle::Locked, otherwise);
}

void CheckPlays(const Scene& scene, const Layer& layer, const char* otherwise)
{
    if (layer.IsMuted()) throw LayerFailure(scene, layer, ObstacleToPlay(layer), otherwise);
}

}  // namespace ymotion
