#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <optional>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "ybaselib/rotation/degrees.h"
#include "ymotion/formats/file_io.h"
#include "ymotion/formats/gltf.h"
#include "ymotion/formats/gltf_bones.h"
#include "ymotion/formats/gltf_fit.h"
#include "ymotion/scene/node_walk.h"
#include "ymotion/scene/placement.h"
#include "ymotion/scene/playback.h"
#include "ymotion/scene/scene_copy.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kUnsignedShort = 5123;
constexpr int kFloat = 5126;
constexpr int kVertices = 34962;
constexpr int kCorners = 34963;

/// The three curves of a property as they play, or what stands for them.
class PlayedVector
{
  public:
    /// \param joint  for translations, which stay at its offset along axes where they do not count.
    PlayedVector(YFCurveNode& property, const Joint* joint)
    {
        std::vector<SelectedCurve> curves;
        for (int i = 0; i < 3; ++i)
            curves.push_back({property.Get(i)->FCurveGet(), property.Get(i), &property});
        mCurves = PlayedCurves(curves);
        for (std::size_t i = 0; joint != nullptr && i < 3; ++i) {
            if (!PlacesAlong(*joint, property, static_cast<Axis>(i))) mFixed[i] = joint->offset[i];
        }
    }

    GltfValue At(YTime time)
    {
        GltfValue values{};
        for (std::size_t i = 0; i < 3; ++i) values[i] = double{mFixed[i] ? *mFixed[i] : mCurves[i].At(time)};
        return values;
    }

  private:
    std::vector<PlayedCurve> mCurves;
    std::array<std::optional<float>, 3> mFixed;
};

GltfValue ToValue(const YgeQuaternion& q)
{
    return {q.x, q.y, q.z, q.w};
}

/// What the three curves of a property show without keys.
std::array<double, 3> RestOf(const YFCurveNode& property)
{
    std::array<double, 3> values{};
    for (int i = 0; i < 3; ++i)
        values[static_cast<std::size_t>(i)] = double{property.Get(i)->FCurveGet()->GetValue()};
    return values;
}

YgeQuaternion OrientationOf(const YFCurveNode& property, const GltfValue& angles)
{
    return YgeQuaternion(YgeRVector(angles[0], angles[1], angles[2]),
                         static_cast<eRotationOrder>(property.GetRotationOrder()));
}

struct Rest
{
    YgeVector translation;
    YgeQuaternion rotation;
    YgeVector scale{1, 1, 1};

    Placement Place() const { return Placement::Of(translation, rotation, scale); }
    GltfValue Of(GltfPath path) const
    {
        if (path == GltfPath::Rotation) return ToValue(rotation);
        const YgeVector& vector = path == GltfPath::Scale ? scale : translation;
        return {vector.x, vector.y, vector.z, 0};
    }
};

class Writer
{
  public:
    Writer(const Scene& scene, const GltfWriting& writing) : mScene(scene), mWriting(writing) {}

    /// The JSON without its buffer, and the buffer.
    void Make();
    std::string Text(const std::string& uri);
    const std::string& Buffer() const { return mBuffer; }

  private:
    void CheckFits() const;
    void AddNodes();
    Rest RestOfJoint(std::size_t index) const;
    void AddSkins();
    void AddMesh(const std::vector<int>& members);
    void AddAnimation();
    void AddProperty(std::size_t joint, YFCurveNode* property, GltfPath path);
    double ToleranceOf(const YFCurveNode& property, GltfPath path) const;
    std::vector<YTime> FramesOf(const std::vector<YTime>& jumps) const;
    int TimesAccessor(const std::vector<float>& times);
    void AddSampler(std::size_t joint, const GltfKeys& keys, GltfPath path);
    float SecondsOf(YTime time) const { return static_cast<float>((time - mOrigin).GetSecondDouble()); }
    int AddView(const void* bytes, std::size_t size, int target);
    int AddAccessor(const void* bytes, std::size_t size, std::size_t count, int component, const char* type,
                    int target = 0);
    [[noreturn]] void Fail(const std::string& message) const
    {
        throw Failure(fmt::format("{}: {}", mScene.file, message));
    }

