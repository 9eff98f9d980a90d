#include "ymotion/formats/scene_file.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <optional>
#include <unordered_set>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "ymotion/formats/bvh.h"
#include "ymotion/formats/clip_file.h"
#include "ymotion/formats/file_identity.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/gzip.h"
#include "ymotion/formats/scene_name.h"
#include "ymotion/formats/talo.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/node_walk.h"
#include "ymotion/scene/playback.h"
#include "ymotion/scene/scene_copy.h"
#include "ymotion/scene/whole_turns.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

struct Reading
{
    const GltfReading& gltf;
    FileAge* age = nullptr;  ///< is told where it is known, unless null
};

/// A format as the commands need it. Another one is another row of the table below.
struct FileFormat
{
    SceneFormat format;
    const char* name;       ///< for people
    const char* extension;  ///< with its point, in lower case
    bool holdsLayers;
    bool (*recognises)(std::string_view beginning);
    /// Of a regular file, and of one in memory.
    Scene (*readFile)(const std::string& path, const std::string& name, const Reading& reading);
    Scene (*readText)(std::string_view text, const std::string& name, const Reading& reading);
    void (*write)(const Scene& scene, Output& out, const GltfWriting& writing);
};

Scene ReadBvhOf(std::string_view text, const std::string& name, const Reading&)
{
    return SceneOfBvh(ParseBvh(text, name));
}

Scene ReadBvhFile(const std::string& path, const std::string& name, const Reading& reading)
{
    const FileBytes bytes = ReadFile(path);
    return ReadBvhOf(bytes.View(), name, reading);
}

/// Whether a joint is ever larger or smaller than its parent makes it.
bool Scales(const YFCurveNode& joint)
{
    const YFCurveNode* property = joint.Find(YDataType::Get(eDataType::LocalScaling));
    for (int i = 0; property != nullptr && i < property->GetCount(); ++i) {
        const YFCurve* curve = property->Get(i)->FCurveGet();
        if (curve != nullptr && (curve->KeyGetCount() > 0 || curve->GetValue() != 1.0f)) return true;
    }
    return false;
}

void TellLostStart(const Scene& scene, const NoteTaker& note)
{
    const std::optional<TimeSpan> span = KeySpan(scene);
    if (!span || span->start == YTIME_ZERO) return;
    note(
        fmt::format("{}: BVH has no times, so the motion, which starts at {} s, starts at 0 s there; a scene "
                    "file (.ytalo) keeps them",
                    scene.file, ShortSecondsText(span->start)));
}

/// Where the last frame comes before the last key.
void TellLostEnd(const Scene& scene, const NoteTaker& note)
{
    const std::optional<TimeSpan> span = KeySpan(scene);
    if (!span) return;
    const YTime last = TimeOfFrame(span->start, FrameCount(span, scene.rate) - 1, scene.rate);
    // Rates of files are rounded; what is lost then is less than anything that plays.
    if ((span->stop - last).GetSecondDouble() < 0.01 * TimeOfFrame(1, scene.rate).GetSecondDouble()) return;
    note(fmt::format(
        "{}: the motion ends between two frames, at {} s, and the file at the frame before, at {} s; "
        "another rate may keep the end",
        scene.file, ShortSecondsText(span->stop), ShortSecondsText(last)));
}

/// Whether a curve has a key at each frame from the start of a span, and none elsewhere.
bool HasKeysAtFrames(const YFCurve& curve, const TimeSpan& span, FrameRate rate)
{
    if (curve.KeyGetCount() != FrameCount(span, rate)) return false;
    // Rates of files are rounded.
    const double close = 0.001 * rate.SecondsPerFrame();
    for (int i = 0; i < curve.KeyGetCount(); ++i) {
        const YTime off = curve.KeyGetTime(i) - TimeOfFrame(span.start, i, rate);
        if (std::abs(off.GetSecondDouble()) > close) return false;
    }
    return true;
}

