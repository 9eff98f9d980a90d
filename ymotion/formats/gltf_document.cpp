#include "ymotion/formats/gltf_document.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <set>

#include <fmt/format.h>

#include "ybaselib/yrotation.h"
#include "ymotion/formats/bvh.h"
#include "ymotion/formats/gltf.h"
#include "ymotion/formats/gltf_buffers.h"
#include "ymotion/formats/json_text.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

using Json = GltfJson::Json;

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr const char* kAgain = "export the file again";

/// A binary file taken apart; of a text file all of it.
struct Parts
{
    std::string_view json;
    std::string_view binary;
};

std::uint32_t WordAt(std::string_view bytes, std::size_t offset)
{
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data() + offset, sizeof word);
    return word;
}

/// Takes a chunk from the front of a binary file.
std::string_view TakeChunk(std::string_view& bytes, std::uint32_t kind, const std::string& name)
{
    constexpr std::size_t kHeader = 8;
    const bool whole = bytes.size() >= kHeader && WordAt(bytes, 0) <= bytes.size() - kHeader;
    if (!whole || WordAt(bytes, 4) != kind)
        throw Failure(
            fmt::format("{}: the parts of the file do not fit into it; it is truncated or damaged", name));
    const std::string_view chunk = bytes.substr(kHeader, WordAt(bytes, 0));
    bytes.remove_prefix(kHeader + chunk.size());
    return chunk;
}

Parts Split(std::string_view bytes, const std::string& name)
{
    constexpr std::size_t kHeader = 12;
    constexpr std::uint32_t kJson = 0x4E4F534A;
    constexpr std::uint32_t kBinary = 0x004E4942;
    if (!IsGlb(bytes)) return {bytes, {}};
    if (bytes.size() < kHeader)
        throw Failure(fmt::format("{}: the file ends in its header; it is truncated", name));
    if (WordAt(bytes, 4) != 2) {
        throw Failure(fmt::format("{}: is binary glTF of version {}, but 2 is read; convert it first", name,
                                  WordAt(bytes, 4)));
    }
    bytes.remove_prefix(kHeader);
    Parts parts;
    parts.json = TakeChunk(bytes, kJson, name);
    const bool more = bytes.size() >= 8 && WordAt(bytes, 4) == kBinary;
    if (more) parts.binary = TakeChunk(bytes, kBinary, name);
    return parts;
}

std::size_t PathLength(GltfPath path)
{
    return path == GltfPath::Rotation ? 4 : 3;
}

class DocumentReader
{
  public:
    DocumentReader(const GltfJson& json, GltfBuffers& buffers) : mJson(json), mBuffers(buffers) {}

    GltfDocument Read(const std::string& animation);

  private:
    struct Channel
    {
        std::size_t node;
        GltfPath path;
        std::size_t sampler;
    };

    void CheckVersion() const;
    void ReadNode(const Json& json, std::size_t index);
    void ReadMatrix(GltfNode& node, const Json& json, const std::string& where);
    void CheckTree() const;
    void ReadSkins();
    const Json* FindLights(const Json& json) const;
    std::size_t Choose(const std::string& animation) const;
    std::vector<Channel> Channels(const Json& animation, const std::string& where, int& skipped) const;
    GltfTrack ReadTrack(const Json& samplers, const Channel& channel, const std::string& animation);
    void CountLeftOut(int skipped);

    const GltfJson& mJson;
    GltfBuffers& mBuffers;
    GltfDocument mDocument;
};

GltfDocument DocumentReader::Read(const std::string& animation)
{
    CheckVersion();
    const Json& nodes = mJson.List(mJson.Root(), "nodes", "the file");
    mDocument.nodes.resize(nodes.size());
    for (std::size_t i = 0; i < nodes.size(); ++i) ReadNode(nodes[i], i);
    CheckTree();
    ReadSkins();
    const Json& animations = mJson.List(mJson.Root(), "animations", "the file");
    for (std::size_t i = 0; i < animations.size(); ++i) {
        mDocument.animations.push_back(mJson.Text(animations[i], "name", fmt::format("animations[{}]", i)));
    }
    mDocument.taken = Choose(animation);
    int skipped = 0;
    for (std::size_t i = 0; i < animations.size(); ++i) {
        const std::string where = fmt::format("animations[{}]", i);
        int ignored = 0;
        const bool taken = i == mDocument.taken;
        const Json& samplers = mJson.List(animations[i], "samplers", where);
        for (const Channel& channel : Channels(animations[i], where, taken ? skipped : ignored)) {
            mDocument.nodes[channel.node].animated = true;
            if (taken) mDocument.tracks.push_back(ReadTrack(samplers, channel, where));
        }
        if (!taken) continue;
        if (const Json* extras = mJson.Find(animations[i], "extras")) {
            const Json* rate = mJson.Find(*extras, "frameRate");
            if (rate != nullptr && rate->is_string()) mDocument.rate = ParseRate(rate->get<std::string>());
        }
    }
    CountLeftOut(skipped);
    return std::move(mDocument);
}

