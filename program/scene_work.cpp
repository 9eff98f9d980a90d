#include "program/scene_work.h"

#include <unistd.h>

#include <optional>

#include <fmt/format.h>

#include "program/signal_hold.h"
#include "program/terminal/messages.h"
#include "program/terminal/progress.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/text/failure.h"

using namespace ymotion;

namespace program {

GltfReading& HowToRead()
{
    static GltfReading reading{{}, 0, 0.01, PrintNote};
    return reading;
}

namespace {

GltfReading ReadingWith(const NoteTaker& note)
{
    GltfReading reading = HowToRead();
    reading.note = note;
    return reading;
}

Scene Told(Scene scene, const NoteTaker& note)
{
    if (!scene.leftOut.empty() && note) note(fmt::format("{}: {}", scene.file, LeftOutText(scene)));
    return scene;
}

}  // namespace

Scene LoadScene(const std::string& path, const NoteTaker& note)
{
    NoteFileInWork(path);
    return Told(ReadScene(path, ReadingWith(note)), note);
}

Scene LoadSceneText(std::string_view text, const std::string& path, const NoteTaker& note)
{
    NoteFileInWork(path);
    return Told(ReadSceneText(text, InputName(path), ReadingWith(note)), note);
}

Scene LoadSceneToCheck(const std::string& path, FileAge& age)
{
    NoteFileInWork(path);
    return ReadSceneToCheck(path, age, HowToRead());
}

void SaveScene(const Scene& scene, const std::string& path, const NoteTaker& note)
{
    WriteScene(scene, path, {}, note);
}

void SaveEdited(const Scene& scene, const std::string& input, const std::string& output, bool changed)
{
    if (changed || !scene.leftOut.empty() || output == "-" || !IsSameFile(input, output))
        SaveScene(scene, output);
}

void SaveLayeredScene(const Scene& scene, const std::string& path, bool sameFile)
{
    WriteLayeredScene(scene, path, sameFile, PrintNote);
}

void SaveText(const std::string& path, std::string_view text, const NoteTaker& note)
{
    WriteFile(path, text, note);
}

SceneToEdit::SceneToEdit(const std::string& input, const std::string& output, bool dryRun, bool repair)
    : lock(input, dryRun ? "-" : output, PrintNoteOnTerminal), scene(LoadScene(input))
{
    if (!dryRun) CheckWhole(scene, input, output, repair);
}

void CheckHasOutput(const std::string& output, bool dryRun)
{
    if (!output.empty() || dryRun) return;
    throw Failure("OUT is missing; name the file to write, or give --dry-run to see what would be done",
                  kExitUsage);
}

int ReportDescriptor(const std::string& output, bool dryRun)
{
    return !dryRun && output == "-" ? STDERR_FILENO : STDOUT_FILENO;
}

void WriteReported(const std::string& report, int descriptor, const std::function<void()>& files)
{
    const SignalHold hold;
    // Takes its memory while nothing has been replaced.
    OutputFile out(descriptor == STDERR_FILENO ? "/dev/stderr" : "-", PrintNote);
    out.Write(report);
    files();
    out.Commit();
}

FilterOutcome FilterScene(Scene& scene, std::vector<FilterStep>& steps,
                          const std::vector<std::string>& patterns, std::size_t jobs, const Layer* layer)
{
    std::optional<Progress> progress;
    const StepTaken taken = [&progress](std::size_t done, std::size_t total) {
        if (done == 0) {
            progress.emplace("filtering", total);
        } else {
            progress->Step();
        }
    };
    return ApplySteps(scene, steps, patterns, taken, jobs, layer);
}

}  // namespace program
