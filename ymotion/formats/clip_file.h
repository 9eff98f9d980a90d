#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "yfcurve/yfcurveclip.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/scene/scene.h"

/// \file
/// Clips: what a scene shows, made ready to be played (yfcurve/yfcurveclip.h). They are written from scenes,
/// and cannot be made scenes again.

namespace ymotion {

inline constexpr const char* kClipExtension = ".yclip";

/// Whether a file begins like a clip.
bool IsClip(std::string_view beginning);

/// Whether a name, or the format that is asked for in its place, is that of a clip.
/// \param extension  without its point; empty to go by the name.
bool IsClipName(const std::string& path, const std::string& extension);

/// The content of the clip of a scene. Throws `Failure`.
std::string ClipText(const Scene& scene);
/// Writes the clip of a scene, whole or not at all. Throws `Failure`.
void WriteClip(const Scene& scene, const std::string& path, const NoteTaker& note = {});

/// A clip out of a file.
struct ClipFile
{
    FileBytes bytes;
    std::unique_ptr<YFCurveClip> clip;
};

/// A clip, plain or packed by gzip, out of a file or standard input ("-"); no clip where it does not begin like one.
/// Standard input, which can be read once, is in the bytes then. Throws `Failure` for a damaged clip.
ClipFile ReadClip(const std::string& path);

}  // namespace ymotion
