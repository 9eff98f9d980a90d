#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ymotion/scene/layer.h"

/// \file
/// The modes of layers in words, as scene files, command lines and reports have them.

namespace ymotion {

/// "additive", "override", "weighted-override".
const char* ModeText(eLayerMode mode);
std::optional<eLayerMode> ParseMode(std::string_view text);
/// The words of all modes.
std::vector<std::string> ModeTexts();

/// "by-layer", "by-channel".
const char* RotationModeText(eWeightRotationAccumulationMode mode);
std::optional<eWeightRotationAccumulationMode> ParseRotationMode(std::string_view text);

/// "multiply", "add".
const char* ScalingModeText(eAnimLayerScaleAccumulationMode mode);
std::optional<eAnimLayerScaleAccumulationMode> ParseScalingMode(std::string_view text);

/// A weight for people: "0.5", or "0.25 to 1, 4 keys" for one that changes over time.
std::string WeightText(const Layer& layer);

/// How to make one layer of those of a property, for people.
std::string MergeAdvice(const SceneLayers& layers, const YFCurveNode& property);

}  // namespace ymotion