    const Scene& mScene;
    const GltfWriting& mWriting;
    Json mJson;
    Json mAnimation;
    std::string mBuffer;
    std::map<std::vector<float>, int> mTimes;  // accessors of key times
    std::vector<Placement> mPlaces;            // of joints at rest
    std::optional<TimeSpan> mSpan;
    YTime mOrigin;      // time 0 of the file
    double mReach = 0;  // from a root to the joint that is farthest along the bones
    std::size_t mKeysBefore = 0;
    std::size_t mKeysAfter = 0;
};

void Writer::CheckFits() const
{
    constexpr std::size_t kMostJoints = 65535;
    if (!mScene.HasSkeleton())
        Fail("has no skeleton, without which there is no glTF file; write a scene file (.ytalo) instead");
    if (mScene.skeleton.joints.size() > kMostJoints)
        Fail(fmt::format(
            "has more than {} joints, the most that a skin has; write a scene file (.ytalo) instead",
            kMostJoints));
}

Rest Writer::RestOfJoint(std::size_t index) const
{
    const Joint& joint = mScene.skeleton.joints[index];
    Rest rest;
    rest.translation = {double{joint.offset[0]}, double{joint.offset[1]}, double{joint.offset[2]}};
    const YFCurveNode* node = mScene.jointNodes[index];
    if (node == nullptr) return rest;
    if (const YFCurveNode* property = PropertyOf(*node, ChannelKind::Rotation)) {
        const std::array<double, 3> angles = RestOf(*property);
        rest.rotation = OrientationOf(*property, {angles[0], angles[1], angles[2], 0});
    }
    if (const YFCurveNode* property = node->Find(YDataType::Get(eDataType::LocalScaling))) {
        const std::array<double, 3> factors = RestOf(*property);
        rest.scale = {factors[0], factors[1], factors[2]};
    }
    return rest;
}

float Single(double value)
{
    return static_cast<float>(value);
}

void Writer::AddNodes()
{
    Json nodes = Json::array();
    Json roots = Json::array();
    std::vector<double> reach(mScene.skeleton.joints.size(), 0.0);
    for (std::size_t i = 0; i < mScene.skeleton.joints.size(); ++i) {
        const Joint& joint = mScene.skeleton.joints[i];
        const Rest rest = RestOfJoint(i);
        Json node = {{"name", joint.name}};
        const auto& [x, y, z] = rest.translation;
        if (x != 0 || y != 0 || z != 0) node["translation"] = {x, y, z};
        const YgeQuaternion& q = rest.rotation;
        if (q.x != 0 || q.y != 0 || q.z != 0)
            node["rotation"] = {Single(q.x), Single(q.y), Single(q.z), Single(q.w)};
        const YgeVector& s = rest.scale;
        if (s.x != 1 || s.y != 1 || s.z != 1) node["scale"] = {s.x, s.y, s.z};
        if (joint.endSite) node["extras"] = {{"endSite", true}};
        if (joint.name.empty()) node.erase("name");
        if (joint.parent < 0) {
            roots.push_back(i);
            mPlaces.push_back(rest.Place());
        } else {
            const auto parent = static_cast<std::size_t>(joint.parent);
            nodes[parent]["children"].push_back(i);
            mPlaces.push_back(mPlaces[parent] * rest.Place());
            reach[i] = reach[parent] + std::hypot(x, y, z);
            mReach = std::max(mReach, reach[i]);
        }
        nodes.push_back(std::move(node));
    }
    mJson["scene"] = 0;
    mJson["scenes"] = Json::array({{{"nodes", std::move(roots)}}});
    mJson["nodes"] = std::move(nodes);
}

