#include "ymotion/formats/clip_file.h"

#include <optional>
#include <span>

#include <fmt/format.h>

#include "ymotion/formats/gzip.h"
#include "ymotion/text/ascii.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

namespace ymotion {

namespace {

constexpr std::string_view kBeginsWith = "YFCLIP\r\n";

/// Whether it has to be read whole to tell whether it is a clip.
bool MayBeClip(const std::string& path)
{
    if (path == "-") return true;
    const std::optional<std::string> beginning = BeginningOf(path, kBeginsWith.size());
    return beginning && (IsClip(*beginning) || IsGzip(*beginning));
}

}  // namespace

bool IsClip(std::string_view beginning)
{
    return beginning.starts_with(kBeginsWith);
}

bool IsClipName(const std::string& path, const std::string& extension)
{
    return EqualsNoCase(extension.empty() ? EndingOf(path) : "." + extension, kClipExtension);
}

std::string ClipText(const Scene& scene)
{
    if (scene.root->GetComponentCount() == 0) {
        throw Failure(fmt::format("{}: has no curves that a clip could play", scene.file));
    }
    const std::unique_ptr<YFCurveClip> clip = YFCurveClip::Create(*scene.root);
    if (!clip) {
        throw Failure(
            fmt::format("{}: cannot be made a clip; its tree is too deep, its keys are out of order, "
                        "or memory has run out",
                        scene.file));
    }
    const std::span<const std::byte> bytes = clip->GetBytes();
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void WriteClip(const Scene& scene, const std::string& path, const NoteTaker& note)
{
    WriteFile(path, ClipText(scene), note);
}

ClipFile ReadClip(const std::string& path)
{
    ClipFile file;
    if (!MayBeClip(path)) return file;
    file.bytes = ReadFile(path);
    if (IsGzip(file.bytes.View())) file.bytes = Unpacked(file.bytes.View(), InputName(path));
    const std::string_view bytes = file.bytes.View();
    if (!IsClip(bytes)) return file;
    file.clip = YFCurveClip::Open({reinterpret_cast<const std::byte*>(bytes.data()), bytes.size()});
    if (file.clip) return file;
    throw Failure(fmt::format("{}: is a damaged clip, or one of another version; make it anew from its scene",
                              InputName(path)));
}

}  // namespace ymotion
