#include "ymotion/clipping/root_motion.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

#include <fmt/format.h>

#include "ybaselib/rotation/degrees.h"
#include "ymotion/clipping/bake.h"
#include "ymotion/clipping/clip_curves.h"
#include "ymotion/compare/foot_contacts.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/layer_text.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/printable.h"

namespace ymotion {
namespace {

YFCurve& CurveAt(const YFCurveNode& property, Axis axis)
{
    return *property.Get(static_cast<int>(axis))->FCurveGet();
}

[[noreturn]] void FailChannels(const Scene& scene, const Joint& joint)
{
    throw Failure(
        fmt::format("{}: the root {} has no channels that could move or turn it as that takes; give it "
                    "six channels",
                    scene.file, QuotedName(joint.name)));
}

void TurnTranslation(const Scene& scene, YFCurve& x, YFCurve& z, const GroundMove& move)
{
    const YgeVector rest = move({double{x.GetValue()}, 0, double{z.GetValue()}});
    const std::vector<YTime> times = KeyTimesOf({&x, &z}, kAlways);
    if (!times.empty()) {
        BakeValues({&x, &z}, {times, scene.rate}, [&](YTime time) {
            const YgeVector moved = move({double{x.Evaluate(time)}, 0, double{z.Evaluate(time)}});
            return std::vector<double>{moved.x, moved.z};
        });
    }
    x.SetValue(static_cast<float>(rest.x));
    z.SetValue(static_cast<float>(rest.z));
}

/// Along an axis without a channel a root stays where it is.
void MoveTranslation(const Scene& scene, std::size_t root, const GroundMove& move)
{
    const Joint& joint = scene.skeleton.joints[root];
    YFCurve* x = GroundCurveOf(scene, root, Axis::X);
    YFCurve* z = GroundCurveOf(scene, root, Axis::Z);
    const double rounding = kSamePlace * LargestOffset(scene.skeleton);
    if (move.degrees == 0) {
        const bool lacksX = x == nullptr && std::abs(move.x) > rounding;
        const bool lacksZ = z == nullptr && std::abs(move.z) > rounding;
        if (lacksX || lacksZ) FailChannels(scene, joint);
        if (x != nullptr) OffsetValues(*x, move.x);
        if (z != nullptr) OffsetValues(*z, move.z);
        return;
    }
    if (x != nullptr && z != nullptr) {
        CheckHoldsBeyondKeys(scene, *PropertyOf(*scene.jointNodes[root], ChannelKind::Translation));
        return TurnTranslation(scene, *x, *z, move);
    }
    const YgeVector rest{double{joint.offset[0]}, 0, double{joint.offset[2]}};
    const YgeVector moved = move(rest);
    const bool staysPut =
        x == nullptr && z == nullptr && std::hypot(moved.x - rest.x, moved.z - rest.z) <= rounding;
    if (!staysPut) FailChannels(scene, joint);
}

/// Whether the vertical axis turns last, so that its angle is what a turn of the whole adds to.
bool TurnsAboutYLast(const YFCurveNode& rotation)
{
    const auto order = static_cast<eRotationOrder>(rotation.GetRotationOrder());
    return order == eRotationOrder::XZY || order == eRotationOrder::ZXY;
}

void TurnRotation(const Scene& scene, YFCurveNode& rotation, const GroundMove& move)
{
    if (TurnsAboutYLast(rotation)) {
        OffsetValues(CurveAt(rotation, Axis::Y), move.degrees);
        return;
    }
    CheckHoldsBeyondKeys(scene, rotation);
    const YgeQuaternion turn = move.Turn();
    std::vector<YTime> times = KeyTimesOf(CurvesOf(rotation), kAlways);
    const YgeRVector first = OwnAngles(rotation, times.empty() ? YTIME_ZERO : times.front());
    BakeTurns(
        rotation, {std::move(times), scene.rate},
        [&](YTime time) { return turn * OwnOrientation(rotation, time); }, first);
}

void MoveRoot(const Scene& scene, std::size_t root, const GroundMove& move)
{
    const Joint& joint = scene.skeleton.joints[root];
    MoveTranslation(scene, root, move);
    if (move.degrees == 0) return;
    YFCurveNode* rotation = PropertyOf(*scene.jointNodes[root], ChannelKind::Rotation);
    if (rotation == nullptr || joint.Count(ChannelKind::Rotation) < 3) FailChannels(scene, joint);
    CheckHasNoLayers(scene, *rotation);
    CheckUnlocked(scene, *rotation);
    TurnRotation(scene, *rotation, move);
}

}  // namespace

std::vector<std::size_t> RootsOf(const Scene& scene)
{
    std::vector<std::size_t> roots;
    for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
        if (scene.skeleton.joints[i].parent < 0 && scene.jointNodes[i] != nullptr) roots.push_back(i);
    }
    return roots;
}