int Writer::AddView(const void* bytes, std::size_t size, int target)
{
    mBuffer.append((4 - mBuffer.size() % 4) % 4, '\0');
    Json view = {{"buffer", 0}, {"byteOffset", mBuffer.size()}, {"byteLength", size}};
    if (target != 0) view["target"] = target;
    mBuffer.append(static_cast<const char*>(bytes), size);
    if (mBuffer.size() > std::numeric_limits<std::uint32_t>::max() / 2)
        Fail(
            "is too long for a glTF file; give a larger --tolerance, or write a scene file (.ytalo) instead");
    mJson["bufferViews"].push_back(std::move(view));
    return static_cast<int>(mJson["bufferViews"].size()) - 1;
}

int Writer::AddAccessor(const void* bytes, std::size_t size, std::size_t count, int component,
                        const char* type, int target)
{
    const int view = AddView(bytes, size, target);
    mJson["accessors"].push_back(
        {{"bufferView", view}, {"componentType", component}, {"count", count}, {"type", type}});
    return static_cast<int>(mJson["accessors"].size()) - 1;
}

/// A skin for each root: the joints of one have to hang together.
void Writer::AddSkins()
{
    const std::vector<Joint>& joints = mScene.skeleton.joints;
    for (std::size_t i = 0; i < joints.size();) {
        std::vector<int> members;
        std::vector<float> matrices;
        do {
            const Placement reverse = mPlaces[i].Reversed();
            for (const YgeVector& axis : reverse.axes)
                matrices.insert(matrices.end(), {Single(axis.x), Single(axis.y), Single(axis.z), 0.0f});
            const YgeVector& o = reverse.origin;
            matrices.insert(matrices.end(), {Single(o.x), Single(o.y), Single(o.z), 1.0f});
            members.push_back(static_cast<int>(i));
            ++i;
        } while (i < joints.size() && joints[i].parent >= 0);
        const int accessor =
            AddAccessor(matrices.data(), matrices.size() * sizeof(float), members.size(), kFloat, "MAT4");
        mJson["skins"].push_back({{"inverseBindMatrices", accessor}, {"joints", members}});
        if (mWriting.mesh) AddMesh(members);
    }
}

void Writer::AddMesh(const std::vector<int>& members)
{
    BoneMesh mesh;
    for (const int member : members) {
        const auto index = static_cast<std::size_t>(member);
        const int parent = mScene.skeleton.joints[index].parent;
        if (parent < 0) continue;
        AddBone(mesh, static_cast<std::uint16_t>(parent - members.front()),
                mPlaces[static_cast<std::size_t>(parent)].origin, mPlaces[index].origin);
    }
    if (mesh.points.empty()) return;
    std::vector<std::array<std::uint16_t, 4>> joints;
    for (const std::uint16_t joint : mesh.joints) joints.push_back({joint, 0, 0, 0});
    const std::vector<std::array<float, 4>> weights(joints.size(), {1, 0, 0, 0});
    const std::size_t count = mesh.points.size();
    Json primitive;
    const int points = AddAccessor(mesh.points.data(), count * 12, count, kFloat, "VEC3", kVertices);
    Json& accessor = mJson["accessors"].back();
    for (std::size_t axis = 0; axis < 3; ++axis) {
        const auto less = [axis](const auto& a, const auto& b) { return a[axis] < b[axis]; };
        const auto [least, most] = std::minmax_element(mesh.points.begin(), mesh.points.end(), less);
        accessor["min"].push_back((*least)[axis]);
        accessor["max"].push_back((*most)[axis]);
    }
    primitive["attributes"] = {
        {"POSITION", points},
        {"JOINTS_0", AddAccessor(joints.data(), count * 8, count, kUnsignedShort, "VEC4", kVertices)},
        {"WEIGHTS_0", AddAccessor(weights.data(), count * 16, count, kFloat, "VEC4", kVertices)}};
    primitive["indices"] = AddAccessor(mesh.corners.data(), mesh.corners.size() * 2, mesh.corners.size(),
                                       kUnsignedShort, "SCALAR", kCorners);
    mJson["meshes"].push_back({{"name", "bones"}, {"primitives", Json::array({std::move(primitive)})}});
    mJson["scenes"][0]["nodes"].push_back(mJson["nodes"].size());
    mJson["nodes"].push_back(
        {{"name", "bones"}, {"mesh", mJson["meshes"].size() - 1}, {"skin", mJson["skins"].size() - 1}});
}

