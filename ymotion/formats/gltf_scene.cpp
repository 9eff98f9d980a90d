#include <algorithm>
#include <array>
#include <cmath>
#include <new>

#include <fmt/format.h>

#include "ymotion/formats/gltf.h"
#include "ymotion/formats/gltf_document.h"
#include "ymotion/formats/gltf_rotation.h"
#include "ymotion/scene/storage_meter.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

/// Rates that keys are looked for at, the likelier ones first.
constexpr std::array<FrameRate, 20> kRates{
    {{30, 1},  {24, 1},  {25, 1},       {60, 1},       {50, 1},       {48, 1},  {120, 1},
     {100, 1}, {240, 1}, {90, 1},       {72, 1},       {144, 1},      {125, 1}, {150, 1},
     {200, 1}, {300, 1}, {30000, 1001}, {24000, 1001}, {60000, 1001}, {1000, 1}}};

bool FitsRate(const std::vector<GltfTrack>& tracks, FrameRate rate)
{
    constexpr double kRounding = 0x1p-22;
    constexpr double kFramesOff = 1e-3;
    for (const GltfTrack& track : tracks) {
        for (const float time : track.times) {
            const double frame = double{time} * rate.PerSecond();
            if (std::abs(frame - std::round(frame)) > kFramesOff + std::abs(frame) * kRounding) return false;
        }
    }
    return true;
}

/// The rate of the frames that keys stand on; the usual one where they stand anywhere.
FrameRate RateOf(const GltfDocument& document)
{
    if (document.rate) return *document.rate;
    for (const FrameRate rate : kRates) {
        if (FitsRate(document.tracks, rate)) return rate;
    }
    return {};
}

/// A time in single precision; what the time of a frame was rounded to means the frame. Frames are counted from a start,
/// as everywhere, or else from time 0.
YTime TimeOf(float seconds, FrameRate rate, YTime start)
{
    for (const YTime from : {start, YTIME_ZERO}) {
        const double frame = std::round((double{seconds} - from.GetSecondDouble()) * rate.PerSecond());
        constexpr double kMostFrames = 1e12;
        if (std::abs(frame) >= kMostFrames) continue;
        const YTime time = TimeOfFrame(from, static_cast<std::int64_t>(frame), rate);
        if (static_cast<float>(time.GetSecondDouble()) == seconds) return time;
    }
    return YTime::FromSeconds(double{seconds});
}

/// The times of the keys; of keys at one tick the last one stays.
std::vector<YTime> TakeTimes(GltfTrack& track, FrameRate rate, YTime start)
{
    std::vector<YTime> times;
    const std::size_t width = track.Components() * (track.IsCubic() ? 3 : 1);
    for (std::size_t i = 0; i < track.times.size(); ++i) {
        const YTime time = TimeOf(track.times[i], rate, start);
        if (times.empty() || times.back() < time) times.push_back(time);
        const std::size_t to = (times.size() - 1) * width;
        if (to == i * width) continue;
        std::copy_n(track.values.begin() + static_cast<std::ptrdiff_t>(i * width), width,
                    track.values.begin() + static_cast<std::ptrdiff_t>(to));
    }
    return times;
}

/// When the first key is; time 0 without any.
YTime StartOf(const std::vector<GltfTrack>& tracks, FrameRate rate)
{
    const auto first = std::min_element(
        tracks.begin(), tracks.end(),
        [](const GltfTrack& a, const GltfTrack& b) { return a.times.front() < b.times.front(); });
    return first == tracks.end() ? YTIME_ZERO : TimeOf(first->times.front(), rate, YTIME_ZERO);
}

class SceneMaker
{
  public:
    SceneMaker(GltfDocument document, const std::string& name, const GltfReading& reading)
        : mDocument(std::move(document)), mName(name), mReading(reading)
    {}

    Scene Make();

  private:
    std::vector<bool> KeptNodes() const;
    void KeepBelowAnimated(std::vector<bool>& kept) const;
    void CountOtherNodes(const std::vector<bool>& kept);
    void FindPaths();
    void AddJoints();
    void AddJoint(int index, int parent);
    void SetRest(std::size_t joint);
    void AddTrack(GltfTrack& track);
    void AddVector(const GltfTrack& track, const std::vector<YTime>& times, const YFCurveNode& property);
    void AddRotation(const GltfTrack& track, const std::vector<YTime>& times, const YFCurveNode& property);
    void TellWhatDiffers() const;
    void Note(const std::string& text) const
    {
        if (mReading.note) mReading.note(fmt::format("{}: {}", mName, text));
    }