void DocumentReader::CheckVersion() const
{
    const Json* asset = mJson.Find(mJson.Root(), "asset");
    if (asset == nullptr) {
        throw Failure(
            fmt::format("{}: is JSON, but no glTF: it has no asset; give a motion file", mJson.File()));
    }
    const std::string version = mJson.Text(*asset, "version", "asset");
    if (version.starts_with("2.")) return;
    throw Failure(fmt::format("{}: is glTF of version {}, but 2.0 is read; convert it first", mJson.File(),
                              Quoted(version)));
}

void DocumentReader::ReadNode(const Json& json, std::size_t index)
{
    const std::string where = fmt::format("nodes[{}]", index);
    GltfNode& node = mDocument.nodes[index];
    // Names end at a zero, as everywhere in the library.
    const std::string name = mJson.Text(json, "name", where);
    node.name.assign(name, 0, name.find('\0'));
    for (const Json& child : mJson.List(json, "children", where)) {
        const std::size_t childIndex = mJson.IndexOf(child, "nodes", where + ".children");
        GltfNode& childNode = mDocument.nodes[childIndex];
        if (childNode.parent >= 0) {
            mJson.Fail(where, fmt::format("its child {} is a child of nodes[{}] already; {}", childIndex,
                                          childNode.parent, kAgain));
        }
        childNode.parent = static_cast<int>(index);
        node.children.push_back(static_cast<int>(childIndex));
    }
    const auto read = [&](const char* member, auto& numbers) {
        if (mJson.Find(json, member) == nullptr) return;
        const std::vector<double> values = mJson.Numbers(json, member, numbers.size(), where);
        std::copy(values.begin(), values.end(), numbers.begin());
    };
    if (mJson.Find(json, "matrix") != nullptr) ReadMatrix(node, json, where);
    read("translation", node.translation);
    read("rotation", node.rotation);
    read("scale", node.scale);
    const auto& r = node.rotation;
    const YgeQuaternion unit = YgeQuaternion(r[0], r[1], r[2], r[3]).GetNormalized();
    node.rotation = {unit.x, unit.y, unit.z, unit.w};
    if (const Json* extras = mJson.Find(json, "extras")) {
        const Json* endSite = mJson.Find(*extras, "endSite");
        node.endSite = endSite != nullptr && endSite->is_boolean() && endSite->get<bool>();
    }
    node.isThing = mJson.Find(json, "mesh") != nullptr || mJson.Find(json, "camera") != nullptr ||
                   FindLights(json) != nullptr;
    // Joints need a name.
    if (node.name.empty() && !node.endSite) node.name = fmt::format("node{}", index);
}

/// Takes a matrix apart, whose columns are turned and scaled axes, and the translation.
void DocumentReader::ReadMatrix(GltfNode& node, const Json& json, const std::string& where)
{
    constexpr double kSmallShear = 1e-4;
    const std::vector<double> m = mJson.Numbers(json, "matrix", 16, where);
    YgeMatrix turn;
    const auto dot = [&turn](int a, int b) {
        return turn(0, a) * turn(0, b) + turn(1, a) * turn(1, b) + turn(2, a) * turn(2, b);
    };
    for (int column = 0; column < 3; ++column) {
        const double* axis = &m[4 * static_cast<std::size_t>(column)];
        const double length = std::hypot(axis[0], axis[1], axis[2]);
        node.scale[static_cast<std::size_t>(column)] = length;
        for (int row = 0; row < 3; ++row) turn(row, column) = length > 0 ? axis[row] / length : row == column;
    }
    const double side = turn(0, 0) * (turn(1, 1) * turn(2, 2) - turn(2, 1) * turn(1, 2)) -
                        turn(1, 0) * (turn(0, 1) * turn(2, 2) - turn(2, 1) * turn(0, 2)) +
                        turn(2, 0) * (turn(0, 1) * turn(1, 2) - turn(1, 1) * turn(0, 2));
    if (side < 0) {
        node.scale[0] = -node.scale[0];
        for (int row = 0; row < 3; ++row) turn(row, 0) = -turn(row, 0);
    }
    const double shear = std::max({std::abs(dot(0, 1)), std::abs(dot(0, 2)), std::abs(dot(1, 2))});
    if (shear > kSmallShear) mDocument.shearedNodes.push_back(node.name);
    const YgeQuaternion q(turn);
    node.rotation = {q.x, q.y, q.z, q.w};
    node.translation = {m[12], m[13], m[14]};
}