/// The frames of the scene, and the key times of a property between them.
/// \param jumps  the key times; those that are too near to a frame for single precision are dropped.
std::vector<YTime> Writer::FramesOf(const std::vector<YTime>& jumps) const
{
    constexpr int kApart = 8;
    std::vector<YTime> frames;
    const std::int64_t count = FrameCount(mSpan, mScene.rate);
    const auto isApart = [this](YTime a, YTime b) {
        const float last = SecondsOf(b);
        return last - SecondsOf(a) >= kApart * (std::nextafter(last, INFINITY) - last);
    };
    std::size_t next = 0;
    const auto addKeysBefore = [&](YTime frame) {
        for (; next < jumps.size() && jumps[next] < frame; ++next) {
            const bool fits =
                !frames.empty() && isApart(frames.back(), jumps[next]) && isApart(jumps[next], frame);
            if (fits) frames.push_back(jumps[next]);
        }
    };
    for (std::int64_t i = 0; i < count; ++i) {
        const YTime frame = TimeOfFrame(mSpan->start, i, mScene.rate);
        if (!mWriting.sampled) addKeysBefore(frame);
        if (!frames.empty() && !(SecondsOf(frames.back()) < SecondsOf(frame)))
            Fail("has frames too near to each other for the times of glTF files; choose a lower --rate");
        frames.push_back(frame);
    }
    if (!mWriting.sampled) addKeysBefore(mSpan->stop);
    if (isApart(frames.back(), mSpan->stop)) frames.push_back(mSpan->stop);
    return frames;
}

/// How far the values of a property may be off. The tolerance is an angle; for translations it counts as the distance
/// by which it moves the end of the longest chain of bones or, where bones have no length, as the same part of the
/// property's own range.
double Writer::ToleranceOf(const YFCurveNode& property, GltfPath path) const
{
    constexpr double kRadians = ybase::kRadiansPerDegree;
    if (path == GltfPath::Rotation) return mWriting.tolerance;
    if (path == GltfPath::Scale) return mWriting.tolerance * kRadians;
    double size = mReach;
    for (int i = 0; mReach <= 0 && i < 3; ++i) {
        const std::optional<ValueRange> range = KeyRange(*property.Get(i)->FCurveGet());
        if (range) size = std::max(size, double{range->greatest} - double{range->least});
    }
    return mWriting.tolerance * kRadians * size;
}

void Writer::AddProperty(std::size_t joint, YFCurveNode* property, GltfPath path)
{
    if (property == nullptr || property->GetCount() != 3) return;
    GltfMotion motion;
    motion.path = path;
    motion.jumps = KeyTimesOf(*property);
    StopIfAsked();
    motion.frames =
        motion.jumps.empty() ? std::vector<YTime>{mSpan->start, mSpan->stop} : FramesOf(motion.jumps);
    motion.tolerance = ToleranceOf(*property, path);
    const bool translates = path == GltfPath::Translation;
    PlayedVector played(*property, translates ? &mScene.skeleton.joints[joint] : nullptr);
    motion.at = [&](YTime time) {
        const GltfValue value = played.At(time);
        if (!std::all_of(value.begin(), value.end(), [](double part) { return std::isfinite(part); })) {
            Fail(fmt::format(
                "a value at {} s is not finite, which glTF files cannot hold; 'yfcurve eval' shows "
                "which one",
                SecondsText(time)));
        }
        return path == GltfPath::Rotation ? ToValue(OrientationOf(*property, value)) : value;
    };
    if (motion.jumps.empty() && motion.at(mSpan->start) == RestOfJoint(joint).Of(path)) return;
    const GltfKeys fitted = mWriting.sampled ? SampledKeys(motion) : FittedKeys(motion);
    mKeysBefore += static_cast<std::size_t>(property->KeyGetCount(true));
    mKeysAfter += fitted.keys.size();
    AddSampler(joint, fitted, path);
}

