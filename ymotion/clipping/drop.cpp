#include <algorithm>

#include <fmt/format.h>

#include "ymotion/clipping/bake.h"
#include "ymotion/clipping/clip_curves.h"
#include "ymotion/clipping/clip_tools.h"
#include "ymotion/clipping/joint_names.h"
#include "ymotion/clipping/node_edit.h"
#include "ymotion/clipping/root_motion.h"
#include "ymotion/scene/curve_selection.h"
#include "ymotion/scene/whole_turns.h"
#include "ymotion/text/failure.h"
#include "ymotion/text/number_text.h"
#include "ymotion/text/printable.h"
#include "ymotion/text/stopping.h"

namespace ymotion {
namespace {

/// How a joint moves in the axes of its parent.
class LocalMotion
{
  public:
    /// \param turns  false where its rotation does not matter, which then may have layers
    LocalMotion(const Scene& scene, std::size_t index, bool turns = true)
        : mJoint(scene.skeleton.joints[index])
    {
        mTranslation = Take(scene, index, ChannelKind::Translation);
        if (turns) mRotation = Take(scene, index, ChannelKind::Rotation);
    }

    YgeVector PositionAt(YTime time) const
    {
        std::array<double, 3> position{};
        for (std::size_t i = 0; i < 3; ++i) {
            const bool moves = mTranslation && PlacesAlong(mJoint, *mTranslation, static_cast<Axis>(i));
            position[i] = moves ? double{mTranslation->Get(static_cast<int>(i))->FCurveGet()->Evaluate(time)}
                                : double{mJoint.offset[i]};
        }
        return {position[0], position[1], position[2]};
    }
    YgeQuaternion TurnAt(YTime time) const
    {
        return mRotation == nullptr ? YgeQuaternion() : OwnOrientation(*mRotation, time);
    }
    std::vector<YFCurve*> Curves() const
    {
        std::vector<YFCurve*> curves;
        for (const YFCurveNode* property : {mTranslation.get(), mRotation.get()}) {
            if (property == nullptr) continue;
            for (YFCurve* curve : CurvesOf(*property)) curves.push_back(curve);
        }
        return curves;
    }
    bool StaysInPlace() const
    {
        if (mTranslation == nullptr) return true;
        const std::vector<YFCurve*> curves = CurvesOf(*mTranslation);
        return std::all_of(curves.begin(), curves.end(),
                           [](const YFCurve* curve) { return ymotion::IsStill(*curve); });
    }
    bool IsStill() const
    {
        const std::vector<YFCurve*> curves = Curves();
        return std::all_of(curves.begin(), curves.end(),
                           [](const YFCurve* curve) { return ymotion::IsStill(*curve); });
    }

  private:
    /// A copy, as the joint itself is changed by what is read from here.
    static YFCurveNodePtr Take(const Scene& scene, std::size_t index, ChannelKind kind)
    {
        YFCurveNode* property = PropertyOf(*scene.jointNodes[index], kind);
        if (property == nullptr) return nullptr;
        CheckHasNoLayers(scene, *property);
        CheckUnlocked(scene, *property);
        YFCurveNodePtr copy(property->SingleLayerCopy());
        if (copy == nullptr) throw std::bad_alloc();
        copy->SetRotationOrder(property->GetRotationOrder());
        copy->SetUseQuaternion(property->GetUseQuaternion());
        return copy;
    }

    Joint mJoint;
    YFCurveNodePtr mTranslation;
    YFCurveNodePtr mRotation;
};

/// The property of a joint with channels for all three axes, which it gets where it lacks them.
YFCurveNode& WholeProperty(Scene& scene, std::size_t index, ChannelKind kind)
{
    Joint& joint = scene.skeleton.joints[index];
    YFCurveNode* property = PropertyOf(*scene.jointNodes[index], kind);
    if (property == nullptr) {
        YDataType& type = *YDataType::Get(kind == ChannelKind::Translation ? eDataType::LocalTranslation
                                                                           : eDataType::LocalRotation);
        property = AddTo(*scene.jointNodes[index], MakePropertyNode(type, type.GetName()));
    }
    if (kind == ChannelKind::Rotation) {
        joint.channels = ChannelsInOrder(joint, property->GetRotationOrder(), true);
        return *property;
    }
    for (const Axis axis : kAxes) {
        // Files have positions in front, as readers expect.
        if (!joint.Has({kind, axis}))
            joint.channels.insert(joint.channels.begin() + static_cast<int>(axis), {kind, axis});
    }
    return *property;
}

void SetValues(const YFCurveNode& property, const std::array<double, 3>& values)
{
    for (int i = 0; i < 3; ++i) {
        YFCurve& curve = *property.Get(i)->FCurveGet();
        curve.KeyClear();
        curve.SetValue(static_cast<float>(values[static_cast<std::size_t>(i)]));
    }
}

/// Gives a child joint alone the motion that it has together with the joint above it, which is dropped.
class Adoption
{
  public:
    Adoption(Scene& scene, std::size_t dropped, std::size_t child)
        : mScene(scene), mDropped(dropped), mChildIndex(child), mOuter(scene, dropped), mInner(scene, child)
    {
        std::vector<YFCurve*> curves = mOuter.Curves();
        for (YFCurve* curve : mInner.Curves()) curves.push_back(curve);
        mTimes = KeyTimesOf(curves, kAlways);
    }