/// Every node has to be below a root, and no deeper than joints may be.
void DocumentReader::CheckTree() const
{
    std::vector<std::pair<int, int>> open;
    for (std::size_t i = 0; i < mDocument.nodes.size(); ++i) {
        if (mDocument.nodes[i].parent < 0) open.emplace_back(static_cast<int>(i), 1);
    }
    std::size_t reached = 0;
    while (!open.empty()) {
        const auto [index, depth] = open.back();
        open.pop_back();
        ++reached;
        if (depth > kDeepestJoint) {
            mJson.Fail(fmt::format("nodes[{}]", index),
                       fmt::format("it is more than {} nodes below its root; take nodes out", kDeepestJoint));
        }
        for (const int child : mDocument.nodes[static_cast<std::size_t>(index)].children)
            open.emplace_back(child, depth + 1);
    }
    if (reached == mDocument.nodes.size()) return;
    mJson.Fail("nodes", fmt::format("some of them are below themselves; {}", kAgain));
}

void DocumentReader::ReadSkins()
{
    const Json& skins = mJson.List(mJson.Root(), "skins", "the file");
    for (std::size_t i = 0; i < skins.size(); ++i) {
        const std::string where = fmt::format("skins[{}]", i);
        for (const Json& joint : mJson.List(skins[i], "joints", where)) {
            mDocument.nodes[mJson.IndexOf(joint, "nodes", where + ".joints")].isJoint = true;
        }
    }
}

/// What the extension for lights says of a node, or of the whole file; null where it says nothing.
const Json* DocumentReader::FindLights(const Json& json) const
{
    const Json* extensions = mJson.Find(json, "extensions");
    return extensions == nullptr ? nullptr : mJson.Find(*extensions, "KHR_lights_punctual");
}

std::size_t DocumentReader::Choose(const std::string& animation) const
{
    const std::vector<std::string>& names = mDocument.animations;
    if (animation.empty()) return 0;
    const auto found = std::find(names.begin(), names.end(), animation);
    if (found != names.end()) return static_cast<std::size_t>(found - names.begin());
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (animation == AnimationName(names, i)) return i;
    }
    std::size_t number = 0;
    const char* end = animation.data() + animation.size();
    const auto [stop, error] = std::from_chars(animation.data(), end, number);
    if (error == std::errc() && stop == end && number >= 1 && number <= names.size()) return number - 1;
    throw Failure(fmt::format("{}: has no animation {}; 'yfcurve info' lists the {} that it has",
                              mJson.File(), Quoted(animation), names.size()));
}

/// The channels of an animation that a scene has curves for, one for each property of a node.
std::vector<DocumentReader::Channel> DocumentReader::Channels(const Json& animation, const std::string& where,
                                                              int& skipped) const
{
    const Json& list = mJson.List(animation, "channels", where);
    std::set<std::pair<std::size_t, GltfPath>> known;
    std::vector<Channel> channels;
    for (std::size_t i = 0; i < list.size(); ++i) {
        const std::string place = fmt::format("{}.channels[{}]", where, i);
        const Json* target = mJson.Find(list[i], "target");
        if (target == nullptr) mJson.Fail(place, fmt::format("there is no target; {}", kAgain));
        const auto node = mJson.FindIndex(*target, "node", "nodes", place);
        const std::string path = mJson.Text(*target, "path", place);
        Channel channel{node.value_or(0), GltfPath::Translation, mJson.Number(list[i], "sampler", place)};
        if (path == "rotation") channel.path = GltfPath::Rotation;
        if (path == "scale") channel.path = GltfPath::Scale;
        const bool understood = path == "translation" || path == "rotation" || path == "scale";
        if (node && understood && known.emplace(*node, channel.path).second) {
            channels.push_back(channel);
        } else {
            ++skipped;
        }
    }
    return channels;
}