const char* PathName(GltfPath path)
{
    switch (path) {
        case GltfPath::Translation:
            return "translation";
        case GltfPath::Rotation:
            return "rotation";
        case GltfPath::Scale:
            return "scale";
    }
    return "";
}

const char* InterpolationName(GltfInterpolation interpolation)
{
    switch (interpolation) {
        case GltfInterpolation::Step:
            return "STEP";
        case GltfInterpolation::Linear:
            return "LINEAR";
        case GltfInterpolation::CubicSpline:
            return "CUBICSPLINE";
    }
    return "";
}

/// Key times that samplers have in common, such as all frames, are written once.
int Writer::TimesAccessor(const std::vector<float>& times)
{
    const auto [known, isNew] = mTimes.emplace(times, 0);
    if (!isNew) return known->second;
    known->second = AddAccessor(times.data(), times.size() * sizeof(float), times.size(), kFloat, "SCALAR");
    mJson["accessors"].back()["min"] = {times.front()};
    mJson["accessors"].back()["max"] = {times.back()};
    return known->second;
}

void Writer::AddSampler(std::size_t joint, const GltfKeys& keys, GltfPath path)
{
    std::vector<float> times;
    std::vector<float> values;
    const std::size_t components = path == GltfPath::Rotation ? 4 : 3;
    const auto add = [&](const GltfValue& value) {
        for (std::size_t i = 0; i < components; ++i) {
            values.push_back(Single(value[i]));
            if (!std::isfinite(values.back()))
                Fail("has values or slopes too large for a glTF file; scale it down");
        }
    };
    const bool cubic = keys.interpolation == GltfInterpolation::CubicSpline;
    for (const GltfKey& key : keys.keys) {
        const float seconds = SecondsOf(key.time);
        const float time = key.before ? std::nextafter(seconds, -1.0f) : seconds;
        // Of keys that single precision cannot tell apart the first one stays.
        if (!times.empty() && time <= times.back()) continue;
        times.push_back(time);
        if (cubic) add(key.in);
        add(key.value);
        if (cubic) add(key.out);
    }
    const int input = TimesAccessor(times);
    const int output = AddAccessor(values.data(), values.size() * sizeof(float), values.size() / components,
                                   kFloat, components == 4 ? "VEC4" : "VEC3");
    mAnimation["channels"].push_back({{"sampler", mAnimation["samplers"].size()},
                                      {"target", {{"node", joint}, {"path", PathName(path)}}}});
    mAnimation["samplers"].push_back(
        {{"input", input}, {"output", output}, {"interpolation", InterpolationName(keys.interpolation)}});
}

void Writer::AddAnimation()
{
    mSpan = KeySpan(mScene).value_or(TimeSpan{});  // a pose without keys is one at time 0
    constexpr std::int64_t kMostFrames = 2'000'000;
    if (const std::int64_t frames = FrameCount(mSpan, mScene.rate); frames > kMostFrames) {
        Fail(fmt::format(
            "{} frames are more than the {} that are written to a glTF file; choose a lower --rate",
            GroupedText(frames), GroupedText(kMostFrames)));
    }
    if (mSpan->start < YTIME_ZERO) mOrigin = mSpan->start;
    mAnimation["channels"] = Json::array();
    mAnimation["samplers"] = Json::array();
    for (std::size_t i = 0; i < mScene.skeleton.joints.size(); ++i) {
        YFCurveNode* node = mScene.jointNodes[i];
        if (node == nullptr) continue;
        AddProperty(i, PropertyOf(*node, ChannelKind::Translation), GltfPath::Translation);
        AddProperty(i, PropertyOf(*node, ChannelKind::Rotation), GltfPath::Rotation);
        AddProperty(i, node->Find(YDataType::Get(eDataType::LocalScaling)), GltfPath::Scale);
    }
    if (mAnimation["channels"].empty()) return;
    const FrameRate rate = mScene.rate;
    mAnimation["extras"] = {{"frameRate", rate.denominator == 1
                                              ? fmt::format("{}", rate.numerator)
                                              : fmt::format("{}/{}", rate.numerator, rate.denominator)}};
    mJson["animations"] = Json::array({std::move(mAnimation)});
}

