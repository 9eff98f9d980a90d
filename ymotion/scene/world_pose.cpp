#include "ymotion/scene/world_pose.h"

#include <algorithm>
#include <new>

#include <fmt/format.h>

#include "ymotion/scene/node_walk.h"
#include "ymotion/scene/playback.h"
#include "ymotion/text/failure.h"

namespace ymotion {
namespace {

bool AreSame(const YgeVector& a, const YgeVector& b)
{
    return a.x == b.x && a.y == b.y && a.z == b.z;
}

/// Hosts may have left keys at one time, or behind later ones, in time warps too.
bool HasKeysInOrder(const Scene& scene)
{
    bool ordered = true;
    const auto look = [&ordered](const YFCurveNode& node) {
        const YFCurve* curve = node.FCurveGet();
        if (curve == nullptr) return;
        for (int i = 1; i < curve->KeyGetCount(); ++i)
            ordered = ordered && curve->KeyGetTime(i - 1) < curve->KeyGetTime(i);
    };
    VisitNodesAndLayers(*scene.root, [&look](const YFCurveNode& node) {
        look(node);
        YFCurveNode* const warp = node.TimeWarpGet();
        if (warp != nullptr) VisitNodesAndLayers(*warp, look);
    });
    return ordered;
}

}  // namespace

PlacingProperties::PlacingProperties(const Joint& joint, const YFCurveNode& node)
    : rotation(PropertyOf(node, ChannelKind::Rotation)),
      scale(node.Find(YDataType::Get(eDataType::LocalScaling)))
{
    YFCurveNode* const found = PropertyOf(node, ChannelKind::Translation);
    const auto places = [&](Axis axis) { return PlacesAlong(joint, *found, axis); };
    if (found != nullptr && std::any_of(kAxes.begin(), kAxes.end(), places)) translation = found;
}

/// Gathers what plays: the curves that play by themselves in one clip, and each other property in one of its own.
class WorldPoses::Builder
{
  public:
    explicit Builder(WorldPoses& poses) : mPoses(poses) {}

    void Add(const Joint& joint, const YFCurveNode* node)
    {
        Limb& limb = mPoses.mLimbs.emplace_back();
        limb.parent = joint.parent;
        for (std::size_t axis = 0; axis < 3; ++axis) limb.translation[axis].rest = double{joint.offset[axis]};
        if (node == nullptr) return;
        const auto& [translation, rotation, scale] = PlacingProperties(joint, *node);
        const auto places = [&joint, moved = translation](int axis) {
            return PlacesAlong(joint, *moved, static_cast<Axis>(axis));
        };
        if (translation != nullptr) Add(limb.translation, *translation, places);
        if (rotation != nullptr) Add(limb.rotation, *rotation, [](int) { return true; });
        if (scale != nullptr) Add(limb.scale, *scale, [](int) { return true; });
        if (rotation != nullptr) limb.order = static_cast<eRotationOrder>(rotation->GetRotationOrder());
    }

    void Finish()
    {
        Play(YFCurveClip::Create(mCurves));
        for (const Mixed& mixed : mMixed) {
            const std::size_t first = mPoses.mValues.size();
            Play(YFCurveClip::Create(*mixed.property));
            for (Component* component : mixed.components) component->value += first;
        }
    }

  private:
    /// A property that plays as a whole. The values of its components are counted from its first one until it has
    /// its place.
    struct Mixed
    {
        const YFCurveNode* property;
        std::vector<Component*> components;
    };

    void Play(std::unique_ptr<YFCurveClip> clip)
    {
        if (clip == nullptr) throw std::bad_alloc();  // all keys are in order
        mPoses.Play(std::move(clip));
    }

    template<class IsPlayed>
    void Add(Components& components, const YFCurveNode& property, const IsPlayed& isPlayed)
    {
        Mixed mixed{&property, {}};
        for (int axis = 0; axis < 3; ++axis) {
            const YFCurveNode* node = property.Get(axis);
            if (node == nullptr || node->FCurveGet() == nullptr || !isPlayed(axis)) continue;
            Component& component = components[static_cast<std::size_t>(axis)];
            if (PlaysByCurves(property)) {
                component.value = mCurves.size();
                mCurves.push_back(node->FCurveGet());
            } else {
                component.value = static_cast<std::size_t>(axis);
                mixed.components.push_back(&component);
            }
        }
        if (!mixed.components.empty()) mMixed.push_back(std::move(mixed));
    }