    void Apply()
    {
        for (const std::size_t joint : {mDropped, mChildIndex}) {
            for (const ChannelKind kind : {ChannelKind::Translation, ChannelKind::Rotation}) {
                YFCurveNode* property = PropertyOf(*mScene.jointNodes[joint], kind);
                if (property != nullptr) CheckHoldsBeyondKeys(mScene, *property);
            }
        }
        MoveChild();
        constexpr double kNoTurn = 1e-5;  // degrees
        if (mOuter.IsStill() && mOuter.TurnAt(YTIME_ZERO).GetAngleTo({}) < kNoTurn) return;
        TurnChild();
    }

  private:
    YgeVector PositionAt(YTime time) const
    {
        const YgeVector place = mOuter.PositionAt(time);
        const YgeVector arm = YgeMatrix(mOuter.TurnAt(time)) * mInner.PositionAt(time);
        return {place.x + arm.x, place.y + arm.y, place.z + arm.z};
    }

    /// Whether the child joint is ever elsewhere, at the keys and between them, by what the dropped one does.
    bool Moves(const YgeVector& start) const
    {
        if (mOuter.IsStill()) return false;
        for (std::size_t i = 0; i < mTimes.size(); ++i) {
            StopIfAsked();
            const YTime next = mTimes[std::min(i + 1, mTimes.size() - 1)];
            for (const double part : {0.0, 0.3, 0.7}) {
                const YgeVector now = PositionAt(TimeSpan{mTimes[i], next}.At(part));
                if (now.x != start.x || now.y != start.y || now.z != start.z) return true;
            }
        }
        return false;
    }

    void MoveChild()
    {
        Joint& child = mScene.skeleton.joints[mChildIndex];
        const YgeVector start = PositionAt(mTimes.empty() ? YTIME_ZERO : mTimes.front());
        child.offset = {static_cast<float>(start.x), static_cast<float>(start.y),
                        static_cast<float>(start.z)};
        const PlacingProperties placing(child, *mScene.jointNodes[mChildIndex]);
        if (!Moves(start) && placing.translation == nullptr) return;
        YFCurveNode& translation = WholeProperty(mScene, mChildIndex, ChannelKind::Translation);
        SetValues(translation, {start.x, start.y, start.z});
        if (mTimes.empty()) return;
        BakeValues(CurvesOf(translation), {mTimes, mScene.rate}, [this](YTime time) {
            const YgeVector position = PositionAt(time);
            return std::vector<double>{position.x, position.y, position.z};
        });
    }

    void TurnChild()
    {
        const auto turnAt = [this](YTime time) { return mOuter.TurnAt(time) * mInner.TurnAt(time); };
        YFCurveNode& rotation = WholeProperty(mScene, mChildIndex, ChannelKind::Rotation);
        const YTime start = mTimes.empty() ? YTIME_ZERO : mTimes.front();
        const YgeRVector before = OwnAngles(rotation, start);
        BakeTurns(rotation, {mTimes, mScene.rate}, turnAt, before);
    }