/// Told unless the keys of every curve are the frames.
void TellResampled(const Scene& scene, const NoteTaker& note)
{
    std::int64_t keys = 0;
    bool areFrames = true;
    const std::optional<TimeSpan> span = KeySpan(scene);
    VisitNodesAndLayers(*scene.root, [&](const YFCurveNode& node) {
        const YFCurve* curve = node.FCurveGet();
        if (curve == nullptr || curve->KeyGetCount() == 0) return;
        keys += curve->KeyGetCount();
        areFrames = areFrames && HasKeysAtFrames(*curve, *span, scene.rate);
    });
    if (keys == 0) return;
    for (const NamedProperty& named : NamedProperties(scene))
        areFrames = areFrames && ShowsItsKeys(*named.node);
    if (areFrames) return;
    note(fmt::format("{}: resampled, {} keys have become {} frames of BVH, which has no keys", scene.file,
                     GroupedText(keys), GroupedText(FrameCount(span, scene.rate))));
}

void TellNewChannels(const Scene& scene, const Skeleton& written, const NoteTaker& note)
{
    std::size_t count = 0;
    std::string first;
    for (std::size_t i = 0; i < written.joints.size(); ++i) {
        const Joint& joint = scene.skeleton.joints[i];
        if (written.joints[i].channels.size() > joint.channels.size() && count++ == 0) first = joint.name;
    }
    if (count == 0) return;
    const std::string others =
        count == 1 ? " gets" : fmt::format(" and {} get", Counted(count - 1, "other joint"));
    note(fmt::format("{}: {}{} channels for axes that had none, but have motion", scene.file,
                     QuotedName(first), others));
}

void WriteBvhTo(const Scene& scene, Output& out, const GltfWriting& writing)
{
    const std::vector<YFCurveNode*> jumping = JumpingRecordings(scene);
    bool isBetween = false;
    for (const YFCurveNode* rotation : jumping) {
        for (int axis = 0; axis < 3; ++axis) {
            const YFCurve& angle = *rotation->Get(axis)->FCurveGet();
            isBetween = isBetween ||
                        (angle.KeyGetCount() > 0 && !HasKeysAtFrames(angle, *KeySpan(scene), scene.rate));
        }
    }
    const std::optional<Scene> unrolled = isBetween ? UnrolledCopy(scene) : std::nullopt;
    const Skeleton written = WriteBvh(unrolled ? *unrolled : scene, out);
    if (!writing.note) return;
    TellResampled(scene, writing.note);
    TellNewChannels(scene, written, writing.note);
    TellLostStart(scene, writing.note);
    TellLostEnd(scene, writing.note);
    const auto scaling =
        std::count_if(scene.jointNodes.begin(), scene.jointNodes.end(),
                      [](const YFCurveNode* joint) { return joint != nullptr && Scales(*joint); });
    if (scaling == 0) return;
    writing.note(fmt::format("{}: BVH has no scale, so that of {} {} is left out", scene.file, scaling,
                             scaling == 1 ? "joint" : "joints"));
}

Scene ReadTaloOf(std::string_view text, const std::string& name, const Reading& reading)
{
    return ReadTaloText(text, name, reading.age);
}

Scene ReadTaloAt(const std::string& path, const std::string& name, const Reading& reading)
{
    return ReadTaloFile(path, name, reading.age);
}

/// Rotations of a skeleton have the order of its channels; others have that of their type in a file.
void TellLostOrders(const Scene& scene, const NoteTaker& note)
{
    const std::unordered_set<const YFCurveNode*> joints(scene.jointNodes.begin(), scene.jointNodes.end());
    int count = 0;
    std::string first;
    for (const NamedProperty& named : NamedProperties(scene)) {
        const bool isLost = named.node->IsRotationLayerType() && named.node->GetRotationOrder() != 0 &&
                            !joints.contains(named.node->GetParent());
        if (isLost && count++ == 0) first = named.path;
    }
    if (count == 0) return;
    note(fmt::format(
        "{}: a scene file keeps rotation orders of joints alone, so {} {} XYZ there, the first of {}",
        scene.file, count, count == 1 ? "other rotation becomes" : "other rotations become", Quoted(first)));
}

/// Weights are there for keys with slopes, and for auto keys with a parameter.
bool LosesWeights(const YFCurve& curve, int index)
{
    if (curve.KeyGetInterpolation(index) != YFCURVE_INTERP_CUBIC) return false;
    if (curve.KeyGetTangeantWeightMode(index) == YFCURVE_WEIGHT_NONE) return false;
    const unsigned tangents = curve.KeyGetTangeantMode(index);
    if ((tangents & YFCURVE_TANGENT_AUTO) == 0) return (tangents & YFCURVE_TANGENT_USER) == 0;
    return curve.KeyGetDataFloat(index, YFCURVEKEY_RIGHT_DERIVATIVE) == 0.0f &&
           curve.KeyGetDataFloat(index, YFCURVEKEY_NEXT_LEFT_DERIVATIVE) == 0.0f;
}

