#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "ymotion/scene/scene.h"
#include "ymotion/text/note.h"

/// \file
/// glTF 2.0, the exchange format of engines and viewers: JSON text (.gltf), or text and numbers in one file
/// (.glb). docs/gltf.md says what is read and written.

namespace ymotion {

class Output;

/// What is chosen when a glTF file is read.
struct GltfReading
{
    std::string animation;    ///< by name, or by number from 1; empty for the first
    int rotationOrder = 0;    ///< of the Euler curves, 0 to 5 as in `RotationOrderOf`
    double tolerance = 0.01;  ///< degrees between the curves and the file's orientations
    NoteTaker note;           ///< is told which animation was taken, and what is not as in the file
};

/// How a glTF file is written.
struct GltfWriting
{
    bool sampled = false;     ///< a linear key for each frame, instead of few cubic ones
    bool mesh = true;         ///< with bones to look at
    double tolerance = 0.01;  ///< degrees; positions keep what such an angle moves at the end of the skeleton
    NoteTaker note;           ///< is told what became of the keys
};

/// Whether a file begins like glTF as JSON text, or like its binary form.
bool IsGltf(std::string_view beginning);
bool IsGlb(std::string_view beginning);

/// Reads either form. Memory is in proportion to the file and the buffers beside it that it names. Throws
/// `Failure` that names the member of the JSON that is wrong.
/// \param name    the file's name in messages.
/// \param folder  where the buffers outside of the file are; nothing refuses them.
Scene ReadGltf(std::string_view bytes, const std::string& name, const std::optional<std::string>& folder,
               const GltfReading& reading = {});

/// Writes a scene's skeleton and what plays. Throws `Failure` for a scene without a skeleton, and for what
/// the format cannot hold.
void WriteGltf(const Scene& scene, Output& out, const GltfWriting& writing = {});
void WriteGlb(const Scene& scene, Output& out, const GltfWriting& writing = {});

}  // namespace ymotion