    GltfDocument mDocument;
    const std::string& mName;
    const GltfReading& mReading;
    Scene mScene;
    std::vector<bool> mMoves;   // of each node, whether its translation has a track
    std::vector<bool> mScales;  // the same of its scale
    std::vector<int> mJointOf;  // of each node; -1 for those that are no joints
    std::vector<int> mNodeOf;   // of each joint
    YTime mStart;               // of the first key
    std::size_t mMoreKeys = 0;  // that rotations may still get in addition
    int mBeyond = 0;
};

/// Joints of skins, what is animated, and the nodes above; without a skin that says which nodes are joints, those as
/// well that move with what is animated. All nodes where a file has none of these. What only hangs on the character,
/// such as meshes and cameras, is no joint.
std::vector<bool> SceneMaker::KeptNodes() const
{
    const std::vector<GltfNode>& nodes = mDocument.nodes;
    std::vector<bool> kept(nodes.size(), false);
    bool any = false;
    for (std::size_t i = 0; i < nodes.size(); ++i) {
        if (!nodes[i].isJoint && !nodes[i].animated && !nodes[i].endSite) continue;
        any = true;
        for (int at = static_cast<int>(i); at >= 0 && !kept[static_cast<std::size_t>(at)];
             at = nodes[static_cast<std::size_t>(at)].parent) {
            kept[static_cast<std::size_t>(at)] = true;
        }
    }
    if (!any) kept.assign(nodes.size(), true);
    const bool hasSkin =
        std::any_of(nodes.begin(), nodes.end(), [](const GltfNode& node) { return node.isJoint; });
    if (!hasSkin) KeepBelowAnimated(kept);
    return kept;
}

void SceneMaker::KeepBelowAnimated(std::vector<bool>& kept) const
{
    const std::vector<GltfNode>& nodes = mDocument.nodes;
    std::vector<std::size_t> open;
    for (std::size_t i = 0; i < nodes.size(); ++i)
        if (nodes[i].animated) open.push_back(i);
    while (!open.empty()) {
        const GltfNode& node = nodes[open.back()];
        open.pop_back();
        for (const int child : node.children) {
            const auto index = static_cast<std::size_t>(child);
            if (nodes[index].isThing || nodes[index].animated) continue;
            kept[index] = true;
            open.push_back(index);
        }
    }
}

/// Those that are left out, and are not counted as meshes, cameras and lights.
void SceneMaker::CountOtherNodes(const std::vector<bool>& kept)
{
    int count = 0;
    for (std::size_t i = 0; i < kept.size(); ++i) count += kept[i] || mDocument.nodes[i].isThing ? 0 : 1;
    if (count > 0) mDocument.leftOut.push_back({count, "other node left out", "other nodes left out", 0});
}

void SceneMaker::FindPaths()
{
    mMoves.assign(mDocument.nodes.size(), false);
    mScales = mMoves;
    for (const GltfTrack& track : mDocument.tracks) {
        const auto node = static_cast<std::size_t>(track.node);
        if (track.path == GltfPath::Translation) mMoves[node] = true;
        if (track.path == GltfPath::Scale) mScales[node] = true;
    }
}

/// Adds them from the roots down, each with all that is below it before the next one.
void SceneMaker::AddJoints()
{
    const std::vector<bool> kept = KeptNodes();
    CountOtherNodes(kept);
    mJointOf.assign(mDocument.nodes.size(), -1);
    std::vector<int> open;
    for (std::size_t i = kept.size(); i-- > 0;) {
        if (kept[i] && mDocument.nodes[i].parent < 0) open.push_back(static_cast<int>(i));
    }
    while (!open.empty()) {
        const int index = open.back();
        open.pop_back();
        const GltfNode& node = mDocument.nodes[static_cast<std::size_t>(index)];
        AddJoint(index, node.parent < 0 ? -1 : mJointOf[static_cast<std::size_t>(node.parent)]);
        for (auto child = node.children.rbegin(); child != node.children.rend(); ++child) {
            if (kept[static_cast<std::size_t>(*child)]) open.push_back(*child);
        }
    }
}