void Writer::Make()
{
    CheckFits();
    mJson["asset"] = {{"version", "2.0"}, {"generator", "yfcurve " YFCURVE_VERSION}};
    AddNodes();
    AddSkins();
    AddAnimation();
    mBuffer.append((4 - mBuffer.size() % 4) % 4, '\0');
    if (!mWriting.note || mKeysBefore == 0) return;
    mWriting.note(fmt::format(
        "{}: resampled, {} keys of angles and positions have become {} of whole {}", mScene.file,
        GroupedText(static_cast<long long>(mKeysBefore)), GroupedText(static_cast<long long>(mKeysAfter)),
        mWriting.sampled ? "rotations and positions, one for each frame"
                         : fmt::format("rotations and positions within {} degrees", mWriting.tolerance)));
    if (mOrigin < YTIME_ZERO) {
        mWriting.note(
            fmt::format("{}: begins at {} s, which is 0 s in the glTF file, where times are not negative",
                        mScene.file, SecondsText(mOrigin)));
    }
}

/// \param uri  where the buffer is; empty for the one in a binary file.
std::string Writer::Text(const std::string& uri)
{
    Json buffer = {{"byteLength", mBuffer.size()}};
    if (!uri.empty()) buffer["uri"] = uri;
    mJson["buffers"] = Json::array({std::move(buffer)});
    return mJson.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string Base64(std::string_view bytes)
{
    constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve(bytes.size() / 3 * 4 + 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        std::uint32_t bits = 0;
        for (std::size_t k = 0; k < 3; ++k)
            bits = bits << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0u);
        for (std::size_t k = 0; k < 4; ++k) text += k <= count ? digits[bits >> (18 - 6 * k) & 63] : '=';
    }
    return text;
}

std::string Word(std::size_t number)
{
    const auto word = static_cast<std::uint32_t>(number);
    std::string bytes(sizeof word, '\0');
    std::memcpy(bytes.data(), &word, sizeof word);
    return bytes;
}

}  // namespace

void WriteGltf(const Scene& scene, Output& out, const GltfWriting& writing)
{
    const std::optional<Scene> unrolled = UnrolledCopy(scene);  // glTF is played between frames, too
    Writer writer(unrolled ? *unrolled : scene, writing);
    writer.Make();
    out.Write(writer.Text("data:application/octet-stream;base64," + Base64(writer.Buffer())) + "\n");
}

void WriteGlb(const Scene& scene, Output& out, const GltfWriting& writing)
{
    const std::optional<Scene> unrolled = UnrolledCopy(scene);  // glTF is played between frames, too
    Writer writer(unrolled ? *unrolled : scene, writing);
    writer.Make();
    std::string json = writer.Text("");
    json.append((4 - json.size() % 4) % 4, ' ');
    const std::string& buffer = writer.Buffer();
    out.Write("glTF" + Word(2) + Word(12 + 8 + json.size() + 8 + buffer.size()));
    out.Write(Word(json.size()) + "JSON");
    out.Write(json);
    out.Write(Word(buffer.size()) + std::string("BIN\0", 4));
    out.Write(buffer);
}

}  // namespace ymotion
