#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "program/terminal/messages.h"
#include "ymotion/filtering/filter_pipeline.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/scene_file.h"
#include "ymotion/text/note.h"

/// \file
/// Scenes read, filtered and written, with what there is to tell of it on standard error unless another place is
/// given. They throw `Failure` as the functions of `ymotion` do that they are made of.

namespace program {

/// How glTF files are read from now on, as the command line says.
ymotion::GltfReading& HowToRead();

/// `ReadScene`, and a note of what was left out.
ymotion::Scene LoadScene(const std::string& path, const ymotion::NoteTaker& note = PrintNote);

/// The same of the content of a file, such as standard input, that was read before.
ymotion::Scene LoadSceneText(std::string_view text, const std::string& path,
                             const ymotion::NoteTaker& note = PrintNote);

/// A scene that is read to be changed and written, while other runs that change the same file wait.
struct SceneToEdit
{
    /// Throws `Failure` as well where writing would lose what was left out of a damaged file (see
    /// `CheckWhole`).
    /// \param dryRun  nothing will be written
    SceneToEdit(const std::string& input, const std::string& output, bool dryRun, bool repair);

    ymotion::EditLock lock;
    ymotion::Scene scene;
};

/// `ReadSceneToCheck`, which leaves it to the report to tell what was left out.
ymotion::Scene LoadSceneToCheck(const std::string& path, ymotion::FileAge& age);

/// `WriteScene`, `WriteLayeredScene` and `WriteFile`, and notes of what there is to tell.
void SaveScene(const ymotion::Scene& scene, const std::string& path,
               const ymotion::NoteTaker& note = PrintNote);
void SaveLayeredScene(const ymotion::Scene& scene, const std::string& path, bool sameFile);
/// `SaveScene`, but where the output is the input and nothing was changed in it, which leaves the file as it is.
void SaveEdited(const ymotion::Scene& scene, const std::string& input, const std::string& output,
                bool changed);
void SaveText(const std::string& path, std::string_view text, const ymotion::NoteTaker& note = PrintNote);

/// Throws `Failure` for a command that is to write motion, and is not told where.
void CheckHasOutput(const std::string& output, bool dryRun);

/// Where a report goes: to standard output, or to standard error where the motion goes to the other one.
int ReportDescriptor(const std::string& output, bool dryRun);

/// Writes files and a report, all of them or nothing.
/// \param descriptor  see `ReportDescriptor`
/// \param files       writes the other ones
void WriteReported(const std::string& report, int descriptor, const std::function<void()>& files);

/// `ApplySteps` on so many threads, with a bar that shows how far it has come. Throws `Failure` as well when
/// the user stops it.
ymotion::FilterOutcome FilterScene(ymotion::Scene& scene, std::vector<ymotion::FilterStep>& steps,
                                   const std::vector<std::string>& patterns, std::size_t jobs,
                                   const ymotion::Layer* layer = nullptr);

}  // namespace program
