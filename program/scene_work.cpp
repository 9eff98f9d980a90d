#include "program/scene_work.h"

#include <optional>

#include <fmt/format.h>

#include "program/terminal/messages.h"
#include "program/terminal/progress.h"
#include "ymotion/formats/file_io.h"

using namespace ymotion;

namespace program {

GltfReading& HowToRead()
{
    static GltfReading reading{{}, 0, 0.01, PrintNote};
    return reading;
}

Scene LoadScene(const std::string& path)
{
    NoteFileInWork(path);
    Scene scene = ReadScene(path, HowToRead());
    if (!scene.leftOut.empty()) PrintNote(fmt::format("{}: {}", scene.file, LeftOutText(scene)));
    return scene;
}

Scene LoadSceneToCheck(const std::string& path, FileAge& age)
{
    NoteFileInWork(path);
    return ReadSceneToCheck(path, age, HowToRead());
}

void SaveScene(const Scene& scene, const std::string& path, const std::string& extension,
               const GltfWriting& writing)
{
    WriteScene(scene, path, extension, PrintNote, writing);
}

void SaveLayeredScene(const Scene& scene, const std::string& path, bool sameFile)
{
    WriteLayeredScene(scene, path, sameFile, PrintNote);
}

void SaveText(const std::string& path, std::string_view text)
{
    WriteFile(path, text, PrintNote);
}

FilterOutcome FilterScene(Scene& scene, std::vector<FilterStep>& steps,
                          const std::vector<std::string>& patterns, std::size_t jobs)
{
    std::optional<Progress> progress;
    const StepTaken taken = [&progress](std::size_t done, std::size_t total) {
        if (done == 0) {
            progress.emplace("filtering", total);
        } else {
            progress->Step();
        }
    };
    return ApplySteps(scene, steps, patterns, taken, jobs);
}

}  // namespace program
