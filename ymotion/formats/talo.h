#pragma once

#include <string>
#include <string_view>

#include "ymotion/scene/scene.h"

/// \file
/// Scene files: the tree of curves with everything that the library keeps of it, and beside it what the
/// program adds: skeleton, frame rate, layers. docs/scene-file.md has the fields.
///
/// Any scene file with curve nodes is read, those of other programs as well. Their nodes have no data types
/// unless they are called as one ("Lcl Rotation") and have its components; layers that only nodes know of
/// are called by their id; fields that this program does not know are kept and written back if they stand
/// outside of all others, and dropped within.

namespace ymotion {

class Output;
struct FileAge;

/// Whether a file begins like a scene file.
bool IsTalo(std::string_view beginning);

/// Reads a regular file, of which no more than an index and a window are held besides the curves. Throws
/// `Failure` with the line and the column of what is wrong.
/// \param name  the file's name in messages.
/// \param age   gets how old the file is, unless null.
Scene ReadTaloFile(const std::string& path, const std::string& name, FileAge* age = nullptr);

/// The same from memory.
Scene ReadTaloText(std::string_view text, const std::string& name, FileAge* age = nullptr);

/// Writes a scene. Throws `Failure` where it cannot be written.
void WriteTalo(const Scene& scene, Output& out);

}  // namespace ymotion