GltfTrack DocumentReader::ReadTrack(const Json& samplers, const Channel& channel,
                                    const std::string& animation)
{
    const std::string where = fmt::format("{}.samplers[{}]", animation, channel.sampler);
    if (channel.sampler >= samplers.size())
        mJson.Fail(where, fmt::format("there is no such sampler, but a channel takes it; {}", kAgain));
    const Json& sampler = samplers[channel.sampler];
    GltfTrack track;
    track.node = static_cast<int>(channel.node);
    track.path = channel.path;
    const std::string interpolation = mJson.Text(sampler, "interpolation", where);
    if (interpolation == "STEP") track.interpolation = GltfInterpolation::Step;
    if (interpolation == "CUBICSPLINE") track.interpolation = GltfInterpolation::CubicSpline;
    if (!interpolation.empty() && interpolation != "LINEAR" &&
        track.interpolation == GltfInterpolation::Linear) {
        mJson.Fail(where, fmt::format("interpolation {} is not known; choose STEP, LINEAR or CUBICSPLINE",
                                      Quoted(interpolation)));
    }
    const std::size_t input = mJson.Index(sampler, "input", "accessors", where);
    const std::size_t output = mJson.Index(sampler, "output", "accessors", where);
    const std::size_t keys = mBuffers.CountOf(input);
    const std::size_t values = track.IsCubic() ? 3 * keys : keys;
    if (keys == 0 || mBuffers.CountOf(output) != values) {
        mJson.Fail(where, fmt::format("it has {} keys and {} values, but needs {}; {}", keys,
                                      mBuffers.CountOf(output),
                                      keys == 0 ? "a key" : fmt::format("{}", values), kAgain));
    }
    track.times = mBuffers.Read(input, "SCALAR");
    track.values = mBuffers.Read(output, PathLength(track.path) == 4 ? "VEC4" : "VEC3");
    for (std::size_t i = 0; i < keys; ++i) {
        const float time = track.times[i];
        if (std::abs(time) <= kMostSeconds && (i == 0 || time > track.times[i - 1])) continue;
        mJson.Fail(where,
                   fmt::format("key {} of {} is at {} s, which is not after the key before it, or beyond all "
                               "range; {}",
                               i + 1, keys, time, kAgain));
    }
    return track;
}

void DocumentReader::CountLeftOut(int skipped)
{
    const auto add = [this](std::size_t count, const char* one, const char* several) {
        if (count > 0) mDocument.leftOut.push_back({static_cast<int>(count), one, several, 0});
    };
    add(static_cast<std::size_t>(skipped), "animation channel left out", "animation channels left out");
    if (mDocument.animations.size() > 1) {
        add(mDocument.animations.size() - 1, "other animation left out", "other animations left out");
    }
    const Json* asset = mJson.Find(mJson.Root(), "asset");
    // The bones that this program adds to look at are made anew.
    if (mJson.Text(*asset, "generator", "asset").starts_with("yfcurve ")) return;
    add(mJson.List(mJson.Root(), "meshes", "the file").size(), "mesh left out", "meshes left out");
    add(mJson.List(mJson.Root(), "cameras", "the file").size(), "camera left out", "cameras left out");
    if (const Json* lights = FindLights(mJson.Root()))
        add(mJson.List(*lights, "lights", "extensions").size(), "light left out", "lights left out");
}

}  // namespace

bool IsGlb(std::string_view beginning)
{
    return beginning.starts_with("glTF");
}

bool IsGltf(std::string_view beginning)
{
    if (beginning.starts_with(kByteOrderMark)) beginning.remove_prefix(kByteOrderMark.size());
    const std::size_t first = beginning.find_first_not_of(" \t\r\n");
    return first != std::string_view::npos && beginning[first] == '{';
}

std::string AnimationName(const std::vector<std::string>& names, std::size_t index)
{
    return names[index].empty() ? fmt::format("animation {}", index + 1) : Printable(names[index]);
}

GltfDocument ParseGltf(std::string_view bytes, const std::string& name,
                       const std::optional<std::string>& folder, const std::string& animation)
{
    const Parts parts = Split(bytes, name);
    const GltfJson json(
        ParseJson(parts.json, name, "the JSON text is not whole here; the file is truncated or damaged",
                  kAgain),
        name);
    GltfBuffers buffers(json, parts.binary, folder, bytes.size());
    return DocumentReader(json, buffers).Read(animation);
}

}  // namespace ymotion
