#pragma once

#include <string>
#include <string_view>

#include "program/commands/command.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/scene/layer_failure.h"

/// \file
/// What the commands that edit layers have in common.

namespace program {

struct LayerEdit
{
    std::string file;
    std::string layer;
    std::string output;
    bool repair = false;
};

/// A command with FILE, LAYER if it takes one, and --output.
CLI::App* AddLayerEdit(CLI::App& parent, const char* name, const char* description, LayerEdit& edit,
                       bool takesLayer = true);

/// A layer by its name or id. Throws `Failure` where there is none.
ymotion::Layer& FindLayer(const ymotion::Scene& scene, const std::string& wanted);

/// What is in the way of an edit, with the command that clears it.
std::string AdviceOn(const ymotion::LayerFailure& failure);

/// Throws `Failure` for a name that no new layer can have.
void CheckNewName(const ymotion::Scene& scene, const std::string& name);

/// A new layer on top of the others. Throws `Failure` for its name, and when ids have run out.
ymotion::Layer& AddLayer(ymotion::Scene& scene, const std::string& name);

/// A scene on its way from a file through an edit into a file. A file that is changed in place is locked on
/// the way.
class SceneEdit
{
  public:
    /// Reads the scene. Throws `Failure`, also where it could not be written in the end.
    explicit SceneEdit(const LayerEdit& edit);

    /// Writes the scene where it came from or is wanted, and then what is to be said about it: on standard
    /// output, or on standard error if the scene goes there.
    void Write(std::string_view report = {}) const;

    ymotion::Scene& Edited() { return mScene; }

  private:
    const LayerEdit& mEdit;
    ymotion::EditLock mLock;
    ymotion::Scene mScene;
};

/// The descriptor that the report goes to.
int ReportDescriptor(const LayerEdit& edit);

/// The command `layer merge`.
void AddLayerMerge(CLI::App& parent, Action& chosen);

}  // namespace program
