#include <nlohmann/json.hpp>

#include "program/reports/report.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

using Json = nlohmann::ordered_json;

/// The double with the shortest text that means the same float: 0.1f as 0.1, not 0.10000000149.
double Neat(float value)
{
    std::string text;
    AppendFloat(text, value);
    return ParseDouble(text).value_or(static_cast<double>(value));
}

Json OffsetJson(const Joint& joint)
{
    return Json::array({Neat(joint.offset[0]), Neat(joint.offset[1]), Neat(joint.offset[2])});
}

Json ChannelsJson(const Joint& joint)
{
    Json channels = Json::array();
    for (const Channel channel : joint.channels) channels.push_back(ChannelName(channel));
    return channels;
}

Json JointsJson(const Scene& scene)
{
    Json joints = Json::array();
    const std::vector<Joint>& all = scene.skeleton.joints;
    std::vector<std::size_t> places(all.size());
    for (std::size_t i = 0; i < all.size(); ++i) {
        const Joint& joint = all[i];
        if (joint.endSite) {
            joints[places[static_cast<std::size_t>(joint.parent)]]["endSites"].push_back(OffsetJson(joint));
            continue;
        }
        places[i] = joints.size();
        Json item;
        item["name"] = Printable(joint.name);
        item["path"] = Printable(PathOf(*scene.jointNodes[i]));
        if (joint.parent < 0) {
            item["parent"] = nullptr;
        } else {
            item["parent"] = places[static_cast<std::size_t>(joint.parent)];
        }
        item["offset"] = OffsetJson(joint);
        item["channels"] = ChannelsJson(joint);
        if (joint.Has(ChannelKind::Rotation))
            item["rotationOrder"] = RotationOrderName(RotationOrderOf(joint));
        joints.push_back(std::move(item));
    }
    return joints;
}

void AddSpan(Json& json, const std::optional<TimeSpan>& span)
{
    if (!span) return;
    json["start"] = span->start.GetSecondDouble();
    json["stop"] = span->stop.GetSecondDouble();
}

Json CurveJson(const SelectedCurve& selected)
{
    Json json;
    json["path"] = Printable(PathOf(*selected.node));
    json["property"] = selected.property->GetTypeName();
    json["unit"] = UnitOf(*selected.property);
    if (selected.property->IsRotationLayerType())
        json["interpolated"] = TurnsAsQuaternions(*selected.property) ? "as quaternions" : "by angles";
    json["keys"] = selected.curve->KeyGetCount();
    AddSpan(json, KeySpan(*selected.curve));
    if (const std::optional<ValueRange> range = KeyRange(*selected.curve)) {
        json["min"] = Neat(range->least);
        json["max"] = Neat(range->greatest);
    }
    return json;
}

}  // namespace

std::string JsonReport(const Scene& scene)
{
    const std::optional<TimeSpan> span = KeySpan(scene);
    Json json;
    json["file"] = scene.file;
    json["format"] = FormatName(scene.format);
    json["framesPerSecond"] = scene.rate.PerSecond();
    json["rate"] = {scene.rate.numerator, scene.rate.denominator};
    json["frames"] = FrameCount(span, scene.rate);
    AddSpan(json, span);
    if (!scene.animations.empty()) {
        json["animations"] = scene.animations;
        json["animation"] = scene.animation;
    }
    json["curveBytes"] = scene.curveBytes;
    json["joints"] = JointsJson(scene);
    json["layers"] = Json::array();
    for (const auto& layer : scene.layers.Layers()) json["layers"].push_back(Printable(layer->Name()));
    Json curves = Json::array();
    std::size_t keys = 0;
    for (const SelectedCurve& selected : SelectCurves(scene, {})) {
        keys += static_cast<std::size_t>(selected.curve->KeyGetCount());
        curves.push_back(CurveJson(selected));
    }
    json["keyCount"] = keys;
    json["curves"] = std::move(curves);
    return json.dump(2) + "\n";
}

}  // namespace program