void TellLostWeights(const Scene& scene, const NoteTaker& note)
{
    std::int64_t count = 0;
    VisitNodesAndLayers(*scene.root, [&](const YFCurveNode& node) {
        const YFCurve* const curve = node.FCurveGet();
        for (int i = 0; curve != nullptr && i + 1 < curve->KeyGetCount(); ++i)
            count += LosesWeights(*curve, i) ? 1 : 0;
    });
    if (count == 0) return;
    note(fmt::format("{}: a scene file keeps no weights of auto and TCB keys, so that {} {} without them",
                     scene.file, GroupedText(count), count == 1 ? "segment plays" : "segments play"));
}

void WriteTaloTo(const Scene& scene, Output& out, const GltfWriting& writing)
{
    WriteTalo(scene, out);
    if (writing.note) TellLostOrders(scene, writing.note);
    if (writing.note) TellLostWeights(scene, writing.note);
}

Scene ReadGltfOf(std::string_view bytes, const std::string& name, const Reading& reading)
{
    return ReadGltf(bytes, name, std::nullopt, reading.gltf);
}

Scene ReadGltfFile(const std::string& path, const std::string& name, const Reading& reading)
{
    const FileBytes bytes = ReadFile(path);
    const std::string folder = path.substr(0, path.rfind('/') + 1);
    return ReadGltf(bytes.View(), name, folder, reading.gltf);
}

constexpr std::array<FileFormat, 4> kFormats{{
    {SceneFormat::Bvh, "BVH", ".bvh", false, IsBvh, ReadBvhFile, ReadBvhOf, WriteBvhTo},
    {SceneFormat::SceneFile, "scene file", ".ytalo", true, IsTalo, ReadTaloAt, ReadTaloOf, WriteTaloTo},
    {SceneFormat::Glb, "binary glTF", ".glb", false, IsGlb, ReadGltfFile, ReadGltfOf, WriteGlb},
    {SceneFormat::Gltf, "glTF", ".gltf", false, IsGltf, ReadGltfFile, ReadGltfOf, WriteGltf},
}};

/// As much of a text as tells its format. Blanks in front of it count, within reason.
constexpr std::size_t kBeginning = 4096;

const FileFormat& FormatOfContent(std::string_view beginning, const std::string& name)
{
    if (IsClip(beginning)) {
        throw Failure(fmt::format(
            "{}: is a clip, which can only be played; use the scene that it was made from", name));
    }
    const auto found = std::find_if(kFormats.begin(), kFormats.end(), [beginning](const FileFormat& format) {
        return format.recognises(beginning);
    });
    // The reader of the first format says best what is wrong with a file that is none of them.
    return found != kFormats.end() ? *found : kFormats.front();
}

/// \param ending  see `EndingOf`. Null when no format has it.
const FileFormat* FindExtension(std::string_view ending)
{
    const auto found = std::find_if(kFormats.begin(), kFormats.end(),
                                    [&](const FileFormat& format) { return ending == format.extension; });
    return found != kFormats.end() ? &*found : nullptr;
}

/// A format to write, and whether gzip packs it.
struct OutputForm
{
    const FileFormat& format;
    bool isPacked = false;
};

constexpr const char* kPackedExtension = ".gz";

/// A form by the ending of a file's name; nothing for other names.
std::optional<OutputForm> FindForm(std::filesystem::path name)
{
    const bool isPacked = EndingOf(name) == kPackedExtension;
    if (isPacked) name.replace_extension();
    const FileFormat* format = FindExtension(EndingOf(name));
    if (format == nullptr) return std::nullopt;
    return OutputForm{*format, isPacked};
}

/// What may be written besides scenes.
enum class Besides
{
    Nothing,
    Clips
};

std::string KnownExtensions(Besides besides)
{
    std::vector<std::string> known;
    for (const char* end : {"", kPackedExtension}) {
        for (const FileFormat& format : kFormats) known.push_back(std::string(format.extension) + end);
    }
    if (besides == Besides::Clips) known.emplace_back(kClipExtension);
    return fmt::format("{}", fmt::join(known, " or "));
}

