#pragma once

#include <string>

#include "host/scene.h"

/// \file
/// Scenes from and to files, whatever their format.

namespace host {

/// Reads a file or standard input ("-") in the format that its content shows, whatever its name. Throws
/// `Failure`.
Scene ReadScene(const std::string& path);

/// Writes a file in the format that its name ends in; standard output ("-") gets the format that the scene
/// came in. Throws `Failure`, and leaves what was there before as it was.
void WriteScene(const Scene& scene, const std::string& path);

}  // namespace host
