#include "host/scene_file.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <filesystem>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/bvh.h"
#include "host/diagnostic.h"
#include "host/file_io.h"
#include "host/printable.h"

namespace host {
namespace {

/// A format as the commands need it. Another one is another row of the table below.
struct FileFormat
{
    const char* name;       ///< for people
    const char* extension;  ///< with its point, in lower case
    bool (*recognises)(std::string_view text);
    Scene (*read)(std::string_view text, std::string_view file);
    void (*write)(const Scene& scene, OutputFile& out);
};

Scene ReadBvh(std::string_view text, std::string_view file)
{
    return SceneOfBvh(ParseBvh(text, file));
}

constexpr std::array<FileFormat, 1> kFormats{{
    {"BVH", ".bvh", IsBvh, ReadBvh, WriteBvh},
}};

const FileFormat& FormatOfContent(std::string_view text)
{
    const auto found = std::find_if(kFormats.begin(), kFormats.end(),
                                    [text](const FileFormat& format) { return format.recognises(text); });
    // The reader of the first format says best what is wrong with a file that is none of them.
    return found != kFormats.end() ? *found : kFormats.front();
}

const FileFormat& FormatOfPath(const std::string& path)
{
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const auto found = std::find_if(kFormats.begin(), kFormats.end(),
                                    [&](const FileFormat& format) { return extension == format.extension; });
    if (found != kFormats.end()) return *found;
    std::array<const char*, kFormats.size()> known{};
    std::transform(kFormats.begin(), kFormats.end(), known.begin(),
                   [](const FileFormat& format) { return format.extension; });
    throw Failure(fmt::format("{}: the name does not say which format to write; let it end in {}",
                              Printable(path), fmt::join(known, " or ")),
                  kExitUsage);
}

const FileFormat& FormatNamed(const std::string& name)
{
    return *std::find_if(kFormats.begin(), kFormats.end(),
                         [&](const FileFormat& format) { return name == format.name; });
}

}  // namespace

Scene ReadScene(const std::string& path)
{
    const FileBytes bytes = ReadFile(path);
    const FileFormat& format = FormatOfContent(bytes.View());
    Scene scene = format.read(bytes.View(), InputName(path));
    scene.file = InputName(path);
    scene.format = format.name;
    return scene;
}

void WriteScene(const Scene& scene, const std::string& path)
{
    const FileFormat& format = path == "-" ? FormatNamed(scene.format) : FormatOfPath(path);
    OutputFile out(path);
    format.write(scene, out);
    out.Commit();
}

}  // namespace host