OutputForm FormOfPath(const std::string& path, Besides besides)
{
    if (const std::optional<OutputForm> form = FindForm(path)) return *form;
    throw Failure(fmt::format("{}: the name does not say which format to write; let it end in {}",
                              Printable(path), KnownExtensions(besides)),
                  kExitUsage);
}

const FileFormat& Find(SceneFormat wanted)
{
    return *std::find_if(kFormats.begin(), kFormats.end(),
                         [&](const FileFormat& format) { return wanted == format.format; });
}

FormatFacts FactsOf(const FileFormat& format)
{
    return {format.name, format.extension + 1, format.holdsLayers};
}

OutputForm FormToWrite(const Scene& scene, const std::string& path, Besides besides = Besides::Nothing)
{
    if (path == "-") return {Find(scene.format)};
    return FormOfPath(path, besides);
}

/// The form to write a scene with layers in.
OutputForm LayeredForm(const Scene& scene, const std::string& path, bool sameFile)
{
    const OutputForm form =
        sameFile ? OutputForm{Find(scene.format), scene.isPacked && path != "-"} : FormToWrite(scene, path);
    if (form.format.holdsLayers) return form;
    throw Failure(fmt::format("{}: {} files have no layers; write a scene file with -o OUT.ytalo",
                              InputName(path), form.format.name));
}

void Write(const Scene& scene, Output& out, const OutputForm& form, const GltfWriting& writing)
{
    if (!form.isPacked) {
        form.format.write(scene, out, writing);
        return;
    }
    GzipOutput packed(out);
    form.format.write(scene, packed, writing);
    packed.Finish();
}

void Write(const Scene& scene, const std::string& path, const OutputForm& form, const NoteTaker& note,
           const GltfWriting& writing = {})
{
    GltfWriting told = writing;
    told.note = note;
    OutputFile out(path, note);
    Write(scene, out, form, told);
    out.Commit();
}

/// A form by the extension of its files, without the point.
OutputForm FormCalled(const std::string& extension, Besides besides = Besides::Nothing)
{
    if (const std::optional<OutputForm> form = FindForm("a." + extension)) return *form;
    throw Failure(
        fmt::format("{} is no format to write; choose {}", Quoted(extension), KnownExtensions(besides)),
        kExitUsage);
}

/// Adds the name and the format of its file to a scene that was read. Notes that an animation was asked for where the
/// format has none to choose from.
Scene FromFile(Scene scene, const FileFormat& format, const std::string& name, const Reading& reading)
{
    scene.file = name;
    scene.format = format.format;
    if (!IsGltf(format.format) && !reading.gltf.animation.empty() && reading.gltf.note) {
        reading.gltf.note(
            fmt::format("{}: has no animations to choose from, as it is no glTF file; {} is not looked for",
                        name, Quoted(reading.gltf.animation)));
    }
    return scene;
}

Scene ReadUnpacked(std::string_view text, const std::string& name, const Reading& reading)
{
    const FileFormat& format = FormatOfContent(text.substr(0, kBeginning), name);
    return FromFile(format.readText(text, name, reading), format, name, reading);
}

Scene ReadText(std::string_view text, const std::string& name, const Reading& reading)
{
    if (IsGzip(text)) {
        const FileBytes unpacked = Unpacked(text, name);
        Scene scene = ReadUnpacked(unpacked.View(), name, reading);
        scene.isPacked = true;
        return scene;
    }
    return ReadUnpacked(text, name, reading);
}

/// The same of a file or standard input.
Scene Read(const std::string& path, const Reading& reading)
{
    const std::string name = InputName(path);
    const std::optional<std::string> beginning = BeginningOf(path, kBeginning);
    if (!beginning || path == "-" || IsGzip(*beginning))
        return ReadText(ReadFile(path).View(), name, reading);
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (!error) CheckSize(name, size);
    const FileFormat& format = FormatOfContent(*beginning, name);
    return FromFile(format.readFile(path, name, reading), format, name, reading);
}

}  // namespace

Scene ReadScene(const std::string& path, const GltfReading& reading)
{
    return Read(path, {reading});
}

Scene ReadSceneText(std::string_view text, const std::string& name, const GltfReading& reading)
{
    CheckSize(name, text.size());
    return ReadText(text, name, {reading});
}

