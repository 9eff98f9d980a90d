#pragma once

#include <string>
#include <string_view>

#include "host/command.h"
#include "host/file_identity.h"

/// \file
/// What the commands that edit layers have in common.

namespace host {

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
Layer& FindLayer(const Scene& scene, const std::string& wanted);

/// Throws `Failure` for a name that no new layer can have.
void CheckNewName(const Scene& scene, const std::string& name);

/// A new layer on top of the others. Throws `Failure` for its name, and when ids have run out.
Layer& AddLayer(Scene& scene, const std::string& name);

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

    Scene& Edited() { return mScene; }

  private:
    const LayerEdit& mEdit;
    EditLock mLock;
    Scene mScene;
};

/// The descriptor that the report goes to.
int ReportDescriptor(const LayerEdit& edit);

/// The command `layer merge`.
void AddLayerMerge(CLI::App& parent, Action& chosen);

}  // namespace host