    Scene& mScene;
    std::size_t mDropped;
    std::size_t mChildIndex;
    LocalMotion mOuter;
    LocalMotion mInner;
    std::vector<YTime> mTimes;
};

std::vector<std::size_t> ChildrenOf(const Scene& scene, std::size_t joint, bool endSites)
{
    std::vector<std::size_t> children;
    for (std::size_t i = joint + 1; i < scene.skeleton.joints.size(); ++i) {
        const Joint& each = scene.skeleton.joints[i];
        if (each.parent == static_cast<int>(joint) && each.endSite == endSites) children.push_back(i);
    }
    return children;
}

void CheckScales(const Scene& scene, std::size_t joint)
{
    YFCurveNode* scale = scene.jointNodes[joint]->Find(YDataType::Get(eDataType::LocalScaling));
    if (scale == nullptr) return;
    CheckHasNoLayers(scene, *scale);
    for (const YFCurve* curve : CurvesOf(*scale)) {
        if (IsStill(*curve) && curve->Evaluate(YTIME_ZERO) == 1.0f) continue;
        throw Failure(
            fmt::format("{}: {} scales its children, which could not move as before without it; drop "
                        "another joint",
                        scene.file, QuotedName(scene.skeleton.joints[joint].name)));
    }
}

/// Takes joints out of the skeleton's list.
/// \return  the numbers that the others had before
std::vector<std::size_t> Erase(Scene& scene, const std::vector<std::size_t>& gone)
{
    std::vector<std::size_t> others;
    std::vector<int> places;
    std::vector<Joint> joints;
    std::vector<YFCurveNode*> nodes;
    for (std::size_t i = 0; i < scene.skeleton.joints.size(); ++i) {
        const bool stays = std::find(gone.begin(), gone.end(), i) == gone.end();
        places.push_back(static_cast<int>(joints.size()));
        if (!stays) continue;
        Joint& joint = scene.skeleton.joints[i];
        if (joint.parent >= 0) joint.parent = places[static_cast<std::size_t>(joint.parent)];
        joints.push_back(std::move(joint));
        nodes.push_back(scene.jointNodes[i]);
        others.push_back(i);
    }
    scene.skeleton.joints = std::move(joints);
    scene.jointNodes = std::move(nodes);
    return others;
}

/// All joints but those that are gone stay where they were.
WorldIntent Keeping(const std::vector<std::size_t>& others)
{
    const auto move = [others](std::vector<Placement>& places, YTime) {
        for (std::size_t i = 0; i < others.size(); ++i) places[i] = places[others[i]];
        places.resize(others.size());
    };
    return {{}, move};
}

/// Drops a joint without child joints. Where it was the only child of its parent, the parent gets an end site in the
/// place of the joint: where it was, or where it started if it moved.
ClipChange DropLeaf(Scene& scene, std::size_t dropped)
{
    std::vector<std::size_t> gone = ChildrenOf(scene, dropped, true);
    Joint& joint = scene.skeleton.joints[dropped];
    const auto parent = static_cast<std::size_t>(joint.parent);
    const bool ends = ChildrenOf(scene, parent, false).size() == 1 && ChildrenOf(scene, parent, true).empty();
    const YFCurveNode& node = *scene.jointNodes[dropped];
    for (int i = 0; i < node.GetCount(); ++i) CheckUnlocked(scene, *node.Get(i));
    YgeVector start{};
    bool moved = false;
    if (ends) {
        const LocalMotion motion(scene, dropped, false);
        const std::vector<YTime> times = KeyTimesOf(motion.Curves(), kAlways);
        start = motion.PositionAt(times.empty() ? YTIME_ZERO : times.front());
        moved = !motion.StaysInPlace();
    }
    const YFCurveNodePtr old = ReplaceChild(*scene.jointNodes[dropped], {});
    scene.jointNodes[dropped] = nullptr;
    if (ends) {
        joint.name = gone.empty() ? "" : scene.skeleton.joints[gone.front()].name;
        joint.endSite = true;
        joint.channels.clear();
        joint.offset = {static_cast<float>(start.x), static_cast<float>(start.y),
                        static_cast<float>(start.z)};
    } else {
        gone.push_back(dropped);
    }
    const WorldIntent intent = Keeping(Erase(scene, gone));
    if (!ends) return {true, "taken out with its end", intent};
    if (moved) return {true, "taken out; the chain ends where it started, and no longer moves there", intent};
    return {true, "taken out; the chain ends where it was", intent};
}

ClipChange DropBetween(Scene& scene, std::size_t dropped, const std::vector<std::size_t>& children)
{
    std::vector<YFCurveNode*> nodes;
    const std::size_t channels =
        scene.skeleton.ChannelCount() - scene.skeleton.joints[dropped].channels.size();
    for (const std::size_t child : children) {
        Adoption(scene, dropped, child).Apply();
        nodes.push_back(scene.jointNodes[child]);
        scene.skeleton.joints[child].parent = scene.skeleton.joints[dropped].parent;
    }
    YFCurveNode& node = *scene.jointNodes[dropped];
    for (YFCurveNode* child : nodes) node.Remove(node.Find(child));
    const YFCurveNodePtr old = ReplaceChild(node, nodes);
    std::vector<std::size_t> gone = ChildrenOf(scene, dropped, true);
    gone.push_back(dropped);
    const WorldIntent intent = Keeping(Erase(scene, gone));
    const std::size_t more = scene.skeleton.ChannelCount() - channels;
    std::string text = fmt::format("taken out; {} moved up", Counted(children.size(), "child joint"));
    if (more > 0) text += fmt::format(", with {} for how they move now", Counted(more, "new channel"));
    return {true, text, intent};
}

ClipChange Drop(Scene& scene, const std::string& name)
{
    CheckHasSkeleton(scene, "drop");
    const std::size_t dropped = JointCalled(scene, name);
    const std::vector<std::size_t> children = ChildrenOf(scene, dropped, false);
    if (children.empty() && scene.skeleton.joints[dropped].parent < 0)
        throw Failure(
            fmt::format("{}: {} is a root without child joints, of which nothing would be left; drop "
                        "another joint",
                        scene.file, QuotedName(name)));
    if (children.empty()) return DropLeaf(scene, dropped);
    CheckScales(scene, dropped);
    return DropBetween(scene, dropped, children);
}

}  // namespace

ClipWork ParseDrop(const std::string& value, const ClipSettings&)
{
    if (value.empty()) throw Failure("drop: no joint is named; write --drop JOINT", kExitUsage);
    return [value](Scene& scene) { return Drop(scene, value); };
}

}  // namespace ymotion