void SceneMaker::AddJoint(int index, int parent)
{
    const GltfNode& node = mDocument.nodes[static_cast<std::size_t>(index)];
    Joint joint;
    joint.name = node.name;
    joint.parent = parent;
    joint.endSite = node.endSite && node.children.empty() && !node.animated && parent >= 0;
    if (joint.name.empty() && !joint.endSite) joint.name = "joint";
    std::transform(node.translation.begin(), node.translation.end(), joint.offset.begin(),
                   [](double component) { return static_cast<float>(component); });
    if (!joint.endSite) {
        const auto add = [&joint](ChannelKind kind, Axis axis) { joint.channels.push_back({kind, axis}); };
        if (mMoves[static_cast<std::size_t>(index)] || parent < 0) {
            for (const Axis axis : {Axis::X, Axis::Y, Axis::Z}) add(ChannelKind::Translation, axis);
        }
        // The channel that is written last turns first.
        const std::string order = RotationOrderName(mReading.rotationOrder);
        for (auto letter = order.rbegin(); letter != order.rend(); ++letter)
            add(ChannelKind::Rotation, static_cast<Axis>(*letter - 'X'));
    }
    mJointOf[static_cast<std::size_t>(index)] = static_cast<int>(mNodeOf.size());
    mNodeOf.push_back(index);
    mScene.skeleton.joints.push_back(std::move(joint));
}

void SetValues(const YFCurveNode& property, const std::array<double, 3>& values)
{
    for (int i = 0; i < 3; ++i)
        property.Get(i)->FCurveGet()->SetValue(static_cast<float>(values[static_cast<std::size_t>(i)]));
}

/// What a joint shows without keys.
void SceneMaker::SetRest(std::size_t joint)
{
    YFCurveNode* node = mScene.jointNodes[joint];
    if (node == nullptr) return;
    const GltfNode& rest = mDocument.nodes[static_cast<std::size_t>(mNodeOf[joint])];
    if (const YFCurveNode* property = PropertyOf(*node, ChannelKind::Translation))
        SetValues(*property, rest.translation);
    const auto& q = rest.rotation;
    const YgeRVector angles(YgeQuaternion(q[0], q[1], q[2], q[3]),
                            static_cast<eRotationOrder>(mReading.rotationOrder));
    SetValues(*PropertyOf(*node, ChannelKind::Rotation), {angles.x, angles.y, angles.z});
    const bool scales = mScales[static_cast<std::size_t>(mNodeOf[joint])];
    if (!scales && rest.scale == std::array<double, 3>{1, 1, 1}) return;
    YDataType& type = *YDataType::Get(eDataType::LocalScaling);
    SetValues(*AddTo(*node, MakePropertyNode(type, type.GetName())), rest.scale);
}

void SceneMaker::AddTrack(GltfTrack& track)
{
    const int joint = mJointOf[static_cast<std::size_t>(track.node)];
    const YFCurveNode* node = joint < 0 ? nullptr : mScene.jointNodes[static_cast<std::size_t>(joint)];
    if (node == nullptr) return;
    const std::vector<YTime> times = TakeTimes(track, mScene.rate, mStart);
    if (track.path == GltfPath::Rotation) {
        AddRotation(track, times, *PropertyOf(*node, ChannelKind::Rotation));
    } else if (track.path == GltfPath::Translation) {
        AddVector(track, times, *PropertyOf(*node, ChannelKind::Translation));
    } else {
        AddVector(track, times, *node->Find(YDataType::Get(eDataType::LocalScaling)));
    }
}

void Append(YFCurve& curve, YTime time, float value, unsigned interpolation, float right, float nextLeft)
{
    const unsigned mode = interpolation == YFCURVE_INTERP_CUBIC ? YFCURVE_TANGENT_USER_BREAK : 0u;
    if (!curve.KeySet(curve.KeyGetCount(), time, value, interpolation, mode, right, nextLeft))
        throw std::bad_alloc();
}

unsigned InterpolationOf(const GltfTrack& track)
{
    switch (track.interpolation) {
        case GltfInterpolation::Step:
            return YFCURVE_INTERP_CONSTANT;
        case GltfInterpolation::Linear:
            return YFCURVE_INTERP_LINEAR;
        case GltfInterpolation::CubicSpline:
            return YFCURVE_INTERP_CUBIC;
    }
    return YFCURVE_INTERP_LINEAR;
}

