#include "ymotion/scene/layer_text.h"

#include <algorithm>
#include <array>
#include <utility>

#include <fmt/format.h>

#include "ymotion/scene/scene.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

template<class Value, std::size_t Count>
using Words = std::array<std::pair<Value, const char*>, Count>;

constexpr Words<eLayerMode, 3> kModes{{{YFCURVE_LAYER_ADDITIVE, "additive"},
                                       {YFCURVE_LAYER_OVERRIDE, "override"},
                                       {YFCURVE_LAYER_WEIGHTED_OVERRIDE, "weighted-override"}}};

constexpr Words<eWeightRotationAccumulationMode, 2> kRotationModes{
    {{YFCURVE_LAYER_ROTATION_BY_LAYER, "by-layer"}, {YFCURVE_LAYER_ROTATION_BY_CHANNEL, "by-channel"}}};

constexpr Words<eAnimLayerScaleAccumulationMode, 2> kScalingModes{
    {{YFCURVE_LAYER_SCALING_MULTIPLY, "multiply"}, {YFCURVE_LAYER_SCALING_ADD, "add"}}};

template<class Value, std::size_t Count>
const char* WordOf(const Words<Value, Count>& words, Value value)
{
    const auto found =
        std::find_if(words.begin(), words.end(), [value](const auto& word) { return word.first == value; });
    return found != words.end() ? found->second : words.front().second;
}

template<class Value, std::size_t Count>
std::optional<Value> ValueOf(const Words<Value, Count>& words, std::string_view text)
{
    const auto found =
        std::find_if(words.begin(), words.end(), [text](const auto& word) { return word.second == text; });
    return found != words.end() ? std::optional(found->first) : std::nullopt;
}

std::string Short(float value)
{
    std::string text;
    AppendFloat(text, value);
    return text;
}

}  // namespace

const char* ModeText(eLayerMode mode)
{
    return WordOf(kModes, mode);
}

std::optional<eLayerMode> ParseMode(std::string_view text)
{
    return ValueOf(kModes, text);
}

std::vector<std::string> ModeTexts()
{
    std::vector<std::string> texts;
    for (const auto& [mode, text] : kModes) texts.emplace_back(text);
    return texts;
}

const char* RotationModeText(eWeightRotationAccumulationMode mode)
{
    return WordOf(kRotationModes, mode);
}

std::optional<eWeightRotationAccumulationMode> ParseRotationMode(std::string_view text)
{
    return ValueOf(kRotationModes, text);
}

const char* ScalingModeText(eAnimLayerScaleAccumulationMode mode)
{
    return WordOf(kScalingModes, mode);
}

std::optional<eAnimLayerScaleAccumulationMode> ParseScalingMode(std::string_view text)
{
    return ValueOf(kScalingModes, text);
}

std::string WeightText(const Layer& layer)
{
    const YFCurve* curve = layer.WeightCurve();
    if (curve == nullptr) return "1";
    const std::optional<ValueRange> range = KeyRange(*curve);
    if (!range) return Short(curve->GetValue());
    return fmt::format("{} to {}, {}", Short(range->least), Short(range->greatest),
                       Counted(curve->KeyGetCount(), "key"));
}

std::string MergeAdvice(const SceneLayers& layers, const YFCurveNode& property)
{
    for (const YFCurveNode* node = &property; node != nullptr; node = node->LayerGet()) {
        const Layer* layer = layers.Find(node->GetLayerID());
        if (layer == nullptr || !layer->IsMuted()) continue;
        return fmt::format(
            "{} does not play, and is left by a merge: let it play or remove it, then make one of "
            "the layers with 'yfcurve layer merge'",
            Quoted(layer->Name()));
    }
    return "make one of its layers with 'yfcurve layer merge' first";
}

}  // namespace ymotion