    WorldPoses& mPoses;
    std::vector<const YFCurve*> mCurves;
    std::vector<Mixed> mMixed;
};

WorldPoses::WorldPoses(const Scene& scene)
{
    if (!scene.HasSkeleton()) {
        throw Failure(scene.file +
                      ": has no skeleton, without which joints have no place in the world; "
                      "convert it from a BVH file");
    }
    if (!HasKeysInOrder(scene)) {
        throw Failure(scene.file +
                      ": has keys that are at one time or out of order, with which joints cannot be "
                      "placed; move them apart");
    }
    const std::vector<Joint>& joints = scene.skeleton.joints;
    mLimbs.reserve(joints.size());
    Builder builder(*this);
    for (std::size_t i = 0; i < joints.size(); ++i) builder.Add(joints[i], scene.jointNodes[i]);
    builder.Finish();
    mPlaces.resize(mLimbs.size());
    mPoses.resize(mLimbs.size());
}

void WorldPoses::Play(std::unique_ptr<YFCurveClip> clip)
{
    Played played;
    played.player = YFCurvePlayer::Create(*clip);
    if (played.player == nullptr) throw std::bad_alloc();
    played.first = mValues.size();
    played.count = static_cast<std::size_t>(clip->GetChannelCount());
    played.clip = std::move(clip);
    mValues.resize(played.first + played.count);
    mPlayed.push_back(std::move(played));
}

YgeVector WorldPoses::ValuesOf(const Components& components) const
{
    const auto value = [this](const Component& component) {
        return component.value == kNone ? component.rest : double{mValues[component.value]};
    };
    return {value(components[0]), value(components[1]), value(components[2])};
}

/// Where a joint is in the axes of its parent.
void WorldPoses::Place(Limb& limb)
{
    const YgeVector angles = ValuesOf(limb.rotation);
    const YgeVector factors = ValuesOf(limb.scale);
    if (!AreSame(angles, limb.angles) || !AreSame(factors, limb.factors)) {
        limb.angles = angles;
        limb.factors = factors;
        limb.turn = YgeQuaternion(YgeRVector(angles.x, angles.y, angles.z), limb.order);
        limb.local = Placement::Of({}, limb.turn, factors);
    }
    limb.local.origin = ValuesOf(limb.translation);
}

const std::vector<Placement>& WorldPoses::PlacesAt(YTime time)
{
    for (const Played& played : mPlayed) {
        const std::span<float> values = std::span(mValues).subspan(played.first, played.count);
        if (mHasPlayed) {
            played.player->EvaluateMoving(time, values);
        } else {
            played.player->Evaluate(time, values);
        }
    }
    mHasPlayed = true;
    for (std::size_t i = 0; i < mLimbs.size(); ++i) {
        Limb& limb = mLimbs[i];
        Place(limb);
        mPlaces[i] =
            limb.parent < 0 ? limb.local : mPlaces[static_cast<std::size_t>(limb.parent)] * limb.local;
    }
    return mPlaces;
}

const std::vector<JointPose>& WorldPoses::At(YTime time)
{
    PlacesAt(time);
    for (std::size_t i = 0; i < mLimbs.size(); ++i) {
        const Limb& limb = mLimbs[i];
        mPoses[i].position = mPlaces[i].origin;
        mPoses[i].rotation = limb.turn;
        if (limb.parent < 0) continue;
        const YgeQuaternion& parent = mPoses[static_cast<std::size_t>(limb.parent)].rotation;
        mPoses[i].rotation = (parent * limb.turn).GetNormalized();
    }
    return mPoses;
}

std::optional<WorldPoses> PosesOf(const Scene& scene)
{
    if (!scene.HasSkeleton()) return std::nullopt;
    try {
        return WorldPoses(scene);
    } catch (const Failure&) {
        return std::nullopt;
    }
}

std::string JointName(const Skeleton& skeleton, std::size_t joint)
{
    const std::vector<Joint>& joints = skeleton.joints;
    if (!joints[joint].endSite || joints[joint].parent < 0) return joints[joint].name;
    int number = 1;
    for (std::size_t i = static_cast<std::size_t>(joints[joint].parent); i < joint; ++i) {
        if (joints[i].endSite && joints[i].parent == joints[joint].parent) ++number;
    }
    return number == 1 ? "End Site" : fmt::format("End Site {}", number);
}

std::string JointTitle(const Skeleton& skeleton, std::size_t joint)
{
    const Joint& named = skeleton.joints[joint];
    if (!named.endSite || named.parent < 0) return named.name;
    return skeleton.joints[static_cast<std::size_t>(named.parent)].name + "/" + JointName(skeleton, joint);
}

}  // namespace ymotion