void SceneMaker::AddVector(const GltfTrack& track, const std::vector<YTime>& times,
                           const YFCurveNode& property)
{
    const unsigned interpolation = InterpolationOf(track);
    for (std::size_t axis = 0; axis < 3; ++axis) {
        YFCurve& curve = *property.Get(static_cast<int>(axis))->FCurveGet();
        const YFCurveModify bracket(curve, static_cast<int>(times.size()));
        for (std::size_t i = 0; i < times.size(); ++i) {
            const bool cubic = track.IsCubic();
            const float right = cubic ? track.OutTangent(i)[axis] : 0.0f;
            const float nextLeft = cubic && i + 1 < times.size() ? track.InTangent(i + 1)[axis] : 0.0f;
            Append(curve, times[i], track.Key(i)[axis], interpolation, right, nextLeft);
        }
    }
}

void SceneMaker::AddRotation(const GltfTrack& track, const std::vector<YTime>& times,
                             const YFCurveNode& property)
{
    const EulerKeys fitted = EulerKeysOf(track, times, mReading.rotationOrder, mReading.tolerance, mMoreKeys);
    mMoreKeys -= std::min(mMoreKeys, fitted.keys.size() - times.size());
    mBeyond += fitted.beyond;
    const bool step = track.interpolation == GltfInterpolation::Step;
    for (std::size_t axis = 0; axis < 3; ++axis) {
        YFCurve& curve = *property.Get(static_cast<int>(axis))->FCurveGet();
        const YFCurveModify bracket(curve, static_cast<int>(fitted.keys.size()));
        for (const EulerKey& key : fitted.keys) {
            Append(curve, key.time, static_cast<float>(key.angles[axis]),
                   step ? YFCURVE_INTERP_CONSTANT : YFCURVE_INTERP_CUBIC, static_cast<float>(key.right[axis]),
                   static_cast<float>(key.nextLeft[axis]));
        }
    }
}

std::string NumberedName(const std::vector<std::string>& names, std::size_t index)
{
    return names[index].empty() ? fmt::format("{}", index + 1)
                                : fmt::format("{}, {}", index + 1, Quoted(names[index]));
}

void SceneMaker::TellWhatDiffers() const
{
    if (mReading.animation.empty() && mDocument.animations.size() > 1) {
        Note(fmt::format(
            "the first of {} animations is taken: {}; --animation chooses another, 'yfcurve info' lists "
            "them",
            mDocument.animations.size(), NumberedName(mDocument.animations, 0)));
    }
    if (mBeyond > 0) {
        Note(fmt::format(
            "{} turns between keys are too fast for angles to follow within {} degrees; choose another "
            "--order, or a larger --tolerance",
            GroupedText(mBeyond), mReading.tolerance));
    }
    if (!mDocument.shearedNodes.empty()) {
        Note(fmt::format("the matrix of {} nodes, {} the first, has shear, which is left out",
                         mDocument.shearedNodes.size(), Quoted(mDocument.shearedNodes.front())));
    }
}

Scene SceneMaker::Make()
{
    StorageMeter meter;
    mScene.rate = RateOf(mDocument);
    FindPaths();
    AddJoints();
    MakeJointNodes(mScene);
    for (std::size_t i = 0; i < mNodeOf.size(); ++i) SetRest(i);
    mScene.layers.Bind(*mScene.root);
    constexpr std::size_t kMoreKeys = 200'000;
    mMoreKeys = kMoreKeys;
    for (const GltfTrack& track : mDocument.tracks) mMoreKeys += 8 * track.times.size();
    mStart = StartOf(mDocument.tracks, mScene.rate);
    for (GltfTrack& track : mDocument.tracks) {
        StopIfAsked();
        AddTrack(track);
    }
    mScene.curveBytes = meter.Bytes();
    for (std::size_t i = 0; i < mDocument.animations.size(); ++i) {
        mScene.animations.push_back(AnimationName(mDocument.animations, i));
    }
    mScene.animation = mDocument.taken;
    mScene.leftOut = std::move(mDocument.leftOut);
    TellWhatDiffers();
    return std::move(mScene);
}

}  // namespace

Scene ReadGltf(std::string_view bytes, const std::string& name, const std::optional<std::string>& folder,
               const GltfReading& reading)
{
    return SceneMaker(ParseGltf(bytes, name, folder, reading.animation), name, reading).Make();
}

}  // namespace ymotion
