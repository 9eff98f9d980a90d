#include <memory>
#include <new>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "program/commands/command.h"
#include "program/layer_edit.h"
#include "ymotion/scene/layer_failure.h"
#include "ymotion/scene/layer_text.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/suggestion.h"

using namespace ymotion;

namespace program {
namespace {

/// Reads the scene, changes it and writes it where it came from or is wanted.
void EditScene(const LayerEdit& options, const std::function<void(Scene&)>& edit)
{
    SceneEdit scene(options);
    edit(scene.Edited());
    scene.Write();
}

// --- Weights -------------------------------------------------------------------------------------------

struct WeightKey
{
    WrittenTime time;
    float weight = 1;
};

struct Weight
{
    std::vector<WeightKey> keys;  ///< empty for a constant
    float constant = 1;
};

float ParseWeight(std::string_view text)
{
    const std::optional<float> weight = ParseFloat(text);
    if (weight && *weight >= 0 && *weight <= 1) return *weight;
    throw CLI::ValidationError("WEIGHT", fmt::format("{} is not a weight from 0 to 1", Quoted(text)));
}

/// A weight by itself, or keys like "0.5:1", a time and a weight.
Weight ParseWeights(const std::vector<std::string>& words)
{
    Weight result;
    for (const std::string& word : words) {
        const std::size_t colon = word.rfind(':');
        if (colon == std::string::npos) {
            if (words.size() > 1) {
                throw CLI::ValidationError(
                    "WEIGHT", Quoted(word) + " is no key; several weights have to be keys, TIME:WEIGHT");
            }
            result.constant = ParseWeight(word);
            return result;
        }
        const float weight = ParseWeight(std::string_view(word).substr(colon + 1));
        result.keys.push_back({ParseTimeOption("WEIGHT", word.substr(0, colon)), weight});
    }
    return result;
}

void SetWeight(const Scene& scene, Layer& layer, const Weight& weight)
{
    YFCurve* curve = layer.WeightCurve();
    if (curve == nullptr) {
        throw Failure(
            fmt::format("{}: the base layer counts in full; mute it, or weigh another layer", scene.file));
    }
    curve->KeyClear();
    curve->SetValue(weight.constant);
    for (const WeightKey& each : weight.keys) {
        const YTime time = each.time.At(scene.rate, "WEIGHT");
        const int last = curve->KeyGetCount() - 1;
        if (last >= 0 && time <= curve->KeyGetTime(last)) {
            throw Failure(
                fmt::format("WEIGHT: the key at {} s is not after the one before it; write them in the "
                            "order of time",
                            SecondsText(time)),
                kExitUsage);
        }
        YFCurveKey key;
        key.Set(time, each.weight, YFCURVE_INTERP_LINEAR);
        if (curve->KeyAdd(time, key) < 0) throw std::bad_alloc();
    }
}

// --- Modes ---------------------------------------------------------------------------------------------

struct Modes
{
    std::optional<eLayerMode> mode;
    std::optional<eWeightRotationAccumulationMode> rotations;
    std::optional<eAnimLayerScaleAccumulationMode> scalings;
};

void SetModes(const Scene& scene, Layer& layer, const Modes& modes)
{
    if (modes.mode && !layer.SetMode(*modes.mode)) {
        throw Failure(fmt::format(
            "{}: the base layer is additive, as nothing is below it; set the mode of another", scene.file));
    }
    if (layer.IsBase() && (modes.rotations || modes.scalings))
        throw Failure(fmt::format("{}: {}", scene.file, kBaseAddsToNothing));
    scene.layers.SetAccumulation(layer, modes.rotations.value_or(layer.GetLayerRotationMode()),
                                 modes.scalings.value_or(layer.GetLayerScalingMode()), *scene.root);
}

/// An option or argument that is one of a few words.
template<class Value>
CLI::Option* AddWordOption(CLI::App& command, const char* name, std::optional<Value>& value,
                           std::optional<Value> (*parse)(std::string_view),
                           const std::vector<std::string>& words, const char* description)
{
    return command
        .add_option_function<std::string>(
            name,
            [&value, parse, name, words](const std::string& text) {
                value = parse(text);
                if (!value) throw CLI::ValidationError(name, NoneOf(text, words));
            },
            fmt::format("{}: {}", description, fmt::join(words, ", ")))
        ->type_name("");
}

void AddModeOptions(CLI::App& command, Modes& modes)
{
    AddWordOption(command, "--rotations", modes.rotations, ParseRotationMode, {"by-layer", "by-channel"},
                  "how rotations go with those below");
    AddWordOption(command, "--scalings", modes.scalings, ParseScalingMode, {"multiply", "add"},
                  "how scalings go with those below");
}

std::vector<std::string> ModeWords()
{
    return {"additive", "override", "weighted-override"};
}

// --- The commands --------------------------------------------------------------------------------------

void AddAdd(CLI::App& parent, Action& chosen)
{
    struct Options : LayerEdit
    {
        std::vector<std::string> weights;
        Weight weight;
        Modes modes;
    };
    auto options = std::make_shared<Options>();
    CLI::App* command = AddLayerEdit(parent, "add", "Put a new layer on top of the others", *options, false);
    command->add_option("NAME", options->layer, "the new layer's name")->required()->type_name("");
    AddWordOption(*command, "--mode", options->modes.mode, ParseMode, ModeWords(), "what it does");
    AddModeOptions(*command, options->modes);
    command->add_option("--weight", options->weights, "how much of it counts, 0 to 1 (default: 1)")
        ->type_name("W")
        ->expected(1);
    command->callback([options, &chosen] {
        options->weight = ParseWeights(options->weights);
        chosen = [options] {
            EditScene(*options, [&](Scene& scene) {
                Layer& layer = AddLayer(scene, options->layer);
                SetModes(scene, layer, options->modes);
                SetWeight(scene, layer, options->weight);
            });
        };
    });
}

void AddRemove(CLI::App& parent, Action& chosen)
{
    auto options = std::make_shared<LayerEdit>();
    CLI::App* command = AddLayerEdit(parent, "remove", "Remove a layer with all its keys", *options);
    command->callback([options, &chosen] {
        chosen = [options] {
            EditScene(*options, [&](Scene& scene) {
                const Layer& layer = FindLayer(scene, options->layer);
                if (!layer.IsBase()) CheckUnlocked(scene, layer, "remove another one");
                if (!scene.layers.Remove(layer.GetLayerID(), *scene.root)) {
                    throw Failure(scene.file + ": the base layer stays; remove another one");
                }
            });
        };
    });
}

void AddRename(CLI::App& parent, Action& chosen)
{
    struct Options : LayerEdit
    {
        std::string name;
    };
    auto options = std::make_shared<Options>();
    CLI::App* command = AddLayerEdit(parent, "rename", "Give a layer another name", *options);
    command->add_option("NAME", options->name, "the new name")->required()->type_name("");
    command->callback([options, &chosen] {
        chosen = [options] {
            EditScene(*options, [&](Scene& scene) {
                Layer& layer = FindLayer(scene, options->layer);
                if (layer.Name() != options->name) CheckNewName(scene, options->name);
                scene.layers.Rename(layer, options->name);
            });
        };
    });
}

void AddWeight(CLI::App& parent, Action& chosen)
{
    struct Options : LayerEdit
    {
        std::vector<std::string> words;
        Weight weight;
    };
    auto options = std::make_shared<Options>();
    CLI::App* command = AddLayerEdit(parent, "weight", "Set how much of a layer counts", *options);
    command
        ->add_option("WEIGHT", options->words,
                     "0 to 1, or keys with straight lines between them, TIME:WEIGHT ...")
        ->required()
        ->type_name("")
        ->expected(1, -1);
    command->callback([options, &chosen] {
        options->weight = ParseWeights(options->words);
        chosen = [options] {
            EditScene(*options, [&](Scene& scene) {
                SetWeight(scene, FindLayer(scene, options->layer), options->weight);
            });
        };
    });
}

void AddMode(CLI::App& parent, Action& chosen)
{
    struct Options : LayerEdit
    {
        Modes modes;
    };
    auto options = std::make_shared<Options>();
    CLI::App* command = AddLayerEdit(parent, "mode", "Set how a layer combines with those below", *options);
    AddWordOption(*command, "MODE", options->modes.mode, ParseMode, ModeWords(), "what it does");
    AddModeOptions(*command, options->modes);
    command->callback([options, &chosen] {
        const Modes& modes = options->modes;
        if (!modes.mode && !modes.rotations && !modes.scalings)
            throw CLI::ValidationError("layer mode",
                                       "there is nothing to set; give MODE, --rotations or --scalings");
        chosen = [options] {
            EditScene(*options, [&](Scene& scene) {
                SetModes(scene, FindLayer(scene, options->layer), options->modes);
            });
        };
    });
}

/// A command for a button: `set` presses or releases it.
void AddButton(CLI::App& parent, Action& chosen, const char* name, const char* description,
               void (*set)(SceneLayers& layers, Layer& layer, bool on))
{
    struct Options : LayerEdit
    {
        std::string state = "on";
    };
    auto options = std::make_shared<Options>();
    CLI::App* command = AddLayerEdit(parent, name, description, *options);
    command->add_option("STATE", options->state, "on or off (default: on)")
        ->type_name("")
        ->check(OneOf({"on", "off"}));
    command->callback([options, set, &chosen] {
        chosen = [options, set] {
            EditScene(*options, [&](Scene& scene) {
                set(scene.layers, FindLayer(scene, options->layer), options->state == "on");
            });
        };
    });
}

}  // namespace

void AddLayerCommand(CLI::App& program, Action& chosen)
{
    CLI::App* command = program.add_subcommand("layer", "Change the animation layers of a scene file");
    command->require_subcommand(1);
    // Set before the commands below are added, which take it over.
    command->footer(WithTimes(
        "The scene file is changed in place: it is replaced when the new one is complete. A file of\n"
        "another format has no layers and needs -o OUT.ytalo. 'yfcurve layers' lists the layers.\n"
        "Where rotations of a layer turn as a whole, turns of less than half a degree count in full,\n"
        "whatever the weight; with '--rotations by-channel' each angle counts by the weight.\n"
        "\n"
        "Examples:\n"
        "  yfcurve layer add walk.bvh Breathing --mode additive -o walk.ytalo\n"
        "  yfcurve layer weight walk.ytalo Breathing 0.5\n"
        "  yfcurve layer weight walk.ytalo Breathing 0:0 15f:1 2:1 00:00:02:15:0\n"
        "  yfcurve layer mute walk.ytalo Breathing off"));
    AddAdd(*command, chosen);
    AddRemove(*command, chosen);
    AddRename(*command, chosen);
    AddWeight(*command, chosen);
    AddMode(*command, chosen);
    AddButton(*command, chosen, "mute", "Keep a layer from playing",
              [](SceneLayers&, Layer& layer, bool on) { layer.SetMute(on); });
    AddButton(*command, chosen, "solo", "Let a layer play alone, with others that are solo",
              [](SceneLayers& layers, Layer& layer, bool on) { layers.SetSolo(layer, on); });
    AddButton(*command, chosen, "lock", "Protect the keys of a layer",
              [](SceneLayers&, Layer& layer, bool on) { layer.SetLocked(on); });
    AddLayerMerge(*command, chosen);
}

}  // namespace program