Scene ReadSceneToCheck(const std::string& path, FileAge& age, const GltfReading& reading)
{
    return Read(path, {reading, &age});
}

Scene ReadTextToCheck(std::string_view text, const std::string& name, FileAge& age,
                      const GltfReading& reading)
{
    CheckSize(name, text.size());
    return ReadText(text, name, {reading, &age});
}

bool HasNameOfScene(const std::filesystem::path& name)
{
    return FindForm(name).has_value();
}

std::string KnownExtensions()
{
    return KnownExtensions(Besides::Nothing);
}

const char* FormatName(SceneFormat format)
{
    return Find(format).name;
}

FormatFacts FactsOf(SceneFormat format)
{
    return FactsOf(Find(format));
}

std::vector<FormatFacts> KnownFormats()
{
    std::vector<FormatFacts> known;
    for (const FileFormat& format : kFormats) known.push_back(FactsOf(format));
    return known;
}

std::string LeftOutText(const LeftOut& leftOut)
{
    const char* what = leftOut.count == 1 ? leftOut.one : leftOut.several;
    if (!IsDamage(leftOut)) return fmt::format("{} {}", GroupedText(leftOut.count), what);
    return fmt::format("{} {}, {}in line {}", GroupedText(leftOut.count), what,
                       leftOut.count == 1 ? "" : "the first ", leftOut.line);
}

bool IsDamage(const LeftOut& leftOut)
{
    return leftOut.line > 0;
}

std::string LeftOutText(const Scene& scene)
{
    std::string text;
    for (const LeftOut& each : scene.leftOut) text += (text.empty() ? "" : "; ") + LeftOutText(each);
    return text;
}

bool WouldLoseLeftOut(const Scene& scene, const std::string& input, const std::string& output)
{
    return !scene.leftOut.empty() && output != "-" && IsSameFile(input, output);
}

void CheckWhole(const Scene& scene, const std::string& input, const std::string& output, bool repair,
                const char* advice)
{
    if (repair || !WouldLoseLeftOut(scene, input, output)) return;
    const bool damaged = std::any_of(scene.leftOut.begin(), scene.leftOut.end(), IsDamage);
    throw Failure(fmt::format("{}: {}, and what was left out would be lost for good; {}", scene.file,
                              damaged ? "is damaged" : "has more than is read of it", advice));
}

std::optional<SceneFormat> FormatToWrite(const std::string& path, const std::string& extension)
{
    const std::optional<OutputForm> form = FindForm(extension.empty() ? path : "a." + extension);
    return form ? std::optional(form->format.format) : std::nullopt;
}

void WriteScene(const Scene& scene, const std::string& path, const std::string& extension,
                const NoteTaker& note, const GltfWriting& writing)
{
    Write(scene, path, extension.empty() ? FormToWrite(scene, path) : FormCalled(extension), note, writing);
}

std::string SceneText(const Scene& scene, const std::string& extension, const GltfWriting& writing)
{
    OutputText out;
    Write(scene, out, extension.empty() ? OutputForm{Find(scene.format)} : FormCalled(extension), writing);
    return out.Take();
}

void WriteSceneOrClip(const Scene& scene, const std::string& path, const std::string& extension,
                      const NoteTaker& note, const GltfWriting& writing)
{
    if (IsClipName(path, extension)) return WriteClip(scene, path, note);
    const bool isByName = extension.empty();
    Write(scene, path,
          isByName ? FormToWrite(scene, path, Besides::Clips) : FormCalled(extension, Besides::Clips), note,
          writing);
}

std::string SceneOrClipText(const Scene& scene, const std::string& extension, const GltfWriting& writing)
{
    if (IsClipName({}, extension)) return ClipText(scene);
    OutputText out;
    Write(scene, out,
          extension.empty() ? OutputForm{Find(scene.format)} : FormCalled(extension, Besides::Clips),
          writing);
    return out.Take();
}

void WriteLayeredScene(const Scene& scene, const std::string& path, bool sameFile, const NoteTaker& note)
{
    Write(scene, path, LayeredForm(scene, path, sameFile), note);
}

void CheckHoldsLayers(const Scene& scene, const std::string& path, bool sameFile)
{
    LayeredForm(scene, path, sameFile);
}

}  // namespace ymotion
