#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ymotion/formats/gltf.h"
#include "ymotion/scene/scene.h"
#include "ymotion/text/note.h"

/// \file
/// Scenes from and to files, whatever their format.

namespace ymotion {

/// "BVH", "scene file" and the like, for people.
const char* FormatName(SceneFormat format);

/// What can be said of a format without a file.
struct FormatFacts
{
    const char* name;       ///< see `FormatName`
    const char* extension;  ///< of its files, without the point; they may be packed with ".gz" behind it
    bool holdsLayers;       ///< others hold what plays with all layers together
};
FormatFacts FactsOf(SceneFormat format);
std::vector<FormatFacts> KnownFormats();

/// "6 keys left out, the first in line 41"; "2 meshes left out".
std::string LeftOutText(const LeftOut& leftOut);
/// Whether the file is damaged, not just one with more than a scene can hold.
bool IsDamage(const LeftOut& leftOut);
/// All that was left out of a scene: "6 keys left out, the first in line 41; 1 field left out, in line 77".
std::string LeftOutText(const Scene& scene);

/// Whether a scene would replace the file that it was read from, and something was left out of it that would
/// be gone then.
bool WouldLoseLeftOut(const Scene& scene, const std::string& input, const std::string& output);

/// Throws `Failure` in that case.
/// \param repair  it is wanted so.
/// \param advice  what else can be done, for the message.
void CheckWhole(const Scene& scene, const std::string& input, const std::string& output, bool repair,
                const char* advice = "write another file, or give --repair to do without");

/// Reads a file or standard input ("-") in the format that its content shows, whatever its name: BVH, glTF or
/// a scene file, plain or packed by gzip. What was left out is in `Scene::leftOut`. Throws `Failure`.
/// \param reading  how, if it is glTF.
Scene ReadScene(const std::string& path, const GltfReading& reading = {});

/// The same for the content of a file in memory.
/// \param name  for messages.
Scene ReadSceneText(std::string_view text, const std::string& name, const GltfReading& reading = {});

/// How old a scene file is. Of other files nothing is known.
struct FileAge
{
    bool hasEndMark = true;              ///< whether a cut at its end would be noticed
    std::optional<int> oldestKeys = {};  ///< layout of keys, 0 for none given; nothing without keys
    std::optional<int> newestKeys = {};
};

/// The layout that keys are written in, and the newest that is known.
int WrittenKeyLayout();

/// Reads like `ReadScene`, and looks how old the file is.
Scene ReadSceneToCheck(const std::string& path, FileAge& age, const GltfReading& reading = {});
/// The same of a file's content in memory.
Scene ReadTextToCheck(std::string_view text, const std::string& name, FileAge& age,
                      const GltfReading& reading = {});

/// The format that `WriteScene` writes, other than to standard output; nothing where it would refuse to.
std::optional<SceneFormat> FormatToWrite(const std::string& path, const std::string& extension);

/// Writes a file in the format that its name ends in, and packed with ".gz" behind that; standard output
/// ("-") gets the format that the scene came in, plain. Throws `Failure`, and leaves what was there before as
/// it was.
/// \param extension  of the format to write instead, such as "bvh" or "ytalo.gz"; empty to go by the name.
/// \param note       is told what `OutputFile` tells, and what the format cannot hold as it is.
/// \param writing    how, if it is glTF; `note` takes the place of the note in it.
void WriteScene(const Scene& scene, const std::string& path, const std::string& extension = {},
                const NoteTaker& note = {}, const GltfWriting& writing = {});

/// The content that such a file has.
/// \param extension  of the format; empty for the one that the scene came in.
std::string SceneText(const Scene& scene, const std::string& extension = {}, const GltfWriting& writing = {});

/// As `WriteScene` and `SceneText`, but names that end in ".yclip", and the format "yclip", make a clip (clip_file.h).
void WriteSceneOrClip(const Scene& scene, const std::string& path, const std::string& extension,
                      const NoteTaker& note = {}, const GltfWriting& writing = {});
std::string SceneOrClipText(const Scene& scene, const std::string& extension,
                            const GltfWriting& writing = {});

/// As `WriteScene`, but refuses to write a format that would lose the layers.
/// \param sameFile  the path is where the scene was read from: keep its format, whatever the name.
void WriteLayeredScene(const Scene& scene, const std::string& path, bool sameFile,
                       const NoteTaker& note = {});

/// Refuses such a format before the scene is worked on.
void CheckHoldsLayers(const Scene& scene, const std::string& path, bool sameFile);

}  // namespace ymotion
