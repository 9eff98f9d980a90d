#include <unistd.h>

#include <array>
#include <map>
#include <memory>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "program/commands/command.h"
#include "program/scene_work.h"
#include "program/terminal/terminal.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/scene/layer_text.h"
#include "ymotion/scene/node_walk.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

using namespace ymotion;

namespace program {
namespace {

using Json = nlohmann::ordered_json;

struct LayersOptions
{
    std::string file;
    bool json = false;
};

/// What a layer holds.
struct Content
{
    std::size_t curves = 0;
    std::size_t keys = 0;
};

std::map<int, Content> ContentOfLayers(const Scene& scene)
{
    std::map<int, Content> contents;
    VisitNodesAndLayers(*scene.root, [&contents](const YFCurveNode& node) {
        const YFCurve* curve = node.FCurveGet();
        if (curve == nullptr) return;
        Content& content = contents[node.GetLayerID()];
        ++content.curves;
        content.keys += static_cast<std::size_t>(curve->KeyGetCount());
    });
    return contents;
}

/// "muted, locked", "silent" for one that others' solo silences.
std::string StateText(const Layer& layer)
{
    std::string text;
    const auto add = [&text](bool on, const char* word) {
        if (on) text += (text.empty() ? "" : ", ") + std::string(word);
    };
    add(layer.IsMuteOn(), "muted");
    add(layer.IsSolo(), "solo");
    add(layer.IsMuted() && !layer.IsMuteOn(), "silent");
    add(layer.IsLocked(), "locked");
    return text;
}

using Row = std::array<std::string, 7>;

std::string TextOf(const Scene& scene, const Style& style)
{
    std::map<int, Content> contents = ContentOfLayers(scene);
    std::vector<Row> rows{{"id", "layer", "mode", "weight", "curves", "keys", "state"}};
    const auto& layers = scene.layers.Layers();
    // The one on top of the others first, as animators see them.
    for (auto layer = layers.rbegin(); layer != layers.rend(); ++layer) {
        const Layer& each = **layer;
        const Content& content = contents[each.GetLayerID()];
        rows.push_back({fmt::format("{}", each.GetLayerID()), Printable(each.Name()),
                        each.IsBase() ? "" : ModeText(each.GetLayerMode()), WeightText(each),
                        GroupedText(static_cast<long long>(content.curves)),
                        GroupedText(static_cast<long long>(content.keys)), StateText(each)});
    }
    std::array<std::size_t, 7> widths{};
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], DisplayWidth(row[i]));
    }
    // The name is what may be long.
    std::size_t others = 2 * widths.size();
    for (std::size_t i = 0; i < widths.size(); ++i) others += i == 1 ? 0 : widths[i];
    widths[1] =
        std::min(widths[1], std::max<std::size_t>(8, style.Columns() - std::min(style.Columns(), others)));
    std::string text;
    for (const Row& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            const std::string cell = EndOf(row[i], widths[i]);
            const std::string gap(widths[i] - DisplayWidth(cell), ' ');
            const bool number = i == 0 || i == 4 || i == 5;
            line += "  " + (number ? gap + cell : cell + gap);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        line = ClippedTo(line, style.Columns());
        const bool head = &row == &rows.front();
        text += fmt::format("{}{}{}\n", head ? style.Faint() : "", line, head ? style.Plain() : "");
    }
    return text;
}

Json WeightJson(const Layer& layer)
{
    const YFCurve* curve = layer.WeightCurve();
    if (curve == nullptr) return 1.0;
    if (curve->KeyGetCount() == 0) return layer.GetWeight(YTIME_ZERO);
    Json keys = Json::array();
    for (int i = 0; i < curve->KeyGetCount(); ++i) {
        keys.push_back({{"time", curve->KeyGetTime(i).GetSecondDouble()}, {"weight", curve->KeyGetValue(i)}});
    }
    return keys;
}

std::string JsonOf(const Scene& scene)
{
    std::map<int, Content> contents = ContentOfLayers(scene);
    Json layers = Json::array();
    for (const auto& layer : scene.layers.Layers()) {
        Json item;
        item["id"] = layer->GetLayerID();
        item["name"] = Printable(layer->Name());
        item["mode"] = ModeText(layer->GetLayerMode());
        item["weight"] = WeightJson(*layer);
        item["mute"] = layer->IsMuteOn();
        item["solo"] = layer->IsSolo();
        item["lock"] = layer->IsLocked();
        item["plays"] = !layer->IsMuted();
        item["rotations"] = RotationModeText(layer->GetLayerRotationMode());
        item["scalings"] = ScalingModeText(layer->GetLayerScalingMode());
        item["exempt"] = Json::array();
        for (const YDataType* type : layer->ModeBypasses())
            item["exempt"].push_back(Printable(type->GetName()));
        item["curves"] = contents[layer->GetLayerID()].curves;
        item["keys"] = contents[layer->GetLayerID()].keys;
        layers.push_back(std::move(item));
    }
    return Json{{"file", scene.file}, {"layers", std::move(layers)}}.dump(2) + "\n";
}

void RunLayers(const LayersOptions& options)
{
    const Scene scene = LoadScene(options.file);
    SaveText("-", options.json ? JsonOf(scene) : TextOf(scene, StyleOf(STDOUT_FILENO)));
}

}  // namespace

void AddLayersCommand(CLI::App& program, Action& chosen)
{
    auto options = std::make_shared<LayersOptions>();
    CLI::App* command = program.add_subcommand("layers", "List the animation layers of a scene");
    AddFileArgument(*command, options->file);
    AddJsonFlag(*command, options->json);
    command->footer(
        "The topmost layer comes first. A silent one does not play because another one is solo. 'yfcurve\n"
        "layer' changes them.\n"
        "\n"
        "The JSON object has the members file and layers, from the base layer up: id, name, mode, weight\n"
        "(a number, or keys of time and weight), mute, solo, lock, plays, rotations, scalings, exempt\n"
        "(types that ignore the mode), curves, keys.\n"
        "\n"
        "Examples:\n"
        "  yfcurve layers scene.ytalo\n"
        "  yfcurve layers scene.ytalo --json | jq '.layers[] | select(.plays) | .name'");
    command->callback([options, &chosen] { chosen = [options] { RunLayers(*options); }; });
}

}  // namespace program
