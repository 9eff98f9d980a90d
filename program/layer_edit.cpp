#include "program/layer_edit.h"

#include <unistd.h>

#include <charconv>

#include <fmt/format.h>

#include "program/scene_work.h"
#include "program/signal_hold.h"
#include "program/terminal/messages.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/shell_word.h"
#include "ymotion/text/suggestion.h"

using namespace ymotion;

namespace program {
namespace {

const std::string& OutputOf(const LayerEdit& edit)
{
    return edit.output.empty() ? edit.file : edit.output;
}

}  // namespace

CLI::App* AddLayerEdit(CLI::App& parent, const char* name, const char* description, LayerEdit& edit,
                       bool takesLayer)
{
    CLI::App* command = parent.add_subcommand(name, description);
    command->add_option("FILE", edit.file, "the scene file to change; - for standard input")
        ->required()
        ->type_name("");
    if (takesLayer) {
        command->add_option("LAYER", edit.layer, "the layer's name or id")->required()->type_name("");
    }
    RefuseEmpty(
        *command->add_option("-o,--output", edit.output, "the scene file to write (default: FILE itself)")
             ->type_name("OUT.ytalo"));
    AddRepairFlag(*command, edit.repair);
    AddReadingOptions(*command);
    return command;
}

Layer& FindLayer(const Scene& scene, const std::string& wanted)
{
    if (Layer* layer = scene.layers.Find(wanted)) return *layer;
    int id = 0;
    const auto [end, error] = std::from_chars(wanted.data(), wanted.data() + wanted.size(), id);
    Layer* layer =
        error == std::errc() && end == wanted.data() + wanted.size() ? scene.layers.Find(id) : nullptr;
    if (layer != nullptr) return *layer;
    std::vector<std::string> names;
    for (const auto& each : scene.layers.Layers()) names.push_back(Printable(each->Name()));
    throw Failure(fmt::format(
        "{}: no layer has the name or id {}{}", scene.file, Quoted(wanted),
        DidYouMean(wanted, names, fmt::format("'yfcurve layers {}' lists them", ShellWord(scene.file)))));
}

std::string AdviceOn(const LayerFailure& failure)
{
    const char* change = "";
    switch (failure.Obstacle()) {
        case LayerObstacle::Locked:
            change = "lock {} {} off";
            break;
        case LayerObstacle::Muted:
            change = "mute {} {} off";
            break;
        case LayerObstacle::Silenced:
            change = "solo {} {}";
            break;
    }
    return failure.TextWith("yfcurve layer " +
                            fmt::format(fmt::runtime(change), ShellWord(failure.File()), failure.LayerId()));
}

void CheckNewName(const Scene& scene, const std::string& name)
{
    if (name.empty()) throw Failure("a layer has to have a name; give one", kExitUsage);
    if (scene.layers.Find(name) == nullptr) return;
    throw Failure(
        fmt::format("{}: there is a layer {} already; choose another name", scene.file, Quoted(name)));
}

Layer& AddLayer(Scene& scene, const std::string& name)
{
    CheckNewName(scene, name);
    if (Layer* layer = scene.layers.Add(name)) return *layer;
    throw Failure(scene.file + ": the layers' ids have run out; remove the one with the highest");
}

SceneEdit::SceneEdit(const LayerEdit& edit)
    : mEdit(edit), mLock(edit.file, OutputOf(edit), PrintNoteOnTerminal), mScene(LoadScene(edit.file))
{
    CheckWhole(mScene, edit.file, OutputOf(edit), edit.repair);
    CheckHoldsLayers(mScene, OutputOf(edit), OutputOf(edit) == edit.file);
}

void SceneEdit::Write(std::string_view report) const
{
    const std::string& output = OutputOf(mEdit);
    const SignalHold hold;
    // Takes its memory while nothing has been replaced.
    OutputFile out(ReportDescriptor(mEdit) == STDERR_FILENO ? "/dev/stderr" : "-", PrintNote);
    out.Write(report);
    SaveLayeredScene(mScene, output, output == mEdit.file);
    out.Commit();
}

int ReportDescriptor(const LayerEdit& edit)
{
    return OutputOf(edit) == "-" ? STDERR_FILENO : STDOUT_FILENO;
}

}  // namespace program