double LargestOffset(const Skeleton& skeleton)
{
    double largest = 0;
    for (const Joint& joint : skeleton.joints) {
        for (const float component : joint.offset) largest = std::max(largest, std::abs(double{component}));
    }
    return largest;
}

JointPose RootPoseAt(const Scene& scene, YTime time)
{
    return RootPoseAt(scene, RootsOf(scene).front(), time);
}

JointPose RootPoseAt(const Scene& scene, std::size_t root, YTime time)
{
    const Joint& joint = scene.skeleton.joints[root];
    const YFCurveNode* translation = PropertyOf(*scene.jointNodes[root], ChannelKind::Translation);
    const auto valuesOf = [&](ChannelKind kind) {
        std::array<double, 3> values{};
        const YFCurveNode* property = PropertyOf(*scene.jointNodes[root], kind);
        if (property != nullptr && property->GetCount() == 3) property->GeneralEvaluate(values.data(), time);
        return values;
    };
    std::array<double, 3> position = valuesOf(ChannelKind::Translation);
    for (std::size_t i = 0; i < 3; ++i) {
        if (translation == nullptr || !PlacesAlong(joint, *translation, static_cast<Axis>(i)))
            position[i] = double{joint.offset[i]};
    }
    const auto [x, y, z] = valuesOf(ChannelKind::Rotation);
    const YFCurveNode* rotation = PropertyOf(*scene.jointNodes[root], ChannelKind::Rotation);
    const int order = rotation == nullptr ? 0 : rotation->GetRotationOrder();
    return {{position[0], position[1], position[2]},
            YgeQuaternion(YgeRVector(x, y, z), static_cast<eRotationOrder>(order))};
}

YgeQuaternion GroundMove::Turn() const
{
    return YgeQuaternion(YgeRVector(0, degrees, 0));
}

YgeVector GroundMove::operator()(const YgeVector& position) const
{
    const YgeVector turned = YgeMatrix(Turn()) * position;
    return {turned.x + x, turned.y, turned.z + z};
}

GroundMove MoveOnto(const JointPose& pose, const JointPose& other)
{
    // The part about the vertical axis of the turn from one to the other.
    const YgeQuaternion turn = other.rotation * pose.rotation.GetConjugate();
    constexpr double kNoTurn = 1e-5;  // degrees, less than single precision tells
    GroundMove move;
    if (turn.y != 0 || turn.w != 0)
        move.degrees = std::remainder(2.0 * std::atan2(turn.y, turn.w) * ybase::kDegreesPerRadian, 360.0);
    if (std::abs(move.degrees) < kNoTurn) move.degrees = 0;
    const YgeVector turned = move(pose.position);
    move.x = other.position.x - turned.x;
    move.z = other.position.z - turned.z;
    return move;
}

YFCurve* GroundCurveOf(const Scene& scene, std::size_t root, Axis axis)
{
    YFCurveNode* translation = PropertyOf(*scene.jointNodes[root], ChannelKind::Translation);
    if (translation == nullptr || !PlacesAlong(scene.skeleton.joints[root], *translation, axis))
        return nullptr;
    CheckHasNoLayers(scene, *translation);
    CheckUnlocked(scene, *translation);
    return &CurveAt(*translation, axis);
}

void MoveRoots(Scene& scene, const GroundMove& move)
{
    if (move.IsNone()) return;
    for (const std::size_t root : RootsOf(scene)) MoveRoot(scene, root, move);
}

std::string GroundNote(const Scene& scene)
{
    constexpr std::int64_t kTimes = 20;
    const std::optional<TimeSpan> span = KeySpan(scene);
    if (!span || !PosesOf(scene)) return {};
    std::vector<YTime> times;
    for (std::int64_t i = 0; i <= kTimes; ++i)
        times.push_back(span->At(static_cast<double>(i) / static_cast<double>(kTimes)));
    const StandingFigure figure = FindContacts(scene, times);
    if (figure.up == Axis::Y || figure.feet.size() < 2) return {};
    return "; note that the figure stands along Z, while this takes Y for up";
}

void CheckHasSkeleton(const Scene& scene, const char* tool)
{
    if (scene.HasSkeleton()) return;
    throw Failure(
        fmt::format("{}: has no skeleton, without which there is nothing to {}; convert it from a BVH "
                    "file",
                    scene.file, tool));
}

void CheckHasNoLayers(const Scene& scene, const YFCurveNode& property)
{
    if (property.LayerGet() == nullptr) return;
    throw Failure(fmt::format("{}: {} has layers, through which it cannot be changed as that takes; {}",
                              scene.file, QuotedName(PathOf(property)), MergeAdvice(scene.layers, property)));
}

}  // namespace ymotion
