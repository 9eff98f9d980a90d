#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "ymotion/formats/file_io.h"
#include "ymotion/scene/curve_selection.h"

/// \file
/// Keys with their tangents as JSON, for scripts that edit them. docs/keys.schema.json describes it.

namespace ymotion {

/// Writes the keys of curves as some layers have them, with all that a curve keeps of a key: no digit is
/// lost.
void WriteKeysJson(const Scene& scene, const std::vector<SelectedCurve>& curves,
                   const std::vector<const Layer*>& layers, Output& out);

struct ImportedKeys
{
    int keys = 0;
    int curves = 0;
};

/// Gives the curves that such a text names, by path and layer, its keys in place of theirs, its default value
/// and its extrapolation; other curves stay. Throws `Failure` for what is no such text, for a curve that the
/// scene does not have or that is locked, and for keys that do not follow each other in time; the scene is
/// half changed then.
/// \param name  of the file, for messages.
ImportedKeys ReadKeysJson(std::string_view text, const std::string& name, Scene& scene);

/// Keys of a curve by themselves, and where they are from.
struct NamedKeys
{
    std::string path;   ///< in printable form, as all names in such a text
    std::string layer;  ///< name
    int place = 0;      ///< how many curves of that path stand before it
    YFCurvePtr curve;
    /// The key in front of them, with which the left tangent of the first is stored.
    std::optional<YFCurveKey> before = {};
};

/// The same for curves that need be in no scene.
void WriteKeysJson(const std::vector<NamedKeys>& curves, Output& out);
std::vector<NamedKeys> ReadKeysJson(std::string_view text, const std::string& name);

}  // namespace ymotion
